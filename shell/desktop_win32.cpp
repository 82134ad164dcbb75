/*
 * Whether a window can be opened at all. A Windows session has its
 * desktop, but a service has none to show windows on, nor has Wine
 * without a display: the program then runs on the console, as it does on
 * Linux without a display. The test window is never shown.
 */
#include "shell.h"

#include <windows.h>

int SHELL_CanOpenWindows(void) {
  HWND hWnd = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 1, 1, NULL, NULL, GetModuleHandleW(NULL), NULL);
  if (hWnd == NULL) {
    return 0;
  }
  DestroyWindow(hWnd);
  return 1;
}
