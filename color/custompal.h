/*
 * Custom palette files (.OmrakPal): read into the custom palette, onto
 * which CONVERT_IntoCustomPalette maps an image.
 */
#ifndef ZELMAR_COLOR_CUSTOMPAL_H
#define ZELMAR_COLOR_CUSTOMPAL_H

/* Reads the file into the custom palette. 0 on success, 1 on failure
 * (reported). */
int  CUSTOMPAL_Load(const char* sFileName);

#endif
