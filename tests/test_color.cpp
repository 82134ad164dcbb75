/* Colour conversions against plain procedures of a few lines on random
 * pictures, the fixed palettes against their golden listing and
 * transparency. */
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "color/palette.h"
#include "color/transparency.h"
#include "color/truecolor.h"
#include "commands/workspace.h"
#include "commands/dispatch.h"
#include "testutil.h"

namespace {

/* The census by its definition: per pixel, find or append the colour,
 * count it, bubble it up past entries with a smaller count. */
std::vector<U32> PlainCensus(const IMAGE* p) {
  std::vector<U32> a;   /* colour, count, colour, count ... */
  for (int y = 0; y < p->YSize; y++) {
    for (int x = 0; x < p->XSize; x++) {
      U32 c = IMAGE_GetPixelColor(p, x, y);
      size_t i = 0;
      while (i < a.size() && a[i] != c) i += 2;
      if (i == a.size()) a.insert(a.end(), {c, 0});
      for (a[i + 1]++; i > 0 && a[i - 1] < a[i + 1]; i -= 2) {
        std::swap(a[i - 2], a[i]);
        std::swap(a[i - 1], a[i + 1]);
      }
    }
  }
  return a;
}

std::string PaletteText(const IMAGE* p) {
  std::string s;
  char ac[16];
  for (int i = 0; i < p->NumColors; i++) {
    snprintf(ac, sizeof(ac), "%06X%s", IMAGE_GetColor(p, i), i % 16 == 15 || i == p->NumColors - 1 ? "\n" : " ");
    s += ac;
  }
  return s;
}

}  // namespace

TEST(Color, NearestColourIsTheLowestIndexOfTheSmallestDistance) {
  for (unsigned Seed = 1; Seed <= 6; Seed++) {
    IMAGE* pPalImage = RandomImage(1, 1, 24, Seed);
    std::vector<U32> aColor;
    for (int i = 0; i < 24; i++) aColor.push_back(IMAGE_GetColor(pPalImage, i % 12));   /* every colour twice */
    aColor[5] = 0x808080;
    PALETTE Pal = { 24, aColor.data() };
    for (int n : {0, 100}) {
      IMAGE* pSrc = RandomImage(40, 30, n, Seed, n ? 0 : 150);
      IMAGE* p = CONVERT_IntoPalette(IMAGE_Copy(pSrc), &Pal);
      ASSERT_EQ(p->NumColors, 24);
      for (int i = 0; i < 1200; i++) {
        U32 c = IMAGE_GetPixelColor(pSrc, i % 40, i / 40);
        U32 Best = 0;
        for (U32 k = 1; k < 24; k++) if (ColorDist(c, aColor[k]) < ColorDist(c, aColor[Best])) Best = k;
        ASSERT_EQ(IMAGE_GetPixel(p, i % 40, i / 40), Best) << Seed << " " << n << " pixel " << i;
      }
      IMAGE_Free(p);
      IMAGE_Free(pSrc);
    }
    IMAGE_Free(pPalImage);
  }
  /* A tie whose lower index lies exactly as far off in red alone. */
  U32 aTie[2] = {0x646469, 0x686764};
  PALETTE Tie = {2, aTie};
  IMAGE* p = IMAGE_Create(1, 1, 0);
  IMAGE_SetPixel(p, 0, 0, 0x646464);
  p = CONVERT_IntoPalette(p, &Tie);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 0u);
  IMAGE_Free(p);
}

TEST(Color, CensusAndBestPaletteFollowThePlainCensus) {
  /* Entries 0 and 2 are one colour; it reaches its count of 2 after the
   * colour of entry 1 does, through entry 0. */
  IMAGE* pTie = IMAGE_Create(4, 1, 3);
  IMAGE_SetColor(pTie, 0, 0x123456);
  IMAGE_SetColor(pTie, 2, 0x123456);
  for (int x = 0; x < 4; x++) IMAGE_SetPixel(pTie, x, 0, (U32)"\2\1\1\0"[x]);
  /* Many colours (the counters outgrow their first tables), few colours
   * with many ties, and palettes that show one colour at several indices. */
  IMAGE* aSrc[] = { RandomImage(150, 120, 0, 7, 4000), RandomImage(31, 9, 0, 8, 5),
                    RandomImage(64, 64, 256, 9), RandomImage(17, 5, 12, 10), pTie };
  IMAGE_SetColor(aSrc[3], 4, IMAGE_GetColor(aSrc[3], 9));
  IMAGE_SetColor(aSrc[3], 7, IMAGE_GetColor(aSrc[3], 1));
  IMAGE_SetPixel(aSrc[3], 0, 0, 200);   /* beyond the palette: black */
  for (IMAGE* pSrc : aSrc) {
    std::vector<U32> Plain = PlainCensus(pSrc);
    I32 n = IMAGE_CountColors(pSrc);
    ASSERT_EQ((size_t)n * 2, Plain.size());
    EXPECT_TRUE(std::equal(Plain.begin(), Plain.end(), pSrc->pColorCount));
    IMAGE* p = CONVERT_IntoBestPalette(IMAGE_Copy(pSrc));
    ASSERT_EQ(p->NumColors, std::min(n, 256));
    for (int i = 0; i < p->NumColors; i++) EXPECT_EQ(IMAGE_GetColor(p, i), Plain[2 * i]);
    if (n <= 256) {
      EXPECT_EQ(Diff(p, pSrc, true), "");
    }
    IMAGE_Free(p);
    IMAGE_Free(pSrc);
  }
}

TEST(Color, FixedPalettes) {
  IMAGE* (*apfConvert[])(IMAGE*) = { CONVERT_IntoBW, CONVERT_IntoGray4, CONVERT_IntoGray16, CONVERT_IntoGray64,
                                     CONVERT_IntoGray256, CONVERT_Into111, CONVERT_Into222, CONVERT_Into233,
                                     CONVERT_Into323, CONVERT_Into332, CONVERT_Into8666 };
  std::string s;
  for (auto* pfConvert : apfConvert) {
    IMAGE* p = pfConvert(RandomImage(3, 3, 0, 1));
    s += PaletteText(p) + "\n";
    IMAGE_Free(p);
  }
  EXPECT_EQ(s, Golden("palettes.txt", s));
}

TEST(Color, HighColourSnapsToTheNearestLevelAndRGBKeepsTheColours) {
  /* 0x8014 to 0x8017: 555, 655, 565, 556 (digits blue, green, red). */
  const unsigned aCommand[4] = { 0x8014, 0x8015, 0x8016, 0x8017 };
  const int aBits[4][3] = { {5, 5, 5}, {5, 5, 6}, {5, 6, 5}, {6, 5, 5} };   /* red, green, blue */
  for (int k = 0; k < 8; k++) {   /* on a grey ramp in true colour, then in a palette */
    WORKSPACE_Reset();
    pBitmapCurrent = IMAGE_Create(256, 1, k < 4 ? 0 : 256);
    for (U32 v = 0; v < 256; v++) {
      if (k >= 4) IMAGE_SetColor(pBitmapCurrent, (int)v, v * 0x010101);
      IMAGE_SetPixel(pBitmapCurrent, (I32)v, 0, k < 4 ? v * 0x010101 : v);
    }
    OnCommand(aCommand[k % 4], 0);
    for (int Ch = 0; Ch < 3; Ch++) {
      std::set<U32> Levels;
      int Max = (1 << aBits[k % 4][Ch]) - 1;
      for (U32 v = 0; v < 256; v++) {
        U32 Out = IMAGE_GetPixel(pBitmapCurrent, (I32)v, 0) >> (8 * Ch) & 255;
        Levels.insert(Out);
        EXPECT_LE(abs((int)Out - (int)v), 255 / (2 * Max) + 1) << k << " channel " << Ch << " value " << v;
      }
      EXPECT_EQ(Levels.size(), (size_t)Max + 1) << k << " channel " << Ch;
      EXPECT_TRUE(Levels.count(0) && Levels.count(255));
    }
  }
  WORKSPACE_Reset();
  for (int n : {2, 256}) {
    IMAGE* pSrc = RandomImage(7, 3, n, 3);
    IMAGE_SetPixel(pSrc, 0, 0, 255);
    IMAGE_SetColor(pSrc, n - 1, 0x00FFFFFF);
    IMAGE* p = CONVERT_IntoRGB(IMAGE_Copy(pSrc));
    EXPECT_EQ(p->NumColors, 0);
    EXPECT_EQ(Diff(p, pSrc, true), "");
    IMAGE_Free(p);
    IMAGE_Free(pSrc);
  }
}

TEST(Color, TransparencyMovesTheChosenEntryToZeroAndKeepsThePicture) {
  IMAGE* pSrc = RandomImage(6, 4, 9, 4);
  for (int Choice = 0; Choice <= 10; Choice++) {
    IMAGE* p = IMAGE_Copy(pSrc);
    IMAGE_SetTransparency(p, Choice);
    EXPECT_EQ(Diff(p, pSrc, true), "") << Choice;
    EXPECT_EQ(p->HasTrans, Choice >= 1 && Choice <= 9) << Choice;
    if (Choice >= 1 && Choice <= 9) {
      EXPECT_EQ(IMAGE_GetColor(p, 0), IMAGE_GetColor(pSrc, Choice - 1));
    }
    IMAGE_Free(p);
  }
  IMAGE_Free(pSrc);
}

