/*
 * Entry point. With a display the program opens its window; without one
 * (or when the window system can't be reached) it runs on the console.
 */
#include "console.h"
#include "../platform/plat.h"
#ifdef ZELMAR_HAVE_SHELL
#include "../shell/shell.h"
#endif

int main(int argc, char** argv) {
  PLAT_InitProcess(&argc, &argv);
#ifdef ZELMAR_HAVE_SHELL
  int ExitCode = 0;
  if (SHELL_Run(argc, argv, &ExitCode)) {
    return ExitCode;
  }
#endif
  return CONSOLE_Run(argc, argv, 0);
}
