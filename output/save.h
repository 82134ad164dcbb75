/*
 * The way out: writes an image to an open file as C source (type 1),
 * Windows Bitmap (2), GIF (3) or C stream (4).
 */
#ifndef ZELMAR_OUTPUT_SAVE_H
#define ZELMAR_OUTPUT_SAVE_H

#include "../core/image.h"
#include "../platform/plat.h"

typedef struct {
  int Format;     /* 1, 2, 4, 5 ... 13 */
  int NoPalette;  /* not 0: palette written for reference only */
} SAVEFORMAT;

/* Gives the image that becomes the caller's current one: pImage, or for
 * GIF the reduced image (pImage is then freed). */
/* The application's name and notice for the banner of C files; given at
 * start-up by the application, which owns them. The version comes from
 * IMAGE_SetHooks. */
void   IMAGE_SetBanner(const char* sAppName, const char* sNotice);
IMAGE* IMAGE_SaveFile(IMAGE* pImage, PLAT_FILE* hFile, int Type, const char* sFileName, const SAVEFORMAT* pFormat);

#endif
