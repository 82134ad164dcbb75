/* The example firmware: reads a few pixels of each converted bitmap and
 * compares them with what draw.py drew. Exit code 0 when all match. */
#include <stdio.h>
#include <stdlib.h>

#include "firmware_images.h"

static int _NumChecked;
static int _NumWrong;

/* The colour 0x00BBGGRR of a pixel, for the formats used here: 4 and 8
 * bits per pixel with a palette, true colour 888. */
static unsigned _GetColor(const OMRAK_BITMAP* pBM, int x, int y) {
  const unsigned char* pRow = pBM->pData + y * pBM->BytesPerLine;
  switch (pBM->BitsPerPixel) {
  case 4:
    return pBM->pPal->pPalEntries[(pRow[x / 2] >> ((x & 1) ? 0 : 4)) & 15];
  case 8:
    return pBM->pPal->pPalEntries[pRow[x]];
  case 24:
    return (unsigned)((const unsigned long*)pBM->pData)[y * pBM->XSize + x];
  default:
    return 0xFFFFFFFFu;
  }
}

/* Each channel within Tolerance of the expected one (JPEG is lossy). */
static void _Check(const char* sName, const OMRAK_BITMAP* pBM, int x, int y, unsigned Expected, int Tolerance) {
  unsigned Color = _GetColor(pBM, x, y);
  int      IsOk  = 1;
  for (int Shift = 0; Shift < 24; Shift += 8) {
    int d = (int)((Color >> Shift) & 0xFF) - (int)((Expected >> Shift) & 0xFF);
    if (abs(d) > Tolerance) {
      IsOk = 0;
    }
  }
  _NumChecked++;
  if (!IsOk) {
    printf("%s (%d, %d): 0x%06X, expected 0x%06X\n", sName, x, y, Color, Expected);
    _NumWrong++;
  }
}

static void _CheckSize(const char* sName, const OMRAK_BITMAP* pBM, int XSize, int YSize) {
  if (pBM->XSize != XSize || pBM->YSize != YSize) {
    printf("%s: %d x %d, expected %d x %d\n", sName, pBM->XSize, pBM->YSize, XSize, YSize);
    _NumWrong++;
  }
}

int main(void) {
  _CheckSize("wifi", &bmwifi, 16, 12);
  _Check("wifi", &bmwifi, 0, 0, 0xFF8000, 0);     /* sky blue */
  _Check("wifi", &bmwifi, 15, 7, 0xFFFFFF, 0);    /* white */
  _Check("wifi", &bmwifi, 9, 11, 0x0000FF, 0);    /* red */
  _CheckSize("battery", &bmbattery, 20, 10);
  _Check("battery", &bmbattery, 0, 5, 0x00C800, 0);   /* frame */
  _Check("battery", &bmbattery, 5, 5, 0x00FFFF, 0);   /* charge */
  _Check("battery", &bmbattery, 14, 5, 0x000000, 0);  /* empty */
  _CheckSize("2-bars", &bm_2_bars, 8, 8);
  for (int x = 0; x < 8; x++) {
    _Check("2-bars", &bm_2_bars, x, 3, 0x555555u * (unsigned)(x / 2), 0);
  }
  _CheckSize("splash", &bmsplash, 32, 16);
  _Check("splash", &bmsplash, 8, 4, 0x0000FF, 12);
  _Check("splash", &bmsplash, 24, 4, 0x00FF00, 12);
  _Check("splash", &bmsplash, 8, 12, 0xFF0000, 12);
  _Check("splash", &bmsplash, 24, 12, 0xFFFFFF, 12);
  printf("%d pixels checked, %d wrong\n", _NumChecked, _NumWrong);
  return _NumWrong ? 1 : 0;
}
