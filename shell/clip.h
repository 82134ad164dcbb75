/*
 * The clipboard of the desktop front end: pictures go out as a Windows
 * Bitmap file (image/bmp) and as PNG, and come in from either.
 */
#ifndef ZELMAR_SHELL_CLIP_H
#define ZELMAR_SHELL_CLIP_H

#include <stdint.h>

int   CLIP_SetDIB(const void* pDIB, uint32_t NumBytes);
void* CLIP_GetDIB(uint32_t* pNumBytes);
/* Whether the clipboard holds a picture now. */
int   CLIP_HasImage(void);

#endif
