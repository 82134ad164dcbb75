/*
 * Feeds arbitrary bytes to the GIF reader. What it reads, if small, goes
 * through the GIF writer and back through the reader, and must come back
 * with the same colour in every pixel (compared on 24 bits: the marker
 * of a transparent colour and real white are one colour to the palette
 * conversion).
 */
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "fuzzutil.h"
#include "input/gif.h"
#include "output/gifout.h"

static char _acPath[64];

static void _RemoveFile(void) {
  remove(_acPath);
}

extern "C" int LLVMFuzzerInitialize(int* pArgc, char*** pArgv) {
  (void)pArgc;
  (void)pArgv;
  FUZZ_SilenceReports();
  snprintf(_acPath, sizeof(_acPath), "/tmp/zelmar-fuzz-gif-%d.gif", (int)getpid());
  atexit(_RemoveFile);
  return 0;
}

static void _CheckRoundTrip(const IMAGE* pImage) {
  IMAGE* pCopy = IMAGE_Copy(pImage);
  if (pCopy == NULL) {
    return;
  }
  PLAT_FILE* hFile = PLAT_CreateWrite(_acPath);
  if (hFile == NULL) {
    IMAGE_Free(pCopy);
    return;
  }
  IMAGE* pSaved = GIF_SaveFile(pCopy, hFile);
  PLAT_Close(hFile);
  hFile = PLAT_OpenRead(_acPath, NULL);
  IMAGE* pBack = GIF_LoadFile(hFile);
  PLAT_Close(hFile);
  if (pSaved == NULL || pBack == NULL
   || pBack->XSize != (pImage->XSize & 0xFFFF) || pBack->YSize != (pImage->YSize & 0xFFFF)) {
    abort();
  }
  for (I32 y = 0; y < pImage->YSize; y++) {
    for (I32 x = 0; x < pImage->XSize; x++) {
      U32 c0 = IMAGE_GetPixelColor(pImage, x, y) & 0xFFFFFF;
      if ((IMAGE_GetPixelColor(pSaved, x, y) & 0xFFFFFF) != c0
       || (IMAGE_GetPixelColor(pBack, x, y) & 0xFFFFFF) != c0) {
        abort();
      }
    }
  }
  IMAGE_Free(pSaved);
  IMAGE_Free(pBack);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t NumBytes) {
  if (NumBytes > 0x100000) {
    return 0;
  }
  /* Screens between 256K and 4M pixels cost a long census for nothing
   * new; larger ones are refused at once and stay in. */
  if (NumBytes >= 10) {
    int64_t NumPixels = (int64_t)(pData[6] | pData[7] << 8) * (pData[8] | pData[9] << 8);
    if (NumPixels > 262144 && NumPixels <= 4000000) {
      return 0;
    }
  }
  IMAGE* pImage = GIF_LoadFromMemory(pData, (U32)NumBytes);
  if (pImage) {
    if ((int64_t)pImage->XSize * pImage->YSize <= 65536) {
      _CheckRoundTrip(pImage);
    }
    IMAGE_Free(pImage);
  }
  return 0;
}
