/*
 * Flips, rotations, the 50% shrink and the two inversions.
 *
 * Pixels move as stored values, so a palette image keeps its palette and
 * its indices; only the shrink computes new colours, and its result is
 * always true colour. The loops walk the rows of the pixel store with
 * pointers. HasTrans keeps meaning palette entry 0: the in-place operations
 * leave it alone, the quarter turns carry it over, the shrink drops it.
 */
#include "geometry.h"

#include <stddef.h>
#include <stdio.h>

static void _ShowLineStatus(I32 y, I32 YSize) {
  char ac[60];
  snprintf(ac, sizeof(ac), "Converting image, line %d/%d", (int)(y + 1), (int)YSize);
  IMAGE_ShowStatus(ac);
}

/*********************************************************************
*  Flips and rotations
*
*  They work on the rows of the pixel store: a pixel is one byte (an
*  index) or three (blue, green, red), and is moved as it stands.
*/
static I32 _BytesPerPixel(const IMAGE* pImage) {
  return pImage->BitsPerPixel / 8;
}

IMAGE* IMAGE_FlipH(IMAGE* pImage) {
  I32 XSize = pImage->XSize;
  I32 n     = _BytesPerPixel(pImage);
  if (XSize < 2) {
    return pImage;
  }
  for (I32 y = 0; y < pImage->YSize; y++) {
    U8* pLeft  = IMAGE_GetRow(pImage, y);
    U8* pRight = pLeft + (size_t)(XSize - 1) * n;
    for (I32 x = 0; x < XSize / 2; x++, pLeft += n, pRight -= n) {
      for (I32 i = 0; i < n; i++) {
        U8 Byte   = pLeft[i];
        pLeft[i]  = pRight[i];
        pRight[i] = Byte;
      }
    }
  }
  return pImage;
}

IMAGE* IMAGE_FlipV(IMAGE* pImage) {
  I32    YSize    = pImage->YSize;
  size_t NumBytes = (size_t)pImage->XSize * (size_t)_BytesPerPixel(pImage);
  for (I32 y = 0; y < YSize / 2; y++) {
    U8* pTop    = IMAGE_GetRow(pImage, y);
    U8* pBottom = IMAGE_GetRow(pImage, YSize - 1 - y);
    for (size_t i = 0; i < NumBytes; i++) {
      U8 Byte    = pTop[i];
      pTop[i]    = pBottom[i];
      pBottom[i] = Byte;
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

/* Result pixel (c, r) takes source pixel (x0 + r * dx, y0 + c * dy):
 * result rows run along a source column. The work goes in square tiles
 * so that the source rows a tile reads stay in the cache while it is
 * done, instead of every result pixel reading a row of its own. */
#define _TILE 64

static void _Turn(const IMAGE* pSrc, IMAGE* pDest, I32 x0, I32 dx, I32 y0, I32 dy) {
  I32 n      = _BytesPerPixel(pSrc);
  I32 NumRow = pDest->YSize;    /* = source XSize */
  I32 NumCol = pDest->XSize;    /* = source YSize */
  if (NumRow == 0 || NumCol == 0) {
    return;
  }
  /* Distance from one result row to the next in the store. */
  U8*       pDest0   = IMAGE_GetRow(pDest, 0);
  ptrdiff_t DestStep = (NumRow > 1) ? IMAGE_GetRow(pDest, 1) - pDest0 : 0;
  for (I32 r0 = 0; r0 < NumRow; r0 += _TILE) {
    I32 r1 = (NumRow - r0 < _TILE) ? NumRow : r0 + _TILE;
    for (I32 c0 = 0; c0 < NumCol; c0 += _TILE) {
      I32 c1 = (NumCol - c0 < _TILE) ? NumCol : c0 + _TILE;
      for (I32 c = c0; c < c1; c++) {
        const U8* pSrcRow = IMAGE_GetRow(pSrc, y0 + c * dy);
        for (I32 r = r0; r < r1; r++) {
          const U8* p = pSrcRow + (size_t)(x0 + r * dx) * n;
          U8*       q = pDest0 + DestStep * r + (ptrdiff_t)c * n;
          for (I32 i = 0; i < n; i++) {
            q[i] = p[i];
          }
        }
      }
    }
  }
}

/* The source's top right corner becomes the result's top left corner:
 * result pixel (c, r) = source pixel (XSize - 1 - r, c). */
IMAGE* IMAGE_Rotate90CCW(IMAGE* pImage) {
  IMAGE* pResult = _CreateTurned(pImage);
  if (pResult == NULL) {
    return NULL;
  }
  _Turn(pImage, pResult, pImage->XSize - 1, -1, 0, 1);
  IMAGE_Free(pImage);
  return pResult;
}

/* The source's top left corner becomes the result's top right corner:
 * result pixel (c, r) = source pixel (r, YSize - 1 - c). This is a half
 * turn followed by a counter-clockwise quarter turn, done in one pass:
 * the source is read where the two steps would have taken each pixel
 * from, and stays untouched should the new image not be made. */
IMAGE* IMAGE_Rotate90CW(IMAGE* pImage) {
  IMAGE* pResult = _CreateTurned(pImage);
  if (pResult == NULL) {
    return NULL;
  }
  _Turn(pImage, pResult, 0, 1, pImage->YSize - 1, -1);
  IMAGE_Free(pImage);
  return pResult;
}

/*********************************************************************
*  Shrink to 50%
*/
/* The colour of every stored value: the palette entry of an index (black
 * for an index beyond the palette, as IMAGE_GetPixelColor gives it), or
 * the pixel's own colour in true colour. */
static U32 _GetColorAt(const U8* pRow, I32 x, const U32* aColor) {
  if (aColor) {
    return aColor[pRow[x]];
  }
  const U8* p = pRow + 3 * (size_t)x;
  return (U32)p[0] << 16 | (U32)p[1] << 8 | (U32)p[2];
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

/* Each result pixel averages a 2 x 2 block. Beyond the right or bottom
 * edge the last column or row repeats, so an odd size is not darkened at
 * its edge. */
IMAGE* IMAGE_Shrink(IMAGE* pImage) {
  I32 XSize    = pImage->XSize;
  I32 YSize    = pImage->YSize;
  I32 XSizeNew = (XSize + 1) / 2;
  I32 YSizeNew = (YSize + 1) / 2;
  IMAGE* pResult = IMAGE_Create(XSizeNew, YSizeNew, 0);
  if (pResult == NULL) {
    return NULL;
  }
  U32  aColor[256];
  U32* pColor = NULL;
  if (pImage->NumColors) {
    for (I32 i = 0; i < 256; i++) {
      aColor[i] = (i < pImage->NumColors) ? IMAGE_GetColor(pImage, i) : 0;
    }
    pColor = aColor;
  }
  for (I32 v = 0; v < YSizeNew; v++) {
    const U8* pRow0 = IMAGE_GetRow(pImage, 2 * v);
    const U8* pRow1 = IMAGE_GetRow(pImage, (2 * v + 1 < YSize) ? 2 * v + 1 : YSize - 1);
    U8*       pDest = IMAGE_GetRow(pResult, v);
    for (I32 u = 0; u < XSizeNew; u++, pDest += 3) {
      I32 x0 = 2 * u;
      I32 x1 = (x0 + 1 < XSize) ? x0 + 1 : XSize - 1;
      U32 Color = _AverageColors(_GetColorAt(pRow0, x0, pColor), _GetColorAt(pRow0, x1, pColor),
                                 _GetColorAt(pRow1, x0, pColor), _GetColorAt(pRow1, x1, pColor));
      pDest[0] = (U8)(Color >> 16);
      pDest[1] = (U8)(Color >> 8);
      pDest[2] = (U8)Color;
    }
  }
  IMAGE_Free(pImage);
  IMAGE_ShowStatus("Bitmap shrinked to 50%");
  return pResult;
}

/*********************************************************************
*  Inversions
*/
/* True colour: every channel byte of every pixel flips. */
static void _InvertPixels(IMAGE* pImage) {
  size_t NumBytes = (size_t)pImage->XSize * 3;
  for (I32 y = 0; y < pImage->YSize; y++) {
    _ShowLineStatus(y, pImage->YSize);
    U8* pRow = IMAGE_GetRow(pImage, y);
    for (size_t i = 0; i < NumBytes; i++) {
      pRow[i] ^= 0xFF;
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
    U8 aMap[256];
    for (I32 v = 0; v < 256; v++) {
      aMap[v] = (U8)(pImage->NumColors - 1 - v);
    }
    for (I32 y = 0; y < pImage->YSize; y++) {
      _ShowLineStatus(y, pImage->YSize);
      U8* pRow = IMAGE_GetRow(pImage, y);
      for (I32 x = 0; x < pImage->XSize; x++) {
        pRow[x] = aMap[pRow[x]];
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
