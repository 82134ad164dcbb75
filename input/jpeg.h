/*
 * JPEG reader: colour files become true-colour images, greyscale files
 * palette images of 256 greys. CMYK files are refused.
 */
#ifndef ZELMAR_INPUT_JPEG_H
#define ZELMAR_INPUT_JPEG_H

#include "../core/image.h"
#include "../platform/plat.h"

IMAGE* JPEG_LoadFile(PLAT_FILE* hFile);
/* The same on the file's bytes in memory (tests, fuzzing). */
IMAGE* JPEG_LoadFromMemory(const U8* pData, U32 NumBytes);

#endif
