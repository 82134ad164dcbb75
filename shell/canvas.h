/*
 * The client area of the main window: four lines about the current image
 * (size, colours with a strip of the palette, zoom, transparency) and
 * below them the image at the zoom inside a thin frame. The positions are
 * worked out by plain functions, so that they can be checked without a
 * window.
 */
#ifndef ZELMAR_SHELL_CANVAS_H
#define ZELMAR_SHELL_CANVAS_H

#include "../core/image.h"

class wxDC;

/* A rectangle whose right and bottom are its last column and row. */
typedef struct {
  int Left, Top, Right, Bottom;
} CANVAS_RECT;

typedef struct {
  int         LineHeight;  /* height of "Resolution:" */
  int         ValueX;      /* column of the values */
  int         ImageY;
  CANVAS_RECT Dest;        /* where the image goes */
  CANVAS_RECT Src;         /* the whole image */
  CANVAS_RECT Frame;       /* the frame's outer edge, one clear pixel from Dest */
} CANVAS_LAYOUT;

/* The drawing scale: Zoom tenths in single precision. */
float CANVAS_GetScale(int Zoom);
/* Size * scale - 1, truncated toward zero: the last column (row) of the
 * image counted from its first. */
int   CANVAS_GetSizeTerm(int Size, int Zoom);
/* LabelWidth and LineHeight are the measures of the text "Resolution:". */
void  CANVAS_GetLayout(int XSize, int YSize, int Zoom, int LabelWidth, int LineHeight, CANVAS_LAYOUT* pLayout);
/* Palette entry i of NumColors in the strip from StripX, StripWidth wide
 * on the line at Top: its left edge, and the right edge it leaves out. */
void  CANVAS_GetStripEntry(int i, int NumColors, int StripX, int StripWidth, int* pLeft, int* pRight);

/* Paints the whole client area (Width x Height) for the current image. */
void  CANVAS_Paint(wxDC& dc, int Width, int Height);
/* Draws the rectangle pSrc of the image into pDest: 1:1 when the sizes
 * are equal, hard blocks when enlarging, smoothed when narrower. Only the
 * part inside Width x Height is worked out. */
void  IMAGE_Draw(const IMAGE* pImage, wxDC& dc, const CANVAS_RECT* pDest, const CANVAS_RECT* pSrc, int Width, int Height);
/* Forgets the converted picture kept from the last paint. */
void  CANVAS_ClearCache(void);

#endif
