/* Run-length input: RLE4 and RLE8 pixel data, and .sbmp files. */
#include <gtest/gtest.h>

#include <string>

#include "input/dib.h"
#include "input/loader.h"
#include "input/rle.h"
#include "testutil.h"

namespace {

std::string Bytes(std::initializer_list<int> a) {
  std::string s;
  for (int v : a) s += (char)v;
  return s;
}

const long long kStreamSize = -(1LL << 40);

/* A packed DIB with a grey ramp palette and the given RLE stream;
 * biSizeImage is the stream's length unless given. */
std::string RleDib(int Width, int Height, int BitCount, const std::string& Stream,
                   long long SizeImage = kStreamSize) {
  std::string s;
  Put32(s, 40);
  Put32(s, (unsigned)Width);
  Put32(s, (unsigned)Height);
  Put16(s, 1);
  Put16(s, (unsigned)BitCount);
  Put32(s, BitCount == 4 ? 2 : 1);
  Put32(s, (unsigned)(SizeImage == kStreamSize ? (long long)Stream.size() : SizeImage));
  Put32(s, 0);
  Put32(s, 0);
  Put32(s, 16);
  Put32(s, 0);
  for (int i = 0; i < 16; i++) Put32(s, (unsigned)i * 0x111111);
  return s + Stream;
}

IMAGE* Decode(const std::string& Dib) {
  return IMAGE_CreateFromDIB((const U8*)Dib.data(), (U32)Dib.size());
}

/* Rows of an image as text, top row first, one hex digit per pixel. */
std::string Rows(const IMAGE* p) {
  std::string s;
  for (int y = 0; y < p->YSize; y++) {
    if (y) s += '/';
    for (int x = 0; x < p->XSize; x++) s += "0123456789ABCDEF"[IMAGE_GetPixel(p, x, y) & 15];
  }
  return s;
}

std::string SbmpHeader(unsigned XSize, unsigned YSize, unsigned NumColors) {
  std::string s = "SB";
  Put16(s, XSize);
  Put16(s, YSize);
  Put16(s, NumColors);
  return s;
}

std::string Record(unsigned Length, unsigned Index) {
  std::string s;
  Put16(s, Length);
  s += (char)Index;
  return s;
}

IMAGE* LoadSbmp(const std::string& Data) {
  return SBMP_LoadFromMemory((const U8*)Data.data(), (U32)Data.size());
}

}  // namespace

/*********************************************************************
*  RLE8 and RLE4
*/
TEST(RleSuite, Rle8Codes) {
  ReportCatcher Rc;
  std::string Stream = Bytes({
    3, 1,                 /* bottom row: 1 1 1 */
    0, 3, 4, 5, 6, 0,     /* absolute, odd count padded: 4 5 6 */
    0, 0,                 /* end of line */
    0, 2, 2, 1,           /* delta: two right, one up */
    2, 7,                 /* top row from x 2 */
    0, 1,                 /* end of bitmap */
    9, 9});               /* never read */
  IMAGE* p = Decode(RleDib(6, 3, 8, Stream));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rows(p), "007700/000000/111456");
  EXPECT_TRUE(Rc.Errors.empty());
  EXPECT_EQ(Rc.Status, std::vector<std::string>{"Loaded compressed 8 bpp bitmap"});
  IMAGE_Free(p);
}

TEST(RleSuite, Rle4Codes) {
  ReportCatcher Rc;
  std::string Stream = Bytes({
    5, 0x12,              /* 1 2 1 2 1 */
    0, 3, 0x34, 0x50,     /* absolute 3: two bytes, no padding */
    0, 0,
    0, 5, 0xAB, 0xCD, 0xE0, 0,  /* absolute 5: three bytes and a pad */
    1, 0xF0,
    0, 1});
  IMAGE* p = Decode(RleDib(8, 2, 4, Stream));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rows(p), "ABCDEF00/12121345");
  EXPECT_EQ(Rc.Status, std::vector<std::string>{"Loaded compressed 4 bpp bitmap."});
  IMAGE_Free(p);
}

TEST(RleSuite, EndOfLineOnTopRow) {
  ReportCatcher Rc;
  std::string Stream = Bytes({2, 1, 0, 0, 2, 2, 0, 0, 0, 1});
  IMAGE* p = Decode(RleDib(2, 2, 4, Stream));
  ASSERT_NE(p, nullptr);                  /* RLE4: ends with success */
  EXPECT_EQ(Rows(p), "02/01");
  EXPECT_EQ(Rc.Status.back(), "Loaded compressed 4 bpp bitmap.");
  IMAGE_Free(p);

  /* RLE8 too, since end of bitmap follows; anything else there is data
   * after the end of the image. */
  Rc.Clear();
  p = Decode(RleDib(2, 2, 8, Stream));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rows(p), "22/11");
  IMAGE_Free(p);
  Rc.Clear();
  Stream[9] = 0;
  EXPECT_EQ(Decode(RleDib(2, 2, 8, Stream)), nullptr);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{"DecompressRLE8: Data after end of image"});
  EXPECT_TRUE(Rc.Status.empty());
}

TEST(RleSuite, NumPixelBytesZeroOrNegative) {
  ReportCatcher Rc;
  std::string Stream = Bytes({2, 3, 0, 1});
  IMAGE* p = Decode(RleDib(2, 1, 8, Stream, 0));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rows(p), "33");
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{
    "Illegal file format: 8 BPP, RLE8, NumPixelBytes == 0. Converting anyhow."});
  EXPECT_EQ(Rc.Status.back(), "Loaded compressed 8 bpp bitmap");
  IMAGE_Free(p);

  Rc.Clear();
  p = Decode(RleDib(2, 1, 4, Bytes({2, 0x45, 0, 1}), 0));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rows(p), "45");
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{
    "Illegal file format: 4 BPP, RLE4, NumPixelBytes == 0. Converting anyhow."});
  IMAGE_Free(p);

  Rc.Clear();
  EXPECT_EQ(Decode(RleDib(2, 1, 8, Stream, -1)), nullptr);
  EXPECT_EQ(Decode(RleDib(2, 1, 4, Stream, -5)), nullptr);
  EXPECT_EQ(Rc.Errors, (std::vector<std::string>{
    "Can not decompress RLE8: File invalid: NumPixelBytes < 0",
    "Can not decompress RLE4: File invalid: NumPixelBytes < 0"}));
}

TEST(RleSuite, PixelsOutsideAreDropped) {
  ReportCatcher Rc;
  /* A run past the right edge leaves the next row alone; an absolute run
   * too. Then a delta takes y above the top row: nothing more is written
   * and the stream ends without error at its end-of-bitmap code. */
  std::string Stream = Bytes({6, 1, 0, 0, 0, 4, 2, 3, 4, 5, 0, 2, 0, 9, 5, 7, 0, 4, 1, 1, 1, 1, 0, 1});
  IMAGE* p = Decode(RleDib(3, 3, 8, Stream));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rows(p), "000/234/111");
  EXPECT_TRUE(Rc.Errors.empty());
  IMAGE_Free(p);

  /* An end of line up there is the RLE8 error. */
  Rc.Clear();
  EXPECT_EQ(Decode(RleDib(3, 3, 8, Bytes({0, 2, 0, 200, 0, 0}))), nullptr);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{"DecompressRLE8: Data after end of image"});
}

TEST(RleSuite, TopDownHeightStillStartsAtBottom) {
  ReportCatcher Rc;
  IMAGE* p = Decode(RleDib(2, -2, 8, Bytes({2, 5, 0, 1})));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rows(p), "00/55");
  IMAGE_Free(p);
}

TEST(RleSuite, StreamEndsBeforeItsMark) {
  ReportCatcher Rc;
  /* biSizeImage promises 1000 bytes; the block ends inside an absolute
   * run: its pixels that are there are kept, and the load succeeds. */
  IMAGE* p = Decode(RleDib(5, 1, 8, Bytes({1, 9, 0, 5, 1, 2}), 1000));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rows(p), "91200");
  EXPECT_EQ(Rc.Status.back(), "Loaded compressed 8 bpp bitmap");
  IMAGE_Free(p);

  /* biSizeImage shorter than the stream: decoding stops at it. */
  p = Decode(RleDib(4, 1, 4, Bytes({2, 0x11, 2, 0x22, 0, 1}), 2));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rows(p), "1100");
  IMAGE_Free(p);

  /* Direct call with a delta cut after its code. */
  IMAGE* pImage = IMAGE_Create(2, 2, 16);
  U8 aData[] = {1, 3, 0, 2, 1};
  EXPECT_EQ(DecompressRLE8(pImage, aData, 100, sizeof(aData)), nullptr);
  EXPECT_EQ(Rows(pImage), "00/30");
  IMAGE_Free(pImage);
}

/*********************************************************************
*  .sbmp
*/
TEST(SbmpSuite, PaletteRunsAcrossRows) {
  ReportCatcher Rc;
  std::string Data = SbmpHeader(3, 2, 2) + Bytes({0x11, 0x22, 0x33, 0xAA, 0xBB, 0xCC})
                   + Record(2, 1) + Record(0, 0) + Record(3, 0) + Record(1, 1);
  IMAGE* p = LoadSbmp(Data);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->NumColors, 2);
  EXPECT_EQ(IMAGE_GetColor(p, 0), 0x332211u);
  EXPECT_EQ(IMAGE_GetColor(p, 1), 0xCCBBAAu);
  EXPECT_EQ(Rows(p), "110/001");
  EXPECT_TRUE(Rc.Errors.empty());
  EXPECT_TRUE(Rc.Status.empty());
  IMAGE_Free(p);
}

TEST(SbmpSuite, TrueColourAndOvershoot) {
  ReportCatcher Rc;
  std::string Data = SbmpHeader(2, 2, 0);
  Put16(Data, 3);
  Data += Bytes({0x10, 0x20, 0x30});
  Put16(Data, 9);                      /* overshoots the last pixel */
  Data += Bytes({0x40, 0x50, 0x60});
  Data += "garbage that is never read";
  IMAGE* p = LoadSbmp(Data);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->NumColors, 0);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 0), 0x302010u);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 1), 0x302010u);
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 1), 0x605040u);
  EXPECT_TRUE(Rc.Errors.empty());
  IMAGE_Free(p);
}

TEST(SbmpSuite, ShortAndBadFiles) {
  ReportCatcher Rc;
  EXPECT_EQ(LoadSbmp(std::string("SB\x01\x00\x01\x00\x00", 7)), nullptr);
  EXPECT_EQ(LoadSbmp(std::string("BS\x01\x00\x01\x00\x00\x00", 8)), nullptr);
  EXPECT_EQ(LoadSbmp(SbmpHeader(1, 1, 3) + Bytes({1, 2, 3, 4, 5, 6, 7, 8})), nullptr);
  EXPECT_EQ(LoadSbmp(SbmpHeader(1, 1, 300) + std::string(900, '\0')), nullptr);
  EXPECT_EQ(Rc.Errors, (std::vector<std::string>{
    "File too short (Incomplete header)",
    "Illegal file header !",
    "File too short (Incomplete or missing color table)",
    "Only palettes with up to 256 entries supported!"}));
}

TEST(SbmpSuite, EmptyAndPartialImages) {
  ReportCatcher Rc;
  IMAGE* p = LoadSbmp(SbmpHeader(0, 5, 1) + Bytes({1, 2, 3}));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->XSize, 0);
  EXPECT_TRUE(Rc.Errors.empty());
  IMAGE_Free(p);

  /* The records end inside the second one: what came is kept. */
  p = LoadSbmp(SbmpHeader(4, 1, 16) + std::string(48, '\0') + Record(2, 7) + Bytes({2, 0}));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rows(p), "7700");
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{"File too short (Missing data)"});
  IMAGE_Free(p);
}

TEST(SbmpSuite, FileSizeLimitAndLoaderType) {
  ReportCatcher Rc;
  TempDir Dir;
  std::string Data = SbmpHeader(2, 1, 1) + Bytes({9, 9, 9}) + Record(2, 0);
  std::string sPath = Dir.File("a.sbmp");

  Data.resize(8000000, '\x55');        /* the limit itself passes */
  WriteFileBytes(sPath, Data);
  PLAT_FILE* hFile = PLAT_OpenRead(sPath.c_str(), nullptr);
  IMAGE* p = IMAGE_LoadFile(hFile, 1);
  PLAT_Close(hFile);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetColor(p, 0), 0x090909u);
  EXPECT_TRUE(Rc.Errors.empty());
  IMAGE_Free(p);

  Data += 'x';
  WriteFileBytes(sPath, Data);
  hFile = PLAT_OpenRead(sPath.c_str(), nullptr);
  EXPECT_EQ(SBMP_Load(hFile), nullptr);
  PLAT_Close(hFile);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{"File too long"});
}
