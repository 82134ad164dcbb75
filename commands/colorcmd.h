/*
 * The colour commands that need a parameter: transparency, chosen from a
 * list or given as a colour on the command line, and the conversion onto
 * a custom palette file, chosen in a dialog or given on the command line,
 * the optimal palette with its number of colours, and the dithering switch.
 */
#ifndef ZELMAR_COMMANDS_COLORCMD_H
#define ZELMAR_COMMANDS_COLORCMD_H

void OnTransparencyDlg(void);
void OnTransparencyOption(void);
/* Name from the batch entry or a dialog, then the conversion of the
 * current image. */
void OnConvertIntoCustomPalette(void);
/* Number of colours from the batch entry (2 to 256, none: 256) or a list,
 * then the conversion of the current image. */
void OnConvertIntoOptimalPalette(void);
/* Batch: 0 or 1 from the entry (none: 1); menu: toggles. The state is
 * CONVERT_GetDither of color/dither.h. */
void OnDither(void);

#endif
