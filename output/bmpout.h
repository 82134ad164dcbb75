/*
 * The two binary outputs: Windows Bitmap files and "C" stream files
 * (.dta). Both write the image as it stands and report nothing.
 */
#ifndef ZELMAR_OUTPUT_BMPOUT_H
#define ZELMAR_OUTPUT_BMPOUT_H

#include "../core/image.h"
#include "../platform/plat.h"

/* 0 when the last write succeeded, 1 when not. */
int IMAGE_SaveBMP(const IMAGE* pImage, PLAT_FILE* hFile);
/* 0 when all was written, 1 when a write came up short or the palette
 * has no row form (true colour, or more than 256 entries). */
int IMAGE_SaveStream(const IMAGE* pImage, PLAT_FILE* hFile);

#endif
