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
 * The strength, in 32nds, comes from the picture itself: from the largest
 * difference in one channel between the pixel and its eight neighbours
 * (its activity).
 *  - Smooth areas and soft gradients are where bands show: they give on
 *    most of the error, but not all, so that an error too small to matter
 *    dies out instead of adding grain.
 *  - Texture and photo noise hide bands by themselves: there the strength
 *    falls off.
 *  - Hard edges, as in icons and screenshots, give on (nearly) all of it:
 *    noise next to them is not seen, and their smoothed-out colour stays
 *    right.
 * A target not chosen for the picture (fixed and custom palettes, the
 * high colour levels, all coarse) takes one set of strengths. The high
 * colour levels are within half a level of any colour, so a flat area
 * (one colour, as in icons and screenshots) shows no band and keeps its
 * colour closely enough without a pattern: there, flat pixels far from
 * any soft step take none of the error. A palette chosen for the picture
 * takes another set, whose smooth-area strength falls as the palette
 * grows finer, since its errors are smaller and less worth spreading.
 * Such a palette is then fitted to the dithered picture (see below).
 *
 * The error that reaches a pixel is bounded to 32 levels per channel, so
 * that a colour the target cannot show does not drag a smear of wrong
 * colours behind it. Errors are kept in two rows of integers in 512ths,
 * one for the current row and one for the next. The diffusion is integer
 * arithmetic and the palette fit takes its sums in a fixed order: the same
 * pixels on every platform.
 */
#include "dither.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "../platform/plat.h"

#define _KEEP        0xFFFFFFFFu   /* source pixel of entry 0, kept as it is */
#define _FULL        32            /* strength that gives on all of the error */
#define _MAX_ERROR   (32 * 512)    /* bound of the error reaching a pixel */

/* Strengths, in 32nds, by activity: Smooth up to SmoothEnd, falling off
 * to Texture at TextureEnd, Edge from EdgeStart on. With FlatReach, a
 * pixel of activity 0 farther than that (in steps left, right, up and
 * down) from a soft step (activity 1 to SmoothEnd) takes strength 0. */
typedef struct {
  int Smooth;
  int SmoothEnd;
  int Texture;
  int TextureEnd;
  int EdgeStart;
  int Edge;
  int FlatReach;
} _PROFILE;

/* A target not chosen for the picture; the high colour levels add a
 * reach for flat areas. */
#define _COARSE_STRENGTHS  28, 8, 12, 40, 96, 32
static const _PROFILE _Coarse    = { _COARSE_STRENGTHS, 0 };
static const _PROFILE _HighColor = { _COARSE_STRENGTHS, 16 };

/* A palette chosen for the picture; Smooth from _aFittedSmooth. */
static const _PROFILE _Fitted = { 0, 6, 4, 40, 128, 28, 0 };

/* The smooth-area strength of a chosen palette by its size: up to 16,
 * 32, 64, 128 and 256 entries. */
static const int _aFittedSmooth[5] = { 27, 26, 26, 21, 16 };

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
  U8*  aStrength;   /* 0 to _FULL */
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

/* The strengths for a target of NumEntries colours. */
static _PROFILE _GetProfile(int NumEntries, int IsFitted) {
  if (!IsFitted) {
    return _Coarse;
  }
  _PROFILE Profile = _Fitted;
  int      Log     = 0;
  while (Log < 4 && (16 << Log) < NumEntries) {
    Log++;
  }
  Profile.Smooth = _aFittedSmooth[Log];
  return Profile;
}

static int _Strength(int Activity, const _PROFILE* p) {
  if (Activity >= p->EdgeStart) {
    return p->Edge;
  }
  if (Activity >= p->TextureEnd) {
    return p->Texture;
  }
  if (Activity > p->SmoothEnd) {
    return p->Smooth + (p->Texture - p->Smooth) * (Activity - p->SmoothEnd) / (p->TextureEnd - p->SmoothEnd);
  }
  return p->Smooth;
}

/* Each pixel's distance to the nearest soft step (activity 1 to
 * SmoothEnd), in steps left, right, up and down and at most 255: two
 * passes, from the top left, then from the bottom right. aActivity holds
 * the activities. NULL when memory ran out. */
static U8* _GetReach(const U8* aActivity, I32 XSize, I32 YSize, int SmoothEnd) {
  U8* aReach = (U8*)PLAT_Alloc((size_t)XSize * (size_t)YSize + 1);
  if (aReach == NULL) {
    return NULL;
  }
  for (I32 y = 0; y < YSize; y++) {
    const U8* pActivity = aActivity + (size_t)y * XSize;
    U8*       pRow      = aReach + (size_t)y * XSize;
    for (I32 x = 0; x < XSize; x++) {
      int d = (pActivity[x] >= 1 && pActivity[x] <= SmoothEnd) ? 0 : 255;
      if (x > 0) d = std::min(d, pRow[x - 1] + 1);
      if (y > 0) d = std::min(d, pRow[x - XSize] + 1);
      pRow[x] = (U8)d;
    }
  }
  for (I32 y = YSize - 1; y >= 0; y--) {
    U8* pRow = aReach + (size_t)y * XSize;
    for (I32 x = XSize - 1; x >= 0; x--) {
      int d = pRow[x];
      if (x < XSize - 1) d = std::min(d, pRow[x + 1] + 1);
      if (y < YSize - 1) d = std::min(d, pRow[x + XSize] + 1);
      pRow[x] = (U8)d;
    }
  }
  return aReach;
}

/* Pairs pixel x of row A with pixel x + Dx of row B wherever both exist:
 * each activity becomes at least their difference. Kept pixels are left
 * out; equal ones add nothing. */
static void _PairRows(const U32* pA, U8* pActA, const U32* pB, U8* pActB, I32 XSize, int Dx) {
  I32 x0 = Dx < 0 ? -Dx : 0, x1 = Dx > 0 ? XSize - Dx : XSize;
  for (I32 x = x0; x < x1; x++) {
    U32 a = pA[x], b = pB[x + Dx];
    if (a == b || a == _KEEP || b == _KEEP) continue;
    U8 d = (U8)_Diff(a, b);
    pActA[x]      = std::max(pActA[x], d);
    pActB[x + Dx] = std::max(pActB[x + Dx], d);
  }
}

/* Each pixel's activity (kept pixels and their pairs left out), then its
 * strength. 0 when memory ran out. */
static int _MakeStrength(_PICTURE* p, const _PROFILE* pProfile) {
  U8  aByActivity[256];
  I32 XSize = p->XSize, YSize = p->YSize;
  for (int a = 0; a < 256; a++) {
    aByActivity[a] = (U8)_Strength(a, pProfile);
  }
  /* Activities start at 0 (a fresh block). Every pair of neighbours
   * once: to the right, and the three below. */
  for (I32 y = 0; y < YSize; y++) {
    const U32* pRow      = p->aColor + (size_t)y * XSize;
    U8*        pActivity = p->aStrength + (size_t)y * XSize;
    _PairRows(pRow, pActivity, pRow, pActivity, XSize, 1);
    for (int Dx = -1; Dx <= 1 && y + 1 < YSize; Dx++) {
      _PairRows(pRow, pActivity, pRow + XSize, pActivity + XSize, XSize, Dx);
    }
  }
  U8* aReach = NULL;
  if (pProfile->FlatReach > 0) {
    aReach = _GetReach(p->aStrength, XSize, YSize, pProfile->SmoothEnd);
    if (aReach == NULL) {
      return 0;
    }
  }
  for (size_t Pos = 0; Pos < (size_t)XSize * (size_t)YSize; Pos++) {
    int  Activity = p->aStrength[Pos];
    int  IsFar    = aReach != NULL && Activity == 0 && aReach[Pos] > pProfile->FlatReach;
    p->aStrength[Pos] = (p->aColor[Pos] == _KEEP || IsFar) ? 0 : aByActivity[Activity];
  }
  PLAT_Free(aReach);
  return 1;
}

/* Reads the picture; with KeepEntry0, pixels of entry 0 become _KEEP.
 * 0 when memory ran out. */
static int _ReadPicture(const IMAGE* pSrc, int KeepEntry0, const _PROFILE* pProfile, _PICTURE* p) {
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
  if (!_MakeStrength(p, pProfile)) {
    _FreePicture(p);
    return 0;
  }
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
        int v = (int)((Color >> (8 * k)) & 0xFF) + ((e + 256) >> 9);
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
 * differ by s are at least s * s / 3 apart, which bounds the search. The
 * colours searched last are remembered by a hash of the colour: smooth
 * areas ask for the same ones again and again. */
#define _CACHE_BITS  12

typedef struct {
  int NumEntries;
  int aSum[256];
  int aRGB[256][3];
  U8  aIndex[256];
  U32 aCacheKey[1 << _CACHE_BITS];   /* 0x01BBGGRR, 0 for none */
  U8  aCacheEntry[1 << _CACHE_BITS];
} _NEAREST;

static U32 _SnapToPalette(void* pContext, const int* pRGB, int* pOut) {
  _NEAREST* p    = (_NEAREST*)pContext;
  U32       Key  = 0x01000000u | (U32)pRGB[2] << 16 | (U32)pRGB[1] << 8 | (U32)pRGB[0];
  U32       Slot = (Key * 2654435761u) >> (32 - _CACHE_BITS);
  if (p->aCacheKey[Slot] == Key) {
    int j = p->aCacheEntry[Slot];
    memcpy(pOut, p->aRGB[j], sizeof(p->aRGB[j]));
    return p->aIndex[j];
  }
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
  p->aCacheKey[Slot]   = Key;
  p->aCacheEntry[Slot] = (U8)jBest;
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
  memset(pNearest->aCacheKey, 0, sizeof(pNearest->aCacheKey));
  for (int j = 0; j < n; j++) {
    U32 c = pPalette->pColors[aOrder[j]];
    pNearest->aSum[j]    = aSum[aOrder[j]];
    pNearest->aIndex[j]  = (U8)aOrder[j];
    pNearest->aRGB[j][0] = (int)(c & 0xFF);
    pNearest->aRGB[j][1] = (int)((c >> 8) & 0xFF);
    pNearest->aRGB[j][2] = (int)((c >> 16) & 0xFF);
  }
}

/*********************************************************************
*  Fitting a palette chosen for the picture to its dithered form
*
*  The entries of such a palette sit at the means of the colours they
*  stand for, so mixes of them fall short of the picture's outer colours;
*  and a dithered picture is seen from a distance, as its pixels blur
*  together. After a first diffusion, the entries move to where the
*  dithered picture, each pixel keeping its entry, comes closest to the
*  original in least squares:
*   - over both pictures blurred by a 5 x 5 binomial (about what an eye
*     makes of a small display at arm's length), so that mixes come out
*     right;
*   - plus each pixel's own difference, weighted by how little of its
*     error the pixel gives on: where the diffusion is weak (texture), a
*     pixel shows its entry as it is, and that entry should be near it.
*  The diffusion then runs again on the moved entries.
*
*  Sums are taken in one fixed order and the solution is rounded to whole
*  levels: every platform gives the same palette.
*/
#define _OWN_BASE   0.4   /* weight of a pixel's own difference ... */
#define _OWN_WEAK   4.0   /* ... plus this much times the share it keeps */

static const int _aBinomial[5] = { 1, 4, 6, 4, 1 };   /* 5 x 5 weights sum to 256 */

typedef struct {
  int     n;          /* entries */
  double* aA;         /* n x n: the normal equations ... */
  double* aB;         /* n x 3: ... and their right sides */
  I32*    aCount;     /* pixels per entry */
} _FIT;

/* Adds the blurred difference at one pixel: the entries in its 5 x 5
 * window with their weights, against the window's blurred original. */
static void _AddBlurred(_FIT* pFit, const _PICTURE* pPic, const U8* aIdx, U32 Color0, I32 x, I32 y) {
  int    aEntry[25];
  double aWeight[25], aBlur[3] = { 0, 0, 0 };
  int    k = 0;
  for (int dy = -2; dy <= 2; dy++) {
    if (y + dy < 0 || y + dy >= pPic->YSize) continue;
    for (int dx = -2; dx <= 2; dx++) {
      if (x + dx < 0 || x + dx >= pPic->XSize) continue;
      size_t Pos = (size_t)(y + dy) * pPic->XSize + x + dx;
      int    w   = _aBinomial[dy + 2] * _aBinomial[dx + 2];
      U32    c   = pPic->aColor[Pos] == _KEEP ? Color0 : pPic->aColor[Pos];
      for (int q = 0; q < 3; q++) {
        aBlur[q] += w * (double)((c >> (8 * q)) & 0xFF);
      }
      int m = 0;
      while (m < k && aEntry[m] != aIdx[Pos]) m++;
      if (m == k) {
        aEntry[k]    = aIdx[Pos];
        aWeight[k++] = 0;
      }
      aWeight[m] += w;
    }
  }
  for (int m = 0; m < k; m++) {
    double* pRow = pFit->aA + (size_t)aEntry[m] * pFit->n;
    for (int m2 = 0; m2 < k; m2++) {
      pRow[aEntry[m2]] += aWeight[m] * aWeight[m2];
    }
    for (int q = 0; q < 3; q++) {
      pFit->aB[aEntry[m] * 3 + q] += aWeight[m] * aBlur[q];
    }
  }
}

/* Solves the normal equations of the entries that pixels show (Cholesky)
 * and moves them; the others stay: unused ones, and a kept entry 0, whose
 * pixels take no part. 0 when memory ran out. */
static int _Solve(const _FIT* pFit, U32* aCol) {
  int n = pFit->n;
  int aFree[256], NumFree = 0;
  for (int i = 0; i < n; i++) {
    if (pFit->aCount[i] > 0) aFree[NumFree++] = i;
  }
  double* aL = (double*)PLAT_Alloc((size_t)NumFree * NumFree * sizeof(double) + 1);
  double* aV = (double*)PLAT_Alloc((size_t)NumFree * 3 * sizeof(double) + 1);
  if (aL == NULL || aV == NULL) {
    PLAT_Free(aL);
    PLAT_Free(aV);
    return 0;
  }
  /* The right sides, less what the entries that stay give (only a kept
   * entry 0 is in any window). */
  for (int f = 0; f < NumFree; f++) {
    const double* pRow = pFit->aA + (size_t)aFree[f] * n;
    for (int q = 0; q < 3; q++) {
      double b = pFit->aB[aFree[f] * 3 + q];
      for (int j = 0; j < n; j++) {
        if (pFit->aCount[j] == 0) {
          b -= pRow[j] * (double)((aCol[j] >> (8 * q)) & 0xFF);
        }
      }
      aV[f * 3 + q] = b;
    }
  }
  /* Every free entry has pixels of its own, so the matrix is positive
   * definite; a pivot that is not (rounding) leaves the palette as it is. */
  int IsSolvable = 1;
  for (int f = 0; f < NumFree && IsSolvable; f++) {
    for (int g = 0; g <= f; g++) {
      double s = pFit->aA[(size_t)aFree[f] * n + aFree[g]];
      for (int h = 0; h < g; h++) {
        s -= aL[(size_t)f * NumFree + h] * aL[(size_t)g * NumFree + h];
      }
      if (f == g) {
        IsSolvable = s > 0;
        aL[(size_t)f * NumFree + f] = IsSolvable ? sqrt(s) : 1;
      } else {
        aL[(size_t)f * NumFree + g] = s / aL[(size_t)g * NumFree + g];
      }
    }
  }
  for (int q = 0; q < 3 && IsSolvable; q++) {
    for (int f = 0; f < NumFree; f++) {
      double s = aV[f * 3 + q];
      for (int h = 0; h < f; h++) s -= aL[(size_t)f * NumFree + h] * aV[h * 3 + q];
      aV[f * 3 + q] = s / aL[(size_t)f * NumFree + f];
    }
    for (int f = NumFree - 1; f >= 0; f--) {
      double s = aV[f * 3 + q];
      for (int h = f + 1; h < NumFree; h++) s -= aL[(size_t)h * NumFree + f] * aV[h * 3 + q];
      aV[f * 3 + q] = s / aL[(size_t)f * NumFree + f];
    }
  }
  for (int f = 0; f < NumFree && IsSolvable; f++) {
    U32 c = 0;
    for (int q = 0; q < 3; q++) {
      double v = std::min(255.0, std::max(0.0, aV[f * 3 + q]));
      c |= (U32)floor(v + 0.5) << (8 * q);
    }
    aCol[aFree[f]] = c;
  }
  PLAT_Free(aL);
  PLAT_Free(aV);
  return 1;
}

/* Moves the entries to fit pDest, the picture dithered onto them. 0 when
 * memory ran out. */
static int _FitPalette(const _PICTURE* pPic, const IMAGE* pDest, U32* aCol, int NumColors) {
  size_t NumPixels = (size_t)pPic->XSize * (size_t)pPic->YSize;
  _FIT   Fit;
  Fit.n        = NumColors;
  Fit.aA       = (double*)PLAT_Alloc((size_t)NumColors * NumColors * sizeof(double));
  Fit.aB       = (double*)PLAT_Alloc((size_t)NumColors * 3 * sizeof(double));
  Fit.aCount   = (I32*)PLAT_Alloc((size_t)NumColors * sizeof(I32));
  U8*    aIdx  = (U8*)PLAT_Alloc(NumPixels + 1);
  int    IsDone = Fit.aA && Fit.aB && Fit.aCount && aIdx;
  if (IsDone) {
    size_t Pos = 0;
    for (I32 y = 0; y < pPic->YSize; y++) {
      for (I32 x = 0; x < pPic->XSize; x++) {
        aIdx[Pos++] = (U8)IMAGE_GetPixel(pDest, x, y);
      }
    }
    /* The blurred difference is taken at every Step-th pixel of every
     * Step-th row: its windows still cover the picture, and a large one
     * gives at most about 64 Ki of them. */
    int Step = 2;
    while ((size_t)(pPic->XSize / Step) * (size_t)(pPic->YSize / Step) > 65536) {
      Step++;
    }
    /* A pixel's own difference by its strength, on the scale of the
     * blurred sums: weights summing to 256, one window in Step * Step
     * pixels. */
    double aOwn[_FULL + 1];
    for (int s = 0; s <= _FULL; s++) {
      aOwn[s] = 256.0 * 256.0 / (Step * Step) * (_OWN_BASE + _OWN_WEAK * (_FULL - s) / _FULL);
    }
    Pos = 0;
    for (I32 y = 0; y < pPic->YSize; y++) {
      IMAGE_ShowLineStatus("Fitting palette, line ", y + 1, pPic->YSize);
      for (I32 x = 0; x < pPic->XSize; x++, Pos++) {
        if (x % Step == 0 && y % Step == 0) {
          _AddBlurred(&Fit, pPic, aIdx, aCol[0] & 0xFFFFFF, x, y);
        }
        U32 c = pPic->aColor[Pos];
        if (c == _KEEP) continue;
        int    i   = aIdx[Pos];
        double Own = aOwn[pPic->aStrength[Pos]];
        Fit.aA[(size_t)i * NumColors + i] += Own;
        for (int q = 0; q < 3; q++) {
          Fit.aB[i * 3 + q] += Own * (double)((c >> (8 * q)) & 0xFF);
        }
        Fit.aCount[i]++;
      }
    }
    IsDone = _Solve(&Fit, aCol);
  }
  PLAT_Free(Fit.aA);
  PLAT_Free(Fit.aB);
  PLAT_Free(Fit.aCount);
  PLAT_Free(aIdx);
  return IsDone;
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
  /* A copy of the palette: one chosen for the picture is fitted to its
   * dithered form and the picture dithered again. */
  static U32 aCol[256];
  PALETTE    Palette = { pPalette->NumColors, aCol };
  memcpy(aCol, pPalette->pColors, (size_t)pPalette->NumColors * sizeof(U32));
  KeepEntry0 = KeepEntry0 && pBitmapOrg->NumColors > 0;
  int First  = (KeepEntry0 && Palette.NumColors > 1) ? 1 : 0;
  _SortPalette(&Palette, First, &Nearest);
  IMAGE* pImage = IMAGE_Create(pBitmapOrg->XSize, pBitmapOrg->YSize, Palette.NumColors);
  if (pImage == NULL) {
    return NULL;
  }
  _PICTURE Pic;
  _PROFILE Profile = _GetProfile(Nearest.NumEntries, IsFitted);
  int IsDone = _ReadPicture(pBitmapOrg, KeepEntry0, &Profile, &Pic) && _Diffuse(&Pic, pImage, _SnapToPalette, &Nearest);
  if (IsDone && IsFitted) {
    IsDone = _FitPalette(&Pic, pImage, aCol, Palette.NumColors);
    _SortPalette(&Palette, First, &Nearest);
    IsDone = IsDone && _Diffuse(&Pic, pImage, _SnapToPalette, &Nearest);
  }
  _FreePicture(&Pic);
  if (!IsDone) {
    IMAGE_ShowError("Not enough memory for dithering");
    IMAGE_Free(pImage);
    return NULL;
  }
  for (I32 i = 0; i < Palette.NumColors; i++) {
    IMAGE_SetColor(pImage, i, aCol[i]);
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
  int IsDone = _ReadPicture(pBitmapOrg, 0, &_HighColor, &Pic) && _Diffuse(&Pic, pImage, _SnapToHighColor, &Format);
  _FreePicture(&Pic);
  if (!IsDone) {
    IMAGE_ShowError("Not enough memory for dithering");
    IMAGE_Free(pImage);
    return NULL;
  }
  IMAGE_Free(pBitmapOrg);
  return pImage;
}
