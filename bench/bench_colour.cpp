/*
 * Times the colour census, the best palette and fixed-palette conversions
 * on a large true-colour picture with many colours, each next to a plain
 * version written straight from the rules (linear search of the census
 * table with bubble-up; a palette search for every pixel), and checks that
 * both give the same result.
 *
 *   bench_colour [size] [plain rows]
 *
 * size: the picture is size x size pixels (default 2000).
 * plain rows: the plain census costs pixels times table length, many
 * minutes on the whole picture; it runs on the top rows only (default
 * 100), and its time for the whole picture is estimated from two runs.
 */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <utility>
#include <vector>

#include "bench/benchutil.h"
#include "color/palette.h"
#include "core/image.h"

/* Gradients with a little noise in each channel, like a photograph of a
 * smooth scene: many colours, most of them rare. */
static IMAGE* _MakePicture(int Size) {
  IMAGE* pImage = IMAGE_Create(Size, Size, 0);
  if (pImage == NULL) {
    return NULL;
  }
  U32 State = 4711;
  for (int y = 0; y < Size; y++) {
    for (int x = 0; x < Size; x++) {
      U32 n = BENCH_Rand(&State);
      int r = x * 255 / Size + (int)(n & 7) - 3;
      int g = y * 255 / Size + (int)(n >> 3 & 7) - 3;
      int b = (x + y) * 127 / Size + (int)(n >> 6 & 7) - 3;
      r = r < 0 ? 0 : r > 255 ? 255 : r;
      g = g < 0 ? 0 : g > 255 ? 255 : g;
      b = b < 0 ? 0 : b > 255 ? 255 : b;
      IMAGE_SetPixel(pImage, x, y, (U32)b << 16 | (U32)g << 8 | (U32)r);
    }
  }
  return pImage;
}

/* The top NumRows rows of a picture. */
static IMAGE* _TopRows(const IMAGE* pImage, int NumRows) {
  IMAGE* p = IMAGE_Create(pImage->XSize, NumRows, 0);
  for (int y = 0; y < NumRows; y++) {
    for (int x = 0; x < pImage->XSize; x++) {
      IMAGE_SetPixel(p, x, y, IMAGE_GetPixel(pImage, x, y));
    }
  }
  return p;
}

/*********************************************************************
*  Plain versions
*/
typedef struct {
  U32 Color;
  I32 Count;
} ENTRY;

static std::vector<ENTRY> _PlainCensus(const IMAGE* p) {
  std::vector<ENTRY> a;
  for (int y = 0; y < p->YSize; y++) {
    for (int x = 0; x < p->XSize; x++) {
      U32 c = IMAGE_GetPixelColor(p, x, y);
      size_t i = 0;
      while (i < a.size() && a[i].Color != c) i++;
      if (i == a.size()) a.push_back({ c, 0 });
      a[i].Count++;
      while (i > 0 && a[i].Count > a[i - 1].Count) {
        std::swap(a[i], a[i - 1]);
        i--;
      }
    }
  }
  return a;
}

static I32 _Distance(U32 a, U32 b) {
  I32 dr = (I32)(a & 0xFF) - (I32)(b & 0xFF);
  I32 dg = (I32)(a >> 8 & 0xFF) - (I32)(b >> 8 & 0xFF);
  I32 db = (I32)(a >> 16 & 0xFF) - (I32)(b >> 16 & 0xFF);
  return dr * dr + dg * dg + db * db;
}

static I32 _Nearest(U32 c, const std::vector<U32>& aPal) {
  I32 Best = 0, BestDist = _Distance(c, aPal[0]);
  for (I32 i = 1; i < (I32)aPal.size() && BestDist; i++) {
    I32 d = _Distance(c, aPal[(size_t)i]);
    if (d < BestDist) {
      BestDist = d;
      Best = i;
    }
  }
  return Best;
}

/* A true-colour picture onto a palette, searching for every pixel. */
static IMAGE* _PlainConvert(const IMAGE* pSrc, const std::vector<U32>& aPal) {
  IMAGE* p = IMAGE_Create(pSrc->XSize, pSrc->YSize, (I32)aPal.size());
  for (int y = 0; y < pSrc->YSize; y++) {
    for (int x = 0; x < pSrc->XSize; x++) {
      IMAGE_SetPixel(p, x, y, (U32)_Nearest(IMAGE_GetPixel(pSrc, x, y), aPal));
    }
  }
  for (size_t i = 0; i < aPal.size(); i++) IMAGE_SetColor(p, (I32)i, aPal[i]);
  return p;
}

/*********************************************************************
*  Checks
*/
static bool _SameCensus(const IMAGE* p, const std::vector<ENTRY>& a) {
  if (p->NumColorsUsed != (I32)a.size()) return false;
  for (size_t i = 0; i < a.size(); i++) {
    if (p->pColorCount[2 * i] != a[i].Color || (I32)p->pColorCount[2 * i + 1] != a[i].Count) return false;
  }
  return true;
}

static bool _SameImage(const IMAGE* a, const IMAGE* b) {
  return a && b && a->NumColors == b->NumColors &&
         memcmp(a->pInfo, b->pInfo, 40 + 4 * (size_t)a->NumColors) == 0 &&
         memcmp(a->pData, b->pData, (size_t)a->BytesPerLine * (size_t)a->YSize) == 0;
}

static std::vector<U32> _PaletteOf(const IMAGE* p) {
  std::vector<U32> a;
  for (I32 i = 0; i < p->NumColors; i++) a.push_back(IMAGE_GetColor(p, i));
  return a;
}

static const char* _Same(bool b) { return b ? "same result" : "RESULT DIFFERS"; }

static void _Line(const char* sWhat, double Seconds) {
  printf("%-64s %9.3f\n", sWhat, Seconds);
}

int main(int argc, char** argv) {
  int Size      = argc > 1 ? atoi(argv[1]) : 2000;
  int PlainRows = argc > 2 ? atoi(argv[2]) : 100;
  if (Size < 16 || PlainRows < 4 || PlainRows > Size) {
    fprintf(stderr, "usage: bench_colour [size >= 16] [plain rows, 4 to size]\n");
    return 1;
  }
  IMAGE_SetHooks(NULL, BENCH_OnError, "bench");
  IMAGE* pPic = _MakePicture(Size);
  if (pPic == NULL) return 1;
  bool Ok = true;
  char ac[120];
  double t0;

  /* Census */
  t0 = BENCH_Now();
  I32 NumColors = IMAGE_CountColors(pPic);
  double tCensus = BENCH_Now() - t0;
  printf("Picture %d x %d, true colour, %d colours (the most frequent on %u pixels)\n", Size, Size, (int)NumColors,
         NumColors ? (unsigned)pPic->pColorCount[1] : 0u);
  printf("The plain census runs on the top %d rows only (and on half as many, to see how its\n"
         "cost grows); its whole-picture figures are ESTIMATES from those two runs.\n\n", PlainRows);
  printf("%-64s %9s\n", "what", "seconds");
  _Line("census, fast, whole picture", tCensus);

  double aPlain[2];
  int    aRows[2] = { PlainRows / 2, PlainRows };
  for (int k = 0; k < 2; k++) {
    IMAGE* pTop = _TopRows(pPic, aRows[k]);
    t0 = BENCH_Now();
    std::vector<ENTRY> a = _PlainCensus(pTop);
    aPlain[k] = BENCH_Now() - t0;
    t0 = BENCH_Now();
    IMAGE_CountColors(pTop);
    double tFast = BENCH_Now() - t0;
    bool Same = _SameCensus(pTop, a);
    Ok &= Same;
    snprintf(ac, sizeof(ac), "census, plain, top %d rows (%d colours)", aRows[k], (int)a.size());
    _Line(ac, aPlain[k]);
    snprintf(ac, sizeof(ac), "census, fast,  top %d rows: %s", aRows[k], _Same(Same));
    _Line(ac, tFast);
    IMAGE_Free(pTop);
  }
  /* cost ~ rows^e with e from the two runs: a rough figure */
  double e = aPlain[0] > 0 ? log(aPlain[1] / aPlain[0]) / log(2.0) : 1.0;
  double tEstimate = aPlain[1] * pow((double)Size / PlainRows, e);
  snprintf(ac, sizeof(ac), "census, plain, whole picture: ESTIMATE (cost ~ rows^%.2f)", e);
  _Line(ac, tEstimate);

  /* Best palette. The plain one needs the plain census, so as a whole it
   * runs on the top rows; its conversion half also on the whole picture. */
  t0 = BENCH_Now();
  IMAGE* pBest = CONVERT_IntoBestPalette(IMAGE_Copy(pPic));
  _Line("best palette, fast, whole picture", BENCH_Now() - t0);
  {
    IMAGE* pTop = _TopRows(pPic, PlainRows);
    t0 = BENCH_Now();
    std::vector<ENTRY> a = _PlainCensus(pTop);
    std::vector<U32> aPal;
    for (size_t i = 0; i < a.size() && i < 256; i++) aPal.push_back(a[i].Color);
    IMAGE* pPlain = _PlainConvert(pTop, aPal);
    double tPlain = BENCH_Now() - t0;
    t0 = BENCH_Now();
    IMAGE* pFast = CONVERT_IntoBestPalette(pTop);
    double tFast = BENCH_Now() - t0;
    bool Same = _SameImage(pFast, pPlain);
    Ok &= Same;
    snprintf(ac, sizeof(ac), "best palette, plain, top %d rows", PlainRows);
    _Line(ac, tPlain);
    snprintf(ac, sizeof(ac), "best palette, fast,  top %d rows: %s", PlainRows, _Same(Same));
    _Line(ac, tFast);
    IMAGE_Free(pPlain);
    IMAGE_Free(pFast);
  }
  if (pBest) {
    t0 = BENCH_Now();
    IMAGE* pPlain = _PlainConvert(pPic, _PaletteOf(pBest));
    double tConvert = BENCH_Now() - t0;
    bool Same = _SameImage(pBest, pPlain);
    Ok &= Same;
    snprintf(ac, sizeof(ac), "best palette, plain, conversion half only, whole: %s", _Same(Same));
    _Line(ac, tConvert);
    _Line("best palette, plain, whole picture: ESTIMATE (census + conversion)", tEstimate + tConvert);
    IMAGE_Free(pPlain);
    IMAGE_Free(pBest);
  } else {
    Ok = false;
  }

  /* Fixed palettes, whole picture both ways */
  struct { const char* sName; IMAGE* (*pfConvert)(IMAGE*); } aFixed[] = {
    { "8666", CONVERT_Into8666 }, { "332", CONVERT_Into332 }, { "Gray16", CONVERT_IntoGray16 },
  };
  for (auto& f : aFixed) {
    t0 = BENCH_Now();
    IMAGE* pFast = f.pfConvert(IMAGE_Copy(pPic));
    double tFast = BENCH_Now() - t0;
    if (pFast == NULL) {
      Ok = false;
      continue;
    }
    t0 = BENCH_Now();
    IMAGE* pPlain = _PlainConvert(pPic, _PaletteOf(pFast));
    double tPlain = BENCH_Now() - t0;
    bool Same = _SameImage(pFast, pPlain);
    Ok &= Same;
    snprintf(ac, sizeof(ac), "%s, fast, whole picture", f.sName);
    _Line(ac, tFast);
    snprintf(ac, sizeof(ac), "%s, plain, whole picture: %s", f.sName, _Same(Same));
    _Line(ac, tPlain);
    IMAGE_Free(pFast);
    IMAGE_Free(pPlain);
  }
  IMAGE_Free(pPic);
  printf("\n%s\n", Ok ? "All results of the fast and plain versions are identical." : "RESULTS DIFFER.");
  return Ok ? 0 : 1;
}
