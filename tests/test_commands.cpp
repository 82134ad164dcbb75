/* The command line, Save As and the workspace, run in this process as
 * the console runs them; and the program itself, started a few times to
 * check what a build script sees: files, Zelmar.log, output, exit code. */
#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "color/palette.h"
#include "geometry/geometry.h"
#include "commands/cmdline.h"
#include "commands/workspace.h"
#include "commands/dispatch.h"
#include "testutil.h"

namespace {

std::string InDir(const std::string& sName) { return InProcessDir() + "/" + sName; }

/* Writes a Windows Bitmap of pImage (freed) as sName in the in-process folder. */
void PutImage(const std::string& sName, IMAGE* pImage, int Type = 2) {
  WriteFileBytes(InDir(sName), SaveBytes(&pImage, Type));
  IMAGE_Free(pImage);
}

/* The value line of the descriptor in a generated C file. */
std::string BitsLine(const std::string& sName) {
  std::string s = ReadFileBytes(InDir(sName));
  size_t e = s.find(", /* BitsPerPixel */");
  return e == std::string::npos ? "none" : s.substr(s.rfind(' ', e) + 1, e - s.rfind(' ', e) - 1);
}

/* Reads the argument of the queued entry the way a command does. */
std::string _sRead;
int _MaxLen, _HexValue;
void _ReadString(unsigned, unsigned) {
  char ac[64] = {};
  CMDLINE_GetString(ac, _MaxLen);
  _sRead = ac;
  if (CMDLINE_GetChar() == ',') _HexValue = CMDLINE_GetHexValue();
  CMDLINE_CommandDone();
}

}  // namespace

TEST(Cmdline, ArgumentReadersAndQueueLimits) {
  FakeFrontEnd Fe;
  struct { int MaxLen; const char* sArg; const char* sRead; int Hex; const char* sError; } aCase[] = {
    { 10, "0123456789,FFFFFF", "0123456789", 0xFFFFFF, "" },
    { 10, "01234567890", "", -7, "CMDLINE_GetString: String to long" },
    { 10, "", "", -7, "CMDLINE_GetString: Missing string" },
    { 10, "a,12345678901", "a", (int)0x45678901, "" },
    { 10, "a,123456789012", "a", -1, "CMDLINE_GetHexValue: Not a hex value" },
    { 10, "a,12g", "a", -1, "CMDLINE_GetHexValue: Not a hex value" },
  };
  for (auto& c : aCase) {
    CMDLINE_Init("T", "", 0xE141, _ReadString);
    _MaxLen = c.MaxLen;
    _HexValue = -7;
    Fe.Boxes.clear();
    CMDLINE_ParseOption((std::string("saveas") + c.sArg).c_str(), CMDLINE_GetOptionTable());
    CMDLINE_Exec();
    EXPECT_EQ(_sRead, c.sRead) << c.sArg;
    EXPECT_EQ(_HexValue, c.Hex) << c.sArg;
    EXPECT_EQ(Fe.Texts(), *c.sError ? std::string(c.sError) + "\n" : "") << c.sArg;
  }
  Fe.Boxes.clear();
  CMDLINE_Init("T", "", 0xE141, _ReadString);
  for (int i = 0; i < 21; i++) CMDLINE_ParseOption("fliph", CMDLINE_GetOptionTable());
  EXPECT_EQ(CMDLINE_GetError(), 1);
  CMDLINE_Init("T", "", 0xE141, _ReadString);
  CMDLINE_ParseOption(("saveas" + std::string(199, 'a')).c_str(), CMDLINE_GetOptionTable());
  EXPECT_EQ(CMDLINE_GetError(), 0);
  CMDLINE_Init("T", "", 0xE141, _ReadString);   /* a refusal alone fails the run */
  CMDLINE_ParseOption(("saveas" + std::string(200, 'a')).c_str(), CMDLINE_GetOptionTable());
  EXPECT_EQ(CMDLINE_GetError(), 1);
  EXPECT_EQ(Fe.Texts(), "Too many options on the command line: \"fliph\" is ignored\n"
                       "Argument of option \"saveas\" is too long\n");
}

TEST(SaveAs, DefaultFormatsAndRefusedChoices) {
  FakeFrontEnd Fe;
  const struct { int n; const char* sBits; } aDefault[] = {
    {2, "1"}, {3, "2"}, {4, "2"}, {5, "4"}, {16, "4"}, {17, "8"}, {256, "8"}, {0, "16"} };
  for (auto& d : aDefault) {
    PutImage("pic.bmp", RandomImage(5, 3, d.n, 1));
    EXPECT_EQ(RunInProcess(Fe, {"pic.bmp", "-saveasout.c,1"}), 0);
    EXPECT_EQ(BitsLine("out.c"), d.sBits) << d.n << " colours";
  }
  const struct { const char* sOption; const char* sError; } aBad[] = {
    {"-saveasx.c,4", "TYPE has to be between 1 and 3!"}, {"-saveasx.c,1,9", "FORMAT has to be between 1 and 8!"},
    {"-saveasx.c,1,2", "FORMAT does not fit to bitmap!"}, {"-saveasx.c,1,4,0", "NOPALETTE must be set to 1!"},
    {"-saveasx.c;1", "Separator has to be ,"}, {"-transparency123456", "Color not found in image"},
    {"-saveasno/such/x.c,1", "Invalid file handle"},
  };
  PutImage("pic.bmp", RandomImage(5, 3, 5, 1));
  for (auto& b : aBad) {
    Fe.Boxes.clear();
    EXPECT_EQ(RunInProcess(Fe, {"pic.bmp", b.sOption, "-fliph"}), 1) << b.sOption;
    EXPECT_EQ(Fe.Texts(), std::string(b.sError) + "\n");
    /* Every error of a batch reaches the log at once. */
    std::string Log = ReadFileBytes(InDir("Zelmar.log")), Tail = "\r\n" + std::string(b.sError);
    EXPECT_EQ(Log.substr(Log.size() - std::min(Log.size(), Tail.size())), Tail);
  }
  /* A high colour save expands a copy; the palette image stays. */
  EXPECT_EQ(RunInProcess(Fe, {"pic.bmp", "-saveashc.c,1,8", "-saveaspal.c,1"}), 0);
  EXPECT_NE(ReadFileBytes(InDir("hc.c")).find("* NumColors:   0\r\n"), std::string::npos);
  EXPECT_EQ(BitsLine("pal.c"), "4");
  WORKSPACE_Reset();
}

TEST(Workspace, TransparencyOptionOpenUndoAndInfo) {
  FakeFrontEnd Fe;
  IMAGE* p = RandomImage(6, 4, 5, 2);
  IMAGE_SetColor(p, 3, 0xFFFFFF);
  IMAGE* pOrg = IMAGE_Copy(p);
  PutImage("pic.GIF", p, 3);
  EXPECT_EQ(RunInProcess(Fe, {"pic.GIF", "-transparencyFFFFFF"}), 0) << Fe.Texts();
  ASSERT_NE(pBitmapCurrent, nullptr);
  EXPECT_EQ(IMAGE_GetHasTrans(pBitmapCurrent), 1);
  EXPECT_EQ(IMAGE_GetColor(pBitmapCurrent, 0), 0xFFFFFFu);
  EXPECT_EQ(Diff(pBitmapCurrent, pOrg, true), "");
  /* Eleven changes, ten snapshots: undo goes back to the first change. */
  IMAGE_Free(pBitmapCurrent);
  pBitmapCurrent = IMAGE_Copy(pOrg);
  for (int i = 0; i < 11; i++) OnCommand(i == 0 ? 0x801E : 0x8018, 0);
  for (int i = 0; i < 11; i++) OnCommand(0xE12B, 0);
  IMAGE* pFirst = IMAGE_InvertIndices(IMAGE_Copy(pOrg));
  EXPECT_EQ(Diff(pBitmapCurrent, pFirst), "");
  Fe.Boxes.clear();
  OnCommand(0x8021, 0);
  EXPECT_EQ(Fe.Texts(), "Number of colors used: " + std::to_string(IMAGE_CountColors(pFirst)) + "\n");
  IMAGE_Free(pFirst);
  IMAGE_Free(pOrg);
  Fe.Boxes.clear();
  mkdir(InDir("folder.bmp").c_str(), 0700);
  EXPECT_EQ(RunInProcess(Fe, {"-transparency000000"}), 1);
  EXPECT_EQ(RunInProcess(Fe, {"/fliph"}), 1);
  EXPECT_EQ(RunInProcess(Fe, {"folder.bmp"}), 0);
  std::string Expected = "No file open!\nNo file open!\nOnFileOpen: Invalid file handle\nValid command line options:";
  EXPECT_EQ(Fe.Texts().substr(0, Expected.size()), Expected);
  PutImage("tc.bmp", RandomImage(2, 2, 0, 1));
  Fe.Boxes.clear();
  EXPECT_EQ(RunInProcess(Fe, {"tc.bmp", "-transparency000000"}), 1);
  EXPECT_EQ(Fe.Texts(), "No palette, can not create transparency\n");
  WORKSPACE_Reset();
}

TEST(Workspace, WithoutAFrontEndBoxesAndListsTakeTheirDefault) {
  WORKSPACE_Reset();
  pBitmapCurrent = RandomImage(5, 5, 4, 1);
  pBitmapCurrent->HasTrans = 1;
  OnCommand(0x8009, 0);
  EXPECT_EQ(IMAGE_GetHasTrans(pBitmapCurrent), 1);
  IMAGE_Free(pBitmapCurrent);
  pBitmapCurrent = RandomImage(30, 30, 0, 3, 300);   /* "more than 256 colours, convert anyhow?" */
  OnCommand(0x8022, 0);
  EXPECT_EQ(IMAGE_GetNumColors(pBitmapCurrent), 256);
  WORKSPACE_Reset();
}

TEST(Program, WhatABuildScriptSees) {
  TempDir Dir;
  std::string Out, Err;
  IMAGE* p = RandomImage(5, 3, 16, 1);
  WriteFileBytes(Dir.File("pic.bmp"), SaveBytes(&p, 2));
  IMAGE_Free(p);
  EXPECT_EQ(RunZelmar(Dir.Path, {"-?"}, &Out, &Err), 0);
  EXPECT_EQ(Out, Golden("help.txt", Out));
  EXPECT_EQ(Err, "");
  EXPECT_EQ(RunZelmar(Dir.Path, {"pic.bmp", "-rotate90", "-fliph", "-saveasout.c,1", "-saveasbad.c,4", "-saveasno.c,1"},
                      &Out, &Err), 1);
  EXPECT_EQ(Err, "Error: \"rotate90\" is not a valid command !\nZelmar: TYPE has to be between 1 and 3!\n");
  EXPECT_EQ(ReadFileBytes(Dir.File("Zelmar.log")), "\r\nTYPE has to be between 1 and 3!\r\n");
  EXPECT_NE(ReadFileBytes(Dir.File("out.c")).find("*        Omrak-Zelmar V3.96.\r\n"), std::string::npos);
  EXPECT_FALSE(FileExists(Dir.File("no.c")));
  remove(Dir.File("Zelmar.log").c_str());
  /* With standard input closed, files opened get descriptor 0. */
  EXPECT_EQ(WaitZelmar(StartZelmar(Dir.Path, {"pic.bmp", "-saveasout.c,1"}, -1, "/dev/null", "/dev/null", "")), 0);
  EXPECT_EQ(RunZelmar(Dir.Path, {"nothere.bmp", "-fliph", "-exit"}, &Out, &Err), 1);
  EXPECT_EQ(ReadFileBytes(Dir.File("Zelmar.log")), "\r\nFile not found\r\n");
  EXPECT_EQ(Out, Golden("help.txt", Out));
  EXPECT_EQ(Err, "");
}

TEST(Program, QuestionTakesTheTypedAnswerOrWithoutATerminalTheDefault) {
  PutImage("tc.bmp", RandomImage(30, 30, 0, 3, 300));
  const std::string Ask = "Warning: This bitmap contains more than 256 colors.\nConverting it will degrade image quality.\n"
                          "Do you want to convert it anyhow ?";
  /* Lines typed on a terminal, then end of input (Ctrl-D) should it ask again. */
  const struct { const char* sTyped; int NumAsked; bool IsConverted; } aCase[] = {
    { "n\n", 1, false }, { "N\n", 1, false }, { "y\n", 1, true }, { "Y\n", 1, true },
    { "\n", 1, true }, { "x\nn\n", 2, false }, { "", 1, true }, { nullptr, 0, true } };
  for (auto& c : aCase) {
    int fdMaster = posix_openpt(O_RDWR | O_NOCTTY), fdSlave = -1;
    std::string sIn = "/dev/null", Typed = std::string(c.sTyped ? c.sTyped : "") + "\x04", Expected;
    if (c.sTyped) {   /* the terminal, opened here too so that it keeps the typed text until read */
      ASSERT_EQ(grantpt(fdMaster) | unlockpt(fdMaster), 0);
      fdSlave = open((sIn = ptsname(fdMaster)).c_str(), O_RDWR | O_NOCTTY);
      ASSERT_EQ(write(fdMaster, Typed.data(), Typed.size()), (ssize_t)Typed.size());
    }
    EXPECT_EQ(WaitZelmar(StartZelmar(InProcessDir(), {"tc.bmp", "-convertintobestpalette", "-saveasout.c,1"}, -1,
                                     "/dev/null", InDir("err"), sIn)), 0);
    for (int i = 0; i < c.NumAsked; i++) Expected += Ask + " [Y/n] ";
    EXPECT_EQ(ReadFileBytes(InDir("err")), c.sTyped ? Expected : Ask + "\n(no terminal to ask: answered Yes)\n");
    EXPECT_EQ(ReadFileBytes(InDir("out.c")).find("* NumColors:   256\r\n") != std::string::npos, c.IsConverted)
        << (c.sTyped ? c.sTyped : "no terminal");
    close(fdSlave);
    close(fdMaster);
  }
}
