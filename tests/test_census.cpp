/* Colour census and best palette. The census is checked against a plain
 * census written straight from its definition: linear search, new colours
 * at the end, bubble-up past strictly smaller counts. */
#include <gtest/gtest.h>

#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "color/palette.h"
#include "testutil.h"

namespace {

struct Entry {
  uint32_t Color;
  int32_t  Count;
  bool operator==(const Entry& o) const { return Color == o.Color && Count == o.Count; }
};

std::vector<Entry> PlainCensus(const IMAGE* p) {
  std::vector<Entry> a;
  for (int y = 0; y < p->YSize; y++) {
    for (int x = 0; x < p->XSize; x++) {
      uint32_t c = IMAGE_GetPixelColor(p, x, y);
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

std::vector<Entry> Census(IMAGE* p) {
  int n = IMAGE_CountColors(p);
  std::vector<Entry> a;
  for (int i = 0; i < n; i++) {
    a.push_back({ IMAGE_GetUsedColor(p, i), (int32_t)p->pColorCount[2 * i + 1] });
  }
  return a;
}

/* A one-row true-colour picture of the given pixels. */
IMAGE* Row(const std::vector<uint32_t>& aPixel) {
  IMAGE* p = IMAGE_Create((int)aPixel.size(), 1, 0);
  for (size_t x = 0; x < aPixel.size(); x++) IMAGE_SetPixel(p, (int)x, 0, aPixel[x]);
  return p;
}

std::vector<uint32_t> Colors(IMAGE* p) {
  std::vector<uint32_t> a;
  for (const Entry& e : Census(p)) a.push_back(e.Color);
  return a;
}

void ExpectSameAsPlain(IMAGE* p, const char* sWhat) {
  std::vector<Entry> Expected = PlainCensus(p);
  std::vector<Entry> Got = Census(p);
  ASSERT_EQ(Got.size(), Expected.size()) << sWhat;
  for (size_t i = 0; i < Got.size(); i++) {
    ASSERT_TRUE(Got[i] == Expected[i]) << sWhat << " entry " << i << ": got " << std::hex << Got[i].Color
                                       << "/" << std::dec << Got[i].Count << ", expected " << std::hex
                                       << Expected[i].Color << "/" << std::dec << Expected[i].Count;
  }
}

}  // namespace

TEST(Census, OrderByCountThenWhoReachedItFirst) {
  ReportCatcher Catcher;
  const uint32_t A = 0x0000AA, B = 0x00BB00, C = 0xCC0000, X = 0x123456;
  struct { std::vector<uint32_t> aPixel, aExpected; } aCase[] = {
    { { A, B, B, A }, { B, A } },            /* both at 2; B got there first */
    { { A, B, C }, { A, B, C } },            /* all once: order of appearance */
    { { A, B, C, X, X }, { X, A, B, C } },   /* X passes the whole run of 1s; A, B, C keep their order */
    { { A, B, C, C, B, A, X }, { C, B, A, X } },
    { { A, A, B, B, B, A }, { B, A } },      /* A reaches 3 after B */
    { { X }, { X } },
  };
  for (auto& Case : aCase) {
    IMAGE* p = Row(Case.aPixel);
    EXPECT_EQ(Colors(p), Case.aExpected);
    IMAGE_Free(p);
  }
}

TEST(Census, CountsAndStatusTexts) {
  ReportCatcher Catcher;
  IMAGE* p = IMAGE_Create(3, 2, 0);
  IMAGE_SetPixel(p, 2, 1, 0x0000FF);
  EXPECT_EQ(IMAGE_CountColors(p), 2);
  EXPECT_EQ(p->NumColorsUsed, 2);
  EXPECT_EQ(IMAGE_GetUsedColor(p, 0), 0u);
  EXPECT_EQ(p->pColorCount[1], 5u);
  EXPECT_EQ(IMAGE_GetUsedColor(p, 1), 0x0000FFu);
  EXPECT_EQ(p->pColorCount[3], 1u);
  std::vector<std::string> Expected = { "Calculating info of image, row 1/2", "Calculating info of image, row 2/2",
                                        "Image calculation done" };
  EXPECT_EQ(Catcher.Status, Expected);
  EXPECT_TRUE(Catcher.Errors.empty());
  IMAGE_Free(p);
}

/* Equal palette words are one colour, unused entries none; bits 24-31 are
 * part of the colour; an index past the palette reads as entry 0. */
TEST(Census, PaletteImageCountsWhatThePictureShows) {
  ReportCatcher Catcher;
  IMAGE* p = IMAGE_Create(4, 4, 16);
  for (int i = 0; i < 16; i++) IMAGE_SetColor(p, i, 0x010101u * (unsigned)i);
  for (int y = 0; y < 4; y++) {
    for (int x = 0; x < 4; x++) IMAGE_SetPixel(p, x, y, (unsigned)(x % 3) * 5);
  }
  EXPECT_EQ(IMAGE_CountColors(p), 3);
  IMAGE* pBest = CONVERT_IntoBestPalette(p);
  ASSERT_NE(pBest, nullptr);
  EXPECT_EQ(pBest->NumColors, 3);
  IMAGE_Free(pBest);

  p = IMAGE_Create(5, 1, 4);
  IMAGE_SetColor(p, 0, 0x00FFFFFF);
  IMAGE_SetColor(p, 1, 0x112233);
  IMAGE_SetColor(p, 2, 0x112233);
  IMAGE_SetColor(p, 3, 0xFFFFFFFF);
  for (int x = 0; x < 5; x++) IMAGE_SetPixel(p, x, 0, (unsigned)"12133"[x] - '0');
  std::vector<Entry> Expected = { { 0x112233, 3 }, { 0xFFFFFFFF, 2 } };
  EXPECT_EQ(Census(p), Expected);
  IMAGE_SetPixel(p, 0, 0, 0);
  Expected = { { 0x112233, 2 }, { 0xFFFFFFFF, 2 }, { 0x00FFFFFF, 1 } };
  EXPECT_EQ(Census(p), Expected);
  IMAGE_SetPixel(p, 1, 0, 200);                /* malformed index */
  IMAGE_SetColor(p, 2, 0);
  Expected = { { 0x00FFFFFF, 2 }, { 0xFFFFFFFF, 2 }, { 0x112233, 1 } };   /* index 200 shows entry 0 */
  EXPECT_EQ(Census(p), Expected);
  IMAGE_SetPixel(p, 2, 0, 2);
  Expected = { { 0x00FFFFFF, 2 }, { 0xFFFFFFFF, 2 }, { 0, 1 } };
  EXPECT_EQ(Census(p), Expected);
  IMAGE_Free(p);
}

TEST(Census, RepeatedCensusRebuildsTheTable) {
  ReportCatcher Catcher;
  IMAGE* p = MakeTestImage(13, 7, 0);
  std::vector<Entry> First = Census(p);
  EXPECT_EQ(Census(p), First);
  EXPECT_EQ(p->NumColorsUsed, (int)First.size());
  IMAGE_SetPixel(p, 0, 0, 0x777777);   /* the picture changed in place */
  ExpectSameAsPlain(p, "after change");
  IMAGE* pCopy = IMAGE_Copy(p);
  EXPECT_EQ(pCopy->pColorCount, nullptr);
  IMAGE_Free(pCopy);
  IMAGE_Free(p);
}

TEST(Census, EmptyImageHasNoColorsAndBestPaletteRefuses) {
  ReportCatcher Catcher;
  for (int x : { 0, 5 }) {
    IMAGE* p = IMAGE_Create(x, 0, x ? 2 : 0);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(IMAGE_CountColors(p), 0);
    EXPECT_EQ(IMAGE_GetUsedColor(p, 0), 0u);
    Catcher.Clear();
    EXPECT_EQ(CONVERT_IntoBestPalette(p), nullptr);
    EXPECT_EQ(Catcher.Errors, std::vector<std::string>{ "Image contains no colors" });
    EXPECT_EQ(p->XSize, x);   /* kept, still ours */
    IMAGE_Free(p);
  }
  Catcher.Clear();
  EXPECT_EQ(CONVERT_IntoBestPalette(nullptr), nullptr);
  EXPECT_EQ(Catcher.Errors, std::vector<std::string>{ "Internal error : pBitmapOrg == NULL" });
  EXPECT_EQ(IMAGE_CountColors(nullptr), 0);
}

/* Random and structured pictures: the table, order and counts, equal to
 * those of the plain census. */
TEST(Census, SameTableAsPlainCensus) {
  ReportCatcher Catcher;
  std::mt19937 Rng(1234);
  auto Rand = [&](unsigned n) { return (unsigned)(Rng() % n); };
  for (int Trial = 0; Trial < 300; Trial++) {
    int XSize = 1 + (int)Rand(40), YSize = 1 + (int)Rand(30);
    int Kind = Trial % 6;
    IMAGE* p = IMAGE_Create(XSize, YSize, Kind == 5 ? 1 + (int)Rand(256) : 0);
    std::vector<uint32_t> aPool(1 + Rand(Kind == 0 ? 4 : 400));
    for (uint32_t& c : aPool) c = Rng() & 0xFFFFFF;
    for (int y = 0; y < YSize; y++) {
      for (int x = 0; x < XSize; x++) {
        uint32_t v;
        switch (Kind) {
        case 0:  v = aPool[Rand((unsigned)aPool.size())]; break;                    /* few colours */
        case 1:  v = (uint32_t)(y * XSize + x) * 0x10203; break;                    /* every pixel different */
        case 2:  v = aPool[(x + y) % aPool.size()]; break;                          /* long runs of ties */
        case 3:  v = aPool[std::min<size_t>(aPool.size() - 1, Rand(2) ? 0 : Rand(8) ? Rand(4) : Rand(400))]; break;  /* skewed */
        case 4:  v = Rng() & 0x010101; break;                                       /* 8 colours, coin flips */
        default: v = Rand(256); break;                                              /* palette, indices maybe past it */
        }
        IMAGE_SetPixel(p, x, y, v);
      }
    }
    if (Kind == 5) {
      for (int i = 0; i < p->NumColors; i++) {
        /* duplicates and words with bits 24-31 set */
        IMAGE_SetColor(p, i, Rand(3) == 0 ? 0xFF000000u | (Rand(4) * 0x50) : aPool[Rand((unsigned)aPool.size())] | (Rand(2) << 31));
      }
    }
    ExpectSameAsPlain(p, ("trial " + std::to_string(Trial)).c_str());
    IMAGE_Free(p);
  }
}

/* Big enough for the lookup table to grow many times, with counts that
 * keep overtaking each other. */
TEST(Census, SameTableAsPlainCensusOnLargerPictures) {
  ReportCatcher Catcher;
  std::mt19937 Rng(99);
  IMAGE* p = IMAGE_Create(120, 100, 0);
  for (int y = 0; y < 100; y++) {
    for (int x = 0; x < 120; x++) {
      /* a smooth area, a noisy one, and pixels that all differ */
      uint32_t v = y < 40 ? (uint32_t)(x / 8 + y / 8 * 16) : y < 70 ? (Rng() % 3000) * 0x10001 : (uint32_t)(y * 120 + x) << 4;
      IMAGE_SetPixel(p, x, y, v);
    }
  }
  ExpectSameAsPlain(p, "mixed");
  EXPECT_GT(p->NumColorsUsed, 4000);
  IMAGE_Free(p);
}

TEST(BestPalette, ReproducesUpTo256ColorsInCensusOrder) {
  ReportCatcher Catcher;
  for (int NumDistinct : { 1, 2, 255, 256 }) {
    IMAGE* p = IMAGE_Create(30, 20, 0);
    for (int i = 0; i < 600; i++) {
      /* every colour once, then an uneven mix */
      int k = i < NumDistinct ? i : (i * i / 7) % NumDistinct;
      IMAGE_SetPixel(p, i % 30, i / 30, (uint32_t)k * 0x030507 & 0xFFFFFF);
    }
    p->HasTrans = 1;
    std::vector<Entry> Expected = PlainCensus(p);
    IMAGE* pCopy = IMAGE_Copy(p);
    IMAGE* pBest = CONVERT_IntoBestPalette(p);
    ASSERT_NE(pBest, nullptr);
    ASSERT_EQ(pBest->NumColors, NumDistinct);
    EXPECT_EQ(pBest->HasTrans, 0);
    for (int i = 0; i < NumDistinct; i++) EXPECT_EQ(IMAGE_GetColor(pBest, i), Expected[(size_t)i].Color);
    for (int y = 0; y < 20; y++) {
      for (int x = 0; x < 30; x++) ASSERT_EQ(IMAGE_GetPixelColor(pBest, x, y), IMAGE_GetPixel(pCopy, x, y));
    }
    IMAGE_Free(pCopy);
    IMAGE_Free(pBest);
  }
}

/* Past 256 colours the palette is the head of the census and every pixel
 * goes to its nearest entry; the texts of both steps appear. */
TEST(BestPalette, Over256ColorsTakesTheMostFrequent) {
  ReportCatcher Catcher;
  IMAGE* p = IMAGE_Create(257, 2, 0);
  for (int x = 0; x < 256; x++) {
    IMAGE_SetPixel(p, x, 0, (uint32_t)x * 0x000101);   /* green = red = x */
    IMAGE_SetPixel(p, x, 1, (uint32_t)x * 0x000101);
  }
  IMAGE_SetPixel(p, 256, 0, 0x123456);
  IMAGE_SetPixel(p, 256, 1, 0x0000FF);
  /* 258 colours: the 256 doubled ones in order, then the two singles */
  std::vector<Entry> Expected = PlainCensus(p);
  ASSERT_EQ(Expected.size(), 258u);
  Catcher.Clear();
  IMAGE* pBest = CONVERT_IntoBestPalette(p);
  ASSERT_NE(pBest, nullptr);
  ASSERT_EQ(pBest->NumColors, 256);
  for (int i = 0; i < 256; i++) EXPECT_EQ(IMAGE_GetColor(pBest, i), (uint32_t)i * 0x000101);
  EXPECT_EQ(IMAGE_GetPixel(pBest, 256, 0), 69u);    /* red 0x56, green 0x34, blue 0x12: 69 is nearest */
  EXPECT_EQ(IMAGE_GetPixel(pBest, 256, 1), 127u);   /* red 255: 127 and 128 tie, the lower wins */
  EXPECT_EQ(IMAGE_GetPixel(pBest, 5, 1), 5u);
  std::vector<std::string> Expect = { "Calculating info of image, row 1/2", "Calculating info of image, row 2/2",
                                      "Image calculation done", "Converting image, line 1/2",
                                      "Converting image, line 2/2", "Conversion done" };
  EXPECT_EQ(Catcher.Status, Expect);
  IMAGE_Free(pBest);
}

/* A palette image whose census holds 0xFFFFFFFF and 0x00FFFFFF: two
 * colours, two entries, but the conversion sees them as one, so all their
 * pixels go to the one that stands first. */
TEST(BestPalette, ColorsDifferingOnlyInTopBitsFallTogether) {
  ReportCatcher Catcher;
  IMAGE* p = IMAGE_Create(3, 1, 2);
  IMAGE_SetColor(p, 0, 0x00FFFFFF);
  IMAGE_SetColor(p, 1, 0xFFFFFFFF);
  IMAGE_SetPixel(p, 0, 0, 0);
  IMAGE_SetPixel(p, 1, 0, 1);
  IMAGE_SetPixel(p, 2, 0, 1);
  IMAGE* pBest = CONVERT_IntoBestPalette(p);
  ASSERT_NE(pBest, nullptr);
  ASSERT_EQ(pBest->NumColors, 2);
  EXPECT_EQ(IMAGE_GetColor(pBest, 0), 0xFFFFFFFFu);
  EXPECT_EQ(IMAGE_GetColor(pBest, 1), 0x00FFFFFFu);
  for (int x = 0; x < 3; x++) EXPECT_EQ(IMAGE_GetPixel(pBest, x, 0), 0u);
  IMAGE_Free(pBest);
}

/* The best palette is the conversion onto the head of the census; both
 * halves are checked against their plain forms (the conversion in the
 * palette tests), here on many pictures. */
TEST(BestPalette, EqualsConversionOntoHeadOfPlainCensus) {
  ReportCatcher Catcher;
  std::mt19937 Rng(7);
  for (int Trial = 0; Trial < 40; Trial++) {
    int XSize = 1 + (int)(Rng() % 50), YSize = 1 + (int)(Rng() % 20);
    unsigned NumPool = 1 + Rng() % (Trial % 2 ? 600 : 40);
    IMAGE* p = IMAGE_Create(XSize, YSize, 0);
    for (int y = 0; y < YSize; y++) {
      for (int x = 0; x < XSize; x++) IMAGE_SetPixel(p, x, y, (Rng() % NumPool) * 0x0A0B0C & 0xFFFFFF);
    }
    std::vector<Entry> Head = PlainCensus(p);
    if (Head.size() > 256) Head.resize(256);
    std::vector<uint32_t> aColor;
    for (const Entry& e : Head) aColor.push_back(e.Color);
    PALETTE Pal = { (I32)aColor.size(), aColor.data() };
    IMAGE* pExpected = CONVERT_IntoPalette(IMAGE_Copy(p), &Pal);
    IMAGE* pBest = CONVERT_IntoBestPalette(p);
    ASSERT_NE(pBest, nullptr);
    ASSERT_EQ(pBest->NumColors, pExpected->NumColors);
    ASSERT_EQ(0, memcmp(pBest->pInfo, pExpected->pInfo, 40 + 4 * (size_t)pBest->NumColors));
    ASSERT_EQ(0, memcmp(pBest->pData, pExpected->pData, (size_t)pBest->BytesPerLine * (size_t)YSize));
    IMAGE_Free(pExpected);
    IMAGE_Free(pBest);
  }
}
