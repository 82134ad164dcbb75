/*
 * The About box: application name, version, build line and notice, with
 * the program's logo.
 */
#ifndef ZELMAR_SHELL_ABOUT_H
#define ZELMAR_SHELL_ABOUT_H

class wxWindow;
class wxDialog;
class wxBitmap;

/* Shows the box, modal, centred on pParent. */
void     ABOUT_Show(wxWindow* pParent);
/* Builds the box without showing it (the caller deletes it). */
wxDialog* ABOUT_Create(wxWindow* pParent);
/* The logo, 138 x 65 pixels, drawn here. */
wxBitmap ABOUT_GetLogo(void);

#endif
