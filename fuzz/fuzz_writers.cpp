/*
 * Reads arbitrary bytes as a picture (the first byte picks Windows
 * Bitmap, .sbmp or GIF), applies up to four operations chosen by the next
 * bytes, writes every output type and format, and reads the Windows
 * Bitmap back: its pixels must show the colours of the picture.
 *
 * Pictures above 65,536 pixels are passed over, counting a row or column
 * of no pixels as one (rows are walked even when empty): the writers'
 * time grows with the picture, and the readers' limits have fuzzers of
 * their own.
 */
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "fuzzutil.h"
#include "color/palette.h"
#include "color/transparency.h"
#include "color/truecolor.h"
#include "geometry/geometry.h"
#include "input/dib.h"
#include "input/gif.h"
#include "input/loader.h"
#include "input/rle.h"
#include "output/save.h"

static std::string _sPath;

extern "C" int LLVMFuzzerInitialize(int* pArgc, char*** pArgv) {
  (void)pArgc;
  (void)pArgv;
  FUZZ_SilenceReports();
  const char* sDir = (access("/dev/shm", W_OK) == 0) ? "/dev/shm" : "/tmp";
  _sPath = std::string(sDir) + "/zelmar-fuzz-writers-" + std::to_string(getpid()) + ".out";
  return 0;
}

static bool _IsSmall(const IMAGE* pImage) {
  int64_t x = pImage->XSize ? pImage->XSize : 1;
  int64_t y = pImage->YSize ? pImage->YSize : 1;
  return x * y <= 65536;
}

static IMAGE* _Apply(IMAGE* pImage, uint8_t Op) {
  switch (Op % 16) {
  case 0:  return IMAGE_FlipH(pImage);
  case 1:  return IMAGE_FlipV(pImage);
  case 2:  return IMAGE_Rotate90CW(pImage);
  case 3:  return IMAGE_Rotate90CCW(pImage);
  case 4:  return IMAGE_Rotate180(pImage);
  case 5:  return IMAGE_Shrink(pImage);
  case 6:  return IMAGE_InvertIndices(pImage);
  case 7:  return IMAGE_InvertColors(pImage);
  case 8:  return CONVERT_IntoBW(pImage);
  case 9:  return CONVERT_IntoGray16(pImage);
  case 10: return CONVERT_Into8666(pImage);
  case 11: return CONVERT_IntoRGB(pImage);
  case 12: return CONVERT_IntoHighColor(pImage, 565);
  case 13: return CONVERT_IntoBestPalette(pImage);
  default:
    IMAGE_SetTransparency(pImage, Op / 16);
    return pImage;
  }
}

/* Writes the picture; gives what the writer hands back. */
static IMAGE* _Write(IMAGE* pImage, int Type, int Format, int NoPalette) {
  PLAT_FILE* hFile = PLAT_CreateWrite(_sPath.c_str());
  if (hFile == NULL) {
    abort();
  }
  SAVEFORMAT Choice = { Format, NoPalette };
  pImage = IMAGE_SaveFile(pImage, hFile, Type, "fuzz.c", &Choice);
  PLAT_Close(hFile);
  return pImage;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t NumBytes) {
  if (NumBytes < 5 || NumBytes > 0x100000) {
    return 0;
  }
  const U8* pFile = pData + 5;
  U32 NumFile = (U32)NumBytes - 5;
  IMAGE* pImage;
  switch (pData[0] % 3) {
  case 0:  pImage = IMAGE_CreateFromDIB(pFile, NumFile); break;
  case 1:  pImage = SBMP_LoadFromMemory(pFile, NumFile); break;
  default: pImage = GIF_LoadFromMemory(pFile, NumFile); break;
  }
  if (pImage == NULL) {
    return 0;
  }
  for (int i = 1; i < 5 && pImage && _IsSmall(pImage); i++) {
    IMAGE* pResult = _Apply(pImage, pData[i]);
    if (pResult == NULL) {
      IMAGE_Free(pImage);   /* an operation that fails keeps its argument */
    }
    pImage = pResult;
  }
  if (pImage == NULL || !_IsSmall(pImage)) {
    IMAGE_Free(pImage);
    return 0;
  }
  for (int Format : { 1, 2, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13 }) {
    pImage = _Write(pImage, 1, Format, pData[0] & 8 ? 1 : 0);
  }
  pImage = _Write(pImage, 4, 0, 0);
  /* The Windows Bitmap, read back. Indices beyond the palette (only
   * malformed input brings them) show black here but keep their bits in
   * the file, so such pictures are not compared. */
  pImage = _Write(pImage, 2, 0, 0);
  bool IsComparable = true;
  for (I32 y = 0; y < pImage->YSize && pImage->NumColors; y++) {
    for (I32 x = 0; x < pImage->XSize; x++) {
      IsComparable = IsComparable && (I32)IMAGE_GetPixel(pImage, x, y) < pImage->NumColors;
    }
  }
  int Error = 0;
  PLAT_FILE* hFile = PLAT_OpenRead(_sPath.c_str(), &Error);
  IMAGE* pBack = IMAGE_LoadFile(hFile, 0);
  PLAT_Close(hFile);
  if (pBack == NULL || pBack->XSize != pImage->XSize || pBack->YSize != pImage->YSize) {
    abort();
  }
  for (I32 y = 0; IsComparable && y < pImage->YSize; y++) {
    for (I32 x = 0; x < pImage->XSize; x++) {
      /* Bits 24-31 of a palette entry are not written. */
      if ((IMAGE_GetPixelColor(pBack, x, y) ^ IMAGE_GetPixelColor(pImage, x, y)) & 0xFFFFFF) {
        abort();
      }
    }
  }
  IMAGE_Free(pBack);
  /* GIF last: it hands back the reduced picture. */
  IMAGE_Free(_Write(pImage, 3, 0, 0));
  remove(_sPath.c_str());
  return 0;
}
