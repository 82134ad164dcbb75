/*
 * Optimal palette.
 *
 * 1. The distinct colours of the picture are collected with their pixel
 *    counts (a radix sort of the pixels by colour), and every pixel
 *    remembers which distinct colour it shows.
 * 2. If there are no more of them than palette entries, they are the
 *    palette and nothing is lost.
 * 3. Otherwise the colours are cut into boxes: each cut splits one box
 *    along red, green or blue at the channel value that lowers the summed
 *    squared error the most, and the box whose best cut gains the most is
 *    cut next. The cuts work on the colours themselves, so they can fall
 *    between any two channel values.
 * 4. The box means are refined by k-means over the distinct colours,
 *    weighted by their counts, until no colour changes its cluster or ten
 *    passes are done.
 * 5. The means are rounded to 8 bits and every distinct colour is mapped
 *    to its nearest entry of that final palette.
 *
 * The nearest-mean search sorts the means along their principal axis: the
 * distance along that axis is a lower bound of the true distance, so the
 * search walks outward from the colour's own position and stops on each
 * side as soon as the bound exceeds the best distance found.
 */
#include "quantize.h"

#include <math.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "../platform/plat.h"
#include "dither.h"

#define _MAX_PASSES 10
#define _TRANS      0xFFFFFFFFu   /* pixel kept at entry 0 */

typedef struct {
  U8  c[3];     /* red, green, blue */
  U32 Count;
} _COLOR;

typedef struct {
  I32     Begin;
  I32     End;
  int64_t W;
  int64_t S[3];
  int     Axis;   /* -1: the box cannot be cut */
  int     Cut;    /* values <= Cut go to the first half */
  double  Gain;
} _BOX;

/*********************************************************************
*  Distinct colours
*/
/* Sorts the keys (colour in bits 32-55, pixel position below) by colour,
 * two passes of 12 bits. */
static void _SortByColor(uint64_t* aKey, uint64_t* aTmp, size_t NumKeys) {
  static U32 aCount[4096];
  for (int Shift = 32; Shift < 56; Shift += 12) {
    memset(aCount, 0, sizeof(aCount));
    for (size_t i = 0; i < NumKeys; i++) {
      aCount[(aKey[i] >> Shift) & 4095]++;
    }
    U32 Sum = 0;
    for (int d = 0; d < 4096; d++) {
      U32 n = aCount[d];
      aCount[d] = Sum;
      Sum += n;
    }
    for (size_t i = 0; i < NumKeys; i++) {
      aTmp[aCount[(aKey[i] >> Shift) & 4095]++] = aKey[i];
    }
    std::swap(aKey, aTmp);
  }
  /* two passes: the sorted keys are back in the first array */
}

/* Fills aPixel (distinct colour number or _TRANS per pixel, scan order)
 * and gives the distinct colours in *paColor. -1 when memory ran out. */
static I32 _CollectColors(const IMAGE* pImage, int KeepEntry0, U32* aPixel, _COLOR** paColor) {
  size_t    NumPixels = (size_t)pImage->XSize * (size_t)pImage->YSize;
  uint64_t* aKey      = (uint64_t*)PLAT_Alloc(NumPixels * sizeof(uint64_t));
  uint64_t* aTmp      = (uint64_t*)PLAT_Alloc(NumPixels * sizeof(uint64_t));
  size_t    NumKeys   = 0;
  I32       NumColors = -1;
  *paColor = NULL;
  if (aKey && aTmp) {
    size_t Pos = 0;
    for (I32 y = 0; y < pImage->YSize; y++) {
      for (I32 x = 0; x < pImage->XSize; x++, Pos++) {
        if (KeepEntry0 && IMAGE_GetPixel(pImage, x, y) == 0) {
          aPixel[Pos] = _TRANS;
        } else {
          uint64_t Color = IMAGE_GetPixelColor(pImage, x, y) & 0xFFFFFF;
          aKey[NumKeys++] = Color << 32 | Pos;
        }
      }
    }
    _SortByColor(aKey, aTmp, NumKeys);
    _COLOR* aColor = (_COLOR*)aTmp;   /* at most NumKeys colours: they fit */
    NumColors = 0;
    for (size_t i = 0; i < NumKeys; i++) {
      U32 Color = (U32)(aKey[i] >> 32);
      if (i == 0 || Color != (U32)(aKey[i - 1] >> 32)) {
        _COLOR* p = &aColor[NumColors++];
        p->c[0]  = (U8)Color;
        p->c[1]  = (U8)(Color >> 8);
        p->c[2]  = (U8)(Color >> 16);
        p->Count = 0;
      }
      aColor[NumColors - 1].Count++;
      aPixel[(U32)aKey[i]] = (U32)(NumColors - 1);
    }
    *paColor = aColor;
    aTmp     = NULL;
  }
  PLAT_Free(aKey);
  PLAT_Free(aTmp);
  return NumColors;
}

/*********************************************************************
*  Cuts
*/
static void _SumBox(const _COLOR* aColor, _BOX* pBox) {
  pBox->W = pBox->S[0] = pBox->S[1] = pBox->S[2] = 0;
  for (I32 i = pBox->Begin; i < pBox->End; i++) {
    const _COLOR* p = &aColor[i];
    pBox->W += p->Count;
    for (int k = 0; k < 3; k++) {
      pBox->S[k] += (int64_t)p->Count * p->c[k];
    }
  }
}

static double _Moment(double W, const double* pS) {
  return (pS[0] * pS[0] + pS[1] * pS[1] + pS[2] * pS[2]) / W;
}

/* The squared error of a box is sum(w * |c|^2) - |S|^2 / W; a cut lowers
 * it by the moments of the halves minus the moment of the whole. */
static void _FindCut(const _COLOR* aColor, _BOX* pBox) {
  static double aW[256];
  static double aS[256][3];
  pBox->Axis = -1;
  pBox->Gain = 0;
  if (pBox->End - pBox->Begin < 2) {
    return;
  }
  double S[3] = { (double)pBox->S[0], (double)pBox->S[1], (double)pBox->S[2] };
  double W    = (double)pBox->W;
  double Base = _Moment(W, S);
  for (int Axis = 0; Axis < 3; Axis++) {
    /* Only the values that occur in the box are cleared and walked: below
     * the smallest nothing is on the left, from the largest on nothing is
     * on the right, so no cut there can gain. */
    int Min = 255, Max = 0;
    for (I32 i = pBox->Begin; i < pBox->End; i++) {
      int v = aColor[i].c[Axis];
      Min = v < Min ? v : Min;
      Max = v > Max ? v : Max;
    }
    memset(&aW[Min], 0, sizeof(aW[0]) * (size_t)(Max - Min + 1));
    memset(&aS[Min], 0, sizeof(aS[0]) * (size_t)(Max - Min + 1));
    for (I32 i = pBox->Begin; i < pBox->End; i++) {
      const _COLOR* p = &aColor[i];
      U8 v = p->c[Axis];
      aW[v] += p->Count;
      for (int k = 0; k < 3; k++) {
        aS[v][k] += (double)p->Count * p->c[k];
      }
    }
    double Lw = 0, Ls[3] = { 0, 0, 0 };
    for (int t = Min; t < Max; t++) {
      Lw += aW[t];
      for (int k = 0; k < 3; k++) {
        Ls[k] += aS[t][k];
      }
      if (Lw == 0 || aW[t] == 0) {
        continue;   /* no colour at t: the same cut as one step earlier */
      }
      double Rw = W - Lw;
      if (Rw <= 0) {
        break;
      }
      double Rs[3]  = { S[0] - Ls[0], S[1] - Ls[1], S[2] - Ls[2] };
      double Gain   = _Moment(Lw, Ls) + _Moment(Rw, Rs) - Base;
      if (Gain > pBox->Gain) {
        pBox->Gain = Gain;
        pBox->Axis = Axis;
        pBox->Cut  = t;
      }
    }
  }
}

/* Cuts the colours into at most NumBoxes boxes; gives their number. */
static int _CutBoxes(_COLOR* aColor, I32 NumColors, _BOX* aBox, int NumBoxes) {
  int n = 1;
  aBox[0].Begin = 0;
  aBox[0].End   = NumColors;
  _SumBox(aColor, &aBox[0]);
  _FindCut(aColor, &aBox[0]);
  while (n < NumBoxes) {
    int iBest = -1;
    for (int i = 0; i < n; i++) {
      if (aBox[i].Axis >= 0 && (iBest < 0 || aBox[i].Gain > aBox[iBest].Gain)) {
        iBest = i;
      }
    }
    if (iBest < 0) {
      break;
    }
    _BOX* pA   = &aBox[iBest];
    _BOX* pB   = &aBox[n++];
    int   Axis = pA->Axis;
    int   Cut  = pA->Cut;
    _COLOR* pMid = std::partition(aColor + pA->Begin, aColor + pA->End,
                                  [Axis, Cut](const _COLOR& c) { return c.c[Axis] <= Cut; });
    pB->Begin = (I32)(pMid - aColor);
    pB->End   = pA->End;
    pA->End   = pB->Begin;
    _SumBox(aColor, pA);
    _SumBox(aColor, pB);
    _FindCut(aColor, pA);
    _FindCut(aColor, pB);
  }
  return n;
}

/*********************************************************************
*  Nearest mean
*/
typedef struct {
  int    NumMeans;
  double aMean[256][3];
  double Axis[3];           /* unit vector */
  double aProj[256];        /* projections, ascending */
  U8     aOrder[256];       /* mean number at each place of aProj */
} _MEANS;

/* Principal axis of the means by power iteration; the gray axis when the
 * means give none. */
static void _FindAxis(_MEANS* pM) {
  double m[3] = { 0, 0, 0 }, C[3][3];
  for (int i = 0; i < pM->NumMeans; i++) {
    for (int k = 0; k < 3; k++) m[k] += pM->aMean[i][k] / pM->NumMeans;
  }
  memset(C, 0, sizeof(C));
  for (int i = 0; i < pM->NumMeans; i++) {
    for (int j = 0; j < 3; j++) {
      for (int k = 0; k < 3; k++) {
        C[j][k] += (pM->aMean[i][j] - m[j]) * (pM->aMean[i][k] - m[k]);
      }
    }
  }
  double v[3] = { 0.577350269, 0.577350269, 0.577350269 };
  for (int Iter = 0; Iter < 20; Iter++) {
    double w[3], Len = 0;
    for (int j = 0; j < 3; j++) {
      w[j] = C[j][0] * v[0] + C[j][1] * v[1] + C[j][2] * v[2];
      Len += w[j] * w[j];
    }
    if (Len < 1e-12) break;
    Len = sqrt(Len);
    for (int j = 0; j < 3; j++) v[j] = w[j] / Len;
  }
  memcpy(pM->Axis, v, sizeof(v));
}

static double _Project(const _MEANS* pM, const double* c) {
  return c[0] * pM->Axis[0] + c[1] * pM->Axis[1] + c[2] * pM->Axis[2];
}

static void _SortMeans(_MEANS* pM) {
  double aProj[256];
  _FindAxis(pM);
  for (int i = 0; i < pM->NumMeans; i++) {
    aProj[i]       = _Project(pM, pM->aMean[i]);
    pM->aOrder[i]  = (U8)i;
  }
  std::sort(pM->aOrder, pM->aOrder + pM->NumMeans, [&aProj](U8 a, U8 b) {
    return aProj[a] != aProj[b] ? aProj[a] < aProj[b] : a < b;
  });
  for (int i = 0; i < pM->NumMeans; i++) {
    pM->aProj[i] = aProj[pM->aOrder[i]];
  }
}

static double _Dist(const double* a, const double* b) {
  double d0 = a[0] - b[0], d1 = a[1] - b[1], d2 = a[2] - b[2];
  return d0 * d0 + d1 * d1 + d2 * d2;
}

/* The nearest mean to c; iStart is a good guess (the last answer). */
static int _FindNearest(const _MEANS* pM, const double* c, int iStart) {
  int    iBest = iStart;
  double Best  = _Dist(c, pM->aMean[iStart]);
  double p     = _Project(pM, c);
  int    Pos   = (int)(std::lower_bound(pM->aProj, pM->aProj + pM->NumMeans, p) - pM->aProj);
  for (int j = Pos; j < pM->NumMeans; j++) {
    double dp = pM->aProj[j] - p;
    if (dp * dp > Best) break;
    double d = _Dist(c, pM->aMean[pM->aOrder[j]]);
    if (d < Best) {
      Best  = d;
      iBest = pM->aOrder[j];
    }
  }
  for (int j = Pos - 1; j >= 0; j--) {
    double dp = p - pM->aProj[j];
    if (dp * dp > Best) break;
    double d = _Dist(c, pM->aMean[pM->aOrder[j]]);
    if (d < Best) {
      Best  = d;
      iBest = pM->aOrder[j];
    }
  }
  return iBest;
}

/* Each cluster's mean becomes the weighted mean of its colours; an empty
 * cluster keeps its mean. */
static void _UpdateMeans(const _COLOR* aColor, I32 NumColors, _MEANS* pM, const U8* aAssign) {
  static double aSum[256][4];
  memset(aSum, 0, sizeof(aSum));
  for (I32 i = 0; i < NumColors; i++) {
    double* pSum = aSum[aAssign[i]];
    double  w    = aColor[i].Count;
    pSum[0] += w * aColor[i].c[0];
    pSum[1] += w * aColor[i].c[1];
    pSum[2] += w * aColor[i].c[2];
    pSum[3] += w;
  }
  for (int k = 0; k < pM->NumMeans; k++) {
    if (aSum[k][3] > 0) {
      for (int j = 0; j < 3; j++) pM->aMean[k][j] = aSum[k][j] / aSum[k][3];
    }
  }
}

/* Weighted k-means over the distinct colours; aAssign holds the start
 * clusters and gets the final ones, and the means end as theirs. */
static void _Refine(const _COLOR* aColor, I32 NumColors, _MEANS* pM, U8* aAssign) {
  for (int Pass = 0;; Pass++) {
    _UpdateMeans(aColor, NumColors, pM, aAssign);
    if (Pass == _MAX_PASSES) {
      break;
    }
    I32 NumMoved = 0;
    _SortMeans(pM);
    for (I32 i = 0; i < NumColors; i++) {
      double c[3] = { (double)aColor[i].c[0], (double)aColor[i].c[1], (double)aColor[i].c[2] };
      int    k    = _FindNearest(pM, c, aAssign[i]);
      if (k != aAssign[i]) {
        aAssign[i] = (U8)k;
        NumMoved++;
      }
    }
    if (NumMoved == 0) {
      break;   /* the means are those of their clusters */
    }
  }
}

/*********************************************************************
*  The palette
*/
/* Chooses at most NumEntries colours; fills aPalette and aMap (distinct
 * colour number to palette place) and gives the number chosen. */
static int _ChoosePalette(_COLOR* aColor, I32 NumColors, int NumEntries, U32* aPalette, U8* aMap) {
  if (NumColors <= NumEntries) {
    for (I32 i = 0; i < NumColors; i++) {
      aPalette[i] = (U32)aColor[i].c[2] << 16 | (U32)aColor[i].c[1] << 8 | aColor[i].c[0];
      aMap[i]     = (U8)i;
    }
    return NumColors;
  }
  static _BOX   aBox[256];
  static _MEANS Means;
  /* The cuts reorder the colours; aMap is indexed by the original order,
   * so the cuts work on a copy that remembers it. */
  _COLOR* aWork   = (_COLOR*)PLAT_Alloc((size_t)NumColors * sizeof(_COLOR));
  U8*     aAssign = (U8*)PLAT_Alloc((size_t)NumColors);
  if (aWork == NULL || aAssign == NULL) {
    PLAT_Free(aWork);
    PLAT_Free(aAssign);
    return 0;
  }
  memcpy(aWork, aColor, (size_t)NumColors * sizeof(_COLOR));
  int NumBoxes = _CutBoxes(aWork, NumColors, aBox, NumEntries);
  PLAT_Free(aWork);
  /* Start clusters: the box of each colour, found again by its means. */
  Means.NumMeans = NumBoxes;
  for (int b = 0; b < NumBoxes; b++) {
    for (int k = 0; k < 3; k++) Means.aMean[b][k] = (double)aBox[b].S[k] / (double)aBox[b].W;
  }
  _SortMeans(&Means);
  for (I32 i = 0; i < NumColors; i++) {
    double c[3] = { (double)aColor[i].c[0], (double)aColor[i].c[1], (double)aColor[i].c[2] };
    aAssign[i]  = (U8)_FindNearest(&Means, c, 0);
  }
  _Refine(aColor, NumColors, &Means, aAssign);
  /* 8-bit palette, and each colour to its nearest entry of it. */
  for (int b = 0; b < NumBoxes; b++) {
    U32 Color = 0;
    for (int k = 0; k < 3; k++) {
      double v = floor(Means.aMean[b][k] + 0.5);
      v = v < 0 ? 0 : (v > 255 ? 255 : v);
      Means.aMean[b][k] = v;
      Color |= (U32)v << (8 * k);
    }
    aPalette[b] = Color;
  }
  _SortMeans(&Means);
  for (I32 i = 0; i < NumColors; i++) {
    double c[3] = { (double)aColor[i].c[0], (double)aColor[i].c[1], (double)aColor[i].c[2] };
    aMap[i]     = (U8)_FindNearest(&Means, c, aAssign[i]);
  }
  PLAT_Free(aAssign);
  return NumBoxes;
}

/*********************************************************************
*  The conversion
*/
static void _WritePixels(const U32* aPixel, const U8* aMap, int Offset, IMAGE* pDest) {
  size_t Pos = 0;
  for (I32 y = 0; y < pDest->YSize; y++) {
    IMAGE_ShowLineStatus("Converting image, line ", y + 1, pDest->YSize);
    for (I32 x = 0; x < pDest->XSize; x++, Pos++) {
      U32 v = aPixel[Pos];
      IMAGE_SetPixel(pDest, x, y, v == _TRANS ? 0 : (U32)(aMap[v] + Offset));
    }
  }
}

IMAGE* CONVERT_IntoOptimalPalette(IMAGE* pBitmapOrg, int NumColors) {
  if (pBitmapOrg == NULL) {
    IMAGE_ShowError("Internal error : pBitmapOrg == NULL");
    return NULL;
  }
  if (NumColors < CONVERT_OPTIMAL_MIN || NumColors > CONVERT_OPTIMAL_MAX) {
    IMAGE_ShowError("The optimal palette must have 2 to 256 colors");
    return NULL;
  }
  int    KeepEntry0 = pBitmapOrg->NumColors > 0 && pBitmapOrg->HasTrans;
  int    Offset     = KeepEntry0 ? 1 : 0;
  size_t NumPixels  = (size_t)pBitmapOrg->XSize * (size_t)pBitmapOrg->YSize;
  U32*   aPixel     = (U32*)PLAT_Alloc(NumPixels * sizeof(U32));
  _COLOR* aColor    = NULL;
  I32    NumDistinct = aPixel ? _CollectColors(pBitmapOrg, KeepEntry0, aPixel, &aColor) : -1;
  static U32 aPalette[256];
  static U8  aMap[1];
  U8*    pMap       = NumDistinct > 0 ? (U8*)PLAT_Alloc((size_t)NumDistinct) : aMap;
  int    NumEntries = 0;
  if (NumDistinct >= 0 && pMap) {
    NumEntries = NumDistinct ? _ChoosePalette(aColor, NumDistinct, NumColors - Offset, aPalette + Offset, pMap) : 0;
  }
  IMAGE* pImage = NULL;
  if (NumDistinct < 0 || pMap == NULL || (NumDistinct > 0 && NumEntries == 0)) {
    IMAGE_ShowError("Not enough memory for the optimal palette");
  } else {
    if (KeepEntry0) {
      aPalette[0] = IMAGE_GetColor(pBitmapOrg, 0);
    }
    PALETTE Palette = { NumEntries + Offset, aPalette };
    if (CONVERT_GetDither()) {
      pImage = CONVERT_DitherIntoPalette(pBitmapOrg, &Palette, KeepEntry0, 1);
      pBitmapOrg = NULL;   /* consumed, or kept on failure by the callee */
    } else {
      pImage = IMAGE_Create(pBitmapOrg->XSize, pBitmapOrg->YSize, Palette.NumColors);
      if (pImage) {
        _WritePixels(aPixel, pMap, Offset, pImage);
        for (I32 i = 0; i < Palette.NumColors; i++) {
          IMAGE_SetColor(pImage, i, aPalette[i]);
        }
      }
    }
    if (pImage) {
      pImage->HasTrans = (I8)KeepEntry0;
      if (pBitmapOrg) {
        IMAGE_Free(pBitmapOrg);
      }
      IMAGE_ShowStatus("Conversion done");
    }
  }
  if (pMap != aMap) {
    PLAT_Free(pMap);
  }
  PLAT_Free(aColor);
  PLAT_Free(aPixel);
  return pImage;
}
