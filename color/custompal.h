/*
 * Custom palette files (.OmrakPal) and the command that converts the
 * current image onto one.
 */
#ifndef ZELMAR_COLOR_CUSTOMPAL_H
#define ZELMAR_COLOR_CUSTOMPAL_H

/* Reads the file into the custom palette. 0 on success, 1 on failure
 * (reported). */
int  CUSTOMPAL_Load(const char* sFileName);
/* The command: name from the batch entry or a dialog, then the
 * conversion of the current image. */
void OnConvertIntoCustomPalette(void);

#endif
