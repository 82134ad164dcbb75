/* Generated C bitmap files as their user meets them: compiled by the
 * system's C compiler against a small header of the tests' own
 * (tests/cclient/Omrak.h), read back by a small decoder (decode.c) and
 * compared with the picture that was saved. Skipped when there is no
 * C compiler. */
#include <gtest/gtest.h>

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "output/save.h"
#include "platform/plat.h"
#include "testutil.h"

namespace {

const std::string sClientDir = std::string(ZELMAR_SOURCE_DIR) + "/tests/cclient";

/* The C compiler "cc" from PATH, or empty. */
std::string FindCC() {
  const char* sPath = getenv("PATH");
  std::stringstream ss(sPath ? sPath : "");
  std::string sDir;
  while (std::getline(ss, sDir, ':')) {
    std::string s = (sDir.empty() ? "." : sDir) + "/cc";
    if (access(s.c_str(), X_OK) == 0) {
      return s;
    }
  }
  return "";
}

std::string Quote(const std::string& s) {
  return "'" + s + "'";
}

/* One generated file to check: its symbol name and what the decoder must
 * give back for it. */
struct CASE {
  std::string sName;
  std::string Expected;
};

/* Compiles main.c (which includes every generated file) with the decoder,
 * runs it and splits its output by bitmap. Gives false with a message on
 * a compiler or run failure. */
bool CompileAndRun(const std::string& sCC, const TempDir& Dir, const std::vector<CASE>& aCase,
                   std::map<std::string, std::string>* pDecoded, std::string* pMessage) {
  std::string sMain = "#include <stdio.h>\n#include \"decode.h\"\n\n";
  /* The extern declaration in front of each file makes the compiler
   * refuse a descriptor that the file declares static. */
  for (const CASE& c : aCase) {
    sMain += "extern OMRAK_CONST_STORAGE OMRAK_BITMAP bm" + c.sName + ";\n";
    sMain += "#include \"" + c.sName + ".c\"\n";
  }
  sMain += "\nint main(void) {\n  int r = 0;\n";
  for (const CASE& c : aCase) {
    sMain += "  r |= DECODE_Bitmap(stdout, \"" + c.sName + "\", &bm" + c.sName + ", sizeof(ac" + c.sName + "));\n";
  }
  sMain += "  return r;\n}\n";
  WriteFileBytes(Dir.File("main.c"), sMain);
  std::string sLog = Dir.File("cc.log");
  std::string sExe = Dir.File("client");
  std::string Cmd = Quote(sCC) + " -std=c99 -Wall -Werror -I" + Quote(sClientDir) + " -o " + Quote(sExe) + " " +
                    Quote(Dir.File("main.c")) + " " + Quote(sClientDir + "/decode.c") + " >" + Quote(sLog) + " 2>&1";
  if (system(Cmd.c_str()) != 0) {
    *pMessage = "the C compiler refused the files:\n" + ReadFileBytes(sLog).substr(0, 4000);
    return false;
  }
  std::string sOut = Dir.File("decoded.txt");
  int Status = system((Quote(sExe) + " >" + Quote(sOut) + " 2>&1").c_str());
  std::string Output = ReadFileBytes(sOut);
  std::stringstream ss(Output);
  std::string sLine, sCurrent;
  while (std::getline(ss, sLine)) {
    if (sLine.compare(0, 2, "= ") == 0) {
      sCurrent = sLine.substr(2, sLine.find(' ', 2) - 2);
    }
    (*pDecoded)[sCurrent] += sLine + "\n";
  }
  if (Status != 0 && Output.find("\nerror ") == std::string::npos) {
    *pMessage = "the client failed (status " + std::to_string(Status) + "):\n" + Output.substr(0, 4000);
    return false;
  }
  return true;
}

/* Compares line by line, naming the first line that differs. */
void ExpectSameText(const std::string& sName, const std::string& Expected, const std::string& Decoded) {
  if (Expected == Decoded) {
    return;
  }
  std::stringstream e(Expected), d(Decoded);
  std::string le, ld;
  for (int Line = 1;; Line++) {
    bool he = (bool)std::getline(e, le);
    bool hd = (bool)std::getline(d, ld);
    if (!he && !hd) {
      break;
    }
    if (!he || !hd || le != ld) {
      ADD_FAILURE() << sName << ": line " << Line << " differs\n  expected: " << (he ? le.substr(0, 300) : "(end)")
                    << "\n  decoded:  " << (hd ? ld.substr(0, 300) : "(end)");
      return;
    }
  }
}

std::string Hex(uint32_t v) {
  char ac[16];
  snprintf(ac, sizeof(ac), "%X", v);
  return ac;
}

/* What the decoder gives for a picture saved at Format: indices for the
 * palette formats, colours for the others, with the low bits that 5-6-5
 * drops cleared. */
std::string ExpectedText(const std::string& sName, const IMAGE* pImage, int Format, int NoPalette) {
  std::string s = "= " + sName + " " + std::to_string(pImage->XSize) + " " + std::to_string(pImage->YSize) + "\n";
  bool IsIndexed = Format <= 7;
  if (IsIndexed) {
    s += "palette " + std::to_string(pImage->NumColors) + " " + std::to_string(pImage->HasTrans ? 1 : 0);
    if (NoPalette) {
      s += " none";
    } else {
      for (int i = 0; i < pImage->NumColors; i++) {
        s += " " + Hex(IMAGE_GetColor(pImage, i));
      }
    }
    s += "\n";
  } else {
    s += "palette null\n";
  }
  bool Is565 = Format >= 8 && Format <= 11;
  for (int y = 0; y < pImage->YSize; y++) {
    for (int x = 0; x < pImage->XSize; x++) {
      uint32_t v = IsIndexed ? IMAGE_GetPixel(pImage, x, y) : IMAGE_GetPixelColor(pImage, x, y) & 0xFFFFFF;
      if (Is565) {
        v &= 0xF8FCF8;
      }
      s += (x ? " " : "") + Hex(v);
    }
    s += "\n";
  }
  return s;
}

/* The closing comment of a run-length array, "/ * <units> for <pixels>
 * pixels * /": the units that the decoder must count. -1 if missing. */
int UnitsInText(const std::string& Text, int NumPixels) {
  size_t Pos = Text.rfind("0};  /* ");
  int Units = -1, Pixels = -1;
  if (Pos == std::string::npos || sscanf(Text.c_str() + Pos, "0};  /* %d for %d pixels */", &Units, &Pixels) != 2 ||
      Pixels != NumPixels) {
    return -1;
  }
  return Units;
}

/*********************************************************************
*  Pictures. Each is a list of "seeds", one per pixel, row by row; a
*  palette picture takes seed % NumColors as its index, a true-colour
*  picture a colour mixed from the seed.
*/
struct PICTURE {
  std::string           sName;
  int                   XSize, YSize;
  std::vector<uint32_t> aSeed;
};

uint32_t Mix(uint32_t v) {
  v ^= v >> 16;
  v *= 0x7FEB352Du;
  v ^= v >> 15;
  v *= 0x846CA68Bu;
  v ^= v >> 16;
  return v;
}

std::vector<PICTURE> MakePictures() {
  std::vector<PICTURE> a;
  PICTURE p;
  /* Small, odd sizes */
  p = { "odd", 7, 5, {} };
  for (int y = 0; y < 5; y++) for (int x = 0; x < 7; x++) p.aSeed.push_back((uint32_t)(x * 3 + y * 5 + (x * y) % 7));
  a.push_back(p);
  p = { "one", 1, 1, { 5 } };
  a.push_back(p);
  /* Long rows that must wrap, in two rows so that the row ends show */
  p = { "wide", 300, 2, {} };
  for (int y = 0; y < 2; y++) for (int x = 0; x < 300; x++) p.aSeed.push_back((uint32_t)(x + 7 * y));
  a.push_back(p);
  /* Runs of every length that matters for the run-length coders: short
   * ones around the limit of 3, and long ones over the chunk limit of 254
   * and across row ends. Neighbouring runs have different seeds. */
  p = { "runs", 97, 16, {} };
  static const int aLength[] = { 300, 3, 2, 1, 4, 1, 1, 254, 5, 2, 2, 255, 3, 508, 1, 509 };
  for (int k = 0; (int)p.aSeed.size() < 97 * 16; k++) {
    for (int n = 0; n < aLength[k % 16] && (int)p.aSeed.size() < 97 * 16; n++) p.aSeed.push_back((uint32_t)k);
  }
  a.push_back(p);
  /* Noise: long stretches without a repetition */
  p = { "noisy", 23, 13, {} };
  std::mt19937 Random(12345);
  for (int i = 0; i < 23 * 13; i++) p.aSeed.push_back((uint32_t)Random());
  a.push_back(p);
  return a;
}

IMAGE* MakeImage(const PICTURE& Pic, int NumColors) {
  IMAGE* pImage = IMAGE_Create(Pic.XSize, Pic.YSize, NumColors);
  for (int i = 0; i < NumColors; i++) {
    IMAGE_SetColor(pImage, i, Mix((uint32_t)i * 7919u + 13u) & 0xFFFFFF);
  }
  for (int y = 0; y < Pic.YSize; y++) {
    for (int x = 0; x < Pic.XSize; x++) {
      uint32_t Seed = Pic.aSeed[(size_t)(y * Pic.XSize + x)];
      IMAGE_SetPixel(pImage, x, y, NumColors ? Seed % (uint32_t)NumColors : Mix(Seed) & 0xFFFFFF);
    }
  }
  return pImage;
}

/* Palette size used for each palette format: what fits its depth. */
int NumColorsForFormat(int Format) {
  switch (Format) {
  case 1:  return 2;
  case 2:  return 3;
  case 4:  return 11;
  case 6:  return 16;
  case 7:  return 200;
  case 5:  return 256;
  default: return 0;
  }
}

/* Saves one picture as "<sName>.c" in Dir. The save runs in a child
 * process with a limit on the file size and the time, so that a writer
 * that never ends cannot fill the disk. Gives SAVE_REFUSED with the error
 * text in *pError when the writer reports an error, SAVE_BROKEN (and a
 * failure) when it crashed or was stopped. */
enum { SAVE_OK, SAVE_REFUSED, SAVE_BROKEN };

int SaveC(const TempDir& Dir, IMAGE* pImage, const std::string& sName, int Format, int NoPalette, std::string* pError) {
  std::string sFile   = sName + ".c";
  std::string sErrors = Dir.File(sName + ".errors");
  fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    struct rlimit Limit = { 64u << 20, 64u << 20 };
    setrlimit(RLIMIT_FSIZE, &Limit);
    alarm(60);
    ReportCatcher Catcher;
    PLAT_FILE* hFile = PLAT_CreateWrite(Dir.File(sFile).c_str());
    SAVEFORMAT Choice = { Format, NoPalette };
    /* The writer is told the bare file name: the symbol name comes from it. */
    IMAGE* pResult = IMAGE_SaveFile(pImage, hFile, 1, sFile.c_str(), &Choice);
    PLAT_Close(hFile);
    std::string Errors;
    for (const std::string& s : Catcher.Errors) {
      Errors += s + "\n";
    }
    WriteFileBytes(sErrors, Errors);
    _exit(hFile == nullptr ? 2 : pResult != pImage ? 3 : 0);
  }
  int Status = 0;
  waitpid(pid, &Status, 0);
  if (!WIFEXITED(Status) || WEXITSTATUS(Status) != 0) {
    ADD_FAILURE() << sName << ": the save did not finish properly ("
                  << (WIFSIGNALED(Status) ? "signal " + std::to_string(WTERMSIG(Status))
                                          : "exit code " + std::to_string(WEXITSTATUS(Status)))
                  << "; exit 2: no file, exit 3: not the image given back, signals SIGALRM and SIGXFSZ: "
                  << "time or file size limit)";
    return SAVE_BROKEN;
  }
  std::string Errors = ReadFileBytes(sErrors);
  if (!Errors.empty()) {
    *pError = Errors.substr(0, Errors.find('\n'));
    return SAVE_REFUSED;
  }
  return SAVE_OK;
}

/* Saves every picture at every format of the list, compiles them all in
 * one go, decodes and compares. Formats the writer refuses are left out;
 * their error texts go to *pRefused. */
void CheckFormats(const std::string& sCC, const std::vector<int>& aFormat, std::string* pRefused) {
  TempDir Dir;
  ASSERT_NE(Dir.Path, "/tmp") << "no temporary folder";
  std::vector<CASE> aCase;
  std::vector<PICTURE> aPic = MakePictures();
  for (int Format : aFormat) {
    for (const PICTURE& Pic : aPic) {
      IMAGE* pImage = MakeImage(Pic, NumColorsForFormat(Format));
      std::string sName = Pic.sName + "_f" + std::to_string(Format);
      std::string sError;
      int Result = SaveC(Dir, pImage, sName, Format, 0, &sError);
      if (Result == SAVE_REFUSED) {
        *pRefused += "format " + std::to_string(Format) + ": \"" + sError + "\"\n";
        IMAGE_Free(pImage);
        break;
      }
      if (Result == SAVE_BROKEN) {
        IMAGE_Free(pImage);
        continue;
      }
      std::string Expected = ExpectedText(sName, pImage, Format, 0);
      if (Format == 6 || Format == 7 || Format == 10 || Format == 11) {
        int Units = UnitsInText(ReadFileBytes(Dir.File(sName + ".c")), Pic.XSize * Pic.YSize);
        EXPECT_GE(Units, 0) << sName << ": no closing comment with the unit count";
        Expected += "units " + std::to_string(Units) + "\n";
      }
      aCase.push_back({ sName, Expected });
      IMAGE_Free(pImage);
    }
  }
  if (aCase.empty()) {
    return;
  }
  std::map<std::string, std::string> Decoded;
  std::string sMessage;
  ASSERT_TRUE(CompileAndRun(sCC, Dir, aCase, &Decoded, &sMessage)) << sMessage;
  for (const CASE& c : aCase) {
    ExpectSameText(c.sName, c.Expected, Decoded[c.sName]);
  }
}

}  // namespace

TEST(CClient, UncompressedFormatsDecodeToTheSavedPicture) {
  std::string sCC = FindCC();
  if (sCC.empty()) {
    GTEST_SKIP() << "no C compiler \"cc\" in PATH";
  }
  std::string sRefused;
  CheckFormats(sCC, { 1, 2, 4, 5, 8, 9, 12, 13 }, &sRefused);
  EXPECT_EQ(sRefused, "");
}

TEST(CClient, RunLengthFormatsDecodeToTheSavedPicture) {
  std::string sCC = FindCC();
  if (sCC.empty()) {
    GTEST_SKIP() << "no C compiler \"cc\" in PATH";
  }
  std::string sRefused;
  CheckFormats(sCC, { 6, 7, 10, 11 }, &sRefused);
  EXPECT_EQ(sRefused, "");
}

/* Transparency and a palette written for reference only reach the
 * compiled palette as they should; the pixels are the same. */
TEST(CClient, PaletteVariantsDecode) {
  std::string sCC = FindCC();
  if (sCC.empty()) {
    GTEST_SKIP() << "no C compiler \"cc\" in PATH";
  }
  TempDir Dir;
  ASSERT_NE(Dir.Path, "/tmp") << "no temporary folder";
  std::vector<CASE> aCase;
  std::vector<PICTURE> aPic = MakePictures();
  struct { const char* sName; int NumColors, Format, NoPalette, HasTrans; } aVariant[] = {
    { "trans",       11, 4, 0, 1 },
    { "nopal",      256, 5, 1, 0 },
    { "nopaltrans",   2, 1, 1, 1 },
    { "twoat8",       2, 5, 0, 0 },   /* the depth follows the format, not the palette */
  };
  for (const auto& v : aVariant) {
    IMAGE* pImage = MakeImage(aPic[0], v.NumColors);
    pImage->HasTrans = (I8)v.HasTrans;
    std::string sError;
    ASSERT_EQ(SaveC(Dir, pImage, v.sName, v.Format, v.NoPalette, &sError), SAVE_OK) << sError;
    aCase.push_back({ v.sName, ExpectedText(v.sName, pImage, v.Format, v.NoPalette) });
    IMAGE_Free(pImage);
  }
  std::map<std::string, std::string> Decoded;
  std::string sMessage;
  ASSERT_TRUE(CompileAndRun(sCC, Dir, aCase, &Decoded, &sMessage)) << sMessage;
  for (const CASE& c : aCase) {
    ExpectSameText(c.sName, c.Expected, Decoded[c.sName]);
  }
}

/* The decoder itself, on hand-written files: run-length streams at every
 * depth, the byte names of 1-bit rows, and streams that it must refuse.
 * Without this a fault of the decoder could hide a fault of the writer. */
TEST(CClient, DecoderReadsHandWrittenFiles) {
  std::string sCC = FindCC();
  if (sCC.empty()) {
    GTEST_SKIP() << "no C compiler \"cc\" in PATH";
  }
  TempDir Dir;
  ASSERT_NE(Dir.Path, "/tmp") << "no temporary folder";
  /* All files go into one translation unit: each has its own palette. */
  auto Pal16 = [](const std::string& sName) {
    return "static const OMRAK_COLOR Colors" + sName + "[] = { 0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15 };\n"
           "static const OMRAK_LOGPALETTE Pal" + sName + " = { 16, 0, &Colors" + sName + "[0] };\n";
  };
  /* name, file text, expected output after the palette line */
  struct { std::string sName, Text, Expected; } aFile[] = {
    { "rle4",
      Pal16("rle4") +
      "static const unsigned char acrle4[] = { 4, 0x01, 0, 4, 0x23, 0x34, 5, 0x05, 0, 3, 0x67, 0x70, 0 };\n"
      "const OMRAK_BITMAP bmrle4 = { 8, 2, 4, OMRAK_COMPRESS_RLE4, acrle4, &Palrle4, OMRAK_DRAW_RLE4 };\n",
      "1 1 1 1 2 3 3 4\n5 5 5 5 5 6 7 7\nunits 12\n" },
    { "rle8",
      Pal16("rle8") +
      "static const unsigned char acrle8[] = { 4, 1, 0, 4, 2, 3, 3, 4, 5, 5, 0, 3, 6, 7, 7, 0 };\n"
      "const OMRAK_BITMAP bmrle8 = { 8, 2, 8, OMRAK_COMPRESS_RLE8, acrle8, &Palrle8, OMRAK_DRAW_RLE8 };\n",
      "1 1 1 1 2 3 3 4\n5 5 5 5 5 6 7 7\nunits 15\n" },
    /* Three of 0x001F, then a block of 0xF800 and 0x07E0 */
    { "rle16",
      "static const unsigned char acrle16[] = { 3, 0x1F, 0x00, 0, 2, 0x00, 0xF8, 0xE0, 0x07, 0 };\n"
      "const OMRAK_BITMAP bmrle16 = { 5, 1, 10, 16, acrle16, NULL, OMRAK_DRAW_RLE16 };\n",
      "F8 F8 F8 F80000 FC00\nunits 6\n" },
    { "rlem16",
      "static const unsigned char acrlem16[] = { 3, 0x1F, 0x00, 0, 2, 0x00, 0xF8, 0xE0, 0x07, 0 };\n"
      "const OMRAK_BITMAP bmrlem16 = { 5, 1, 10, 16, acrlem16, NULL, OMRAK_DRAW_RLEM16 };\n",
      "F80000 F80000 F80000 F8 FC00\nunits 6\n" },
    { "bits",
      "static const OMRAK_COLOR Colorsbits[] = { 0, 0xFFFFFF };\n"
      "static const OMRAK_LOGPALETTE Palbits = { 2, 1, &Colorsbits[0] };\n"
      "static const unsigned char acbits[] = { XXXXXXXX, XX______, X_X_X_X_, X_______ };\n"
      "const OMRAK_BITMAP bmbits = { 10, 2, 2, 1, acbits, &Palbits };\n",
      "1 1 1 1 1 1 1 1 1 1\n1 0 1 0 1 0 1 0 1 0\n" },
    { "swap888",
      "static const unsigned long acswap888[] = { 0xFF0000, 0x123456 };\n"
      "const OMRAK_BITMAP bmswap888 = { 2, 1, 6, 24, (unsigned char *)acswap888, NULL, OMRAK_DRAW_BMPM888 };\n",
      "FF 563412\n" },
    /* Streams the decoder must refuse */
    { "trailing",
      Pal16("trailing") + "static const unsigned char actrailing[] = { 2, 1, 0, 0 };\n"
      "const OMRAK_BITMAP bmtrailing = { 2, 1, 2, OMRAK_COMPRESS_RLE8, actrailing, &Paltrailing, OMRAK_DRAW_RLE8 };\n",
      "error stream ends after 3 of the array's 4 bytes\n" },
    { "overrun",
      Pal16("overrun") + "static const unsigned char acoverrun[] = { 3, 1, 0 };\n"
      "const OMRAK_BITMAP bmoverrun = { 2, 1, 2, OMRAK_COMPRESS_RLE8, acoverrun, &Paloverrun, OMRAK_DRAW_RLE8 };\n",
      "error run of 3 at pixel 0 passes the end of the picture\n" },
    { "oddnibble",
      Pal16("oddnibble") + "static const unsigned char acoddnibble[] = { 0, 3, 0x12, 0x34, 0 };\n"
      "const OMRAK_BITMAP bmoddnibble = { 3, 1, 2, OMRAK_COMPRESS_RLE4, acoddnibble, &Paloddnibble, OMRAK_DRAW_RLE4 };\n",
      "error odd absolute block at pixel 2: last low nibble is not 0\n" },
  };
  std::vector<CASE> aCase;
  for (const auto& f : aFile) {
    WriteFileBytes(Dir.File(f.sName + ".c"), "#include <stdlib.h>\n#include \"Omrak.h\"\n" + f.Text);
    std::string sPalette = f.Text.find("Colors" + f.sName + "[] = { 0,1,") != std::string::npos
                             ? "palette 16 0 0 1 2 3 4 5 6 7 8 9 A B C D E F\n"
                         : f.sName == "bits" ? "palette 2 1 0 FFFFFF\n"
                                             : "palette null\n";
    std::string sSize = f.Text.substr(f.Text.find("= { ", f.Text.find("OMRAK_BITMAP")) + 4);
    int XSize = 0, YSize = 0;
    sscanf(sSize.c_str(), "%d, %d", &XSize, &YSize);
    aCase.push_back({ f.sName, "= " + f.sName + " " + std::to_string(XSize) + " " + std::to_string(YSize) + "\n" +
                               sPalette + f.Expected });
  }
  std::map<std::string, std::string> Decoded;
  std::string sMessage;
  ASSERT_TRUE(CompileAndRun(sCC, Dir, aCase, &Decoded, &sMessage)) << sMessage;
  for (const CASE& c : aCase) {
    ExpectSameText(c.sName, c.Expected, Decoded[c.sName]);
  }
}
