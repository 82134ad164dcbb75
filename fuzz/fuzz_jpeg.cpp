/*
 * Feeds arbitrary bytes to the JPEG reader. What it gives must be a
 * picture that the rest of the program can walk: a palette of at most 256
 * entries, transparency only on a palette image, every pixel readable.
 */
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include <turbojpeg.h>

#include "fuzzutil.h"
#include "input/jpeg.h"

extern "C" int LLVMFuzzerInitialize(int* pArgc, char*** pArgv) {
  (void)pArgc;
  (void)pArgv;
  FUZZ_SilenceReports();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t NumBytes) {
  if (NumBytes > 0x100000) {
    return 0;
  }
  /* Pictures above 1 Mi pixels only cost time: the size checks that
   * matter for them happen before any pixel is decoded. */
  tjhandle hJpeg = tjInitDecompress();
  int XSize = 0, YSize = 0, Subsamp = 0, ColorSpace = 0;
  int Error = tjDecompressHeader3(hJpeg, pData, (unsigned long)NumBytes, &XSize, &YSize, &Subsamp, &ColorSpace);
  tjDestroy(hJpeg);
  if (Error == 0 && (uint64_t)XSize * (uint64_t)YSize > (1u << 20)) {
    return 0;
  }
  IMAGE* pImage = JPEG_LoadFromMemory(pData, (U32)NumBytes);
  FUZZ_WalkAndFree(pImage);
  return 0;
}
