/*
 * Conversions that end in a true-colour image: expansion of a palette
 * image, and reduction of every colour to the levels of a 16-bit format.
 */
#ifndef ZELMAR_COLOR_TRUECOLOR_H
#define ZELMAR_COLOR_TRUECOLOR_H

#include "../core/image.h"

/* Gives pBitmapOrg itself when it is true colour already; otherwise a
 * new image, and pBitmapOrg is freed. Both conversions give null and
 * leave pBitmapOrg as it was when the new image cannot be made. */
IMAGE* CONVERT_IntoRGB(IMAGE* pBitmapOrg);
/* Format 555, 655, 565 or 556: bits of blue, green, red. Frees
 * pBitmapOrg and gives a new image; dithered while dithering is on
 * (dither.h). */
IMAGE* CONVERT_IntoHighColor(IMAGE* pBitmapOrg, int Format);

#endif
