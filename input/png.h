/*
 * PNG reader. A palette file keeps its palette in order; grey levels
 * become a palette of greys; true colour stays true colour. Transparency
 * ends on palette entry 0, the one place the rest of the program knows.
 */
#ifndef ZELMAR_INPUT_PNG_H
#define ZELMAR_INPUT_PNG_H

#include "../core/image.h"
#include "../platform/plat.h"

IMAGE* PNG_LoadFile(PLAT_FILE* hFile);
/* The same on the file's bytes in memory (tests, fuzzing). */
IMAGE* PNG_LoadFromMemory(const U8* pData, U32 NumBytes);

#endif
