/*
 * Transparency. The transparent colour is always palette entry 0, so an
 * image only carries the flag HasTrans. Making another entry transparent
 * swaps it with entry 0 and renumbers the pixels to match: the picture
 * looks the same afterwards.
 */
#include "transparency.h"

/* Choice 0 clears the flag; choice n makes entry n - 1 the transparent
 * one. Callers pass a choice up to NumColors of a palette image; anything
 * else would reach past the colour table and is ignored. */
void IMAGE_SetTransparency(IMAGE* pImage, int Choice) {
  if (Choice == 0) {
    pImage->HasTrans = 0;
    return;
  }
  if (Choice < 0 || Choice > pImage->NumColors) {
    return;
  }
  I32 Index = Choice - 1;
  if (Index != 0) {
    for (I32 y = 0; y < pImage->YSize; y++) {
      U8* pRow = IMAGE_GetRow(pImage, y);
      for (I32 x = 0; x < pImage->XSize; x++) {
        if (pRow[x] == 0) {
          pRow[x] = (U8)Index;
        } else if (pRow[x] == Index) {
          pRow[x] = 0;
        }
      }
    }
    U32 Color0 = IMAGE_GetColor(pImage, 0);
    IMAGE_SetColor(pImage, 0, IMAGE_GetColor(pImage, Index));
    IMAGE_SetColor(pImage, Index, Color0);
  }
  pImage->HasTrans = 1;
}
