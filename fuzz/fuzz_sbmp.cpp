/* Feeds arbitrary bytes to the .sbmp reader. */
#include <stddef.h>
#include <stdint.h>

#include "fuzzutil.h"
#include "input/rle.h"

extern "C" int LLVMFuzzerInitialize(int* pArgc, char*** pArgv) {
  (void)pArgc;
  (void)pArgv;
  FUZZ_SilenceReports();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t NumBytes) {
  if (NumBytes > 8000000) {
    return 0;
  }
  IMAGE_Free(SBMP_LoadFromMemory(pData, (U32)NumBytes));
  return 0;
}
