/*
 * File dialogs, Format dialog and list choice on wxWidgets.
 */
#include "dialogs.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <wx/app.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/choice.h>
#include <wx/dialog.h>
#include <wx/filedlg.h>
#include <wx/filename.h>
#include <wx/listbox.h>
#include <wx/stattext.h>
#ifdef __WXGTK__
#include <dlfcn.h>
#endif


#define ID_FORMAT_LIST  230
#define ID_FORMAT_CHECK 210

static DIALOG_PFN_ANSWER* _pfAnswer;

void DIALOG_SetAnswerHook(DIALOG_PFN_ANSWER* pfAnswer) {
  _pfAnswer = pfAnswer;
}

static wxString _ToWx(const char* s) {
  wxString sOut = wxString::FromUTF8(s);
  if (sOut.empty() && *s) {
    sOut = wxString(s, wxConvISO8859_1);   /* not UTF-8: taken byte by byte */
  }
  return sOut;
}

/* Copies a path the toolkit gave into a buffer of MaxLen characters and
 * the end mark; 0 when it doesn't fit. */
static int _FromWx(const wxString& s, char* pBuffer, int MaxLen) {
  wxScopedCharBuffer Utf8 = s.utf8_str();
  if (Utf8.length() > (size_t)MaxLen) {
    return 0;
  }
  memcpy(pBuffer, Utf8.data(), Utf8.length());
  pBuffer[Utf8.length()] = 0;
  return 1;
}

/* Dialogs belong to the main window while it is there. */
static wxWindow* _GetOwner(void) {
  return wxTheApp ? wxTheApp->GetTopWindow() : NULL;
}

static int _ShowModal(wxDialog* pDialog) {
  int Answer = _pfAnswer ? _pfAnswer(pDialog) : -1;
  return (Answer != -1) ? Answer : pDialog->ShowModal();
}

/*********************************************************************
*  File dialogs
*/

/* What a change of file type in an open Save dialog works on. */
typedef struct {
  PLAT_FILEDLG* pDlg;
  int           NumChanges;
  unsigned long HandlerId;
} TYPE_CHANGE;

#ifdef __WXGTK__
/* GTK tells of a new file type through the chooser's "filter" property.
 * The functions are found in the running process, which has GTK loaded,
 * so that the build needs no GTK headers of its own. */
typedef void* PFGETPTR(void*);
typedef char* PFGETNAME(void*);
typedef void  PFSETNAME(void*, const char*);
typedef int   PFINDEX(void*, const void*);
typedef void  PFFREE(void*);
typedef unsigned long PFCONNECT(void*, const char*, void (*)(void), void*, void*, int);

static void* _GtkFunction(const char* sName) {
  return dlsym(RTLD_DEFAULT, sName);
}

/* Gives the chosen type's extension to the name in the field, as the
 * name would get it on Windows. */
static void _OnFilterNotify(void* pChooser, void*, void* pData) {
  TYPE_CHANGE* pChange = (TYPE_CHANGE*)pData;
  static PFGETPTR*  pfGetFilter   = (PFGETPTR*)_GtkFunction("gtk_file_chooser_get_filter");
  static PFGETPTR*  pfListFilters = (PFGETPTR*)_GtkFunction("gtk_file_chooser_list_filters");
  static PFINDEX*   pfIndex       = (PFINDEX*)_GtkFunction("g_slist_index");
  static PFFREE*    pfFreeList    = (PFFREE*)_GtkFunction("g_slist_free");
  static PFGETNAME* pfGetName     = (PFGETNAME*)_GtkFunction("gtk_file_chooser_get_current_name");
  static PFSETNAME* pfSetName     = (PFSETNAME*)_GtkFunction("gtk_file_chooser_set_current_name");
  static PFFREE*    pfFree        = (PFFREE*)_GtkFunction("g_free");
  if (!pfGetFilter || !pfListFilters || !pfIndex || !pfFreeList || !pfGetName || !pfSetName || !pfFree) {
    return;
  }
  void* pList  = pfListFilters(pChooser);
  int   Index  = pfIndex(pList, pfGetFilter(pChooser)) + 1;
  pfFreeList(pList);
  char* sName  = pfGetName(pChooser);
  char  acName[200];   /* as much of a name as the field's rewrite takes */
  if (Index >= 1 && sName && strlen(sName) < sizeof(acName)) {
    strcpy(acName, sName);
    pChange->pDlg->pfTypeChange(Index, acName, (int)sizeof(acName) - 1);
    pfSetName(pChooser, acName);
    pChange->NumChanges++;
  }
  if (sName) {
    pfFree(sName);
  }
}

/* Listens while the dialog is open (On 1), and no longer (On 0). */
static void _ListenForTypeChange(wxFileDialog* pDialog, TYPE_CHANGE* pChange, int On) {
  typedef void PFDISCONNECT(void*, unsigned long);
  static PFCONNECT*    pfConnect    = (PFCONNECT*)_GtkFunction("g_signal_connect_data");
  static PFDISCONNECT* pfDisconnect = (PFDISCONNECT*)_GtkFunction("g_signal_handler_disconnect");
  void* pWidget = pDialog->GetHandle();
  if (On && pfConnect && pfDisconnect && pWidget) {
    pChange->HandlerId = pfConnect(pWidget, "notify::filter", (void (*)(void))_OnFilterNotify, pChange, NULL, 0);
  } else if (!On && pChange->HandlerId) {
    pfDisconnect(pWidget, pChange->HandlerId);
    pChange->HandlerId = 0;
  }
}
#else
static void _ListenForTypeChange(wxFileDialog*, TYPE_CHANGE*, int) {
}
#endif

int DIALOG_File(PLAT_FILEDLG* pDlg) {
  wxString sWildcard;
  for (int i = 0; i < pDlg->NumFilters; i++) {
    sWildcard += (i ? "|" : "") + _ToWx(pDlg->aFilter[i].sLabel) + "|" + _ToWx(pDlg->aFilter[i].sPattern);
  }
  /* The start name may bring its own folder; else the dialog opens in
   * the folder of the last name saved. */
  wxFileName Start(_ToWx(pDlg->pBuffer));
  wxString   sDir = Start.GetPath();
  if (sDir.empty() && pDlg->sInitialDir && pDlg->sInitialDir[0]) {
    wxString sInitial = _ToWx(pDlg->sInitialDir);
    sDir = wxFileName::DirExists(sInitial) ? sInitial : wxFileName(sInitial).GetPath();
  }
  /* Otherwise the current folder, as the command line sees it; Windows
   * would pick a folder of its own choosing. */
  if (sDir.empty()) {
    sDir = wxGetCwd();
  }
  long Style = pDlg->IsSave ? wxFD_SAVE : (wxFD_OPEN | wxFD_FILE_MUST_EXIST);
  wxFileDialog Dialog(_GetOwner(), _ToWx(pDlg->sTitle), sDir,
                      Start.GetFullName(), sWildcard, Style);
  /* An index past the list (a type kept from a longer list) shows the
   * first entry. */
  int FilterIndex = pDlg->FilterIndex;
  Dialog.SetFilterIndex((FilterIndex >= 1 && FilterIndex <= pDlg->NumFilters) ? FilterIndex - 1 : 0);
  TYPE_CHANGE Change = { pDlg, 0, 0 };
  if (pDlg->IsSave && pDlg->pfTypeChange) {
    _ListenForTypeChange(&Dialog, &Change, 1);
  }
  int Answer = _ShowModal(&Dialog);
  _ListenForTypeChange(&Dialog, &Change, 0);
  if (Answer != wxID_OK) {
    return 0;
  }
  int NewIndex = Dialog.GetFilterIndex() + 1;
  wxFileName Chosen(Dialog.GetPath());
  if (pDlg->IsSave && pDlg->pfTypeChange && NewIndex != FilterIndex && Change.NumChanges == 0) {
    /* Where the toolkit told of no change of type while the dialog was
     * open (wxWidgets' own interface has no such event, and a dialog
     * answered by a test never shows), the name is given the new type's
     * extension as the dialog closes, as the change would have done. */
    char acName[200];   /* as much of a name as the field's rewrite takes */
    if (_FromWx(Chosen.GetFullName(), acName, (int)sizeof(acName) - 1)) {
      pDlg->pfTypeChange(NewIndex, acName, (int)sizeof(acName) - 1);
      Chosen.SetFullName(_ToWx(acName));
    }
  }
  pDlg->FilterIndex = NewIndex;
  return _FromWx(Chosen.GetFullPath(), pDlg->pBuffer, pDlg->MaxLen);
}

/*********************************************************************
*  The Format dialog
*/
class FormatDialog : public wxDialog {
public:
  FormatDialog(wxWindow* pParent, PLAT_FORMATDLG* pDlg)
    : wxDialog(pParent, wxID_ANY, _ToWx(pDlg->sTitle)), _pDlg(pDlg) {
    SetClientSize(300, 205);
    new wxStaticText(this, wxID_ANY, _ToWx(pDlg->sPrompt), wxPoint(10, 10), wxSize(200, -1));
    wxButton* pOK = new wxButton(this, wxID_OK, "OK", wxPoint(10, 175), wxSize(80, 23));
    new wxButton(this, wxID_CANCEL, "Cancel", wxPoint(210, 175), wxSize(80, 23));
    _pList  = new wxListBox(this, ID_FORMAT_LIST, wxPoint(10, 30), wxSize(280, 116), 0, NULL, wxLB_SINGLE);
    _pCheck = new wxCheckBox(this, ID_FORMAT_CHECK, _ToWx(pDlg->sCheckLabel), wxPoint(10, 150), wxSize(200, -1));
    for (int i = 0; i < pDlg->NumItems; i++) {
      _pList->Append(_ToWx(pDlg->asItem[i]), (void*)(intptr_t)pDlg->aValue[i]);
    }
    _pCheck->Enable(pDlg->IsCheckEnabled != 0);
    if (pDlg->NumItems) {
      _pList->SetSelection(0);
    }
    pOK->SetDefault();
    _pList->SetFocus();
    CentreOnParent();
    _pList->Bind(wxEVT_LISTBOX, &FormatDialog::OnSelect, this);
    Bind(wxEVT_BUTTON, &FormatDialog::OnOK, this, wxID_OK);
  }

private:
  PLAT_FORMATDLG* _pDlg;
  wxListBox*      _pList;
  wxCheckBox*     _pCheck;

  int SelectedValue() {
    int Sel = _pList->GetSelection();
    return (Sel == wxNOT_FOUND) ? 0 : (int)(intptr_t)_pList->GetClientData((unsigned)Sel);
  }

  void OnSelect(wxCommandEvent&) {
    int State = _pDlg->pfCheckState ? _pDlg->pfCheckState(SelectedValue()) : -1;
    if (State >= 0) {
      _pCheck->Enable(State != 0);
    }
  }

  void OnOK(wxCommandEvent&) {
    _pDlg->Value     = SelectedValue();
    _pDlg->IsChecked = _pCheck->GetValue() ? 1 : 0;
    EndModal(wxID_OK);
  }
};

wxDialog* DIALOG_CreateFormat(wxWindow* pParent, PLAT_FORMATDLG* pDlg) {
  return new FormatDialog(pParent, pDlg);
}

int DIALOG_ChooseFormat(PLAT_FORMATDLG* pDlg) {
  FormatDialog Dialog(_GetOwner(), pDlg);
  return _ShowModal(&Dialog) == wxID_OK;
}

/*********************************************************************
*  A choice of one item of a drop-down list
*/
int DIALOG_ChooseFromList(const char* sTitle, const char* sPrompt,
                          const char* const* asItem, int NumItems, int InitialSel) {
  wxDialog Dialog(_GetOwner(), wxID_ANY, _ToWx(sTitle));
  /* Laid out in dialog units, as the system's dialogs are. */
  auto Du = [&Dialog](int x, int y) { return Dialog.ConvertDialogToPixels(wxPoint(x, y)); };
  auto DuSize = [&Dialog](int x, int y) { return Dialog.ConvertDialogToPixels(wxSize(x, y)); };
  Dialog.SetClientSize(DuSize(186, 54));
  new wxStaticText(&Dialog, wxID_ANY, _ToWx(sPrompt), Du(7, 7), DuSize(86, 10));
  wxChoice* pChoice = new wxChoice(&Dialog, 1001, Du(7, 18), wxSize(DuSize(83, 14).x, -1));
  wxButton* pOK = new wxButton(&Dialog, wxID_OK, "OK", Du(129, 7), DuSize(50, 14));
  new wxButton(&Dialog, wxID_CANCEL, "Cancel", Du(129, 26), DuSize(50, 14));
  for (int i = 0; i < NumItems; i++) {
    pChoice->Append(_ToWx(asItem[i]));
  }
  if (InitialSel >= 0 && InitialSel < NumItems) {
    pChoice->SetSelection(InitialSel);
  }
  pOK->SetDefault();
  pChoice->SetFocus();
  Dialog.CentreOnParent();
  if (_ShowModal(&Dialog) != wxID_OK) {
    return -1;
  }
  int Sel = pChoice->GetSelection();
  return (Sel == wxNOT_FOUND) ? -1 : Sel;
}
