/*
 * The program's frame, shared by the console and the desktop front ends.
 */
#include "main.h"

#include <stdio.h>
#include <string.h>

#include "../commands/cmdline.h"
#include "../commands/dispatch.h"
#include "../commands/recent.h"
#include "../commands/workspace.h"
#include "../core/image.h"
#include "../core/msg.h"
#include "../output/save.h"
#include "../platform/plat.h"

#define VERSION_MAJOR 3
#define VERSION_MINOR 96

static const char _sAppName[] = "Omrak-Zelmar";

/* Six lines: the third empty, each of the others led by two blanks. */
static const char _sNotice[] =
  "  (c) 1998-2005 Venmark Software Engineering, all rights reserved\r\n"
  "  www.venmark-embedded.example\r\n"
  "\r\n"
  "  Omrak is a trademark of Venmark Software Engineering.\r\n"
  "  This program may be used to prepare pictures\r\n"
  "  for the Omrak embedded graphics library only.";

static char _acBaseTitle[80];
static char _acVersion[20];

const char* MAIN_GetAppName(void)   { return _sAppName; }
const char* MAIN_GetVersion(void)   { return _acVersion; }
const char* MAIN_GetNotice(void)    { return _sNotice; }
const char* MAIN_GetBaseTitle(void) { return _acBaseTitle; }

void MAIN_BuildBaseTitle(void) {
  snprintf(_acBaseTitle, sizeof(_acBaseTitle), "%s V%d.%.2d", _sAppName, VERSION_MAJOR, VERSION_MINOR);
}

void MAIN_SetTitle(const char* sFile) {
  char ac[512];
  if (sFile) {
    snprintf(ac, sizeof(ac), "%s - %s", _acBaseTitle, sFile);
  } else {
    snprintf(ac, sizeof(ac), "%s - No file", _acBaseTitle);
  }
  PLAT_SetWindowTitle(ac);
}

static void _ExecCommand(unsigned Command, unsigned Param) {
  CMDLINE_ExecCommand(Command, Param);
}

/* The batch state, as the error report sees it. */
static const MSG_BATCH _Batch = {
  CMDLINE_IsBatch, CMDLINE_SetErrorOccured, CMDLINE_IsExitQueued, CMDLINE_GetTitle, CMDLINE_GetLogFile
};

static int _OpenFile(const char* sFile) {
  return OnFileOpen(sFile) != NULL;
}

void MAIN_ConnectLayers(void) {
  MSG_SetBatch(&_Batch);
  CMDLINE_SetOpenHook(_OpenFile);
  IMAGE_SetBanner(_sAppName, _sNotice);
  WORKSPACE_SetTitleHook(MAIN_SetTitle);
}

void MAIN_InitApp(void) {
  snprintf(_acVersion, sizeof(_acVersion), "%d.%.2d", VERSION_MAJOR, VERSION_MINOR);
  IMAGE_SetHooks(MSG_Status, MSG_Error, _acVersion);
  MAIN_ConnectLayers();
  CMDLINE_Init("Zelmar", "Zelmar.log", MAIN_CMD_EXIT, _ExecCommand);
  RECENT_Init("Recent File List", 8, 0x0500);
  Zoom = 20;
}

void MAIN_ParseCommandLine(int argc, char** argv) {
  CMDLINE_ParseCommandLine(argc, argv);
}

void MAIN_OnWindowCommand(unsigned Id) {
  switch (Id & 0xFFFF) {
  case MAIN_CMD_ABOUT:
    PLAT_ShowAbout();
    break;
  case MAIN_CMD_EXIT:
    PLAT_DestroyWindow();
    break;
  default:
    OnCommand(Id, 0);
    break;
  }
}

void MAIN_GetAboutText(char* pBuffer, int MaxLen) {
  snprintf(pBuffer, (size_t)MaxLen,
           "About %s\n%s\nVersion: %s\nCompile time: 13:50:38 on Jul 19 2005\n%s\n",
           _sAppName, _sAppName, _acVersion, _sNotice);
}
