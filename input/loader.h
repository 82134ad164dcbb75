/*
 * From an open file to an image: Windows Bitmap (type 0), .sbmp (type 1),
 * GIF (type 2), PNG and JPEG (the types below). Any other type is
 * reported as unsupported. Errors are reported; the result is a new image
 * or null.
 */
#ifndef ZELMAR_INPUT_LOADER_H
#define ZELMAR_INPUT_LOADER_H

#include "../core/image.h"
#include "../platform/plat.h"

/* PNG and JPEG came later than the three numbered types and keep clear
 * of the numbers next to them. */
#define LOADER_TYPE_PNG  16
#define LOADER_TYPE_JPEG 17

IMAGE* IMAGE_LoadFile(PLAT_FILE* hFile, int Type);

#endif
