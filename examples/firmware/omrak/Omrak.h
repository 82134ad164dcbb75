/* A stand-in for the graphics library's header, just enough for the
 * example: the descriptor in the order the generated files fill it
 * (XSize, YSize, BytesPerLine, BitsPerPixel, picture, palette, draw
 * method) and the names they use. A firmware uses the library's own. */
#ifndef OMRAK_H
#define OMRAK_H

typedef unsigned int OMRAK_COLOR;   /* 0x00BBGGRR */

typedef struct {
  int                NumEntries;
  char               HasTrans;
  const OMRAK_COLOR* pPalEntries;
} OMRAK_LOGPALETTE;

typedef struct {
  int                     XSize;
  int                     YSize;
  int                     BytesPerLine;
  int                     BitsPerPixel;
  const unsigned char*    pData;
  const OMRAK_LOGPALETTE* pPal;
  const void*             pMethods;
} OMRAK_BITMAP;

#define OMRAK_CONST_STORAGE const

/* The draw methods named by the formats that need one; defined in omrak.c. */
typedef struct {
  const char* sName;
} OMRAK_DRAW_METHOD;

extern const OMRAK_DRAW_METHOD OMRAK_DrawBMP565, OMRAK_DrawBMP888;

#define OMRAK_DRAW_BMP565 (&OMRAK_DrawBMP565)
#define OMRAK_DRAW_BMP888 (&OMRAK_DrawBMP888)

#endif
