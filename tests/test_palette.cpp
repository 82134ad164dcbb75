/* Conversion onto a palette and the fixed palettes. Results are checked
 * against a plain conversion that searches the palette for every pixel,
 * and the fixed tables against their definitions written out here. */
#include <gtest/gtest.h>

#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "color/palette.h"
#include "testutil.h"

namespace {

typedef std::vector<uint32_t> Table;

int Channel(uint32_t c, int Shift) { return (int)(c >> Shift & 0xFF); }

int PlainDistance(uint32_t a, uint32_t b) {
  int d = 0;
  for (int Shift : { 0, 8, 16 }) d += (Channel(a, Shift) - Channel(b, Shift)) * (Channel(a, Shift) - Channel(b, Shift));
  return d;
}

/* Every entry is compared; the first of the smallest distances wins. */
int PlainNearest(uint32_t Color, const Table& aPal) {
  int Best = 0;
  for (int i = 1; i < (int)aPal.size(); i++) {
    if (PlainDistance(Color, aPal[(size_t)i]) < PlainDistance(Color, aPal[(size_t)Best])) Best = i;
  }
  return Best;
}

/* What the conversion must give: each pixel's colour (black for an index
 * past the source palette) searched in the target palette. */
IMAGE* PlainConvert(const IMAGE* pSrc, const Table& aPal) {
  IMAGE* p = IMAGE_Create(pSrc->XSize, pSrc->YSize, (int)aPal.size());
  for (size_t i = 0; i < aPal.size(); i++) IMAGE_SetColor(p, (int)i, aPal[i]);
  for (int y = 0; y < pSrc->YSize; y++) {
    for (int x = 0; x < pSrc->XSize; x++) {
      uint32_t v = IMAGE_GetPixel(pSrc, x, y);
      uint32_t Color = pSrc->NumColors == 0 ? v : IMAGE_GetColor(pSrc, (int)v < pSrc->NumColors ? (int)v : 0);
      IMAGE_SetPixel(p, x, y, (uint32_t)PlainNearest(Color, aPal));
    }
  }
  return p;
}

void ExpectSameImage(const IMAGE* pGot, const IMAGE* pExpected, const std::string& sWhat) {
  ASSERT_NE(pGot, nullptr) << sWhat;
  ASSERT_EQ(pGot->NumColors, pExpected->NumColors) << sWhat;
  ASSERT_EQ(0, memcmp(pGot->pInfo, pExpected->pInfo, 40 + 4 * (size_t)pGot->NumColors)) << sWhat;
  for (int y = 0; y < pGot->YSize; y++) {
    for (int x = 0; x < pGot->XSize; x++) {
      ASSERT_EQ(IMAGE_GetPixel(pGot, x, y), IMAGE_GetPixel(pExpected, x, y)) << sWhat << " at " << x << "," << y;
    }
  }
}

typedef IMAGE* CONVERSION(IMAGE*);

struct FIXED {
  const char* sName;
  CONVERSION* pfConvert;
};

const FIXED aFixed[] = {
  { "BW", CONVERT_IntoBW },       { "Gray4", CONVERT_IntoGray4 }, { "Gray16", CONVERT_IntoGray16 },
  { "Gray64", CONVERT_IntoGray64 }, { "Gray256", CONVERT_IntoGray256 }, { "111", CONVERT_Into111 },
  { "222", CONVERT_Into222 },     { "233", CONVERT_Into233 },     { "323", CONVERT_Into323 },
  { "332", CONVERT_Into332 },     { "8666", CONVERT_Into8666 },
};

/* The palette a conversion puts into its result. */
Table PaletteOf(CONVERSION* pfConvert) {
  IMAGE* p = pfConvert(IMAGE_Create(1, 1, 0));
  Table a;
  for (int i = 0; i < p->NumColors; i++) a.push_back(IMAGE_GetColor(p, i));
  IMAGE_Free(p);
  return a;
}

uint32_t Rgb(unsigned r, unsigned g, unsigned b) { return b << 16 | g << 8 | r; }

/* Index of one pixel of colour c after the conversion. */
uint32_t MapOne(CONVERSION* pfConvert, uint32_t c) {
  IMAGE* p = IMAGE_Create(1, 1, 0);
  IMAGE_SetPixel(p, 0, 0, c);
  p = pfConvert(p);
  uint32_t v = IMAGE_GetPixel(p, 0, 0);
  IMAGE_Free(p);
  return v;
}

Table ExpectedTable(const std::string& sName) {
  static const unsigned aL2[] = { 0, 85, 170, 255 };
  static const unsigned aL3[] = { 0, 36, 72, 109, 145, 182, 218, 255 };
  Table a;
  if (sName == "BW") return { 0, 0xFFFFFF };
  if (sName == "Gray4") return { 0, 0x555555, 0xAAAAAA, 0xFFFFFF };
  if (sName == "Gray16") {
    for (unsigned i = 0; i < 16; i++) a.push_back(Rgb(17 * i, 17 * i, 17 * i));
  } else if (sName == "Gray64") {
    for (unsigned g = 0; g <= 0x80; g += 4) a.push_back(Rgb(g, g, g));
    for (unsigned g = 0x83; g <= 0xFB; g += 4) a.push_back(Rgb(g, g, g));
  } else if (sName == "Gray256") {
    for (unsigned i = 0; i < 256; i++) a.push_back(Rgb(i, i, i));
  } else if (sName == "111") {
    for (unsigned i = 0; i < 8; i++) a.push_back(Rgb(i & 1 ? 255 : 0, i & 2 ? 255 : 0, i & 4 ? 255 : 0));
  } else if (sName == "222") {
    for (unsigned i = 0; i < 64; i++) a.push_back(Rgb(aL2[i % 4], aL2[i / 4 % 4], aL2[i / 16]));
  } else if (sName == "233") {
    for (unsigned i = 0; i < 256; i++) a.push_back(Rgb(aL3[i % 8], aL3[i / 8 % 8], aL2[i / 64]));
  } else if (sName == "323") {
    for (unsigned i = 0; i < 256; i++) a.push_back(Rgb(aL3[i % 8], aL2[i / 8 % 4], aL3[i / 32]));
  } else if (sName == "332") {
    for (unsigned i = 0; i < 256; i++) a.push_back(Rgb(aL2[i % 4], aL3[i / 4 % 8], aL3[i / 32]));
  } else if (sName == "8666") {
    Table Cube;
    for (unsigned b = 0; b <= 255; b += 51)
      for (unsigned g = 0; g <= 255; g += 51)
        for (unsigned r = 0; r <= 255; r += 51) Cube.push_back(Rgb(r, g, b));
    a.assign(Cube.begin(), Cube.begin() + 108);
    a.insert(a.end(), 12, 0);
    for (unsigned i = 0; i < 16; i++) a.push_back(0x111111 * i);
    a.insert(a.end(), 12, 0);
    a.insert(a.end(), Cube.begin() + 108, Cube.end());
  }
  return a;
}

}  // namespace

TEST(FixedPalettes, Tables) {
  ReportCatcher Catcher;
  for (const FIXED& f : aFixed) {
    Table Expected = ExpectedTable(f.sName);
    EXPECT_EQ(PaletteOf(f.pfConvert), Expected) << f.sName;
  }
  /* One after the other through the shared working table: nothing left over. */
  EXPECT_EQ(PaletteOf(CONVERT_Into8666).size(), 256u);
  EXPECT_EQ(PaletteOf(CONVERT_Into222).size(), 64u);
  EXPECT_EQ(PaletteOf(CONVERT_IntoGray64).back(), 0xFBFBFBu);
  EXPECT_TRUE(Catcher.Errors.empty());
}

TEST(FixedPalettes, KnownMappings) {
  ReportCatcher Catcher;
  EXPECT_EQ(MapOne(CONVERT_IntoBW, 0x7F7F7F), 0u);
  EXPECT_EQ(MapOne(CONVERT_IntoBW, 0x808080), 1u);
  EXPECT_EQ(MapOne(CONVERT_IntoGray4, 0x808080), 2u);
  EXPECT_EQ(MapOne(CONVERT_IntoGray64, 0xFFFFFF), 63u);
  EXPECT_EQ(MapOne(CONVERT_Into8666, 0x000000), 0u);
  EXPECT_EQ(MapOne(CONVERT_Into8666, 0xFFFFFF), 135u);
  EXPECT_EQ(MapOne(CONVERT_Into8666, 0x999999), 129u);
  EXPECT_EQ(MapOne(CONVERT_Into8666, 0xCCCCCC), 132u);
  EXPECT_EQ(MapOne(CONVERT_Into8666, 0x333333), 43u);
  EXPECT_EQ(MapOne(CONVERT_Into8666, 0x666666), 86u);
  EXPECT_EQ(MapOne(CONVERT_Into332, Rgb(255, 0, 0)), 3u);       /* red in the low bits */
  EXPECT_EQ(MapOne(CONVERT_Into332, Rgb(0, 0, 255)), 0xE0u);    /* blue at the top */
  EXPECT_EQ(MapOne(CONVERT_Into111, Rgb(0, 200, 255)), 6u);
  /* Unused entries stay: a two-colour picture on Gray256 has 256 entries. */
  IMAGE* p = IMAGE_Create(2, 1, 0);
  IMAGE_SetPixel(p, 1, 0, 0xFFFFFF);
  p = CONVERT_IntoGray256(p);
  EXPECT_EQ(p->NumColors, 256);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 0), 255u);
  IMAGE_Free(p);
}

/* Of equal distances the lowest index wins; distances ignore bits 24-31
 * of both sides; the result's palette keeps them. */
TEST(Conversion, NearestColorRules) {
  ReportCatcher Catcher;
  uint32_t aTie[] = { 0x000002, 0x000000, 0x000001 };
  PALETTE Tie = { 3, aTie };
  IMAGE* p = IMAGE_Create(2, 1, 0);
  IMAGE_SetPixel(p, 0, 0, 0x000001);   /* exact match at 2, but ties of 1 at 0 and 1 before it */
  IMAGE_SetPixel(p, 1, 0, 0x000003);   /* only entry 0 at distance 1 */
  p = CONVERT_IntoPalette(p, &Tie);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 2u);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 0), 0u);
  IMAGE_Free(p);

  uint32_t aEqual[] = { 0x000010, 0x001000 };   /* both at distance 256 from black */
  PALETTE Equal = { 2, aEqual };
  p = CONVERT_IntoPalette(IMAGE_Create(1, 1, 0), &Equal);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 0u);
  IMAGE_Free(p);

  uint32_t aWB[] = { 0x00FEFEFE, 0xAB00FFFF, 0x00FFFFFF, 0x00000000 };
  PALETTE WB = { 4, aWB };
  p = IMAGE_Create(3, 1, 3);
  IMAGE_SetColor(p, 0, 0xFFFFFFFF);
  IMAGE_SetColor(p, 1, 0xFF000000);
  IMAGE_SetColor(p, 2, 0x7F00FFFF);
  for (int x = 0; x < 3; x++) IMAGE_SetPixel(p, x, 0, (uint32_t)x);
  p = CONVERT_IntoPalette(p, &WB);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 2u);   /* 0xFFFFFFFF is white exactly */
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 0), 3u);   /* 0xFF000000 is black */
  EXPECT_EQ(IMAGE_GetPixel(p, 2, 0), 1u);   /* 0x7F00FFFF matches 0xAB00FFFF: top bytes ignored */
  EXPECT_EQ(IMAGE_GetColor(p, 1), 0xAB00FFFFu);
  IMAGE_Free(p);
}

/* A palette image onto its own palette keeps its indices, except that a
 * later duplicate entry gives way to the first. An index past the source
 * palette maps as entry 0 does. */
TEST(Conversion, PaletteSourceGoesThroughItsEntries) {
  ReportCatcher Catcher;
  uint32_t aPal[] = { 0x102030, 0xFFFFFF, 0x102030, 0x000000, 0x405060 };
  IMAGE* p = IMAGE_Create(7, 1, 5);
  for (int i = 0; i < 5; i++) IMAGE_SetColor(p, i, aPal[i]);
  for (int x = 0; x < 5; x++) IMAGE_SetPixel(p, x, 0, (uint32_t)x);
  IMAGE_SetPixel(p, 5, 0, 5);
  IMAGE_SetPixel(p, 6, 0, 255);
  PALETTE Pal = { 5, aPal };
  p = CONVERT_IntoPalette(p, &Pal);
  uint32_t aExpected[] = { 0, 1, 0, 3, 4, 0, 0 };
  for (int x = 0; x < 7; x++) EXPECT_EQ(IMAGE_GetPixel(p, x, 0), aExpected[x]) << x;
  IMAGE_Free(p);
}

TEST(Conversion, StatusTextsAndTransparencyDropped) {
  ReportCatcher Catcher;
  IMAGE* p = MakeTestImage(4, 3, 16);
  p->HasTrans = 1;
  p = CONVERT_IntoGray4(p);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->HasTrans, 0);
  EXPECT_EQ(p->NumColors, 4);
  EXPECT_EQ(p->BitsPerPixel, 8);
  std::vector<std::string> Expected = { "Converting image, line 1/3", "Converting image, line 2/3",
                                        "Converting image, line 3/3", "Conversion done" };
  EXPECT_EQ(Catcher.Status, Expected);
  EXPECT_TRUE(Catcher.Errors.empty());
  IMAGE_Free(p);
}

TEST(Conversion, RefusesMissingImageAndUnusablePalette) {
  ReportCatcher Catcher;
  EXPECT_EQ(CONVERT_IntoPalette(nullptr, CONVERT_GetCustomPalette()), nullptr);
  EXPECT_EQ(CONVERT_IntoGray64(nullptr), nullptr);
  EXPECT_EQ(CONVERT_Into111(nullptr), nullptr);
  EXPECT_EQ(Catcher.Errors, std::vector<std::string>(3, "Internal error : pBitmapOrg == NULL"));
  EXPECT_TRUE(Catcher.Status.empty());

  uint32_t aColor[257] = { 0 };
  IMAGE* p = MakeTestImage(3, 2, 0);
  for (I32 NumColors : { 0, -1, 257 }) {
    PALETTE Pal = { NumColors, aColor };
    Catcher.Clear();
    EXPECT_EQ(CONVERT_IntoPalette(p, &Pal), nullptr);
    EXPECT_EQ(Catcher.Errors, std::vector<std::string>{ "The palette must have 1 to 256 colors" });
  }
  /* The custom palette after a refused file */
  PALETTE* pCustom = CONVERT_GetCustomPalette();
  ASSERT_NE(pCustom, nullptr);
  I32 NumSaved = pCustom->NumColors;
  pCustom->NumColors = 0;
  Catcher.Clear();
  EXPECT_EQ(CONVERT_IntoCustomPalette(p), nullptr);
  EXPECT_EQ(Catcher.Errors.size(), 1u);
  pCustom->NumColors = NumSaved;
  /* Refused: the image is kept as it was */
  IMAGE* pSame = MakeTestImage(3, 2, 0);
  EXPECT_EQ(0, memcmp(p->pData, pSame->pData, (size_t)p->BytesPerLine * 2));
  IMAGE_Free(pSame);
  IMAGE_Free(p);
}

TEST(Conversion, CustomPaletteIsTheSharedTable) {
  ReportCatcher Catcher;
  PALETTE* pCustom = CONVERT_GetCustomPalette();
  ASSERT_NE(pCustom, nullptr);
  ASSERT_NE(pCustom->pColors, nullptr);
  PALETTE Saved = *pCustom;
  Table aSaved(pCustom->pColors, pCustom->pColors + 256);
  pCustom->NumColors = 3;
  pCustom->pColors[0] = 0x0000FF;
  pCustom->pColors[1] = 0x00FF00;
  pCustom->pColors[2] = 0xFF0000;
  pCustom->pColors[255] = 0x123456;   /* the table has room for 256 */
  IMAGE* p = IMAGE_Create(2, 1, 0);
  IMAGE_SetPixel(p, 0, 0, 0x10E020);
  IMAGE_SetPixel(p, 1, 0, 0xF00000);
  p = CONVERT_IntoCustomPalette(p);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->NumColors, 3);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 1u);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 0), 2u);
  IMAGE_Free(p);
  *pCustom = Saved;
  std::copy(aSaved.begin(), aSaved.end(), pCustom->pColors);
}

/* The conversion against the plain per-pixel search: random pictures with
 * few and many colours, palette sources with duplicate entries, top bits
 * and indices past the palette, random target palettes and the fixed ones. */
TEST(Conversion, SameAsPlainSearch) {
  ReportCatcher Catcher;
  std::mt19937 Rng(2024);
  auto Rand = [&](unsigned n) { return (unsigned)(Rng() % n); };
  for (int Trial = 0; Trial < 120; Trial++) {
    int XSize = 1 + (int)Rand(60), YSize = 1 + (int)Rand(40);
    bool IsPalette = Trial % 3 == 2;
    IMAGE* pSrc = IMAGE_Create(XSize, YSize, IsPalette ? 1 + (int)Rand(256) : 0);
    Table aPool(1 + Rand(Trial % 2 ? 5 : 3000));
    for (uint32_t& c : aPool) c = Rng() & 0xFFFFFF;
    for (int i = 0; i < pSrc->NumColors; i++) IMAGE_SetColor(pSrc, i, aPool[Rand((unsigned)aPool.size())] | (Rand(4) == 0 ? 0xFF000000u : 0));
    for (int y = 0; y < YSize; y++) {
      for (int x = 0; x < XSize; x++) IMAGE_SetPixel(pSrc, x, y, IsPalette ? Rand(256) : aPool[Rand((unsigned)aPool.size())]);
    }
    Table aPal;
    if (Trial % 4 == 0) {
      aPal = PaletteOf(aFixed[Rand(11)].pfConvert);
    } else {
      aPal.resize(1 + Rand(256));
      for (uint32_t& c : aPal) c = Rand(3) == 0 ? Rand(4) * 0x404040 : (Rng() | (Rand(2) << 31));   /* duplicates, top bits */
    }
    PALETTE Pal = { (I32)aPal.size(), aPal.data() };
    IMAGE* pExpected = PlainConvert(pSrc, aPal);
    IMAGE* pGot = CONVERT_IntoPalette(pSrc, &Pal);
    ExpectSameImage(pGot, pExpected, "trial " + std::to_string(Trial));
    IMAGE_Free(pGot);
    IMAGE_Free(pExpected);
  }
}

/* Many distinct colours, so that the table of colours already mapped
 * grows several times, onto each fixed palette. */
TEST(Conversion, FixedPalettesSameAsPlainSearchOnManyColors) {
  ReportCatcher Catcher;
  IMAGE* pSrc = IMAGE_Create(96, 64, 0);
  std::mt19937 Rng(5);
  for (int y = 0; y < 64; y++) {
    for (int x = 0; x < 96; x++) IMAGE_SetPixel(pSrc, x, y, y < 32 ? (Rng() & 0xFFFFFF) : Rgb(x * 2, y * 4, (x ^ y) * 3 & 0xFF));
  }
  for (const FIXED& f : aFixed) {
    IMAGE* pExpected = PlainConvert(pSrc, ExpectedTable(f.sName));
    IMAGE* pGot = f.pfConvert(IMAGE_Copy(pSrc));
    ExpectSameImage(pGot, pExpected, f.sName);
    IMAGE_Free(pGot);
    IMAGE_Free(pExpected);
  }
  IMAGE_Free(pSrc);
}
