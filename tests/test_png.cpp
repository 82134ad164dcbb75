/* PNG and JPEG input, checked pixel by pixel against what Pillow reads
 * from the same files (tests/pil_pixels.py): the PngSuite corpus (every
 * colour type, depth and interlacing; its corrupt x* files must be refused
 * with a message) and files that Pillow writes here of every colour type,
 * with and without transparency. */
#include <gtest/gtest.h>

#include <stdlib.h>

#include <filesystem>
#include <string>

#include "commands/workspace.h"
#include "input/loader.h"
#include "testutil.h"

namespace {

const std::string kSuiteDir = std::string(ZELMAR_CORPUS_DIR) + "/pngsuite";

bool RunPython(const std::string& sArgs) {
  return system(("/usr/bin/python3 " + sArgs + " >/dev/null 2>&1").c_str()) == 0;
}

/* Writes Pillow's view of the files to sOut/NAME.px. */
bool DumpWithPillow(const std::string& sOut, const std::string& sFiles) {
  return RunPython(std::string(ZELMAR_SOURCE_DIR) + "/tests/pil_pixels.py '" + sOut + "' " + sFiles);
}

/* Compares an image with Pillow's pixels. Transparent pixels must be
 * index 0 of an image with HasTrans, the others Pillow's colour (within
 * Tolerance on each channel, and never index 0). When the opaque colours
 * were reduced to 255, a pixel shows an entry as near as any other.
 * Gives the first difference, or an empty text. */
std::string Compare(const IMAGE* pImage, const std::string& sPx, int Tolerance) {
  int XSize = 0, YSize = 0;
  size_t NumHead = sPx.find('\n') + 1;
  if (sscanf(sPx.c_str(), "%d %d", &XSize, &YSize) != 2 || sPx.size() != NumHead + 4 * (size_t)XSize * YSize) {
    return "no Pillow data";
  }
  if (pImage->XSize != XSize || pImage->YSize != YSize) return "size differs";
  bool IsReduced = pImage->HasTrans && pImage->NumColors == 256;
  const unsigned char* p = (const unsigned char*)sPx.data() + NumHead;
  for (int y = 0; y < YSize; y++) {
    for (int x = 0; x < XSize; x++, p += 4) {
      U32 Pil = (U32)p[0] | (U32)p[1] << 8 | (U32)p[2] << 16;
      U32 Index = IMAGE_GetPixel(pImage, x, y);
      bool IsTrans = pImage->HasTrans && pImage->NumColors && Index == 0;
      U32 Color = IMAGE_GetPixelColor(pImage, x, y);
      bool IsBad = IsTrans != (p[3] != 0);
      for (int c = 0; c < 3 && !IsTrans && !IsReduced; c++) {
        IsBad |= abs((int)((Color >> (8 * c)) & 0xFF) - (int)p[c]) > Tolerance;
      }
      for (int i = 1; i < 256 && !IsTrans && IsReduced; i++) {
        IsBad |= ColorDist(IMAGE_GetColor(pImage, i), Pil) < ColorDist(Color, Pil);
      }
      if (IsBad) {
        char ac[120];
        snprintf(ac, sizeof(ac), "pixel %d,%d: 0x%06X trans %d, Pillow 0x%02X%02X%02X trans %d",
                 x, y, (unsigned)Color, (int)IsTrans, p[2], p[1], p[0], p[3]);
        return ac;
      }
    }
  }
  return "";
}

TEST(PngInput, PngSuiteMatchesPillowAndCorruptFilesAreRefused) {
  SKIP_ON_WINDOWS();
  TempDir Dir;
  ASSERT_TRUE(DumpWithPillow(Dir.Path, "'" + kSuiteDir + "'/*.png"));
  int NumFiles = 0;
  for (const auto& Entry : std::filesystem::directory_iterator(kSuiteDir)) {
    std::string sName = Entry.path().filename().string();
    if (Entry.path().extension() != ".png") continue;
    NumFiles++;
    ReportCatcher Rc;
    IMAGE* pImage = LoadPath(Entry.path().string(), LOADER_TYPE_PNG);
    if (sName[0] == 'x') {
      EXPECT_EQ(pImage, nullptr) << sName;
      EXPECT_FALSE(Rc.Errors.empty()) << sName;
    } else if (pImage == nullptr) {
      ADD_FAILURE() << sName << ": " << (Rc.Errors.empty() ? "" : Rc.Errors[0]);
    } else {
      EXPECT_TRUE(Rc.Errors.empty()) << sName;
      EXPECT_EQ(Compare(pImage, ReadFileBytes(Dir.File(sName + ".px")), 0), "") << sName;
    }
    IMAGE_Free(pImage);
  }
  EXPECT_GT(NumFiles, 150);
}

/* Files written by Pillow: every PNG colour type and JPEG kind, and the
 * transparency cases. */
const char* const kMakeFiles = R"PY(
import sys
from PIL import Image
d = sys.argv[1]
def grad(mode, w=40, h=24):
    im = Image.new("RGBA", (w, h))
    im.putdata([(x * 6, y * 10, (x * y) & 255, 255 if (x + y) % 5 else 0) for y in range(h) for x in range(w)])
    return im if mode == "RGBA" else im.convert(mode)
grad("1").save(d + "/bw.png")
grad("L").save(d + "/grey.png")
grad("L").save(d + "/greykey.png", transparency=60)
grad("LA").save(d + "/greyalpha.png")
grad("RGB").convert("I").save(d + "/grey16.png")
grad("RGB").save(d + "/rgb.png")
grad("RGBA").save(d + "/rgba.png")
grad("RGBA", 200, 100).save(d + "/rgba_many.png")
grad("RGBA").save(d + "/rgba_interlaced.png", interlace=1)
small = grad("RGB").quantize(5)
small.save(d + "/pal.png")
small.save(d + "/paltrns.png", transparency=bytes([255, 200, 130, 20, 0]))
rgba = Image.new("RGBA", (4, 2), (10, 20, 30, 255))
rgba.putpixel((1, 0), (1, 2, 3, 127))
rgba.putpixel((2, 1), (200, 100, 50, 128))
rgba.save(d + "/few.png")
Image.new("RGBA", (3, 2), (9, 9, 9, 0)).save(d + "/clear.png")
grad("RGB").save(d + "/rgb.jpg", quality=95)
grad("L").save(d + "/grey.JPEG", quality=95)
grad("RGB").save(d + "/progressive.jpg", progressive=True)
grad("CMYK").save(d + "/cmyk.jpg")
open(d + "/cut.jpg", "wb").write(open(d + "/rgb.jpg", "rb").read()[:-200])
)PY";

TEST(PngInput, PillowFilesOfEveryKindLoadWithTheirPixels) {
  SKIP_ON_WINDOWS();
  TempDir Dir;
  WriteFileBytes(Dir.File("make.py"), kMakeFiles);
  ASSERT_TRUE(RunPython("'" + Dir.File("make.py") + "' '" + Dir.Path + "'"));
  /* Palette size (-1: any) and transparency as the rest of the program
   * wants them; status 1 for mapped transparency, 2 for a reduction too. */
  struct { const char* sFile; int NumColors, HasTrans, Status; } aCase[] = {
    { "bw.png", 2, 0, 0 },     { "grey.png", 256, 0, 0 },  { "greykey.png", -1, 1, 1 },
    { "greyalpha.png", -1, 1, 1 }, { "grey16.png", 256, 0, 0 }, { "rgb.png", 0, 0, 0 },
    { "rgba.png", 256, 1, 2 }, { "rgba_many.png", 256, 1, 2 }, { "rgba_interlaced.png", 256, 1, 2 },
    { "pal.png", 5, 0, 0 },    { "paltrns.png", 5, 1, 1 },  { "few.png", 3, 1, 1 }, { "clear.png", -1, 1, 1 },
    { "rgb.jpg", 0, 0, 0 },    { "grey.JPEG", 256, 0, 0 },  { "progressive.jpg", 0, 0, 0 },
  };
  const char* const asStatus[] = { "", "Transparent pixels mapped to palette entry 0",
                                   "Transparent pixels mapped to palette entry 0, opaque colours reduced to 255" };
  std::string sFiles;
  for (const auto& c : aCase) sFiles += " '" + Dir.File(c.sFile) + "'";
  ASSERT_TRUE(DumpWithPillow(Dir.Path, sFiles));
  WORKSPACE_Reset();
  for (const auto& c : aCase) {
    ReportCatcher Rc;
    IMAGE* p = OnFileOpen(Dir.File(c.sFile).c_str());
    ASSERT_NE(p, nullptr) << c.sFile << ": " << (Rc.Errors.empty() ? "" : Rc.Errors[0]);
    bool IsJpeg = strchr(c.sFile, 'J') || strchr(c.sFile, 'j');
    EXPECT_EQ(Compare(p, ReadFileBytes(Dir.File(std::string(c.sFile) + ".px")), IsJpeg ? 2 : 0), "") << c.sFile;
    EXPECT_TRUE(c.NumColors < 0 || p->NumColors == c.NumColors) << c.sFile << " " << p->NumColors;
    EXPECT_EQ(p->HasTrans, c.HasTrans) << c.sFile;
    EXPECT_TRUE(c.Status == 0 || Rc.Status.back() == asStatus[c.Status]) << c.sFile;
  }
  /* Entry 0 has the colour of the transparent pixels. */
  IMAGE* pClear = LoadPath(Dir.File("clear.png"), LOADER_TYPE_PNG);
  EXPECT_EQ(IMAGE_GetColor(pClear, 0), 0x090909u);
  IMAGE_Free(pClear);
  /* The palette file keeps its palette in order, bar the swap with entry 3. */
  IMAGE* pPal = LoadPath(Dir.File("pal.png"), LOADER_TYPE_PNG);
  IMAGE* pTrns = LoadPath(Dir.File("paltrns.png"), LOADER_TYPE_PNG);
  for (int i = 0; i < 5; i++) {
    EXPECT_EQ(IMAGE_GetColor(pTrns, i), IMAGE_GetColor(pPal, i == 0 ? 3 : i == 3 ? 0 : i)) << i;
  }
  IMAGE_Free(pPal);
  IMAGE_Free(pTrns);
  ReportCatcher Rc;
  IMAGE* pCut = OnFileOpen(Dir.File("cut.jpg").c_str());   /* cut short: read as far as it goes */
  ASSERT_NE(pCut, nullptr);
  I32 CutXSize = pCut->XSize;
  EXPECT_EQ(CutXSize, IMAGE_GetXSize(OnFileOpen(Dir.File("rgb.jpg").c_str())));
  EXPECT_EQ(OnFileOpen(Dir.File("cmyk.jpg").c_str()), nullptr);
  EXPECT_EQ(Rc.Errors, (std::vector<std::string>{"CMYK JPEG files are not supported; save the picture as RGB",
                                                 "Error opening file"}));
  WORKSPACE_Reset();
}

}  // namespace
