/*
 * Conversion of any image onto a palette by the nearest-colour rule, the
 * fixed palettes, the custom palette table, and the colour census with
 * the best palette built from it.
 */
#ifndef ZELMAR_COLOR_PALETTE_H
#define ZELMAR_COLOR_PALETTE_H

#include "../core/image.h"
#include "colortypes.h"

/* All conversions free pBitmapOrg and give a new image; a null
 * pBitmapOrg is reported and gives null. When the new image cannot be
 * made they give null and leave pBitmapOrg alone. While dithering is on
 * (dither.h) all but the best palette diffuse the error. */
IMAGE* CONVERT_IntoPalette(IMAGE* pBitmapOrg, const PALETTE* pPalette);
IMAGE* CONVERT_IntoBW(IMAGE* pBitmapOrg);
IMAGE* CONVERT_IntoGray4(IMAGE* pBitmapOrg);
IMAGE* CONVERT_IntoGray16(IMAGE* pBitmapOrg);
IMAGE* CONVERT_IntoGray64(IMAGE* pBitmapOrg);
IMAGE* CONVERT_IntoGray256(IMAGE* pBitmapOrg);
IMAGE* CONVERT_Into111(IMAGE* pBitmapOrg);
IMAGE* CONVERT_Into222(IMAGE* pBitmapOrg);
IMAGE* CONVERT_Into233(IMAGE* pBitmapOrg);
IMAGE* CONVERT_Into323(IMAGE* pBitmapOrg);
IMAGE* CONVERT_Into332(IMAGE* pBitmapOrg);
IMAGE* CONVERT_Into8666(IMAGE* pBitmapOrg);
IMAGE* CONVERT_IntoCustomPalette(IMAGE* pBitmapOrg);
IMAGE* CONVERT_IntoBestPalette(IMAGE* pBitmapOrg);

/* The custom palette: 256 entries of room, filled by the palette file
 * reader, kept between conversions. */
PALETTE* CONVERT_GetCustomPalette(void);

/* Colour census: distinct colours, most frequent first. */
I32 IMAGE_CountColors(IMAGE* pImage);
U32 IMAGE_GetUsedColor(const IMAGE* pImage, I32 Index);

#endif
