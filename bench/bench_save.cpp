/*
 * Times the C source writer on large pictures: a palette picture at
 * format 5 and a true-colour picture at formats 8 and 12. Prints one line
 * per format: "<format> <bytes written> <seconds>".
 *
 *   bench_save <output folder> [size]
 */
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "bench/benchutil.h"
#include "core/image.h"
#include "output/save.h"
#include "platform/plat.h"

static int _Time(IMAGE* pImage, const std::string& sFolder, int Format) {
  std::string sPath = sFolder + "/bench_f" + std::to_string(Format) + ".c";
  PLAT_FILE* hFile = PLAT_CreateWrite(sPath.c_str());
  if (hFile == NULL) {
    fprintf(stderr, "cannot create %s\n", sPath.c_str());
    return 1;
  }
  SAVEFORMAT Choice = { Format, 0 };
  double t0 = BENCH_Now();
  IMAGE_SaveFile(pImage, hFile, 1, sPath.c_str(), &Choice);
  PLAT_Close(hFile);
  double t1 = BENCH_Now();
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
  IMAGE_SetHooks(NULL, BENCH_OnError, "3.96");
  IMAGE* pPal = BENCH_MakeRandomPicture(Size, 256, 0, 12345);
  IMAGE* pRGB = BENCH_MakeRandomPicture(Size, 0, 0, 12345);
  if (pPal == NULL || pRGB == NULL) {
    return 1;
  }
  int r = _Time(pPal, argv[1], 5) | _Time(pRGB, argv[1], 8) | _Time(pRGB, argv[1], 12);
  IMAGE_Free(pPal);
  IMAGE_Free(pRGB);
  return r;
}
