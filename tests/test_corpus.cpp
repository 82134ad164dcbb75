/*
 * The Windows Bitmap loader over the sample files of the shared corpus:
 * every file gives an image or is refused with a message, and never reads
 * outside its data (this runs under AddressSanitizer too). The refusals
 * are listed so that a change in what is accepted shows.
 */
#include <gtest/gtest.h>

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>

#include "input/loader.h"
#include "testutil.h"

namespace {

const std::string kSuiteDir = std::string(ZELMAR_CORPUS_DIR) + "/bmpsuite";

const char* const kJpegText = "BITMAPINFOHEADER: biBitCount = 0 (JPEG format) not supported. Please convert image !";
const char* const kDepthText = "Error in BITMAPINFOHEADER: biBitCount should be 0, 1, 4, 8, 16, 24 or 32";
const char* const kPaletteText = "Only palettes with up to 256 entries supported!";
const char* const kRle8Text = "DecompressRLE8: Data after end of image";

/* Every refused file and the last message it gives. */
const std::map<std::string, std::string> kRefused = {
  /* The OS/2 header is 12 bytes: biBitCount, read at its fixed place,
   * falls into the colour table, which starts with zeros. */
  {"g/pal8os2.bmp",         kJpegText},
  {"q/pal8os2-hs.bmp",      kJpegText},
  {"q/pal8os2-sz.bmp",      kJpegText},
  {"q/pal8os2sp.bmp",       kJpegText},
  /* Embedded JPEG and PNG have biBitCount 0. */
  {"q/rgb24jpeg.bmp",       kJpegText},
  {"q/rgb24png.bmp",        kJpegText},
  /* Depths 2 and 64 do not exist here. */
  {"q/pal2.bmp",            kDepthText},
  {"q/pal2color.bmp",       kDepthText},
  {"q/rgba64.bmp",          kDepthText},
  {"b/badbitcount.bmp",     kDepthText},
  /* biClrUsed above 256 (in the 16-byte header it is read from pixel data). */
  {"q/pal8os2v2-16.bmp",    kPaletteText},
  {"q/pal8oversizepal.bmp", kPaletteText},
  {"b/badpalettesize.bmp",  kPaletteText},
  /* BI_ALPHABITFIELDS is no compression of depth 32. */
  {"q/rgba32abf.bmp",       "32 BPP bitmap - Unknown compression format (should be BI_RGB or BI_RLE8)"},
  {"b/badrle.bmp",          kRle8Text},
  {"b/badrleter.bmp",       kRle8Text},
  {"b/badwidth.bmp",        "Image size -127 * 64 not supported"},
  {"b/reallybig.bmp",       "Image size 3000000 * 2000000 not supported"},
  {"x/ba-bm.bmp",           "Illegal file header !"},
};

IMAGE* LoadCorpusFile(const std::string& sName) {
  std::string sPath = kSuiteDir + "/" + sName;
  PLAT_FILE* hFile = PLAT_OpenRead(sPath.c_str(), nullptr);
  if (hFile == nullptr) {
    ADD_FAILURE() << "cannot open " << sPath;
    return nullptr;
  }
  IMAGE* pImage = IMAGE_LoadFile(hFile, 0);
  PLAT_Close(hFile);
  return pImage;
}

/* Largest difference of one colour channel between two pictures, or
 * 1000 when their sizes differ. */
int MaxChannelDiff(const IMAGE* pA, const IMAGE* pB) {
  if (pA->XSize != pB->XSize || pA->YSize != pB->YSize) return 1000;
  int Max = 0;
  for (int y = 0; y < pA->YSize; y++) {
    for (int x = 0; x < pA->XSize; x++) {
      U32 a = IMAGE_GetPixelColor(pA, x, y);
      U32 b = IMAGE_GetPixelColor(pB, x, y);
      for (int Shift = 0; Shift < 24; Shift += 8) {
        Max = std::max(Max, abs((int)((a >> Shift) & 255) - (int)((b >> Shift) & 255)));
      }
    }
  }
  return Max;
}

/* Loads sName and compares it with an already loaded picture. */
int DiffTo(const IMAGE* pRef, const std::string& sName) {
  IMAGE* p = LoadCorpusFile(sName);
  if (p == nullptr) {
    ADD_FAILURE() << sName << " did not load";
    return 1000;
  }
  int d = MaxChannelDiff(pRef, p);
  IMAGE_Free(p);
  return d;
}

}  // namespace

TEST(CorpusSuite, EveryFileLoadsOrIsRefusedWithMessage) {
  ASSERT_TRUE(std::filesystem::is_directory(kSuiteDir)) << kSuiteDir;
  std::map<std::string, int> NumLoaded, NumRefused;
  std::map<std::string, std::string> Refused;
  int NumFiles = 0;
  for (const char* sFolder : {"g", "q", "b", "x"}) {
    std::vector<std::string> aName;
    for (const auto& Entry : std::filesystem::directory_iterator(kSuiteDir + "/" + sFolder)) {
      if (Entry.is_regular_file()) aName.push_back(Entry.path().filename().string());
    }
    std::sort(aName.begin(), aName.end());
    for (const std::string& sFile : aName) {
      std::string sName = std::string(sFolder) + "/" + sFile;
      ReportCatcher Rc;
      IMAGE* p = LoadCorpusFile(sName);
      NumFiles++;
      if (p) {
        NumLoaded[sFolder]++;
        EXPECT_GT(p->XSize, 0) << sName;
        EXPECT_GT(p->YSize, 0) << sName;
        IMAGE_Free(p);
      } else {
        NumRefused[sFolder]++;
        ASSERT_FALSE(Rc.Errors.empty()) << sName << " refused without a message";
        Refused[sName] = Rc.Errors.back();
      }
    }
  }
  EXPECT_GE(NumFiles, 80);
  for (const auto& r : Refused) {
    auto it = kRefused.find(r.first);
    if (it == kRefused.end()) {
      ADD_FAILURE() << r.first << " is refused: " << r.second;
    } else {
      EXPECT_EQ(r.second, it->second) << r.first;
    }
  }
  for (const auto& r : kRefused) {
    EXPECT_TRUE(Refused.count(r.first)) << r.first << " was expected to be refused";
  }
  EXPECT_EQ(NumRefused["g"], 1);
  EXPECT_GE(NumLoaded["g"], 26);
}

TEST(CorpusSuite, TruncatedFilesReportBothSizes) {
  ReportCatcher Rc;
  IMAGE* p = LoadCorpusFile("b/shortfile.bmp");
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{
    "File truncated ... Expected a file length of 1086, Read only 273 bytes."});
  IMAGE_Free(p);

  Rc.Clear();
  p = LoadCorpusFile("b/badfilesize.bmp");
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{
    "File truncated ... Expected a file length of 2111692253, Read only 1086 bytes."});
  IMAGE_Free(p);
}

TEST(CorpusSuite, SamePictureAcrossEncodings) {
  ReportCatcher Rc;
  IMAGE* pRgb = LoadCorpusFile("g/rgb24.bmp");
  ASSERT_NE(pRgb, nullptr);
  EXPECT_EQ(pRgb->XSize, 127);
  EXPECT_EQ(pRgb->YSize, 64);
  for (const char* s : {"g/rgb32.bmp", "g/rgb32bf.bmp", "g/rgb32bfdef.bmp"}) {
    EXPECT_EQ(DiffTo(pRgb, s), 0) << s;
  }
  /* Five bits a channel: one step of 255 / 31 at most. */
  for (const char* s : {"g/rgb16.bmp", "g/rgb16-565.bmp", "g/rgb16bfdef.bmp"}) {
    EXPECT_LE(DiffTo(pRgb, s), 8) << s;
  }

  /* The palette files hold a reduced copy of the picture; every way of
   * storing it gives the same colours. */
  IMAGE* pPal8 = LoadCorpusFile("g/pal8.bmp");
  ASSERT_NE(pPal8, nullptr);
  EXPECT_LE(MaxChannelDiff(pRgb, pPal8), 64);
  for (const char* s : {"g/pal8-0.bmp", "g/pal8rle.bmp", "g/pal8topdown.bmp", "g/pal8v4.bmp", "g/pal8v5.bmp"}) {
    EXPECT_EQ(DiffTo(pPal8, s), 0) << s;
  }
  IMAGE* pPal4 = LoadCorpusFile("g/pal4.bmp");
  ASSERT_NE(pPal4, nullptr);
  EXPECT_EQ(DiffTo(pPal4, "g/pal4rle.bmp"), 0);
  IMAGE_Free(pPal4);
  IMAGE_Free(pPal8);
  IMAGE_Free(pRgb);
}
