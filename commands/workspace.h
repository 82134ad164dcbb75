/*
 * The one workspace: the current image, the undo stack, the last path
 * opened and the zoom.
 */
#ifndef ZELMAR_COMMANDS_WORKSPACE_H
#define ZELMAR_COMMANDS_WORKSPACE_H

#include "../core/image.h"

#define NUM_UNDO 10

extern IMAGE* pBitmapCurrent;
extern IMAGE* aUndo[NUM_UNDO];
extern char   acFileName[260];
extern int    LastFileType;
extern int    IsOpening;
extern int    Zoom;

IMAGE* OnFileOpen(const char* sPath);
void   OnFileOpenDlg(void);
void   UNDO_Push(void);
void   UNDO_Pop(void);
void   CANVAS_Refresh(void);
void   CANVAS_SetInitialZoom(const IMAGE* pImage);

/* Shows the file that is open (null: none) in the title; the window
 * belongs to the application, which hands this down at start-up. */
typedef void WORKSPACE_PFN_TITLE(const char* sFile);
void   WORKSPACE_SetTitleHook(WORKSPACE_PFN_TITLE* pfSetTitle);

/* Back to the state at program start; frees every image. For tests. */
void   WORKSPACE_Reset(void);

#endif
