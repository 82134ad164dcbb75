/*
 * GIF89a writer: one frame, not interlaced, a global colour table and,
 * for a transparent colour, a graphic control extension. The image is
 * first brought down to its best palette, and that reduced image is what
 * the caller goes on with.
 *
 * The compressor is a variable-code-size LZW. Its dictionary is an open
 * addressing hash table of a prime size; when the codes run out at 12
 * bits a clear code starts a fresh table.
 */
#include "gifout.h"

#include <string.h>

#include "../color/palette.h"
#include "../color/transparency.h"

#define HASH_SIZE  5021       /* prime, above the 4096 codes */
#define HASH_FREE  0xFFFF
#define MAX_BITS   12

typedef struct {
  U8  aBlock[256];     /* [0] the count, then up to 255 data bytes */
  U32 NumBits;
  U32 Accu;
  U32 InitBits;
  I32 CodeSize;
  U32 ClearCode;
  U32 EOICode;
  U32 NextCode;
} GIF_COMPRESS;

/* The dictionary: strings of two or more pixels, as a prefix code and
 * the pixel that extends it. */
static U16 _aHashCode[HASH_SIZE];
static U16 _aHashPrefix[HASH_SIZE];
static U8  _aHashSuffix[HASH_SIZE];

/*********************************************************************
*  Writing
*/
static int _WriteBytes(PLAT_FILE* hFile, const void* pData, U32 NumBytes) {
  if (NumBytes == 0) {
    return 0;
  }
  /* Only a call that takes nothing at all has failed. */
  return PLAT_Write(hFile, pData, NumBytes) == 0;
}

static int _PutByte(PLAT_FILE* hFile, U32 Value) {
  U8 Byte = (U8)Value;
  return _WriteBytes(hFile, &Byte, 1);
}

static int _PutWord(PLAT_FILE* hFile, U32 Value) {
  if (_PutByte(hFile, Value)) {
    return 1;
  }
  return _PutByte(hFile, Value >> 8);
}

/*********************************************************************
*  Compressor
*/
static void _ResetCodes(GIF_COMPRESS* pState) {
  pState->ClearCode = 1u << pState->InitBits;
  pState->EOICode   = pState->ClearCode + 1;
  pState->NextCode  = pState->ClearCode + 2;
  pState->CodeSize  = (I32)pState->InitBits + 1;
}

static void _ClearHash(void) {
  memset(_aHashCode, 0xFF, sizeof(_aHashCode));
}

/* The slot of the string Prefix + Pixel: the slot that holds it, or the
 * free slot where it belongs. Collisions step backwards by a distance
 * that depends on the first slot. */
static inline I32 _Lookup(U32 Prefix, U32 Pixel) {
  I32 Slot = (I32)((Pixel << 4) ^ Prefix);
  I32 Step = (Slot == 0) ? 1 : HASH_SIZE - Slot;
  for (;;) {
    if (_aHashCode[Slot] == HASH_FREE) {
      return Slot;
    }
    if (_aHashPrefix[Slot] == Prefix && _aHashSuffix[Slot] == Pixel) {
      return Slot;
    }
    Slot -= Step;
    if (Slot < 0) {
      Slot += HASH_SIZE;
    }
  }
}

static int _FlushBlock(PLAT_FILE* hFile, GIF_COMPRESS* pState) {
  if (_WriteBytes(hFile, pState->aBlock, (U32)pState->aBlock[0] + 1)) {
    return 1;
  }
  memset(pState->aBlock, 0, sizeof(pState->aBlock));
  return 0;
}

/* Codes enter the stream least significant bit first. */
static int _PutCode(PLAT_FILE* hFile, U32 Code, GIF_COMPRESS* pState) {
  pState->Accu    |= Code << pState->NumBits;
  pState->NumBits += (U32)pState->CodeSize;
  while (pState->NumBits >= 8) {
    pState->aBlock[++pState->aBlock[0]] = (U8)pState->Accu;
    pState->Accu   >>= 8;
    pState->NumBits -= 8;
    if (pState->aBlock[0] == 255 && _FlushBlock(hFile, pState)) {
      return 1;
    }
  }
  return 0;
}

/* Fewer than 8 bits wait here, so one byte takes them. */
static void _FlushBits(GIF_COMPRESS* pState) {
  if (pState->NumBits) {
    pState->aBlock[++pState->aBlock[0]] = (U8)pState->Accu;
  }
}

/* The image data: code size, sub-blocks, terminator; then the trailer. */
static int _Compress(const IMAGE* pImage, PLAT_FILE* hFile, U32 InitBits) {
  GIF_COMPRESS State;
  memset(&State, 0, sizeof(State));
  State.InitBits = InitBits;
  _ResetCodes(&State);
  _ClearHash();
  _PutByte(hFile, InitBits);
  if (_PutCode(hFile, State.ClearCode, &State)) {
    return 1;
  }
  I32 XSize = pImage->XSize;
  I32 YSize = pImage->YSize;
  U32 Prefix = IMAGE_GetPixel(pImage, 0, 0);
  for (I32 y = 0; y < YSize; y++) {
    /* Rows lie bottom-up in the pixel store. */
    const U8* pRow = pImage->pData + (size_t)(YSize - 1 - y) * (size_t)pImage->BytesPerLine;
    for (I32 x = (y == 0) ? 1 : 0; x < XSize; x++) {
      U32 Pixel = pRow[x];
      I32 Slot  = _Lookup(Prefix, Pixel);
      if (_aHashCode[Slot] != HASH_FREE) {
        Prefix = _aHashCode[Slot];
        continue;
      }
      if (State.NextCode <= (1u << State.CodeSize)) {
        _aHashCode[Slot]   = (U16)State.NextCode;
        _aHashPrefix[Slot] = (U16)Prefix;
        _aHashSuffix[Slot] = (U8)Pixel;
        State.NextCode++;
      }
      if (_PutCode(hFile, Prefix, &State)) {
        return 1;
      }
      Prefix = Pixel;
      /* The reader's table runs one entry behind ours: the width grows
       * only when the next code would no longer fit. */
      if (State.NextCode > (1u << State.CodeSize)) {
        if (State.CodeSize < MAX_BITS) {
          State.CodeSize++;
        } else {
          if (_PutCode(hFile, State.ClearCode, &State)) {
            return 1;
          }
          _ResetCodes(&State);
          _ClearHash();
        }
      }
    }
  }
  if (_PutCode(hFile, Prefix, &State) || _PutCode(hFile, State.EOICode, &State)) {
    return 1;
  }
  _FlushBits(&State);
  if (_FlushBlock(hFile, &State)) {
    return 1;
  }
  _PutByte(hFile, 0);
  _PutByte(hFile, 0x3B);
  return 0;
}

/*********************************************************************
*  _WriteHeader
*
*  Everything in front of the image data. Colour bytes come straight
*  from the info block: an entry holds blue, green, red, reserved.
*/
static int _WriteHeader(const IMAGE* pImage, PLAT_FILE* hFile, U32 TableSize, U32 Packed) {
  if (_WriteBytes(hFile, "GIF89a", 6)
   || _PutWord(hFile, (U32)pImage->XSize)
   || _PutWord(hFile, (U32)pImage->YSize)
   || _PutByte(hFile, Packed)
   || _PutByte(hFile, 0)
   || _PutByte(hFile, 0)) {
    return 1;
  }
  I32 NumColors = pImage->NumColors;
  for (I32 i = 0; i < NumColors; i++) {
    const U8* pEntry = pImage->pInfo + 40 + 4 * i;
    if (_PutByte(hFile, pEntry[2]) || _PutByte(hFile, pEntry[1]) || _PutByte(hFile, pEntry[0])) {
      return 1;
    }
  }
  for (U32 i = (U32)NumColors; i < TableSize; i++) {
    if (_PutByte(hFile, 0xFF) || _PutByte(hFile, 0xFF) || _PutByte(hFile, 0xFF)) {
      return 1;
    }
  }
  if (pImage->HasTrans) {
    static const U8 _aControl[8] = { 0x21, 0xF9, 4, 1, 0, 0, 0, 0 };
    if (_WriteBytes(hFile, _aControl, sizeof(_aControl))) {
      return 1;
    }
  }
  if (_PutByte(hFile, 0x2C)
   || _PutWord(hFile, 0)
   || _PutWord(hFile, 0)
   || _PutWord(hFile, (U32)pImage->XSize)
   || _PutWord(hFile, (U32)pImage->YSize)
   || _PutByte(hFile, 0)) {
    return 1;
  }
  return 0;
}

/*********************************************************************
*  GIF_SaveFile
*/
IMAGE* GIF_SaveFile(IMAGE* pImage, PLAT_FILE* hFile) {
  if (pImage == NULL) {
    return NULL;
  }
  int HasTrans = IMAGE_GetHasTrans(pImage) && IMAGE_GetNumColors(pImage) > 0;
  U32 Color0 = HasTrans ? IMAGE_GetColor(pImage, 0) : 0;
  IMAGE* pReduced = CONVERT_IntoBestPalette(pImage);
  if (pReduced == NULL) {
    IMAGE_Free(pImage);       /* a conversion that fails leaves it to us */
    PLAT_Discard(hFile);      /* nothing to write: the old file stays */
    return NULL;
  }
  I32 NumColors = IMAGE_GetNumColors(pReduced);
  if (HasTrans) {
    for (I32 i = 0; i < NumColors; i++) {
      if (IMAGE_GetColor(pReduced, i) == Color0) {
        IMAGE_SetTransparency(pReduced, i + 1);
        break;
      }
    }
  }
  U32 Bits = 0;
  U32 TableSize = 2;
  for (U32 v = (U32)(NumColors > 0 ? NumColors - 1 : 0) >> 1; v; v >>= 1) {
    TableSize *= 2;
    Bits++;
  }
  U32 Packed   = 0x80 | Bits << 4 | Bits;
  U32 InitBits = (NumColors > 2) ? Bits + 1 : 2;
  if (_WriteHeader(pReduced, hFile, TableSize, Packed) || _Compress(pReduced, hFile, InitBits)) {
    IMAGE_Free(pReduced);
    return NULL;
  }
  return pReduced;
}
