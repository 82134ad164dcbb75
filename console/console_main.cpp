/*
 * Entry point of the build-step program: the console front end alone, no
 * toolkit linked, the queue run straight through, every error also on
 * standard error behind the picture's name. Its files are written as a
 * compiler writes its own: no wait for the disk before the rename.
 */
#include "console.h"
#include "../platform/plat.h"

int main(int argc, char** argv) {
  PLAT_InitProcess(&argc, &argv);
  PLAT_SetSyncOnReplace(0);
  return CONSOLE_Run(argc, argv, CONSOLE_NO_TICKS | CONSOLE_ECHO_ERRORS);
}
