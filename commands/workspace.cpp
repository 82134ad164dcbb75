/*
 * The workspace: the current image, the undo stack, the canvas requests
 * and the one road from a path to the current image.
 */
#include "workspace.h"

#include <stdio.h>
#include <string.h>
#include <strings.h>

#include "../input/loader.h"
#include "../platform/plat.h"
#include "filedlg.h"
#include "recent.h"

IMAGE* pBitmapCurrent;
IMAGE* aUndo[NUM_UNDO];
char   acFileName[260];
int    LastFileType;
int    IsOpening;
int    Zoom;

static WORKSPACE_PFN_TITLE* _pfSetTitle;

void WORKSPACE_SetTitleHook(WORKSPACE_PFN_TITLE* pfSetTitle) {
  _pfSetTitle = pfSetTitle;
}

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
  /* PNG and JPEG are read only; LastFileType stays as it was. */
  if (strncasecmp(sExt, ".png", 4) == 0) {
    return LOADER_TYPE_PNG;
  }
  if (strncasecmp(sExt, ".jpg", 4) == 0 || strncasecmp(sExt, ".jpeg", 5) == 0) {
    return LOADER_TYPE_JPEG;
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
    RECENT_Add(sPath);
    if (_pfSetTitle) {
      _pfSetTitle(sPath);
    }
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
  char acName[FILEDLG_NAME_LEN];
  snprintf(acName, sizeof(acName), "%s", acFileName);
  int NumFilters;
  const PLAT_FILTER* aFilter = FILEDLG_GetFilters(FILEDLG_LIST_OPEN, &NumFilters);
  if (FILEDLG_Open(acName, "Open bitmap file", aFilter, NumFilters, LastFileType)) {
    OnFileOpen(acName);
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
