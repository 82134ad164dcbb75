/*
 * Memory, the same on every system.
 */
#include <stdlib.h>

#include "plat.h"

static long _NumUntilFailure = -1;

void* PLAT_Alloc(size_t NumBytes) {
  if (_NumUntilFailure >= 0 && _NumUntilFailure-- == 0) {
    return NULL;
  }
  return calloc(1, NumBytes ? NumBytes : 1);
}

void PLAT_Free(void* p) {
  free(p);
}

long PLAT_FailAllocation(long NumBefore) {
  long Left = _NumUntilFailure;
  _NumUntilFailure = NumBefore;
  return Left;
}
