/*
 * Transparency: palette entry 0 is the transparent colour. Making another
 * entry transparent swaps it into place 0.
 */
#ifndef ZELMAR_COLOR_TRANSPARENCY_H
#define ZELMAR_COLOR_TRANSPARENCY_H

#include "../core/image.h"

/* Choice 0: no transparency; n > 0: palette entry n - 1. In place. */
void IMAGE_SetTransparency(IMAGE* pImage, int Choice);

#endif
