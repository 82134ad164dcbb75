/*
 * Run-length input: the RLE4 and RLE8 data of Windows Bitmaps, and the
 * program's own .sbmp files.
 */
#ifndef ZELMAR_INPUT_RLE_H
#define ZELMAR_INPUT_RLE_H

#include "../core/image.h"
#include "../platform/plat.h"

/* Fill pImage from NumAvail bytes at pData. NumPixelBytes is the header's
 * biSizeImage. Give null on success, else the text of the error. */
const char* DecompressRLE4(IMAGE* pImage, const U8* pData, I32 NumPixelBytes, U32 NumAvail);
const char* DecompressRLE8(IMAGE* pImage, const U8* pData, I32 NumPixelBytes, U32 NumAvail);
/* The same where NumMissing bytes behind the NumAvail at pData read as
 * zero (the part of a truncated file that never arrived). */
const char* DecompressRLE4Ex(IMAGE* pImage, const U8* pData, I32 NumPixelBytes, U32 NumAvail, U32 NumMissing);
const char* DecompressRLE8Ex(IMAGE* pImage, const U8* pData, I32 NumPixelBytes, U32 NumAvail, U32 NumMissing);

IMAGE* SBMP_Load(PLAT_FILE* hFile);
/* The same on a block in memory (used by the loader and by tests). */
IMAGE* SBMP_LoadFromMemory(const U8* pData, U32 NumBytes);

#endif
