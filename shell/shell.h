/*
 * The desktop front end: the main window with menu, keys, canvas, status
 * bar and About box, on wxWidgets.
 */
#ifndef ZELMAR_SHELL_SHELL_H
#define ZELMAR_SHELL_SHELL_H

/* Runs the whole program in a window. Gives 0 when no display can be
 * opened (nothing has run then); else 1, with the exit code in
 * *pExitCode. */
int SHELL_Run(int argc, char** argv, int* pExitCode);

#ifdef _WIN32
/* 1 when the session can show windows (Windows only: elsewhere a display
 * is named in the environment). */
int SHELL_CanOpenWindows(void);
#endif

#endif
