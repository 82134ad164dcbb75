/*
 * Times the GIF reader and writer on a large palette picture and does
 * the same work with giflib in the same process.
 *
 *   bench_gif <work folder> [size] [rounds]
 *
 * The picture is SIZE x SIZE (default 2000) of 256 colours: smooth bands
 * with noise in them, so that the LZW tables fill and clear often but
 * runs still exist. Each step runs ROUNDS times (default 3); the best
 * time counts. Our writer and reader include the best-palette step that
 * they always run; it is also timed alone so that the coding itself can
 * be told apart.
 */
#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include <gif_lib.h>

#include "color/palette.h"
#include "bench/benchutil.h"
#include "core/image.h"
#include "input/gif.h"
#include "output/gifout.h"
#include "platform/plat.h"

static IMAGE* _MakePicture(int Size) {
  IMAGE* pImage = IMAGE_Create(Size, Size, 256);
  if (pImage == NULL) {
    return NULL;
  }
  U32 State = 4711;
  for (int i = 0; i < 256; i++) {
    IMAGE_SetColor(pImage, i, (U32)i | (U32)(255 - i) << 8 | (U32)((i * 7) & 0xFF) << 16);
  }
  for (int y = 0; y < Size; y++) {
    for (int x = 0; x < Size; x++) {
      int Band = (x / 9 + y / 13) & 0xFF;
      int Noise = (int)(BENCH_Rand(&State) % 8);
      U32 Index = (U32)((Band + (Noise > 5 ? Noise : 0)) & 0xFF);
      IMAGE_SetPixel(pImage, x, y, Index);
    }
  }
  return pImage;
}

static long _FileSize(const std::string& sPath) {
  FILE* f = fopen(sPath.c_str(), "rb");
  if (f == NULL) {
    return -1;
  }
  fseek(f, 0, SEEK_END);
  long n = ftell(f);
  fclose(f);
  return n;
}

/*********************************************************************
*  The steps
*/
static int _OurWrite(const IMAGE* pImage, const std::string& sPath) {
  IMAGE* pCopy = IMAGE_Copy(pImage);
  PLAT_FILE* hFile = PLAT_CreateWrite(sPath.c_str());
  IMAGE* pResult = GIF_SaveFile(pCopy, hFile);
  PLAT_Close(hFile);
  IMAGE_Free(pResult);
  return pResult != NULL;
}

static int _OurRead(const std::string& sPath) {
  PLAT_FILE* hFile = PLAT_OpenRead(sPath.c_str(), NULL);
  IMAGE* pImage = GIF_LoadFile(hFile);
  PLAT_Close(hFile);
  IMAGE_Free(pImage);
  return pImage != NULL;
}

static int _BestPalette(const IMAGE* pImage) {
  IMAGE* pResult = CONVERT_IntoBestPalette(IMAGE_Copy(pImage));
  IMAGE_Free(pResult);
  return pResult != NULL;
}

static int _GiflibWrite(const IMAGE* pImage, const std::string& sPath) {
  int Error = 0;
  GifFileType* pGif = EGifOpenFileName(sPath.c_str(), false, &Error);
  if (pGif == NULL) {
    return 0;
  }
  EGifSetGifVersion(pGif, true);
  GifColorType aColor[256];
  for (int i = 0; i < 256; i++) {
    U32 c = IMAGE_GetColor(pImage, i);
    aColor[i].Red   = (GifByteType)c;
    aColor[i].Green = (GifByteType)(c >> 8);
    aColor[i].Blue  = (GifByteType)(c >> 16);
  }
  ColorMapObject* pMap = GifMakeMapObject(256, aColor);
  int IsOk = EGifPutScreenDesc(pGif, pImage->XSize, pImage->YSize, 8, 0, pMap) == GIF_OK
          && EGifPutImageDesc(pGif, 0, 0, pImage->XSize, pImage->YSize, false, NULL) == GIF_OK;
  std::vector<GifPixelType> aRow((size_t)pImage->XSize);
  for (int y = 0; y < pImage->YSize && IsOk; y++) {
    for (int x = 0; x < pImage->XSize; x++) {
      aRow[(size_t)x] = (GifPixelType)IMAGE_GetPixel(pImage, x, y);
    }
    IsOk = EGifPutLine(pGif, aRow.data(), pImage->XSize) == GIF_OK;
  }
  IsOk = EGifCloseFile(pGif, &Error) == GIF_OK && IsOk;
  GifFreeMapObject(pMap);
  return IsOk;
}

static int _GiflibRead(const std::string& sPath) {
  int Error = 0;
  GifFileType* pGif = DGifOpenFileName(sPath.c_str(), &Error);
  if (pGif == NULL) {
    return 0;
  }
  int IsOk = DGifSlurp(pGif) == GIF_OK;
  DGifCloseFile(pGif, &Error);
  return IsOk;
}

template <typename F>
static double _Best(int NumRounds, F Step) {
  double Best = 1e30;
  for (int i = 0; i < NumRounds; i++) {
    double t0 = BENCH_Now();
    if (!Step()) {
      fprintf(stderr, "a step failed\n");
      exit(1);
    }
    double t = BENCH_Now() - t0;
    if (t < Best) {
      Best = t;
    }
  }
  return Best;
}

int main(int argc, char** argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: bench_gif <work folder> [size] [rounds]\n");
    return 1;
  }
  std::string sDir = argv[1];
  int Size = argc > 2 ? atoi(argv[2]) : 2000;
  int NumRounds = argc > 3 ? atoi(argv[3]) : 3;
  IMAGE_SetHooks(NULL, BENCH_OnError, "bench");
  IMAGE* pImage = _MakePicture(Size);
  if (pImage == NULL) {
    return 1;
  }
  std::string sOurs = sDir + "/ours.gif", sTheirs = sDir + "/giflib.gif";
  double tOurWrite   = _Best(NumRounds, [&] { return _OurWrite(pImage, sOurs); });
  double tLibWrite   = _Best(NumRounds, [&] { return _GiflibWrite(pImage, sTheirs); });
  double tOurRead    = _Best(NumRounds, [&] { return _OurRead(sOurs); });
  double tOurReadLib = _Best(NumRounds, [&] { return _OurRead(sTheirs); });
  double tLibRead    = _Best(NumRounds, [&] { return _GiflibRead(sOurs); });
  double tLibReadLib = _Best(NumRounds, [&] { return _GiflibRead(sTheirs); });
  double tBest       = _Best(NumRounds, [&] { return _BestPalette(pImage); });

  printf("\nPicture %d x %d, 256 colours, best of %d rounds\n", Size, Size, NumRounds);
  printf("File sizes: ours %ld bytes, giflib %ld bytes\n\n", _FileSize(sOurs), _FileSize(sTheirs));
  printf("%-44s %9s %9s %7s\n", "step", "ours s", "giflib s", "ratio");
  printf("%-44s %9.3f %9.3f %7.2f\n", "write (ours: with best palette)", tOurWrite, tLibWrite, tOurWrite / tLibWrite);
  printf("%-44s %9.3f %9.3f %7.2f\n", "write, coding only (ours minus best palette)",
         tOurWrite - tBest, tLibWrite, (tOurWrite - tBest) / tLibWrite);
  printf("%-44s %9.3f %9.3f %7.2f\n", "read our file (ours: with best palette)", tOurRead, tLibRead, tOurRead / tLibRead);
  printf("%-44s %9.3f %9.3f %7.2f\n", "read giflib's file (ours: with best palette)", tOurReadLib, tLibReadLib, tOurReadLib / tLibReadLib);
  printf("%-44s %9.3f %9.3f %7.2f\n", "read, decoding only (ours minus best palette)",
         tOurRead - tBest, tLibRead, (tOurRead - tBest) / tLibRead);
  printf("%-44s %9.3f\n", "best palette alone (census and conversion)", tBest);
  IMAGE_Free(pImage);
  return 0;
}
