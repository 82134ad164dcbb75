/*
 * Times the C source writer on large pictures: a palette picture at
 * format 5 and a true-colour picture at formats 8 and 12. Prints one line
 * per format: "<format> <bytes written> <seconds>".
 *
 *   bench_save <output folder> [size]
 */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include <string>

#include "core/image.h"
#include "output/save.h"
#include "platform/plat.h"

static double _Now(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return (double)t.tv_sec + (double)t.tv_nsec * 1e-9;
}

static void _OnError(const char* s) {
  fprintf(stderr, "error: %s\n", s);
}

/* A cheap pseudo-random sequence, so that the values vary like those of
 * a photograph and every hex digit occurs. */
static U32 _Rand(U32* pState) {
  *pState = *pState * 1664525u + 1013904223u;
  return *pState >> 8;
}

static IMAGE* _MakePicture(int Size, int NumColors) {
  IMAGE* pImage = IMAGE_Create(Size, Size, NumColors);
  if (pImage == NULL) {
    return NULL;
  }
  U32 State = 12345;
  for (int i = 0; i < NumColors; i++) {
    IMAGE_SetColor(pImage, i, _Rand(&State) & 0xFFFFFF);
  }
  for (int y = 0; y < Size; y++) {
    for (int x = 0; x < Size; x++) {
      U32 v = _Rand(&State);
      IMAGE_SetPixel(pImage, x, y, NumColors ? (v & 0xFF) % (U32)NumColors : (v & 0xFFFFFF));
    }
  }
  return pImage;
}

static int _Time(IMAGE* pImage, const std::string& sFolder, int Format) {
  std::string sPath = sFolder + "/bench_f" + std::to_string(Format) + ".c";
  PLAT_FILE* hFile = PLAT_CreateWrite(sPath.c_str());
  if (hFile == NULL) {
    fprintf(stderr, "cannot create %s\n", sPath.c_str());
    return 1;
  }
  SAVEFORMAT Choice = { Format, 0 };
  double t0 = _Now();
  IMAGE_SaveFile(pImage, hFile, 1, sPath.c_str(), &Choice);
  PLAT_Close(hFile);
  double t1 = _Now();
  int Error = 0;
  PLAT_FILE* hRead = PLAT_OpenRead(sPath.c_str(), &Error);
  unsigned NumBytes = PLAT_GetFileSize(hRead);
  PLAT_Close(hRead);
  remove(sPath.c_str());
  printf("%d %u %.6f\n", Format, NumBytes, t1 - t0);
  return 0;
}

int main(int argc, char** argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: bench_save <output folder> [size]\n");
    return 2;
  }
  int Size = argc > 2 ? atoi(argv[2]) : 4000;
  IMAGE_SetHooks(NULL, _OnError, "3.96");
  IMAGE* pPal = _MakePicture(Size, 256);
  IMAGE* pRGB = _MakePicture(Size, 0);
  if (pPal == NULL || pRGB == NULL) {
    return 1;
  }
  int r = _Time(pPal, argv[1], 5) | _Time(pRGB, argv[1], 8) | _Time(pRGB, argv[1], 12);
  IMAGE_Free(pPal);
  IMAGE_Free(pRGB);
  return r;
}
