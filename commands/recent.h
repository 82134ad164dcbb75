/*
 * The list of the files opened last, newest first. It is read from the
 * per-user store at start-up, grows by every file that opened, and the
 * front end shows it in the File menu with the command numbers from the
 * first one given at start-up.
 */
#ifndef ZELMAR_COMMANDS_RECENT_H
#define ZELMAR_COMMANDS_RECENT_H

#define RECENT_MAX_FILES 16

/* Reads the list from the group sGroup of the store (values File1 to
 * File<MaxFiles>; missing ones are skipped) and has the menu rebuilt. */
void        RECENT_Init(const char* sGroup, int MaxFiles, unsigned FirstCommand);
/* Puts a file that opened at the head of the list, unless the list holds
 * it already (letter case aside); saves the list and rebuilds the menu. */
void        RECENT_Add(const char* sFile);
int         RECENT_GetNumFiles(void);
/* Entry Index (0 the newest), or "" past the end of the list. */
const char* RECENT_GetFile(int Index);
unsigned    RECENT_GetFirstCommand(void);

#endif
