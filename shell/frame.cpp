/*
 * Main window, start-up and message loop of the desktop front end.
 *
 * Everything runs on the one thread of the main loop. Commands come from
 * the menu, from the keys and from the 20 ms timer that drives the
 * command-line queue; all of them end in MAIN_OnWindowCommand.
 */
#include "frame.h"
#include "shell.h"

#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <wx/app.h>
#include <wx/dcbuffer.h>
#include <wx/dcclient.h>
#include <wx/dcmemory.h>
#include <wx/dnd.h>
#include <wx/frame.h>
#include <wx/menu.h>
#include <wx/msgdlg.h>
#include <wx/generic/msgdlgg.h>
#include <wx/timer.h>

#include "../app/main.h"
#include "../commands/cmdline.h"
#include "../commands/workspace.h"
#include "../platform/plat.h"
#include "about.h"
#include "canvas.h"
#include "clip.h"
#include "dialogs.h"
#include "menu.h"
#include "status.h"
#include "store.h"

#define TIMER_PERIOD 20

class ZelmarCanvas;
class ZelmarFrame;

static ZelmarFrame*  _pFrame;
static ZelmarCanvas* _pCanvas;
static int           _IsWindowAlive;
static int           _IsUnattended;
/* Commands under way (boxes run nested loops, so they can stack). */
static int           _CommandDepth;
/* The box that is up, for a run that answers its boxes itself. */
static wxDialog*     _pOpenBox;
static int           _OpenBoxDefault;

static wxString _ToWx(const char* s) {
  wxString sOut = wxString::FromUTF8(s);
  if (sOut.empty() && *s) {
    sOut = wxString(s, wxConvISO8859_1);   /* not UTF-8: taken byte by byte */
  }
  return sOut;
}

static void _DoCommand(unsigned Command) {
  _CommandDepth++;
  MAIN_OnWindowCommand(Command);
  _CommandDepth--;
}

/*********************************************************************
*  Canvas: the client area
*/
class ZelmarCanvas : public wxWindow {
public:
  explicit ZelmarCanvas(wxWindow* pParent)
    : wxWindow(pParent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxFULL_REPAINT_ON_RESIZE | wxWANTS_CHARS) {
    SetBackgroundStyle(wxBG_STYLE_PAINT);
    Bind(wxEVT_PAINT, &ZelmarCanvas::OnPaint, this);
    Bind(wxEVT_CHAR, &ZelmarCanvas::OnChar, this);
  }
  bool AcceptsFocus() const override { return true; }

private:
  /* The last complete picture of the client area. While a command runs
   * the image may be half made, so a paint then shows this again. */
  wxBitmap _Buffer;

  void OnPaint(wxPaintEvent&) {
    wxPaintDC dc(this);
    wxSize Size = GetClientSize();
    if (Size.x <= 0 || Size.y <= 0) {
      return;
    }
    if (_CommandDepth == 0 || !_Buffer.IsOk()) {
      if (!_Buffer.IsOk() || _Buffer.GetSize() != Size) {
        _Buffer.Create(Size, 24);
      }
      wxMemoryDC mdc(_Buffer);
      if (_CommandDepth == 0) {
        CANVAS_Paint(mdc, Size.x, Size.y);
      } else {
        mdc.SetBackground(*wxWHITE_BRUSH);
        mdc.Clear();
      }
    }
    dc.DrawBitmap(_Buffer, 0, 0);
  }

  void OnChar(wxKeyEvent& Event) {
    unsigned Command = MENU_GetCharCommand(Event.GetUnicodeKey(), Event.GetModifiers());
    if (Command == 0) {
      Event.Skip();
      return;
    }
    FRAME_Command(Command);
  }
};

/*********************************************************************
*  Dropped files
*/
class ZelmarDropTarget : public wxFileDropTarget {
public:
  bool OnDropFiles(wxCoord, wxCoord, const wxArrayString& asFile) override {
    FRAME_DropFiles(asFile);
    return true;
  }
};

/*********************************************************************
*  The main window
*/
class ZelmarFrame : public wxFrame {
public:
  ZelmarFrame()
    : wxFrame(NULL, wxID_ANY, _ToWx(MAIN_GetBaseTitle()), wxDefaultPosition, wxSize(800, 600)), _Timer(this) {
#ifdef __WXMSW__
    SetIcon(wxICON(zelmar));
#endif
    SetMenuBar(MENU_Create());
    MENU_ShowLabels(GetMenuBar());
    _pCanvas = new ZelmarCanvas(this);
    Bind(wxEVT_TIMER, &ZelmarFrame::OnTimer, this);
    Bind(wxEVT_MENU, &ZelmarFrame::OnMenu, this);
    Bind(wxEVT_MENU_OPEN, &ZelmarFrame::OnMenuOpen, this);
    Bind(wxEVT_MENU_CLOSE, &ZelmarFrame::OnMenuClose, this);
    Bind(wxEVT_MENU_HIGHLIGHT, &ZelmarFrame::OnMenuHighlight, this);
    Bind(wxEVT_CHAR_HOOK, &ZelmarFrame::OnCharHook, this);
    Bind(wxEVT_CLOSE_WINDOW, &ZelmarFrame::OnClose, this);
    SetDropTarget(new ZelmarDropTarget);
    _pCanvas->SetDropTarget(new ZelmarDropTarget);
    _Timer.Start(TIMER_PERIOD);
  }
  void StopTimer() { _Timer.Stop(); }

private:
  wxTimer _Timer;

  void OnTimer(wxTimerEvent&) {
    if (_pOpenBox && (_IsUnattended || CMDLINE_IsExitQueued())) {
      _pOpenBox->EndModal(_OpenBoxDefault);
    }
    CMDLINE_Exec();
  }

  void OnMenu(wxCommandEvent& Event) {
    unsigned Command = MENU_GetCommand(Event.GetId());
    if (Command) {
      FRAME_Command(Command);
    }
  }

  void OnMenuOpen(wxMenuEvent&) {
    MENU_UpdateState(GetMenuBar());
  }

  void OnMenuClose(wxMenuEvent&) {
    OnMenuSelect(0);
  }

  void OnMenuHighlight(wxMenuEvent& Event) {
    OnMenuSelect(MENU_GetCommand(Event.GetMenuId()));
  }

  /* The keys of the menu, held back like the menu's own items when they
   * are disabled. Typed characters (+, -) come to the canvas. */
  void OnCharHook(wxKeyEvent& Event) {
    unsigned Command = MENU_GetKeyCommand(Event.GetKeyCode(), Event.GetModifiers());
    if (Command == 0) {
      Event.Skip();
      return;
    }
    FRAME_Command(Command);
  }

  /* The system's close is the Exit command: no question asked. */
  void OnClose(wxCloseEvent&) {
    _DoCommand(MAIN_CMD_EXIT);
  }
};

/*********************************************************************
*  The platform's window operations
*/
static int _ToPlatId(int WxId) {
  switch (WxId) {
  case wxID_YES: return PLAT_ID_YES;
  case wxID_NO:  return PLAT_ID_NO;
  default:       return PLAT_ID_OK;
  }
}

static int _MessageBox(const char* sText, const char* sTitle, int Icon, int Buttons, int DefaultId) {
  long Style = (Buttons == PLAT_BUTTONS_YESNO) ? wxYES_NO : wxOK;
  switch (Icon) {
  case PLAT_ICON_ERROR:    Style |= wxICON_ERROR; break;
  case PLAT_ICON_WARNING:  Style |= wxICON_EXCLAMATION; break;
  case PLAT_ICON_INFO:     Style |= wxICON_INFORMATION; break;
  case PLAT_ICON_QUESTION: Style |= wxICON_QUESTION; break;
  default:                 Style |= wxICON_NONE; break;
  }
  if (Buttons == PLAT_BUTTONS_YESNO && DefaultId == PLAT_ID_NO) {
    Style |= wxNO_DEFAULT;
  }
  wxString sText2 = _ToWx(sText);
  sText2.Replace("\r\n", "\n");
  wxString sCaption = sTitle ? _ToWx(sTitle) : wxString("Error");
  wxWindow* pParent = _IsWindowAlive ? (wxWindow*)_pFrame : NULL;
  if (_IsUnattended || CMDLINE_IsExitQueued()) {
    /* The run ends by itself: the box shows, and the next tick answers
     * it as nobody would be there to. */
    /* This box draws its icon itself, and knows of no "no icon". */
    wxGenericMessageDialog Box(pParent, sText2, sCaption, Style & ~(long)wxICON_NONE);
    wxDialog* pPrevious = _pOpenBox;
    int       PrevDefault = _OpenBoxDefault;
    _pOpenBox = &Box;
    _OpenBoxDefault = (DefaultId == PLAT_ID_YES) ? wxID_YES : (DefaultId == PLAT_ID_NO) ? wxID_NO : wxID_OK;
    int Answer = Box.ShowModal();
    _pOpenBox = pPrevious;
    _OpenBoxDefault = PrevDefault;
    return _ToPlatId(Answer);
  }
  wxMessageDialog Box(pParent, sText2, sCaption, Style);
  return _ToPlatId(Box.ShowModal());
}

static void _SendCommand(unsigned Id) {
  if (_IsWindowAlive) {
    _DoCommand(Id);
  }
}

static int _WindowExists(void) {
  return _IsWindowAlive;
}

static void _DestroyWindow(void) {
  if (!_IsWindowAlive) {
    return;
  }
  _IsWindowAlive = 0;
  _pFrame->StopTimer();
  _pFrame->Destroy();
}

static void _InvalidateWindow(void) {
  CANVAS_ClearCache();
  if (_IsWindowAlive) {
    _pCanvas->Refresh(true);
  }
}

static void _SetWindowTitle(const char* sTitle) {
  if (_IsWindowAlive) {
    _pFrame->SetTitle(_ToWx(sTitle));
  }
}

static void _SetStatusText(const char* sText) {
  if (_IsWindowAlive) {
    STATUS_SetText(sText, 0, 0);
  }
}

static void _ShowAbout(void) {
  ABOUT_Show(_pFrame);
}

static void _UpdateMenu(void) {
  if (_IsWindowAlive) {
    MENU_UpdateRecent(_pFrame->GetMenuBar());
  }
}

static const PLAT_FRONTEND _FrontEnd = {
  _MessageBox,
  _SendCommand,
  _WindowExists,
  _DestroyWindow,
  _InvalidateWindow,
  _SetWindowTitle,
  _SetStatusText,
  _ShowAbout,
  NULL,            /* both file dialogs go to DIALOG_File */
  DIALOG_ChooseFromList,
  _UpdateMenu,
  STORE_Load,
  STORE_Save,
  DIALOG_File,
  DIALOG_ChooseFormat,
  CLIP_SetDIB,
  CLIP_GetDIB,
};

/*********************************************************************
*  Start-up
*/
wxFrame* FRAME_Create(int IsUnattended) {
  _IsUnattended = IsUnattended;
  _CommandDepth = 0;
  _pOpenBox     = NULL;
  MAIN_BuildBaseTitle();                /* 1 */
  PLAT_SetFrontEnd(&_FrontEnd);
  _pFrame = new ZelmarFrame;            /* 4, with the timer */
  _IsWindowAlive = 1;
  MAIN_SetTitle(NULL);                  /* 5 */
  STATUS_Create(_pFrame);               /* 6 */
  _pFrame->Show();                      /* 7 */
  _pFrame->Update();
  _pCanvas->SetFocus();                 /* 8: the keys of the menu go through the canvas */
  MAIN_InitApp();                       /* 9 */
  return _pFrame;
}

wxWindow* FRAME_GetCanvas(void) {
  return _pCanvas;
}

int FRAME_Exists(void) {
  return _IsWindowAlive;
}

void FRAME_Command(unsigned Command) {
  if (!_IsWindowAlive) {
    return;
  }
  /* As the menu stands at this moment: a disabled item sends nothing. */
  MENU_UpdateState(_pFrame->GetMenuBar());
  if (MENU_IsEnabled(Command)) {
    _DoCommand(Command);
  }
}

/* Only the first file of a drop counts; it goes the way of a file from
 * the Open dialog. */
void FRAME_DropFiles(const wxArrayString& asFile) {
  if (!_IsWindowAlive || asFile.empty()) {
    return;
  }
  wxScopedCharBuffer Name = asFile[0].utf8_str();
  if (Name.length() == 0) {
    return;
  }
  char acName[500];
  snprintf(acName, sizeof(acName), "%s", Name.data());
  _pFrame->Raise();
  _CommandDepth++;
  OnFileOpen(acName);
  _CommandDepth--;
}

class ZelmarApp : public wxApp {
public:
  bool OnInit() override { return true; }
};

/* A run that is to end by itself: an exit option on the command line
 * (no other option's name begins an "exit" text). */
static int _HasExitOption(int argc, char** argv) {
  for (int i = 1; i < argc; i++) {
    if ((argv[i][0] == '-' || argv[i][0] == '/') && strncmp(argv[i] + 1, "exit", 4) == 0) {
      return 1;
    }
  }
  return 0;
}

int SHELL_Run(int argc, char** argv, int* pExitCode) {
#ifdef _WIN32
  if (!SHELL_CanOpenWindows()) {
    return 0;
  }
#else
  const char* sDisplay = getenv("DISPLAY");
  const char* sWayland = getenv("WAYLAND_DISPLAY");
  if ((sDisplay == NULL || *sDisplay == 0) && (sWayland == NULL || *sWayland == 0)) {
    return 0;
  }
#endif
  /* The toolkit may take its own options out of the vector it is given:
   * it gets a copy, the command line keeps every argument. */
  int    wxArgc = argc;
  char** wxArgv = (char**)calloc((size_t)argc + 1, sizeof(char*));
  if (wxArgv == NULL) {
    return 0;
  }
  for (int i = 0; i < argc; i++) {
    wxArgv[i] = argv[i];
  }
  wxApp::SetInstance(new ZelmarApp);
  if (!wxEntryStart(wxArgc, wxArgv)) {
    free(wxArgv);
    return 0;
  }
  /* Generated text must not depend on the user's language. */
  setlocale(LC_NUMERIC, "C");
  wxTheApp->CallOnInit();
  FRAME_Create(_HasExitOption(argc, argv));
  MAIN_ParseCommandLine(argc, argv);    /* 10 */
  if (_IsWindowAlive) {
    wxTheApp->OnRun();                  /* 11 */
  }
  *pExitCode = CMDLINE_GetError();      /* 12 */
  STORE_Close();
  wxTheApp->OnExit();
  wxEntryCleanup();
  free(wxArgv);
  return 1;
}
