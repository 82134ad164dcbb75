/* Nothing is lost in a save: failed and refused saves leave the file they
 * would replace as it was and say so; the log stays whole when runs share
 * it; generated C names compile; malformed indices stay in their pixel. */
#include <gtest/gtest.h>

#include <sys/stat.h>
#ifdef _WIN32
#include <windows.h>
#else
#include <sys/wait.h>
#endif

#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "output/bmpout.h"
#include "output/save.h"
#include "platform/plat.h"
#include "testutil.h"

namespace {

const std::string sSample = std::string(ZELMAR_SOURCE_DIR) + "/samples/zelmar-logo.bmp";

std::set<std::string> FilesIn(const std::string& sDir) {
  std::set<std::string> a;
  for (const auto& Entry : std::filesystem::directory_iterator(std::filesystem::u8path(sDir))) a.insert(Entry.path().filename().u8string());
  return a;
}

}  // namespace

/* A full disk, for each writer: the old file stays, no temporary is left,
 * and the batch says why and ends with 1. */
TEST(SafeSave, FailedWriteKeepsTheOldFileAndIsReported) {
  SKIP_ON_WINDOWS();
  TempDir Dir;
  IMAGE* pImage = MakeTestImage(300, 300, 0);
  WriteFileBytes(Dir.File("in.bmp"), MakeBMP(pImage));
  IMAGE_Free(pImage);
  const std::string Old(9000, 'o');
  for (const char* sTarget : { "good.c,1,8", "good.bmp,2", "good.gif,3" }) {
    std::string sFile = std::string(sTarget).substr(0, std::string(sTarget).find(','));
    WriteFileBytes(Dir.File(sFile), Old);
    unlink(Dir.File("Zelmar.log").c_str());
    EXPECT_EQ(WaitZelmar(StartZelmar(Dir.Path, { "in.bmp", std::string("-saveas") + sTarget, "-exit" }, 16384)), 1) << sTarget;
    EXPECT_EQ(ReadFileBytes(Dir.File(sFile)), Old) << sTarget;
    EXPECT_EQ(ReadFileBytes(Dir.File("Zelmar.log")), "\r\nWrite error: " + sFile + ": File too large\r\n");
  }
  EXPECT_EQ(FilesIn(Dir.Path), (std::set<std::string>{ "in.bmp", "good.c", "good.bmp", "good.gif", "Zelmar.log" }));
  /* Without the limit the same save replaces the old file, which keeps
   * its mode; a new file and the new log get 0666 less the umask. */
#ifndef _WIN32
  unlink(Dir.File("Zelmar.log").c_str());
  chmod(Dir.File("good.bmp").c_str(), 0751);
  WriteFileBytes(Dir.File("real.c"), Old);   /* a link: the file it points to is replaced */
  std::filesystem::create_symlink("real.c", Dir.File("link.c"));
  mode_t Umask = umask(0);
  EXPECT_EQ(RunZelmar(Dir.Path, { "in.bmp", "-saveasgood.bmp,2", "-saveasnew.c,1", "-saveaslink.c,1", "-saveasx.c,0", "-exit" }), 1);
  umask(Umask);
  EXPECT_EQ(ReadFileBytes(Dir.File("good.bmp")).substr(0, 2), "BM");
  EXPECT_TRUE(std::filesystem::is_symlink(Dir.File("link.c")));
  EXPECT_EQ(ReadFileBytes(Dir.File("real.c")).substr(0, 2), "/*");
  struct stat Info;
  for (auto& f : std::vector<std::pair<const char*, mode_t>>{{"good.bmp", 0751}, {"new.c", 0666}, {"Zelmar.log", 0666}})
    EXPECT_EQ(stat(Dir.File(f.first).c_str(), &Info) == 0 ? Info.st_mode & 07777 : 0, f.second) << f.first;
#endif
}

/* A target that turns into a folder while it is written: the rename
 * fails, is reported, and the temporary goes. */
TEST(SafeSave, FailedRenameLeavesNoTemporary) {
  TempDir Dir;
  std::set<std::string> aLeft = {"out.c"};
#ifndef _WIN32
  /* A temporary of the same name left by another run is passed over. */
  aLeft.insert(".out.c." + std::to_string(getpid()) + ".0.tmp");
  WriteFileBytes(Dir.File(*aLeft.begin()), "other");
#endif
  PLAT_FILE* hFile = PLAT_CreateWrite(Dir.File("out.c").c_str());
  ASSERT_NE(hFile, nullptr);
  PLAT_Write(hFile, "text", 4);
  std::filesystem::create_directory(Dir.File("out.c"));
  WriteFileBytes(Dir.File("out.c/inside"), "x");
  EXPECT_EQ(PLAT_Close(hFile), PLAT_CLOSE_FAILED);
  EXPECT_EQ(FilesIn(Dir.Path), aLeft);
}

/* Names are UTF-8 on every system: a picture in a folder of such a name
 * opens and saves, also as the log's subject. */
TEST(SafeNames, FoldersOfAnyNameOpenAndSave) {
  /* Both programs: on Windows only the desktop one declares UTF-8 as its
   * code page, the build-step one has the system's. */
  for (const char* sProgram : {ZELMAR_BINARY, ZELMAR_CONSOLE_BINARY}) {
    ZelmarProgram = sProgram;
    TempDir Dir;
    const std::string sFolder = "Bilder/\xc3\x9c" "bersicht";
    std::filesystem::create_directories(std::filesystem::u8path(Dir.File(sFolder)));
    WriteFileBytes(Dir.File(sFolder + "/logo.bmp"), ReadFileBytes(sSample));
    WriteFileBytes(Dir.File(sFolder + "/\xc3\xa4.c"), "old");
    EXPECT_EQ(RunZelmar(Dir.Path, { sFolder + "/logo.bmp", "-saveas" + sFolder + "/\xc3\xa4.c,1", "-exit" }), 0);
    EXPECT_EQ(FilesIn(Dir.File(sFolder)), (std::set<std::string>{ "logo.bmp", "\xc3\xa4.c" }));
    EXPECT_EQ(ReadFileBytes(Dir.File(sFolder + "/\xc3\xa4.c")).substr(0, 3), "/**");
    EXPECT_EQ(RunZelmar(Dir.Path, { sFolder + "/logo.bmp", "-saveas" + sFolder + "/no/x.c,1", "-exit" }), 1);
    EXPECT_EQ(RunZelmar(Dir.Path, { sFolder + "/fehlt/nicht.bmp", "-exit" }), 1);
    EXPECT_EQ(ReadFileBytes(Dir.File("Zelmar.log")), "\r\nFile not found\r\n");
  }
  ZelmarProgram = ZELMAR_BINARY;
}

#ifdef _WIN32
/* A target that another program holds open without sharing: the save is
 * reported, the old file and no temporary stay. */
TEST(SafeSave, TargetInUseIsReportedAndKept) {
  TempDir Dir;
  WriteFileBytes(Dir.File("busy.c"), "old");
  HANDLE h = CreateFileW(std::filesystem::u8path(Dir.File("busy.c")).c_str(), GENERIC_READ, FILE_SHARE_READ, NULL,
                         OPEN_EXISTING, 0, NULL);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_EQ(RunZelmar(Dir.Path, { sSample, "-saveasbusy.c,1", "-exit" }), 1);
  CloseHandle(h);
  EXPECT_EQ(ReadFileBytes(Dir.File("busy.c")), "old");
  EXPECT_EQ(ReadFileBytes(Dir.File("Zelmar.log")), "\r\nWrite error: busy.c: The file is in use by another program\r\n");
  EXPECT_EQ(FilesIn(Dir.Path), (std::set<std::string>{ "busy.c", "Zelmar.log" }));
}
#endif

/* Twenty runs fail at once in one folder, each with two messages: every
 * line of the shared log is a whole message (or empty). */
TEST(SafeLog, ParallelRunsLeaveWholeLines) {
  TempDir Dir;
  std::vector<pid_t> aPid;
  for (int i = 0; i < 20; i++) aPid.push_back(StartZelmar(Dir.Path, { sSample, "-saveas", "-exit" }));
  for (pid_t pid : aPid) EXPECT_EQ(WaitZelmar(pid), 1);
  std::string Log = ReadFileBytes(Dir.File("Zelmar.log"));
  EXPECT_NE(Log.find("\r\nSeparator has to be ,"), std::string::npos);
  const std::set<std::string> aKnown = { "", "CMDLINE_GetString: Missing string", "Separator has to be ," };
  for (size_t Pos = 0; Pos <= Log.size();) {
    size_t End = Log.find("\r\n", Pos);
    std::string sLine = Log.substr(Pos, End == std::string::npos ? std::string::npos : End - Pos);
    EXPECT_TRUE(aKnown.count(sLine)) << "torn line: \"" << sLine << "\"";
    Pos = (End == std::string::npos) ? Log.size() + 1 : End + 2;
  }
}

/* Each message leaves in one write, as the system calls show (strace). */
TEST(SafeLog, EachMessageIsOneWrite) {
#ifdef _WIN32
  SKIP_ON_WINDOWS();
#else
  TempDir Dir;
  std::string Cmd = "cd '" + Dir.Path + "' && env -u DISPLAY -u WAYLAND_DISPLAY strace -f -qq -s 200 -e trace=write "
                    "-o trace.txt '" + ZELMAR_BINARY + "' '" + sSample + "' -saveas -exit >/dev/null 2>&1";
  EXPECT_EQ(WEXITSTATUS(system(Cmd.c_str())), 1);
  std::stringstream Trace(ReadFileBytes(Dir.File("trace.txt")));
  std::set<std::string> aWrite;
  for (std::string sLine; std::getline(Trace, sLine);) {
    size_t Pos = sLine.find("write(");
    if (Pos != std::string::npos) aWrite.insert(sLine.substr(sLine.find('"', Pos), sLine.rfind('"') - sLine.find('"', Pos) + 1));
  }
  ASSERT_FALSE(aWrite.empty()) << "strace is needed";
  EXPECT_TRUE(aWrite.count("\"\\r\\nCMDLINE_GetString: Missing string\"") && aWrite.count("\"\\r\\nSeparator has to be ,\""));
#endif
}

/* The desktop program waits for a saved file's bytes to reach the disk
 * before the rename; the build-step program, like a compiler, does not. */
TEST(SafeSave, OnlyTheDesktopProgramWaitsForTheDisk) {
  SKIP_ON_WINDOWS();
#ifndef _WIN32
  for (const char* sProgram : {ZELMAR_BINARY, ZELMAR_CONSOLE_BINARY}) {
    TempDir Dir;
    std::string Cmd = "cd '" + Dir.Path + "' && env -u DISPLAY -u WAYLAND_DISPLAY ASAN_OPTIONS=detect_leaks=0 strace -f -qq "
                      "-e trace=fsync,fdatasync,rename "
                      "-o trace.txt '" + sProgram + "' '" + sSample + "' -saveasout.c,1 -exit >/dev/null 2>&1";
    EXPECT_EQ(WEXITSTATUS(system(Cmd.c_str())), 0) << sProgram;
    std::string Trace = ReadFileBytes(Dir.File("trace.txt"));
    ASSERT_NE(Trace.find("rename("), std::string::npos) << "strace is needed";
    bool IsDesktop = sProgram == std::string(ZELMAR_BINARY);
    EXPECT_EQ(Trace.find("sync(") != std::string::npos, IsDesktop) << sProgram << "\n" << Trace;
  }
#endif
}

/* File names that are no C identifiers give files that compile, among
 * them the bundled sample as scripts/convert-sample.sh writes it. Names
 * that are identifiers stay as they were. */
TEST(SafeNames, GeneratedNamesCompile) {
  SKIP_ON_WINDOWS();
  TempDir Dir;
  struct { std::string sFile, sName; } aCase[] = {
    { "zelmar-logo.c", "zelmar_logo" }, { "my-icon.c", "my_icon" }, { "0th logo.c", "_0thlogo" },
    { "caf\xc3\xa9\nx.c", "caf___x" }, { "plain_Name9.c", "plain_Name9" },
  };
  std::string sMain;
  for (const auto& c : aCase) {
    ASSERT_EQ(RunZelmar(Dir.Path, { sSample, "-saveas" + c.sFile + ",1", "-exit" }), 0) << c.sFile;
    std::string s = ReadFileBytes(Dir.File(c.sFile));
    EXPECT_NE(s.find("* Source file: " + c.sName + "\r\n"), std::string::npos) << c.sFile;
    EXPECT_NE(s.find("OMRAK_BITMAP bm" + c.sName + " = {"), std::string::npos) << c.sFile;
    std::string sCopy = c.sName + ".c";
    WriteFileBytes(Dir.File(sCopy), s);
    sMain += "#include \"" + sCopy + "\"\nconst void* p" + c.sName + " = &bm" + c.sName + ";\n";
  }
  WriteFileBytes(Dir.File("all.c"), sMain);
  std::string Cmd = "cd '" + Dir.Path + "' && cc -std=c99 -Wall -Werror -c -I'" + ZELMAR_SOURCE_DIR +
                    "/tests/cclient' all.c -o all.o >cc.log 2>&1";
  EXPECT_EQ(system(Cmd.c_str()), 0) << ReadFileBytes(Dir.File("cc.log")).substr(0, 3000);
}

/* Indices beyond a 2-colour palette (2, 4, 6, 3, 5) are entry 0 in every
 * packer and never spill into their neighbours. */
TEST(SafeIndex, OutOfPaletteIndexPacksAsEntry0) {
  ReportCatcher Catcher;
  IMAGE* p = IMAGE_Create(9, 1, 2);
  IMAGE_SetColor(p, 0, 0x00FF00);
  IMAGE_SetColor(p, 1, 0xFFFFFF);
  const unsigned aPixel[9] = { 1, 2, 4, 6, 1, 3, 0, 1, 5 };   /* as entries: 1 0 0 0 1 0 0 1 0 */
  for (int x = 0; x < 9; x++) IMAGE_SetPixel(p, x, 0, aPixel[x]);
  EXPECT_EQ(IMAGE_GetPixelColor(p, 1, 0), 0x00FF00u);
  std::vector<U8> Dib((size_t)IMAGE_GetDIBSize(p), 0);
  IMAGE_WriteDIB(p, Dib.data());
  EXPECT_EQ(Dib[48], 0x89);
  EXPECT_EQ(Dib[49], 0x00);
  TempDir Dir;
  auto Save = [&](int Type, int Format) {
    PLAT_FILE* hFile = PLAT_CreateWrite(Dir.File("out").c_str());
    SAVEFORMAT Choice = { Format, 0 };
    EXPECT_EQ(IMAGE_SaveFile(p, hFile, Type, "out.c", &Choice), p);
    EXPECT_EQ(PLAT_Close(hFile), PLAT_CLOSE_OK);
    return ReadFileBytes(Dir.File("out"));
  };
  std::string Dta = Save(4, 0);
  EXPECT_EQ(Dta.substr(Dta.size() - 2), std::string("\x89\x00", 2));
  EXPECT_NE(Save(1, 1).find("  X___X__X, ________\r\n};"), std::string::npos);
  EXPECT_NE(Save(1, 5).find("  0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x01, 0x00\r\n};"), std::string::npos);
  EXPECT_NE(Save(1, 7).find("0, 9, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x01, 0x00, \r\n"), std::string::npos);
  EXPECT_TRUE(Catcher.Errors.empty());
  IMAGE_Free(p);
}
