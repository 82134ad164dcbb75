/* The tests' own stand-in for the graphics library's header: just enough
 * for a generated C bitmap file to compile. Nothing here comes from the
 * library.
 *
 * The generated file fills the descriptor in this order: XSize, YSize,
 * BytesPerLine, BitsPerPixel, picture pointer, palette pointer and, for
 * all but the uncompressed palette formats, a draw method. */
#ifndef OMRAK_H
#define OMRAK_H

/* A colour 0x00BBGGRR, 32 bits. */
typedef unsigned int OMRAK_COLOR;

typedef struct {
  int                NumEntries;
  char               HasTrans;
  const OMRAK_COLOR* pPalEntries;   /* null when the palette is for reference only */
} OMRAK_LOGPALETTE;

typedef struct {
  int                     XSize;
  int                     YSize;
  int                     BytesPerLine;
  int                     BitsPerPixel;   /* 1, 2, 4, 8, 16, 24 or an OMRAK_COMPRESS_ value */
  const unsigned char*    pData;
  const OMRAK_LOGPALETTE* pPal;
  const void*             pMethods;       /* one of the OMRAK_DRAW_ objects, or null */
} OMRAK_BITMAP;

#define OMRAK_CONST_STORAGE const

/* BitsPerPixel of the run-length palette formats: no real depth. */
#define OMRAK_COMPRESS_RLE4 1004
#define OMRAK_COMPRESS_RLE8 1008

/* Draw methods, told apart by their addresses; declared only, as the
 * tests compile generated files without linking them. */
typedef struct {
  const char* sName;
} OMRAK_DRAW_METHOD;

extern const OMRAK_DRAW_METHOD OMRAK_DrawRLE4, OMRAK_DrawRLE8, OMRAK_DrawBMP565, OMRAK_DrawBMPM565,
                               OMRAK_DrawRLE16, OMRAK_DrawRLEM16, OMRAK_DrawBMP888, OMRAK_DrawBMPM888;

#define OMRAK_DRAW_RLE4    (&OMRAK_DrawRLE4)
#define OMRAK_DRAW_RLE8    (&OMRAK_DrawRLE8)
#define OMRAK_DRAW_BMP565  (&OMRAK_DrawBMP565)
#define OMRAK_DRAW_BMPM565 (&OMRAK_DrawBMPM565)
#define OMRAK_DRAW_RLE16   (&OMRAK_DrawRLE16)
#define OMRAK_DRAW_RLEM16  (&OMRAK_DrawRLEM16)
#define OMRAK_DRAW_BMP888  (&OMRAK_DrawBMP888)
#define OMRAK_DRAW_BMPM888 (&OMRAK_DrawBMPM888)

/* The bytes of 1-bit rows are written as eight characters, the most
 * significant bit first: "X" for a set bit, "_" for a clear one. A file
 * that has them needs the 256 names defined in front of it. */

#endif
