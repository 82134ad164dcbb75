/*
 * Files and memory on top of the C library. Every file written goes
 * through one buffer per file, so that the many small pieces of generated
 * text cost one system call per buffer instead of one per piece.
 */
#include "plat.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#define WRITE_BUFFER_SIZE 65536

struct PLAT_FILE {
  FILE*    pStream;
  int      IsWrite;
  uint32_t NumBuffered;
  uint8_t* pBuffer;
};

static PLAT_FILE* _NewFile(FILE* pStream, int IsWrite) {
  PLAT_FILE* pFile = (PLAT_FILE*)calloc(1, sizeof(PLAT_FILE));
  if (pFile == NULL) {
    fclose(pStream);
    return NULL;
  }
  pFile->pStream = pStream;
  pFile->IsWrite = IsWrite;
  if (IsWrite) {
    pFile->pBuffer = (uint8_t*)malloc(WRITE_BUFFER_SIZE);
    if (pFile->pBuffer == NULL) {
      fclose(pStream);
      free(pFile);
      return NULL;
    }
  }
  return pFile;
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
  if (fstat(fileno(pStream), &Info) == 0 && S_ISDIR(Info.st_mode)) {
    fclose(pStream);   /* a folder is no file to read */
    if (pError) {
      *pError = PLAT_OPEN_FAILED;
    }
    return NULL;
  }
  PLAT_FILE* pFile = _NewFile(pStream, 0);
  if (pError) {
    *pError = pFile ? PLAT_OPEN_OK : PLAT_OPEN_FAILED;
  }
  return pFile;
}

PLAT_FILE* PLAT_CreateWrite(const char* sPath) {
  FILE* pStream = fopen(sPath, "wb");
  if (pStream == NULL) {
    return NULL;
  }
  setvbuf(pStream, NULL, _IONBF, 0);  /* our own buffer does the work */
  return _NewFile(pStream, 1);
}

uint32_t PLAT_Read(PLAT_FILE* pFile, void* pData, uint32_t NumBytes) {
  if (pFile == NULL || pFile->IsWrite || NumBytes == 0) {
    return 0;
  }
  return (uint32_t)fread(pData, 1, NumBytes, pFile->pStream);
}

void PLAT_Flush(PLAT_FILE* pFile) {
  if (pFile == NULL || !pFile->IsWrite || pFile->NumBuffered == 0) {
    return;
  }
  fwrite(pFile->pBuffer, 1, pFile->NumBuffered, pFile->pStream);
  pFile->NumBuffered = 0;
}

uint32_t PLAT_Write(PLAT_FILE* pFile, const void* pData, uint32_t NumBytes) {
  if (pFile == NULL || !pFile->IsWrite) {
    return 0;
  }
  const uint8_t* p = (const uint8_t*)pData;
  uint32_t NumLeft = NumBytes;
  while (NumLeft) {
    if (pFile->NumBuffered == WRITE_BUFFER_SIZE) {
      PLAT_Flush(pFile);
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
  PLAT_Flush(pFile);
  long Pos = ftell(pFile->pStream);
  if (fseek(pFile->pStream, 0, SEEK_END) != 0) {
    return 0;
  }
  long long Size = ftell(pFile->pStream);
  fseek(pFile->pStream, Pos, SEEK_SET);
  if (Size < 0) {
    return 0;
  }
  return Size > 0xFFFFFFFFLL ? 0xFFFFFFFFu : (uint32_t)Size;
}

void PLAT_Close(PLAT_FILE* pFile) {
  if (pFile == NULL) {
    return;
  }
  PLAT_Flush(pFile);
  fclose(pFile->pStream);
  free(pFile->pBuffer);
  free(pFile);
}

void* PLAT_Alloc(size_t NumBytes) {
  return calloc(1, NumBytes ? NumBytes : 1);
}

void PLAT_Free(void* p) {
  free(p);
}

void PLAT_AtExit(void (*pfRoutine)(void)) {
  atexit(pfRoutine);
}
