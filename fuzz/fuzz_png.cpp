/*
 * Feeds arbitrary bytes to the PNG reader. What it gives must be a
 * picture that the rest of the program can walk: a palette of at most 256
 * entries, transparency only on a palette image, every pixel readable.
 */
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "input/png.h"

static void _Ignore(const char* sText) {
  (void)sText;
}

extern "C" int LLVMFuzzerInitialize(int* pArgc, char*** pArgv) {
  (void)pArgc;
  (void)pArgv;
  IMAGE_SetHooks(_Ignore, _Ignore, "fuzz");
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
  if (pImage) {
    if (pImage->NumColors > 256 || (pImage->HasTrans && pImage->NumColors == 0)) {
      abort();
    }
    U32 Sum = 0;
    for (I32 y = 0; y < pImage->YSize; y++) {
      for (I32 x = 0; x < pImage->XSize; x++) {
        Sum += IMAGE_GetPixelColor(pImage, x, y);
      }
    }
    (void)Sum;
    IMAGE_Free(pImage);
  }
  return 0;
}
