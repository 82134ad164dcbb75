/*
 * Save As. In a batch the choice comes from the entry's text:
 *   <FILENAME>,<TYPE>[,<FORMAT>[,<NOPALETTE>]]
 * each of the last three one digit, read as found. Interactively it comes
 * from the file dialog and the Format dialog of the desktop front end.
 */
#include "saveas.h"

#include <stdio.h>
#include <string.h>

#include "../color/truecolor.h"
#include "../core/msg.h"
#include "../output/save.h"
#include "../platform/plat.h"
#include "cmdline.h"
#include "workspace.h"

/* The file type chosen last: the Save dialog's filter index, or the
 * TYPE digit of a batch entry. */
static int _FilterIndex = 1;

/* Reads the batch entry's text into pChoice and acName. Gives 0 and
 * reports when the text is not valid. */
static int _ReadBatchArgs(SAVEFORMAT* pChoice, char* acName, int MaxLen) {
  char acBuffer[500];
  CMDLINE_GetString(acBuffer, (int)sizeof(acBuffer) - 1);
  if (CMDLINE_GetChar() != ',') {
    MSG_Error("Separator has to be ,");
    return 0;
  }
  int Type = CMDLINE_GetChar() - '0';
  if (Type < 1 || Type > 3) {
    MSG_Error("TYPE has to be between 1 and 3!");
    return 0;
  }
  _FilterIndex = Type;
  if (Type == 1) {
    int NumColors = IMAGE_GetNumColors(pBitmapCurrent);
    if (CMDLINE_GetChar() != ',') {
      pChoice->NoPalette = 0;
      if (NumColors == 0) {
        pChoice->Format = 8;
      } else if (NumColors <= 2) {
        pChoice->Format = 1;
      } else if (NumColors <= 4) {
        pChoice->Format = 2;
      } else if (NumColors <= 16) {
        pChoice->Format = 4;
      } else if (NumColors <= 256) {
        pChoice->Format = 5;
      } else {
        MSG_Error("Only palettes with up to 256 entries supported!");
        return 0;
      }
    } else {
      int Format = CMDLINE_GetChar() - '0';
      if (Format < 1 || Format > 8) {
        MSG_Error("FORMAT has to be between 1 and 8!");
        return 0;
      }
      int MaxColors;
      switch (Format) {
      case 1:  MaxColors = 2;   break;
      case 2:  MaxColors = 4;   break;
      case 4:
      case 6:  MaxColors = 16;  break;
      case 5:
      case 7:  MaxColors = 256; break;
      default: MaxColors = -1;  break;   /* 3 and 8: any image */
      }
      if (MaxColors > 0 && (NumColors < 1 || NumColors > MaxColors)) {
        MSG_Error("FORMAT does not fit to bitmap!");
        return 0;
      }
      pChoice->Format = Format;
      if (CMDLINE_GetChar() == ',') {
        if (CMDLINE_GetChar() != '1') {
          MSG_Error("NOPALETTE must be set to 1!");
          return 0;
        }
        pChoice->NoPalette = 1;
      }
    }
  }
  snprintf(acName, (size_t)MaxLen, "%s", acBuffer);
  return 1;
}

void OnFileSaveAs(void) {
  SAVEFORMAT Choice = { 0, 0 };
  char       acName[512];
  int        Restore = 0;
  if (pBitmapCurrent == NULL) {
    MSG_Error("No file open!");
    return;
  }
  if (CMDLINE_IsBatch()) {
    if (!_ReadBatchArgs(&Choice, acName, (int)sizeof(acName))) {
      return;
    }
  } else {
    /* Asking the user needs the file dialog of the desktop front end;
     * without one the save is left as if cancelled. */
    return;
  }
  if (IMAGE_GetNumColors(pBitmapCurrent) != 0 && Choice.Format >= 8 && Choice.Format <= 13) {
    UNDO_Push();
    IMAGE* pRGB = CONVERT_IntoRGB(pBitmapCurrent);
    if (pRGB == NULL) {
      UNDO_Pop();   /* could not expand: the image is as it was */
      return;
    }
    pBitmapCurrent = pRGB;
    Restore = 1;
  }
  PLAT_FILE* hFile = PLAT_CreateWrite(acName);
  if (hFile == NULL) {
    MSG_Error("Invalid file handle");
    return;
  }
  pBitmapCurrent = IMAGE_SaveFile(pBitmapCurrent, hFile, _FilterIndex, acName, &Choice);
  /* The file replaces an existing one only now, when all of it was
   * written. A failed write is reported; the old file stays. */
  if (PLAT_Close(hFile) == PLAT_CLOSE_FAILED) {
    char ac[700];
    snprintf(ac, sizeof(ac), "Write error: %s: %s", acName, PLAT_GetErrorText());
    if (_FilterIndex == 3) {
      /* As when the GIF writer sees the failure itself: the reduced
       * image goes with the file. */
      IMAGE_Free(pBitmapCurrent);
      pBitmapCurrent = NULL;
    }
    MSG_Error(ac);
  }
  CANVAS_Refresh();
  if (Restore) {
    UNDO_Pop();
  }
}
