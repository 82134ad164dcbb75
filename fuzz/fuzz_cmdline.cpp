/*
 * Feeds arbitrary bytes to the command line as a whole argument vector
 * (arguments separated by zero bytes) and runs the batch queue to its end,
 * with every command working on a small picture. The first byte picks the
 * shape: a free vector, or a picture followed by one -saveas,
 * -transparency or -convertintocustompalette option whose argument is the
 * rest of the input.
 *
 * Everything runs in a folder of its own; a path separator in an argument
 * becomes '_' so that no file is written outside it.
 */
#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "app/main.h"
#include "commands/cmdline.h"
#include "commands/workspace.h"
#include "output/save.h"
#include "platform/plat.h"

static int _IsWindowAlive;

static int  _MessageBox(const char*, const char*, int, int, int DefaultId) { return DefaultId; }
static void _SendCommand(unsigned Id) { if (_IsWindowAlive) MAIN_OnWindowCommand(Id); }
static int  _WindowExists(void) { return _IsWindowAlive; }
static void _DestroyWindow(void) { _IsWindowAlive = 0; }

static const PLAT_FRONTEND _FrontEnd = {
  _MessageBox, _SendCommand, _WindowExists, _DestroyWindow, NULL, NULL, NULL, NULL, NULL, NULL,
  NULL, NULL, NULL, NULL, NULL, NULL, NULL,
};

/* Removes every file of the folder but the picture and libFuzzer's logs. */
static void _CleanFolder(void) {
  DIR* pDir = opendir(".");
  if (pDir == NULL) {
    return;
  }
  while (struct dirent* pEntry = readdir(pDir)) {
    const char* sName = pEntry->d_name;
    if (strcmp(sName, ".") && strcmp(sName, "..") && strcmp(sName, "a.bmp") && strncmp(sName, "fuzz-", 5)) {
      remove(sName);
    }
  }
  closedir(pDir);
}

extern "C" int LLVMFuzzerInitialize(int* pArgc, char*** pArgv) {
  (void)pArgc;
  (void)pArgv;
  char acDir[] = "/tmp/zelmar-fuzz-cmdline-XXXXXX";
  if (mkdtemp(acDir) == NULL || chdir(acDir) != 0) {
    abort();
  }
  PLAT_SetFrontEnd(&_FrontEnd);
  /* A 5 x 3 picture of 4 colours as a.bmp. */
  IMAGE* pImage = IMAGE_Create(5, 3, 4);
  for (int i = 0; i < 4; i++) {
    IMAGE_SetColor(pImage, i, 0x405080u * (U32)i);
  }
  for (int i = 0; i < 15; i++) {
    IMAGE_SetPixel(pImage, i % 5, i / 5, (U32)(i % 4));
  }
  PLAT_FILE* hFile = PLAT_CreateWrite("a.bmp");
  SAVEFORMAT Format = { 0, 0 };
  IMAGE_Free(IMAGE_SaveFile(pImage, hFile, 2, "a.bmp", &Format));
  PLAT_Close(hFile);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t NumBytes) {
  if (NumBytes < 1 || NumBytes > 4096) {
    return 0;
  }
  static const char* _asOption[] = { "-saveas", "-transparency", "-convertintocustompalette" };
  std::vector<std::string> aArg;
  std::string Rest((const char*)pData + 1, NumBytes - 1);
  int Shape = pData[0] % 4;
  if (Shape == 0) {
    size_t Start = 0;
    for (size_t i = 0; i <= Rest.size() && aArg.size() < 64; i++) {
      if (i == Rest.size() || Rest[i] == 0) {
        aArg.push_back(Rest.substr(Start, i - Start));
        Start = i + 1;
      }
    }
  } else {
    aArg = { "a.bmp", std::string(_asOption[Shape - 1]) + Rest.substr(0, Rest.find('\0')) };
  }
  std::vector<char*> av = { (char*)"zelmar" };
  for (std::string& s : aArg) {
    for (size_t i = 1; i < s.size(); i++) {
      if (s[i] == '/' || s[i] == '\\') {
        s[i] = '_';
      }
    }
    if (!s.empty() && s[0] == '\\') {
      s[0] = '_';
    }
    av.push_back(&s[0]);
  }
  WORKSPACE_Reset();
  MAIN_InitApp();
  _IsWindowAlive = 1;
  MAIN_ParseCommandLine((int)av.size(), av.data());
  for (int i = 0; i < 100 && _IsWindowAlive && CMDLINE_IsPending(); i++) {
    CMDLINE_Exec();
  }
  WORKSPACE_Reset();
  _CleanFolder();
  return 0;
}
