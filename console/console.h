/*
 * The console front end: runs the program without a display. Boxes
 * become lines on standard error (the help and About texts go to standard
 * output), questions are asked on the terminal or take their default, and
 * the main loop delivers a tick every 20 ms until the batch is over.
 */
#ifndef ZELMAR_CONSOLE_CONSOLE_H
#define ZELMAR_CONSOLE_CONSOLE_H

/* Runs the whole program; gives the exit code. */
int CONSOLE_Run(int argc, char** argv);

#endif
