/*
 * The two roads by which the program tells the user something: a passing
 * status line and an error that someone must see. In a command-line batch
 * errors go to the log file, and the box is left out when the run ends by
 * itself.
 */
#ifndef ZELMAR_CORE_MSG_H
#define ZELMAR_CORE_MSG_H

/* What the error report needs to know of a command-line batch. The
 * batch is run by a higher layer, which hands these down at start-up;
 * without them every error is shown in a box. */
typedef struct {
  int         (*pfIsBatch)(void);
  void        (*pfSetError)(void);      /* the run ends with exit code 1 */
  int         (*pfIsExitQueued)(void);  /* the run ends by itself: no box */
  const char* (*pfGetTitle)(void);      /* title of the box */
  const char* (*pfGetLogFile)(void);    /* name of the log; empty: none */
} MSG_BATCH;

void MSG_SetBatch(const MSG_BATCH* pBatch);

/* A front end that keeps a running record of what went wrong (a build
 * step's standard error) is handed every error text here, first, whatever
 * the error report then does with it. Null: none. */
typedef void MSG_PFECHO(const char* sText);
void MSG_SetErrorEcho(MSG_PFECHO* pfEcho);

void MSG_Error(const char* sText);
void MSG_Status(const char* sText);

#endif
