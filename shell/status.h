/*
 * The status bar at the bottom of the main window: the passing texts of
 * the program and, while a menu is open, a help line for the highlighted
 * item. A text equal to the one shown is not sent again.
 */
#ifndef ZELMAR_SHELL_STATUS_H
#define ZELMAR_SHELL_STATUS_H

class wxFrame;

/* Creates the bar in the frame, showing "Ready". */
void STATUS_Create(wxFrame* pFrame);
/* Sets the text of a part unless it is the one sent last. */
void STATUS_SetText(const char* sText, int Part, int Style);
/* The number of texts that went to the bar since it was created. */
int  STATUS_GetNumSent(void);
/* The help line of a menu command, "" for none. */
const char* STATUS_GetMenuHelp(unsigned Command);
/* The highlighted menu entry changed: Command is 0 for a separator, a
 * popup or a closed menu, which blank the bar. */
void OnMenuSelect(unsigned Command);

#endif
