/* The Windows Bitmap and "C" stream writers: headers and packed rows to
 * the byte, the depth chosen by the palette size, and Windows Bitmap files
 * read back by the program's own loader. */
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "input/loader.h"
#include "output/bmpout.h"
#include "platform/plat.h"
#include "testutil.h"

namespace {

enum { WRITE_BMP, WRITE_STREAM };

/* Runs one writer into a fresh file and gives the file's bytes. */
std::string Save(const IMAGE* pImage, int Writer, int* pResult = nullptr) {
  TempDir Dir;
  std::string sPath = Dir.File("out");
  PLAT_FILE* hFile = PLAT_CreateWrite(sPath.c_str());
  EXPECT_NE(hFile, nullptr);
  int r = (Writer == WRITE_BMP) ? IMAGE_SaveBMP(pImage, hFile) : IMAGE_SaveStream(pImage, hFile);
  PLAT_Close(hFile);
  if (pResult) {
    *pResult = r;
  }
  return ReadFileBytes(sPath);
}

unsigned Get16(const std::string& s, size_t Off) {
  return (unsigned char)s.at(Off) | (unsigned)(unsigned char)s.at(Off + 1) << 8;
}

unsigned Get32(const std::string& s, size_t Off) {
  return Get16(s, Off) | Get16(s, Off + 2) << 16;
}

unsigned Byte(const std::string& s, size_t Off) {
  return (unsigned char)s.at(Off);
}

/* An image of NumColors entries whose pixels are given row by row. */
IMAGE* MakeImage(int XSize, int YSize, int NumColors, const std::vector<unsigned>& aPixel) {
  IMAGE* pImage = IMAGE_Create(XSize, YSize, NumColors);
  for (int i = 0; i < NumColors; i++) {
    IMAGE_SetColor(pImage, i, 0x010203u * (unsigned)i + 0x100000u);
  }
  for (int y = 0; y < YSize; y++) {
    for (int x = 0; x < XSize; x++) {
      IMAGE_SetPixel(pImage, x, y, aPixel.at((size_t)(y * XSize + x)));
    }
  }
  return pImage;
}

/* Stream header fields */
struct STREAM_HEADER {
  unsigned Magic, Version, XSize, YSize, BytesPerLine, BitsPerPixel, NumColors, HasTrans;
};

STREAM_HEADER ReadStreamHeader(const std::string& s) {
  STREAM_HEADER h;
  unsigned* a = &h.Magic;
  for (int i = 0; i < 8; i++) {
    a[i] = Get16(s, 2 * (size_t)i);
  }
  return h;
}

}  // namespace

/*********************************************************************
*  C stream
*/
TEST(BmpOutStream, TwoColoursNineByOneToTheByte) {
  IMAGE* pImage = MakeImage(9, 1, 2, std::vector<unsigned>(9, 1));
  IMAGE_SetColor(pImage, 0, 0x000000);
  IMAGE_SetColor(pImage, 1, 0xFFFFFF);
  int r = -1;
  std::string s = Save(pImage, WRITE_STREAM, &r);
  const unsigned char aExpected[] = {
    0x42, 0x4D, 100, 0, 9, 0, 1, 0, 2, 0, 1, 0, 2, 0, 0, 0,
    0, 0, 0, 0,
    0xFF, 0xFF, 0xFF, 0,
    0xFF, 0x80,
  };
  EXPECT_EQ(s, std::string((const char*)aExpected, sizeof(aExpected)));
  EXPECT_EQ(r, 0);
  IMAGE_Free(pImage);
}

TEST(BmpOutStream, PaletteEntriesAreRedGreenBlueReserved) {
  IMAGE* pImage = MakeImage(1, 1, 2, {0});
  IMAGE_SetColor(pImage, 0, 0x112233);     /* blue 0x11, green 0x22, red 0x33 */
  IMAGE_SetColor(pImage, 1, 0xAA445566);   /* a reserved byte that isn't 0 goes too */
  std::string s = Save(pImage, WRITE_STREAM);
  ASSERT_EQ(s.size(), 16u + 8u + 1u);
  EXPECT_EQ(s.substr(16, 8), std::string("\x33\x22\x11\x00\x66\x55\x44\xAA", 8));
  IMAGE_Free(pImage);
}

TEST(BmpOutStream, ThreeColoursPackFourPixelsToTheByte) {
  /* Two rows, so that the order of the rows shows: top row first. */
  IMAGE* pImage = MakeImage(5, 2, 3, {1, 2, 0, 2, 1,
                                      2, 2, 2, 2, 2});
  std::string s = Save(pImage, WRITE_STREAM);
  STREAM_HEADER h = ReadStreamHeader(s);
  EXPECT_EQ(h.BitsPerPixel, 2u);
  EXPECT_EQ(h.BytesPerLine, 2u);
  EXPECT_EQ(h.NumColors, 3u);
  ASSERT_EQ(s.size(), 16u + 12u + 4u);
  /* 01 10 00 10, 01 000000 / 10 10 10 10, 10 000000 */
  EXPECT_EQ(Byte(s, 28), 0x62u);
  EXPECT_EQ(Byte(s, 29), 0x40u);
  EXPECT_EQ(Byte(s, 30), 0xAAu);
  EXPECT_EQ(Byte(s, 31), 0x80u);
  /* The same image in a Windows Bitmap has no 2-bit depth: 4 bits. */
  std::string b = Save(pImage, WRITE_BMP);
  EXPECT_EQ(Get16(b, 28), 4u);
  IMAGE_Free(pImage);
}

TEST(BmpOutStream, SixteenColoursOddWidthClearsTheLastLowNibble) {
  IMAGE* pImage = MakeImage(3, 2, 16, {0xA, 0xB, 0xC,
                                       0x1, 0x2, 0xF});
  std::string s = Save(pImage, WRITE_STREAM);
  STREAM_HEADER h = ReadStreamHeader(s);
  EXPECT_EQ(h.BitsPerPixel, 4u);
  EXPECT_EQ(h.BytesPerLine, 2u);
  size_t Off = 16 + 64;
  ASSERT_EQ(s.size(), Off + 4);
  EXPECT_EQ(s.substr(Off), std::string("\xAB\xC0\x12\xF0", 4));
  IMAGE_Free(pImage);
}

TEST(BmpOutStream, FiveToSixteenColoursUseFourBits) {
  for (int NumColors : {5, 16}) {
    IMAGE* pImage = MakeImage(2, 1, NumColors, {4, 3});
    std::string s = Save(pImage, WRITE_STREAM);
    EXPECT_EQ(ReadStreamHeader(s).BitsPerPixel, 4u) << NumColors;
    EXPECT_EQ(Byte(s, s.size() - 1), 0x43u) << NumColors;
    IMAGE_Free(pImage);
  }
  for (int NumColors : {4, 17}) {
    IMAGE* pImage = MakeImage(2, 1, NumColors, {3, 1});
    std::string s = Save(pImage, WRITE_STREAM);
    EXPECT_EQ(ReadStreamHeader(s).BitsPerPixel, NumColors == 4 ? 2u : 8u) << NumColors;
    IMAGE_Free(pImage);
  }
}

TEST(BmpOutStream, TwoHundredFiftySixColoursHaveNoRowPadding) {
  std::vector<unsigned> aPixel;
  for (unsigned i = 0; i < 10; i++) {
    aPixel.push_back(i * 25 + 3);
  }
  IMAGE* pImage = MakeImage(5, 2, 256, aPixel);
  std::string s = Save(pImage, WRITE_STREAM);
  STREAM_HEADER h = ReadStreamHeader(s);
  EXPECT_EQ(h.Magic, 0x4D42u);
  EXPECT_EQ(h.Version, 100u);
  EXPECT_EQ(h.XSize, 5u);
  EXPECT_EQ(h.YSize, 2u);
  EXPECT_EQ(h.BitsPerPixel, 8u);
  EXPECT_EQ(h.BytesPerLine, 5u);
  EXPECT_EQ(h.NumColors, 256u);
  EXPECT_EQ(h.HasTrans, 0u);
  ASSERT_EQ(s.size(), 16u + 1024u + 10u);
  for (size_t i = 0; i < 10; i++) {
    EXPECT_EQ(Byte(s, 16 + 1024 + i), aPixel[i]) << i;
  }
  /* In a Windows Bitmap the rows are padded to 8 bytes. */
  std::string b = Save(pImage, WRITE_BMP);
  EXPECT_EQ(b.size(), 14u + 40u + 1024u + 2u * 8u);
  IMAGE_Free(pImage);
}

TEST(BmpOutStream, HasTransShowsInTheStreamOnly) {
  IMAGE* pImage = MakeImage(4, 3, 7, std::vector<unsigned>(12, 5));
  std::string BmpBefore = Save(pImage, WRITE_BMP);
  pImage->HasTrans = 1;
  std::string s = Save(pImage, WRITE_STREAM);
  EXPECT_EQ(Byte(s, 14), 1u);
  EXPECT_EQ(Byte(s, 15), 0u);
  EXPECT_EQ(Save(pImage, WRITE_BMP), BmpBefore);
  IMAGE_Free(pImage);
}

TEST(BmpOutStream, SizesKeepTheirLowSixteenBits) {
  IMAGE* pImage = MakeImage(70000, 1, 2, std::vector<unsigned>(70000, 0));
  std::string s = Save(pImage, WRITE_STREAM);
  STREAM_HEADER h = ReadStreamHeader(s);
  EXPECT_EQ(h.XSize, 70000u & 0xFFFF);
  EXPECT_EQ(h.BytesPerLine, 8750u);
  EXPECT_EQ(s.size(), 16u + 8u + 8750u);
  IMAGE_Free(pImage);
}

TEST(BmpOutStream, TrueColourIsRefusedAndWritesNothing) {
  IMAGE* pImage = MakeTestImage(3, 3, 0);
  ReportCatcher Catcher;
  int r = 0;
  std::string s = Save(pImage, WRITE_STREAM, &r);
  EXPECT_EQ(r, 1);
  EXPECT_EQ(s, "");
  EXPECT_TRUE(Catcher.Errors.empty());
  IMAGE_Free(pImage);
}

/*********************************************************************
*  Windows Bitmap
*/
TEST(BmpOutBMP, TrueColourHeaderAndRows) {
  /* Width 3: rows of 9 bytes padded to 12, bottom row first. */
  IMAGE* pImage = IMAGE_Create(3, 2, 0);
  IMAGE_SetPixel(pImage, 0, 0, 0x0000FF);   /* red, top left */
  IMAGE_SetPixel(pImage, 2, 1, 0x112233);   /* bottom right */
  int r = -1;
  std::string b = Save(pImage, WRITE_BMP, &r);
  EXPECT_EQ(r, 0);
  ASSERT_EQ(b.size(), 14u + 40u + 24u);
  EXPECT_EQ(b.substr(0, 2), "BM");
  EXPECT_EQ(Get32(b, 2), 78u);               /* bfSize */
  EXPECT_EQ(Get32(b, 6), 0u);                /* bfReserved1, bfReserved2 */
  EXPECT_EQ(Get32(b, 10), 54u);              /* bfOffBits */
  EXPECT_EQ(Get32(b, 14), 40u);              /* biSize */
  EXPECT_EQ(Get32(b, 18), 3u);
  EXPECT_EQ(Get32(b, 22), 2u);
  EXPECT_EQ(Get16(b, 26), 1u);               /* biPlanes */
  EXPECT_EQ(Get16(b, 28), 24u);              /* biBitCount */
  EXPECT_EQ(Get32(b, 30), 0u);               /* BI_RGB */
  EXPECT_EQ(Get32(b, 46), 0u);               /* biClrUsed */
  std::string Bottom("\0\0\0\0\0\0\x11\x22\x33\0\0\0", 12);
  std::string Top("\0\0\xFF\0\0\0\0\0\0\0\0\0", 12);
  EXPECT_EQ(b.substr(54), Bottom + Top);
  IMAGE_Free(pImage);
}

TEST(BmpOutBMP, TwoColoursAreOneBitBehindAnEightByteTable) {
  IMAGE* pImage = MakeImage(9, 1, 2, std::vector<unsigned>(9, 1));
  IMAGE_SetColor(pImage, 1, 0x112233);
  std::string b = Save(pImage, WRITE_BMP);
  ASSERT_EQ(b.size(), 14u + 40u + 8u + 4u);
  EXPECT_EQ(Get32(b, 2), (unsigned)b.size());
  EXPECT_EQ(Get32(b, 10), 62u);
  EXPECT_EQ(Get16(b, 28), 1u);
  EXPECT_EQ(Get32(b, 46), 2u);
  EXPECT_EQ(b.substr(58, 4), std::string("\x11\x22\x33\0", 4));
  /* Row padding is zero even though the writer of the block skips it. */
  EXPECT_EQ(b.substr(62), std::string("\xFF\x80\0\0", 4));
  IMAGE_Free(pImage);
}

TEST(BmpOutBMP, OffsetAndSizeFollowThePalette) {
  for (int NumColors : {1, 3, 16, 17, 256}) {
    IMAGE* pImage = MakeTestImage(5, 3, NumColors);
    std::string b = Save(pImage, WRITE_BMP);
    unsigned Bits = NumColors <= 2 ? 1 : NumColors <= 16 ? 4 : 8;
    unsigned Stride = (5 * Bits + 31) / 32 * 4;
    EXPECT_EQ(Get32(b, 10), 54u + 4u * (unsigned)NumColors) << NumColors;
    EXPECT_EQ(Get16(b, 28), Bits) << NumColors;
    EXPECT_EQ(b.size(), 54u + 4u * (unsigned)NumColors + 3u * Stride) << NumColors;
    EXPECT_EQ(Get32(b, 2), (unsigned)b.size()) << NumColors;
    IMAGE_Free(pImage);
  }
}

/* Written by IMAGE_SaveBMP, read by the program's own loader: the same
 * picture comes back at every depth the writer produces. */
TEST(BmpOutBMP, RoundTripThroughTheLoader) {
  std::mt19937 Random(7);
  for (int NumColors : {2, 3, 16, 200, 256, 0}) {
    const int XSize = 13, YSize = 7;
    IMAGE* pImage = IMAGE_Create(XSize, YSize, NumColors);
    for (int i = 0; i < NumColors; i++) {
      IMAGE_SetColor(pImage, i, Random() & 0xFFFFFF);
    }
    for (int y = 0; y < YSize; y++) {
      for (int x = 0; x < XSize; x++) {
        unsigned v = NumColors ? Random() % (unsigned)NumColors : Random() & 0xFFFFFF;
        IMAGE_SetPixel(pImage, x, y, v);
      }
    }
    TempDir Dir;
    std::string sPath = Dir.File("round.bmp");
    PLAT_FILE* hFile = PLAT_CreateWrite(sPath.c_str());
    ASSERT_EQ(IMAGE_SaveBMP(pImage, hFile), 0);
    PLAT_Close(hFile);
    ReportCatcher Catcher;
    hFile = PLAT_OpenRead(sPath.c_str(), nullptr);
    ASSERT_NE(hFile, nullptr);
    IMAGE* pLoaded = IMAGE_LoadFile(hFile, 0);
    PLAT_Close(hFile);
    ASSERT_NE(pLoaded, nullptr) << NumColors << (Catcher.Errors.empty() ? "" : ": " + Catcher.Errors[0]);
    EXPECT_TRUE(Catcher.Errors.empty()) << Catcher.Errors[0];
    EXPECT_EQ(pLoaded->XSize, XSize);
    EXPECT_EQ(pLoaded->YSize, YSize);
    EXPECT_EQ(pLoaded->NumColors, NumColors);
    if (pLoaded->NumColors == NumColors) {
      for (int i = 0; i < NumColors; i++) {
        EXPECT_EQ(IMAGE_GetColor(pLoaded, i), IMAGE_GetColor(pImage, i)) << NumColors << " entry " << i;
      }
    }
    int NumWrong = 0;
    for (int y = 0; y < YSize; y++) {
      for (int x = 0; x < XSize; x++) {
        if (IMAGE_GetPixel(pLoaded, x, y) != IMAGE_GetPixel(pImage, x, y) && NumWrong++ < 3) {
          ADD_FAILURE() << NumColors << " colours: pixel " << x << "," << y;
        }
      }
    }
    IMAGE_Free(pLoaded);
    IMAGE_Free(pImage);
  }
}
