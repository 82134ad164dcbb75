#include "console.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "../app/main.h"
#include "../commands/cmdline.h"
#include "../core/msg.h"
#include "../platform/plat.h"

static int  _IsWindowAlive;
static int  _IsStatusShown;   /* a status line stands on the terminal */
static const char* _sEchoed;  /* the error text just echoed to standard error */

/* Box texts use CR LF; a terminal wants plain line feeds. */
static std::string _ToConsole(const char* sText) {
  std::string s;
  for (const char* p = sText; *p; p++) {
    if (p[0] == '\r' && p[1] == '\n') {
      continue;
    }
    s += *p;
  }
  return s;
}

static void _EndStatusLine(void) {
  if (_IsStatusShown) {
    fputs("\r\033[K", stderr);
    _IsStatusShown = 0;
  }
}

static int _AskYesNo(const std::string& sQuestion, int DefaultId) {
  for (;;) {
    fprintf(stderr, "%s [%s] ", sQuestion.c_str(), DefaultId == PLAT_ID_YES ? "Y/n" : "y/N");
    fflush(stderr);
    char ac[32];
    if (fgets(ac, sizeof(ac), stdin) == NULL) {
      return DefaultId;
    }
    if (ac[0] == '\n') return DefaultId;
    if (ac[0] == 'y' || ac[0] == 'Y') return PLAT_ID_YES;
    if (ac[0] == 'n' || ac[0] == 'N') return PLAT_ID_NO;
  }
}

static int _MessageBox(const char* sText, const char* sTitle, int Icon, int Buttons, int DefaultId) {
  _EndStatusLine();
  if (_sEchoed && sText == _sEchoed && Buttons == PLAT_BUTTONS_OK) {
    _sEchoed = NULL;
    return DefaultId;   /* the error box of a text that stands on standard error already */
  }
  std::string s = std::string(sTitle ? sTitle : "Error") + ": " + _ToConsole(sText);
  if (Buttons == PLAT_BUTTONS_YESNO) {
    if (PLAT_IsInputTerminal()) {
      return _AskYesNo(s, DefaultId);
    }
    fprintf(stderr, "%s\n(no terminal to ask: answered %s)\n", s.c_str(), DefaultId == PLAT_ID_YES ? "Yes" : "No");
    return DefaultId;
  }
  FILE* pOut = (Icon == PLAT_ICON_INFO) ? stdout : stderr;
  fprintf(pOut, "%s\n", s.c_str());
  fflush(pOut);
  return DefaultId;
}

static void _SendCommand(unsigned Id) {
  if (_IsWindowAlive) {
    MAIN_OnWindowCommand(Id);
  }
}

static int _WindowExists(void) {
  return _IsWindowAlive;
}

static void _DestroyWindow(void) {
  _IsWindowAlive = 0;
}

static void _SetStatusText(const char* sText) {
  /* Long operations report every row: ask the system once, not per row. */
  static const int _IsTerminal = isatty(2);
  if (!_IsTerminal) {
    return;   /* a build log stays clean */
  }
  fprintf(stderr, "\r\033[K%s", sText);
  fflush(stderr);
  _IsStatusShown = 1;
}

static void _ShowAbout(void) {
  char ac[1000];
  MAIN_GetAboutText(ac, (int)sizeof(ac));
  fputs(_ToConsole(ac).c_str(), stdout);
  fflush(stdout);
}

static const PLAT_FRONTEND _FrontEnd = {
  _MessageBox,
  _SendCommand,
  _WindowExists,
  _DestroyWindow,
  NULL,            /* nothing to repaint */
  NULL,            /* no title bar */
  _SetStatusText,
  _ShowAbout,
  NULL,            /* no dialogs: nobody to ask */
  NULL,
  NULL,            /* no menu */
  NULL,            /* nothing kept between runs: a build machine stays as it was */
  NULL,
  NULL,            /* no dialogs */
  NULL,
  NULL,            /* no clipboard */
  NULL,
};

/* One line for a build log: the picture, then the text on one line. */
static void _EchoError(const char* sText) {
  _EndStatusLine();
  const char* sFile = CMDLINE_GetFileName();
  std::string s = _ToConsole(sText);
  for (char& c : s) {
    if (c == '\n' || c == '\r') {
      c = ' ';
    }
  }
  fprintf(stderr, "%s: %s\n", sFile ? sFile : "zelmar-console", s.c_str());
  fflush(stderr);
  _sEchoed = sText;
}

int CONSOLE_Run(int argc, char** argv, int Flags) {
  MAIN_BuildBaseTitle();
  PLAT_SetFrontEnd(&_FrontEnd);
  _IsWindowAlive = 1;         /* the "window" and its timer exist from here */
  MAIN_SetTitle(NULL);
  MAIN_InitApp();
  if (Flags & CONSOLE_ECHO_ERRORS) {
    MSG_SetErrorEcho(_EchoError);
  }
  MAIN_ParseCommandLine(argc, argv);
  /* The main loop: one tick every 20 ms while the batch can still do
   * something. With no user to hand the workspace to, a finished or
   * stopped batch ends the program. */
  while (_IsWindowAlive && CMDLINE_IsPending()) {
    if (!(Flags & CONSOLE_NO_TICKS)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    CMDLINE_Exec();
  }
  _EndStatusLine();
  return CMDLINE_GetError();
}
