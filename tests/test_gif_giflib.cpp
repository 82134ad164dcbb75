/* GIF reader and writer checked against giflib, which serves only as
 * an independent decoder and encoder here. */
#include <gtest/gtest.h>

#include <gif_lib.h>

#include <algorithm>

#include "color/transparency.h"
#include "input/gif.h"
#include "output/gifout.h"
#include "testutil.h"

namespace {

/* What giflib decodes of a file: screen, first frame, and the colour of
 * each of its pixels. */
struct Decoded {
  bool IsOk = false;
  bool HasTrailer = false;
  int  XSize = 0, YSize = 0;
  int  TransIndex = -1;
  std::vector<int> aIndex;
  std::vector<U32> aColor;
};

U32 ToColor(const GifColorType& c) {
  return (U32)c.Red | (U32)c.Green << 8 | (U32)c.Blue << 16;
}

/* Record by record, so that a file whose data ends in an empty
 * sub-block (and so a stray 0 before the trailer) still yields its
 * pixels; HasTrailer tells whether the record walk ended cleanly. */
Decoded DecodeWithGiflib(const std::string& sPath) {
  Decoded d;
  int Error = 0;
  GifFileType* pGif = DGifOpenFileName(sPath.c_str(), &Error);
  if (pGif == nullptr) return d;
  d.XSize = pGif->SWidth;
  d.YSize = pGif->SHeight;
  bool HaveImage = false;
  for (;;) {
    GifRecordType Type;
    if (DGifGetRecordType(pGif, &Type) == GIF_ERROR) break;
    if (Type == TERMINATE_RECORD_TYPE) {
      d.HasTrailer = true;
      break;
    }
    if (Type == EXTENSION_RECORD_TYPE) {
      int Code;
      GifByteType* pExt;
      if (DGifGetExtension(pGif, &Code, &pExt) == GIF_ERROR) break;
      if (Code == GRAPHICS_EXT_FUNC_CODE && pExt && pExt[0] >= 4 && (pExt[1] & 1) && !HaveImage) {
        d.TransIndex = pExt[4];
      }
      while (pExt) {
        if (DGifGetExtensionNext(pGif, &pExt) == GIF_ERROR) break;
      }
      continue;
    }
    if (Type != IMAGE_DESC_RECORD_TYPE || DGifGetImageDesc(pGif) == GIF_ERROR) break;
    int w = pGif->Image.Width, h = pGif->Image.Height;
    std::vector<GifPixelType> aRaster((size_t)w * h);
    bool IsFine = true;
    if (pGif->Image.Interlace) {
      static const int aStart[4] = { 0, 4, 2, 1 }, aStep[4] = { 8, 8, 4, 2 };
      for (int Pass = 0; Pass < 4 && IsFine; Pass++)
        for (int y = aStart[Pass]; y < h && IsFine; y += aStep[Pass])
          IsFine = DGifGetLine(pGif, &aRaster[(size_t)y * w], w) == GIF_OK;
    } else {
      for (int y = 0; y < h && IsFine; y++) IsFine = DGifGetLine(pGif, &aRaster[(size_t)y * w], w) == GIF_OK;
    }
    if (!IsFine) break;
    if (!HaveImage) {
      ColorMapObject* pMap = pGif->Image.ColorMap ? pGif->Image.ColorMap : pGif->SColorMap;
      for (GifPixelType i : aRaster) {
        d.aIndex.push_back(i);
        d.aColor.push_back(pMap && i < pMap->ColorCount ? ToColor(pMap->Colors[i]) : 0);
      }
      HaveImage = true;
      d.IsOk = true;
    }
  }
  DGifCloseFile(pGif, &Error);
  return d;
}

/* A frame for giflib to write. */
struct Frame {
  int XSize, YSize;
  bool IsInterlaced = false;
  std::vector<U32> aLocal;      /* empty: none */
  int TransIndex = -1;
  int Delay = 0;
  std::vector<int> aIndex;      /* picture order */
};

ColorMapObject* MakeMap(const std::vector<U32>& aColor) {
  std::vector<GifColorType> a;
  for (U32 c : aColor) a.push_back({ (GifByteType)c, (GifByteType)(c >> 8), (GifByteType)(c >> 16) });
  return GifMakeMapObject((int)a.size(), a.data());
}

bool WriteWithGiflib(const std::string& sPath, int XSize, int YSize, const std::vector<U32>& aGlobal,
                     const std::vector<Frame>& aFrame) {
  int Error = 0;
  GifFileType* pGif = EGifOpenFileName(sPath.c_str(), false, &Error);
  if (pGif == nullptr) return false;
  EGifSetGifVersion(pGif, true);
  ColorMapObject* pGlobal = aGlobal.empty() ? nullptr : MakeMap(aGlobal);
  bool IsOk = EGifPutScreenDesc(pGif, XSize, YSize, 8, 0, pGlobal) == GIF_OK;
  for (const Frame& f : aFrame) {
    if (f.TransIndex >= 0 || f.Delay) {
      GraphicsControlBlock Gcb = {};
      Gcb.DisposalMode = DISPOSE_BACKGROUND;
      Gcb.DelayTime = f.Delay;
      Gcb.TransparentColor = f.TransIndex >= 0 ? f.TransIndex : NO_TRANSPARENT_COLOR;
      GifByteType aExt[4];
      size_t n = EGifGCBToExtension(&Gcb, aExt);
      IsOk = IsOk && EGifPutExtension(pGif, GRAPHICS_EXT_FUNC_CODE, (int)n, aExt) == GIF_OK;
    }
    ColorMapObject* pLocal = f.aLocal.empty() ? nullptr : MakeMap(f.aLocal);
    IsOk = IsOk && EGifPutImageDesc(pGif, 0, 0, f.XSize, f.YSize, f.IsInterlaced, pLocal) == GIF_OK;
    std::vector<GifPixelType> aRow((size_t)f.XSize);
    auto PutRow = [&](int y) {
      for (int x = 0; x < f.XSize; x++) aRow[x] = (GifPixelType)f.aIndex[(size_t)y * f.XSize + x];
      IsOk = IsOk && EGifPutLine(pGif, aRow.data(), f.XSize) == GIF_OK;
    };
    if (f.IsInterlaced) {
      static const int aStart[4] = { 0, 4, 2, 1 }, aStep[4] = { 8, 8, 4, 2 };
      for (int Pass = 0; Pass < 4; Pass++)
        for (int y = aStart[Pass]; y < f.YSize; y += aStep[Pass]) PutRow(y);
    } else {
      for (int y = 0; y < f.YSize; y++) PutRow(y);
    }
    GifFreeMapObject(pLocal);
  }
  GifFreeMapObject(pGlobal);
  IsOk = EGifCloseFile(pGif, &Error) == GIF_OK && IsOk;
  return IsOk;
}

U32 NextRandom(U32* pSeed) {
  *pSeed = *pSeed * 1664525u + 1013904223u;
  return *pSeed >> 8;
}

/* Distinct, opaque, never white. */
std::vector<U32> RandomColors(int n, U32 Seed) {
  std::vector<U32> a;
  while ((int)a.size() < n) {
    U32 c = NextRandom(&Seed) & 0xFFFFFF;
    if (c == 0xFFFFFF || std::find(a.begin(), a.end(), c) != a.end()) continue;
    a.push_back(c);
  }
  return a;
}

IMAGE* LoadFile(const std::string& sPath) {
  PLAT_FILE* hFile = PLAT_OpenRead(sPath.c_str(), nullptr);
  IMAGE* p = GIF_LoadFile(hFile);
  PLAT_Close(hFile);
  return p;
}

IMAGE* SaveFile(IMAGE* pImage, const std::string& sPath) {
  PLAT_FILE* hFile = PLAT_CreateWrite(sPath.c_str());
  IMAGE* p = GIF_SaveFile(pImage, hFile);
  PLAT_Close(hFile);
  return p;
}

/* Saves a palette image with our writer and checks giflib's reading of
 * it against the reduced image: same indices, same colours. */
void CheckOurWriter(IMAGE* pImage, const std::string& sPath, bool ExpectTrailer = true) {
  std::vector<U32> aBefore;
  for (int y = 0; y < pImage->YSize; y++)
    for (int x = 0; x < pImage->XSize; x++) aBefore.push_back(IMAGE_GetPixelColor(pImage, x, y));
  IMAGE* pResult = SaveFile(pImage, sPath);
  ASSERT_NE(pResult, nullptr);
  Decoded d = DecodeWithGiflib(sPath);
  ASSERT_TRUE(d.IsOk);
  EXPECT_EQ(d.HasTrailer, ExpectTrailer);
  ASSERT_EQ(d.XSize, pResult->XSize);
  ASSERT_EQ(d.YSize, pResult->YSize);
  ASSERT_EQ(d.aIndex.size(), aBefore.size());
  size_t i = 0;
  for (int y = 0; y < pResult->YSize; y++)
    for (int x = 0; x < pResult->XSize; x++, i++) {
      ASSERT_EQ((U32)d.aIndex[i], IMAGE_GetPixel(pResult, x, y)) << x << "," << y;
      ASSERT_EQ(d.aColor[i], aBefore[i] & 0xFFFFFF) << x << "," << y;
    }
  IMAGE_Free(pResult);
  /* Our reader agrees. */
  IMAGE* pBack = LoadFile(sPath);
  ASSERT_NE(pBack, nullptr);
  i = 0;
  for (int y = 0; y < pBack->YSize; y++)
    for (int x = 0; x < pBack->XSize; x++, i++) ASSERT_EQ(IMAGE_GetPixelColor(pBack, x, y), aBefore[i] & 0xFFFFFF);
  IMAGE_Free(pBack);
}

}  // namespace

/*********************************************************************
*  Our writer, giflib's reader
*/
TEST(GifGiflib, WriterAllPaletteSizes) {
  ReportCatcher Catcher;
  TempDir Dir;
  for (int n = 1; n <= 256; n++) {
    std::vector<U32> aColor = RandomColors(n, (U32)n);
    IMAGE* p = IMAGE_Create(37, 23, n);
    for (int i = 0; i < n; i++) IMAGE_SetColor(p, i, aColor[i]);
    U32 Seed = (U32)n * 7;
    for (int i = 0; i < 37 * 23; i++) {
      U32 v = i < n ? (U32)i : NextRandom(&Seed) % (U32)n;
      IMAGE_SetPixel(p, i % 37, i / 37, v);
    }
    SCOPED_TRACE(n);
    CheckOurWriter(p, Dir.File("n.gif"));
  }
}

TEST(GifGiflib, WriterThinAndTrueColor) {
  ReportCatcher Catcher;
  TempDir Dir;
  int aSize[][2] = { { 1, 1 }, { 1, 500 }, { 500, 1 }, { 3, 1 }, { 1, 3 } };
  for (auto& s : aSize) {
    IMAGE* p = IMAGE_Create(s[0], s[1], 0);
    U32 Seed = 99;
    for (int y = 0; y < s[1]; y++)
      for (int x = 0; x < s[0]; x++) IMAGE_SetPixel(p, x, y, NextRandom(&Seed) % 40 * 0x030507);
    SCOPED_TRACE(s[0] * 1000 + s[1]);
    CheckOurWriter(p, Dir.File("t.gif"));
  }
}

/* Noise of 256 colours on 512 x 512: the code size climbs to 12 and the
 * table is cleared many times over. */
TEST(GifGiflib, WriterLargeNoise) {
  ReportCatcher Catcher;
  TempDir Dir;
  IMAGE* p = IMAGE_Create(512, 512, 256);
  std::vector<U32> aColor = RandomColors(256, 5);
  for (int i = 0; i < 256; i++) IMAGE_SetColor(p, i, aColor[i]);
  U32 Seed = 17;
  for (int y = 0; y < 512; y++)
    for (int x = 0; x < 512; x++) IMAGE_SetPixel(p, x, y, (y * 512 + x) < 256 ? (U32)(y * 512 + x) : NextRandom(&Seed) & 0xFF);
  CheckOurWriter(p, Dir.File("noise.gif"));
  /* Structured content with long runs as well as noise. */
  p = IMAGE_Create(700, 300, 16);
  for (int i = 0; i < 16; i++) IMAGE_SetColor(p, i, aColor[i]);
  for (int y = 0; y < 300; y++)
    for (int x = 0; x < 700; x++) IMAGE_SetPixel(p, x, y, (x / 37 + y / 19) % 16 ^ (NextRandom(&Seed) % 9 == 0));
  CheckOurWriter(p, Dir.File("mixed.gif"));
}

/* Sub-blocks: all of 255 bytes but the last. This row of 5137 random
 * pixels ends its codes exactly on a full sub-block, so an empty block
 * follows and the file ends in 0, 0, 0x3B; giflib reads the pixels and
 * stops at the empty block. The rows around it end normally. */
TEST(GifGiflib, WriterSubBlocks) {
  ReportCatcher Catcher;
  TempDir Dir;
  for (int XSize : { 600, 5136, 5137, 5138 }) {
    IMAGE* p = IMAGE_Create(XSize, 1, 256);
    for (int i = 0; i < 256; i++) IMAGE_SetColor(p, i, (U32)i * 0x010101);
    U32 Seed = 12345;
    for (int x = 0; x < XSize; x++) {
      Seed = Seed * 1103515245 + 12345;
      IMAGE_SetPixel(p, x, 0, Seed >> 16 & 0xFF);
    }
    SCOPED_TRACE(XSize);
    bool IsExact = XSize == 5137;
    CheckOurWriter(p, Dir.File("e.gif"), !IsExact);
    std::string s = ReadFileBytes(Dir.File("e.gif"));
    size_t Pos = 13 + 3 * (2u << ((U8)s[10] & 7)) + 10 + 1;
    std::vector<int> aLen;
    while (Pos < s.size() && s[Pos] != 0) {
      aLen.push_back((U8)s[Pos]);
      Pos += 1 + (U8)s[Pos];
    }
    ASSERT_GE(aLen.size(), 2u);
    for (size_t i = 0; i + 1 < aLen.size(); i++) ASSERT_EQ(aLen[i], 255);
    EXPECT_EQ(aLen.back() == 255, IsExact);
    EXPECT_EQ(s.substr(Pos), IsExact ? std::string("\x00\x00\x3B", 3) : std::string("\x00\x3B", 2));
  }
}

/*********************************************************************
*  giflib's writer, our reader
*/
namespace {

/* Our reader's result against the frame's colours; pixels of the
 * transparent index must be entry 0 with the marker word. */
void CheckOurReader(const IMAGE* p, int XSize, int YSize, const std::vector<U32>& aMap, const Frame& f) {
  ASSERT_NE(p, nullptr);
  ASSERT_EQ(p->XSize, XSize);
  ASSERT_EQ(p->YSize, YSize);
  bool IsTransUsed = f.TransIndex >= 0
    && std::find(f.aIndex.begin(), f.aIndex.end(), f.TransIndex) != f.aIndex.end();
  for (int y = 0; y < YSize; y++)
    for (int x = 0; x < XSize; x++) {
      int Index = (x < f.XSize && y < f.YSize) ? f.aIndex[(size_t)y * f.XSize + x] : 0;
      if (Index == f.TransIndex) {
        ASSERT_EQ(IMAGE_GetPixel(p, x, y), 0u) << x << "," << y;
      } else {
        ASSERT_EQ(IMAGE_GetPixelColor(p, x, y), aMap[Index]) << x << "," << y;
        if (IsTransUsed) {
          ASSERT_NE(IMAGE_GetPixel(p, x, y), 0u);
        }
      }
    }
  EXPECT_EQ(p->HasTrans, IsTransUsed ? 1 : 0);
  if (IsTransUsed) {
    EXPECT_EQ(IMAGE_GetColor(p, 0), 0xFFFFFFFFu);
  }
}

Frame RandomFrame(int XSize, int YSize, int NumColors, U32 Seed) {
  Frame f;
  f.XSize = XSize;
  f.YSize = YSize;
  for (int i = 0; i < XSize * YSize; i++)
    f.aIndex.push_back((int)((i / 7 + NextRandom(&Seed) % 3) % (U32)NumColors));
  return f;
}

}  // namespace

TEST(GifGiflib, ReaderPlainAndInterlaced) {
  ReportCatcher Catcher;
  TempDir Dir;
  struct { int XSize, YSize, NumColors; bool IsInterlaced; } a[] = {
    { 1, 1, 2, false }, { 1, 1, 2, true }, { 17, 3, 4, true }, { 64, 64, 256, false },
    { 64, 61, 256, true }, { 300, 200, 16, true }, { 333, 1, 8, false }, { 1, 333, 8, true },
  };
  for (auto& t : a) {
    std::vector<U32> aMap = RandomColors(t.NumColors, (U32)t.XSize * 31 + t.YSize);
    Frame f = RandomFrame(t.XSize, t.YSize, t.NumColors, 3);
    f.IsInterlaced = t.IsInterlaced;
    ASSERT_TRUE(WriteWithGiflib(Dir.File("a.gif"), t.XSize, t.YSize, aMap, { f }));
    IMAGE* p = LoadFile(Dir.File("a.gif"));
    SCOPED_TRACE(t.XSize * 1000 + t.YSize);
    CheckOurReader(p, t.XSize, t.YSize, aMap, f);
    IMAGE_Free(p);
  }
  EXPECT_TRUE(Catcher.Errors.empty());
}

TEST(GifGiflib, ReaderTransparencyLocalTablesAndFrames) {
  ReportCatcher Catcher;
  TempDir Dir;
  std::vector<U32> aGlobal = RandomColors(16, 1);
  std::vector<U32> aLocal = RandomColors(16, 2);
  /* A transparent index in use, with the global table. */
  Frame f = RandomFrame(40, 30, 16, 4);
  f.TransIndex = 5;
  ASSERT_TRUE(WriteWithGiflib(Dir.File("t.gif"), 40, 30, aGlobal, { f }));
  IMAGE* p = LoadFile(Dir.File("t.gif"));
  CheckOurReader(p, 40, 30, aGlobal, f);
  IMAGE_Free(p);
  /* The same, interlaced, with a local table and no global one. */
  f.IsInterlaced = true;
  f.aLocal = aLocal;
  ASSERT_TRUE(WriteWithGiflib(Dir.File("l.gif"), 40, 30, {}, { f }));
  p = LoadFile(Dir.File("l.gif"));
  CheckOurReader(p, 40, 30, aLocal, f);
  IMAGE_Free(p);
  /* A local table over a global one of the same size. */
  ASSERT_TRUE(WriteWithGiflib(Dir.File("g.gif"), 40, 30, aGlobal, { f }));
  p = LoadFile(Dir.File("g.gif"));
  CheckOurReader(p, 40, 30, aLocal, f);
  IMAGE_Free(p);
  /* Several frames with delays: only the first is seen. */
  Frame f1 = RandomFrame(40, 30, 16, 7);
  f1.Delay = 10;
  Frame f2 = RandomFrame(40, 30, 16, 8);
  f2.Delay = 10;
  f2.aLocal = aLocal;
  Frame f3 = RandomFrame(20, 10, 16, 9);
  f3.aLocal = aGlobal;   /* giflib loses a local table that no later frame replaces */
  ASSERT_TRUE(WriteWithGiflib(Dir.File("m.gif"), 40, 30, aGlobal, { f1, f2, f3 }));
  p = LoadFile(Dir.File("m.gif"));
  CheckOurReader(p, 40, 30, aGlobal, f1);
  IMAGE_Free(p);
  /* A transparent index that no pixel uses. */
  Frame f4 = RandomFrame(10, 10, 8, 1);
  f4.TransIndex = 12;
  ASSERT_TRUE(WriteWithGiflib(Dir.File("u.gif"), 10, 10, aGlobal, { f4 }));
  p = LoadFile(Dir.File("u.gif"));
  CheckOurReader(p, 10, 10, aGlobal, f4);
  EXPECT_EQ(p->HasTrans, 0);
  IMAGE_Free(p);
  EXPECT_TRUE(Catcher.Errors.empty());
}

/* Both ways: giflib's file through our reader and our writer, back
 * through giflib. */
TEST(GifGiflib, RoundTripThroughBoth) {
  ReportCatcher Catcher;
  TempDir Dir;
  std::vector<U32> aMap = RandomColors(256, 11);
  Frame f = RandomFrame(250, 180, 256, 12);
  f.TransIndex = 3;
  ASSERT_TRUE(WriteWithGiflib(Dir.File("in.gif"), 250, 180, aMap, { f }));
  IMAGE* p = LoadFile(Dir.File("in.gif"));
  ASSERT_NE(p, nullptr);
  ASSERT_EQ(p->HasTrans, 1);
  IMAGE* pOut = SaveFile(p, Dir.File("out.gif"));
  ASSERT_NE(pOut, nullptr);
  EXPECT_EQ(pOut->HasTrans, 1);
  Decoded d = DecodeWithGiflib(Dir.File("out.gif"));
  ASSERT_TRUE(d.IsOk);
  EXPECT_TRUE(d.HasTrailer);
  EXPECT_EQ(d.TransIndex, 0);
  for (size_t i = 0; i < f.aIndex.size(); i++) {
    if (f.aIndex[i] == 3) {
      ASSERT_EQ(d.aIndex[i], 0) << i;
    } else {
      ASSERT_EQ(d.aColor[i], aMap[f.aIndex[i]]) << i;
    }
  }
  IMAGE_Free(pOut);
}
