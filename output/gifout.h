/*
 * GIF89a writer. The image is first brought down to its best palette;
 * that reduced image is what the caller goes on with.
 */
#ifndef ZELMAR_OUTPUT_GIFOUT_H
#define ZELMAR_OUTPUT_GIFOUT_H

#include "../core/image.h"
#include "../platform/plat.h"

/* Takes ownership of pImage. Gives the reduced image, or null when a
 * write failed. */
IMAGE* GIF_SaveFile(IMAGE* pImage, PLAT_FILE* hFile);

#endif
