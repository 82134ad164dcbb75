/*
 * Floyd-Steinberg error diffusion.
 *
 * Rows are walked left to right and right to left in turn (the error then
 * does not drift to one side). Each pixel's colour plus the error that has
 * reached it is clamped to 0..255 and snapped to the target; what is lost
 * goes on in sixteenths: 7 to the next pixel of the row, 3, 5 and 1 to the
 * three pixels below, behind, under and ahead of it. Errors are kept in
 * two rows of integers, one for the current row and one for the next.
 */
#include "dither.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "../platform/plat.h"

static int _IsDither;

void CONVERT_SetDither(int OnOff) {
  _IsDither = OnOff ? 1 : 0;
}

int CONVERT_GetDither(void) {
  return _IsDither;
}

/* Snaps a colour to the target: gives the value to store and the colour
 * it stands for. */
typedef U32 _SNAP(void* pContext, const int* pRGB, int* pOut);

static void _ShowLine(I32 y, I32 YSize) {
  IMAGE_ShowLineStatus("Converting image, line ", y + 1, YSize);
}

/* Diffuses over the whole picture. With KeepEntry0, source pixels of
 * entry 0 are stored as 0 and neither take nor give error. 0 when the
 * error rows cannot be had. */
static int _Diffuse(const IMAGE* pSrc, IMAGE* pDest, _SNAP* pfSnap, void* pContext, int KeepEntry0) {
  I32  XSize = pSrc->XSize;
  int* aErr  = (int*)PLAT_Alloc((size_t)(XSize + 2) * 3 * 2 * sizeof(int));
  if (aErr == NULL) {
    return 0;
  }
  memset(aErr, 0, (size_t)(XSize + 2) * 3 * 2 * sizeof(int));
  for (I32 y = 0; y < pSrc->YSize; y++) {
    _ShowLine(y, pSrc->YSize);
    int* pCur  = aErr + (size_t)(y & 1) * (XSize + 2) * 3;
    int* pNext = aErr + (size_t)((y + 1) & 1) * (XSize + 2) * 3;
    memset(pNext, 0, (size_t)(XSize + 2) * 3 * sizeof(int));
    int Dir = (y & 1) ? -1 : 1;
    for (I32 i = 0; i < XSize; i++) {
      I32 x = Dir > 0 ? i : XSize - 1 - i;
      if (KeepEntry0 && IMAGE_GetPixel(pSrc, x, y) == 0) {
        IMAGE_SetPixel(pDest, x, y, 0);
        continue;
      }
      U32  Color = IMAGE_GetPixelColor(pSrc, x, y);
      int* pE    = pCur + (x + 1) * 3;   /* one cell of margin on each side */
      int  aRGB[3], aOut[3];
      for (int k = 0; k < 3; k++) {
        int v = (int)((Color >> (8 * k)) & 0xFF) + ((pE[k] + 8) >> 4);
        aRGB[k] = std::min(255, std::max(0, v));
      }
      IMAGE_SetPixel(pDest, x, y, pfSnap(pContext, aRGB, aOut));
      for (int k = 0; k < 3; k++) {
        int e = aRGB[k] - aOut[k];
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

IMAGE* CONVERT_DitherIntoPalette(IMAGE* pBitmapOrg, const PALETTE* pPalette, int KeepEntry0) {
  static _NEAREST Nearest;
  if (pBitmapOrg == NULL) {
    IMAGE_ShowError("Internal error : pBitmapOrg == NULL");
    return NULL;
  }
  if (pPalette == NULL || pPalette->pColors == NULL || pPalette->NumColors < 1 || pPalette->NumColors > 256) {
    IMAGE_ShowError("The palette must have 1 to 256 colors");
    return NULL;
  }
  int aOrder[256], aSum[256];
  int First = (KeepEntry0 && pPalette->NumColors > 1) ? 1 : 0;
  int n     = 0;
  for (int i = First; i < pPalette->NumColors; i++) {
    U32 c = pPalette->pColors[i];
    aSum[i]     = (int)(c & 0xFF) + (int)((c >> 8) & 0xFF) + (int)((c >> 16) & 0xFF);
    aOrder[n++] = i;
  }
  std::stable_sort(aOrder, aOrder + n, [&aSum](int a, int b) { return aSum[a] < aSum[b]; });
  Nearest.NumEntries = n;
  for (int j = 0; j < n; j++) {
    U32 c = pPalette->pColors[aOrder[j]];
    Nearest.aSum[j]    = aSum[aOrder[j]];
    Nearest.aIndex[j]  = (U8)aOrder[j];
    Nearest.aRGB[j][0] = (int)(c & 0xFF);
    Nearest.aRGB[j][1] = (int)((c >> 8) & 0xFF);
    Nearest.aRGB[j][2] = (int)((c >> 16) & 0xFF);
  }
  IMAGE* pImage = IMAGE_Create(pBitmapOrg->XSize, pBitmapOrg->YSize, pPalette->NumColors);
  if (pImage == NULL) {
    return NULL;
  }
  if (!_Diffuse(pBitmapOrg, pImage, _SnapToPalette, &Nearest, KeepEntry0 && pBitmapOrg->NumColors > 0)) {
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
  if (!_Diffuse(pBitmapOrg, pImage, _SnapToHighColor, &Format, 0)) {
    IMAGE_ShowError("Not enough memory for dithering");
    IMAGE_Free(pImage);
    return NULL;
  }
  IMAGE_Free(pBitmapOrg);
  return pImage;
}
