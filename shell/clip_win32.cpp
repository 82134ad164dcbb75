/*
 * Clipboard on Win32: pictures go out and come in as CF_DIB, the packed
 * DIB block itself. The system converts from and to the other bitmap
 * formats, so that any program's picture can be pasted.
 */
#include "clip.h"

#include <string.h>

#include <windows.h>

#include "../platform/plat.h"

int CLIP_SetDIB(const void* pDIB, uint32_t NumBytes) {
  HGLOBAL hMem = GlobalAlloc(GMEM_MOVEABLE, NumBytes ? NumBytes : 1);
  if (hMem == NULL) {
    return 0;
  }
  void* p = GlobalLock(hMem);
  if (p == NULL) {
    GlobalFree(hMem);
    return 0;
  }
  memcpy(p, pDIB, NumBytes);
  GlobalUnlock(hMem);
  if (!OpenClipboard(NULL)) {
    GlobalFree(hMem);
    return 0;
  }
  EmptyClipboard();
  int Done = SetClipboardData(CF_DIB, hMem) != NULL;
  if (!Done) {
    GlobalFree(hMem);   /* the clipboard did not take it */
  }
  CloseClipboard();
  return Done;
}

void* CLIP_GetDIB(uint32_t* pNumBytes) {
  *pNumBytes = 0;
  if (!IsClipboardFormatAvailable(CF_DIB) || !OpenClipboard(NULL)) {
    return NULL;
  }
  void*   pBlock = NULL;
  HGLOBAL hMem   = GetClipboardData(CF_DIB);
  /* The block may be longer than the DIB (it is rounded up): the reader
   * takes what its header describes. */
  SIZE_T NumBytes = hMem ? GlobalSize(hMem) : 0;
  const void* p   = (NumBytes && NumBytes <= 0x7FFFFFFF) ? GlobalLock(hMem) : NULL;
  if (p) {
    pBlock = PLAT_Alloc(NumBytes);
    if (pBlock) {
      memcpy(pBlock, p, NumBytes);
      *pNumBytes = (uint32_t)NumBytes;
    }
    GlobalUnlock(hMem);
  }
  CloseClipboard();
  return pBlock;
}

int CLIP_HasImage(void) {
  return IsClipboardFormatAvailable(CF_DIB) ? 1 : 0;
}
