/*
 * Settings kept between runs.
 */
#include "store.h"

#include <stdlib.h>
#include <string.h>

#include <wx/config.h>
#include <wx/fileconf.h>
#include <wx/filename.h>
#include <wx/utils.h>
#ifdef __WXMSW__
#include <wx/msw/regconf.h>
#endif

static wxConfigBase* _pConfig;

static wxString _ToWx(const char* s) {
  wxString sOut = wxString::FromUTF8(s);
  if (sOut.empty() && *s) {
    sOut = wxString(s, wxConvISO8859_1);   /* not UTF-8: taken byte by byte */
  }
  return sOut;
}

#ifndef __WXMSW__
static wxString _GetFilePath(void) {
  wxString sDir;
  const char* sXdg = getenv("XDG_CONFIG_HOME");
  if (sXdg && sXdg[0] == '/') {
    sDir = _ToWx(sXdg);
  } else {
    sDir = wxGetHomeDir() + "/.config";
  }
  return sDir + "/Zelmar/Zelmar.conf";
}
#endif

static wxConfigBase* _GetConfig(void) {
  if (_pConfig == NULL) {
#ifdef __WXMSW__
    _pConfig = new wxRegConfig("Zelmar", "Venmark");
#else
    _pConfig = new wxFileConfig(wxEmptyString, wxEmptyString, _GetFilePath(), wxEmptyString, wxCONFIG_USE_LOCAL_FILE);
#endif
  }
  return _pConfig;
}

int STORE_Load(const char* sGroup, const char* sName, char* pBuffer, int MaxLen) {
  if (MaxLen < 0) {
    return 0;
  }
  pBuffer[0] = 0;
  wxString sValue;
  if (!_GetConfig()->Read("/" + _ToWx(sGroup) + "/" + _ToWx(sName), &sValue)) {
    return 0;
  }
  wxScopedCharBuffer Utf8 = sValue.utf8_str();
  if (Utf8.length() > (size_t)MaxLen) {
    return 0;   /* too long for the caller: as if it were not there */
  }
  memcpy(pBuffer, Utf8.data(), Utf8.length());
  pBuffer[Utf8.length()] = 0;
  return 1;
}

void STORE_Save(const char* sGroup, const char* sName, const char* sValue) {
#ifndef __WXMSW__
  wxFileName::Mkdir(wxFileName(_GetFilePath()).GetPath(), wxS_DIR_DEFAULT, wxPATH_MKDIR_FULL);
#endif
  wxConfigBase* pConfig = _GetConfig();
  pConfig->Write("/" + _ToWx(sGroup) + "/" + _ToWx(sName), _ToWx(sValue));
  pConfig->Flush();
}

void STORE_Close(void) {
  delete _pConfig;
  _pConfig = NULL;
}
