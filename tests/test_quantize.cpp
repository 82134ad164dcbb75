/* Optimal palette and dithering. */
#include <gtest/gtest.h>

#include <string.h>

#include <functional>

#include "color/dither.h"
#include "color/palette.h"
#include "color/quantize.h"
#include "color/truecolor.h"
#include "commands/cmdline.h"
#include "testutil.h"

namespace {

/* A slow horizontal gray ramp with a little blue, the kind that bands. */
IMAGE* Ramp(int XSize, int YSize) {
  IMAGE* p = IMAGE_Create(XSize, YSize, 0);
  for (int i = 0; i < XSize * YSize; i++) {
    U32 v = (U32)(i % XSize * 255 / (XSize - 1));
    IMAGE_SetPixel(p, i % XSize, i / XSize, (v / 2 + 64) << 16 | v << 8 | v);
  }
  return p;
}

/* The image as it would be exported, and its transparency. */
std::string Bytes(const IMAGE* p) { return MakeBMP(p) + char('0' + p->HasTrans); }

/* The bytes of a conversion of a copy; the images are freed. */
std::string Converted(const std::function<IMAGE*(IMAGE*)>& pf, const IMAGE* pSrc) {
  IMAGE* p = pf(IMAGE_Copy(pSrc));
  std::string s = Bytes(p);
  IMAGE_Free(p);
  return s;
}

int Channel(U32 c, int k) { return (int)(c >> (8 * k) & 255); }

/* Mean over 8 x 8 blocks of the squared difference of the blocks' average
 * colours: what the eye sees of banding. */
double BlockError(const IMAGE* pA, const IMAGE* pB) {
  double Sum = 0;
  int    n   = 0;
  for (int by = 0; by + 8 <= pA->YSize; by += 8)
    for (int bx = 0; bx + 8 <= pA->XSize; bx += 8, n++)
      for (int k = 0; k < 3; k++) {
        double d = 0;
        for (int i = 0; i < 64; i++)
          d += Channel(IMAGE_GetPixelColor(pA, bx + i % 8, by + i / 8), k) - Channel(IMAGE_GetPixelColor(pB, bx + i % 8, by + i / 8), k);
        Sum += (d / 64) * (d / 64);
      }
  return Sum / n;
}

struct Quantize : ::testing::Test {
  ReportCatcher Reports;
  void TearDown() override { CONVERT_SetDither(0); }
};

}  // namespace

TEST_F(Quantize, ExactAtOrBelowNColorsAndDeterministic) {
  for (int N : {2, 16, 256}) {
    IMAGE* pSrc = RandomImage(37, 23, 0, (unsigned)N, (unsigned)N);
    IMAGE* pA   = CONVERT_IntoOptimalPalette(IMAGE_Copy(pSrc), N);
    IMAGE* pB   = CONVERT_IntoOptimalPalette(IMAGE_Copy(pSrc), N);
    ASSERT_TRUE(pA && pB);
    EXPECT_LE(pA->NumColors, N);
    EXPECT_EQ(Bytes(pA), Bytes(pB));
    /* Few enough colours are kept in the order of their values. */
    for (int i = 1; i < pA->NumColors; i++) EXPECT_LT(IMAGE_GetColor(pA, i - 1), IMAGE_GetColor(pA, i)) << N;
    for (int i = 0; i < 37 * 23; i++) ASSERT_EQ(IMAGE_GetPixelColor(pA, i % 37, i / 37), IMAGE_GetPixel(pSrc, i % 37, i / 37));
    /* A palette source of few colours comes out the same way. */
    IMAGE* pC = CONVERT_IntoOptimalPalette(CONVERT_IntoBestPalette(IMAGE_Copy(pSrc)), N);
    EXPECT_EQ(Bytes(pA), Bytes(pC));
    IMAGE_Free(pSrc); IMAGE_Free(pA); IMAGE_Free(pB); IMAGE_Free(pC);
  }
  /* The best cut can lie just below a box's largest value: red 253 once,
   * 254 and 255 a hundred times each keep 255 apart. */
  IMAGE* p = IMAGE_Create(201, 1, 0);
  for (int x = 0; x < 201; x++) IMAGE_SetPixel(p, x, 0, x == 0 ? 253u : x <= 100 ? 254u : 255u);
  p = CONVERT_IntoOptimalPalette(p, 2);
  EXPECT_EQ(IMAGE_GetPixelColor(p, 200, 0), 255u);
  EXPECT_EQ(IMAGE_GetPixelColor(p, 50, 0), 254u);
  IMAGE_Free(p);
  EXPECT_TRUE(Reports.Errors.empty());
}

TEST_F(Quantize, TransparentEntryStaysEntryZero) {
  IMAGE* pSrc = MakeTestImage(40, 30, 200);
  for (int Dither : {0, 1}) {
    CONVERT_SetDither(Dither);
    IMAGE* pCopy = IMAGE_Copy(pSrc);
    pCopy->HasTrans = 1;   /* a copy does not carry it */
    IMAGE* p = CONVERT_IntoOptimalPalette(pCopy, 8);
    ASSERT_TRUE(p);
    ASSERT_EQ(p->HasTrans, 1);
    EXPECT_EQ(IMAGE_GetColor(p, 0), IMAGE_GetColor(pSrc, 0));
    EXPECT_LE(p->NumColors, 8);
    for (int i = 0; i < 40 * 30; i++) ASSERT_EQ(IMAGE_GetPixel(p, i % 40, i / 40) == 0, IMAGE_GetPixel(pSrc, i % 40, i / 40) == 0);
    IMAGE_Free(p);
  }
  IMAGE_Free(pSrc);
  /* Dithered, the palette is fitted to the picture: the transparent
   * magenta beside a grey ramp pulls no entry off grey. */
  IMAGE* pHalf = IMAGE_Create(32, 32, 17);
  IMAGE_SetColor(pHalf, 0, 0xFF00FF);
  for (int i = 1; i < 17; i++) IMAGE_SetColor(pHalf, i, (U32)(40 + 5 * i) * 0x010101u);
  for (int i = 0; i < 32 * 32; i++) IMAGE_SetPixel(pHalf, i % 32, i / 32, i % 32 < 16 ? 0 : (U32)(i % 32 - 15));
  pHalf->HasTrans = 1;
  CONVERT_SetDither(1);
  IMAGE* p = CONVERT_IntoOptimalPalette(pHalf, 4);
  EXPECT_EQ(IMAGE_GetColor(p, 0), 0xFF00FFu);
  for (int i = 1; i < p->NumColors; i++) EXPECT_EQ(IMAGE_GetColor(p, i) % 0x010101u, 0u) << std::hex << IMAGE_GetColor(p, i);
  IMAGE_Free(p);
}

TEST_F(Quantize, DitherOffLeavesEveryConversionAsItWas) {
  std::vector<std::function<IMAGE*(IMAGE*)>> aConvert = {
    CONVERT_IntoBW, CONVERT_IntoGray4, CONVERT_IntoGray16, CONVERT_IntoGray64, CONVERT_IntoGray256,
    CONVERT_Into111, CONVERT_Into222, CONVERT_Into233, CONVERT_Into323, CONVERT_Into332, CONVERT_Into8666,
    CONVERT_IntoBestPalette, CONVERT_IntoCustomPalette,
  };
  for (int f : {555, 655, 565, 556}) aConvert.push_back([f](IMAGE* p) { return CONVERT_IntoHighColor(p, f); });
  PALETTE* pCustom = CONVERT_GetCustomPalette();
  pCustom->NumColors = 5;
  for (int i = 0; i < 5; i++) pCustom->pColors[i] = 0x336699u * (U32)i;
  std::vector<IMAGE*> aSrc = {RandomImage(33, 17, 0, 1, 500), MakeTestImage(19, 11, 77)};
  std::vector<std::string> aBefore;
  for (IMAGE* pSrc : aSrc)
    for (auto& pf : aConvert) aBefore.push_back(Converted(pf, pSrc));
  CONVERT_SetDither(1);
  CONVERT_SetDither(0);
  size_t i = 0;
  for (IMAGE* pSrc : aSrc)
    for (auto& pf : aConvert) EXPECT_EQ(Converted(pf, pSrc), aBefore[i++]) << i;
  /* On, a picture that already lies on the target palette keeps every pixel. */
  CONVERT_SetDither(1);
  IMAGE* pGray = CONVERT_IntoGray16(IMAGE_Copy(aSrc[0]));
  EXPECT_EQ(Converted(CONVERT_IntoGray16, pGray), Bytes(pGray));
  IMAGE_Free(pGray);
  /* Two entries at equal distance: the lower index, as without dithering. */
  pCustom->NumColors = 2, pCustom->pColors[0] = 0x5A5A5A, pCustom->pColors[1] = 0x6E6E6E;
  IMAGE_SetPixel(pGray = IMAGE_Create(1, 1, 0), 0, 0, 0x646464);
  pGray = CONVERT_IntoCustomPalette(pGray);
  EXPECT_EQ(IMAGE_GetPixel(pGray, 0, 0), 0u);
  IMAGE_Free(pGray);
  for (IMAGE* pSrc : aSrc) IMAGE_Free(pSrc);
}

TEST_F(Quantize, DitherHidesBandingDeterministicallyWithinThePalette) {
  IMAGE* pRamp = Ramp(256, 32);
  PALETTE* pCustom = CONVERT_GetCustomPalette();
  pCustom->NumColors = 6;   /* six colours along the ramp */
  for (int i = 0; i < 6; i++) pCustom->pColors[i] = (U32)(i * 51) * 0x000101u + (U32)(i * 51 / 2 + 64) * 0x010000u;
  std::vector<std::function<IMAGE*(IMAGE*)>> aConvert = {
    CONVERT_Into332, CONVERT_IntoCustomPalette, [](IMAGE* p) { return CONVERT_IntoHighColor(p, 565); },
    [](IMAGE* p) { return CONVERT_IntoOptimalPalette(p, 8); },
  };
  for (auto& pf : aConvert) {
    CONVERT_SetDither(0);
    IMAGE* pPlain = pf(IMAGE_Copy(pRamp));
    CONVERT_SetDither(1);
    IMAGE* pDither = pf(IMAGE_Copy(pRamp));
    EXPECT_EQ(Converted(pf, pRamp), Bytes(pDither));
    EXPECT_LT(BlockError(pRamp, pDither) * 4, BlockError(pRamp, pPlain)) << &pf - &aConvert[0];
    for (int i = 0; i < 256 * 32 && pDither->NumColors; i++) ASSERT_LT(IMAGE_GetPixel(pDither, i % 256, i / 256), (U32)pDither->NumColors);
    IMAGE_Free(pPlain); IMAGE_Free(pDither);
  }
  IMAGE_Free(pRamp);
}

namespace {

/* Pixels that differ from the plain conversion, in columns x0 to x1 - 1
 * of rows y0 to y1 - 1. */
int NumChanged(const std::function<IMAGE*(IMAGE*)>& pf, const IMAGE* pSrc, int x0 = 0, int x1 = 1 << 30, int y0 = 0, int y1 = 1 << 30) {
  CONVERT_SetDither(0);
  IMAGE* pPlain = pf(IMAGE_Copy(pSrc));
  CONVERT_SetDither(1);
  IMAGE* pDither = pf(IMAGE_Copy(pSrc));
  int n = 0;
  for (int i = 0; i < pSrc->XSize * pSrc->YSize; i++) n += i % pSrc->XSize >= x0 && i % pSrc->XSize < x1 && i / pSrc->XSize >= y0 && i / pSrc->XSize < y1 && IMAGE_GetPixel(pPlain, i % pSrc->XSize, i / pSrc->XSize) != IMAGE_GetPixel(pDither, i % pSrc->XSize, i / pSrc->XSize);
  IMAGE_Free(pPlain); IMAGE_Free(pDither);
  return n;
}

}  // namespace

TEST_F(Quantize, DitherSparesTextureAndLetsUnusableErrorDie) {
  /* Grey noise of middling contrast hides banding by itself: few of its
   * pixels change, where a soft ramp of the same greys changes many. */
  IMAGE* pNoise = IMAGE_Create(64, 64, 0);
  IMAGE* pSoft  = IMAGE_Create(64, 64, 0);
  U32 State = 1;
  for (int i = 0; i < 64 * 64; i++) {
    State = State * 1103515245u + 12345u;
    U32 v = 53 + (State >> 16) % 64, w = 53 + (U32)(i % 64);
    IMAGE_SetPixel(pNoise, i % 64, i / 64, v * 0x010101u);
    IMAGE_SetPixel(pSoft, i % 64, i / 64, w * 0x010101u);
  }
  EXPECT_LT(NumChanged(CONVERT_IntoGray4, pNoise) * 16, NumChanged(CONVERT_IntoGray4, pSoft));
  /* Blue beside grey: the blue that the palette cannot show drags no
   * smear of greyish blue into the grey. */
  PALETTE* pCustom = CONVERT_GetCustomPalette();
  pCustom->NumColors = 4;   /* black, grey, white, greyish blue */
  pCustom->pColors[0] = 0; pCustom->pColors[1] = 0x808080; pCustom->pColors[2] = 0xFFFFFF; pCustom->pColors[3] = 0xC83838;
  IMAGE* pHalf = IMAGE_Create(64, 16, 0);
  for (int i = 0; i < 64 * 16; i++) IMAGE_SetPixel(pHalf, i % 64, i / 64, i % 64 < 32 ? 0xFF0000 : 0x808080);
  CONVERT_SetDither(1);
  IMAGE* p = CONVERT_IntoCustomPalette(pHalf);
  for (int i = 0; i < 64 * 16; i++) {
    if (i % 64 >= 32) {
      ASSERT_EQ(IMAGE_GetPixel(p, i % 64, i / 64), 1u) << i % 64;
    }
  }
  IMAGE_Free(p); IMAGE_Free(pNoise); IMAGE_Free(pSoft);
  /* At 565 a flat grey between two levels shows no band: beyond 16 steps
   * from the soft ramp at its bottom right it keeps the plain result (its
   * first column takes the error that reaches it, but gives none on);
   * nearer, to the left of the ramp and above it, it is dithered. */
  IMAGE* pFlat = IMAGE_Create(64, 16, 0);
  for (int i = 0; i < 64 * 16; i++) IMAGE_SetPixel(pFlat, i % 64, i / 64, (U32)(i % 64 < 48 || i / 64 < 8 ? 45 : 45 + 2 * (i % 64 - 48)) * 0x010101u);
  auto To565 = [](IMAGE* q) { return CONVERT_IntoHighColor(q, 565); };
  EXPECT_EQ(NumChanged(To565, pFlat, 0, 31), 0);
  EXPECT_GT(std::min({NumChanged(To565, pFlat, 31, 48), NumChanged(To565, pFlat, 48, 64, 0, 7), NumChanged(To565, pFlat, 48, 64, 8)}), 8);
  IMAGE_Free(pFlat);
}

/* Dithered output is part of what builds depend on: every conversion of
 * a picture with smooth, noisy, textured, hard-edged and out-of-gamut
 * parts, true colour and with a transparent entry, keeps its bytes (an
 * FNV-1a hash a line). */
TEST_F(Quantize, DitheredBytesStayTheSame) {
  IMAGE* aPic[2];   /* the second one's noise is grey */
  for (int k = 0; k < 2; k++) {
    aPic[k] = IMAGE_Create(64, 24, 0);
    U32 State = 7;
    for (int i = 0; i < 64 * 24; i++) {
      int x = i % 64, y = i / 64, Part = x / 16;
      State = State * 1103515245u + 12345u;
      int n = (int)(State >> 16) % 64 - 32, v = 40 + 2 * x + y;
      U32 c = Part == 0 ? (U32)(v * 0x010101 + 0x200000) : Part == 1 ? (U32)(v + n / 3) * (k ? 0x010101u : 0x000101u) + 0x10 * (U32)y
            : Part == 2 ? (U32)(128 + n * 3 / 2) * 0x010102u : (y & 4) ? (x & 2 ? 0xFFFFFF : 0x0000FF) : 0x10E020;
      IMAGE_SetPixel(aPic[k], x, y, c & 0xFFFFFF);
    }
  }
  IMAGE* pTrue = aPic[0];
  IMAGE* pPal = CONVERT_IntoOptimalPalette(IMAGE_Copy(pTrue), 200);
  pPal->HasTrans = 1;
  PALETTE* pCustom = CONVERT_GetCustomPalette();
  pCustom->NumColors = 5;
  for (int i = 0; i < 5; i++) pCustom->pColors[i] = 0x336699u * (U32)i;
  std::vector<std::pair<std::string, std::function<IMAGE*(IMAGE*)>>> aConvert = {
    {"BW", CONVERT_IntoBW}, {"Gray4", CONVERT_IntoGray4}, {"111", CONVERT_Into111}, {"8666", CONVERT_Into8666}, {"custom", CONVERT_IntoCustomPalette}};
  for (int n : {2, 16, 32, 64, 128, 256}) aConvert.push_back({"optimal" + std::to_string(n), [n](IMAGE* p) { return CONVERT_IntoOptimalPalette(p, n); }});
  for (int f : {555, 655, 565, 556}) aConvert.push_back({std::to_string(f), [f](IMAGE* p) { return CONVERT_IntoHighColor(p, f); }});
  CONVERT_SetDither(1);
  std::string sGot;
  IMAGE* pMany = RandomImage(48, 48, 0, 9);   /* colours everywhere: the palette search's longest work */
  for (IMAGE* pSrc : {pTrue, pPal, pMany, aPic[1]})
    for (auto& c : aConvert) {
      uint64_t h = 0xCBF29CE484222325ull;
      for (char b : Converted(c.second, pSrc)) h = (h ^ (U8)b) * 0x100000001B3ull;
      sGot += (pSrc == pTrue ? "rgb " : pSrc == pPal ? "pal " : pSrc == pMany ? "many " : "grey ") + c.first + " " + std::to_string(h) + "\n";
    }
  EXPECT_EQ(sGot, Golden("dither.txt", sGot));
  IMAGE_Free(pTrue); IMAGE_Free(pPal); IMAGE_Free(pMany); IMAGE_Free(aPic[1]);
}

TEST(QuantizeOptions, EveryNameReachesItsOwnRowAndNewOnesStayOutOfHelp) {
  const CMDLINE_OPTION* aOption = CMDLINE_GetOptionTable();
  for (const CMDLINE_OPTION* p = aOption; p->sName; p++) {
    /* Each name, with an argument behind it, finds its own row first. */
    const CMDLINE_OPTION* pFound = aOption;
    std::string s = std::string(p->sName) + "16";
    while (strncmp(s.c_str(), pFound->sName, strlen(pFound->sName)) != 0) pFound++;
    EXPECT_EQ(pFound, p) << p->sName;
    if (p->Command >= 0x8026 && p->Command <= 0x8028) {
      EXPECT_EQ(p->sHelp, nullptr) << p->sName;   /* not in the help box */
    }
  }
}

