/*
 * The in-memory picture: 8 bits per pixel with a palette, or 24 bits per
 * pixel true colour when NumColors is 0. Every other module reaches the
 * pixels through the accessors below.
 *
 * Colour values are 32-bit words 0x00BBGGRR (red in the low byte).
 */
#ifndef ZELMAR_CORE_IMAGE_H
#define ZELMAR_CORE_IMAGE_H

#include <stdint.h>

typedef uint8_t  U8;
typedef uint16_t U16;
typedef uint32_t U32;
typedef int8_t   I8;
typedef int16_t  I16;
typedef int32_t  I32;

/* The largest picture: 64 Mi pixels (8192 x 8192, or any other shape of
 * that area). Anything larger comes from a malformed or absurd file and is
 * refused; every command then runs on at most 192 MiB of pixels. */
#define IMAGE_MAX_PIXELS ((int64_t)64 * 1024 * 1024)

typedef struct {
  I32  XSize;
  I32  YSize;
  I8   HasTrans;
  I32  BytesPerLine;
  I32  NumColors;
  I32  BitsPerPixel;
  U32* pColorCount;    /* census table: pairs (colour, counter) */
  I32  NumColorsUsed;
  U8*  pData;          /* pixel store, DIB row layout, bottom row first */
  U8*  pInfo;          /* BITMAPINFOHEADER followed by NumColors RGBQUADs */
} IMAGE;

typedef void IMAGE_PFN_TEXT(const char* sText);

/* Creation and end of life */
IMAGE* IMAGE_Create(I32 XSize, I32 YSize, I32 NumColors);
void   IMAGE_Free(IMAGE* pImage);
IMAGE* IMAGE_Copy(const IMAGE* pImage);

/* Tells whether IMAGE_Create would accept these dimensions. Readers ask
 * first so that a size from a file never reaches an allocation unchecked. */
int    IMAGE_IsSizeValid(I32 XSize, I32 YSize, I32 NumColors);

/* Pixels and palette */
/* Start of row y (0 is the top row) in the pixel store: XSize bytes of
 * indices, or XSize groups of blue, green, red. For loops that walk whole
 * rows; y must lie inside the image. */
U8*  IMAGE_GetRow(const IMAGE* pImage, I32 y);
U32  IMAGE_GetPixel(const IMAGE* pImage, I32 x, I32 y);
void IMAGE_SetPixel(IMAGE* pImage, I32 x, I32 y, U32 Value);
U32  IMAGE_GetPixelColor(const IMAGE* pImage, I32 x, I32 y);
/* The palette index of a pixel of a palette image, never beyond the
 * palette: an index at or above NumColors (only a malformed file brings
 * one) reads as entry 0, here and in IMAGE_GetPixelColor. */
U32  IMAGE_GetIndex(const IMAGE* pImage, I32 x, I32 y);
U32  IMAGE_GetColor(const IMAGE* pImage, I32 Index);
void IMAGE_SetColor(IMAGE* pImage, I32 Index, U32 Color);

/* Plain readers */
I32 IMAGE_GetXSize(const IMAGE* pImage);
I32 IMAGE_GetYSize(const IMAGE* pImage);
I32 IMAGE_GetNumColors(const IMAGE* pImage);
I32 IMAGE_GetBitsPerPixel(const IMAGE* pImage);
I32 IMAGE_GetHasTrans(const IMAGE* pImage);
I32 IMAGE_GetColorTableSize(const IMAGE* pImage);

/* Exported DIB block (clipboard, Windows Bitmap files) */
I32  IMAGE_GetDIBSize(const IMAGE* pImage);
void IMAGE_WriteDIB(const IMAGE* pImage, U8* pDest);

/* Reports */
void        IMAGE_SetHooks(IMAGE_PFN_TEXT* pfnStatus, IMAGE_PFN_TEXT* pfnError, const char* sVersion);
const char* IMAGE_GetVersion(void);
void        IMAGE_ShowStatus(const char* sText);
void        IMAGE_ShowError(const char* sText);

#endif
