/*
 * Entry point. Without a display the program runs on the console.
 */
#include "console.h"

int main(int argc, char** argv) {
  return CONSOLE_Run(argc, argv);
}
