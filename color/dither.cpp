/*
 * Error diffusion that follows the picture.
 *
 * Rows are walked left to right and right to left in turn (the error then
 * does not drift to one side). Each pixel's colour plus the error that has
 * reached it is clamped to 0..255 and snapped to the target; what is lost
 * goes on with the Floyd-Steinberg weights, 7 to the next pixel of the
 * row, 3, 5 and 1 to the three pixels below, behind, under and ahead of
 * it, all scaled by the pixel's strength.
 *
 * The strength, in sixteenths, comes from the picture itself: from the
 * largest difference in one channel between the pixel and its eight
 * neighbours (its activity).
 *  - Smooth areas and soft gradients (activity up to 8) are where bands
 *    show: they give on most of the error, but not all, so that an error
 *    too small to matter dies out instead of adding grain.
 *  - Texture and photo noise (activity 8 to 40) hide bands by themselves:
 *    there the strength falls to 6.
 *  - Hard edges (activity 96 and more), as in icons and screenshots, give
 *    on all of it: noise next to them is not seen, and their smoothed-out
 *    colour stays right.
 * The finer the target, the smaller the error and the less of it is
 * worth spreading: the smooth-area strength is 14 for a palette chosen
 * for the picture of up to 16 colours, 12 at 64 and 8 at 256. Fixed and
 * custom palettes, not chosen for the picture, and the high colour levels
 * (coarse in each channel) are treated as 16 colours.
 *
 * The error that reaches a pixel is bounded to 32 levels per channel, so
 * that a colour the target cannot show does not drag a smear of wrong
 * colours behind it. Errors are kept in two rows of integers in 256ths,
 * one for the current row and one for the next. All of it is integer
 * arithmetic: the same pixels on every platform.
 */
#include "dither.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "../platform/plat.h"

#define _KEEP        0xFFFFFFFFu   /* source pixel of entry 0, kept as it is */
#define _SMOOTH      8             /* activity up to which an area is smooth */
#define _TEXTURE_END 40            /* activity from which it is texture */
#define _TEXTURE     6             /* strength in texture */
#define _EDGE        96            /* activity from which it is a hard edge */
#define _MAX_ERROR   (32 * 256)    /* bound of the error reaching a pixel */

static int _IsDither;

void CONVERT_SetDither(int OnOff) {
  _IsDither = OnOff ? 1 : 0;
}

int CONVERT_GetDither(void) {
  return _IsDither;
}

/*********************************************************************
*  The picture and its strength map
*/
typedef struct {
  I32  XSize;
  I32  YSize;
  U32* aColor;      /* 0x00BBGGRR or _KEEP, scan order */
  U8*  aStrength;   /* 0 to 16 */
} _PICTURE;

static void _FreePicture(_PICTURE* p) {
  PLAT_Free(p->aColor);
  PLAT_Free(p->aStrength);
  p->aColor    = NULL;
  p->aStrength = NULL;
}

/* The largest difference in one channel between a colour and another. */
static int _Diff(U32 a, U32 b) {
  int d = 0;
  for (int k = 0; k < 24; k += 8) {
    d = std::max(d, abs((int)((a >> k) & 0xFF) - (int)((b >> k) & 0xFF)));
  }
  return d;
}

/* The smooth-area strength for a target of NumEntries colours: 14 up to
 * 16 colours, then 1 less per doubling up to 64 and 2 less per doubling
 * up to 256. */
static int _SmoothStrength(int NumEntries) {
  int Log = 4;
  while (Log < 8 && (2 << Log) <= NumEntries) {
    Log++;
  }
  return Log <= 6 ? 14 - (Log - 4) : 12 - 2 * (Log - 6);
}

static int _Strength(int Activity, int Smooth) {
  if (Activity >= _EDGE) {
    return 16;
  }
  if (Activity >= _TEXTURE_END) {
    return _TEXTURE;
  }
  if (Activity > _SMOOTH) {
    return Smooth + (_TEXTURE - Smooth) * (Activity - _SMOOTH) / (_TEXTURE_END - _SMOOTH);
  }
  return Smooth;
}

static void _MakeStrength(_PICTURE* p, int NumEntries) {
  int Smooth = _SmoothStrength(NumEntries);
  I32 XSize  = p->XSize, YSize = p->YSize;
  for (I32 y = 0; y < YSize; y++) {
    for (I32 x = 0; x < XSize; x++) {
      U32 c = p->aColor[(size_t)y * XSize + x];
      int a = 0;
      if (c == _KEEP) {
        p->aStrength[(size_t)y * XSize + x] = 0;
        continue;
      }
      for (I32 dy = -1; dy <= 1; dy++) {
        if (y + dy < 0 || y + dy >= YSize) continue;
        for (I32 dx = -1; dx <= 1; dx++) {
          if (x + dx < 0 || x + dx >= XSize) continue;
          U32 n = p->aColor[(size_t)(y + dy) * XSize + x + dx];
          if (n != _KEEP) a = std::max(a, _Diff(c, n));
        }
      }
      p->aStrength[(size_t)y * XSize + x] = (U8)_Strength(a, Smooth);
    }
  }
}

/* Reads the picture; with KeepEntry0, pixels of entry 0 become _KEEP.
 * 0 when memory ran out. */
static int _ReadPicture(const IMAGE* pSrc, int KeepEntry0, int NumEntries, _PICTURE* p) {
  size_t NumPixels = (size_t)pSrc->XSize * (size_t)pSrc->YSize;
  p->XSize     = pSrc->XSize;
  p->YSize     = pSrc->YSize;
  p->aColor    = (U32*)PLAT_Alloc(NumPixels * sizeof(U32) + 1);
  p->aStrength = (U8*)PLAT_Alloc(NumPixels + 1);
  if (p->aColor == NULL || p->aStrength == NULL) {
    _FreePicture(p);
    return 0;
  }
  size_t Pos = 0;
  for (I32 y = 0; y < p->YSize; y++) {
    for (I32 x = 0; x < p->XSize; x++, Pos++) {
      if (KeepEntry0 && IMAGE_GetPixel(pSrc, x, y) == 0) {
        p->aColor[Pos] = _KEEP;
      } else {
        p->aColor[Pos] = IMAGE_GetPixelColor(pSrc, x, y) & 0xFFFFFF;
      }
    }
  }
  _MakeStrength(p, NumEntries);
  return 1;
}

/*********************************************************************
*  Diffusion
*/
/* Snaps a colour to the target: gives the value to store and the colour
 * it stands for. */
typedef U32 _SNAP(void* pContext, const int* pRGB, int* pOut);

/* Diffuses over the whole picture into pDest; _KEEP pixels become 0.
 * 0 when the error rows cannot be had. */
static int _Diffuse(const _PICTURE* pPic, IMAGE* pDest, _SNAP* pfSnap, void* pContext) {
  I32  XSize = pPic->XSize;
  int* aErr  = (int*)PLAT_Alloc((size_t)(XSize + 2) * 3 * 2 * sizeof(int));
  if (aErr == NULL) {
    return 0;
  }
  memset(aErr, 0, (size_t)(XSize + 2) * 3 * 2 * sizeof(int));
  for (I32 y = 0; y < pPic->YSize; y++) {
    IMAGE_ShowLineStatus("Converting image, line ", y + 1, pPic->YSize);
    int* pCur  = aErr + (size_t)(y & 1) * (XSize + 2) * 3;
    int* pNext = aErr + (size_t)((y + 1) & 1) * (XSize + 2) * 3;
    memset(pNext, 0, (size_t)(XSize + 2) * 3 * sizeof(int));
    int Dir = (y & 1) ? -1 : 1;
    const U32* pRow      = pPic->aColor + (size_t)y * XSize;
    const U8*  pStrength = pPic->aStrength + (size_t)y * XSize;
    for (I32 i = 0; i < XSize; i++) {
      I32 x     = Dir > 0 ? i : XSize - 1 - i;
      U32 Color = pRow[x];
      if (Color == _KEEP) {
        IMAGE_SetPixel(pDest, x, y, 0);
        continue;
      }
      int* pE = pCur + (x + 1) * 3;   /* one cell of margin on each side */
      int  aRGB[3], aOut[3];
      for (int k = 0; k < 3; k++) {
        int e = std::min(_MAX_ERROR, std::max(-_MAX_ERROR, pE[k]));
        int v = (int)((Color >> (8 * k)) & 0xFF) + ((e + 128) >> 8);
        aRGB[k] = std::min(255, std::max(0, v));
      }
      IMAGE_SetPixel(pDest, x, y, pfSnap(pContext, aRGB, aOut));
      int s = pStrength[x];
      for (int k = 0; k < 3; k++) {
        int e = (aRGB[k] - aOut[k]) * s;
        pE[Dir * 3 + k]                    += 7 * e;
        pNext[(x + 1 - Dir) * 3 + k]       += 3 * e;
        pNext[(x + 1) * 3 + k]             += 5 * e;
        pNext[(x + 1 + Dir) * 3 + k]       += e;
      }
    }
  }
  PLAT_Free(aErr);
  return 1;
}

/*********************************************************************
*  Onto a palette
*/
/* The entries sorted by the sum of their channels: two colours whose sums
 * differ by s are at least s * s / 3 apart, which bounds the search. */
typedef struct {
  int NumEntries;
  int aSum[256];
  int aRGB[256][3];
  U8  aIndex[256];
} _NEAREST;

static U32 _SnapToPalette(void* pContext, const int* pRGB, int* pOut) {
  const _NEAREST* p = (const _NEAREST*)pContext;
  int Sum  = pRGB[0] + pRGB[1] + pRGB[2];
  int Pos  = (int)(std::lower_bound(p->aSum, p->aSum + p->NumEntries, Sum) - p->aSum);
  int Best = 3 * 255 * 255 + 1, iBest = 0, jBest = 0;   /* above any distance */
  /* Equal distances go to the lowest palette index, as without dithering. */
  for (int Step = 0; Step < 2; Step++) {
    int Dir = Step ? -1 : 1;
    for (int j = Step ? Pos - 1 : Pos; j >= 0 && j < p->NumEntries; j += Dir) {
      int ds = p->aSum[j] - Sum;
      if (ds * ds > 3 * Best) break;
      int d0 = pRGB[0] - p->aRGB[j][0], d1 = pRGB[1] - p->aRGB[j][1], d2 = pRGB[2] - p->aRGB[j][2];
      int d  = d0 * d0 + d1 * d1 + d2 * d2;
      if (d < Best || (d == Best && p->aIndex[j] < iBest)) {
        Best  = d;
        iBest = p->aIndex[j];
        jBest = j;
      }
    }
  }
  memcpy(pOut, p->aRGB[jBest], sizeof(p->aRGB[jBest]));
  return (U32)iBest;
}

/* The entries the diffusion may choose: all, or all but entry 0. */
static void _SortPalette(const PALETTE* pPalette, int First, _NEAREST* pNearest) {
  int aOrder[256], aSum[256];
  int n = 0;
  for (int i = First; i < pPalette->NumColors; i++) {
    U32 c = pPalette->pColors[i];
    aSum[i]     = (int)(c & 0xFF) + (int)((c >> 8) & 0xFF) + (int)((c >> 16) & 0xFF);
    aOrder[n++] = i;
  }
  std::stable_sort(aOrder, aOrder + n, [&aSum](int a, int b) { return aSum[a] < aSum[b]; });
  pNearest->NumEntries = n;
  for (int j = 0; j < n; j++) {
    U32 c = pPalette->pColors[aOrder[j]];
    pNearest->aSum[j]    = aSum[aOrder[j]];
    pNearest->aIndex[j]  = (U8)aOrder[j];
    pNearest->aRGB[j][0] = (int)(c & 0xFF);
    pNearest->aRGB[j][1] = (int)((c >> 8) & 0xFF);
    pNearest->aRGB[j][2] = (int)((c >> 16) & 0xFF);
  }
}

static int _CheckPalette(const IMAGE* pBitmapOrg, const PALETTE* pPalette) {
  if (pBitmapOrg == NULL) {
    IMAGE_ShowError("Internal error : pBitmapOrg == NULL");
    return 0;
  }
  if (pPalette == NULL || pPalette->pColors == NULL || pPalette->NumColors < 1 || pPalette->NumColors > 256) {
    IMAGE_ShowError("The palette must have 1 to 256 colors");
    return 0;
  }
  return 1;
}

IMAGE* CONVERT_DitherIntoPalette(IMAGE* pBitmapOrg, const PALETTE* pPalette, int KeepEntry0, int IsFitted) {
  static _NEAREST Nearest;
  if (!_CheckPalette(pBitmapOrg, pPalette)) {
    return NULL;
  }
  KeepEntry0 = KeepEntry0 && pBitmapOrg->NumColors > 0;
  _SortPalette(pPalette, (KeepEntry0 && pPalette->NumColors > 1) ? 1 : 0, &Nearest);
  IMAGE* pImage = IMAGE_Create(pBitmapOrg->XSize, pBitmapOrg->YSize, pPalette->NumColors);
  if (pImage == NULL) {
    return NULL;
  }
  _PICTURE Pic;
  int IsDone = _ReadPicture(pBitmapOrg, KeepEntry0, IsFitted ? Nearest.NumEntries : 16, &Pic) && _Diffuse(&Pic, pImage, _SnapToPalette, &Nearest);
  _FreePicture(&Pic);
  if (!IsDone) {
    IMAGE_ShowError("Not enough memory for dithering");
    IMAGE_Free(pImage);
    return NULL;
  }
  for (I32 i = 0; i < pPalette->NumColors; i++) {
    IMAGE_SetColor(pImage, i, pPalette->pColors[i]);
  }
  IMAGE_Free(pBitmapOrg);
  IMAGE_ShowStatus("Conversion done");
  return pImage;
}

/*********************************************************************
*  Onto the high colour levels
*/
/* One channel to the nearest of 2^NumBits levels, spread back over
 * 0..255 so that the top level is 255; the same levels as without
 * dithering. */
static int _ReduceChannel(int Value, int NumBits) {
  if (NumBits <= 0 || NumBits >= 8) {
    return Value;
  }
  int Max   = (1 << NumBits) - 1;
  int Round = 255 / (2 * Max);
  int Level = ((Value + Round) * Max) / 255;
  return (Level * 255) / Max;
}

static U32 _SnapToHighColor(void* pContext, const int* pRGB, int* pOut) {
  int Format = *(const int*)pContext;
  pOut[0] = _ReduceChannel(pRGB[0], Format % 10);
  pOut[1] = _ReduceChannel(pRGB[1], (Format / 10) % 10);
  pOut[2] = _ReduceChannel(pRGB[2], (Format / 100) % 10);
  return (U32)pOut[2] << 16 | (U32)pOut[1] << 8 | (U32)pOut[0];
}

IMAGE* CONVERT_DitherIntoHighColor(IMAGE* pBitmapOrg, int Format) {
  IMAGE* pImage = IMAGE_Create(pBitmapOrg->XSize, pBitmapOrg->YSize, 0);
  if (pImage == NULL) {
    return NULL;
  }
  _PICTURE Pic;
  int IsDone = _ReadPicture(pBitmapOrg, 0, 16, &Pic) && _Diffuse(&Pic, pImage, _SnapToHighColor, &Format);
  _FreePicture(&Pic);
  if (!IsDone) {
    IMAGE_ShowError("Not enough memory for dithering");
    IMAGE_Free(pImage);
    return NULL;
  }
  IMAGE_Free(pBitmapOrg);
  return pImage;
}
