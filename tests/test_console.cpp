/* The build-step program against the desktop program run without a
 * display: the same files, log, standard output and exit code; each error
 * also on standard error behind the picture's name. */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#ifndef _WIN32
#include <unistd.h>
#endif

#include <filesystem>
#include <map>

#include "gtest/gtest.h"
#include "testutil.h"

/* Every file of a folder with its bytes, the captured output left out. */
static std::map<std::string, std::string> _Files(const std::string& sDir) {
  std::map<std::string, std::string> m;
  for (const auto& e : std::filesystem::directory_iterator(sDir)) {
    std::string s = e.path().filename().u8string();
    if (s[0] != '.') m[s] = ReadFileBytes(sDir + "/" + s);
  }
  return m;
}

TEST(BuildStep, DoesWhatTheProgramDoesWithoutDisplay) {
  IMAGE* p = RandomImage(9, 5, 16, 4);
  std::string Pic = SaveBytes(&p, 2);
  IMAGE_Free(p);
  struct {
    std::vector<std::string> aArgs;
    std::string              sEcho;   /* what only the build-step program adds to standard error */
  } aCase[] = {
    { {"pic.bmp", "-convertintogray16", "-rotate90cw", "-saveasout.c,1,4", "-saveasout.gif,3", "-exit"}, "" },
    { {"pic.bmp", "-saveasbad.c,4", "-saveasno.c,1", "-exit"}, "pic.bmp: TYPE has to be between 1 and 3!\n" },
    { {"pic.bmp", "-savetoout.dta,4", "-savetobad.c,1,14", "-exit"}, "pic.bmp: FORMAT has to be between 1 and 13!\n" },
    { {"pic.bmp", "-saveasbad.c,1,3"}, "pic.bmp: Format 3 is not a valid format\n" },
    { {"nothere.bmp", "-fliph", "-exit"}, "nothere.bmp: File not found\n" },
    { {"-saveasx.c,1", "-exit"}, "zelmar-console: No file open!\n" },
    { {"pic.bmp", "-convertintocustompalettepic.bmp", "-exit"}, "pic.bmp: Illegal file header Excpecting the following: 00:U8  Header[8] = "
      "\"OmrakPal\" 08:U32 NumColors 0C:U8  Reserved[4] 10:U32 _aColor[NumColors] \n" },
    { {"pic.bmp", "-rotate90", "-saveasout.bmp,2", "-exit"}, "" },
    { {"-?"}, "" },
  };
  for (auto& c : aCase) {
    TempDir Desk, Step;
    WriteFileBytes(Desk.File("pic.bmp"), Pic);
    WriteFileBytes(Step.File("pic.bmp"), Pic);
    int CodeDesk = WaitZelmar(StartZelmar(Desk.Path, c.aArgs, -1, Desk.File(".out"), Desk.File(".err")));
    ZelmarProgram = ZELMAR_CONSOLE_BINARY;
    int CodeStep = WaitZelmar(StartZelmar(Step.Path, c.aArgs, -1, Step.File(".out"), Step.File(".err")));
    ZelmarProgram = ZELMAR_BINARY;
    std::string sCase = c.aArgs.back() + " after " + c.aArgs.front();
    EXPECT_EQ(CodeStep, CodeDesk) << sCase;
    EXPECT_EQ(_Files(Step.Path), _Files(Desk.Path)) << sCase;
    EXPECT_EQ(ReadFileBytes(Step.File(".out")), ReadFileBytes(Desk.File(".out"))) << sCase;
    /* The echo comes first: with an exit queued there is no box, without
     * one the box's line is left out for the echoed text. */
    std::string ErrDesk = ReadFileBytes(Desk.File(".err"));
    EXPECT_EQ(ReadFileBytes(Step.File(".err")), c.sEcho + (c.sEcho.empty() || c.aArgs.back() == "-exit" ? ErrDesk : ""))
        << sCase;
  }
}

TEST(BuildStep, LinksNoToolkit) {
  SKIP_ON_WINDOWS();
  FILE* pPipe = popen((std::string("ldd '") + ZELMAR_CONSOLE_BINARY + "' 2>&1").c_str(), "r");
  ASSERT_NE(pPipe, nullptr);
  std::string s;
  char ac[512];
  while (fgets(ac, sizeof(ac), pPipe)) s += ac;
  pclose(pPipe);
  /* Linked statically or with the C library and no toolkit. */
  EXPECT_TRUE(s.find("libc.so") != std::string::npos || s.find("not a dynamic") != std::string::npos) << s;
  EXPECT_EQ(s.find("libwx"), std::string::npos) << s;
  EXPECT_EQ(s.find("gtk"), std::string::npos) << s;
}

/* A question takes the answer typed on a terminal (y or n in either case,
 * Enter for the default; a line it does not know asks again; end of input
 * gives the default). With no terminal (standard input from /dev/null, or
 * closed) it takes its default and says so. */
TEST(Console, AQuestionTakesTheTypedAnswerOrWithoutTerminalItsDefault) {
  IMAGE* p = RandomImage(30, 30, 0, 3, 300);
  std::string Pic = SaveBytes(&p, 2);
  IMAGE_Free(p);
  const std::string Ask = "Warning: This bitmap contains more than 256 colors.\nConverting it will degrade image quality.\n"
                          "Do you want to convert it anyhow ?";
  const struct { const char* sTyped; int NumAsked; bool IsConverted; } aCase[] = {
    {"n\n", 1, false}, {"N\n", 1, false}, {"y\n", 1, true}, {"Y\n", 1, true}, {"\n", 1, true}, {"x\nn\n", 2, false},
    {"", 1, true}, {"/dev/null", 0, true}, {nullptr, 0, true}};
  for (auto& c : aCase) {
    TempDir Dir;
    WriteFileBytes(Dir.File("pic.bmp"), Pic);
    std::string sIn = c.sTyped ? c.sTyped : "", Expected = Ask + "\n(no terminal to ask: answered Yes)\n";
    [[maybe_unused]] int fdMaster = -1, fdSlave = -1;
    if (c.NumAsked) {   /* typed on a terminal that is held open here, then Ctrl-D */
#ifdef _WIN32
      continue;
#else
      fdMaster = posix_openpt(O_RDWR | O_NOCTTY);
      ASSERT_EQ(grantpt(fdMaster) | unlockpt(fdMaster), 0);
      fdSlave = open((sIn = ptsname(fdMaster)).c_str(), O_RDWR | O_NOCTTY);
      std::string Typed = std::string(c.sTyped) + "\x04";
      ASSERT_EQ(write(fdMaster, Typed.data(), Typed.size()), (ssize_t)Typed.size());
      Expected.clear();
      for (int i = 0; i < c.NumAsked; i++) Expected += Ask + " [Y/n] ";
#endif
    }
    EXPECT_EQ(WaitZelmar(StartZelmar(Dir.Path, {"pic.bmp", "-convertintobestpalette", "-saveasout.c,1", "-exit"}, -1,
                                     "/dev/null", Dir.File(".err"), sIn)), 0) << sIn;
    EXPECT_EQ(ReadFileBytes(Dir.File(".err")), Expected) << c.sTyped;
    EXPECT_EQ(ReadFileBytes(Dir.File("out.c")).find("* NumColors:   256\r\n") != std::string::npos, c.IsConverted) << c.sTyped;
#ifndef _WIN32
    if (fdMaster >= 0) close(fdMaster);
    if (fdSlave >= 0) close(fdSlave);
#endif
  }
}
