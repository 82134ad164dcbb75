/* Expansion to true colour and the high colour reductions. */
#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "color/truecolor.h"
#include "testutil.h"

namespace {

/* A true-colour ramp: pixel x has the value x in red, green and blue. */
IMAGE* MakeRamp(void) {
  IMAGE* pImage = IMAGE_Create(256, 1, 0);
  for (unsigned x = 0; x < 256; x++) IMAGE_SetPixel(pImage, (int)x, 0, x * 0x010101);
  return pImage;
}

unsigned Channel(const IMAGE* pImage, int x, int Shift) {
  return IMAGE_GetPixel(pImage, x, 0) >> Shift & 0xFF;
}

}  // namespace

TEST(TrueColorReduce, ChannelLevels) {
  ReportCatcher Catcher;
  IMAGE* p = CONVERT_IntoHighColor(MakeRamp(), 565);   /* blue 5, green 6, red 5 */
  ASSERT_NE(p, nullptr);
  /* 5 bits, in red and blue */
  for (int Shift : { 0, 16 }) {
    EXPECT_EQ(Channel(p, 0, Shift), 0u);
    EXPECT_EQ(Channel(p, 4, Shift), 0u);
    EXPECT_EQ(Channel(p, 5, Shift), 8u);
    EXPECT_EQ(Channel(p, 37, Shift), 32u);
    EXPECT_EQ(Channel(p, 38, Shift), 41u);
    EXPECT_EQ(Channel(p, 250, Shift), 246u);
    EXPECT_EQ(Channel(p, 251, Shift), 255u);
    EXPECT_EQ(Channel(p, 255, Shift), 255u);
  }
  /* 6 bits, in green */
  EXPECT_EQ(Channel(p, 2, 8), 0u);
  EXPECT_EQ(Channel(p, 3, 8), 4u);
  EXPECT_EQ(Channel(p, 252, 8), 250u);
  EXPECT_EQ(Channel(p, 253, 8), 255u);
  EXPECT_EQ(Channel(p, 255, 8), 255u);
  /* Levels count and order */
  std::set<unsigned> aRed, aGreen;
  for (int x = 0; x < 256; x++) {
    aRed.insert(Channel(p, x, 0));
    aGreen.insert(Channel(p, x, 8));
    if (x) {
      EXPECT_GE(Channel(p, x, 0), Channel(p, x - 1, 0));
    }
  }
  EXPECT_EQ(aRed.size(), 32u);
  EXPECT_EQ(aGreen.size(), 64u);
  IMAGE_Free(p);
}

TEST(TrueColorReduce, LeadingDigitIsBlue) {
  ReportCatcher Catcher;
  struct { int Format; size_t NumBlue, NumGreen, NumRed; } aCase[] = {
    { 555, 32, 32, 32 }, { 655, 64, 32, 32 }, { 565, 32, 64, 32 }, { 556, 32, 32, 64 },
  };
  for (const auto& Case : aCase) {
    IMAGE* p = CONVERT_IntoHighColor(MakeRamp(), Case.Format);
    std::set<unsigned> aB, aG, aR;
    for (int x = 0; x < 256; x++) {
      aR.insert(Channel(p, x, 0));
      aG.insert(Channel(p, x, 8));
      aB.insert(Channel(p, x, 16));
    }
    EXPECT_EQ(aB.size(), Case.NumBlue) << Case.Format;
    EXPECT_EQ(aG.size(), Case.NumGreen) << Case.Format;
    EXPECT_EQ(aR.size(), Case.NumRed) << Case.Format;
    IMAGE_Free(p);
  }
}

TEST(TrueColorReduce, SecondRunChangesNothing) {
  ReportCatcher Catcher;
  for (int Format : { 555, 655, 565, 556 }) {
    IMAGE* pOnce  = CONVERT_IntoHighColor(MakeRamp(), Format);
    IMAGE* pTwice = CONVERT_IntoHighColor(IMAGE_Copy(pOnce), Format);
    for (int x = 0; x < 256; x++) {
      EXPECT_EQ(IMAGE_GetPixel(pTwice, x, 0), IMAGE_GetPixel(pOnce, x, 0)) << Format << " at " << x;
    }
    IMAGE_Free(pOnce);
    IMAGE_Free(pTwice);
  }
}

TEST(TrueColorReduce, PaletteImageBecomesTrueColour) {
  ReportCatcher Catcher;
  IMAGE* pPal = IMAGE_Create(2, 1, 2);
  IMAGE_SetColor(pPal, 0, 0xFF0004);          /* reserved byte set: not carried */
  IMAGE_SetColor(pPal, 1, 0x050302);
  IMAGE_SetPixel(pPal, 1, 0, 1);
  pPal->HasTrans = 1;
  IMAGE* p = CONVERT_IntoHighColor(pPal, 565);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->NumColors, 0);
  EXPECT_EQ(p->HasTrans, 0);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 0xFF0000u);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 0), 0x080400u);
  IMAGE_Free(p);
}

TEST(TrueColorRGB, ExpandsPalette) {
  ReportCatcher Catcher;
  IMAGE* pPal = IMAGE_Create(3, 2, 3);
  IMAGE_SetColor(pPal, 0, 0x11223344);        /* reserved byte goes no further */
  IMAGE_SetColor(pPal, 1, 0x0000FF);
  IMAGE_SetColor(pPal, 2, 0xABCDEF);
  const unsigned aIndex[6] = { 0, 1, 2, 2, 1, 7 };   /* 7: beyond the palette */
  for (int i = 0; i < 6; i++) IMAGE_SetPixel(pPal, i % 3, i / 3, aIndex[i]);
  pPal->HasTrans = 1;
  IMAGE* p = CONVERT_IntoRGB(pPal);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->NumColors, 0);
  EXPECT_EQ(p->HasTrans, 0);
  EXPECT_EQ(p->XSize, 3);
  EXPECT_EQ(p->YSize, 2);
  const unsigned aExpect[6] = { 0x223344, 0x0000FF, 0xABCDEF, 0xABCDEF, 0x0000FF, 0x223344 };
  for (int i = 0; i < 6; i++) EXPECT_EQ(IMAGE_GetPixel(p, i % 3, i / 3), aExpect[i]) << i;
  IMAGE_Free(p);
}

TEST(TrueColorRGB, TrueColourComesBackUnchanged) {
  ReportCatcher Catcher;
  IMAGE* pRGB = MakeTestImage(4, 4, 0);
  EXPECT_EQ(CONVERT_IntoRGB(pRGB), pRGB);
  IMAGE_Free(pRGB);
}

