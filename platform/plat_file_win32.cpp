/*
 * Files and memory on Win32. Names are UTF-8 throughout the program and
 * become UTF-16 only here, at the calls of the system. Every file written
 * goes through one buffer per file, as on the other systems.
 *
 * A save never harms the file it replaces: the bytes go to a temporary
 * file in the same folder, are flushed to the disk, and the temporary
 * takes the target's place (MoveFileExW, write-through) only when every
 * write succeeded. A target held open by another program is reported.
 */
#include "plat.h"

#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include <windows.h>
#include <shellapi.h>

#define WRITE_BUFFER_SIZE 65536

enum {
  _WRITE_NONE,       /* a file opened for reading */
  _WRITE_TEMP,       /* a temporary file that replaces sTarget at the close */
  _WRITE_DIRECT,     /* the target itself: a device, or a folder where no temporary can go */
  _WRITE_APPEND      /* the log: every write goes to the end in one call */
};

struct PLAT_FILE {
  FILE*    pStream;      /* files read */
  HANDLE   hFile;        /* files written */
  int      Mode;
  DWORD    Error;        /* the first failure of a file written, 0 while all is well */
  int      IsDiscarded;
  uint32_t NumBuffered;
  uint8_t* pBuffer;
  wchar_t* sTemp;        /* _WRITE_TEMP: the temporary file and the target */
  wchar_t* sTarget;
};

static char _acError[256];

/* The system's text for an error, in UTF-8, without the line end. */
static void _SetError(DWORD Error) {
  if (Error == ERROR_SHARING_VIOLATION || Error == ERROR_LOCK_VIOLATION) {
    snprintf(_acError, sizeof(_acError), "The file is in use by another program");
    return;
  }
  wchar_t acText[200];
  DWORD   Len = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, NULL, Error, 0,
                               acText, sizeof(acText) / sizeof(acText[0]), NULL);
  while (Len && (acText[Len - 1] == '\r' || acText[Len - 1] == '\n' || acText[Len - 1] == ' ' || acText[Len - 1] == '.')) {
    Len--;
  }
  int n = Len ? WideCharToMultiByte(CP_UTF8, 0, acText, (int)Len, _acError, sizeof(_acError) - 1, NULL, NULL) : 0;
  if (n <= 0) {
    snprintf(_acError, sizeof(_acError), "System error %lu", (unsigned long)Error);
  } else {
    _acError[n] = 0;
  }
}

/* A UTF-16 copy of a UTF-8 text (malloc); null for a text that is not
 * UTF-8 or when there is no memory. */
static wchar_t* _ToWide(const char* s) {
  int Len = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, s, -1, NULL, 0);
  if (Len <= 0) {
    return NULL;
  }
  wchar_t* sWide = (wchar_t*)malloc((size_t)Len * sizeof(wchar_t));
  if (sWide && MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, s, -1, sWide, Len) != Len) {
    free(sWide);
    sWide = NULL;
  }
  return sWide;
}

PLAT_FILE* PLAT_OpenRead(const char* sPath, int* pError) {
  int        Error = PLAT_OPEN_FAILED;
  PLAT_FILE* pFile = NULL;
  wchar_t*   sWide = _ToWide(sPath);
  if (sWide) {
    DWORD Attr = GetFileAttributesW(sWide);
    if (Attr == INVALID_FILE_ATTRIBUTES) {
      DWORD e = GetLastError();
      if (e == ERROR_FILE_NOT_FOUND || e == ERROR_PATH_NOT_FOUND) {
        Error = PLAT_OPEN_NOT_FOUND;
      }
    } else if ((Attr & FILE_ATTRIBUTE_DIRECTORY) == 0) {   /* a folder is no file to read */
      FILE* pStream = _wfopen(sWide, L"rb");
      if (pStream && (pFile = (PLAT_FILE*)calloc(1, sizeof(PLAT_FILE))) == NULL) {
        fclose(pStream);
      } else if (pStream) {
        pFile->pStream = pStream;
        pFile->hFile   = INVALID_HANDLE_VALUE;
        Error = PLAT_OPEN_OK;
      }
    }
    free(sWide);
  }
  if (pError) {
    *pError = Error;
  }
  return pFile;
}

static PLAT_FILE* _NewWriteFile(HANDLE hFile, int Mode) {
  PLAT_FILE* pFile = (PLAT_FILE*)calloc(1, sizeof(PLAT_FILE));
  uint8_t*   pBuffer = (Mode == _WRITE_APPEND) ? NULL : (uint8_t*)malloc(WRITE_BUFFER_SIZE);
  if (pFile == NULL || (Mode != _WRITE_APPEND && pBuffer == NULL)) {
    free(pFile);
    free(pBuffer);
    CloseHandle(hFile);
    return NULL;
  }
  pFile->hFile   = hFile;
  pFile->Mode    = Mode;
  pFile->pBuffer = pBuffer;
  return pFile;
}

static HANDLE _OpenWrite(const wchar_t* sPath, DWORD Disposition) {
  return CreateFileW(sPath, GENERIC_WRITE, FILE_SHARE_READ, NULL, Disposition, FILE_ATTRIBUTE_NORMAL, NULL);
}

/* A new file beside the target, named after it. Gives an invalid handle
 * with the last error set when the folder takes none. */
static HANDLE _CreateTemp(const wchar_t* sTarget, wchar_t* acTemp, size_t MaxLen) {
  const wchar_t* sBase = sTarget;
  for (const wchar_t* p = sTarget; *p; p++) {
    if (*p == L'/' || *p == L'\\' || *p == L':') {
      sBase = p + 1;
    }
  }
  int DirLen = (int)(sBase - sTarget);
  for (unsigned Try = 0; Try < 100; Try++) {
    int n = _snwprintf(acTemp, MaxLen, L"%.*ls.%.180ls.%lu.%u.tmp", DirLen, sTarget, sBase,
                       (unsigned long)GetCurrentProcessId(), Try);
    if (n < 0 || (size_t)n >= MaxLen) {
      SetLastError(ERROR_FILENAME_EXCED_RANGE);
      return INVALID_HANDLE_VALUE;
    }
    HANDLE h = _OpenWrite(acTemp, CREATE_NEW);
    if (h != INVALID_HANDLE_VALUE || GetLastError() != ERROR_FILE_EXISTS) {
      return h;
    }
  }
  return INVALID_HANDLE_VALUE;
}

/* A path that names a device rather than a file on a disk: CON, NUL, a
 * pipe, or (under a POSIX layer) /dev/... */
static int _IsDevice(const char* sPath, const wchar_t* sWide) {
  if (strncmp(sPath, "/dev/", 5) == 0 || strncmp(sPath, "/proc/", 6) == 0 || wcsncmp(sWide, L"\\\\.\\", 4) == 0) {
    return 1;
  }
  HANDLE h = CreateFileW(sWide, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, NULL, OPEN_EXISTING, 0, NULL);
  if (h == INVALID_HANDLE_VALUE) {
    return 0;
  }
  int IsDevice = GetFileType(h) != FILE_TYPE_DISK;
  CloseHandle(h);
  return IsDevice;
}

PLAT_FILE* PLAT_CreateWrite(const char* sPath) {
  wchar_t* sWide = _ToWide(sPath);
  if (sWide == NULL) {
    return NULL;
  }
  PLAT_FILE* pFile = NULL;
  HANDLE     h;
  DWORD      Attr   = GetFileAttributesW(sWide);
  int        Exists = Attr != INVALID_FILE_ATTRIBUTES;
  wchar_t    acTemp[MAX_PATH + 200];
  if (Exists && (Attr & FILE_ATTRIBUTE_DIRECTORY)) {
    /* a folder is not replaced */
  } else if (_IsDevice(sPath, sWide)) {
    h = _OpenWrite(sWide, OPEN_ALWAYS);
    pFile = (h == INVALID_HANDLE_VALUE) ? NULL : _NewWriteFile(h, _WRITE_DIRECT);
  } else if (Exists && (Attr & FILE_ATTRIBUTE_READONLY)) {
    /* a file we may not write stays as it is */
  } else if ((h = _CreateTemp(sWide, acTemp, sizeof(acTemp) / sizeof(acTemp[0]))) == INVALID_HANDLE_VALUE) {
    /* The folder takes no new file but the file itself may be written:
     * the only way to save there is into the file directly. */
    if (Exists && GetLastError() == ERROR_ACCESS_DENIED) {
      h = _OpenWrite(sWide, TRUNCATE_EXISTING);
      pFile = (h == INVALID_HANDLE_VALUE) ? NULL : _NewWriteFile(h, _WRITE_DIRECT);
    }
  } else if ((pFile = _NewWriteFile(h, _WRITE_TEMP)) == NULL) {
    DeleteFileW(acTemp);
  } else {
    pFile->sTemp   = _wcsdup(acTemp);
    pFile->sTarget = sWide;
    sWide = NULL;
    if (pFile->sTemp == NULL) {
      DeleteFileW(acTemp);
      PLAT_Discard(pFile);
      PLAT_Close(pFile);
      pFile = NULL;
    }
  }
  free(sWide);
  return pFile;
}

PLAT_FILE* PLAT_CreateLog(const char* sPath) {
  wchar_t* sWide = _ToWide(sPath);
  if (sWide == NULL) {
    return NULL;
  }
  /* Append access alone: the system puts every write at the end of the
   * file, also when other processes write it at the same time. */
  HANDLE h = CreateFileW(sWide, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, NULL,
                         CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL);
  free(sWide);
  return h == INVALID_HANDLE_VALUE ? NULL : _NewWriteFile(h, _WRITE_APPEND);
}

uint32_t PLAT_Read(PLAT_FILE* pFile, void* pData, uint32_t NumBytes) {
  if (pFile == NULL || pFile->pStream == NULL || NumBytes == 0) {
    return 0;
  }
  return (uint32_t)fread(pData, 1, NumBytes, pFile->pStream);
}

/* All bytes to the file; on the first failure the file is marked failed
 * and nothing more is written to it. */
static void _WriteAll(PLAT_FILE* pFile, const uint8_t* p, size_t NumBytes) {
  while (NumBytes && pFile->Error == 0) {
    DWORD NumNow = NumBytes > 0x40000000 ? 0x40000000 : (DWORD)NumBytes;
    DWORD NumDone;
    if (!WriteFile(pFile->hFile, p, NumNow, &NumDone, NULL) || NumDone == 0) {
      pFile->Error = GetLastError() ? GetLastError() : ERROR_WRITE_FAULT;
      _SetError(pFile->Error);
      break;
    }
    p        += NumDone;
    NumBytes -= NumDone;
  }
}

void PLAT_Flush(PLAT_FILE* pFile) {
  if (pFile == NULL || pFile->pBuffer == NULL || pFile->NumBuffered == 0) {
    return;
  }
  if (!pFile->IsDiscarded) {
    _WriteAll(pFile, pFile->pBuffer, pFile->NumBuffered);
  }
  pFile->NumBuffered = 0;
}

uint32_t PLAT_Write(PLAT_FILE* pFile, const void* pData, uint32_t NumBytes) {
  if (pFile == NULL || pFile->Mode == _WRITE_NONE || pFile->Error || pFile->IsDiscarded) {
    return 0;
  }
  const uint8_t* p = (const uint8_t*)pData;
  if (pFile->Mode == _WRITE_APPEND) {
    _WriteAll(pFile, p, NumBytes);
    return pFile->Error ? 0 : NumBytes;
  }
  uint32_t NumLeft = NumBytes;
  while (NumLeft) {
    if (pFile->NumBuffered == WRITE_BUFFER_SIZE) {
      PLAT_Flush(pFile);
      if (pFile->Error) {
        return NumBytes - NumLeft;
      }
    }
    uint32_t NumFree = WRITE_BUFFER_SIZE - pFile->NumBuffered;
    uint32_t NumNow  = NumLeft < NumFree ? NumLeft : NumFree;
    memcpy(pFile->pBuffer + pFile->NumBuffered, p, NumNow);
    pFile->NumBuffered += NumNow;
    p       += NumNow;
    NumLeft -= NumNow;
  }
  return NumBytes;
}

uint32_t PLAT_GetFileSize(PLAT_FILE* pFile) {
  if (pFile == NULL) {
    return 0;
  }
  long long Size;
  if (pFile->pStream) {
    Size = _filelengthi64(_fileno(pFile->pStream));
  } else {
    PLAT_Flush(pFile);
    LARGE_INTEGER li;
    Size = GetFileSizeEx(pFile->hFile, &li) ? li.QuadPart : -1;
  }
  if (Size < 0) {
    return 0;
  }
  return Size > 0xFFFFFFFFLL ? 0xFFFFFFFFu : (uint32_t)Size;
}

void PLAT_Discard(PLAT_FILE* pFile) {
  if (pFile && pFile->Mode != _WRITE_NONE) {
    pFile->IsDiscarded = 1;
    pFile->NumBuffered = 0;
  }
}

const char* PLAT_GetErrorText(void) {
  return _acError;
}

/* The temporary takes the target's place. Another program that has the
 * target open may hold it for a moment (a virus scanner, an indexer):
 * a few tries before the failure is reported. */
static DWORD _Replace(const wchar_t* sTemp, const wchar_t* sTarget) {
  for (int Try = 0;; Try++) {
    if (MoveFileExW(sTemp, sTarget, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
      return 0;
    }
    DWORD Error = GetLastError();
    if (Error == ERROR_ACCESS_DENIED) {
      /* A target open without shared deletion reads as access denied;
       * a folder in its place is no file in use. */
      DWORD Attr = GetFileAttributesW(sTarget);
      if (Attr == INVALID_FILE_ATTRIBUTES || (Attr & FILE_ATTRIBUTE_DIRECTORY)) {
        return Error;
      }
      Error = ERROR_SHARING_VIOLATION;
    }
    if (Try == 4 || (Error != ERROR_SHARING_VIOLATION && Error != ERROR_LOCK_VIOLATION)) {
      return Error;
    }
    Sleep(50);
  }
}

void PLAT_SetSyncOnReplace(int OnOff) {
  (void)OnOff;   /* MOVEFILE_WRITE_THROUGH wants the bytes on the disk first */
}

int PLAT_Close(PLAT_FILE* pFile) {
  if (pFile == NULL) {
    return PLAT_CLOSE_OK;
  }
  int Result = PLAT_CLOSE_OK;
  if (pFile->pStream) {
    fclose(pFile->pStream);
  } else {
    PLAT_Flush(pFile);
    /* The data reaches the disk before the temporary replaces the target. */
    if (pFile->Mode == _WRITE_TEMP && !pFile->IsDiscarded && pFile->Error == 0 && !FlushFileBuffers(pFile->hFile)) {
      pFile->Error = GetLastError();
      _SetError(pFile->Error);
    }
    if (!CloseHandle(pFile->hFile) && pFile->Error == 0 && !pFile->IsDiscarded) {
      pFile->Error = GetLastError();
      _SetError(pFile->Error);
    }
    if (pFile->Mode == _WRITE_TEMP) {
      DWORD Error;
      if (pFile->IsDiscarded || pFile->Error) {
        DeleteFileW(pFile->sTemp);
      } else if ((Error = _Replace(pFile->sTemp, pFile->sTarget)) != 0) {
        pFile->Error = Error;
        _SetError(Error);
        DeleteFileW(pFile->sTemp);
      }
    }
    Result = pFile->IsDiscarded ? PLAT_CLOSE_DISCARDED : pFile->Error ? PLAT_CLOSE_FAILED : PLAT_CLOSE_OK;
  }
  free(pFile->sTemp);
  free(pFile->sTarget);
  free(pFile->pBuffer);
  free(pFile);
  return Result;
}

int PLAT_IsInputTerminal(void) {
  /* Only a console reads what a person types: the NUL device, which the
   * C library's isatty takes for one, has no console mode. */
  DWORD Mode;
  return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &Mode) != 0;
}

void PLAT_AtExit(void (*pfRoutine)(void)) {
  atexit(pfRoutine);
}

/*********************************************************************
*  The process
*/
void PLAT_InitProcess(int* pArgc, char*** pArgv) {
  /* Text to the standard streams goes out byte for byte, as elsewhere:
   * no CR is put in front of the line feeds. A console shows UTF-8 and
   * takes the cursor controls of the status line. */
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
  DWORD ConsoleMode;
  HANDLE hErr = GetStdHandle(STD_ERROR_HANDLE);
  if (GetConsoleMode(hErr, &ConsoleMode)) {
    SetConsoleMode(hErr, ConsoleMode | 0x0004 /* ENABLE_VIRTUAL_TERMINAL_PROCESSING */);
  }
  /* The arguments as UTF-8, from the command line as the system keeps it
   * (the vector of the C library holds them in the ANSI code page). They
   * live as long as the process. */
  int       argc;
  wchar_t** aWide = CommandLineToArgvW(GetCommandLineW(), &argc);
  if (aWide == NULL) {
    return;
  }
  char** argv = (char**)calloc((size_t)argc + 1, sizeof(char*));
  for (int i = 0; argv && i < argc; i++) {
    int Len = WideCharToMultiByte(CP_UTF8, 0, aWide[i], -1, NULL, 0, NULL, NULL);
    argv[i] = (Len > 0) ? (char*)malloc((size_t)Len) : NULL;
    if (argv[i] == NULL || WideCharToMultiByte(CP_UTF8, 0, aWide[i], -1, argv[i], Len, NULL, NULL) != Len) {
      argv = NULL;   /* out of memory at start-up: the C library's vector stays */
    }
  }
  LocalFree(aWide);
  if (argv) {
    *pArgc = argc;
    *pArgv = argv;
  }
}
