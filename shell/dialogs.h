/*
 * The dialogs of the desktop front end: the file dialogs, the Format
 * dialog of Save As and the list choice (Transparency, optimal palette).
 * They fill the platform layer's dialog entries.
 */
#ifndef ZELMAR_SHELL_DIALOGS_H
#define ZELMAR_SHELL_DIALOGS_H

#include "../platform/plat.h"

class wxDialog;
class wxWindow;

int  DIALOG_File(PLAT_FILEDLG* pDlg);
int  DIALOG_ChooseFormat(PLAT_FORMATDLG* pDlg);
int  DIALOG_ChooseFromList(const char* sTitle, const char* sPrompt,
                           const char* const* asItem, int NumItems, int InitialSel);

/* Builds the Format dialog without showing it (the caller deletes it).
 * Ids: the list 230, the check box 210, wxID_OK and wxID_CANCEL. */
wxDialog* DIALOG_CreateFormat(wxWindow* pParent, PLAT_FORMATDLG* pDlg);

/* Where no user is to answer (tests, unattended runs): pfAnswer sees each
 * dialog before it opens and gives the wxWidgets answer (wxID_OK,
 * wxID_CANCEL), or -1 to show the dialog. Null: every dialog shows. */
typedef int DIALOG_PFN_ANSWER(wxDialog* pDialog);
void DIALOG_SetAnswerHook(DIALOG_PFN_ANSWER* pfAnswer);

#endif
