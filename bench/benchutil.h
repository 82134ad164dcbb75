/*
 * What the benches share: a clock, an error hook that prints, a cheap
 * pseudo-random sequence and a picture of random pixels.
 */
#ifndef ZELMAR_BENCH_BENCHUTIL_H
#define ZELMAR_BENCH_BENCHUTIL_H

#include <stdio.h>
#include <time.h>

#include "core/image.h"

/* Seconds on a monotonic clock. */
static inline double BENCH_Now(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return (double)t.tv_sec + (double)t.tv_nsec * 1e-9;
}

static inline void BENCH_OnError(const char* s) {
  fprintf(stderr, "error: %s\n", s);
}

/* Linear congruential; the top 24 bits, so that values vary like those
 * of a photograph and every hex digit occurs. */
static inline U32 BENCH_Rand(U32* pState) {
  *pState = *pState * 1664525u + 1013904223u;
  return *pState >> 8;
}

/* Random palette (NumColors > 0) or true colour (0). Noise: every pixel
 * drawn anew, so repetitions are rare. Runs: lengths mostly 1 to 8, now
 * and then a long one, so that runs cross row ends. */
static inline IMAGE* BENCH_MakeRandomPicture(int Size, int NumColors, int WithRuns, U32 Seed) {
  IMAGE* pImage = IMAGE_Create(Size, Size, NumColors);
  if (pImage == NULL) {
    return NULL;
  }
  U32 State = Seed;
  for (int i = 0; i < NumColors; i++) {
    IMAGE_SetColor(pImage, i, BENCH_Rand(&State) & 0xFFFFFF);
  }
  U32 NumPixels = (U32)Size * (U32)Size;
  U32 i = 0;
  while (i < NumPixels) {
    U32 n = 1;
    if (WithRuns) {
      U32 r = BENCH_Rand(&State);
      n = (r & 15) == 0 ? 50 + (r >> 4) % 600 : 1 + (r >> 4) % 8;
    }
    U32 v = BENCH_Rand(&State);
    v = NumColors ? (v & 0xFF) % (U32)NumColors : (v & 0xFFFFFF);
    for (U32 k = 0; k < n && i < NumPixels; k++, i++) {
      IMAGE_SetPixel(pImage, (I32)(i % (U32)Size), (I32)(i / (U32)Size), v);
    }
  }
  return pImage;
}

#endif
