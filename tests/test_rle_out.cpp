/* The run-length coded C source (formats 6, 7, 10, 11): fixed examples to
 * the byte, the descriptor, a plain encoder that follows the coding rules
 * step by step (rescanning as it goes) against the writer on many
 * pictures, and the hand-over of the other file types. */
#include <gtest/gtest.h>

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "output/bmpout.h"
#include "output/save.h"
#include "platform/plat.h"
#include "testutil.h"

namespace {

/* One folder for all the files of a test. */
struct Saver {
  TempDir Dir;
  std::string Save(IMAGE* pImage, int Format, const std::string& sName = "rle.c", int Type = 1,
                   IMAGE** ppResult = nullptr) {
    std::string sPath = Dir.File("out");
    PLAT_FILE* hFile = PLAT_CreateWrite(sPath.c_str());
    SAVEFORMAT Choice = { Format, 0 };
    IMAGE* pResult = IMAGE_SaveFile(pImage, hFile, Type, sName.c_str(), &Choice);
    if (ppResult) {
      *ppResult = pResult;
    } else {
      EXPECT_EQ(pResult, pImage);
    }
    PLAT_Close(hFile);
    return ReadFileBytes(sPath);
  }
};

/* The array contents: from behind the array head to the descriptor. */
std::string ArrayOf(const std::string& sFile) {
  size_t Head = sFile.find("\r\nstatic OMRAK_CONST_STORAGE unsigned char ac");
  size_t End  = sFile.find("\r\n\r\nOMRAK_CONST_STORAGE OMRAK_BITMAP");
  if (Head == std::string::npos || End == std::string::npos) return "<no array>";
  size_t Start = sFile.find("[] = {\r\n", Head) + 8;
  return sFile.substr(Start, End - Start);
}

IMAGE* MakeImage(int XSize, int YSize, int NumColors, const std::vector<unsigned>& aPixel) {
  IMAGE* pImage = IMAGE_Create(XSize, YSize, NumColors);
  for (int i = 0; i < NumColors; i++) IMAGE_SetColor(pImage, i, (unsigned)i * 0x030507u);
  for (int i = 0; i < XSize * YSize && i < (int)aPixel.size(); i++) {
    IMAGE_SetPixel(pImage, i % XSize, i / XSize, aPixel[(size_t)i]);
  }
  return pImage;
}

std::string Repeat(const std::string& s, int n) {
  std::string r;
  while (n-- > 0) r += s;
  return r;
}

/*********************************************************************
*  The plain encoder: the coding rules taken literally, with printf.
*  Bits is 4, 8 or 16.
*/
struct PlainEncoder {
  const IMAGE* pImage;
  int          Bits;
  int          Swapped;
  unsigned     NumPixels;
  std::string  Out;
  size_t       LineLength = 0;

  void Text(const std::string& s) {
    if (LineLength + s.size() > 254) {
      Out += "\r\n        ";
      LineLength = 8;
    }
    Out += s;
    LineLength += s.size();
  }
  static std::string F(const char* sFormat, ...) {
    char ac[256];
    va_list Args;
    va_start(Args, sFormat);
    vsnprintf(ac, sizeof(ac), sFormat, Args);
    va_end(Args);
    return ac;
  }
  unsigned PixelAt(unsigned i) const {
    return IMAGE_GetPixel(pImage, (I32)(i % (unsigned)pImage->XSize), (I32)(i / (unsigned)pImage->XSize));
  }
  unsigned ValueAt(unsigned i) const {
    unsigned c = IMAGE_GetPixelColor(pImage, (I32)(i % (unsigned)pImage->XSize), (I32)(i / (unsigned)pImage->XSize));
    unsigned r = (c >> 3) & 0x1F, g = (c >> 10) & 0x3F, b = (c >> 19) & 0x1F;
    return Swapped ? (r << 11 | g << 5 | b) : (b << 11 | g << 5 | r);
  }
  unsigned RunLength(unsigned i) const {
    unsigned n = 1;
    while (i + n < NumPixels && PixelAt(i + n) == PixelAt(i)) n++;
    return n;
  }
  unsigned AbsLength(unsigned i) const {
    unsigned Count = 0;
    for (unsigned p = i; p < NumPixels; p++) {
      if (RunLength(p) > 3 || Count == 255) break;
      Count++;
    }
    return Count;
  }
  unsigned WriteRun(unsigned i, unsigned n) {
    unsigned y = i / (unsigned)pImage->XSize, x = i - y * (unsigned)pImage->XSize;
    LineLength = 0;
    Text("  ");
    Text(F("/* RLE: %.3d Pixels @ %.3d,%.3d*/ ", (int)n, (int)x, (int)y));
    unsigned Done = 0, Result = 0;
    while (Done < n) {
      unsigned Count = n - Done >= 255 ? 254 : n - Done;
      Done += Count;
      if (Bits == 16) {
        Text(F("%d, 0x%.2X, 0x%.2X, ", (int)Count, ValueAt(i) & 0xFF, ValueAt(i) >> 8));
      } else {
        Text(F("%d, 0x%.2X, ", (int)Count, PixelAt(i)));
      }
      Result += 2;
    }
    Text("\r\n");
    return Result;
  }
  unsigned WriteAbs(unsigned i, unsigned n) {
    unsigned y = i / (unsigned)pImage->XSize, x = i - y * (unsigned)pImage->XSize;
    unsigned Result = n + 2;
    LineLength = 0;
    Text(F("  /* ABS: %.3d Pixels @ %.3d,%.3d*/ ", (int)n, (int)x, (int)y));
    Text(F("0, %d, ", (int)n));
    if (Bits == 16) {
      for (unsigned k = 0; k < n; k++) Text(F("0x%.2X, 0x%.2X, ", ValueAt(i + k) & 0xFF, ValueAt(i + k) >> 8));
    } else if (Bits == 8) {
      for (unsigned k = 0; k < n; k++) Text(F("0x%.2X, ", PixelAt(i + k)));
    } else {
      for (unsigned k = 0; k < n; k += 2) {
        unsigned v = PixelAt(i + k) << 4;
        if (k + 1 < n) v |= PixelAt(i + k + 1);
        Text(F("0x%.2X, ", v));
      }
      Result = (n + 1) / 2 + 2;
    }
    Text("\r\n");
    return Result;
  }
  std::string Encode() {
    NumPixels = (unsigned)(pImage->XSize * pImage->YSize);
    unsigned Total = 0;
    for (unsigned i = 0; i < NumPixels;) {
      unsigned n = RunLength(i);
      if (n > 2) {
        Total += WriteRun(i, n);
      } else {
        n = AbsLength(i);
        Total += (n == 1) ? WriteRun(i, 1) : WriteAbs(i, n);
      }
      i += n;
    }
    Text(F("\r\n\r\n  0};  /* %d for %d pixels */", (int)Total, (int)NumPixels));
    return Out;
  }
};

std::string PlainStream(const IMAGE* pImage, int Format) {
  PlainEncoder e{ pImage, Format == 6 ? 4 : Format == 7 ? 8 : 16, Format == 11, 0, "" };
  return e.Encode();
}

const char* const sClose = "\r\n\r\n  0};  /* ";

}  // namespace

/*********************************************************************
*  Fixed examples
*/
TEST(RleOutExamples, SixteenColoursEightByTwo) {
  ReportCatcher Catcher;
  Saver s;
  IMAGE* pImage = MakeImage(8, 2, 16, { 1, 1, 1, 1, 2, 3, 3, 4,  5, 5, 5, 5, 5, 6, 7, 7 });
  EXPECT_EQ(ArrayOf(s.Save(pImage, 6)),
    "  /* RLE: 004 Pixels @ 000,000*/ 4, 0x01, \r\n"
    "  /* ABS: 004 Pixels @ 004,000*/ 0, 4, 0x23, 0x34, \r\n"
    "  /* RLE: 005 Pixels @ 000,001*/ 5, 0x05, \r\n"
    "  /* ABS: 003 Pixels @ 005,001*/ 0, 3, 0x67, 0x70, \r\n"
    "\r\n\r\n  0};  /* 12 for 16 pixels */");
  EXPECT_EQ(ArrayOf(s.Save(pImage, 7)),
    "  /* RLE: 004 Pixels @ 000,000*/ 4, 0x01, \r\n"
    "  /* ABS: 004 Pixels @ 004,000*/ 0, 4, 0x02, 0x03, 0x03, 0x04, \r\n"
    "  /* RLE: 005 Pixels @ 000,001*/ 5, 0x05, \r\n"
    "  /* ABS: 003 Pixels @ 005,001*/ 0, 3, 0x06, 0x07, 0x07, \r\n"
    "\r\n\r\n  0};  /* 15 for 16 pixels */");
  /* Transparency changes nothing in the stream */
  pImage->HasTrans = 1;
  EXPECT_NE(s.Save(pImage, 6).find("0, 4, 0x23, 0x34, \r\n"), std::string::npos);
  EXPECT_TRUE(Catcher.Errors.empty());
  IMAGE_Free(pImage);
}

TEST(RleOutExamples, OneColourHundredByHundred) {
  ReportCatcher Catcher;
  Saver s;
  IMAGE* pImage = MakeImage(100, 100, 2, {});
  /* 35 characters of comment, 19 chunks of 11 on the first line, 20 and
   * the short chunk on the wrapped one; the closing text no longer fits
   * behind the line break and wraps too. */
  EXPECT_EQ(ArrayOf(s.Save(pImage, 7)),
    "  /* RLE: 10000 Pixels @ 000,000*/ " + Repeat("254, 0x00, ", 19) +
    "\r\n        " + Repeat("254, 0x00, ", 20) + "94, 0x00, \r\n"
    "\r\n        \r\n\r\n  0};  /* 80 for 10000 pixels */");
  IMAGE_Free(pImage);
}

TEST(RleOutExamples, SixteenBitValues) {
  ReportCatcher Catcher;
  Saver s;
  IMAGE* pImage = IMAGE_Create(1, 1, 0);
  IMAGE_SetPixel(pImage, 0, 0, 0x0000FF);
  EXPECT_EQ(ArrayOf(s.Save(pImage, 10)),
    "  /* RLE: 001 Pixels @ 000,000*/ 1, 0x1F, 0x00, \r\n\r\n\r\n  0};  /* 2 for 1 pixels */");
  EXPECT_EQ(ArrayOf(s.Save(pImage, 11)),
    "  /* RLE: 001 Pixels @ 000,000*/ 1, 0x00, 0xF8, \r\n\r\n\r\n  0};  /* 2 for 1 pixels */");
  IMAGE_Free(pImage);
  /* Equal text, different stored colour: no run */
  pImage = IMAGE_Create(2, 1, 0);
  IMAGE_SetPixel(pImage, 1, 0, 0x000001);
  EXPECT_EQ(ArrayOf(s.Save(pImage, 10)),
    "  /* ABS: 002 Pixels @ 000,000*/ 0, 2, 0x00, 0x00, 0x00, 0x00, \r\n" + std::string(sClose) + "4 for 2 pixels */");
  IMAGE_Free(pImage);
  /* A value counts as one unit */
  pImage = IMAGE_Create(3, 1, 0);
  for (int x = 0; x < 3; x++) IMAGE_SetPixel(pImage, x, 0, 0x00FF00);
  EXPECT_EQ(ArrayOf(s.Save(pImage, 10)),
    "  /* RLE: 003 Pixels @ 000,000*/ 3, 0xE0, 0x07, \r\n" + std::string(sClose) + "2 for 3 pixels */");
  IMAGE_Free(pImage);
}

TEST(RleOutExamples, PieceDecisions) {
  ReportCatcher Catcher;
  Saver s;
  struct { std::vector<unsigned> aPixel; std::string sArray; } aCase[] = {
    /* a repetition of 3 stays inside a block */
    { { 1, 2, 3, 3, 3, 4 },
      "  /* ABS: 006 Pixels @ 000,000*/ 0, 6, 0x01, 0x02, 0x03, 0x03, 0x03, 0x04, \r\n" +
      std::string(sClose) + "8 for 6 pixels */" },
    /* ... but is a run where a piece starts; a last single pixel is a run */
    { { 3, 3, 3, 4 },
      "  /* RLE: 003 Pixels @ 000,000*/ 3, 0x03, \r\n"
      "  /* RLE: 001 Pixels @ 003,000*/ 1, 0x04, \r\n" + std::string(sClose) + "4 for 4 pixels */" },
    /* a last pair, different or equal, is a block */
    { { 1, 1, 1, 2, 3 },
      "  /* RLE: 003 Pixels @ 000,000*/ 3, 0x01, \r\n"
      "  /* ABS: 002 Pixels @ 003,000*/ 0, 2, 0x02, 0x03, \r\n" + std::string(sClose) + "6 for 5 pixels */" },
    { { 1, 1, 1, 2, 2 },
      "  /* RLE: 003 Pixels @ 000,000*/ 3, 0x01, \r\n"
      "  /* ABS: 002 Pixels @ 003,000*/ 0, 2, 0x02, 0x02, \r\n" + std::string(sClose) + "6 for 5 pixels */" },
    /* two equal pixels in front of a repetition of 4 */
    { { 2, 2, 1, 1, 1, 1 },
      "  /* ABS: 002 Pixels @ 000,000*/ 0, 2, 0x02, 0x02, \r\n"
      "  /* RLE: 004 Pixels @ 002,000*/ 4, 0x01, \r\n" + std::string(sClose) + "6 for 6 pixels */" },
    /* a block of 1 is written as a run of 1 */
    { { 1, 2, 2, 2, 2 },
      "  /* RLE: 001 Pixels @ 000,000*/ 1, 0x01, \r\n"
      "  /* RLE: 004 Pixels @ 001,000*/ 4, 0x02, \r\n" + std::string(sClose) + "4 for 5 pixels */" },
  };
  for (const auto& Case : aCase) {
    IMAGE* pImage = MakeImage((int)Case.aPixel.size(), 1, 256, Case.aPixel);
    EXPECT_EQ(ArrayOf(s.Save(pImage, 7)), Case.sArray);
    IMAGE_Free(pImage);
  }
}

TEST(RleOutExamples, RunCrossesRowEnd) {
  ReportCatcher Catcher;
  Saver s;
  IMAGE* pImage = MakeImage(8, 2, 16, { 0, 1, 2, 5, 5, 5, 5, 5,  5, 5, 5, 5, 5, 9, 8, 9 });
  EXPECT_EQ(ArrayOf(s.Save(pImage, 6)),
    "  /* ABS: 003 Pixels @ 000,000*/ 0, 3, 0x01, 0x20, \r\n"
    "  /* RLE: 010 Pixels @ 003,000*/ 10, 0x05, \r\n"
    "  /* ABS: 003 Pixels @ 005,001*/ 0, 3, 0x98, 0x90, \r\n" + std::string(sClose) + "10 for 16 pixels */");
  IMAGE_Free(pImage);
}

TEST(RleOutExamples, LongPiecesSplit) {
  ReportCatcher Catcher;
  Saver s;
  /* 300 pixels without a repetition: blocks of 255 and 45; 255 values
   * take seven lines (35, five times 41, 15), 45 take two (35, 10) */
  std::vector<unsigned> aPixel;
  for (unsigned i = 0; i < 300; i++) aPixel.push_back(i % 7);
  IMAGE* pImage = MakeImage(300, 1, 256, aPixel);
  std::string sArray = ArrayOf(s.Save(pImage, 7));
  std::string sValues;
  for (unsigned i = 0; i < 255; i++) {
    if (i == 35 || (i > 35 && (i - 35) % 41 == 0)) sValues += "\r\n        ";
    sValues += "0x0" + std::to_string(i % 7) + ", ";
  }
  std::string sRest;
  for (unsigned i = 255; i < 300; i++) {
    if (i == 255 + 35) sRest += "\r\n        ";
    sRest += "0x0" + std::to_string(i % 7) + ", ";
  }
  EXPECT_EQ(sArray,
    "  /* ABS: 255 Pixels @ 000,000*/ 0, 255, " + sValues + "\r\n"
    "  /* ABS: 045 Pixels @ 255,000*/ 0, 45, " + sRest + "\r\n" + sClose + "304 for 300 pixels */");
  IMAGE_Free(pImage);
  /* Chunks of runs of 254, 255, 508, 509 pixels */
  struct { int n; std::string sChunks; } aRun[] = {
    { 254, "254, 0x03, " },
    { 255, "254, 0x03, 1, 0x03, " },
    { 508, "254, 0x03, 254, 0x03, " },
    { 509, "254, 0x03, 254, 0x03, 1, 0x03, " },
  };
  for (const auto& Run : aRun) {
    pImage = MakeImage(Run.n, 1, 16, std::vector<unsigned>((size_t)Run.n, 3));
    char acComment[64];
    snprintf(acComment, sizeof(acComment), "  /* RLE: %.3d Pixels @ 000,000*/ ", Run.n);
    EXPECT_EQ(ArrayOf(s.Save(pImage, 6)).substr(0, strlen(acComment) + Run.sChunks.size() + 2),
              acComment + Run.sChunks + "\r\n") << Run.n;
    IMAGE_Free(pImage);
  }
}

/*********************************************************************
*  The file around the stream
*/
TEST(RleOutFile, Descriptor) {
  ReportCatcher Catcher;
  Saver s;
  IMAGE* pImage = MakeImage(5, 2, 16, { 1, 1, 1, 1, 1, 1, 1, 1, 1, 1 });
  const char* const sEnd = "\r\n};\r\n\r\n/* *** End of file *** */\r\n";
  struct { int Format; const char* sBytes; const char* sBits; const char* sDraw; } aCase[] = {
    { 6, "3", "OMRAK_COMPRESS_RLE4", "\r\n ,OMRAK_DRAW_RLE4" },
    { 7, "5", "OMRAK_COMPRESS_RLE8", "\r\n ,OMRAK_DRAW_RLE8" },
  };
  for (const auto& Case : aCase) {
    std::string sFile = s.Save(pImage, Case.Format, "C:\\pics\\my logo.bmp");
    std::string sTail =
      "\r\nstatic OMRAK_CONST_STORAGE unsigned char acmylogo[] = {\r\n"
      "  /* RLE: 010 Pixels @ 000,000*/ 10, 0x01, \r\n" + std::string(sClose) + "2 for 10 pixels */"
      "\r\n\r\nOMRAK_CONST_STORAGE OMRAK_BITMAP bmmylogo = {\r\n"
      "  5, /* XSize */\r\n"
      "  2, /* YSize */\r\n"
      "  " + Case.sBytes + ", /* BytesPerLine */\r\n"
      "  " + Case.sBits + ", /* BitsPerPixel */\r\n"
      "  acmylogo,  /* Pointer to picture data (indices) */\r\n"
      "  &Palmylogo  /* Pointer to palette */" + Case.sDraw + sEnd;
    ASSERT_GT(sFile.size(), sTail.size());
    EXPECT_EQ(sFile.substr(sFile.size() - sTail.size()), sTail) << Case.Format;
    EXPECT_NE(sFile.find("OMRAK_LOGPALETTE Palmylogo = {\r\n  16,"), std::string::npos);
  }
  IMAGE_Free(pImage);
  pImage = IMAGE_Create(5, 1, 0);
  std::string sFile = s.Save(pImage, 11, "hc.c");
  std::string sTail =
    "\r\nstatic OMRAK_CONST_STORAGE unsigned char achc[] = {\r\n"
    "  /* RLE: 005 Pixels @ 000,000*/ 5, 0x00, 0x00, \r\n" + std::string(sClose) + "2 for 5 pixels */"
    "\r\n\r\nOMRAK_CONST_STORAGE OMRAK_BITMAP bmhc = {\r\n"
    "  5, /* XSize */\r\n"
    "  1, /* YSize */\r\n"
    "  10, /* BytesPerLine */\r\n"
    "  16, /* BitsPerPixel */\r\n"
    "  (unsigned char *)achc,  /* Pointer to picture data */\r\n"
    "  NULL  /* Pointer to palette */\r\n ,OMRAK_DRAW_RLEM16" + sEnd;
  ASSERT_GT(sFile.size(), sTail.size());
  EXPECT_EQ(sFile.substr(sFile.size() - sTail.size()), sTail);
  EXPECT_EQ(sFile.find("Palette"), std::string::npos);
  EXPECT_TRUE(Catcher.Errors.empty());
  IMAGE_Free(pImage);
}

/*********************************************************************
*  The writer against the plain encoder
*/
namespace {

/* Fills the picture from a list of (length, value) runs, repeated until
 * it is full. */
void FillRuns(IMAGE* pImage, std::mt19937& Rng, const std::vector<unsigned>& aLength,
              const std::vector<unsigned>& aValue) {
  unsigned NumPixels = (unsigned)(pImage->XSize * pImage->YSize);
  unsigned i = 0, Last = 0xFFFFFFFF;
  while (i < NumPixels) {
    unsigned n = aLength[Rng() % aLength.size()];
    unsigned v;
    do v = aValue[Rng() % aValue.size()]; while (v == Last && aValue.size() > 1);
    Last = v;
    for (unsigned k = 0; k < n && i < NumPixels; k++, i++) {
      IMAGE_SetPixel(pImage, (I32)(i % (unsigned)pImage->XSize), (I32)(i / (unsigned)pImage->XSize), v);
    }
  }
}

}  // namespace

TEST(RleOutPlain, SameTextAsPlainEncoder) {
  ReportCatcher Catcher;
  Saver s;
  std::mt19937 Rng(4711);
  /* Colours that give equal 5-6-5 values from different stored colours */
  const std::vector<unsigned> aNearColor = { 0x000000, 0x000001, 0x000007, 0x000300, 0x070307,
                                             0x0000FF, 0x0000F8, 0xFFFFFF, 0xF8FCF8 };
  const std::vector<unsigned> aShort = { 1, 2, 3, 4 };
  const std::vector<unsigned> aMixed = { 1, 1, 2, 3, 4, 5, 7, 254, 255, 256, 300 };
  const std::vector<unsigned> aLong  = { 1, 2, 253, 254, 255, 256, 508, 509, 510, 1000 };
  const int aFormat[] = { 6, 7, 10, 11 };
  int NumCompared = 0;
  for (int Round = 0; Round < 240; Round++) {
    int Format = aFormat[Round % 4];
    int Kind   = (Round / 4) % 6;
    int XSize  = (Round % 9 == 0) ? 1 : 1 + (int)(Rng() % 300);
    int YSize  = 1 + (int)(Rng() % 12);
    if (Round % 37 == 0) XSize = YSize = 1;
    int NumColors = Format == 6 ? 16 : Format == 7 ? 256 : (Round % 5 == 0 ? 256 : 0);
    IMAGE* pImage = IMAGE_Create(XSize, YSize, NumColors);
    ASSERT_NE(pImage, nullptr);
    for (int i = 0; i < NumColors; i++) {
      /* some palette entries share a colour: indices still differ */
      IMAGE_SetColor(pImage, i, aNearColor[(size_t)i % aNearColor.size()] ^ (i & 0x10 ? 0x123456u : 0));
    }
    std::vector<unsigned> aValue;
    unsigned NumValues = (Kind == 0) ? 2 : (Kind == 1 ? 3 : 16);
    for (unsigned k = 0; k < NumValues; k++) {
      aValue.push_back(NumColors ? (unsigned)Rng() % (unsigned)NumColors
                                 : (Kind < 3 ? aNearColor[k % aNearColor.size()] : (unsigned)Rng() & 0xFFFFFF));
    }
    switch (Kind) {
    case 0:   /* noise of few values: many short repetitions */
    case 1:
    case 2:   /* noise */
      FillRuns(pImage, Rng, { 1 }, aValue);
      break;
    case 3:
      FillRuns(pImage, Rng, aShort, aValue);
      break;
    case 4:
      FillRuns(pImage, Rng, aMixed, aValue);
      break;
    default:
      FillRuns(pImage, Rng, aLong, aValue);
      break;
    }
    pImage->HasTrans = (I8)(Round & 1);
    std::string sExpected = PlainStream(pImage, Format);
    std::string sArray = ArrayOf(s.Save(pImage, Format));
    EXPECT_EQ(sArray, sExpected) << "round " << Round << " format " << Format << " " << XSize << "x" << YSize;
    IMAGE_Free(pImage);
    if (sArray != sExpected) break;
    NumCompared++;
  }
  EXPECT_EQ(NumCompared, 240);
  EXPECT_TRUE(Catcher.Errors.empty());
}

TEST(RleOutPlain, RepetitionNearTheBlockLimit) {
  ReportCatcher Catcher;
  Saver s;
  /* d pixels without a repetition, then a repetition of 3, 4 or 5: the
   * block ends in front of it or at 255 pixels, whichever comes first */
  for (int Format : { 7, 10 }) {
    for (unsigned d = 250; d <= 260; d++) {
      for (unsigned Rep = 3; Rep <= 5; Rep++) {
        std::vector<unsigned> aPixel;
        for (unsigned i = 0; i < d; i++) aPixel.push_back(i % 2 ? 0x10 + i % 7 : 0x20);
        for (unsigned i = 0; i < Rep; i++) aPixel.push_back(0x30);
        aPixel.push_back(0x40);
        int XSize = (int)aPixel.size();
        IMAGE* pImage = MakeImage(XSize, 1, Format == 7 ? 256 : 0, aPixel);
        EXPECT_EQ(ArrayOf(s.Save(pImage, Format)), PlainStream(pImage, Format)) << d << " " << Rep;
        IMAGE_Free(pImage);
      }
    }
  }
}

TEST(RleOutPlain, LargeAndWide) {
  ReportCatcher Catcher;
  Saver s;
  std::mt19937 Rng(99);
  /* Larger than the output buffer, with runs across many rows at width 1 */
  IMAGE* pImage = IMAGE_Create(700, 300, 16);
  FillRuns(pImage, Rng, { 1, 1, 2, 3, 4, 9, 600 }, { 0, 1, 2, 3, 4, 5, 6, 7, 15 });
  EXPECT_EQ(ArrayOf(s.Save(pImage, 6)), PlainStream(pImage, 6));
  IMAGE_Free(pImage);
  pImage = IMAGE_Create(1, 3000, 0);
  FillRuns(pImage, Rng, { 1, 2, 3, 4, 254, 255, 509 }, { 0x000000, 0x000004, 0x0000FF });
  EXPECT_EQ(ArrayOf(s.Save(pImage, 10)), PlainStream(pImage, 10));
  IMAGE_Free(pImage);
}

/*********************************************************************
*  Other file types go to their own writers
*/
TEST(RleOutTypes, HandedToTheirWriters) {
  ReportCatcher Catcher;
  Saver s;
  IMAGE* pImage = MakeTestImage(13, 7, 16);
  /* A C file first, so that the buffer of the C writer has been in use */
  s.Save(pImage, 6);
  for (int Type : { 2, 4 }) {
    std::string sDirect = s.Dir.File("direct");
    PLAT_FILE* hFile = PLAT_CreateWrite(sDirect.c_str());
    if (Type == 2) {
      IMAGE_SaveBMP(pImage, hFile);
    } else {
      IMAGE_SaveStream(pImage, hFile);
    }
    PLAT_Close(hFile);
    std::string sExpected = ReadFileBytes(sDirect);
    EXPECT_FALSE(sExpected.empty());
    EXPECT_EQ(s.Save(pImage, 6, "x.c", Type), sExpected) << Type;
  }
  IMAGE* pResult = nullptr;
  std::string sGif = s.Save(pImage, 6, "x.c", 3, &pResult);   /* pImage now belongs to the writer */
  EXPECT_EQ(sGif.substr(0, 6), "GIF89a");
  ASSERT_NE(pResult, nullptr);
  EXPECT_EQ(pResult->XSize, 13);
  EXPECT_EQ(pResult->YSize, 7);
  IMAGE_Free(pResult);
  EXPECT_TRUE(Catcher.Errors.empty());
}
