/* Helpers shared by the tests. */
#ifndef ZELMAR_TESTS_TESTUTIL_H
#define ZELMAR_TESTS_TESTUTIL_H

#include <string>
#include <vector>

#include "core/image.h"

/* Catches the reports of the image core while it lives: every error and
 * status text in order. Restores "no hooks" when it ends. */
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

std::string ReadFileBytes(const std::string& sPath);
void        WriteFileBytes(const std::string& sPath, const std::string& Bytes);
bool        FileExists(const std::string& sPath);

/* Runs build/zelmar in sDir with the arguments (no shell involved) and
 * standard input from /dev/null. Gives the exit code; fills the outputs. */
int RunZelmar(const std::string& sDir, const std::vector<std::string>& aArgs,
              std::string* pStdout = nullptr, std::string* pStderr = nullptr);

/* Little-endian builders for test files. */
void Put16(std::string& s, unsigned v);
void Put32(std::string& s, unsigned v);

/* A Windows Bitmap file of an image: 24 bits for true colour, else
 * 8 bits with its palette. Rows bottom-up. */
std::string MakeBMP(const IMAGE* pImage);
/* An image with a palette of NumColors entries filled with pixels from a
 * simple formula, for tests that need any picture. */
IMAGE* MakeTestImage(int XSize, int YSize, int NumColors);

/* A front end for tests: records every box, answers questions with a
 * chosen reply, sends commands to the main window's handler. Registered
 * while the object lives. */
struct FakeFrontEnd {
  struct Box { std::string Text, Title; int Icon, Buttons; };
  FakeFrontEnd();
  ~FakeFrontEnd();
  std::vector<Box> Boxes;
  int  Answer = 6;           /* PLAT_ID_YES */
  bool IsWindowAlive = true;
  int  NumRefresh = 0;
  /* Dialogs: the file "chosen" (empty: cancel), the list item chosen
   * (-1: cancel), and what the last list showed. */
  std::string FileAnswer;
  int  ListAnswer = -1;
  std::vector<std::string> ListItems;
  int  ListInitialSel = -1;
  std::string DialogTitle;
};

#endif
