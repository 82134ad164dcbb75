/*
 * The colour commands that need a parameter: transparency, chosen from a
 * list or given as a colour on the command line, and the conversion onto
 * a custom palette file, chosen in a dialog or given on the command line.
 */
#ifndef ZELMAR_COMMANDS_COLORCMD_H
#define ZELMAR_COMMANDS_COLORCMD_H

void OnTransparencyDlg(void);
void OnTransparencyOption(void);
/* Name from the batch entry or a dialog, then the conversion of the
 * current image. */
void OnConvertIntoCustomPalette(void);

#endif
