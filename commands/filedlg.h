/*
 * The file dialogs: Open, Save As and the custom palette, their lists of
 * file types, and the rules by which the Save dialog gives the name the
 * extension of the selected type. The selected type is kept here from
 * one dialog to the next: it is the file type number of Save As.
 */
#ifndef ZELMAR_COMMANDS_FILEDLG_H
#define ZELMAR_COMMANDS_FILEDLG_H

#include "../platform/plat.h"

/* Size of the name buffers handed to the dialogs. */
#define FILEDLG_NAME_LEN 500

/* The lists of file types. */
enum { FILEDLG_LIST_OPEN, FILEDLG_LIST_SAVE_PALETTE, FILEDLG_LIST_SAVE_RGB, FILEDLG_LIST_PALETTE_FILE };
const PLAT_FILTER* FILEDLG_GetFilters(int List, int* pNumFilters);

/* Ask for a path. pFile holds FILEDLG_NAME_LEN characters: the start name,
 * afterwards the choice. FilterIndex counts from 1 (0 is taken as 1).
 * Give not 0 when the user chose a file, 0 on cancel. */
int  FILEDLG_Open(char* pFile, const char* sTitle, const PLAT_FILTER* aFilter, int NumFilters, int FilterIndex);
int  FILEDLG_Save(char* pFile, const char* sTitle, const PLAT_FILTER* aFilter, int NumFilters, int FilterIndex);

/* The type left selected by the last dialog, or set by SetFilterIndex,
 * which gives the previous value. */
int  FILEDLG_GetFilterIndex(void);
int  FILEDLG_SetFilterIndex(int Index);

/* The folder the next dialog opens in: the name of the last Save dialog. */
const char* FILEDLG_GetLastSaveName(void);

/* The extension of entry Index (from 1) of a list: its pattern behind
 * "*.". An index outside the list gives the first entry's. */
const char* FILEDLG_GetFilterExt(const PLAT_FILTER* aFilter, int NumFilters, int Index);
/* Puts sExt behind the first dot of the name (or its end), in place of
 * everything that stood there. pName holds MaxLen characters and the
 * end mark; what doesn't fit is cut. */
void FILEDLG_ReplaceExt(char* pName, int MaxLen, const char* sExt);

#endif
