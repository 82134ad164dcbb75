/*
 * Conversions that end in a true-colour image.
 *
 * The high colour reductions snap each channel to the levels of a 16-bit
 * format and expand the level back to 0..255, so that the picture on the
 * PC shows what the display will show. Storage stays at 24 bits.
 *
 * Both conversions give null when the result can't be created (IMAGE_Create
 * has reported why); the source is then kept, not freed, and the caller
 * goes on with it.
 */
#include "truecolor.h"

#include <string.h>

#include "dither.h"

/* One channel to NumBits bits, rounded to the nearest level, and back to
 * the range 0..255 so that the top level is 255. Integer arithmetic,
 * every division truncating. */
static U32 _ReduceChannel(U32 Value, int NumBits) {
  if (NumBits <= 0 || NumBits >= 8) {
    return Value;   /* no levels to snap to (0 bits would divide by 0) */
  }
  U32 Max   = (1u << NumBits) - 1;
  U32 Round = 255 / (2 * Max);
  U32 Level = ((Value + Round) * Max) / 255;
  return (Level * 255) / Max;
}

/* Format: three decimal digits, the bits of blue, green, red. */
static U32 _ReduceColor(U32 Color, int Format) {
  U32 r = _ReduceChannel(Color & 0xFF,         Format % 10);
  U32 g = _ReduceChannel((Color >> 8) & 0xFF,  (Format / 10) % 10);
  U32 b = _ReduceChannel((Color >> 16) & 0xFF, (Format / 100) % 10);
  return b << 16 | g << 8 | r;
}

IMAGE* CONVERT_IntoRGB(IMAGE* pBitmapOrg) {
  U32 aColor[256];
  if (pBitmapOrg->NumColors == 0) {
    return pBitmapOrg;
  }
  IMAGE* pImage = IMAGE_Create(pBitmapOrg->XSize, pBitmapOrg->YSize, 0);
  if (pImage == NULL) {
    return NULL;
  }
  /* An index at or above NumColors (only a malformed file brings one)
   * finds a cleared entry and becomes black. */
  memset(aColor, 0, sizeof(aColor));
  for (I32 i = 0; i < pBitmapOrg->NumColors && i < 256; i++) {
    aColor[i] = IMAGE_GetColor(pBitmapOrg, i);
  }
  for (I32 y = 0; y < pBitmapOrg->YSize; y++) {
    for (I32 x = 0; x < pBitmapOrg->XSize; x++) {
      IMAGE_SetPixel(pImage, x, y, aColor[IMAGE_GetPixel(pBitmapOrg, x, y) & 0xFF]);
    }
  }
  IMAGE_Free(pBitmapOrg);
  return pImage;
}

IMAGE* CONVERT_IntoHighColor(IMAGE* pBitmapOrg, int Format) {
  if (CONVERT_GetDither()) {
    return CONVERT_DitherIntoHighColor(pBitmapOrg, Format);
  }
  IMAGE* pImage = IMAGE_Create(pBitmapOrg->XSize, pBitmapOrg->YSize, 0);
  if (pImage == NULL) {
    return NULL;
  }
  for (I32 y = 0; y < pBitmapOrg->YSize; y++) {
    for (I32 x = 0; x < pBitmapOrg->XSize; x++) {
      IMAGE_SetPixel(pImage, x, y, _ReduceColor(IMAGE_GetPixelColor(pBitmapOrg, x, y), Format));
    }
  }
  IMAGE_Free(pBitmapOrg);
  return pImage;
}
