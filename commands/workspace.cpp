/*
 * The workspace and its command dispatcher.
 *
 * A changing command takes a snapshot first, runs its operation on the
 * current image (in place, or consuming it and giving a new one), shows
 * its status text and asks for a repaint.
 */
#include "workspace.h"

#include <stdio.h>
#include <string.h>
#include <strings.h>

#include "../app/main.h"
#include "../color/truecolor.h"
#include "../input/loader.h"
#include "../platform/plat.h"
#include "saveas.h"

IMAGE* pBitmapCurrent;
IMAGE* aUndo[NUM_UNDO];
char   acFileName[260];
int    LastFileType;
int    IsOpening;
int    Zoom;

/*********************************************************************
*  Undo
*/
void UNDO_Push(void) {
  if (pBitmapCurrent == NULL) {
    return;
  }
  IMAGE* pCopy = IMAGE_Copy(pBitmapCurrent);
  if (pCopy == NULL) {
    return;   /* IMAGE_Copy has reported why; the stack stays as it is */
  }
  IMAGE_Free(aUndo[NUM_UNDO - 1]);
  for (int i = NUM_UNDO - 1; i > 0; i--) {
    aUndo[i] = aUndo[i - 1];
  }
  aUndo[0] = pCopy;
}

void UNDO_Pop(void) {
  if (aUndo[0] == NULL) {
    return;
  }
  IMAGE_ShowStatus("Undoing");
  IMAGE_Free(pBitmapCurrent);
  pBitmapCurrent = aUndo[0];
  for (int i = 0; i < NUM_UNDO - 1; i++) {
    aUndo[i] = aUndo[i + 1];
  }
  aUndo[NUM_UNDO - 1] = NULL;
  IMAGE_ShowStatus("Last operation undone");
}

/*********************************************************************
*  Canvas requests
*/
void CANVAS_Refresh(void) {
  PLAT_InvalidateWindow();
}

void CANVAS_SetInitialZoom(const IMAGE* pImage) {
  Zoom = (pImage->XSize > 300 || pImage->YSize > 300) ? 10 : 20;
}

/*********************************************************************
*  Opening a file
*/
static int _GetFileType(const char* sPath, int* pNewLastFileType) {
  const char* sExt = strrchr(sPath, '.');
  if (sExt == NULL) {
    return -1;   /* no extension: answered like an unknown one */
  }
  if (strncasecmp(sExt, ".bmp", 4) == 0) {
    *pNewLastFileType = 1;
    return 0;
  }
  if (strncasecmp(sExt, ".sbmp", 5) == 0) {
    *pNewLastFileType = 2;
    return 1;
  }
  if (strncasecmp(sExt, ".gif", 4) == 0) {
    *pNewLastFileType = 3;
    return 2;
  }
  return -1;
}

IMAGE* OnFileOpen(const char* sPath) {
  if (IsOpening) {
    IMAGE_ShowError("Error opening file");
    return NULL;
  }
  if (strlen(sPath) >= sizeof(acFileName)) {
    IMAGE_ShowError("Filename too long");
    IMAGE_ShowError("Error opening file");
    return NULL;
  }
  IsOpening = 1;
  int Error = PLAT_OPEN_OK;
  PLAT_FILE* hFile = PLAT_OpenRead(sPath, &Error);
  if (hFile == NULL) {
    IsOpening = 0;
    IMAGE_ShowError(Error == PLAT_OPEN_NOT_FOUND ? "File not found" : "OnFileOpen: Invalid file handle");
    return NULL;
  }
  snprintf(acFileName, sizeof(acFileName), "%s", sPath);
  int NewLastFileType = LastFileType;
  int Type = _GetFileType(sPath, &NewLastFileType);
  LastFileType = NewLastFileType;
  IMAGE* pImage = IMAGE_LoadFile(hFile, Type);
  if (pImage) {
    UNDO_Push();
    IMAGE_Free(pBitmapCurrent);
    pBitmapCurrent = pImage;
    CANVAS_Refresh();
    MAIN_SetTitle(sPath);
  }
  PLAT_Close(hFile);
  IsOpening = 0;
  if (pImage == NULL) {
    IMAGE_ShowError("Error opening file");
    return NULL;
  }
  CANVAS_SetInitialZoom(pImage);
  return pImage;
}

void OnFileOpenDlg(void) {
  /* The file dialog belongs to the desktop front end; without it there
   * is nothing to choose from. */
}

/*********************************************************************
*  Command handlers
*/
/* Commands that need an image stop here, in order, when there is none. */
static int _CheckImage(void) {
  if (pBitmapCurrent == NULL) {
    IMAGE_ShowError("No file open!");
    return 0;
  }
  return 1;
}

/* Stores the result of a consuming operation. A null result means the
 * operation could not make its image and has kept the one it was given. */
static void _Store(IMAGE* pResult) {
  if (pResult) {
    pBitmapCurrent = pResult;
  }
}

static void _OnZoomIn(void) {
  if (Zoom < 40) {
    Zoom++;
  }
  CANVAS_Refresh();
}

static void _OnZoomOut(void) {
  if (Zoom > 1) {
    Zoom--;
  }
  CANVAS_Refresh();
}

static void _OnConvertIntoRGB(void) {
  if (!_CheckImage()) return;
  UNDO_Push();
  _Store(CONVERT_IntoRGB(pBitmapCurrent));
  CANVAS_Refresh();
}

static void _HighColor(int Format) {
  if (!_CheckImage()) return;
  UNDO_Push();
  _Store(CONVERT_IntoHighColor(pBitmapCurrent, Format));
  CANVAS_Refresh();
}

static void _OnHighColor555(void) { _HighColor(555); }
static void _OnHighColor655(void) { _HighColor(655); }
static void _OnHighColor565(void) { _HighColor(565); }
static void _OnHighColor556(void) { _HighColor(556); }

static void _OnFileOpenDlg(void) {
  OnFileOpenDlg();
}

static void _OnFileSaveAs(void) {
  OnFileSaveAs();
  CANVAS_Refresh();
}

static void _OnUndo(void) {
  UNDO_Pop();
  CANVAS_Refresh();
}

typedef struct {
  unsigned Id;
  void (*pfHandler)(void);
} COMMAND;

static const COMMAND _aCommand[] = {
  { 0x8007, _OnZoomIn },
  { 0x8008, _OnZoomOut },
  { 0x8014, _OnHighColor555 },
  { 0x8015, _OnHighColor655 },
  { 0x8016, _OnHighColor565 },
  { 0x8017, _OnHighColor556 },
  { 0x801D, _OnConvertIntoRGB },
  { 0xE101, _OnFileOpenDlg },
  { 0xE104, _OnFileSaveAs },
  { 0xE12B, _OnUndo },
};

void OnCommand(unsigned Id, long lParam) {
  (void)lParam;
  Id &= 0xFFFF;
  for (const COMMAND& Cmd : _aCommand) {
    if (Cmd.Id == Id) {
      Cmd.pfHandler();
      return;
    }
  }
}

void WORKSPACE_Reset(void) {
  IMAGE_Free(pBitmapCurrent);
  pBitmapCurrent = NULL;
  for (int i = 0; i < NUM_UNDO; i++) {
    IMAGE_Free(aUndo[i]);
    aUndo[i] = NULL;
  }
  acFileName[0] = 0;
  LastFileType = 0;
  IsOpening = 0;
  Zoom = 20;
}
