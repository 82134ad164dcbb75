/*
 * The command line and the batch queue: options are parsed once at
 * start-up and queued; each tick of the main window's timer runs one.
 * Commands that need parameters read them from the entry's text here
 * instead of asking in a dialog.
 */
#ifndef ZELMAR_COMMANDS_CMDLINE_H
#define ZELMAR_COMMANDS_CMDLINE_H

typedef struct {
  const char* sName;
  unsigned    Command;
  unsigned    Param;
  const char* sHelp;
} CMDLINE_OPTION;

typedef void CMDLINE_PFEXEC(unsigned Command, unsigned Param);

/* Opens the file named first on the command line; 1 when it is open.
 * The workspace does that; start-up hands it down. */
typedef int CMDLINE_PFOPEN(const char* sFile);

void CMDLINE_SetOpenHook(CMDLINE_PFOPEN* pfOpen);
void CMDLINE_Init(const char* sTitle, const char* sLogFile, unsigned ExitCommand, CMDLINE_PFEXEC* pfExec);
/* Parses the arguments (argv[0] is the program's name). A file named
 * first is opened before this returns. */
void CMDLINE_ParseCommandLine(int argc, char** argv);
int  CMDLINE_ParseOption(const char* sOption, const CMDLINE_OPTION* aOption);
void CMDLINE_ShowHelp(const CMDLINE_OPTION* aOption);
const CMDLINE_OPTION* CMDLINE_GetOptionTable(void);

/* One timer tick; runs at most one queue entry. */
void CMDLINE_Exec(void);
void CMDLINE_CommandDone(void);
/* The execute callback of the program: sends the command to the main
 * window, then advances the queue. */
void CMDLINE_ExecCommand(unsigned Command, unsigned Param);

/* The file named first on the command line (the picture a build step
 * works on), or null. */
const char* CMDLINE_GetFileName(void);

int  CMDLINE_IsBatch(void);
int  CMDLINE_GetError(void);
/* True while ticks can still do something: the queue has entries left
 * and has not stopped on an error, or it stopped and an exit is queued. */
int  CMDLINE_IsPending(void);

/* Readers of the current entry's argument text */
int  CMDLINE_GetChar(void);
void CMDLINE_GetString(char* pBuffer, int MaxLen);
int  CMDLINE_GetHexValue(void);

/* State shared with the error report */
int         CMDLINE_IsExitQueued(void);
void        CMDLINE_SetErrorOccured(void);
const char* CMDLINE_GetTitle(void);
const char* CMDLINE_GetLogFile(void);

#endif
