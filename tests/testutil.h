/* Helpers shared by the tests. */
#ifndef ZELMAR_TESTS_TESTUTIL_H
#define ZELMAR_TESTS_TESTUTIL_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "core/image.h"

/* Catches the reports of the image core while it lives: every error and
 * status text in order. */
struct ReportCatcher {
  ReportCatcher();
  ~ReportCatcher();
  std::vector<std::string> Errors;
  std::vector<std::string> Status;
  void Clear();
};

/* A fresh empty folder below the system's temporary folder, removed with
 * everything in it when the object ends. */
struct TempDir {
  TempDir();
  ~TempDir();
  std::string Path;
  std::string File(const std::string& sName) const { return Path + "/" + sName; }
};

/* For tests that run tools of the build machine (a C compiler, Python,
 * ImageMagick, strace, ldd) or limits that only POSIX has: skipped in the
 * Windows build, which runs under Wine. */
#ifdef _WIN32
#define SKIP_ON_WINDOWS() GTEST_SKIP() << "needs the tools of the POSIX build machine"
#else
#define SKIP_ON_WINDOWS() (void)0
#endif

std::string ReadFileBytes(const std::string& sPath);
void        WriteFileBytes(const std::string& sPath, const std::string& Bytes);
bool        FileExists(const std::string& sPath);
/* The file tests/golden/<sName>; with ZELMAR_UPDATE_GOLDEN set in the
 * environment it is first rewritten with Actual. */
std::string Golden(const std::string& sName, const std::string& Actual);

/* The program that StartZelmar and RunZelmar start: build/zelmar unless
 * a test switches to another (the build-step program). */
extern const char* ZelmarProgram;

/* Starts build/zelmar in sDir without a display, input from sIn (closed
 * when ""), output to the two files; MaxFileSize >= 0 limits the size of
 * the files it writes (writes past it fail with EFBIG). */
pid_t StartZelmar(const std::string& sDir, const std::vector<std::string>& aArgs, long MaxFileSize = -1,
                  const std::string& sOut = "/dev/null", const std::string& sErr = "/dev/null",
                  const std::string& sIn = "/dev/null");
int   WaitZelmar(pid_t pid);   /* the exit code, or 128 + the signal */
/* Runs build/zelmar in sDir and waits for it. */
inline int RunZelmar(const std::string& sDir, const std::vector<std::string>& aArgs) { return WaitZelmar(StartZelmar(sDir, aArgs)); }

void Put16(std::string& s, unsigned v);
void Put32(std::string& s, unsigned v);

/* A Windows Bitmap file of the image: the exported block behind a file
 * header. */
std::string MakeBMP(const IMAGE* pImage);
/* A Windows Bitmap file: a header of HeaderSize bytes (the fields beyond
 * 40 zero), the colour table (0x00BBGGRR each), then Pixels as given. */
std::string MakeBMPFile(int XSize, int YSize, int Bits, int Compression, const std::vector<U32>& aColor,
                        const std::string& Pixels, int HeaderSize = 40);
/* "0a ff ..." to bytes. */
std::string HexBytes(const std::string& sHex);
/* A fixed pattern: index (x + 3y) mod NumColors, or mixed channels. */
IMAGE* MakeTestImage(int XSize, int YSize, int NumColors);
/* Random pictures: a palette of random colours (none for 0) and random
 * indices or colours; at most NumDistinct values when it is given. */
IMAGE* RandomImage(int XSize, int YSize, int NumColors, unsigned Seed, unsigned NumDistinct = 0);
/* "" when both have the same size, palette, flag and pixels, else the
 * first difference. ByColor compares shown colours only. */
std::string Diff(const IMAGE* pA, const IMAGE* pB, bool ByColor = false);

/* An image through a file of type Type (0 BMP, 1 .sbmp, 2 GIF, or a
 * LOADER_TYPE_); nullptr when it does not load or the file won't open. */
IMAGE* LoadBytes(const std::string& Bytes, int Type);
IMAGE* LoadPath(const std::string& sPath, int Type);
/* Squared distance of two 0x00BBGGRR colours. */
int ColorDist(unsigned a, unsigned b);
/* The bytes IMAGE_SaveFile writes; *ppImage follows what it gives back. */
std::string SaveBytes(IMAGE** ppImage, int Type, int Format = 0, int NoPalette = 0,
                      const std::string& sName = "pic.c");

/* A front end for tests that records the text of every box and answers
 * each with its default. */
struct FakeFrontEnd {
  FakeFrontEnd();
  ~FakeFrontEnd();
  std::vector<std::string> Boxes, Titles;
  void AnswerLists(int Row); /* list questions get Row; without it, their default */
  int ListAnswer = -1;
  int NumRepaints = 0;       /* requests to paint the window again */
  std::string Texts() const; /* every box text, one a line */
};

#endif
