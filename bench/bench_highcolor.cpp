/*
 * One high colour conversion of a picture, for bench/dither.sh: the
 * command line reaches the high colour levels only through the menu.
 *
 *   bench_highcolor IN.ppm FORMAT DITHER OUT.ppm
 *
 * IN and OUT are binary PPM (P6, 8 bits); FORMAT is 555, 655, 565 or 556;
 * DITHER 0 or 1.
 */
#include <stdio.h>
#include <stdlib.h>

#include "bench/benchutil.h"
#include "color/dither.h"
#include "color/truecolor.h"

int main(int argc, char** argv) {
  if (argc != 5) {
    fprintf(stderr, "usage: bench_highcolor IN.ppm FORMAT DITHER OUT.ppm\n");
    return 2;
  }
  FILE* f = fopen(argv[1], "rb");
  int XSize, YSize, Max;
  if (f == NULL || fscanf(f, "P6 %d %d %d", &XSize, &YSize, &Max) != 3 || Max != 255 || fgetc(f) == EOF) {
    fprintf(stderr, "cannot read %s\n", argv[1]);
    return 1;
  }
  IMAGE* p = IMAGE_Create(XSize, YSize, 0);
  for (int y = 0; y < YSize; y++) {
    for (int x = 0; x < XSize; x++) {
      U32 r = (U32)fgetc(f), g = (U32)fgetc(f), b = (U32)fgetc(f);
      IMAGE_SetPixel(p, x, y, b << 16 | g << 8 | r);
    }
  }
  fclose(f);
  IMAGE_SetHooks(NULL, BENCH_OnError, "bench");
  CONVERT_SetDither(atoi(argv[3]));
  p = CONVERT_IntoHighColor(p, atoi(argv[2]));
  f = fopen(argv[4], "wb");
  if (p == NULL || f == NULL) {
    return 1;
  }
  fprintf(f, "P6\n%d %d\n255\n", XSize, YSize);
  for (int y = 0; y < YSize; y++) {
    for (int x = 0; x < XSize; x++) {
      U32 c = IMAGE_GetPixelColor(p, x, y);
      fputc((int)(c & 255), f); fputc((int)(c >> 8 & 255), f); fputc((int)(c >> 16 & 255), f);
    }
  }
  fclose(f);
  IMAGE_Free(p);
  return 0;
}
