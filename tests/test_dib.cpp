/* The Windows Bitmap loader and the DIB decoder. */
#include <gtest/gtest.h>

#include <string>

#include "input/dib.h"
#include "input/loader.h"
#include "testutil.h"

namespace {

/* A BITMAPINFOHEADER; biSize may be given larger than 40, the rest of
 * the header is then zero bytes. */
std::string Header(int Width, int Height, int BitCount, unsigned Compression = 0,
                   unsigned SizeImage = 0, unsigned ClrUsed = 0, unsigned Size = 40) {
  std::string s;
  Put32(s, Size);
  Put32(s, (unsigned)Width);
  Put32(s, (unsigned)Height);
  Put16(s, 1);
  Put16(s, (unsigned)BitCount);
  Put32(s, Compression);
  Put32(s, SizeImage);
  Put32(s, 0);
  Put32(s, 0);
  Put32(s, ClrUsed);
  Put32(s, 0);
  s.resize(Size < 40 ? 40 : Size, '\0');
  return s;
}

/* Colour table entries from colour values 0x00BBGGRR. */
std::string Table(std::initializer_list<unsigned> aColor) {
  std::string s;
  for (unsigned c : aColor) {
    s += (char)(c >> 16);
    s += (char)(c >> 8);
    s += (char)c;
    s += (char)0x5A;       /* reserved byte, must be dropped */
  }
  return s;
}

std::string Bytes(std::initializer_list<int> a) {
  std::string s;
  for (int v : a) s += (char)v;
  return s;
}

IMAGE* Decode(const std::string& Dib) {
  return IMAGE_CreateFromDIB((const U8*)Dib.data(), (U32)Dib.size());
}

std::string FileOf(const std::string& Dib, unsigned bfSize) {
  std::string s = "BM";
  Put32(s, bfSize);
  Put32(s, 0);
  Put32(s, 54);
  return s + Dib;
}

IMAGE* LoadBytes(const std::string& File, int Type = 0) {
  TempDir Dir;
  std::string sPath = Dir.File("pic");
  WriteFileBytes(sPath, File);
  PLAT_FILE* hFile = PLAT_OpenRead(sPath.c_str(), nullptr);
  EXPECT_NE(hFile, nullptr);
  IMAGE* pImage = IMAGE_LoadFile(hFile, Type);
  PLAT_Close(hFile);
  return pImage;
}

}  // namespace

/*********************************************************************
*  Palette depths
*/
TEST(DibSuite, OneBitRowsBottomUpAndCompressionIgnored) {
  ReportCatcher Rc;
  /* 10 x 2, rows padded to 4 bytes; biCompression 7 is not looked at. */
  std::string Dib = Header(10, 2, 1, 7) + Table({0x0000FF, 0x00FF00})
                  + Bytes({0x80, 0x40, 0, 0})      /* bottom row: x 0 and x 9 */
                  + Bytes({0x55, 0xC0, 0, 0});     /* top row */
  IMAGE* p = Decode(Dib);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->NumColors, 2);
  EXPECT_EQ(IMAGE_GetColor(p, 0), 0x0000FFu);
  EXPECT_EQ(IMAGE_GetColor(p, 1), 0x00FF00u);
  const char* sTop = "0101010111";
  const char* sBottom = "1000000001";
  for (int x = 0; x < 10; x++) {
    EXPECT_EQ(IMAGE_GetPixel(p, x, 0), (U32)(sTop[x] - '0')) << x;
    EXPECT_EQ(IMAGE_GetPixel(p, x, 1), (U32)(sBottom[x] - '0')) << x;
  }
  EXPECT_EQ(Rc.Status, std::vector<std::string>{"Loaded 1 bpp bitmap"});
  EXPECT_TRUE(Rc.Errors.empty());
  IMAGE_Free(p);
}

TEST(DibSuite, FourBitNibblesAndUnknownCompression) {
  ReportCatcher Rc;
  std::string Pixels = Bytes({0x12, 0x34, 0x50, 0});
  IMAGE* p = Decode(Header(5, 1, 4) + std::string(64, '\0') + Pixels);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->NumColors, 16);
  for (int x = 0; x < 5; x++) EXPECT_EQ(IMAGE_GetPixel(p, x, 0), (U32)(x + 1));
  EXPECT_EQ(Rc.Status.back(), "Loaded uncompressed 4 bpp bitmap");
  IMAGE_Free(p);

  Rc.Clear();
  EXPECT_EQ(Decode(Header(5, 1, 4, 1) + std::string(64, '\0') + Pixels), nullptr);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{
    "4 BPP bitmap - Unknown compression format (should be BI_RGB or BI_RLE4)"});
}

TEST(DibSuite, EightBitClrUsedSetsTableAndPixelStart) {
  ReportCatcher Rc;
  std::string Tab;
  for (unsigned i = 0; i < 10; i++) Tab += Table({i * 0x010203});
  /* The pixels start 40 bytes behind the header; bfOffBits plays no part. */
  IMAGE* p = Decode(Header(3, 1, 8, 0, 0, 10) + Tab + Bytes({9, 4, 7, 0}));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->NumColors, 10);
  EXPECT_EQ(IMAGE_GetColor(p, 9), 9u * 0x010203);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 9u);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 0), 4u);
  EXPECT_EQ(IMAGE_GetPixel(p, 2, 0), 7u);
  EXPECT_EQ(Rc.Status.back(), "Loaded uncompressed 8 bpp bitmap");
  IMAGE_Free(p);

  Rc.Clear();
  /* Without biClrUsed, 256 entries are skipped. */
  p = Decode(Header(1, 1, 8) + std::string(1024, '\0') + Bytes({200, 0, 0, 0}));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->NumColors, 256);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 200u);
  IMAGE_Free(p);

  EXPECT_EQ(Decode(Header(1, 1, 8, 3) + std::string(1024, '\0') + Bytes({1, 0, 0, 0})), nullptr);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{
    "8 BPP bitmap - Unknown compression format (should be BI_RGB or BI_RLE8)"});
}

/*********************************************************************
*  True-colour depths
*/
TEST(DibSuite, TwentyFourBitsIgnoresClrUsedAndTopDown) {
  ReportCatcher Rc;
  /* biClrUsed 2 and a table in the data: no table is skipped, so its
   * bytes are the first pixels. Negative height: first row on top. */
  std::string Dib = Header(2, -2, 24, 9, 0, 2)
                  + Bytes({0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0, 0})
                  + Bytes({0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0, 0});
  IMAGE* p = Decode(Dib);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->NumColors, 0);
  EXPECT_EQ(p->YSize, 2);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 0x010203u);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 0), 0x040506u);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 1), 0x102030u);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 1), 0x405060u);
  EXPECT_EQ(Rc.Status.back(), "Loaded 24 bpp bitmap");
  IMAGE_Free(p);
}

TEST(DibSuite, SixteenBitRGBUses555) {
  ReportCatcher Rc;
  std::string Pixels;
  Put16(Pixels, 0x7FFF);
  Put16(Pixels, 0x0421);
  Put16(Pixels, 0x7C00);
  Put16(Pixels, 0x8000);   /* top bit is in no mask */
  IMAGE* p = Decode(Header(4, 1, 16) + Pixels);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 0xFFFFFFu);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 0), 0x080808u);
  EXPECT_EQ(IMAGE_GetPixel(p, 2, 0), 0x0000FFu);
  EXPECT_EQ(IMAGE_GetPixel(p, 3, 0), 0u);
  EXPECT_EQ(Rc.Status.back(), "Loaded 16 bpp bitmap (RGB)");
  IMAGE_Free(p);

  Rc.Clear();
  EXPECT_EQ(Decode(Header(4, 1, 16, 1) + Pixels), nullptr);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{
    "16 BPP bitmap - Unknown compression format (should be BI_RGB or BI_RLE8)"});
}

TEST(DibSuite, BitfieldsMasksBehindHeader) {
  ReportCatcher Rc;
  /* 5-6-5 with a header of 52 bytes: the masks come behind it. */
  std::string Masks;
  Put32(Masks, 0xF800);
  Put32(Masks, 0x07E0);
  Put32(Masks, 0x001F);
  std::string Pixels;
  Put16(Pixels, 0xFFFF);
  Put16(Pixels, 0x0020);   /* green 1 of 63 gives 4 */
  IMAGE* p = Decode(Header(2, 1, 16, 3, 0, 0, 52) + Masks + Pixels);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 0xFFFFFFu);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 0), 0x000400u);
  EXPECT_EQ(Rc.Status.back(), "Loaded 16 bpp bitmap (Bitfields)");
  IMAGE_Free(p);
}

TEST(DibSuite, BitfieldsWideZeroAndSparseMasks) {
  ReportCatcher Rc;
  /* 32 bits: red 10 bits wide, green mask 0 (no channel, no hang),
   * blue a mask of two separate bits. */
  std::string Masks;
  Put32(Masks, 0x3FF00000);
  Put32(Masks, 0);
  Put32(Masks, 0x00000005);
  std::string Pixels;
  Put32(Pixels, 0x3FF00005);
  Put32(Pixels, 0x20000004);
  IMAGE* p = Decode(Header(2, 1, 32, 3) + Masks + Pixels);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 0xFF00FFu);
  /* red 0x200 * 255 / 0x3FF = 127; blue 4 * 255 / 5 = 204 */
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 0), 0xCC007Fu);
  EXPECT_EQ(Rc.Status.back(), "Loaded 32 bpp bitmap (BITFIELDS)");
  IMAGE_Free(p);

  /* All-ones masks: the product must not wrap. */
  Masks.clear();
  for (int i = 0; i < 3; i++) Put32(Masks, 0xFFFFFFFF);
  Pixels.clear();
  Put32(Pixels, 0xFFFFFFFF);
  p = Decode(Header(1, 1, 32, 3) + Masks + Pixels);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 0xFFFFFFu);
  IMAGE_Free(p);
}

TEST(DibSuite, ThirtyTwoBitRGBDropsFourthByte) {
  ReportCatcher Rc;
  IMAGE* p = Decode(Header(1, 2, 32) + Bytes({1, 2, 3, 0xEE, 4, 5, 6, 0xEE}));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 1), 0x010203u);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 0x040506u);
  EXPECT_EQ(Rc.Status.back(), "Loaded 32 bpp bitmap (RGB)");
  IMAGE_Free(p);

  Rc.Clear();
  EXPECT_EQ(Decode(Header(1, 1, 32, 2) + Bytes({1, 2, 3, 4})), nullptr);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{
    "32 BPP bitmap - Unknown compression format (should be BI_RGB or BI_RLE8)"});
}

/*********************************************************************
*  Refused headers
*/
TEST(DibSuite, RefusedHeaders) {
  ReportCatcher Rc;
  EXPECT_EQ(Decode(Header(4, 4, 0)), nullptr);
  EXPECT_EQ(Decode(Header(4, 4, 2)), nullptr);
  EXPECT_EQ(Decode(Header(4, 4, 64)), nullptr);
  EXPECT_EQ(Decode(Header(4, 4, 8, 0, 0, 300) + std::string(2000, '\0')), nullptr);
  EXPECT_EQ(Decode(Header(4, 4, 8, 0, 0, 0x80000000u)), nullptr);
  EXPECT_EQ(Decode(Header(-4, 4, 24) + std::string(64, '\0')), nullptr);
  EXPECT_EQ(Decode(Header(4, INT32_MIN, 24)), nullptr);
  EXPECT_EQ(Decode(Header(3000000, 2000000, 24)), nullptr);
  ASSERT_EQ(Rc.Errors.size(), 8u);
  EXPECT_EQ(Rc.Errors[0], "BITMAPINFOHEADER: biBitCount = 0 (JPEG format) not supported. Please convert image !");
  EXPECT_EQ(Rc.Errors[1], "Error in BITMAPINFOHEADER: biBitCount should be 0, 1, 4, 8, 16, 24 or 32");
  EXPECT_EQ(Rc.Errors[2], Rc.Errors[1]);
  EXPECT_EQ(Rc.Errors[3], "Only palettes with up to 256 entries supported!");
  EXPECT_EQ(Rc.Errors[4], Rc.Errors[3]);
  EXPECT_EQ(Rc.Errors[5], "Image size -4 * 4 not supported");
  EXPECT_EQ(Rc.Errors[6], "Image size 4 * -2147483648 not supported");
  EXPECT_EQ(Rc.Errors[7], "Image size 3000000 * 2000000 not supported");
  EXPECT_TRUE(Rc.Status.empty());
}

/*********************************************************************
*  Blocks shorter than their header says
*/
TEST(DibSuite, ShortBlockKeepsWhatWasDecoded) {
  ReportCatcher Rc;
  /* 24 bits, 2 x 3, bottom-up: one and a half file rows present. */
  std::string Dib = Header(2, 3, 24) + Bytes({1, 1, 1, 2, 2, 2, 0, 0, 3, 3, 3, 4});
  IMAGE* p = Decode(Dib);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 2), 0x010101u);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 2), 0x020202u);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 1), 0x030303u);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 1), 0u);      /* incomplete pixel */
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 0u);
  EXPECT_EQ(Rc.Status.back(), "Loaded 24 bpp bitmap");
  IMAGE_Free(p);

  /* The colour table runs past the block: the missing entries are 0. */
  p = Decode(Header(1, 1, 8, 0, 0, 3) + Table({0x112233}) + Bytes({0x44, 0x55}));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetColor(p, 0), 0x112233u);
  EXPECT_EQ(IMAGE_GetColor(p, 1), 0x445500u);   /* red byte missing */
  EXPECT_EQ(IMAGE_GetColor(p, 2), 0u);
  IMAGE_Free(p);

  /* A block shorter than the header reads as zeros behind its end. */
  Rc.Clear();
  std::string Stub = Header(4, 4, 24).substr(0, 12);
  EXPECT_EQ(Decode(Stub), nullptr);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{
    "BITMAPINFOHEADER: biBitCount = 0 (JPEG format) not supported. Please convert image !"});

  /* Bitfield masks cut by the end of the block. */
  std::string Masks;
  Put32(Masks, 0xF800);
  p = Decode(Header(2, 2, 16, 3) + Masks + Bytes({0x00}));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 0u);
  IMAGE_Free(p);
}

TEST(DibSuite, MissingPartReadsAsZeroForRLE) {
  ReportCatcher Rc;
  /* RLE8, 4 rows; the stream stops after one row and the rest of
   * biSizeImage never arrived. Zero bytes are end-of-line codes, so
   * they walk up past the top row. */
  std::string Dib = Header(2, 4, 8, 1, 100, 2) + Table({0, 0xFFFFFF}) + Bytes({2, 1, 0, 0});
  EXPECT_EQ(IMAGE_CreateFromShortDIB((const U8*)Dib.data(), (U32)Dib.size(), 96), nullptr);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{"DecompressRLE8: Data after end of image"});

  /* Too few missing bytes to get there: the image loads. */
  Rc.Clear();
  IMAGE* p = IMAGE_CreateFromShortDIB((const U8*)Dib.data(), (U32)Dib.size(), 4);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 3), 1u);
  EXPECT_TRUE(Rc.Errors.empty());
  EXPECT_EQ(Rc.Status.back(), "Loaded compressed 8 bpp bitmap");
  IMAGE_Free(p);

  /* The same holds where not even the header is in memory. */
  Rc.Clear();
  EXPECT_EQ(IMAGE_CreateFromShortDIB((const U8*)Dib.data(), 0, 0xFFFFFFF0u), nullptr);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{
    "BITMAPINFOHEADER: biBitCount = 0 (JPEG format) not supported. Please convert image !"});
}

/*********************************************************************
*  The file loader
*/
TEST(LoaderSuite, WholeFileAndExtraBytes) {
  ReportCatcher Rc;
  IMAGE* pOrg = MakeTestImage(5, 3, 7);
  std::string File = MakeBMP(pOrg) + "trailing bytes behind bfSize";
  IMAGE* p = LoadBytes(File);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->NumColors, 7);
  for (int y = 0; y < 3; y++)
    for (int x = 0; x < 5; x++) EXPECT_EQ(IMAGE_GetPixel(p, x, y), IMAGE_GetPixel(pOrg, x, y));
  EXPECT_TRUE(Rc.Errors.empty());
  IMAGE_Free(p);
  IMAGE_Free(pOrg);
}

TEST(LoaderSuite, TruncatedFileReportsBothSizesAndLoads) {
  ReportCatcher Rc;
  std::string Dib = Header(2, 2, 24) + Bytes({1, 2, 3, 4, 5, 6, 0, 0});  /* bottom row only */
  IMAGE* p = LoadBytes(FileOf(Dib, 14 + (unsigned)Dib.size() + 8));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{
    "File truncated ... Expected a file length of 70, Read only 62 bytes."});
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 1), 0x040506u);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 0), 0u);
  IMAGE_Free(p);

  /* A bfSize of nearly 4 GiB on a small file takes no memory to match:
   * the same report, and the picture loads. */
  Rc.Clear();
  p = LoadBytes(FileOf(Dib, 0xFFFFFFF0u));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{
    "File truncated ... Expected a file length of -16, Read only 62 bytes."});
  IMAGE_Free(p);
}

TEST(LoaderSuite, LargeFileReadInFull) {
  ReportCatcher Rc;
  /* Larger than the first block the loader takes. */
  IMAGE* pOrg = MakeTestImage(300, 400, 0);
  IMAGE* p = LoadBytes(MakeBMP(pOrg));
  ASSERT_NE(p, nullptr);
  EXPECT_TRUE(Rc.Errors.empty());
  EXPECT_EQ(IMAGE_GetPixel(p, 299, 0), IMAGE_GetPixel(pOrg, 299, 0));
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 399), IMAGE_GetPixel(pOrg, 0, 399));
  IMAGE_Free(p);
  IMAGE_Free(pOrg);
}

TEST(LoaderSuite, HeaderFailures) {
  ReportCatcher Rc;
  EXPECT_EQ(LoadBytes(std::string("BM\x10\x00\x00\x00\x00\x00", 8)), nullptr);
  EXPECT_EQ(LoadBytes(std::string("BA") + std::string(60, '\0')), nullptr);
  EXPECT_EQ(Rc.Errors, (std::vector<std::string>{"File too short (truncated ?)", "Illegal file header !"}));

  /* bfSize of 14 or below: no block, no further message. */
  Rc.Clear();
  EXPECT_EQ(LoadBytes(FileOf(Header(1, 1, 24), 14)), nullptr);
  EXPECT_EQ(LoadBytes(FileOf(Header(1, 1, 24), 3)), nullptr);
  EXPECT_TRUE(Rc.Errors.empty());

  EXPECT_EQ(LoadBytes(FileOf(Header(1, 1, 24), 58), 3), nullptr);
  EXPECT_EQ(LoadBytes(FileOf(Header(1, 1, 24), 58), -1), nullptr);
  EXPECT_EQ(Rc.Errors, (std::vector<std::string>{"Unsupported file type", "Unsupported file type"}));
}
