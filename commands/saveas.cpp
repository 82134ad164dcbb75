/*
 * Save As. In a batch the choice comes from the entry's text:
 *   <FILENAME>,<TYPE>[,<FORMAT>[,<NOPALETTE>]]
 * each of the last three one digit, read as found. Interactively it comes
 * from the file dialog and the Format dialog of the desktop front end.
 *
 * Save To is the build scripts' Save As: the same text, but TYPE and
 * FORMAT are whole numbers, so that every type (4: C stream) and every
 * format (up to 13) can be asked for, and what doesn't fit is refused
 * before anything is written.
 */
#include "saveas.h"

#include <stdio.h>
#include <string.h>

#include "../color/truecolor.h"
#include "../core/msg.h"
#include "../output/save.h"
#include "../platform/plat.h"
#include "cmdline.h"
#include "filedlg.h"
#include "workspace.h"

/* The format a C bitmap file gets when none is named: the smallest that
 * holds the palette, high colour for true colour. 0 and a report when no
 * format holds it. */
static int _GetDefaultFormat(int NumColors) {
  if (NumColors == 0) {
    return 8;
  } else if (NumColors <= 2) {
    return 1;
  } else if (NumColors <= 4) {
    return 2;
  } else if (NumColors <= 16) {
    return 4;
  } else if (NumColors <= 256) {
    return 5;
  }
  MSG_Error("Only palettes with up to 256 entries supported!");
  return 0;
}

/* Whether a C bitmap file of the format can hold the image; reports
 * when it can't. */
static int _FormatFits(int Format, int NumColors) {
  int MaxColors;
  switch (Format) {
  case 1:  MaxColors = 2;   break;
  case 2:  MaxColors = 4;   break;
  case 4:
  case 6:  MaxColors = 16;  break;
  case 5:
  case 7:  MaxColors = 256; break;
  default: MaxColors = -1;  break;   /* 3 and 8 to 13: any image */
  }
  if (MaxColors > 0 && (NumColors < 1 || NumColors > MaxColors)) {
    MSG_Error("FORMAT does not fit to bitmap!");
    return 0;
  }
  return 1;
}

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
  FILEDLG_SetFilterIndex(Type);
  if (Type == 1) {
    int NumColors = IMAGE_GetNumColors(pBitmapCurrent);
    if (CMDLINE_GetChar() != ',') {
      pChoice->NoPalette = 0;
      pChoice->Format = _GetDefaultFormat(NumColors);
      if (pChoice->Format == 0) {
        return 0;
      }
    } else {
      int Format = CMDLINE_GetChar() - '0';
      if (Format < 1 || Format > 8) {
        MSG_Error("FORMAT has to be between 1 and 8!");
        return 0;
      }
      if (!_FormatFits(Format, NumColors)) {
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

/*********************************************************************
*  The Format dialog
*/
typedef struct {
  const char* sLabel;
  int         Format;
  int         MaxColors;   /* offered for 1 to MaxColors colours; 0: always */
} FORMAT_ROW;

static const FORMAT_ROW _aFormatRow[] = {
  { "1 bit per pixel",                                    1,  2 },
  { "2 bit per pixel",                                    2,  4 },
  { "4 bit per pixel",                                    4,  16 },
  { "8 bit per pixel",                                    5,  256 },
  { "Compressed, RLE4",                                   6,  16 },
  { "Compressed, RLE8",                                   7,  256 },
  { "High color (565)",                                   8,  0 },
  { "High color (565), red and blue swapped",             9,  0 },
  { "High color (565), compressed",                       10, 0 },
  { "High color (565), red and blue swapped, compressed", 11, 0 },
  { "True color (888)",                                   12, 0 },
  { "True color (888), red and blue swapped",             13, 0 },
};
#define NUM_FORMAT_ROWS ((int)(sizeof(_aFormatRow) / sizeof(_aFormatRow[0])))

/* "Without palette" means something for the palette formats only; the
 * high colour rows grey it. The others leave it as it is. */
static int _CheckState(int Format) {
  switch (Format) {
  case 1: case 2: case 4: case 5: case 6: case 7: return 1;
  case 8: case 9:                                 return 0;
  default:                                        return -1;
  }
}

/* Asks for the format of a C bitmap file: the rows that fit the image's
 * colours, in list order, the first one preselected. 0 on cancel. */
static int _AskFormat(const IMAGE* pImage, SAVEFORMAT* pChoice) {
  const char* asItem[NUM_FORMAT_ROWS];
  int         aValue[NUM_FORMAT_ROWS];
  int         NumItems  = 0;
  int         NumColors = IMAGE_GetNumColors(pImage);
  for (const FORMAT_ROW& Row : _aFormatRow) {
    if (Row.MaxColors && (NumColors < 1 || NumColors > Row.MaxColors)) {
      continue;
    }
    asItem[NumItems]   = Row.sLabel;
    aValue[NumItems++] = Row.Format;
  }
  PLAT_FORMATDLG Dlg;
  memset(&Dlg, 0, sizeof(Dlg));
  Dlg.sTitle         = "Format specification";
  Dlg.sPrompt        = "Select format:";
  Dlg.sCheckLabel    = "&Without palette";
  Dlg.asItem         = asItem;
  Dlg.aValue         = aValue;
  Dlg.NumItems       = NumItems;
  Dlg.IsCheckEnabled = NumItems > NUM_FORMAT_ROWS - 6;   /* some palette row is offered */
  Dlg.pfCheckState   = _CheckState;
  if (!PLAT_ChooseFormat(&Dlg)) {
    return 0;
  }
  pChoice->Format    = Dlg.Value;
  pChoice->NoPalette = Dlg.IsChecked ? 1 : 0;
  return 1;
}

/* The file dialog, and the Format dialog for a C bitmap file. 0 when the
 * user cancels. */
static int _AskUser(SAVEFORMAT* pChoice, char* acName) {
  snprintf(acName, FILEDLG_NAME_LEN, "%s", acFileName);
  int IsPalette = IMAGE_GetNumColors(pBitmapCurrent) != 0;
  int NumFilters;
  const PLAT_FILTER* aFilter = FILEDLG_GetFilters(IsPalette ? FILEDLG_LIST_SAVE_PALETTE : FILEDLG_LIST_SAVE_RGB, &NumFilters);
  if (!FILEDLG_Save(acName, "Save bitmap file", aFilter, NumFilters, LastFileType)) {
    return 0;
  }
  /* Only a palette image's choice is kept for the next dialog. */
  if (IsPalette) {
    LastFileType = FILEDLG_GetFilterIndex();
  }
  if (FILEDLG_GetFilterIndex() == 1) {
    return _AskFormat(pBitmapCurrent, pChoice);
  }
  return 1;
}

/*********************************************************************
*  Save To: <FILENAME>,<TYPE>[,<FORMAT>[,<NOPALETTE>]] with whole numbers
*/
/* A whole number of one to three digits that ends at a comma or at the
 * end of the text; -1 for anything else. *ps moves behind the comma. */
static int _ReadNumber(const char** ps) {
  const char* s = *ps;
  int Value = 0;
  int NumDigits = 0;
  for (; *s >= '0' && *s <= '9' && NumDigits < 3; s++, NumDigits++) {
    Value = Value * 10 + (*s - '0');
  }
  if (NumDigits == 0 || (*s != ',' && *s != 0)) {
    return -1;
  }
  *ps = (*s == ',') ? s + 1 : s;
  return Value;
}

/* Like _ReadBatchArgs, with every file type (4: C stream) and every
 * format; the type is handed out through the file dialog's index, as
 * there. */
static int _ReadSaveToArgs(SAVEFORMAT* pChoice, char* acName, int MaxLen) {
  char acBuffer[500];
  CMDLINE_GetString(acBuffer, (int)sizeof(acBuffer) - 1);
  if (CMDLINE_GetChar() != ',') {
    MSG_Error("Separator has to be ,");
    return 0;
  }
  char acRest[300];
  int  Len = 0;
  for (int c; (c = CMDLINE_GetChar()) != 0 && Len < (int)sizeof(acRest) - 1;) {
    acRest[Len++] = (char)c;
  }
  acRest[Len] = 0;
  const char* s = acRest;
  int Type = _ReadNumber(&s);
  if (Type < 1 || Type > 4) {
    MSG_Error("TYPE has to be between 1 and 4!");
    return 0;
  }
  int HasMore   = s[-1] == ',';
  int NumColors = IMAGE_GetNumColors(pBitmapCurrent);
  if (Type == 1) {
    if (!HasMore) {
      pChoice->Format = _GetDefaultFormat(NumColors);
      if (pChoice->Format == 0) {
        return 0;
      }
    } else {
      int Format = _ReadNumber(&s);
      if (Format < 1 || Format > 13) {
        MSG_Error("FORMAT has to be between 1 and 13!");
        return 0;
      }
      if (!_FormatFits(Format, NumColors)) {
        return 0;
      }
      pChoice->Format = Format;
      if (s[-1] == ',') {
        if (strcmp(s, "1") != 0) {
          MSG_Error("NOPALETTE must be set to 1!");
          return 0;
        }
        pChoice->NoPalette = 1;
      }
    }
  } else if (HasMore) {
    MSG_Error("FORMAT and NOPALETTE are for TYPE 1 only!");
    return 0;
  }
  /* The stream has rows of indices only: the Save dialog offers it for
   * palette images alone. */
  if (Type == 4 && (NumColors < 1 || NumColors > 256)) {
    MSG_Error("TYPE 4 (C stream) needs a palette image!");
    return 0;
  }
  FILEDLG_SetFilterIndex(Type);
  snprintf(acName, (size_t)MaxLen, "%s", acBuffer);
  return 1;
}

/*********************************************************************
*  The one road out
*/
/* Writes the current image as the choice says, with the file type of
 * the file dialog's index. */
static void _SaveCurrent(const SAVEFORMAT* pChoice, const char* acName) {
  SAVEFORMAT Choice = *pChoice;
  int        Restore = 0;
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
  pBitmapCurrent = IMAGE_SaveFile(pBitmapCurrent, hFile, FILEDLG_GetFilterIndex(), acName, &Choice);
  /* The file replaces an existing one only now, when all of it was
   * written. A failed write is reported; the old file stays. */
  if (PLAT_Close(hFile) == PLAT_CLOSE_FAILED) {
    char ac[700];
    snprintf(ac, sizeof(ac), "Write error: %s: %s", acName, PLAT_GetErrorText());
    if (FILEDLG_GetFilterIndex() == 3) {
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

void OnFileSaveAs(void) {
  SAVEFORMAT Choice = { 0, 0 };
  char       acName[512];
  if (pBitmapCurrent == NULL) {
    MSG_Error("No file open!");
    return;
  }
  if (CMDLINE_IsBatch()) {
    if (!_ReadBatchArgs(&Choice, acName, (int)sizeof(acName))) {
      return;
    }
  } else {
    if (!_AskUser(&Choice, acName)) {
      return;
    }
  }
  _SaveCurrent(&Choice, acName);
}

void OnFileSaveTo(void) {
  SAVEFORMAT Choice = { 0, 0 };
  char       acName[512];
  if (pBitmapCurrent == NULL) {
    MSG_Error("No file open!");
    return;
  }
  if (_ReadSaveToArgs(&Choice, acName, (int)sizeof(acName))) {
    _SaveCurrent(&Choice, acName);
  }
}
