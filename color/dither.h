/*
 * Error diffusion: the conversions onto palettes and onto the high colour
 * levels can spread each pixel's rounding error over its neighbours
 * (Floyd-Steinberg weights, rows walked in alternating directions), so
 * that areas between two levels mix them instead of banding.
 */
#ifndef ZELMAR_COLOR_DITHER_H
#define ZELMAR_COLOR_DITHER_H

#include "colortypes.h"

/* Dithering is off at start; the switch holds for all conversions that
 * follow. */
void CONVERT_SetDither(int OnOff);
int  CONVERT_GetDither(void);

/* The dithered forms of CONVERT_IntoPalette and CONVERT_IntoHighColor,
 * with the same results apart from the pixels. With KeepEntry0 the
 * source's entry 0 pixels stay entry 0, take no part in the diffusion,
 * and no other pixel is given entry 0. IsFitted: the palette was chosen
 * for this picture, so its size tells how fine it is, and its entries
 * (entry 0 kept with KeepEntry0) are moved to fit the dithered picture;
 * a fixed or custom palette is taken as coarse whatever its size, and
 * stays as it is. */
IMAGE* CONVERT_DitherIntoPalette(IMAGE* pBitmapOrg, const PALETTE* pPalette, int KeepEntry0, int IsFitted);
IMAGE* CONVERT_DitherIntoHighColor(IMAGE* pBitmapOrg, int Format);

#endif
