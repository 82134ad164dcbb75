/*
 * The main window. SHELL_Run drives it for the program; the shell's
 * tests build it in their own process with the same calls.
 */
#ifndef ZELMAR_SHELL_FRAME_H
#define ZELMAR_SHELL_FRAME_H

class wxFrame;
class wxWindow;
class wxArrayString;

/* Start-up steps 1 to 9 (title, window with its timer, status bar, the
 * logic of the program); the caller then parses the arguments and runs
 * the main loop. Unattended means that boxes answer themselves at the
 * next tick, for a run that is to end by itself. */
wxFrame*  FRAME_Create(int IsUnattended);
wxWindow* FRAME_GetCanvas(void);
/* Sends a command as a menu item or key of the window would. */
void      FRAME_Command(unsigned Command);
/* True while the main window lives. */
int       FRAME_Exists(void);
/* Files dropped on the window: the first is opened. */
void      FRAME_DropFiles(const wxArrayString& asFile);

#endif
