/*
 * Feeds arbitrary bytes, taken as a whole Windows Bitmap file, to the DIB
 * decoder in two ways:
 *
 * - in memory, with the block cut exactly as the loader cuts it (bfSize,
 *   the rest missing), so that the sanitizer sees any read behind it;
 * - through a real file and IMAGE_LoadFile, which adds the loader itself.
 */
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "fuzzutil.h"
#include "input/dib.h"
#include "input/loader.h"

static char _acPath[64];

static void _RemoveFile(void) {
  remove(_acPath);
}

extern "C" int LLVMFuzzerInitialize(int* pArgc, char*** pArgv) {
  (void)pArgc;
  (void)pArgv;
  FUZZ_SilenceReports();
  /* A memory-backed folder where there is one: the file is written for
   * every input. */
  const char* sDir = (access("/dev/shm", W_OK) == 0) ? "/dev/shm" : "/tmp";
  snprintf(_acPath, sizeof(_acPath), "%s/zelmar-fuzz-dib-%d.bmp", sDir, (int)getpid());
  atexit(_RemoveFile);
  return 0;
}

static void _LoadThroughFile(const uint8_t* pData, size_t NumBytes) {
  FILE* pStream = fopen(_acPath, "wb");
  if (pStream == NULL) {
    return;
  }
  fwrite(pData, 1, NumBytes, pStream);
  fclose(pStream);
  PLAT_FILE* hFile = PLAT_OpenRead(_acPath, NULL);
  if (hFile) {
    IMAGE_Free(IMAGE_LoadFile(hFile, 0));
    PLAT_Close(hFile);
  }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t NumBytes) {
  if (NumBytes > 0x1000000) {
    return 0;
  }
  if (NumBytes > 14) {
    uint32_t bfSize = (uint32_t)pData[2] | (uint32_t)pData[3] << 8 | (uint32_t)pData[4] << 16 | (uint32_t)pData[5] << 24;
    uint32_t NumHeld = (uint32_t)NumBytes - 14;
    if (bfSize > 14) {
      uint32_t NumWanted = bfSize - 14;
      uint32_t NumBlock  = NumWanted < NumHeld ? NumWanted : NumHeld;
      /* A copy of exactly the block's size, so that a read behind it is
       * caught. */
      uint8_t* pBlock = new uint8_t[NumBlock ? NumBlock : 1];
      memcpy(pBlock, pData + 14, NumBlock);
      IMAGE_Free(IMAGE_CreateFromShortDIB(pBlock, NumBlock, NumWanted - NumBlock));
      delete[] pBlock;
    }
    /* The block as it stands, whatever bfSize says. */
    IMAGE_Free(IMAGE_CreateFromDIB(pData + 14, NumHeld));
  }
  _LoadThroughFile(pData, NumBytes);
  return 0;
}
