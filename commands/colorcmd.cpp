/*
 * The colour commands that need a parameter. In a batch the parameter is
 * the text of the queue entry; otherwise a list or a file dialog asks.
 */
#include "colorcmd.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "../color/custompal.h"
#include "../color/dither.h"
#include "../color/palette.h"
#include "../color/quantize.h"
#include "../color/transparency.h"
#include "../core/msg.h"
#include "../platform/plat.h"
#include "cmdline.h"
#include "filedlg.h"
#include "workspace.h"

/*********************************************************************
*  Transparency
*/
/* The checks both commands make first; 1 when the current image can take
 * transparency. */
static int _CheckPaletteImage(void) {
  if (pBitmapCurrent == NULL) {
    MSG_Error("No file open!");
    return 0;
  }
  if (IMAGE_GetBitsPerPixel(pBitmapCurrent) > 8) {
    MSG_Error("No palette, can not create transparency");
    return 0;
  }
  return 1;
}

/* The menu command: a list of "No transparency" and every palette entry
 * with its colour value, entry 0 preselected when it is transparent. The
 * snapshot is taken before the list opens and stays on cancel. */
void OnTransparencyDlg(void) {
  if (!_CheckPaletteImage()) {
    return;
  }
  UNDO_Push();
  char        aacItem[257][32];
  const char* asItem[257];
  I32 NumColors = IMAGE_GetNumColors(pBitmapCurrent);
  if (NumColors > 256) {
    NumColors = 256;
  }
  snprintf(aacItem[0], sizeof(aacItem[0]), "No transparency");
  asItem[0] = aacItem[0];
  for (I32 i = 0; i < NumColors; i++) {
    snprintf(aacItem[i + 1], sizeof(aacItem[i + 1]), "Index %d: %.6X",
             (int)i, (unsigned)IMAGE_GetColor(pBitmapCurrent, i));
    asItem[i + 1] = aacItem[i + 1];
  }
  int InitialSel = IMAGE_GetHasTrans(pBitmapCurrent) ? 1 : 0;
  int Choice = PLAT_ChooseFromList("Transparency", "Color to make transparent",
                                   asItem, NumColors + 1, InitialSel);
  if (Choice >= 0) {
    IMAGE_SetTransparency(pBitmapCurrent, Choice);
  }
  CANVAS_Refresh();
}

/* The command-line option: the argument is a colour value in hex, digits
 * in the order blue, green, red, and must name a palette entry exactly.
 * The first entry that matches in all 32 bits becomes transparent. */
void OnTransparencyOption(void) {
  if (!_CheckPaletteImage()) {
    return;
  }
  U32 Color = (U32)CMDLINE_GetHexValue();
  if (Color > 0xFFFFFF) {
    MSG_Error("Color has to be 000000 - FFFFFF");
    return;
  }
  I32 NumColors = IMAGE_GetNumColors(pBitmapCurrent);
  for (I32 i = 0; i < NumColors; i++) {
    if (IMAGE_GetColor(pBitmapCurrent, i) == Color) {
      UNDO_Push();
      IMAGE_SetTransparency(pBitmapCurrent, (int)i + 1);
      CANVAS_Refresh();
      return;
    }
  }
  MSG_Error("Color not found in image");
}

/*********************************************************************
*  Custom palette
*/
#define PALETTE_FILE_LEN 500

/* The file last used: the dialog opens with it. */
static char _acPaletteFile[PALETTE_FILE_LEN];

/* Gets the file name from the batch entry or the dialog into
 * _acPaletteFile; 1 when there is one to read. */
static int _GetPaletteFile(void) {
  if (CMDLINE_IsBatch()) {
    char acFile[PALETTE_FILE_LEN];
    CMDLINE_GetString(acFile, PALETTE_FILE_LEN - 1);
    PLAT_FILE* hFile = PLAT_OpenRead(acFile, NULL);
    if (hFile == NULL) {
      MSG_Error("Invalid file handle");
      return 0;
    }
    PLAT_Close(hFile);
    snprintf(_acPaletteFile, sizeof(_acPaletteFile), "%s", acFile);
    return 1;
  }
  int NumFilters;
  const PLAT_FILTER* aFilter = FILEDLG_GetFilters(FILEDLG_LIST_PALETTE_FILE, &NumFilters);
  return FILEDLG_Open(_acPaletteFile, "Open custom palette", aFilter, NumFilters, LastFileType);
}

/* Snapshot, file name, palette, a second snapshot, conversion. A failure
 * or a cancel on the way leaves the image as it was and the first
 * snapshot on the undo stack. With no current image the conversion
 * reports it and nothing changes. */
void OnConvertIntoCustomPalette(void) {
  UNDO_Push();
  if (_GetPaletteFile() && CUSTOMPAL_Load(_acPaletteFile) == 0) {
    UNDO_Push();
    IMAGE* pResult = CONVERT_IntoCustomPalette(pBitmapCurrent);
    if (pResult) {
      pBitmapCurrent = pResult;
    }
  }
  CANVAS_Refresh();
}

/*********************************************************************
*  Optimal palette and dithering
*/
/* The digits of the batch entry as a number; -1 when there are none or
 * anything else stands there. At most 4 digits are taken. */
static int _ReadNumber(char* acText, int MaxLen) {
  int Len = 0, Value = 0, IsValid = 1;
  for (int c = CMDLINE_GetChar(); c; c = CMDLINE_GetChar()) {
    if (Len < MaxLen) {
      acText[Len++] = (char)c;
    }
    if (c < '0' || c > '9' || !IsValid || Len > 4) {
      IsValid = 0;   /* and the value stops growing */
    } else {
      Value = Value * 10 + (c - '0');
    }
  }
  acText[Len] = 0;
  return (IsValid && Len) ? Value : -1;
}

static const char* const _asNumColors[] = { "256", "128", "64", "32", "16", "8", "4", "2" };

/* The number of colours asked for, or 0 after a refusal or a cancel. */
static int _GetNumColors(void) {
  if (CMDLINE_IsBatch()) {
    char ac[40];
    int  n = _ReadNumber(ac, 32);
    if (ac[0] == 0) {
      return CONVERT_OPTIMAL_MAX;
    }
    if (n < CONVERT_OPTIMAL_MIN || n > CONVERT_OPTIMAL_MAX) {
      char acMsg[100];
      snprintf(acMsg, sizeof(acMsg), "Optimal palette: number of colors must be 2 to 256, not \"%s\"", ac);
      MSG_Error(acMsg);
      return 0;
    }
    return n;
  }
  int i = PLAT_ChooseFromList("Optimal palette", "Number of colors:", _asNumColors, 8, 0);
  return i < 0 ? 0 : atoi(_asNumColors[i]);
}

void OnConvertIntoOptimalPalette(void) {
  if (pBitmapCurrent == NULL) {
    MSG_Error("No file open!");
    return;
  }
  int NumColors = _GetNumColors();
  if (NumColors == 0) {
    return;
  }
  UNDO_Push();
  IMAGE* pResult = CONVERT_IntoOptimalPalette(pBitmapCurrent, NumColors);
  if (pResult) {
    pBitmapCurrent = pResult;
  }
  CANVAS_Refresh();
}

void OnDither(void) {
  if (!CMDLINE_IsBatch()) {
    CONVERT_SetDither(!CONVERT_GetDither());
    return;
  }
  char ac[40];
  int  n = _ReadNumber(ac, 32);
  if (ac[0] == 0) {
    n = 1;
  }
  if ((n != 0 && n != 1) || strlen(ac) > 1) {
    char acMsg[100];
    snprintf(acMsg, sizeof(acMsg), "Dither: 0 or 1 expected, not \"%s\"", ac);
    MSG_Error(acMsg);
    return;
  }
  CONVERT_SetDither(n);
}
