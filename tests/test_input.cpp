/* The Windows Bitmap and .sbmp readers: the shared bmpsuite corpus, the
 * program's own writer read back, and hand-made files for what neither
 * reaches. */
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "input/loader.h"
#include "input/rle.h"
#include "output/bmpout.h"
#include "platform/plat.h"
#include "testutil.h"

namespace {

const std::string kSuiteDir = std::string(ZELMAR_CORPUS_DIR) + "/bmpsuite";

IMAGE* LoadCorpusFile(const std::string& sName) {
  return LoadBytes(ReadFileBytes(kSuiteDir + "/" + sName), 0);
}

/* Every pixel as "x,y=value" for the hand-made cases. */
std::string Pixels(const IMAGE* p) {
  std::string s;
  char ac[24];
  for (int y = 0; y < p->YSize; y++) {
    for (int x = 0; x < p->XSize; x++) {
      snprintf(ac, sizeof(ac), "%s%X", x ? " " : (y ? "|" : ""), IMAGE_GetPixelColor(p, x, y));
      s += ac;
    }
  }
  return s;
}

}  // namespace

TEST(Corpus, EveryFileLoadsOrIsRefusedWithItsMessage) {
  const char* const sJpeg = "BITMAPINFOHEADER: biBitCount = 0 (JPEG format) not supported. Please convert image !";
  const char* const sDepth = "Error in BITMAPINFOHEADER: biBitCount should be 0, 1, 4, 8, 16, 24 or 32";
  const char* const sPalette = "Only palettes with up to 256 entries supported!";
  const char* const sRle8 = "DecompressRLE8: Data after end of image";
  const std::map<std::string, std::string> Expected = {
    /* OS/2 headers are 12 bytes: biBitCount falls into the colour table. */
    {"g/pal8os2.bmp", sJpeg}, {"q/pal8os2-hs.bmp", sJpeg}, {"q/pal8os2-sz.bmp", sJpeg},
    {"q/pal8os2sp.bmp", sJpeg}, {"q/rgb24jpeg.bmp", sJpeg}, {"q/rgb24png.bmp", sJpeg},
    {"q/pal2.bmp", sDepth}, {"q/pal2color.bmp", sDepth}, {"q/rgba64.bmp", sDepth}, {"b/badbitcount.bmp", sDepth},
    {"q/pal8os2v2-16.bmp", sPalette}, {"q/pal8oversizepal.bmp", sPalette}, {"b/badpalettesize.bmp", sPalette},
    {"q/rgba32abf.bmp", "32 BPP bitmap - Unknown compression format (should be BI_RGB or BI_RLE8)"},
    {"b/badrle.bmp", sRle8}, {"b/badrleter.bmp", sRle8},
    {"b/badwidth.bmp", "Image size -127 * 64 not supported"},
    {"b/reallybig.bmp", "Image size 3000000 * 2000000 not supported"},
    {"x/ba-bm.bmp", "Illegal file header !"},
  };
  std::map<std::string, std::string> Refused;
  int NumFiles = 0;
  for (const char* sFolder : {"g", "q", "b", "x"}) {
    for (const auto& Entry : std::filesystem::directory_iterator(kSuiteDir + "/" + sFolder)) {
      std::string sName = std::string(sFolder) + "/" + Entry.path().filename().string();
      ReportCatcher Rc;
      IMAGE* p = LoadCorpusFile(sName);
      NumFiles++;
      if (p == nullptr) {
        ASSERT_FALSE(Rc.Errors.empty()) << sName << " refused without a message";
        Refused[sName] = Rc.Errors.back();
      }
      IMAGE_Free(p);
    }
  }
  EXPECT_GE(NumFiles, 80);
  EXPECT_EQ(Refused, Expected);
  ReportCatcher Rc;
  IMAGE_Free(LoadCorpusFile("b/shortfile.bmp"));
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{"File truncated ... Expected a file length of 1086, Read only 273 bytes."});
}

TEST(Bitmap, WriterAndReaderAgreeAtEveryDepthAndWidth) {
  for (int n : {0, 2, 3, 16, 17, 256}) {
    for (int w = 1; w <= 13; w++) {
      IMAGE* pSrc = RandomImage(w, 3, n, (unsigned)(n + w));
      IMAGE* p = pSrc;
      std::string Bytes = SaveBytes(&p, 2);
      ASSERT_GE(Bytes.size(), 54u);
      int Bits = (unsigned char)Bytes[28];
      EXPECT_EQ(Bits, n == 0 ? 24 : n <= 2 ? 1 : n <= 16 ? 4 : 8) << n;
      EXPECT_EQ(Bytes.size(), 54 + 4 * (size_t)n + 3 * (size_t)((w * Bits + 31) / 32 * 4));
      std::string Head = "BM";
      Put32(Head, (unsigned)Bytes.size());
      Put32(Head, 0);
      Put32(Head, 54 + 4 * (unsigned)n);
      EXPECT_EQ(Bytes.substr(0, 14), Head);
      for (int i = 0; i < n; i++) ASSERT_EQ(Bytes[57 + 4 * i], 0) << "reserved byte of entry " << i;
      IMAGE* q = LoadBytes(Bytes, 0);
      EXPECT_EQ(Diff(pSrc, q), "") << n << " colours, width " << w;
      IMAGE_Free(q);
      IMAGE_Free(pSrc);
    }
  }
  /* A file bigger than any write buffer on the way */
  IMAGE* pBig = RandomImage(200, 120, 0, 5);
  IMAGE* pSaved = pBig;
  IMAGE* pBack = LoadBytes(SaveBytes(&pSaved, 2), 0);
  EXPECT_EQ(Diff(pBig, pBack), "");
  IMAGE_Free(pBack);
  IMAGE_Free(pBig);
  /* Row padding is zero: a picture of set bits only. */
  IMAGE* p = IMAGE_Create(12, 2, 2);
  for (int i = 0; i < 24; i++) IMAGE_SetPixel(p, i % 12, i / 12, 1);
  EXPECT_EQ(SaveBytes(&p, 2).substr(62), HexBytes("ff f0 00 00 ff f0 00 00 "));
  IMAGE_Free(p);
}

TEST(Bitmap, DepthsAndHeadersTheWriterDoesNotMake) {
  ReportCatcher Rc;
  struct { std::string File, Expected; } aCase[] = {
    /* 16 bits without masks: 5-5-5; top-down rows (negative height) */
    { MakeBMPFile(2, -2, 16, 0, {}, HexBytes("1f 00 e0 03 00 7c ff 7f ")), "FF0000 FF00|FF FFFFFF" },
    /* bit fields 5-6-5, masks in front of the pixels */
    { MakeBMPFile(2, 1, 16, 3, {}, HexBytes("00 f8 00 00 e0 07 00 00 1f 00 00 00 1f 00 e0 07 ")), "FF0000 FF00" },
    /* the same masks inside a 108-byte header */
    { MakeBMPFile(2, 1, 16, 3, {}, HexBytes("1f 00 e0 07 "), 108).replace(54, 12, HexBytes("00 f8 00 00 e0 07 00 00 1f 00 00 00 ")), "FF0000 FF00" },
    { MakeBMPFile(1, 1, 32, 0, {}, HexBytes("01 02 03 04 ")), "10203" },
    { MakeBMPFile(1, 1, 32, 3, {}, HexBytes("00 00 ff 00 00 ff 00 00 ff 00 00 00 10 20 30 40 ")), "102030" },
    /* biClrUsed 2 at 8 bits; a 108-byte header before the colour table */
    { MakeBMPFile(3, 1, 8, 0, {0x0000FF, 0x00FF00}, HexBytes("01 00 01 00 "), 108), "FF00 FF FF00" },
    /* 1 and 4 bits: the first pixel in the top bits */
    { MakeBMPFile(9, 1, 1, 0, {0x000000, 0xFFFFFF}, HexBytes("a0 80 00 00 ")), "FFFFFF 0 FFFFFF 0 0 0 0 0 FFFFFF" },
    { MakeBMPFile(3, 1, 4, 0, {0, 0x111111, 0x222222}, HexBytes("12 00 00 00 ")), "111111 222222 0" },
    /* RLE8: a run, an odd absolute block with its pad byte, end of line,
     * a delta up one row and right one, end of bitmap */
    { MakeBMPFile(4, 3, 8, 1, {0, 0x0000FF, 0x00FF00, 0xFF0000},
               HexBytes("02 01 00 03 02 03 02 00 00 00 00 02 01 01 02 02 00 01 ")), "0 FF00 FF00 0|0 0 0 0|FF FF FF00 FF0000" },
    /* RLE4: an absolute block of 3 (two bytes, no pad), a run alternating two nibbles */
    { MakeBMPFile(5, 1, 4, 2, {0, 0x0000FF, 0x00FF00, 0xFF0000}, HexBytes("00 03 12 30 02 31 00 01 ")), "FF FF00 FF0000 FF0000 FF" },
  };
  for (auto& c : aCase) {
    IMAGE* p = LoadBytes(c.File, 0);
    ASSERT_NE(p, nullptr) << c.Expected;
    EXPECT_EQ(Pixels(p), c.Expected);
    IMAGE_Free(p);
  }
  EXPECT_TRUE(Rc.Errors.empty()) << Rc.Errors[0];
}

#ifndef _WIN32
/* A file that gives less than its size (a kernel file of 4096 bytes that
 * holds a few) is cut short. */
TEST(Sbmp, AFileThatGivesLessThanItsSizeIsTooShort) {
  ReportCatcher Rc;
  PLAT_FILE* h = PLAT_OpenRead("/sys/kernel/uevent_seqnum", nullptr);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(SBMP_Load(h), nullptr);
  PLAT_Close(h);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{"File too short (truncated ?)"});
}
#endif

TEST(Sbmp, RunsFillRowsAcrossRowEnds) {
  ReportCatcher Rc;
  std::string Head = HexBytes("53 42 03 00 02 00 ");   /* "SB", 3 x 2 */
  /* True colour: run, red, green, blue; palette: run and index. */
  IMAGE* p = LoadBytes(Head + HexBytes("00 00 04 00 11 22 33 05 00 44 55 66 "), 1);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Pixels(p), "332211 332211 332211|332211 665544 665544");
  IMAGE_Free(p);
  p = LoadBytes(Head + HexBytes("02 00 01 02 03 04 05 06 06 00 01 "), 1);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Pixels(p), "60504 60504 60504|60504 60504 60504");
  IMAGE_Free(p);
  EXPECT_TRUE(Rc.Errors.empty());
}
