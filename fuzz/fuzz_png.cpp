/*
 * Feeds arbitrary bytes to the PNG reader. What it gives must be a
 * picture that the rest of the program can walk: a palette of at most 256
 * entries, transparency only on a palette image, every pixel readable.
 */
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "fuzzutil.h"
#include "input/png.h"

extern "C" int LLVMFuzzerInitialize(int* pArgc, char*** pArgv) {
  (void)pArgc;
  (void)pArgv;
  FUZZ_SilenceReports();
  return 0;
}

static U32 _ReadU32BE(const uint8_t* p) {
  return (U32)p[0] << 24 | (U32)p[1] << 16 | (U32)p[2] << 8 | p[3];
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t NumBytes) {
  if (NumBytes > 0x100000) {
    return 0;
  }
  /* Pictures above 1 Mi pixels only cost time: the size checks that
   * matter for them happen before any pixel is decoded. */
  if (NumBytes >= 24 && (uint64_t)_ReadU32BE(pData + 16) * _ReadU32BE(pData + 20) > (1u << 20)) {
    return 0;
  }
  IMAGE* pImage = PNG_LoadFromMemory(pData, (U32)NumBytes);
  FUZZ_WalkAndFree(pImage);
  return 0;
}
