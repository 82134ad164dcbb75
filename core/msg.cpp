/*
 * Error and status reports. The log holds "\r\n" and the text for every
 * error of a batch run, and one more "\r\n" when the process ends.
 */
#include "msg.h"

#include <string.h>

#include "../platform/plat.h"

static PLAT_FILE*       _hLogFile;
static const MSG_BATCH* _pBatch;
static MSG_PFECHO*      _pfEcho;

void MSG_SetBatch(const MSG_BATCH* pBatch) {
  _pBatch = pBatch;
}

void MSG_SetErrorEcho(MSG_PFECHO* pfEcho) {
  _pfEcho = pfEcho;
}

static void _CloseLog(void) {
  if (_hLogFile) {
    PLAT_Write(_hLogFile, "\r\n", 2);
    PLAT_Close(_hLogFile);
    _hLogFile = NULL;
  }
}

/* The log is replaced at a run's first error; that run's later messages
 * go to its end. Each message leaves in one write at the end of the file,
 * so runs in the same folder at the same time never tear a line apart
 * (one run's replacing the log drops the other's lines whole). */
static void _LogError(const char* sText) {
  const char* sLogFile = _pBatch->pfGetLogFile();
  if (sLogFile == NULL || *sLogFile == 0) {
    return;
  }
  static int _IsCloseRegistered;
  if (_hLogFile == NULL) {
    /* A failed open is not reported: the writes below then do nothing. */
    _hLogFile = PLAT_CreateLog(sLogFile);
    if (!_IsCloseRegistered) {
      PLAT_AtExit(_CloseLog);
      _IsCloseRegistered = 1;
    }
  }
  size_t Len = strlen(sText);
  char   acLocal[512];
  char*  pBuffer = (Len + 2 <= sizeof(acLocal)) ? acLocal : (char*)PLAT_Alloc(Len + 2);
  if (pBuffer == NULL) {
    return;
  }
  pBuffer[0] = '\r';
  pBuffer[1] = '\n';
  memcpy(pBuffer + 2, sText, Len);
  PLAT_Write(_hLogFile, pBuffer, (unsigned)(Len + 2));
  if (pBuffer != acLocal) {
    PLAT_Free(pBuffer);
  }
}

void MSG_Error(const char* sText) {
  if (sText == NULL) {
    return;
  }
  if (_pfEcho) {
    _pfEcho(sText);
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
