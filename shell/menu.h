/*
 * The main menu and its keys. Every item and key carries a command
 * number of the program; wxWidgets ids stand for them in the menu, by
 * one table in each direction. Item states follow the workspace and are
 * worked out anew each time the menu or a key is used.
 */
#ifndef ZELMAR_SHELL_MENU_H
#define ZELMAR_SHELL_MENU_H

class wxMenuBar;

wxMenuBar* MENU_Create(void);
/* Once the bar is in its window: shows labels whose second half names
 * no key (such as "BW \t(1 BPP)") whole, which the toolkit would cut. */
void       MENU_ShowLabels(wxMenuBar* pMenuBar);
/* The wxWidgets id of a command number, and back; 0 when there is none. */
int        MENU_GetWxId(unsigned Command);
unsigned   MENU_GetCommand(int WxId);
/* Whether the command's item is enabled now. */
int        MENU_IsEnabled(unsigned Command);
/* Enables and disables every item by the state of the workspace. */
void       MENU_UpdateState(wxMenuBar* pMenuBar);
/* Puts the recent files into the File menu in place of what stood there. */
void       MENU_UpdateRecent(wxMenuBar* pMenuBar);
/* The command of a key (a wxWidgets key code with wxMOD_ modifiers), or
 * of a typed character (+ and -), or 0 when it has none. */
unsigned   MENU_GetKeyCommand(int KeyCode, int Modifiers);
unsigned   MENU_GetCharCommand(int Char, int Modifiers);

#endif
