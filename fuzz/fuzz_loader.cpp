/*
 * Opens arbitrary bytes through the workspace's one road from a path to
 * the current image. The first byte picks the file name's extension
 * (.bmp, .sbmp, .gif, in other cases, or none) and so the reader; the
 * rest is the file.
 */
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "fuzzutil.h"
#include "commands/workspace.h"
#include "core/image.h"

static std::string _sBase;

extern "C" int LLVMFuzzerInitialize(int* pArgc, char*** pArgv) {
  (void)pArgc;
  (void)pArgv;
  FUZZ_SilenceReports();
  const char* sDir = (access("/dev/shm", W_OK) == 0) ? "/dev/shm" : "/tmp";
  _sBase = std::string(sDir) + "/zelmar-fuzz-loader-" + std::to_string(getpid());
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t NumBytes) {
  static const char* _asExt[] = { ".bmp", ".sbmp", ".gif", ".BMP", ".Gif", ".bmp.old", "", ".txt" };
  if (NumBytes < 1 || NumBytes > 0x1000000) {
    return 0;
  }
  std::string sPath = _sBase + _asExt[pData[0] % 8];
  FILE* pStream = fopen(sPath.c_str(), "wb");
  if (pStream == NULL) {
    return 0;
  }
  fwrite(pData + 1, 1, NumBytes - 1, pStream);
  fclose(pStream);
  OnFileOpen(sPath.c_str());
  /* A second open of the same file pushes the first image. */
  if (pData[0] & 8) {
    OnFileOpen(sPath.c_str());
    UNDO_Pop();
  }
  WORKSPACE_Reset();
  remove(sPath.c_str());
  return 0;
}
