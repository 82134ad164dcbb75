/* The program as a build script runs it: each case starts build/zelmar in
 * a folder of its own with its arguments; then the exit code, Zelmar.log,
 * the output and the files it wrote are checked. The undo stack is watched
 * in this process. */
#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>

#include "app/main.h"
#include "color/dither.h"
#include "color/palette.h"
#include "color/truecolor.h"
#include "commands/dispatch.h"
#include "commands/workspace.h"
#include "geometry/geometry.h"
#include "testutil.h"

namespace {

using Files = std::map<std::string, std::string>;

/* Arguments split at blanks. sLog: the run's messages, CR LF between them,
 * "" for none (an old log stays); a message ending in '*' stands for any
 * that begins with the rest. sCheck: "FILE=TEXT", FILE holds TEXT, or
 * "FILE^TEXT", FILE begins with it. A failed run writes no file. sOut,
 * sErr: the whole standard output and error, when given. */
struct Case {
  std::string sArgs;
  int Code;
  std::string sLog = "", sCheck = "";
  const char* sOut = nullptr;
  const char* sErr = nullptr;
};

size_t NumFiles(const std::string& sDir) { return (size_t)std::distance(std::filesystem::directory_iterator(sDir), {}); }

/* Runs the cases at once, each in a folder of its own with the inputs its arguments name and any old log. */
void RunCases(const Files& aInput, std::vector<Case> aCase) {
#ifdef _WIN32
  /* No /dev/full there; the full disk is tested on this system's own road. */
  aCase.erase(std::remove_if(aCase.begin(), aCase.end(), [](const Case& c) { return c.sArgs.find("/dev/full") != std::string::npos; }), aCase.end());
#endif
  std::vector<std::unique_ptr<TempDir>> aDir;
  std::vector<pid_t> aPid;
  std::vector<size_t> aNum;
  for (const Case& c : aCase) {
    aDir.emplace_back(new TempDir);
    for (const auto& f : aInput) {
      if (c.sArgs.find(f.first) == std::string::npos && f.first != "Zelmar.log") continue;
      std::filesystem::create_directories(std::filesystem::path(aDir.back()->File(f.first)).parent_path());
      WriteFileBytes(aDir.back()->File(f.first), f.second);
    }
    aNum.push_back(NumFiles(aDir.back()->Path) + 2);
    std::vector<std::string> aArgs;
    std::stringstream ss(c.sArgs);
    for (std::string s; ss >> s;) aArgs.push_back(s);
    aPid.push_back(StartZelmar(aDir.back()->Path, aArgs, -1, aDir.back()->File(".out"), aDir.back()->File(".err")));
  }
  std::string Old = aInput.count("Zelmar.log") ? aInput.at("Zelmar.log") : "";
  for (size_t i = 0; i < aCase.size(); i++) {
    const Case& c = aCase[i];
    auto Read = [&](const std::string& s) { return ReadFileBytes(aDir[i]->File(s)); };
    EXPECT_EQ(WaitZelmar(aPid[i]), c.Code) << c.sArgs;
    std::string Log = Read("Zelmar.log"), e = "\r\n" + c.sLog + "\r\n";
    size_t Star = e.find('*'), End = Log.find("\r\n", Star), k = c.sCheck.find_first_of("=^");
    bool IsLog = c.sLog.empty() ? Log == Old : Star == std::string::npos ? Log == e :
                 Log.compare(0, Star, e, 0, Star) == 0 && End != std::string::npos && Log.substr(End) == e.substr(Star + 1);
    EXPECT_TRUE(IsLog) << c.sArgs << "\nlog: " << Log;
    std::string s = k == std::string::npos ? "" : Read(c.sCheck.substr(0, k));
    size_t Pos = k == std::string::npos ? 0 : s.find(c.sCheck.substr(k + 1));
    EXPECT_TRUE(k == std::string::npos || (c.sCheck[k] == '^' ? Pos == 0 : Pos != std::string::npos)) << c.sArgs << "\n" << s.substr(0, 3000);
    EXPECT_TRUE(!c.Code || NumFiles(aDir[i]->Path) == aNum[i] + (Old.empty() && !Log.empty())) << c.sArgs << ": a file was written";
    EXPECT_TRUE(!c.sOut || Read(".out") == c.sOut) << c.sArgs << "\nout: " << Read(".out");
    EXPECT_TRUE(!c.sErr || Read(".err") == c.sErr) << c.sArgs << "\nerr: " << Read(".err");
  }
}

std::string Bmp(IMAGE* p) { std::string s = MakeBMP(p); IMAGE_Free(p); return s; }

/* cN.bmp has N colours (c5: red, green, blue, black, white), tc.bmp true
 * colour, lr.bmp two pixels (index 0, index 1), grad.bmp 800 pixels of
 * many colours; pN.OmrakPal is a palette file of N colours. Every folder
 * holds a log of an earlier run: only an error replaces it. */
Files Inputs() {
  Files a = {{"tc.bmp", Bmp(RandomImage(7, 3, 0, 1))}, {"grad.bmp", Bmp(RandomImage(40, 20, 0, 3, 2000))}, {"pempty.OmrakPal", ""},
             {"Zelmar.log", "old log"}, {"keep.c", "keep"}, {"empty.bmp", Bmp(IMAGE_Create(0, 3, 2))}};
  const U32 aC5[] = {0x0000FF, 0x00FF00, 0xFF0000, 0, 0xFFFFFF};
  for (int n : {2, 3, 4, 5, 16, 17, 256}) {
    IMAGE* p = RandomImage(7, 3, n, (unsigned)n);
    for (int i = 0; i < 5 && n == 5; i++) IMAGE_SetColor(p, i, aC5[i]);
    a["c" + std::to_string(n) + ".bmp"] = Bmp(p);
  }
  IMAGE* p = IMAGE_Create(2, 1, 2);
  IMAGE_SetPixel(p, 1, 0, 1);
  a["lr.bmp"] = Bmp(p);
  for (U32 n : {1u, 2u, 3u, 256u, 257u, 0xFFFFFFFFu}) {
    std::string& s = a["p" + std::to_string(n) + ".OmrakPal"] = "OmrakPal";
    for (U32 i = 0; i < n + 2 && i < 300; i++) Put32(s, i < 2 ? (i ? 0 : n) : (i - 2) * 0x010101u);
  }
  for (size_t n : {5, 10, 14, 20}) a["pcut" + std::to_string(n) + ".OmrakPal"] = a["p3.OmrakPal"].substr(0, n);
  a["pbehind.OmrakPal"] = a["p3.OmrakPal"] + "behind";
  a["pbad.OmrakPal"] = "OmrakPaX" + a["p3.OmrakPal"].substr(8);
  return a;
}

const std::string kHelp = ReadFileBytes(std::string(ZELMAR_SOURCE_DIR) + "/tests/golden/help.txt");

}  // namespace

/* Every form of argument an option takes, at its edges; the end of a batch. */
TEST(Options, ArgumentFormsAndTheEndOfABatch) {
  Files aIn = Inputs();
  std::string sDither[2];   /* grad.bmp in the 111 palette, without and with dithering */
  for (int Dither : {0, 1}) {
    CONVERT_SetDither(Dither);
    IMAGE* p = CONVERT_Into111(LoadBytes(aIn["grad.bmp"], 0));
    sDither[Dither] = "out.bmp^" + SaveBytes(&p, 2);
    IMAGE_Free(p);
  }
  CONVERT_SetDither(0);
  ASSERT_NE(sDither[0], sDither[1]);
  std::string s19;
  for (int i = 0; i < 19; i++) s19 += " -fliph";
  auto B = [](int n) { return "out.c=  " + std::to_string(n) + ", /* BitsPerPixel */"; };
  auto N = [](int n) { return "out.c=* NumColors:   " + std::to_string(n) + "\r\n"; };
  const std::string sType = "TYPE has to be between 1 and 3!", sFormat = "FORMAT has to be between 1 and 8!", sS = " -saveasout.c,1",
                    sFit = "FORMAT does not fit to bitmap!", sNoPal = "NOPALETTE must be set to 1!", sT = "c5.bmp -transparency",
                    sRange = "Color has to be 000000 - FFFFFF", sGreen = "out.c={\r\n     0x00FF00,", sP = "c5.bmp -convertintocustompalettep",
                    sNotHex = "CMDLINE_GetHexValue: Not a hex value\r\n" + sRange, sO = "grad.bmp -convertintooptimalpalette",
                    sOpt = "Optimal palette: number of colors must be 2 to 256, not ", sD = " -convertinto111 -saveasout.bmp,2",
                    sLess = "_LoadPalette: Number of colors may not be less than 2 !", sFlip = "out.c=  X_______\r\n};", sL = "_LoadPalette: ",
                    sFull = "Write error: /dev/full: No space left on device";
  const char* sH = kHelp.c_str();
  RunCases(aIn, {
    /* Save As: the format by colours; FORMAT, NOPALETTE, TYPE; the type never from the name. */
    {"c2.bmp -saveasout.c,1", 0, "", B(1)}, {"c3.bmp -saveasout.c,1", 0, "", B(2)}, {"c4.bmp -saveasout.c,1", 0, "", B(2)},
    {"c5.bmp /saveasout.c,1", 0, "", B(4)}, {"c16.bmp -saveasout.c,1", 0, "", B(4)}, {"c17.bmp -saveasout.c,1", 0, "", B(8)},
    {"c256.bmp -saveasout.c,1", 0, "", B(8)}, {"tc.bmp -saveasout.c,1", 0, "", B(16)}, {"c2.bmp -saveasout.c,1,5", 0, "", B(8)},
    {"c2.bmp -saveasout.c,1,12", 0, "", B(1)}, {"c3.bmp -saveasout.c,1,1", 1, sFit}, {"c4.bmp -saveasout.c,1,2", 0, "", B(2)},
    {"c5.bmp -saveasout.c,1,2", 1, sFit}, {"c16.bmp -saveasout.c,1,6", 0, "", "out.c=OMRAK_COMPRESS_RLE4"}, {"c17.bmp -saveasout.c,1,6", 1, sFit},
    {"tc.bmp -saveasout.c,1,5", 1, sFit}, {"c256.bmp -saveasout.c,1,7", 0, "", "out.c=OMRAK_COMPRESS_RLE8"}, {"c5.bmp -saveasout.c,1,9", 1, sFormat},
    {"c5.bmp -saveasout.c,1,8", 0, "", "out.c=OMRAK_DRAW_BMP565"}, {"c5.bmp -saveasout.c,1,0", 1, sFormat}, {"c5.bmp -saveasout.c,1,", 1, sFormat},
    {"c5.bmp -saveasout.c,1,4,1", 0, "", "out.c=\r\n#if 0\r\n"}, {"c5.bmp -saveasout.c,1,4,1,x", 0, "", "out.c=  NULL\r\n"},
    {"c5.bmp -saveasout.c,1,4x", 0, "", "out.c=  &Colorsout[0]\r\n"}, {"c5.bmp -saveasout.c,1,4,0", 1, sNoPal}, {"c5.bmp -saveasout.c,1,4,", 1, sNoPal},
    {"c5.bmp -saveasout.c,0", 1, sType}, {"c5.bmp -saveasout.dta,4", 1, sType}, {"c5.bmp -saveasout.c,", 1, sType}, {"c5.bmp -saveasa,b.c,1", 1, sType},
    {"c5.bmp -saveasout.c", 1, "Separator has to be ,"}, {"c5.bmp -saveas,1", 1, "Separator has to be ,"}, {"-saveasout.c,1", 1, "No file open!"}, {"/saveasout.c,1", 1, "No file open!"},
    {"c5.bmp -saveasout.bmp,2,9", 0, "", "out.bmp^BM"}, {"c5.bmp -saveasout.x,3", 0, "", "out.x^GIF89a"}, {"c5.bmp -saveasout.c,2", 0, "", "out.c^BM"},
    {"c5.bmp -saveashc.c,1,8" + sS, 0, "", B(4)},
    /* The queue: 20 options, 199 characters of argument. */
    {"c5.bmp" + s19 + sS, 0, "", B(4)}, {"c5.bmp -fliph" + s19 + sS, 1, "Too many options on the command line: \"saveas\" is ignored"},
    {"c5.bmp -fliph" + s19 + sS + " -exit", 1, "Too many options on the command line: \"saveas\" is ignored\r\nToo many options on the command line: \"exit\" is ignored", "", "",
     "Zelmar: Too many options on the command line: \"saveas\" is ignored\n"},   /* the exit is honoured: no box after it */
    {"c5.bmp -saveas" + std::string(197, 'a') + ",1", 0, "", std::string(197, 'a') + "^/*****"},
    {"c5.bmp -saveas" + std::string(198, 'a') + ",1", 1, "Argument of option \"saveas\" is too long"},
    /* Transparency: hex with and without leading zeros, either case, ended
     * by '-' or ','; 11 digits wrap to 32 bits, 12 are too many. */
    {sT + "00FF00" + sS, 0, "", sGreen}, {sT + "ff00" + sS, 0, "", sGreen}, {sT + "00FF00-1" + sS, 0, "", sGreen}, {sT + "FF00,x" + sS, 0, "", sGreen},
    {sT + "1000000ff00" + sS, 0, "", sGreen}, {sT + "10000000ff00" + sS, 1, sNotHex}, {sT + "-" + sS, 0, "", "out.c={\r\n     0x000000,"},
    {sT + "FFFFFF" + sS, 0, "", "out.c={\r\n     0xFFFFFF,"}, {sT + sS, 1, "CMDLINE_GetHexValue: Missing value"}, {sT + "12g" + sS, 1, sNotHex},
    {sT + "," + sS, 1, "Not a hex value"}, {sT + "-FF0000" + sS, 1, sRange}, {sT + "1000000" + sS, 1, sRange},
    {sT + "123456" + sS, 1, "Color not found in image"}, {"tc.bmp -transparency000000" + sS, 1, "No palette, can not create transparency"},
    {"-transparency000000", 1, "No file open!"},
    /* Custom palette files of 2 to 256 colours, the name ending at a comma. */
    {sP + "3.OmrakPal" + sS, 0, "", N(3)}, {sP + "2.OmrakPal" + sS, 0, "", N(2)}, {sP + "256.OmrakPal" + sS, 0, "", N(256)},
    {sP + "3.OmrakPal,x" + sS, 0, "", N(3)}, {sP + "behind.OmrakPal" + sS, 0, "", N(3)}, {sP + "empty.OmrakPal" + sS, 0, "", N(256)},
    {"c5.bmp -convertintocustompalette" + sS, 1, "CMDLINE_GetString: Missing string\r\nInvalid file handle"},
    {sP + "none.OmrakPal" + sS, 1, "Invalid file handle"}, {sP + "1.OmrakPal" + sS, 1, sLess}, {sP + "4294967295.OmrakPal" + sS, 1, sLess},
    {sP + "257.OmrakPal" + sS, 1, sL + "Number of colors may not exceed 256 !"}, {sP + "cut5.OmrakPal" + sS, 1, sL + "Could not read header"},
    {sP + "cut10.OmrakPal" + sS, 1, sL + "Could not read number of entries"}, {sP + "cut14.OmrakPal" + sS, 1, sL + "Dummy read at 0xc failed"},
    {sP + "cut20.OmrakPal" + sS, 1, sL + "Could not read palette data"},
    {sP + "bad.OmrakPal" + sS, 1, "Illegal file header\nExcpecting the following:\n00:U8  Header[8] = \"OmrakPal\"\n08:U32 NumColors\n"
     "0C:U8  Reserved[4]\n10:U32 _aColor[NumColors]\n"},
    /* The optimal palette of 2 to 256 colours; dithering on and off. */
    {sO + sS, 0, "", N(256)}, {sO + "2" + sS, 0, "", N(2)}, {sO + "256" + sS, 0, "", N(256)}, {sO + "0004" + sS, 0, "", N(4)},
    {sO + "1" + sS, 1, sOpt + "\"1\""}, {sO + "257" + sS, 1, sOpt + "\"257\""}, {sO + "16," + sS, 1, sOpt + "\"16,\""},
    {sO + "99999999999" + sS, 1, sOpt + "\"99999999999\""}, {"grad.bmp" + sD, 0, "", sDither[0]}, {"grad.bmp -dither" + sD, 0, "", sDither[1]},
    {"grad.bmp -dither1" + sD, 0, "", sDither[1]}, {"grad.bmp -dither1 -dither0" + sD, 0, "", sDither[0]},
    {"grad.bmp -dither2" + sD, 1, "Dither: 0 or 1 expected, not \"2\""}, {"grad.bmp -dither01" + sD, 1, "Dither: 0 or 1 expected, not \"01\""},
    /* Names: the first row whose whole name begins the text, case and all;
     * a second name without prefix is passed over. */
    {"lr.bmp -fliph" + sS, 0, "", sFlip}, {"lr.bmp /fliphxyz" + sS, 0, "", sFlip}, {"lr.bmp c5.bmp -rotate180" + sS, 0, "", sFlip},
    {"lr.bmp -invertindicesx" + sS, 0, "", sFlip}, {"lr.bmp -FLIPH -rotate90 -" + sS, 0, "", "out.c=  _X______\r\n};", "",
     "Error: \"FLIPH\" is not a valid command !\nError: \"rotate90\" is not a valid command !\nError: \"\" is not a valid command !\n"},
    {"lr.bmp -rotate90cw" + sS, 0, "", "out.c=  ________,\r\n  X_______\r\n};"}, {"lr.bmp -rotate90ccw" + sS, 0, "", "out.c=  X_______,\r\n  ________\r\n};"},
    /* When a batch ends, and what a failed write of each file type reports.
     * Refused saves leave the file they would replace as it was. */
    {"c5.bmp -saveasbad.c,4 -saveasout.c,1 -exit", 1, sType, "", "", ""}, {"c5.bmp -exit -saveasout.c,1,9", 0, "", "", "", ""},
    {"c5.bmp -saveasbad.c,4 -saveasout.c,1", 1, sType, "", "", "Zelmar: TYPE has to be between 1 and 3!\n"},
    {"c5.bmp -saveasout.c,1 -exit -saveasx.c,1,9", 0, "", "out.c=*        Omrak-Zelmar V3.96.\r\n", "", ""},
    {"nothere.bmp -saveasout.c,1 -exit", 1, "File not found", "", sH, ""}, {"nothere.bmp", 0, "", "", sH, "Zelmar: File not found\n"},
    {"c5.bmp -saveas -exit", 1, "CMDLINE_GetString: Missing string\r\nSeparator has to be ,", "", "", ""},
    {"c5.bmp /? -saveasout.c,1", 0, "", "out.c^/*****", sH, ""}, {"-helpme", 0, "", "", sH, ""},
    {"c5.bmp -saveas/dev/full,1 -exit", 1, sFull}, {"c5.bmp -saveas/dev/full,2 -exit", 1, sFull}, {"c5.bmp -saveas/dev/full,3 -exit", 1, sFull},
    {"c5.bmp -saveaskeep.c,1,3 -exit", 1, "Format 3 is not a valid format", "keep.c^keep"},
    {"empty.bmp -saveaskeep.c,3 -exit", 1, "Image contains no colors", "keep.c^keep"}, {"c5.bmp -saveasnone/keep.c,1 -exit", 1, "Invalid file handle"},
  });
}

/* Save To: every type and format as the save engine writes it (a palette
 * picture expanded for the true-colour formats, as Save As does), and its
 * refusals, which touch nothing. */
TEST(SaveTo, EveryTypeAndFormatAsTheSaveEngineWritesThem) {
  Files aIn = Inputs();
  const struct { const char* sPic; const char* sArg; int Type, Format, NoPalette; } aGood[] = {
    {"c2", "1", 1, 1, 0},     {"c2", "1,2", 1, 2, 0},   {"c2", "1,4", 1, 4, 0},   {"c2", "1,5,1", 1, 5, 1}, {"c2", "1,6", 1, 6, 0},
    {"c2", "1,07", 1, 7, 0},  {"c2", "1,8", 1, 8, 0},   {"c2", "1,9", 1, 9, 0},   {"c2", "1,10", 1, 10, 0}, {"c2", "1,11", 1, 11, 0},
    {"c2", "1,12", 1, 12, 0}, {"c2", "1,13", 1, 13, 0}, {"tc", "1", 1, 8, 0},     {"tc", "1,11", 1, 11, 0}, {"tc", "1,13", 1, 13, 0},
    {"c2", "2", 2, 0, 0},     {"c2", "3", 3, 0, 0},     {"c2", "4", 4, 0, 0},
  };
  std::vector<Case> aCase;
  for (auto& g : aGood) {
    IMAGE* p = LoadBytes(aIn[std::string(g.sPic) + ".bmp"], 0);
    if (g.Format >= 8 && IMAGE_GetNumColors(p)) p = CONVERT_IntoRGB(p);
    std::string s = SaveBytes(&p, g.Type, g.Format, g.NoPalette, "my-out.c");   /* C text: from behind the banner */
    aCase.push_back({std::string(g.sPic) + ".bmp -savetomy-out.c," + g.sArg, 0, "", g.Type == 1 ? "my-out.c=" + s.substr(s.find("* Source file")) : "my-out.c^" + s});
    IMAGE_Free(p);
  }
  const std::string sFormat = "FORMAT has to be between 1 and 13!", sType = "TYPE has to be between 1 and 4!";
  const std::vector<Case> aBad = {
    {"c2.bmp -savetokeep.c,1,14", 1, sFormat, "keep.c^keep"}, {"c2.bmp -savetox.c,1,", 1, sFormat}, {"c2.bmp -savetox.c,1,1x", 1, sFormat},
    {"c2.bmp -savetox.c,1,0", 1, sFormat}, {"c2.bmp -savetox.c,1,3", 1, "Format 3 is not a valid format"}, {"c2.bmp -savetox.c,5", 1, sType},
    {"c2.bmp -savetox.c,0", 1, sType}, {"c2.bmp -savetox.c,12", 1, sType}, {"c2.bmp -savetox.c,2,1", 1, "FORMAT and NOPALETTE are for TYPE 1 only!"},
    {"c2.bmp -savetox.c;1", 1, "Separator has to be ,"}, {"c2.bmp -savetox.c,1,5,0", 1, "NOPALETTE must be set to 1!"},
    {"c2.bmp -savetox.c,1,5,", 1, "NOPALETTE must be set to 1!"}, {"tc.bmp -savetox.c,4", 1, "TYPE 4 (C stream) needs a palette image!"},
    {"tc.bmp -savetox.c,1,7", 1, "FORMAT does not fit to bitmap!"}, {"-savetox.c,1", 1, "No file open!"},
  };
  aCase.insert(aCase.end(), aBad.begin(), aBad.end());
  RunCases(aIn, aCase);
}

/* Every reader message, as the log of a batch gets it. The reader follows
 * the extension from the last dot, in any letter case and as a prefix:
 * seven bytes that each reader refuses in its own words. */
TEST(Batch, ReaderByExtensionAndItsMessages) {
  const std::vector<U32> a2 = {0, 0xFFFFFF};
  auto Patch = [](std::string s, size_t Pos, int v) { std::string w; Put32(w, (unsigned)v); return s.replace(Pos, 4, w); };
  auto R = [](const std::string& s) { return s + (s.empty() ? "" : "\r\n") + "Error opening file"; };   /* refused */
  std::string Ok = MakeBMPFile(2, 1, 8, 0, a2, HexBytes("00 01 00 00 ")), Sbmp("SB\2\0\1\0\0\0", 8), Sbmp1 = Sbmp + std::string("\2\0\1\2\3", 5);
  std::string Rle8 = MakeBMPFile(2, 1, 8, 1, a2, HexBytes("02 01 00 01 ")), Rle4 = MakeBMPFile(2, 1, 4, 2, a2, HexBytes("02 11 00 01 "));
  std::string Gif("GIF89a\2\0\2\0\x80\0\0\0\0\0\xFF\xFF\xFF", 19), Desc(",\0\0\0\0\2\0\2\0\0", 10), sZero = "NumPixelBytes == 0. Converting anyhow.";
  const std::string sUnknown = " BPP bitmap - Unknown compression format (should be BI_RGB or BI_RLE", sRead = "Image could not be read";
  struct { const char* sName; std::string Bytes; int Code; std::string sLog; } aFile[] = {
    {"short.bmp", "BM" + std::string(11, '\0'), 1, R("File too short (truncated ?)")}, {"tag.bmp", "BN" + Ok.substr(2), 1, R("Illegal file header !")},
    {"size14.bmp", Patch(Ok, 2, 14), 1, R("")}, {"c4.bmp", MakeBMPFile(2, 1, 4, 1, a2, HexBytes("01 00 00 00 ")), 1, R("4" + sUnknown + "4)")},
    {"c8.bmp", MakeBMPFile(2, 1, 8, 2, a2, HexBytes("01 00 00 00 ")), 1, R("8" + sUnknown + "8)")},
    {"c16.bmp", MakeBMPFile(2, 1, 16, 1, {}, std::string(4, '\0')), 1, R("16" + sUnknown + "8)")},
    {"n8.bmp", Patch(Rle8, 34, -1), 1, R("Can not decompress RLE8: File invalid: NumPixelBytes < 0")},
    {"n4.bmp", Patch(Rle4, 34, -1), 1, R("Can not decompress RLE4: File invalid: NumPixelBytes < 0")},
    {"z8.bmp", Patch(Rle8, 34, 0), 1, "Illegal file format: 8 BPP, RLE8, " + sZero}, {"z4.bmp", Patch(Rle4, 34, 0), 1, "Illegal file format: 4 BPP, RLE4, " + sZero},
    {"top4.bmp", MakeBMPFile(2, 1, 4, 2, a2, HexBytes("02 11 00 00 00 00 ")), 0, ""}, {"down1.bmp", Patch(Ok, 22, -1), 0, ""},
    {"s7.sbmp", Sbmp.substr(0, 7), 1, R("File too short (Incomplete header)")}, {"tag.sbmp", "XB" + Sbmp.substr(2), 1, R("Illegal file header !")},
    {"pal.sbmp", Sbmp.substr(0, 6) + "\2" + std::string(6, '\0'), 1, R("File too short (Incomplete or missing color table)")},
    {"miss.sbmp", Sbmp + std::string("\1\0\1\2\3", 5), 1, "File too short (Missing data)"}, {"zero.sbmp", "SB" + std::string(6, '\0'), 0, ""},
    {"8000000.sbmp", std::string(Sbmp1).append(8000000 - 13, 'x'), 0, ""}, {"8000001.sbmp", std::string(Sbmp1).append(8000001 - 13, 'x'), 1, R("File too long")},
    {"g13.gif", Gif.substr(0, 13), 1, R("")}, {"g88.gif", "GIF88a" + Gif.substr(6) + Desc + "\2\2\x84\x51" + '\0', 1, R("")},
    {"gtab.gif", Gif.substr(0, 10) + "\x81" + Gif.substr(11, 7), 1, R("Global color table could not be read")},
    {"gdesc.gif", Gif + Desc.substr(0, 4), 1, R("Image descriptor could not be read")},
    {"gloc.gif", Gif + Desc.substr(0, 9) + "\x80\1\2\3", 1, R("Local color table could not be read")},
    {"gcode.gif", Gif + Desc + "\x0C\2\x84\x51" + '\0', 1, R(sRead)}, {"gend.gif", Gif + Desc + "\2\1\x04" + '\0', 1, R(sRead)},
    {"gidx.gif", Gif + Desc + "\2\1\x1C" + '\0', 1, R(sRead)}, {"gext.gif", Gif + "!" + '\0', 1, R("Image extension could not be read")},
    {"gearly.gif", Gif + Desc + "\2\2\x44\x01" + '\0', 0, ""}, {"g87.gif", "GIF87a" + Gif.substr(6) + Desc + "\2\2\x44\x01" + '\0', 0, ""},
  };
  Files aIn;
  std::vector<Case> aCase;
  for (auto& f : aFile) aIn[f.sName] = f.Bytes;
  for (auto& f : aFile) aCase.push_back({std::string(f.sName) + " -exit", f.Code, f.sLog});
  for (auto& t : std::vector<std::pair<std::string, std::string>>{{"a.bmp a.BMP a.Bmp a.bmpx a.gif.bmp", "File too short (truncated ?)"},
       {"a.gif a.GIF a.Gif a.bmp.gif", ""}, {"a.sbmp a.SBMP a.Sbmp", "File too short (Incomplete header)"},
       {"a.png a.PNG", "PNG header could not be read: end of stream"},
       {"a.jpg a.JPG a.jpeg a.JPEG", "JPEG header could not be read: Not a JPEG file: starts with 0x53 0x42"},
       {"a a.tga a.bm a.bmp.old d.x/a a.gim a.sbmx a.pnm a.jpe a.jpex", "Unsupported file type"}}) {
    std::stringstream ss(t.first);
    for (std::string sName; ss >> sName; aIn[sName] = Sbmp.substr(0, 7)) aCase.push_back({sName + " -saveasout.bmp,2 -exit", 1, R(t.second)});
  }
  RunCases(aIn, aCase);
}

/* Each flip, turn and inversion of the command line does its own change. */
TEST(Options, EachGeometryOptionDoesItsOwnChange) {
  IMAGE* p = RandomImage(3, 2, 16, 7);
  const std::string Pic = SaveBytes(&p, 2);
  IMAGE_Free(p);
  struct { const char* sOption; IMAGE* (*pf)(IMAGE*); } aCase[] = {
    {"-fliph", IMAGE_FlipH}, {"-flipv", IMAGE_FlipV}, {"-rotate90cw", IMAGE_Rotate90CW}, {"-rotate90ccw", IMAGE_Rotate90CCW},
    {"-rotate180", IMAGE_Rotate180}, {"-invertindices", IMAGE_InvertIndices}, {"-invertpalette", IMAGE_InvertColors},
  };
  for (auto& c : aCase) {
    TempDir Dir;
    WriteFileBytes(Dir.File("pic.bmp"), Pic);
    EXPECT_EQ(RunZelmar(Dir.Path, {"pic.bmp", c.sOption, "-saveasout.bmp,2", "-exit"}), 0) << c.sOption;
    IMAGE* pWant = c.pf(LoadBytes(Pic, 0));
    IMAGE* pGot  = LoadPath(Dir.File("out.bmp"), 0);
    EXPECT_EQ(Diff(pGot, pWant), "") << c.sOption;
    IMAGE_Free(pWant);
    IMAGE_Free(pGot);
  }
}

/* Opening a file pushes the picture it replaces; a failed open keeps
 * picture and stack and changes only the name (after a read) and the type
 * (for a known extension). Eleven changes keep ten snapshots. */
TEST(Workspace, OpenUndoInfoAndDefaultAnswers) {
  FakeFrontEnd Fe;
  WORKSPACE_Reset();
  MAIN_InitApp();
  TempDir Dir;
  IMAGE* pA = RandomImage(3, 2, 5, 1);
  IMAGE* pB = RandomImage(4, 2, 3, 2);
  for (auto& f : Files{{"a.bmp", MakeBMP(pA)}, {"b.GIF", SaveBytes(&pB, 3)}, {"s.sbmp", std::string("SB\2\0\1\0\0\0\2\0\x11\x22\x33", 13)},
                      {"x.Sbmp", "SB"}, {"x.tga", "SB"}, {"p.png", ReadFileBytes(std::string(ZELMAR_SOURCE_DIR) + "/docs/dither_332_off.png")}}) {
    WriteFileBytes(Dir.File(f.first), f.second);
  }
  std::filesystem::create_directory(Dir.File("d.bmp"));
  IMAGE* pS = LoadPath(Dir.File("s.sbmp"), 1);
  struct { const char* sName; bool IsOk; int Type; const char* sNow; int NumUndo; const char* sBoxes; } aStep[] = {
    {"a.bmp", true, 1, "a.bmp", 0, ""}, {"b.GIF", true, 3, "b.GIF", 1, ""}, {"none.bmp", false, 3, "b.GIF", 1, "File not found\n"},
    {"d.bmp", false, 3, "b.GIF", 1, "OnFileOpen: Invalid file handle\n"},
    {"x.Sbmp", false, 2, "x.Sbmp", 1, "File too short (Incomplete header)\nError opening file\n"},
    {"x.tga", false, 2, "x.tga", 1, "Unsupported file type\nError opening file\n"}, {"s.sbmp", true, 2, "s.sbmp", 2, ""},
    {"p.png", true, 2, "p.png", 3, ""},
  };
  for (auto& t : aStep) {
    Fe.Boxes.clear();
    EXPECT_EQ(OnFileOpen(Dir.File(t.sName).c_str()) != nullptr, t.IsOk) << t.sName;
    EXPECT_EQ(std::find(aUndo, aUndo + NUM_UNDO, nullptr) - aUndo, t.NumUndo) << t.sName;
    EXPECT_EQ(LastFileType, t.Type) << t.sName;
    EXPECT_EQ(std::string(acFileName), Dir.File(t.sNow)) << t.sName;
    EXPECT_EQ(Fe.Texts(), t.sBoxes) << t.sName;
  }
  IsOpening = 1;   /* an open while another one waits for an answer */
  Fe.Boxes.clear();
  EXPECT_EQ(OnFileOpen(Dir.File("a.bmp").c_str()), nullptr);
  EXPECT_EQ(Fe.Texts() + acFileName, "Error opening file\n" + Dir.File("p.png"));
  IsOpening = 0;
  for (IMAGE* pWant : {pS, pB, pA, pA}) {
    OnCommand(0xE12B, 0);
    EXPECT_EQ(Diff(pBitmapCurrent, pWant), "");
  }
  /* Undo, paste (of nothing here) and every change paint the window again. */
  for (unsigned Command : {0xE12Bu, 0xE125u, 0x800Au, 0x8016u, 0x8018u, 0x8025u}) {
    int NumBefore = Fe.NumRepaints;
    OnCommand(Command, 0);
    EXPECT_GT(Fe.NumRepaints, NumBefore) << std::hex << Command;
    OnCommand(0xE12B, 0);
  }
  EXPECT_EQ(std::string(acFileName), Dir.File("p.png"));
  for (int i = 0; i < 11; i++) OnCommand(i == 0 ? 0x801E : 0x8018, 0);
  for (int i = 0; i < 11; i++) OnCommand(0xE12B, 0);
  IMAGE* pFirst = IMAGE_InvertIndices(IMAGE_Copy(pA));
  EXPECT_EQ(Diff(pBitmapCurrent, pFirst), "");
  Fe.Boxes.clear();
  OnCommand(0x8021, 0);
  EXPECT_EQ(Fe.Texts(), "Number of colors used: " + std::to_string(IMAGE_CountColors(pFirst)) + "\n");
  for (IMAGE* p : {pA, pB, pS, pFirst}) IMAGE_Free(p);
  /* No answer: a box and a list take their default. */
  pBitmapCurrent->HasTrans = 1;
  OnCommand(0x8009, 0);
  EXPECT_EQ(IMAGE_GetHasTrans(pBitmapCurrent), 1);
  IMAGE_Free(pBitmapCurrent);
  pBitmapCurrent = RandomImage(30, 30, 0, 3, 300);   /* "more than 256 colours, convert anyhow?" */
  OnCommand(0x8022, 0);
  EXPECT_EQ(IMAGE_GetNumColors(pBitmapCurrent), 256);
  for (int Side : {300, 301}) {   /* a picture opens at zoom 2.0, above 300 pixels a side at 1.0 */
    IMAGE* p = IMAGE_Create(Side == 300 ? 300 : 1, Side, 2);
    WriteFileBytes(Dir.File("z.bmp"), MakeBMP(p));
    IMAGE_Free(p);
    OnFileOpen(Dir.File("z.bmp").c_str());
    EXPECT_EQ(Zoom, Side == 300 ? 20 : 10);
  }
  WORKSPACE_Reset();
}
