/* Test decoder for generated C bitmap files: turns an OMRAK_BITMAP back
 * into plain text, so that a test can compare it with the picture that
 * was saved. */
#ifndef DECODE_H
#define DECODE_H

#include <stdio.h>

#include "Omrak.h"

/* Writes, for the bitmap named sName:
 *
 *   = <sName> <XSize> <YSize>
 *   palette <NumEntries> <HasTrans> <entry> ...   (or "... none" when the
 *                                                  entries are absent, or
 *                                                  "palette null")
 *   one line per row: the pixels in hex, separated by one blank; palette
 *   indices for palette formats, 0xBBGGRR colours for the others
 *   units <n>                                     (run-length formats only)
 *
 * NumArrayBytes is the size of the picture array (sizeof). The decoder
 * checks that the descriptor, the array's size and its contents agree;
 * on the first fault it writes "error <text>" and gives 1, else 0. */
int DECODE_Bitmap(FILE* pOut, const char* sName, const OMRAK_BITMAP* pBitmap, unsigned long NumArrayBytes);

#endif
