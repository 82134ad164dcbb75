/*
 * File dialogs and the extension rules of the Save dialog.
 *
 * The start name of a Save dialog carries the extension of the selected
 * type; when the user picks another type, the name is rewritten to the
 * new type's extension, and a name typed without one receives it.
 */
#include "filedlg.h"

#include <stdio.h>
#include <string.h>

static const PLAT_FILTER _aOpen[] = {
  { "Image file (*.bmp, *.gif, *.sbmp)", "*.bmp;*.gif;*.sbmp" },
  { "All files (*.*)",                   "*.*" },
  /* Beyond the classic pair, kept behind it so that both keep their
   * numbers. */
  { "PNG and JPEG file (*.png, *.jpg, *.jpeg)", "*.png;*.jpg;*.jpeg" },
};

/* A true-colour image gets the first three: it has no stream type. */
static const PLAT_FILTER _aSave[] = {
  { "\"C\" bitmap file (*.c)",              "*.c" },
  { "Windows Bitmap file (*.bmp)",          "*.bmp" },
  { "Graphics interchange format(*.gif)",   "*.gif" },
  { "\"C\" stream (*.dta)",                 "*.dta" },
};

static const PLAT_FILTER _aPaletteFile[] = {
  { "Omrak Palette file (*.OmrakPal)", "*.OmrakPal" },
  { "All files (*.*)",                 "*.*" },
};

static int                _FilterIndex;
static char               _acLastSaveName[FILEDLG_NAME_LEN];
static char               _acDefExt[FILEDLG_NAME_LEN];
static const PLAT_FILTER* _pSaveFilter;
static int                _NumSaveFilters;

const PLAT_FILTER* FILEDLG_GetFilters(int List, int* pNumFilters) {
  switch (List) {
  case FILEDLG_LIST_SAVE_PALETTE: *pNumFilters = 4; return _aSave;
  case FILEDLG_LIST_SAVE_RGB:     *pNumFilters = 3; return _aSave;
  case FILEDLG_LIST_PALETTE_FILE: *pNumFilters = 2; return _aPaletteFile;
  default:                        *pNumFilters = 3; return _aOpen;
  }
}

const char* FILEDLG_GetFilterExt(const PLAT_FILTER* aFilter, int NumFilters, int Index) {
  if (NumFilters < 1) {
    return "";
  }
  if (Index < 1 || Index > NumFilters) {
    Index = 1;
  }
  const char* sPattern = aFilter[Index - 1].sPattern;
  /* Behind the star and the dot. */
  for (int i = 0; i < 2 && *sPattern; i++) {
    sPattern++;
  }
  return sPattern;
}

void FILEDLG_ReplaceExt(char* pName, int MaxLen, const char* sExt) {
  char* pDot = strchr(pName, '.');
  size_t Pos = pDot ? (size_t)(pDot - pName) : strlen(pName);
  if (MaxLen < 0) {
    return;
  }
  if (Pos > (size_t)MaxLen) {
    Pos = (size_t)MaxLen;
  }
  snprintf(pName + Pos, (size_t)MaxLen + 1 - Pos, ".%s", sExt);
}

int FILEDLG_GetFilterIndex(void) {
  return _FilterIndex;
}

int FILEDLG_SetFilterIndex(int Index) {
  int Previous = _FilterIndex;
  _FilterIndex = Index;
  return Previous;
}

const char* FILEDLG_GetLastSaveName(void) {
  return _acLastSaveName;
}

static void _InitDialog(PLAT_FILEDLG* pDlg, char* pFile, const char* sTitle,
                        const PLAT_FILTER* aFilter, int NumFilters, int FilterIndex) {
  memset(pDlg, 0, sizeof(*pDlg));
  pDlg->sTitle      = sTitle;
  pDlg->aFilter     = aFilter;
  pDlg->NumFilters  = NumFilters;
  pDlg->FilterIndex = FilterIndex ? FilterIndex : 1;
  pDlg->sInitialDir = _acLastSaveName;
  pDlg->pBuffer     = pFile;
  pDlg->MaxLen      = FILEDLG_NAME_LEN - 1;
}

int FILEDLG_Open(char* pFile, const char* sTitle, const PLAT_FILTER* aFilter, int NumFilters, int FilterIndex) {
  PLAT_FILEDLG Dlg;
  _InitDialog(&Dlg, pFile, sTitle, aFilter, NumFilters, FilterIndex);
  int r = PLAT_FileDialog(&Dlg);
  _FilterIndex = Dlg.FilterIndex;
  return r;
}

/* The user picked another type in the Save dialog: the name in its field
 * takes the type's extension, as does a name typed later without one. */
static void _SaveDlgHook(int FilterIndex, char* pName, int MaxLen) {
  const char* sExt = FILEDLG_GetFilterExt(_pSaveFilter, _NumSaveFilters, FilterIndex);
  FILEDLG_ReplaceExt(pName, MaxLen, sExt);
  snprintf(_acDefExt, sizeof(_acDefExt), "%s", sExt);
}

/* A chosen name whose last part has no dot gets the default extension. */
static void _AddDefExt(char* pFile) {
  const char* sBase = strrchr(pFile, '/');
  sBase = sBase ? sBase + 1 : pFile;
  if (*sBase == 0 || strchr(sBase, '.') || _acDefExt[0] == 0) {
    return;
  }
  size_t Len = strlen(pFile);
  snprintf(pFile + Len, FILEDLG_NAME_LEN - Len, ".%s", _acDefExt);
}

int FILEDLG_Save(char* pFile, const char* sTitle, const PLAT_FILTER* aFilter, int NumFilters, int FilterIndex) {
  PLAT_FILEDLG Dlg;
  _InitDialog(&Dlg, pFile, sTitle, aFilter, NumFilters, FilterIndex);
  Dlg.IsSave       = 1;
  Dlg.pfTypeChange = _SaveDlgHook;
  _pSaveFilter     = aFilter;
  _NumSaveFilters  = NumFilters;
  const char* sExt = FILEDLG_GetFilterExt(aFilter, NumFilters, Dlg.FilterIndex);
  FILEDLG_ReplaceExt(pFile, FILEDLG_NAME_LEN - 1, sExt);
  snprintf(_acDefExt, sizeof(_acDefExt), "%s", sExt);
  int r = PLAT_FileDialog(&Dlg);
  _FilterIndex = Dlg.FilterIndex;
  if (r) {
    _AddDefExt(pFile);
  }
  snprintf(_acLastSaveName, sizeof(_acLastSaveName), "%s", pFile);
  return r;
}
