/*
 * Custom palette files (.OmrakPal).
 *
 * File layout, all numbers little-endian:
 *   0x00  8 bytes           "OmrakPal", no terminator
 *   0x08  U32               NumColors, 2 to 256
 *   0x0C  4 bytes           reserved, ignored
 *   0x10  U32 * NumColors   colours 0x00BBGGRR: on file red, green, blue
 *                           and a fourth byte that stays with the entry
 * Bytes behind the last colour are not looked at.
 */
#include "custompal.h"

#include <string.h>

#include "../core/image.h"
#include "../platform/plat.h"
#include "palette.h"

static U32 _Get32(const U8* p) {
  return (U32)p[0] | (U32)p[1] << 8 | (U32)p[2] << 16 | (U32)p[3] << 24;
}

/* Reports the text, closes the file and gives 1. */
static int _Fail(PLAT_FILE* hFile, const char* sText) {
  IMAGE_ShowError(sText);
  PLAT_Close(hFile);
  return 1;
}

/* Reads the file into the custom palette: 0 on success, 1 on failure,
 * which has been reported. An empty file is no error and leaves the
 * palette as it stands.
 *
 * The colours are collected aside and the palette is only written when
 * the whole file has been read, so a refused file leaves the previous
 * palette intact and the palette never holds a count outside 2..256. */
static int _LoadPalette(const char* sFileName) {
  PLAT_FILE* hFile = PLAT_OpenRead(sFileName, NULL);
  if (hFile == NULL) {
    IMAGE_ShowError("Invalid file handle");
    return 1;
  }
  /* The size of a file that is open can always be had here; a file past
   * 4 GiB reads as 0xFFFFFFFF and is read like any other. */
  U32 FileSize = PLAT_GetFileSize(hFile);
  if (FileSize == 0) {
    PLAT_Close(hFile);
    return 0;
  }
  U8 acHeader[8];
  if (PLAT_Read(hFile, acHeader, 8) < 8) {
    return _Fail(hFile, "_LoadPalette: Could not read header");
  }
  if (memcmp(acHeader, "OmrakPal", 8) != 0) {
    return _Fail(hFile, "Illegal file header\n"
                        "Excpecting the following:\n"
                        "00:U8  Header[8] = \"OmrakPal\"\n"
                        "08:U32 NumColors\n"
                        "0C:U8  Reserved[4]\n"
                        "10:U32 _aColor[NumColors]\n");
  }
  U8 acField[4];
  if (PLAT_Read(hFile, acField, 4) < 4) {
    return _Fail(hFile, "_LoadPalette: Could not read number of entries");
  }
  I32 NumColors = (I32)_Get32(acField);
  if (NumColors > 256) {
    return _Fail(hFile, "_LoadPalette: Number of colors may not exceed 256 !");
  }
  if (NumColors < 2) {
    return _Fail(hFile, "_LoadPalette: Number of colors may not be less than 2 !");
  }
  if (PLAT_Read(hFile, acField, 4) < 4) {
    return _Fail(hFile, "_LoadPalette: Dummy read at 0xc failed");
  }
  U8 acColor[4 * 256];
  U32 NumBytes = 4 * (U32)NumColors;
  if (PLAT_Read(hFile, acColor, NumBytes) < NumBytes) {
    return _Fail(hFile, "_LoadPalette: Could not read palette data");
  }
  PLAT_Close(hFile);
  PALETTE* pPal = CONVERT_GetCustomPalette();
  for (I32 i = 0; i < NumColors; i++) {
    pPal->pColors[i] = _Get32(acColor + 4 * i);
  }
  pPal->NumColors = NumColors;
  return 0;
}

int CUSTOMPAL_Load(const char* sFileName) {
  return _LoadPalette(sFileName);
}
