/*
 * User interface operations, forwarded to the front end that registered
 * itself. Without one (unit tests) boxes take their default answer and
 * everything else does nothing.
 */
#include "plat.h"

static const PLAT_FRONTEND* _pFrontEnd;

void PLAT_SetFrontEnd(const PLAT_FRONTEND* pFrontEnd) {
  _pFrontEnd = pFrontEnd;
}

int PLAT_MessageBox(const char* sText, const char* sTitle, int Icon, int Buttons, int DefaultId) {
  if (_pFrontEnd && _pFrontEnd->pfMessageBox) {
    return _pFrontEnd->pfMessageBox(sText, sTitle, Icon, Buttons, DefaultId);
  }
  return DefaultId;
}

void PLAT_SendCommand(unsigned Id) {
  if (_pFrontEnd && _pFrontEnd->pfSendCommand) {
    _pFrontEnd->pfSendCommand(Id);
  }
}

int PLAT_WindowExists(void) {
  if (_pFrontEnd && _pFrontEnd->pfWindowExists) {
    return _pFrontEnd->pfWindowExists();
  }
  return 0;
}

void PLAT_DestroyWindow(void) {
  if (_pFrontEnd && _pFrontEnd->pfDestroyWindow) {
    _pFrontEnd->pfDestroyWindow();
  }
}

void PLAT_InvalidateWindow(void) {
  if (_pFrontEnd && _pFrontEnd->pfInvalidateWindow) {
    _pFrontEnd->pfInvalidateWindow();
  }
}

void PLAT_SetWindowTitle(const char* sTitle) {
  if (_pFrontEnd && _pFrontEnd->pfSetWindowTitle) {
    _pFrontEnd->pfSetWindowTitle(sTitle);
  }
}

void PLAT_SetStatusText(const char* sText) {
  if (_pFrontEnd && _pFrontEnd->pfSetStatusText) {
    _pFrontEnd->pfSetStatusText(sText);
  }
}

void PLAT_ShowAbout(void) {
  if (_pFrontEnd && _pFrontEnd->pfShowAbout) {
    _pFrontEnd->pfShowAbout();
  }
}

int PLAT_OpenFileDialog(char* pBuffer, int MaxLen, const char* sTitle,
                        const PLAT_FILTER* aFilter, int NumFilters, int FilterIndex) {
  if (_pFrontEnd && _pFrontEnd->pfOpenFileDialog) {
    return _pFrontEnd->pfOpenFileDialog(pBuffer, MaxLen, sTitle, aFilter, NumFilters, FilterIndex);
  }
  return 0;
}

int PLAT_FileDialog(PLAT_FILEDLG* pDlg) {
  if (_pFrontEnd && _pFrontEnd->pfFileDialog) {
    return _pFrontEnd->pfFileDialog(pDlg);
  }
  if (!pDlg->IsSave) {
    return PLAT_OpenFileDialog(pDlg->pBuffer, pDlg->MaxLen, pDlg->sTitle, pDlg->aFilter, pDlg->NumFilters, pDlg->FilterIndex);
  }
  return 0;
}

int PLAT_ChooseFormat(PLAT_FORMATDLG* pDlg) {
  if (_pFrontEnd && _pFrontEnd->pfChooseFormat) {
    return _pFrontEnd->pfChooseFormat(pDlg);
  }
  return 0;
}

int PLAT_ChooseFromList(const char* sTitle, const char* sPrompt,
                        const char* const* asItem, int NumItems, int InitialSel) {
  if (_pFrontEnd && _pFrontEnd->pfChooseFromList) {
    return _pFrontEnd->pfChooseFromList(sTitle, sPrompt, asItem, NumItems, InitialSel);
  }
  return -1;
}

void PLAT_UpdateMenu(void) {
  if (_pFrontEnd && _pFrontEnd->pfUpdateMenu) {
    _pFrontEnd->pfUpdateMenu();
  }
}

int PLAT_LoadSetting(const char* sGroup, const char* sName, char* pBuffer, int MaxLen) {
  if (MaxLen >= 0) {
    pBuffer[0] = 0;
  }
  if (_pFrontEnd && _pFrontEnd->pfLoadSetting) {
    return _pFrontEnd->pfLoadSetting(sGroup, sName, pBuffer, MaxLen);
  }
  return 0;
}

void PLAT_SaveSetting(const char* sGroup, const char* sName, const char* sValue) {
  if (_pFrontEnd && _pFrontEnd->pfSaveSetting) {
    _pFrontEnd->pfSaveSetting(sGroup, sName, sValue);
  }
}

int PLAT_SetClipboardDIB(const void* pDIB, uint32_t NumBytes) {
  if (_pFrontEnd && _pFrontEnd->pfSetClipboardDIB) {
    return _pFrontEnd->pfSetClipboardDIB(pDIB, NumBytes);
  }
  return 0;
}

void* PLAT_GetClipboardDIB(uint32_t* pNumBytes) {
  *pNumBytes = 0;
  if (_pFrontEnd && _pFrontEnd->pfGetClipboardDIB) {
    return _pFrontEnd->pfGetClipboardDIB(pNumBytes);
  }
  return NULL;
}
