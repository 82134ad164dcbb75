/*
 * From an open file to an image: Windows Bitmap (type 0), .sbmp (type 1),
 * GIF (type 2), PNG (type 3), JPEG (type 4). Errors are reported; the result is a new image or null.
 */
#ifndef ZELMAR_INPUT_LOADER_H
#define ZELMAR_INPUT_LOADER_H

#include "../core/image.h"
#include "../platform/plat.h"

IMAGE* IMAGE_LoadFile(PLAT_FILE* hFile, int Type);

#endif
