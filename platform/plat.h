/*
 * The platform layer: everything the program asks of the operating system
 * and the window system. Files and memory are portable and implemented
 * here; the user interface (boxes, the window, dialogs) belongs to the
 * front end that is running, which registers its functions at start-up.
 */
#ifndef ZELMAR_PLATFORM_PLAT_H
#define ZELMAR_PLATFORM_PLAT_H

#include <stddef.h>
#include <stdint.h>

/*********************************************************************
*  Files
*/
typedef struct PLAT_FILE PLAT_FILE;

enum {
  PLAT_OPEN_OK        = 0,
  PLAT_OPEN_NOT_FOUND = 1,   /* the file does not exist */
  PLAT_OPEN_FAILED    = 2    /* any other reason */
};

/* Opens an existing file for reading. On failure returns null and puts
 * one of the codes above in *pError (when pError is not null). */
PLAT_FILE* PLAT_OpenRead(const char* sPath, int* pError);
/* Creates a file for writing that is to replace sPath. The bytes go to a
 * temporary file beside it; PLAT_Close puts it in place. A device, a FIFO
 * or /dev/stdout is written directly. Null when sPath can't be written
 * (a folder, a file without write permission, a missing folder). Writes
 * are buffered; the bytes that reach the file are those written, in order. */
PLAT_FILE* PLAT_CreateWrite(const char* sPath);
/* Creates (replaces) a file of which every PLAT_Write goes to its end in
 * one piece, unbuffered: writers in other processes never come between
 * the bytes of one write. */
PLAT_FILE* PLAT_CreateLog(const char* sPath);
/* Reads up to NumBytes; gives the count read. */
uint32_t   PLAT_Read(PLAT_FILE* pFile, void* pData, uint32_t NumBytes);
/* Writes NumBytes; gives the count accepted. After a failure nothing more
 * is accepted. */
uint32_t   PLAT_Write(PLAT_FILE* pFile, const void* pData, uint32_t NumBytes);
/* Hands buffered bytes to the system now. */
void       PLAT_Flush(PLAT_FILE* pFile);
/* Size in bytes of an open file; sizes past 4 GiB read as 0xFFFFFFFF. */
uint32_t   PLAT_GetFileSize(PLAT_FILE* pFile);
/* Gives up a file being written: PLAT_Close then leaves the target as it
 * was. For a refused save, after its own report. */
void       PLAT_Discard(PLAT_FILE* pFile);

enum {
  PLAT_CLOSE_OK        = 0,
  PLAT_CLOSE_FAILED    = 1,   /* a write, the close or the replacement failed */
  PLAT_CLOSE_DISCARDED = 2    /* PLAT_Discard was called */
};
/* Flushes and closes. A file from PLAT_CreateWrite replaces its target
 * only when all went well; otherwise the target stays as it was and the
 * temporary is removed. A null file is accepted. */
int        PLAT_Close(PLAT_FILE* pFile);
/* Whether PLAT_Close waits for a replacement's bytes to reach the disk
 * before it takes the target's place (on by default). A build step, whose
 * outputs its build makes again, writes as compilers do: the temporary
 * and the rename stay, and a failed write or close still leaves the
 * target as it was. Windows always waits: its write-through rename wants
 * the data on the disk. */
void       PLAT_SetSyncOnReplace(int OnOff);
/* The system's reason of the last failure of a file written. */
const char* PLAT_GetErrorText(void);

/*********************************************************************
*  Memory: zero-filled blocks that do not move. Null when not available.
*/
void* PLAT_Alloc(size_t NumBytes);
void  PLAT_Free(void* p);
/* Makes the allocation after the next NumBefore ones fail (once), as when
 * memory runs out; -1 takes that back. Gives what was left of the count
 * before, -1 when the failure has happened. For tests of failure paths. */
long  PLAT_FailAllocation(long NumBefore);

/*********************************************************************
*  Message boxes
*/
enum { PLAT_ICON_NONE, PLAT_ICON_ERROR, PLAT_ICON_WARNING, PLAT_ICON_INFO, PLAT_ICON_QUESTION };
enum { PLAT_BUTTONS_OK, PLAT_BUTTONS_YESNO };
enum { PLAT_ID_OK = 1, PLAT_ID_YES = 6, PLAT_ID_NO = 7 };

/* Shows a box and waits until it is answered. sTitle null means the
 * system's default caption. DefaultId is the answer that an unattended
 * front end takes (PLAT_ID_OK for OK boxes). Gives the answer. */
int PLAT_MessageBox(const char* sText, const char* sTitle, int Icon, int Buttons, int DefaultId);

/*********************************************************************
*  The main window
*/
/* Sends a command to the main window and returns when it has run. */
void PLAT_SendCommand(unsigned Id);
int  PLAT_WindowExists(void);
/* Ends the main window; the main loop stops after the running command. */
void PLAT_DestroyWindow(void);
/* Asks for a repaint of the client area. */
void PLAT_InvalidateWindow(void);
void PLAT_SetWindowTitle(const char* sTitle);
/* Status bar text. */
void PLAT_SetStatusText(const char* sText);
/* The About box, modal. */
void PLAT_ShowAbout(void);

/* The menu shows lists kept by the program (the recent files): they
 * have changed, and the menu is to be built anew from them. */
void PLAT_UpdateMenu(void);

/*********************************************************************
*  A small store of named texts that lives from one run to the next,
*  kept per user. Without a front end that has one nothing is kept.
*/
/* Reads the value sName of group sGroup into pBuffer (at most MaxLen
 * characters and the end mark). Gives 1 when the value is there and fits,
 * else 0 with an empty buffer. */
int  PLAT_LoadSetting(const char* sGroup, const char* sName, char* pBuffer, int MaxLen);
void PLAT_SaveSetting(const char* sGroup, const char* sName, const char* sValue);

/*********************************************************************
*  Dialogs. Without a front end that has them they answer "cancelled".
*/
/* A label and a pattern list, such as "All files (*.*)" and "*.*". */
typedef struct {
  const char* sLabel;
  const char* sPattern;
} PLAT_FILTER;

/* The Open dialog: pBuffer holds the start name and receives the path
 * chosen (at most MaxLen characters and the end mark). FilterIndex counts
 * from 1; 0 is taken as 1. Gives 1 when a file was chosen, 0 on cancel. */
int PLAT_OpenFileDialog(char* pBuffer, int MaxLen, const char* sTitle,
                        const PLAT_FILTER* aFilter, int NumFilters, int FilterIndex);
/* The file dialogs in full. FilterIndex counts from 1 and holds, after
 * the dialog, the entry the user left selected. sInitialDir is the folder
 * (or a path in it) to start in; empty for the system's choice. A Save
 * dialog calls pfTypeChange, where the toolkit tells it, with the text of
 * its name field when the user picks another type; the routine rewrites
 * the text (at most MaxLen characters and the end mark) in place. */
typedef struct {
  int                IsSave;
  const char*        sTitle;
  const PLAT_FILTER* aFilter;
  int                NumFilters;
  int                FilterIndex;
  const char*        sInitialDir;
  char*              pBuffer;      /* start name in, path chosen out */
  int                MaxLen;
  void (*pfTypeChange)(int FilterIndex, char* pName, int MaxLen);
} PLAT_FILEDLG;
int PLAT_FileDialog(PLAT_FILEDLG* pDlg);
/* A modal choice of one of a list of labelled numbers, the first row
 * selected at the start, with a check box below the list. When the user
 * selects another row, pfCheckState tells for its number whether the box
 * is enabled (1), greyed (0) or left as it is (-1); its mark stays.
 * Gives 1 on OK, with Value and IsChecked filled in, 0 on cancel. */
typedef struct {
  const char*        sTitle;
  const char*        sPrompt;
  const char*        sCheckLabel;
  const char* const* asItem;
  const int*         aValue;
  int                NumItems;
  int                IsCheckEnabled;
  int (*pfCheckState)(int Value);
  int                Value;
  int                IsChecked;
} PLAT_FORMATDLG;
int PLAT_ChooseFormat(PLAT_FORMATDLG* pDlg);
/* A modal choice of one item of a list: gives the item number chosen
 * (from 0), or -1 on cancel. InitialSel is selected first. */
int PLAT_ChooseFromList(const char* sTitle, const char* sPrompt,
                        const char* const* asItem, int NumItems, int InitialSel);

/*********************************************************************
*  Clipboard: pictures exchanged as packed DIB blocks (a BITMAPINFOHEADER,
*  its colour table and the rows). Without a front end that has one there
*  is no clipboard.
*/
/* Puts a copy of the block on the clipboard; 1 when done. */
int   PLAT_SetClipboardDIB(const void* pDIB, uint32_t NumBytes);
/* The picture on the clipboard as a block from PLAT_Alloc (the caller
 * frees it), or null when it holds none. */
void* PLAT_GetClipboardDIB(uint32_t* pNumBytes);

/*********************************************************************
*  Front ends register their user interface here.
*/
typedef struct {
  int  (*pfMessageBox)(const char* sText, const char* sTitle, int Icon, int Buttons, int DefaultId);
  void (*pfSendCommand)(unsigned Id);
  int  (*pfWindowExists)(void);
  void (*pfDestroyWindow)(void);
  void (*pfInvalidateWindow)(void);
  void (*pfSetWindowTitle)(const char* sTitle);
  void (*pfSetStatusText)(const char* sText);
  void (*pfShowAbout)(void);
  int  (*pfOpenFileDialog)(char* pBuffer, int MaxLen, const char* sTitle,
                           const PLAT_FILTER* aFilter, int NumFilters, int FilterIndex);
  int  (*pfChooseFromList)(const char* sTitle, const char* sPrompt,
                           const char* const* asItem, int NumItems, int InitialSel);
  void (*pfUpdateMenu)(void);
  int  (*pfLoadSetting)(const char* sGroup, const char* sName, char* pBuffer, int MaxLen);
  void (*pfSaveSetting)(const char* sGroup, const char* sName, const char* sValue);
  /* Both file dialogs; when missing, an Open dialog goes to
   * pfOpenFileDialog and a Save dialog is cancelled. */
  int  (*pfFileDialog)(PLAT_FILEDLG* pDlg);
  int  (*pfChooseFormat)(PLAT_FORMATDLG* pDlg);
  int  (*pfSetClipboardDIB)(const void* pDIB, uint32_t NumBytes);
  void* (*pfGetClipboardDIB)(uint32_t* pNumBytes);
} PLAT_FRONTEND;

/* Registers the front end. The table must live as long as the program.
 * Missing entries (null) make the matching operation do nothing; a
 * missing box answers with its default. */
void PLAT_SetFrontEnd(const PLAT_FRONTEND* pFrontEnd);

/* 1 when standard input is a terminal that a person types into (not a
 * file, a pipe, or a null device, which Windows counts as a terminal). */
int PLAT_IsInputTerminal(void);

/* Registers a routine to run at process exit. */
void PLAT_AtExit(void (*pfRoutine)(void));

/* Called first in main: the arguments become UTF-8 where the system hands
 * them over in another encoding, and the standard streams pass bytes
 * unchanged. Elsewhere nothing changes. */
void PLAT_InitProcess(int* pArgc, char*** pArgv);

#endif
