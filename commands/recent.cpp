/*
 * The recent file list. Entries never leave the list but by falling out
 * at its end; a file that is already listed keeps its place.
 */
#include "recent.h"

#include <stdio.h>
#include <string.h>

#include "../platform/plat.h"

#define PATH_LEN 260

static char     _acGroup[100];
static int      _MaxFiles;
static int      _NumFiles;
static char     _aacFile[RECENT_MAX_FILES][PATH_LEN];
static unsigned _FirstCommand;

static void _GetValueName(char* pBuffer, size_t Size, int i) {
  snprintf(pBuffer, Size, "File%i", i);
}

void RECENT_Init(const char* sGroup, int MaxFiles, unsigned FirstCommand) {
  snprintf(_acGroup, sizeof(_acGroup), "%s", sGroup);
  _MaxFiles = (MaxFiles < 0) ? 0 : (MaxFiles > RECENT_MAX_FILES) ? RECENT_MAX_FILES : MaxFiles;
  _FirstCommand = FirstCommand;
  _NumFiles = 0;
  for (int i = 1; i <= _MaxFiles; i++) {
    char acName[20];
    _GetValueName(acName, sizeof(acName), i);
    /* A value that does not fit the entry counts as missing. */
    if (PLAT_LoadSetting(_acGroup, acName, _aacFile[_NumFiles], PATH_LEN - 1) && _aacFile[_NumFiles][0]) {
      _NumFiles++;
    }
  }
  PLAT_UpdateMenu();
}

/* Compares with only A to Z folded, as the list always has. */
static int _IsSameName(const char* s0, const char* s1) {
  for (;; s0++, s1++) {
    char c0 = (*s0 >= 'A' && *s0 <= 'Z') ? (char)(*s0 + 32) : *s0;
    char c1 = (*s1 >= 'A' && *s1 <= 'Z') ? (char)(*s1 + 32) : *s1;
    if (c0 != c1) {
      return 0;
    }
    if (c0 == 0) {
      return 1;
    }
  }
}

void RECENT_Add(const char* sFile) {
  if (_MaxFiles == 0 || strlen(sFile) >= PATH_LEN) {
    return;
  }
  for (int i = 0; i < _NumFiles; i++) {
    if (_IsSameName(_aacFile[i], sFile)) {
      return;
    }
  }
  if (_NumFiles < _MaxFiles) {
    _NumFiles++;
  }
  for (int i = _NumFiles - 1; i > 0; i--) {
    memcpy(_aacFile[i], _aacFile[i - 1], PATH_LEN);
  }
  snprintf(_aacFile[0], PATH_LEN, "%s", sFile);
  PLAT_UpdateMenu();
  for (int i = 0; i < _NumFiles; i++) {
    char acName[20];
    _GetValueName(acName, sizeof(acName), i + 1);
    PLAT_SaveSetting(_acGroup, acName, _aacFile[i]);
  }
}

int RECENT_GetNumFiles(void) {
  return _NumFiles;
}

const char* RECENT_GetFile(int Index) {
  if (Index < 0 || Index >= _NumFiles) {
    return "";
  }
  return _aacFile[Index];
}

unsigned RECENT_GetFirstCommand(void) {
  return _FirstCommand;
}
