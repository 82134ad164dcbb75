/*
 * The conversion target shared by the palette conversions and the error
 * diffusion: a count and the colours, in index order.
 */
#ifndef ZELMAR_COLOR_COLORTYPES_H
#define ZELMAR_COLOR_COLORTYPES_H

#include "../core/image.h"

typedef struct PALETTE {
  I32  NumColors;   /* 1 to 256 */
  U32* pColors;     /* 0x00BBGGRR, index order */
} PALETTE;

#endif
