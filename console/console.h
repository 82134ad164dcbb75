/*
 * The console front end: runs the program without a display. Boxes
 * become lines on standard error (the help and About texts go to standard
 * output), questions are asked on the terminal or take their default, and
 * the main loop delivers a tick every 20 ms (or, for the build-step
 * program, runs the queue straight through) until the batch is over.
 */
#ifndef ZELMAR_CONSOLE_CONSOLE_H
#define ZELMAR_CONSOLE_CONSOLE_H

/* How the console front end runs. */
enum {
  /* The queue runs its entries one after the other as fast as they go,
   * instead of one per 20 ms tick: nobody waits for a window. */
  CONSOLE_NO_TICKS    = 1 << 0,
  /* Every error also goes to standard error as "<picture>: <text>", so
   * that a build's own output says why a step failed. */
  CONSOLE_ECHO_ERRORS = 1 << 1
};

/* Runs the whole program; gives the exit code. */
int CONSOLE_Run(int argc, char** argv, int Flags);

#endif
