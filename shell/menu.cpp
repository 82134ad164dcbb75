/*
 * Main menu, keys and item states.
 */
#include "menu.h"

#include <stdio.h>
#include <string.h>

#include <wx/accel.h>
#include <wx/defs.h>
#include <wx/log.h>
#include <wx/menu.h>
#ifdef __WXGTK__
#include <dlfcn.h>
#endif

#include "../color/dither.h"
#include "../commands/recent.h"
#include "../commands/workspace.h"
#include "clip.h"

/* Every command number that the menu knows; the wxWidgets id of a
 * command is _FIRST_ID plus its place here. wxWidgets refuses ids from
 * 0x7FFF up, where most of the program's numbers lie. */
#define _FIRST_ID 0x1000

static const unsigned _aCommand[] = {
  0x0500, 0x0501, 0x0502, 0x0503, 0x0504, 0x0505, 0x0506, 0x0507,
  0x8007, 0x8008, 0x8009, 0x800A, 0x800B, 0x800C, 0x800D, 0x800E, 0x800F,
  0x8010, 0x8011, 0x8012, 0x8013, 0x8014, 0x8015, 0x8016, 0x8017, 0x8018,
  0x8019, 0x801A, 0x801B, 0x801C, 0x801D, 0x801E, 0x801F, 0x8020, 0x8021,
  0x8022, 0x8023, 0x8025, 0x8026, 0x8027,
  0xE101, 0xE104, 0xE122, 0xE125, 0xE12B, 0xE140, 0xE141,
};

#define _NUM_COMMANDS (int)(sizeof(_aCommand) / sizeof(_aCommand[0]))

int MENU_GetWxId(unsigned Command) {
  for (int i = 0; i < _NUM_COMMANDS; i++) {
    if (_aCommand[i] == Command) {
      return _FIRST_ID + i;
    }
  }
  return 0;
}

unsigned MENU_GetCommand(int WxId) {
  int i = WxId - _FIRST_ID;
  return (i >= 0 && i < _NUM_COMMANDS) ? _aCommand[i] : 0;
}

/*********************************************************************
*  The menu
*/
enum { _ITEM, _CHECK, _SEPARATOR, _POPUP, _END };

typedef struct {
  int         Kind;
  unsigned    Command;
  const char* sLabel;
} MENU_ENTRY;

/* Popups nest: a _POPUP row opens one, an _END row closes it. */
static const MENU_ENTRY _aMenu[] = {
  { _POPUP, 0, "&File" },
    { _ITEM, 0xE101, "&Open...\tCtrl+O" },
    { _ITEM, 0xE104, "Save &As ..." },
    { _SEPARATOR, 0, NULL },
    { _ITEM, 0x0500, "Recent File" },
    { _SEPARATOR, 0, NULL },
    { _ITEM, 0xE141, "E&xit" },
  { _END, 0, NULL },
  { _POPUP, 0, "&Edit" },
    { _ITEM, 0xE12B, "&Undo\tCtrl-Z" },
    { _ITEM, 0xE122, "&Copy\tCtrl-C" },
    { _ITEM, 0xE125, "&Paste\tCtrl-V" },
  { _END, 0, NULL },
  { _POPUP, 0, "&View" },
    { _ITEM, 0x8007, "Zoom In\t+" },
    { _ITEM, 0x8008, "Zoom Out\t-" },
  { _END, 0, NULL },
  { _POPUP, 0, "&Image" },
    { _ITEM, 0x8009, "&Transparency..." },
    { _POPUP, 0, "&Convert Into" },
      { _ITEM, 0x800A, "BW \t(1 BPP)" },
      { _ITEM, 0x800B, "Gray4 \t(2 BPP)" },
      { _ITEM, 0x800C, "Gray16 \t(4 BPP)" },
      { _ITEM, 0x800D, "Gray64\t(8 BPP)" },
      { _ITEM, 0x800E, "Gray256\t(8 BPP)" },
      { _ITEM, 0x8020, "3 bit Color 111\t(4 BPP)" },
      { _ITEM, 0x800F, "6 bit Color 222\t(8 BPP)" },
      { _ITEM, 0x8010, "8 bit Color 233\t(8 BPP)" },
      { _ITEM, 0x8011, "8 bit Color 323\t(8 BPP)" },
      { _ITEM, 0x8012, "8 bit Color 332\t(8 BPP)" },
      { _ITEM, 0x8013, "8 bit Color 8666\t(8 BPP)" },
      { _ITEM, 0x8014, "16 bit Color 555\t(32k colors)" },
      { _ITEM, 0x8015, "16 bit Color 655\t(64k colors)" },
      { _ITEM, 0x8016, "16 bit Color 565\t(64k colors)" },
      { _ITEM, 0x8017, "16 bit Color 556\t(64k colors)" },
      { _SEPARATOR, 0, NULL },
      { _ITEM, 0x801D, "RGB\t(24 BPP)" },
      { _ITEM, 0x8022, "Best palette" },
      { _ITEM, 0x8026, "Optimal palette..." },
      { _SEPARATOR, 0, NULL },
      { _ITEM, 0x8023, "Custom palette..." },
    { _END, 0, NULL },
    { _CHECK, 0x8027, "Dithering" },
    { _POPUP, 0, "&Flip" },
      { _ITEM, 0x8018, "Horizontally" },
      { _ITEM, 0x8019, "Vertically" },
    { _END, 0, NULL },
    { _POPUP, 0, "&Rotate" },
      { _ITEM, 0x801A, "90\xC2\xB0 CW" },
      { _ITEM, 0x801B, "90\xC2\xB0 CCW" },
      { _ITEM, 0x801C, "180\xC2\xB0" },
    { _END, 0, NULL },
    { _POPUP, 0, "&Invert" },
      { _ITEM, 0x801E, "Indices" },
      { _ITEM, 0x801F, "Colors" },
    { _END, 0, NULL },
    { _POPUP, 0, "&Shrink" },
      { _ITEM, 0x8025, "Shrink to 50%" },
    { _END, 0, NULL },
    { _ITEM, 0x8021, "Info" },
  { _END, 0, NULL },
  { _POPUP, 0, "&Help" },
    { _ITEM, 0xE140, "&About Zelmar..." },
  { _END, 0, NULL },
};

/* A label such as "BW \t(1 BPP)" has a second half that names no key.
 * The toolkit would drop it from view; the item keeps the whole label
 * and shows it. */
static void _ShowWholeLabel(wxMenuItem* pItem, const char* sLabel) {
  const char* sTab = strchr(sLabel, '\t');
  if (sTab == NULL) {
    return;
  }
  wxAcceleratorEntry Entry;
  if (Entry.FromString(wxString::FromUTF8(sLabel))) {
    return;   /* a key: shown in the menu's key column */
  }
#ifdef __WXGTK__
  /* The toolkit's label widget is the item's child. Its two functions
   * are found in the running process, which has GTK loaded, so that the
   * build needs no GTK headers of its own. */
  typedef void* PFGETCHILD(void*);
  typedef void  PFSETTEXT(void*, const char*);
  static PFGETCHILD* pfGetChild = (PFGETCHILD*)dlsym(RTLD_DEFAULT, "gtk_bin_get_child");
  static PFSETTEXT*  pfSetText  = (PFSETTEXT*)dlsym(RTLD_DEFAULT, "gtk_label_set_text");
  void* pWidget = pItem->GetMenuItem();
  void* pLabel  = (pWidget && pfGetChild) ? pfGetChild(pWidget) : NULL;
  if (pLabel && pfSetText) {
    pfSetText(pLabel, sLabel);
  }
#else
  (void)pItem;
#endif
}

/* Fills pMenu from the rows after *pIndex up to the _END of its popup. */
static void _FillMenu(wxMenu* pMenu, int* pIndex) {
  const int NumRows = (int)(sizeof(_aMenu) / sizeof(_aMenu[0]));
  while (*pIndex < NumRows) {
    const MENU_ENTRY& Row = _aMenu[(*pIndex)++];
    switch (Row.Kind) {
    case _ITEM:
      pMenu->Append(MENU_GetWxId(Row.Command), wxString::FromUTF8(Row.sLabel));
      break;
    case _CHECK:
      pMenu->AppendCheckItem(MENU_GetWxId(Row.Command), wxString::FromUTF8(Row.sLabel));
      break;
    case _SEPARATOR:
      pMenu->AppendSeparator();
      break;
    case _POPUP: {
      wxMenu* pSub = new wxMenu;
      _FillMenu(pSub, pIndex);
      pMenu->AppendSubMenu(pSub, wxString::FromUTF8(Row.sLabel));
      break;
    }
    default:
      return;
    }
  }
}

void MENU_ShowLabels(wxMenuBar* pMenuBar) {
  wxLogNull NoLog;
  for (const MENU_ENTRY& Row : _aMenu) {
    wxMenuItem* pItem = (Row.Kind == _ITEM || Row.Kind == _CHECK) ? pMenuBar->FindItem(MENU_GetWxId(Row.Command)) : NULL;
    if (pItem) {
      _ShowWholeLabel(pItem, Row.sLabel);
    }
  }
}

wxMenuBar* MENU_Create(void) {
  wxLogNull  NoLog;   /* labels whose second half names no key are meant so */
  wxMenuBar* pMenuBar = new wxMenuBar;
  const int  NumRows  = (int)(sizeof(_aMenu) / sizeof(_aMenu[0]));
  int        i        = 0;
  while (i < NumRows) {
    const MENU_ENTRY& Row = _aMenu[i++];
    wxMenu* pMenu = new wxMenu;
    _FillMenu(pMenu, &i);
    pMenuBar->Append(pMenu, wxString::FromUTF8(Row.sLabel));
  }
  pMenuBar->Enable(MENU_GetWxId(0x0500), false);
  return pMenuBar;
}

/*********************************************************************
*  Recent files: between the two separators of the File menu
*/
#define _RECENT_POS 3

void MENU_UpdateRecent(wxMenuBar* pMenuBar) {
  wxMenu* pFile = pMenuBar->GetMenu(0);
  /* Everything between the separators goes, the placeholder included. */
  while (_RECENT_POS < (int)pFile->GetMenuItemCount() && !pFile->FindItemByPosition(_RECENT_POS)->IsSeparator()) {
    pFile->Destroy(pFile->FindItemByPosition(_RECENT_POS));
  }
  unsigned First = RECENT_GetFirstCommand();
  for (int i = 0; i < RECENT_GetNumFiles() && i < 8; i++) {
    char ac[300];
    snprintf(ac, sizeof(ac), "&%i %s", i + 1, RECENT_GetFile(i));
    wxString sLabel = wxString::FromUTF8(ac);
    if (sLabel.empty()) {
      sLabel = wxString(ac, wxConvISO8859_1);
    }
    /* A tab would be read as a key name. */
    sLabel.Replace("\t", " ");
    pFile->Insert((size_t)(_RECENT_POS + i), MENU_GetWxId(First + (unsigned)i), sLabel);
  }
}

/*********************************************************************
*  Item states
*/
int MENU_IsEnabled(unsigned Command) {
  if (Command == 0xE125) {
    return CLIP_HasImage();
  }
  if (Command == 0xE12B) {
    return aUndo[0] != NULL;
  }
  if (Command == 0xE104 || Command == 0xE122 || (Command >= 0x8007 && Command <= 0x8026 && Command != 0x8024)) {
    return pBitmapCurrent != NULL;
  }
  /* Open, the recent files, About and Exit are always there. The
   * placeholder of an empty recent list is no command. */
  if (Command >= 0x0500 && Command <= 0x0507) {
    return Command - 0x0500 < (unsigned)RECENT_GetNumFiles();
  }
  return 1;
}

void MENU_UpdateState(wxMenuBar* pMenuBar) {
  for (int i = 0; i < _NUM_COMMANDS; i++) {
    wxMenuItem* pItem = pMenuBar->FindItem(_FIRST_ID + i);
    if (pItem) {
      pItem->Enable(MENU_IsEnabled(_aCommand[i]) != 0);
      if (pItem->IsCheckable()) {
        pItem->Check(CONVERT_GetDither() != 0);
      }
    }
  }
}

/*********************************************************************
*  Keys
*/
typedef struct {
  int      KeyCode;
  int      Modifiers;
  unsigned Command;
} MENU_KEY;

static const MENU_KEY _aKey[] = {
  { WXK_UP,     wxMOD_NONE,    0x8007 },
  { WXK_DOWN,   wxMOD_NONE,    0x8008 },
  { 'O',        wxMOD_CONTROL, 0xE101 },
  { 'Z',        wxMOD_CONTROL, 0xE12B },
  { WXK_BACK,   wxMOD_ALT,     0xE12B },
  { 'C',        wxMOD_CONTROL, 0xE122 },
  { WXK_INSERT, wxMOD_CONTROL, 0xE122 },
  { 'V',        wxMOD_CONTROL, 0xE125 },
  { WXK_INSERT, wxMOD_SHIFT,   0xE125 },
};

unsigned MENU_GetKeyCommand(int KeyCode, int Modifiers) {
  for (const MENU_KEY& Key : _aKey) {
    if (Key.KeyCode == KeyCode && Key.Modifiers == Modifiers) {
      return Key.Command;
    }
  }
  return 0;
}

unsigned MENU_GetCharCommand(int Char, int Modifiers) {
  /* Typed characters: whatever shift it took to type them. */
  if (Modifiers & (wxMOD_CONTROL | wxMOD_ALT)) {
    return 0;
  }
  return (Char == '+') ? 0x8007 : (Char == '-') ? 0x8008 : 0;
}
