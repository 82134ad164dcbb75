/*
 * The two roads by which the program tells the user something: a passing
 * status line and an error that someone must see. In a command-line batch
 * errors go to the log file, and the box is left out when the run ends by
 * itself.
 */
#ifndef ZELMAR_CORE_MSG_H
#define ZELMAR_CORE_MSG_H

void MSG_Error(const char* sText);
void MSG_Status(const char* sText);

#endif
