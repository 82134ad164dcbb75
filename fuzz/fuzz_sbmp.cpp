/* Feeds arbitrary bytes to the .sbmp reader. */
#include <stddef.h>
#include <stdint.h>

#include "input/rle.h"

static void _Ignore(const char* sText) {
  (void)sText;
}

extern "C" int LLVMFuzzerInitialize(int* pArgc, char*** pArgv) {
  (void)pArgc;
  (void)pArgv;
  IMAGE_SetHooks(_Ignore, _Ignore, "fuzz");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t NumBytes) {
  if (NumBytes > 8000000) {
    return 0;
  }
  IMAGE_Free(SBMP_LoadFromMemory(pData, (U32)NumBytes));
  return 0;
}
