/*
 * Flips, rotations, the 50% shrink and the two inversions.
 *
 * Pixels move as stored values, so a palette image keeps its palette and
 * its indices; only the shrink computes new colours, and its result is
 * always true colour. Everything goes through the accessors of the image
 * core. HasTrans keeps meaning palette entry 0: the in-place operations
 * leave it alone, the quarter turns carry it over, the shrink drops it.
 */
#include "geometry.h"

#include <stdio.h>

static void _ShowLineStatus(I32 y, I32 YSize) {
  char ac[60];
  snprintf(ac, sizeof(ac), "Converting image, line %d/%d", (int)(y + 1), (int)YSize);
  IMAGE_ShowStatus(ac);
}

/*********************************************************************
*  Flips and rotations
*/
IMAGE* IMAGE_FlipH(IMAGE* pImage) {
  I32 XSize = pImage->XSize;
  for (I32 y = 0; y < pImage->YSize; y++) {
    for (I32 x = 0; x < XSize / 2; x++) {
      U32 Left  = IMAGE_GetPixel(pImage, x, y);
      U32 Right = IMAGE_GetPixel(pImage, XSize - 1 - x, y);
      IMAGE_SetPixel(pImage, x, y, Right);
      IMAGE_SetPixel(pImage, XSize - 1 - x, y, Left);
    }
  }
  return pImage;
}

IMAGE* IMAGE_FlipV(IMAGE* pImage) {
  I32 YSize = pImage->YSize;
  for (I32 y = 0; y < YSize / 2; y++) {
    for (I32 x = 0; x < pImage->XSize; x++) {
      U32 Top    = IMAGE_GetPixel(pImage, x, y);
      U32 Bottom = IMAGE_GetPixel(pImage, x, YSize - 1 - y);
      IMAGE_SetPixel(pImage, x, y, Bottom);
      IMAGE_SetPixel(pImage, x, YSize - 1 - y, Top);
    }
  }
  return pImage;
}

IMAGE* IMAGE_Rotate180(IMAGE* pImage) {
  IMAGE_FlipV(pImage);
  return IMAGE_FlipH(pImage);
}

/* A new image of the turned size with the same palette and HasTrans;
 * null (reported by IMAGE_Create) when it cannot be made. */
static IMAGE* _CreateTurned(const IMAGE* pImage) {
  IMAGE* pResult = IMAGE_Create(pImage->YSize, pImage->XSize, pImage->NumColors);
  if (pResult == NULL) {
    return NULL;
  }
  for (I32 i = 0; i < pImage->NumColors; i++) {
    IMAGE_SetColor(pResult, i, IMAGE_GetColor(pImage, i));
  }
  pResult->HasTrans = pImage->HasTrans;
  return pResult;
}

/* The source's top right corner becomes the result's top left corner. */
IMAGE* IMAGE_Rotate90CCW(IMAGE* pImage) {
  IMAGE* pResult = _CreateTurned(pImage);
  if (pResult == NULL) {
    return NULL;
  }
  I32 XSize = pImage->XSize;
  for (I32 r = 0; r < XSize; r++) {
    for (I32 c = 0; c < pImage->YSize; c++) {
      IMAGE_SetPixel(pResult, c, r, IMAGE_GetPixel(pImage, XSize - 1 - r, c));
    }
  }
  IMAGE_Free(pImage);
  return pResult;
}

/* The source's top left corner becomes the result's top right corner.
 * This is a half turn followed by a counter-clockwise quarter turn, done
 * in one pass: the source is read where the two steps would have taken
 * each pixel from, and stays untouched should the new image not be made. */
IMAGE* IMAGE_Rotate90CW(IMAGE* pImage) {
  IMAGE* pResult = _CreateTurned(pImage);
  if (pResult == NULL) {
    return NULL;
  }
  I32 YSize = pImage->YSize;
  for (I32 r = 0; r < pImage->XSize; r++) {
    for (I32 c = 0; c < YSize; c++) {
      IMAGE_SetPixel(pResult, c, r, IMAGE_GetPixel(pImage, r, YSize - 1 - c));
    }
  }
  IMAGE_Free(pImage);
  return pResult;
}

/*********************************************************************
*  Shrink to 50%
*/
/* Beyond the right or bottom edge the last column or row repeats, so an
 * odd size is not darkened at its edge. */
static U32 _GetPixelClamped(const IMAGE* pImage, I32 x, I32 y) {
  if (x >= pImage->XSize) {
    x = pImage->XSize - 1;
  }
  if (y >= pImage->YSize) {
    y = pImage->YSize - 1;
  }
  return IMAGE_GetPixelColor(pImage, x, y);
}

/* Per channel the mean of four, rounded to nearest with halves going up. */
static U32 _AverageColors(U32 ColorA, U32 ColorB, U32 ColorC, U32 ColorD) {
  U32 Result = 0;
  for (int Shift = 0; Shift < 24; Shift += 8) {
    U32 Sum = (ColorA >> Shift & 0xFF) + (ColorB >> Shift & 0xFF)
            + (ColorC >> Shift & 0xFF) + (ColorD >> Shift & 0xFF);
    Result |= (Sum + 2) / 4 << Shift;
  }
  return Result;
}

IMAGE* IMAGE_Shrink(IMAGE* pImage) {
  I32 XSizeNew = (pImage->XSize + 1) / 2;
  I32 YSizeNew = (pImage->YSize + 1) / 2;
  IMAGE* pResult = IMAGE_Create(XSizeNew, YSizeNew, 0);
  if (pResult == NULL) {
    return NULL;
  }
  for (I32 v = 0; v < YSizeNew; v++) {
    for (I32 u = 0; u < XSizeNew; u++) {
      U32 Color = _AverageColors(_GetPixelClamped(pImage, 2 * u,     2 * v),
                                 _GetPixelClamped(pImage, 2 * u + 1, 2 * v),
                                 _GetPixelClamped(pImage, 2 * u,     2 * v + 1),
                                 _GetPixelClamped(pImage, 2 * u + 1, 2 * v + 1));
      IMAGE_SetPixel(pResult, u, v, Color);
    }
  }
  IMAGE_Free(pImage);
  IMAGE_ShowStatus("Bitmap shrinked to 50%");
  return pResult;
}

/*********************************************************************
*  Inversions
*/
static void _InvertPixels(IMAGE* pImage) {
  for (I32 y = 0; y < pImage->YSize; y++) {
    _ShowLineStatus(y, pImage->YSize);
    for (I32 x = 0; x < pImage->XSize; x++) {
      IMAGE_SetPixel(pImage, x, y, IMAGE_GetPixelColor(pImage, x, y) ^ 0xFFFFFF);
    }
  }
}

/* Index v becomes NumColors - 1 - v; the palette stays, so the picture
 * only looks inverted when the palette is symmetrical.
 *
 * An index at or above NumColors (only a malformed file brings one in)
 * is stored as the low 8 bits of the negative result, 256 + NumColors -
 * 1 - v. That mirrors the range NumColors..255 onto itself: such a pixel
 * never turns into a valid index that it wasn't, and inverting twice
 * still gives back every stored value. */
IMAGE* IMAGE_InvertIndices(IMAGE* pImage) {
  if (pImage->BitsPerPixel > 8) {
    _InvertPixels(pImage);
  } else {
    for (I32 y = 0; y < pImage->YSize; y++) {
      _ShowLineStatus(y, pImage->YSize);
      for (I32 x = 0; x < pImage->XSize; x++) {
        U32 v = IMAGE_GetPixel(pImage, x, y);
        IMAGE_SetPixel(pImage, x, y, (U32)(pImage->NumColors - 1) - v);
      }
    }
  }
  IMAGE_ShowStatus("Image inverted");
  return pImage;
}

/* Flips bits 0 to 23 of every palette entry; the reserved byte stays. */
IMAGE* IMAGE_InvertColors(IMAGE* pImage) {
  if (pImage->BitsPerPixel > 8) {
    _InvertPixels(pImage);
  } else {
    for (I32 i = 0; i < pImage->NumColors; i++) {
      IMAGE_SetColor(pImage, i, IMAGE_GetColor(pImage, i) ^ 0xFFFFFF);
    }
  }
  IMAGE_ShowStatus("Palette inverted");
  return pImage;
}
