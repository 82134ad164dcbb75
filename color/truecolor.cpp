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

/* Stores a colour value as blue, green, red; bits 24-31 go nowhere. */
static void _PutTrueColor(U8* p, U32 Color) {
  p[0] = (U8)(Color >> 16);
  p[1] = (U8)(Color >> 8);
  p[2] = (U8)Color;
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
   * shows entry 0, as everywhere else. */
  for (I32 i = 0; i < 256; i++) {
    aColor[i] = IMAGE_GetColor(pBitmapOrg, i < pBitmapOrg->NumColors ? i : 0);
  }
  for (I32 y = 0; y < pBitmapOrg->YSize; y++) {
    const U8* pSrc  = IMAGE_GetRow(pBitmapOrg, y);
    U8*       pDest = IMAGE_GetRow(pImage, y);
    for (I32 x = 0; x < pBitmapOrg->XSize; x++, pDest += 3) {
      _PutTrueColor(pDest, aColor[pSrc[x]]);
    }
  }
  IMAGE_Free(pBitmapOrg);
  return pImage;
}

/* Each pixel's colour reduced: by a table of the reduced palette for a
 * palette image (an index beyond the palette shows black, as
 * IMAGE_GetPixelColor gives it), by a table per channel in true colour. */
IMAGE* CONVERT_IntoHighColor(IMAGE* pBitmapOrg, int Format) {
  IMAGE* pImage = IMAGE_Create(pBitmapOrg->XSize, pBitmapOrg->YSize, 0);
  if (pImage == NULL) {
    return NULL;
  }
  I32 XSize = pBitmapOrg->XSize;
  if (pBitmapOrg->NumColors) {
    U32 aColor[256];
    for (I32 i = 0; i < 256; i++) {
      aColor[i] = _ReduceColor(i < pBitmapOrg->NumColors ? IMAGE_GetColor(pBitmapOrg, i) : 0, Format);
    }
    for (I32 y = 0; y < pBitmapOrg->YSize; y++) {
      const U8* pSrc  = IMAGE_GetRow(pBitmapOrg, y);
      U8*       pDest = IMAGE_GetRow(pImage, y);
      for (I32 x = 0; x < XSize; x++, pDest += 3) {
        _PutTrueColor(pDest, aColor[pSrc[x]]);
      }
    }
  } else {
    /* Stored order is blue, green, red. */
    U8 aBlue[256], aGreen[256], aRed[256];
    for (U32 v = 0; v < 256; v++) {
      aRed[v]   = (U8)_ReduceChannel(v, Format % 10);
      aGreen[v] = (U8)_ReduceChannel(v, (Format / 10) % 10);
      aBlue[v]  = (U8)_ReduceChannel(v, (Format / 100) % 10);
    }
    for (I32 y = 0; y < pBitmapOrg->YSize; y++) {
      const U8* pSrc  = IMAGE_GetRow(pBitmapOrg, y);
      U8*       pDest = IMAGE_GetRow(pImage, y);
      for (I32 x = 0; x < XSize; x++, pSrc += 3, pDest += 3) {
        pDest[0] = aBlue[pSrc[0]];
        pDest[1] = aGreen[pSrc[1]];
        pDest[2] = aRed[pSrc[2]];
      }
    }
  }
  IMAGE_Free(pBitmapOrg);
  return pImage;
}
