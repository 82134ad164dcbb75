/*
 * Error and status reports. The log holds "\r\n" and the text for every
 * error of a batch run, and one more "\r\n" when the process ends.
 */
#include "msg.h"

#include <string.h>

#include "../platform/plat.h"

static PLAT_FILE*       _hLogFile;
static const MSG_BATCH* _pBatch;

void MSG_SetBatch(const MSG_BATCH* pBatch) {
  _pBatch = pBatch;
}

static void _CloseLog(void) {
  if (_hLogFile) {
    PLAT_Write(_hLogFile, "\r\n", 2);
    PLAT_Close(_hLogFile);
    _hLogFile = NULL;
  }
}

static void _LogError(const char* sText) {
  const char* sLogFile = _pBatch->pfGetLogFile();
  if (sLogFile == NULL || *sLogFile == 0) {
    return;
  }
  static int _IsCloseRegistered;
  if (_hLogFile == NULL) {
    /* A failed open is not reported: the writes below then do nothing. */
    _hLogFile = PLAT_CreateWrite(sLogFile);
    if (!_IsCloseRegistered) {
      PLAT_AtExit(_CloseLog);
      _IsCloseRegistered = 1;
    }
  }
  PLAT_Write(_hLogFile, "\r\n", 2);
  PLAT_Write(_hLogFile, sText, (unsigned)strlen(sText));
  PLAT_Flush(_hLogFile);  /* the log is never held back in the program */
}

void MSG_Error(const char* sText) {
  if (sText == NULL) {
    return;
  }
  if (_pBatch && _pBatch->pfIsBatch()) {
    _pBatch->pfSetError();
    _LogError(sText);
    if (_pBatch->pfIsExitQueued()) {
      return;
    }
  }
  PLAT_MessageBox(sText, _pBatch ? _pBatch->pfGetTitle() : "", PLAT_ICON_WARNING, PLAT_BUTTONS_OK, PLAT_ID_OK);
}

void MSG_Status(const char* sText) {
  if (sText == NULL) {
    return;
  }
  PLAT_SetStatusText(sText);
}
