/*
 * Decoder of a packed DIB held in memory: BITMAPINFOHEADER, colour table,
 * pixels (uncompressed at 1 to 32 bits, or RLE4 and RLE8).
 */
#ifndef ZELMAR_INPUT_DIB_H
#define ZELMAR_INPUT_DIB_H

#include "../core/image.h"

/* Reads no byte at or behind pDIB + NumBytes: the decoders stop at the
 * end of the block with what they have decoded so far. */
IMAGE* IMAGE_CreateFromDIB(const U8* pDIB, U32 NumBytes);

/* The same for a block of which only the first NumBytes are in memory:
 * the NumMissing bytes behind them read as zero, as if the block had been
 * zero-filled to its full length (a truncated file). */
IMAGE* IMAGE_CreateFromShortDIB(const U8* pDIB, U32 NumBytes, U32 NumMissing);

#endif
