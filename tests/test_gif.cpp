/* GIF reader and writer checked both ways against giflib, which serves
 * only as an independent decoder and encoder here. Hostile streams live
 * in fuzz/corpus/gif/, where the GIF fuzzer starts from them. */
#include <gtest/gtest.h>

#include <gif_lib.h>

#include "color/palette.h"
#include "color/transparency.h"
#include "input/gif.h"
#include "output/gifout.h"
#include "testutil.h"

namespace {

U32 ToColor(const GifColorType& c) { return (U32)c.Red | (U32)c.Green << 8 | (U32)c.Blue << 16; }

/* giflib's reading of a file: screen, table size, the first frame's
 * colours and its transparent index (-1: none). */
struct Decoded {
  bool IsOk = false;
  int  XSize = 0, YSize = 0, TableSize = 0, TransIndex = -1;
  std::vector<U32> aColor;
  U32  TransColor = 0;
};

Decoded DecodeWithGiflib(const std::string& sPath) {
  Decoded d;
  int Error = 0;
  GifFileType* pGif = DGifOpenFileName(sPath.c_str(), &Error);
  if (pGif == nullptr) return d;
  if (DGifSlurp(pGif) == GIF_OK && pGif->ImageCount == 1) {
    SavedImage& Img = pGif->SavedImages[0];
    ColorMapObject* pMap = Img.ImageDesc.ColorMap ? Img.ImageDesc.ColorMap : pGif->SColorMap;
    d.XSize = pGif->SWidth;
    d.YSize = pGif->SHeight;
    d.TableSize = pMap->ColorCount;
    for (int i = 0; i < Img.ImageDesc.Width * Img.ImageDesc.Height; i++) d.aColor.push_back(ToColor(pMap->Colors[Img.RasterBits[i]]));
    GraphicsControlBlock Gcb;
    if (DGifSavedExtensionToGCB(pGif, 0, &Gcb) == GIF_OK && Gcb.TransparentColor >= 0) {
      d.TransIndex = Gcb.TransparentColor;
      d.TransColor = ToColor(pMap->Colors[d.TransIndex]);
    }
    d.IsOk = true;
  }
  DGifCloseFile(pGif, &Error);
  return d;
}

ColorMapObject* MakeMap(const std::vector<U32>& aColor) {
  std::vector<GifColorType> a;
  for (U32 c : aColor) a.push_back({ (GifByteType)c, (GifByteType)(c >> 8), (GifByteType)(c >> 16) });
  return GifMakeMapObject((int)a.size(), a.data());
}

/* One frame at the top left, written by giflib. */
std::string WriteWithGiflib(const TempDir& Dir, int XSize, int YSize, const std::vector<U32>& aGlobal,
                            const std::vector<U32>& aLocal, bool IsInterlaced, int TransIndex,
                            const std::vector<int>& aIndex) {
  int Error = 0;
  std::string sPath = Dir.File("in.gif");
  GifFileType* pGif = EGifOpenFileName(sPath.c_str(), false, &Error);
  EGifSetGifVersion(pGif, true);
  ColorMapObject* pGlobal = MakeMap(aGlobal);
  ColorMapObject* pLocal = aLocal.empty() ? nullptr : MakeMap(aLocal);
  EGifPutScreenDesc(pGif, XSize, YSize, 8, 0, pGlobal);
  if (TransIndex >= 0) {
    GraphicsControlBlock Gcb = {};
    Gcb.DelayTime = 0x201;   /* a delay whose bytes are not the index */
    Gcb.TransparentColor = TransIndex;
    GifByteType aExt[4];
    EGifPutExtension(pGif, GRAPHICS_EXT_FUNC_CODE, (int)EGifGCBToExtension(&Gcb, aExt), aExt);
  }
  EGifPutImageDesc(pGif, 0, 0, XSize, YSize, IsInterlaced, pLocal);
  static const int aStart[4] = { 0, 4, 2, 1 }, aStep[4] = { 8, 8, 4, 2 };
  std::vector<GifPixelType> aRow((size_t)XSize);
  for (int Pass = 0; Pass < (IsInterlaced ? 4 : 1); Pass++) {
    for (int y = IsInterlaced ? aStart[Pass] : 0; y < YSize; y += IsInterlaced ? aStep[Pass] : 1) {
      for (int x = 0; x < XSize; x++) aRow[(size_t)x] = (GifPixelType)aIndex[(size_t)(y * XSize + x)];
      EGifPutLine(pGif, aRow.data(), XSize);
    }
  }
  EGifCloseFile(pGif, &Error);
  GifFreeMapObject(pGlobal);
  GifFreeMapObject(pLocal);
  return ReadFileBytes(sPath);
}

/* The number of codes between each two clear codes of a GIF code stream
 * of 8-bit pixels, each code read at the width a decoder expects. */
std::vector<int> ClearSpans(const std::string& Data) {
  std::vector<int> aSpan;
  int Size = 9, n = -1;
  for (size_t Bit = 0; Bit + (size_t)Size <= Data.size() * 8;) {
    int Code = 0;
    for (int i = 0; i < Size; i++, Bit++) Code |= (Data[Bit / 8] >> (Bit % 8) & 1) << i;
    if (Code == 257) break;
    if (Code == 256 && n >= 0) aSpan.push_back(n);
    n = Code == 256 ? 0 : n + 1;
    Size = Code == 256 ? 9 : Size + (257 + n == (1 << Size) && Size < 12);   /* the table now holds 257 + n codes */
  }
  return aSpan;
}

}  // namespace

TEST(GifWrite, GiflibReadsThePictureTheTableAndTheTransparentColour) {
  TempDir Dir;
  for (int n : {1, 2, 3, 4, 5, 16, 17, 256, 0}) {
    for (bool HasTrans : {false, true}) {
      if (HasTrans && n < 2) continue;
      int w = n == 256 ? 300 : 23, h = n == 256 ? 90 : 7;   /* the big one outruns 4096 codes */
      IMAGE* pSrc = RandomImage(w, h, n == 0 ? 0 : n, (unsigned)n, n == 0 ? 200 : 0);
      if (HasTrans) IMAGE_SetTransparency(pSrc, 2);
      IMAGE* p = IMAGE_Copy(pSrc);
      p->HasTrans = pSrc->HasTrans;
      std::string Bytes = SaveBytes(&p, 3);
      ASSERT_NE(p, nullptr);
      WriteFileBytes(Dir.File("out.gif"), Bytes);
      Decoded d = DecodeWithGiflib(Dir.File("out.gif"));
      ASSERT_TRUE(d.IsOk) << n << " colours";
      EXPECT_EQ(d.XSize, w);
      EXPECT_EQ(d.YSize, h);
      int Used = IMAGE_CountColors(pSrc), Table = 2, Bits = 0;
      for (; Table < Used; Table *= 2) Bits++;
      EXPECT_EQ(d.TableSize, Table) << n;
      EXPECT_EQ((unsigned char)Bytes[10], 0x80 | Bits << 4 | Bits) << n;
      size_t Pos = 13 + 3 * (size_t)Table + (HasTrans ? 8 : 0) + 10;
      EXPECT_EQ(Bytes[Pos++], std::max(2, Bits + 1)) << n;   /* LZW code size */
      /* Sub-blocks of 255 bytes but the last; at 8 bits a clear code
       * each time the table passes 4096 codes. */
      std::string Data;
      for (; Pos < Bytes.size() && Bytes[Pos]; Pos += (U8)Bytes[Pos] + 1u) {
        ASSERT_TRUE((U8)Bytes[Pos] == 255 || (U8)Bytes[Pos + (U8)Bytes[Pos] + 1] == 0) << n << ", sub-block at " << Pos;
        Data += Bytes.substr(Pos + 1, (U8)Bytes[Pos]);
      }
      EXPECT_EQ(Bytes.substr(Pos), std::string("\0;", 2)) << n;
      std::vector<int> aSpan = n == 256 ? ClearSpans(Data) : std::vector<int>(4, 4096 - 258 + 1);
      EXPECT_EQ(aSpan, std::vector<int>(std::max<size_t>(aSpan.size(), 4), 4096 - 258 + 1));
      for (int i = 0; i < w * h; i++) {
        ASSERT_EQ(d.aColor[(size_t)i], IMAGE_GetPixelColor(pSrc, i % w, i / w)) << n << " colours, pixel " << i;
      }
      EXPECT_EQ(d.TransIndex >= 0, HasTrans);
      if (HasTrans) {
        EXPECT_EQ(d.TransColor, IMAGE_GetColor(pSrc, 0));
      }
      EXPECT_EQ(Diff(p, pSrc, true), "");   /* the reduced image comes back */
      EXPECT_EQ(p->HasTrans, pSrc->HasTrans);
      IMAGE_Free(p);
      IMAGE_Free(pSrc);
    }
  }
}

TEST(GifWrite, OneColourTwoByTwoExactBytes) {
  IMAGE* p = IMAGE_Create(2, 2, 1);
  IMAGE_SetColor(p, 0, 0x332211);
  std::string Bytes = SaveBytes(&p, 3);
  IMAGE_Free(p);
  /* Codes of 3 bits: clear 4, 0, 6 (two pixels), 0, end 5; the last byte holds 7 bits. */
  EXPECT_EQ(Bytes, std::string("GIF89a\2\0\2\0\x80\0\0\x11\x22\x33\xFF\xFF\xFF,\0\0\0\0\2\0\2\0\0"
                               "\2\2\x84\x51\0;", 35));
}

TEST(GifRead, GiflibFilesReadBackWithInterlaceLocalTablesAndTransparency) {
  TempDir Dir;
  std::vector<U32> aGlobal = { 0x0000FF, 0x00FF00, 0xFF0000, 0x808080 };
  std::vector<U32> aLocal = { 0x102030, 0x405060 };   /* smaller than the screen's table */
  std::vector<U32> aLarger = { 0x102030, 0x405060, 0x708090, 0xA0B0C0, 1, 2, 3, 4 };   /* 4 to 7 find no place */
  for (int h = 1; h <= 10; h++) {
    for (int Case = 0; Case < 5; Case++) {
      bool IsLocal = Case & 1 || Case == 4, IsInterlaced = Case & 2;
      const std::vector<U32>& aTable = Case == 4 ? aLarger : IsLocal ? aLocal : aGlobal;
      std::vector<int> aIndex;
      for (int i = 0; i < 5 * h * 10; i++) aIndex.push_back((i * 7 + i / 13) % std::min((int)aTable.size(), 4));
      int TransIndex = Case == 3 ? 1 : -1;
      std::string File = WriteWithGiflib(Dir, 50, h, aGlobal, IsLocal ? aTable : std::vector<U32>{}, IsInterlaced,
                                         TransIndex, aIndex);
      IMAGE* p = GIF_LoadFromMemory((const U8*)File.data(), (U32)File.size());
      ASSERT_NE(p, nullptr) << h << " " << Case;
      ASSERT_EQ(p->XSize * p->YSize, 50 * h);
      for (int i = 0; i < 50 * h; i++) {
        U32 Expected = aIndex[(size_t)i] == TransIndex ? 0xFFFFFFFFu : aTable[(size_t)aIndex[(size_t)i]];
        ASSERT_EQ(IMAGE_GetPixelColor(p, i % 50, i / 50), Expected) << h << " " << Case << " pixel " << i;
      }
      EXPECT_EQ(p->HasTrans, TransIndex >= 0);
      if (TransIndex >= 0) {
        EXPECT_EQ(IMAGE_GetColor(p, 0), 0xFFFFFFFFu);   /* the marker word stays as the colour */
      }
      IMAGE_Free(p);
    }
  }
}

TEST(GifRead, PixelLimit) {
  TempDir Dir;
  ReportCatcher Rc;
  /* A 1 x 1 frame on a screen at the picture limit of 64 Mi pixels, and
   * on one row more. */
  for (int h : {8192, 8193}) {
    std::string File = WriteWithGiflib(Dir, 1, 1, {0, 0xFFFFFF}, {}, false, -1, {1});
    File[6] = 0;
    File[7] = 8192 >> 8;
    File[8] = (char)(h & 0xFF);
    File[9] = (char)(h >> 8);
    IMAGE* p = GIF_LoadFromMemory((const U8*)File.data(), (U32)File.size());
    EXPECT_EQ(p != nullptr, h == 8192);
    IMAGE_Free(p);
  }
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{
    "The image contains to much pixels. This tool\r\nonly supports GIFs with up to 67.108.864 pixels"});
  /* An interlaced frame of 16 rows on a screen of 4: rows 1 to 3 come in
   * passes after the one that first leaves the screen. */
  std::vector<int> aIndex;
  for (int i = 0; i < 2 * 16; i++) aIndex.push_back(i / 2 % 3);
  std::vector<U32> aTable = {0x0000FF, 0x00FF00, 0xFF0000, 0};
  std::string File = WriteWithGiflib(Dir, 2, 16, aTable, {}, true, -1, aIndex);
  File[8] = 4;
  IMAGE* p = GIF_LoadFromMemory((const U8*)File.data(), (U32)File.size());
  ASSERT_NE(p, nullptr);
  ASSERT_EQ(p->YSize, 4);
  for (int y = 0; y < 4; y++) EXPECT_EQ(IMAGE_GetPixelColor(p, 1, y), aTable[(size_t)y % 3]) << y;
  IMAGE_Free(p);
}
