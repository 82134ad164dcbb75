/*
 * Transparency. The transparent colour is always palette entry 0, so an
 * image only carries the flag HasTrans. Making another entry transparent
 * swaps it with entry 0 and renumbers the pixels to match: the picture
 * looks the same afterwards.
 */
#include "transparency.h"

#include <stdio.h>

#include "../commands/cmdline.h"
#include "../commands/workspace.h"
#include "../core/msg.h"
#include "../platform/plat.h"

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

/* The checks both commands make first; 1 when the current image can take
 * transparency. */
static int _CheckPaletteImage(void) {
  if (pBitmapCurrent == NULL) {
    MSG_Error("No file open!");
    return 0;
  }
  if (IMAGE_GetBitsPerPixel(pBitmapCurrent) > 8) {
    MSG_Error("No palette, can not create transparency");
    return 0;
  }
  return 1;
}

/* The menu command: a list of "No transparency" and every palette entry
 * with its colour value, entry 0 preselected when it is transparent. The
 * snapshot is taken before the list opens and stays on cancel. */
void OnTransparencyDlg(void) {
  if (!_CheckPaletteImage()) {
    return;
  }
  UNDO_Push();
  char        aacItem[257][32];
  const char* asItem[257];
  I32 NumColors = IMAGE_GetNumColors(pBitmapCurrent);
  if (NumColors > 256) {
    NumColors = 256;
  }
  snprintf(aacItem[0], sizeof(aacItem[0]), "No transparency");
  asItem[0] = aacItem[0];
  for (I32 i = 0; i < NumColors; i++) {
    snprintf(aacItem[i + 1], sizeof(aacItem[i + 1]), "Index %d: %.6X",
             (int)i, (unsigned)IMAGE_GetColor(pBitmapCurrent, i));
    asItem[i + 1] = aacItem[i + 1];
  }
  int InitialSel = IMAGE_GetHasTrans(pBitmapCurrent) ? 1 : 0;
  int Choice = PLAT_ChooseFromList("Transparency", "Color to make transparent",
                                   asItem, NumColors + 1, InitialSel);
  if (Choice >= 0) {
    IMAGE_SetTransparency(pBitmapCurrent, Choice);
  }
  CANVAS_Refresh();
}

/* The command-line option: the argument is a colour value in hex, digits
 * in the order blue, green, red, and must name a palette entry exactly.
 * The first entry that matches in all 32 bits becomes transparent. */
void OnTransparencyOption(void) {
  if (!_CheckPaletteImage()) {
    return;
  }
  U32 Color = (U32)CMDLINE_GetHexValue();
  if (Color > 0xFFFFFF) {
    MSG_Error("Color has to be 000000 - FFFFFF");
    return;
  }
  I32 NumColors = IMAGE_GetNumColors(pBitmapCurrent);
  for (I32 i = 0; i < NumColors; i++) {
    if (IMAGE_GetColor(pBitmapCurrent, i) == Color) {
      UNDO_Push();
      IMAGE_SetTransparency(pBitmapCurrent, (int)i + 1);
      CANVAS_Refresh();
      return;
    }
  }
  MSG_Error("Color not found in image");
}
