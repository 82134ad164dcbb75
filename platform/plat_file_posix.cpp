/*
 * Files and memory on top of the C library and POSIX. Every file written
 * goes through one buffer per file, so that the many small pieces of
 * generated text cost one system call per buffer instead of one per piece.
 *
 * A save never harms the file it replaces: the bytes go to a temporary
 * file in the same folder, which takes the target's place by a rename
 * only when every write and the close succeeded.
 */
#include "plat.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#define WRITE_BUFFER_SIZE 65536

/* What happens to a file written when it is closed. */
enum {
  _WRITE_NONE,       /* a file opened for reading */
  _WRITE_TEMP,       /* a temporary file that replaces sTarget at the close */
  _WRITE_DIRECT,     /* the target itself: a device, a FIFO, or a folder where no temporary can go */
  _WRITE_APPEND      /* the log: every write goes to the end in one system call */
};

struct PLAT_FILE {
  FILE*    pStream;      /* files read */
  int      fd;           /* files written */
  int      Mode;
  int      Error;        /* errno of the first failure of a file written, 0 while all is well */
  int      IsDiscarded;
  uint32_t NumBuffered;
  uint8_t* pBuffer;
  char*    sTemp;        /* _WRITE_TEMP: the temporary file and the target */
  char*    sTarget;
};

static char _acError[256];

static void _SetError(int Error) {
  snprintf(_acError, sizeof(_acError), "%s", strerror(Error));
}

PLAT_FILE* PLAT_OpenRead(const char* sPath, int* pError) {
  FILE* pStream = fopen(sPath, "rb");
  if (pStream == NULL) {
    if (pError) {
      *pError = (errno == ENOENT) ? PLAT_OPEN_NOT_FOUND : PLAT_OPEN_FAILED;
    }
    return NULL;
  }
  struct stat Info;
  PLAT_FILE* pFile = NULL;
  if (fstat(fileno(pStream), &Info) == 0 && S_ISDIR(Info.st_mode)) {
    fclose(pStream);   /* a folder is no file to read */
  } else if ((pFile = (PLAT_FILE*)calloc(1, sizeof(PLAT_FILE))) == NULL) {
    fclose(pStream);
  } else {
    pFile->pStream = pStream;
    pFile->fd      = -1;
  }
  if (pError) {
    *pError = pFile ? PLAT_OPEN_OK : PLAT_OPEN_FAILED;
  }
  return pFile;
}

static PLAT_FILE* _NewWriteFile(int fd, int Mode) {
  PLAT_FILE* pFile = (PLAT_FILE*)calloc(1, sizeof(PLAT_FILE));
  uint8_t*   pBuffer = (Mode == _WRITE_APPEND) ? NULL : (uint8_t*)malloc(WRITE_BUFFER_SIZE);
  if (pFile == NULL || (Mode != _WRITE_APPEND && pBuffer == NULL)) {
    free(pFile);
    free(pBuffer);
    close(fd);
    return NULL;
  }
  pFile->fd      = fd;
  pFile->Mode    = Mode;
  pFile->pBuffer = pBuffer;
  return pFile;
}

/* A new file beside the target, named after it and hidden. Gives -1 with
 * errno set when the folder takes none. */
static int _CreateTemp(const char* sTarget, char* acTemp, size_t MaxLen) {
  const char* sSlash = strrchr(sTarget, '/');
  int         DirLen = sSlash ? (int)(sSlash - sTarget + 1) : 0;
  const char* sBase  = sTarget + DirLen;
  for (unsigned Try = 0; Try < 100; Try++) {
    /* The base name is cut so that the temporary's name stays below the
     * system's limit for one name. */
    if ((size_t)snprintf(acTemp, MaxLen, "%.*s.%.180s.%ld.%u.tmp", DirLen, sTarget, sBase, (long)getpid(), Try) >= MaxLen) {
      errno = ENAMETOOLONG;
      return -1;
    }
    int fd = open(acTemp, O_WRONLY | O_CREAT | O_EXCL, 0666);
    if (fd >= 0 || errno != EEXIST) {
      return fd;
    }
  }
  return -1;
}

PLAT_FILE* PLAT_CreateWrite(const char* sPath) {
  char        acResolved[PATH_MAX];
  const char* sTarget = sPath;
  struct stat Info;
  int         Exists = stat(sPath, &Info) == 0;
  if (Exists && S_ISDIR(Info.st_mode)) {
    return NULL;
  }
  /* Devices, FIFOs and the paths of the process's own streams
   * (/dev/stdout) are written as they are: there is nothing to replace. */
  if ((Exists && !S_ISREG(Info.st_mode)) || strncmp(sPath, "/dev/", 5) == 0 || strncmp(sPath, "/proc/", 6) == 0) {
    int fd = open(sPath, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    return fd < 0 ? NULL : _NewWriteFile(fd, _WRITE_DIRECT);
  }
  if (Exists) {
    if (access(sPath, W_OK) != 0) {
      return NULL;   /* a file we may not write stays as it is */
    }
    /* A link is followed: the file it points to gets the new contents. */
    if (realpath(sPath, acResolved)) {
      sTarget = acResolved;
    }
  }
  char acTemp[PATH_MAX];
  int  fd = _CreateTemp(sTarget, acTemp, sizeof(acTemp));
  if (fd < 0) {
    if (!Exists || (errno != EACCES && errno != EROFS && errno != EPERM)) {
      return NULL;
    }
    /* The folder takes no new file but the file itself may be written:
     * the only way to save there is into the file directly. */
    fd = open(sPath, O_WRONLY | O_TRUNC);
    return fd < 0 ? NULL : _NewWriteFile(fd, _WRITE_DIRECT);
  }
  if (Exists) {
    /* The new file keeps the old one's permissions (and, where allowed,
     * its owner). */
    fchmod(fd, Info.st_mode & 07777);
    if (fchown(fd, Info.st_uid, Info.st_gid) != 0) {
      /* not allowed: the file belongs to us */
    }
  }
  PLAT_FILE* pFile = _NewWriteFile(fd, _WRITE_TEMP);
  if (pFile == NULL) {
    unlink(acTemp);
    return NULL;
  }
  pFile->sTemp   = strdup(acTemp);
  pFile->sTarget = strdup(sTarget);
  if (pFile->sTemp == NULL || pFile->sTarget == NULL) {
    PLAT_Discard(pFile);
    PLAT_Close(pFile);
    return NULL;
  }
  return pFile;
}

PLAT_FILE* PLAT_CreateLog(const char* sPath) {
  int fd = open(sPath, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0666);
  return fd < 0 ? NULL : _NewWriteFile(fd, _WRITE_APPEND);
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
    ssize_t n = write(pFile->fd, p, NumBytes);
    if (n < 0) {
      if (errno != EINTR) {
        pFile->Error = errno;
        _SetError(errno);
      }
      continue;
    }
    p        += n;
    NumBytes -= (size_t)n;
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
    /* One system call for the whole piece, so that pieces of other
     * processes that write the same file never come between its bytes. */
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
  struct stat Info;
  if (pFile->pStream) {
    if (fstat(fileno(pFile->pStream), &Info) != 0) {
      return 0;
    }
  } else {
    PLAT_Flush(pFile);
    if (fstat(pFile->fd, &Info) != 0) {
      return 0;
    }
  }
  if (Info.st_size < 0) {
    return 0;
  }
  return Info.st_size > 0xFFFFFFFFLL ? 0xFFFFFFFFu : (uint32_t)Info.st_size;
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

static int _SyncOnReplace = 1;

void PLAT_SetSyncOnReplace(int OnOff) {
  _SyncOnReplace = OnOff;
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
    /* A filesystem may tell of a lack of room only when the data goes to
     * the disk; the temporary replaces the target only after that. */
    if (pFile->Mode == _WRITE_TEMP && _SyncOnReplace && !pFile->IsDiscarded && pFile->Error == 0
        && fsync(pFile->fd) != 0 && errno != EINVAL) {
      pFile->Error = errno;
      _SetError(errno);
    }
    if (close(pFile->fd) != 0 && pFile->Error == 0 && !pFile->IsDiscarded && errno != EINTR) {
      pFile->Error = errno;
      _SetError(errno);
    }
    if (pFile->Mode == _WRITE_TEMP) {
      if (pFile->IsDiscarded || pFile->Error) {
        unlink(pFile->sTemp);
      } else if (rename(pFile->sTemp, pFile->sTarget) != 0) {
        pFile->Error = errno;
        _SetError(errno);
        unlink(pFile->sTemp);
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
  return isatty(0);
}

void PLAT_AtExit(void (*pfRoutine)(void)) {
  atexit(pfRoutine);
}

void PLAT_InitProcess(int* pArgc, char*** pArgv) {
  (void)pArgc;   /* arguments are UTF-8 as they come */
  (void)pArgv;
}
