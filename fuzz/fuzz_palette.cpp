/*
 * Fuzz harness for the custom palette file reader. Each input is written
 * to a file of this process and read back as a palette file.
 * After a successful read the custom palette must hold 1 to 256 colours,
 * whatever the file claimed.
 */
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "fuzzutil.h"
#include "color/custompal.h"
#include "color/palette.h"
#include "core/image.h"
#include "platform/plat.h"

static char _acPath[64];

static void _RemoveFile(void) {
  remove(_acPath);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t NumBytes) {
  if (_acPath[0] == 0) {
    /* A memory file system where there is one: rewriting a file on disk
     * for every input would cost more than reading it. */
    const char* sDir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    snprintf(_acPath, sizeof(_acPath), "%s/fuzz_palette_%d.OmrakPal", sDir, (int)getpid());
    FUZZ_SilenceReports();
    atexit(_RemoveFile);
  }
  PLAT_FILE* hFile = PLAT_CreateWrite(_acPath);
  if (hFile == NULL) {
    abort();
  }
  PLAT_Write(hFile, pData, (uint32_t)NumBytes);
  PLAT_Close(hFile);
  int Result = CUSTOMPAL_Load(_acPath);
  const PALETTE* pPal = CONVERT_GetCustomPalette();
  if (pPal->NumColors < 1 || pPal->NumColors > 256) {
    abort();
  }
  if (Result == 0 && NumBytes > 0) {
    /* A loaded file holds its header, count, reserved word and colours,
     * and the palette holds those colours in file order. */
    size_t NumColors = (size_t)pPal->NumColors;
    if (NumBytes < 16 + 4 * NumColors || NumColors != (size_t)(pData[8] | pData[9] << 8)) {
      abort();
    }
    for (size_t i = 0; i < NumColors; i++) {
      const uint8_t* p = pData + 16 + 4 * i;
      uint32_t Color = (uint32_t)p[0] | (uint32_t)p[1] << 8 | (uint32_t)p[2] << 16 | (uint32_t)p[3] << 24;
      if (pPal->pColors[i] != Color) {
        abort();
      }
    }
  }
  return 0;
}
