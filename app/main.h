/*
 * The program's frame, shared by both front ends: names and texts of the
 * application, the start-up of the subsystems, and the routing of the
 * main window's commands.
 */
#ifndef ZELMAR_APP_MAIN_H
#define ZELMAR_APP_MAIN_H

#define MAIN_CMD_ABOUT 0xE140
#define MAIN_CMD_EXIT  0xE141

const char* MAIN_GetAppName(void);
const char* MAIN_GetVersion(void);
const char* MAIN_GetNotice(void);
const char* MAIN_GetBaseTitle(void);
/* Sets "<base title> - <file>", or "<base title> - No file" for null. */
void        MAIN_SetTitle(const char* sFile);

/* Start-up steps that are logic, in order: the titles (before the window
 * exists), then hooks, command line and zoom, then the arguments. */
void MAIN_BuildBaseTitle(void);
void MAIN_InitApp(void);
/* The part of MAIN_InitApp that hands the lower layers what they take
 * from above: the batch state to the error report, name and notice to
 * the C banner, the window title to the workspace, the opening of a
 * file to the command line. Tests that run the
 * modules without the report hooks and the command line call it. */
void MAIN_ConnectLayers(void);
void MAIN_ParseCommandLine(int argc, char** argv);

/* What the main window does with WM_COMMAND. */
void MAIN_OnWindowCommand(unsigned Id);
/* The text of the About box, as a console prints it. */
void MAIN_GetAboutText(char* pBuffer, int MaxLen);

#endif
