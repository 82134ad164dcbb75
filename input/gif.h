/*
 * GIF87a and GIF89a reader: the first frame's pixels on the logical
 * screen, compacted to the colours that they show, with a transparent
 * colour moved to palette entry 0.
 */
#ifndef ZELMAR_INPUT_GIF_H
#define ZELMAR_INPUT_GIF_H

#include "../core/image.h"
#include "../platform/plat.h"

IMAGE* GIF_LoadFile(PLAT_FILE* hFile);
/* The same on the file's bytes in memory (tests, fuzzing). */
IMAGE* GIF_LoadFromMemory(const U8* pData, U32 NumBytes);

#endif
