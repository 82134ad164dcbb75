/*
 * What the fuzz harnesses share: reports that go nowhere, and the check
 * that a decoded picture is one the rest of the program can walk.
 */
#ifndef ZELMAR_FUZZ_FUZZUTIL_H
#define ZELMAR_FUZZ_FUZZUTIL_H

#include <stdlib.h>

#include "core/image.h"

static inline void FUZZ_IgnoreText(const char* sText) {
  (void)sText;
}

/* Status and error texts are dropped: the harness looks at results. */
static inline void FUZZ_SilenceReports(void) {
  IMAGE_SetHooks(FUZZ_IgnoreText, FUZZ_IgnoreText, "fuzz");
}

/* A palette of at most 256 entries, transparency only on a palette image,
 * every pixel readable; then the picture is freed. */
static inline void FUZZ_WalkAndFree(IMAGE* pImage) {
  if (pImage == NULL) {
    return;
  }
  if (pImage->NumColors > 256 || (pImage->HasTrans && pImage->NumColors == 0)) {
    abort();
  }
  volatile U32 Sum = 0;
  for (I32 y = 0; y < pImage->YSize; y++) {
    for (I32 x = 0; x < pImage->XSize; x++) {
      Sum = Sum + IMAGE_GetPixelColor(pImage, x, y);
    }
  }
  IMAGE_Free(pImage);
}

#endif
