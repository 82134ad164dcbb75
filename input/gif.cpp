/*
 * GIF reader. The whole file is held in memory and walked block by block.
 * Every frame is decoded into one palette image of the logical screen's
 * size, each at its place on that screen. Afterwards the image is compacted
 * to the colours that its pixels show, and a transparent colour, found
 * again through a marker word in its palette entry, moves to entry 0.
 *
 * The reader is tolerant: a run past the end of the data reads zeros and
 * only makes the byte count negative; the steps that care look at it.
 */
#include "gif.h"

#include <stdio.h>
#include <string.h>

#include "../color/palette.h"
#include "../color/transparency.h"

/* Palette word of the transparent index while the image is decoded. No
 * colour table can produce it: their colours have 0 in bits 24 to 31. */
#define GIF_TRANS_MARKER 0xFFFFFFFFu

#define LZW_TABLE_SIZE   4096
#define LZW_STACK_SIZE   3000
#define LZW_BUFFER_SIZE  258

typedef struct {
  const U8* pData;
  const U8* pNext;
  I32       NumBytes;     /* bytes left; negative once a read ran past the end */
} GIF_CONTEXT;

typedef struct {
  U16 XPos, YPos;
  U16 XSize, YSize;
  U8  Flags;
  I32 NumColors;
} GIF_IMAGE_DESC;

typedef struct {
  U8   aBuffer[LZW_BUFFER_SIZE];  /* 2 carried bytes, then one sub-block */
  U16  aPrefix[LZW_TABLE_SIZE];
  U8   aSuffix[LZW_TABLE_SIZE];
  U8   aStack[LZW_STACK_SIZE];
  U8*  pStack;
  /* The bit position can run past the bytes of a short sub-block; it is
   * kept wide enough never to wrap, whatever the file holds. */
  int64_t CurBit;
  int64_t LastBit;
  int  IsDone;
  I32  LastByte;
  int  ReturnClear;
  I32  CodeSize;
  I32  SetCodeSize;
  I32  MaxCode;
  I32  MaxCodeSize;
  I32  ClearCode;
  I32  EndCode;
  I32  FirstCode;
  I32  OldCode;
} LZW_CONTEXT;

static const U16 _aCodeMask[16] = {
  0x0000, 0x0001, 0x0003, 0x0007, 0x000F, 0x001F, 0x003F, 0x007F,
  0x00FF, 0x01FF, 0x03FF, 0x07FF, 0x0FFF, 0x1FFF, 0x3FFF, 0x7FFF
};
static const I32 _aInterlaceStep[4]  = { 8, 8, 4, 2 };
static const I32 _aInterlaceStart[4] = { 0, 4, 2, 1 };

/*********************************************************************
*  Reading primitives
*
*  pNext only moves while NumBytes stays at or above 0, so it never
*  leaves the block however far the count goes down.
*/
static U8 _ReadU8(GIF_CONTEXT* pContext) {
  pContext->NumBytes--;
  if (pContext->NumBytes < 0) {
    return 0;
  }
  return *pContext->pNext++;
}

static U16 _ReadU16(GIF_CONTEXT* pContext) {
  U16 Lo = _ReadU8(pContext);
  U16 Hi = _ReadU8(pContext);
  return (U16)(Lo | Hi << 8);
}

/* All or nothing: a request larger than what is left changes nothing. */
static void _ReadBytes(GIF_CONTEXT* pContext, U8* pDest, I32 NumBytes) {
  if (pContext->NumBytes < 0 || pContext->NumBytes < NumBytes) {
    return;
  }
  memcpy(pDest, pContext->pNext, (size_t)NumBytes);
  pContext->pNext    += NumBytes;
  pContext->NumBytes -= NumBytes;
}

/* One sub-block into pBuffer (room for 255 bytes). Gives its size, 0 for
 * the terminator; the size also when the data was not all there. */
static I32 _GetDataBlock(GIF_CONTEXT* pContext, U8* pBuffer) {
  I32 Size = _ReadU8(pContext);
  if (Size) {
    _ReadBytes(pContext, pBuffer, Size);
  }
  return Size;
}

static void _SkipDataBlocks(GIF_CONTEXT* pContext) {
  U8 aBuffer[256];
  while (_GetDataBlock(pContext, aBuffer)) {
  }
}

/*********************************************************************
*  _ReadColorTable
*
*  NumEntries entries of red, green, blue. Those below the palette's size
*  are stored, the others only passed over, so that a local table of
*  another size than the screen's leaves the reading at its true end.
*  Gives 1 when the data ran out.
*/
static int _ReadColorTable(GIF_CONTEXT* pContext, I32 NumEntries, IMAGE* pImage) {
  I32 NumColors = IMAGE_GetNumColors(pImage);
  for (I32 i = 0; i < NumEntries; i++) {
    U32 r = _ReadU8(pContext);
    U32 g = _ReadU8(pContext);
    U32 b = _ReadU8(pContext);
    if (pContext->NumBytes < 0) {
      return 1;
    }
    if (i < NumColors) {
      IMAGE_SetColor(pImage, i, r | g << 8 | b << 16);
    }
  }
  return 0;
}

/*********************************************************************
*  _ReadExtension
*
*  Only the graphic control extension means something: its transparent
*  index. Gives 1 for a label that is not known.
*/
static int _ReadExtension(GIF_CONTEXT* pContext, I32* pTransIndex) {
  U8 Label = _ReadU8(pContext);
  switch (Label) {
  case 0xF9: {
    U8 aBuffer[256];
    memset(aBuffer, 0, sizeof(aBuffer));
    _GetDataBlock(pContext, aBuffer);
    if (aBuffer[0] & 1) {
      *pTransIndex = aBuffer[3];
    }
    _SkipDataBlocks(pContext);
    return 0;
  }
  case 0x01:   /* plain text */
  case 0xFE:   /* comment */
  case 0xFF:   /* application */
    _SkipDataBlocks(pContext);
    return 0;
  default:
    return 1;
  }
}

/*********************************************************************
*  LZW decoder
*/
static void _InitLZW(LZW_CONTEXT* pLZW, I32 MinCodeSize) {
  memset(pLZW, 0, sizeof(LZW_CONTEXT));
  pLZW->SetCodeSize = MinCodeSize;
  pLZW->CodeSize    = MinCodeSize + 1;
  /* From 12 bits on no table is left for codes; the clear code is then
   * refused by _GetNextByte, so its exact value doesn't matter. */
  pLZW->ClearCode   = (MinCodeSize < 12) ? (1 << MinCodeSize) : LZW_TABLE_SIZE;
  pLZW->EndCode     = pLZW->ClearCode + 1;
  pLZW->MaxCode     = pLZW->ClearCode + 2;
  pLZW->MaxCodeSize = pLZW->ClearCode * 2;
  pLZW->LastByte    = 2;
  pLZW->ReturnClear = 1;
  pLZW->pStack      = pLZW->aStack;
}

/* A byte of the bit buffer. Positions behind the buffer (a stream of
 * very short sub-blocks can push the bit position there) read as 0. */
static inline U32 _GetBufferByte(const LZW_CONTEXT* pLZW, int64_t Index) {
  return (Index < LZW_BUFFER_SIZE) ? pLZW->aBuffer[Index] : 0;
}

static I32 _GetCode(LZW_CONTEXT* pLZW, GIF_CONTEXT* pContext) {
  if (pLZW->ReturnClear) {
    pLZW->ReturnClear = 0;
    return pLZW->ClearCode;
  }
  if (pLZW->CurBit + pLZW->CodeSize >= pLZW->LastBit) {
    if (pLZW->IsDone) {
      return -1;
    }
    pLZW->aBuffer[0] = pLZW->aBuffer[pLZW->LastByte - 2];
    pLZW->aBuffer[1] = pLZW->aBuffer[pLZW->LastByte - 1];
    I32 Size = _GetDataBlock(pContext, &pLZW->aBuffer[2]);
    if (Size == 0) {
      pLZW->IsDone = 1;
    }
    pLZW->CurBit   = pLZW->CurBit - pLZW->LastBit + 16;
    pLZW->LastByte = Size + 2;
    pLZW->LastBit  = (int64_t)pLZW->LastByte * 8;
  }
  int64_t CurBit = pLZW->CurBit;
  int64_t First  = CurBit >> 3;
  int64_t Last   = (CurBit + pLZW->CodeSize) >> 3;
  U32 Value;
  if (Last < LZW_BUFFER_SIZE) {
    /* The usual case, all bytes inside the buffer. */
    const U8* p = &pLZW->aBuffer[First];
    Value = p[0];
    if (Last > First) {
      Value |= (U32)p[1] << 8;
      if (Last > First + 1) {
        Value |= (U32)p[2] << 16;
      }
    }
  } else {
    Value = _GetBufferByte(pLZW, First);
    for (int64_t i = First + 1; i <= Last; i++) {
      Value |= _GetBufferByte(pLZW, i) << (8 * (i - First));
    }
  }
  pLZW->CurBit += pLZW->CodeSize;
  return (I32)((Value >> (CurBit & 7)) & _aCodeMask[pLZW->CodeSize]);
}

static inline void _Push(LZW_CONTEXT* pLZW, U8 Value) {
  if (pLZW->pStack < pLZW->aStack + LZW_STACK_SIZE) {
    *pLZW->pStack++ = Value;
  }
}

static inline I32 _GetStackCount(const LZW_CONTEXT* pLZW) {
  return (I32)(pLZW->pStack - pLZW->aStack);
}

/* The next pixel index; -2 at the end code, -1 when decoding failed. */
static I32 _GetNextByte(LZW_CONTEXT* pLZW, GIF_CONTEXT* pContext) {
  I32 Code = _GetCode(pLZW, pContext);
  if (Code < 0) {
    return -1;
  }
  if (Code == pLZW->ClearCode) {
    if (pLZW->ClearCode >= LZW_TABLE_SIZE) {
      return -1;
    }
    I32 i;
    for (i = 0; i < pLZW->ClearCode; i++) {
      pLZW->aPrefix[i] = 0;
      pLZW->aSuffix[i] = (U8)i;
    }
    for (; i < LZW_TABLE_SIZE; i++) {
      pLZW->aPrefix[i] = 0;
      pLZW->aSuffix[i] = 0;
    }
    pLZW->CodeSize    = pLZW->SetCodeSize + 1;
    pLZW->MaxCodeSize = 2 * pLZW->ClearCode;
    pLZW->MaxCode     = pLZW->ClearCode + 2;
    pLZW->pStack      = pLZW->aStack;
    do {
      Code = _GetCode(pLZW, pContext);
    } while (Code == pLZW->ClearCode);
    pLZW->FirstCode = Code;
    pLZW->OldCode   = Code;
    return Code;
  }
  if (Code == pLZW->EndCode) {
    return -2;
  }
  I32 InCode = Code;
  if (Code >= pLZW->MaxCode) {
    _Push(pLZW, (U8)pLZW->FirstCode);
    Code = pLZW->OldCode;
  }
  while (Code >= pLZW->ClearCode) {
    _Push(pLZW, pLZW->aSuffix[Code]);
    if (pLZW->aPrefix[Code] == Code || _GetStackCount(pLZW) >= LZW_STACK_SIZE) {
      return Code;
    }
    Code = pLZW->aPrefix[Code];
  }
  pLZW->FirstCode = pLZW->aSuffix[Code];
  _Push(pLZW, (U8)pLZW->FirstCode);
  I32 NewCode = pLZW->MaxCode;
  if (NewCode < LZW_TABLE_SIZE) {
    pLZW->aPrefix[NewCode] = (U16)pLZW->OldCode;
    pLZW->aSuffix[NewCode] = (U8)pLZW->FirstCode;
    pLZW->MaxCode = NewCode + 1;
    if (pLZW->MaxCode >= pLZW->MaxCodeSize && pLZW->MaxCodeSize < LZW_TABLE_SIZE) {
      pLZW->MaxCodeSize *= 2;
      pLZW->CodeSize++;
    }
  }
  pLZW->OldCode = InCode;
  return *--pLZW->pStack;
}

/*********************************************************************
*  _ReadImage
*
*  The frame's pixels into the image at the frame's position; parts
*  that lie outside the image fall away. Stops when the last pixel is out
*  or the end code comes. Gives 1 when decoding failed.
*
*  A frame may be far larger than the screen. Decoding stops as soon as
*  no pixel still to come can land on the screen, and then gives
*  _FRAME_CUT: the rest of the frame's data is not decoded, so its end is
*  not known either, and the caller stops reading the file there. A file
*  whose frame fits its screen is read to the frame's end as before.
*/
#define _FRAME_CUT 2

/* Steps y (and the interlace pass) on to the frame's next row. */
static void _NextRow(I32* pY, int* pPass, int IsInterlaced, I32 YSize) {
  if (!IsInterlaced) {
    (*pY)++;
    return;
  }
  *pY += _aInterlaceStep[*pPass];
  while (*pY >= YSize && *pPass < 3) {
    (*pPass)++;
    *pY = _aInterlaceStart[*pPass];
  }
}

/* Whether row y of pass Pass, or any row after it, lies on the screen.
 * Rows of one pass go down the frame; a later pass starts again at its
 * start row when the frame has that row. */
static int _IsRowLeftOnScreen(I32 y, int Pass, int IsInterlaced, I32 YSize, I32 ScreenYSize) {
  if (y < ScreenYSize) {
    return 1;
  }
  for (int p = Pass + 1; IsInterlaced && p < 4; p++) {
    if (_aInterlaceStart[p] < YSize && _aInterlaceStart[p] < ScreenYSize) {
      return 1;
    }
  }
  return 0;
}

static int _ReadImage(GIF_CONTEXT* pContext, const GIF_IMAGE_DESC* pDesc, IMAGE* pImage) {
  static LZW_CONTEXT _LZW;   /* 15 KB: kept off the stack */
  LZW_CONTEXT* pLZW = &_LZW;
  _InitLZW(pLZW, _ReadU8(pContext));
  I32 XSize     = pDesc->XSize;
  I32 YSize     = pDesc->YSize;
  I32 NumColors = pDesc->NumColors;
  /* Seen from the frame: the part of the screen right of and below its
   * top left corner. */
  I32 XPos = pDesc->XPos;
  I32 YPos = pDesc->YPos;
  I32 ScreenXSize = IMAGE_GetXSize(pImage) > XPos ? IMAGE_GetXSize(pImage) - XPos : 0;
  I32 ScreenYSize = IMAGE_GetYSize(pImage) > YPos ? IMAGE_GetYSize(pImage) - YPos : 0;
  int IsInterlaced = (pDesc->Flags & 0x40) != 0;
  int Pass = 0;
  I32 y = 0;
  for (I32 Row = 0; Row < YSize; Row++) {
    if (ScreenXSize == 0 || !_IsRowLeftOnScreen(y, Pass, IsInterlaced, YSize, ScreenYSize)) {
      return _FRAME_CUT;
    }
    I32 NextY    = y;
    int NextPass = Pass;
    _NextRow(&NextY, &NextPass, IsInterlaced, YSize);
    /* On the last row that lands, the pixels right of the screen need not
     * be decoded either. */
    I32 XEnd = XSize;
    int IsCut = 0;
    if (XSize > ScreenXSize && (Row + 1 == YSize || !_IsRowLeftOnScreen(NextY, NextPass, IsInterlaced, YSize, ScreenYSize))) {
      XEnd  = ScreenXSize;
      IsCut = 1;
    }
    U8* pRow     = (y < ScreenYSize) ? IMAGE_GetRow(pImage, YPos + y) + XPos : NULL;
    I32 NumOnRow = (XEnd < ScreenXSize) ? XEnd : ScreenXSize;
    for (I32 x = 0; x < XEnd; x++) {
      I32 Index;
      if (pLZW->pStack > pLZW->aStack) {
        Index = *--pLZW->pStack;
      } else {
        Index = _GetNextByte(pLZW, pContext);
      }
      if (Index == -2) {
        return 0;
      }
      if (Index < 0 || Index >= NumColors) {
        return 1;
      }
      if (pRow && x < NumOnRow) {
        pRow[x] = (U8)Index;
      }
    }
    if (IsCut) {
      return _FRAME_CUT;
    }
    y    = NextY;
    Pass = NextPass;
  }
  return 0;
}

/*********************************************************************
*  _ReadGIF
*/

/* The screen is refused with the picture limit that applies, written
 * with dots between groups of three digits. */
static void _ShowSizeLimit(void) {
  char acNumber[32];
  char acGrouped[48];
  int NumDigits = snprintf(acNumber, sizeof(acNumber), "%lld", (long long)IMAGE_MAX_PIXELS);
  int j = 0;
  for (int i = 0; i < NumDigits; i++) {
    if (i > 0 && (NumDigits - i) % 3 == 0) {
      acGrouped[j++] = '.';
    }
    acGrouped[j++] = acNumber[i];
  }
  acGrouped[j] = 0;
  char ac[160];
  snprintf(ac, sizeof(ac), "The image contains to much pixels. This tool\r\nonly supports GIFs with up to %s pixels", acGrouped);
  IMAGE_ShowError(ac);
}
static IMAGE* _ReadGIF(GIF_CONTEXT* pContext) {
  U8 acSignature[6];
  for (int i = 0; i < 6; i++) {
    acSignature[i] = _ReadU8(pContext);
  }
  if (memcmp(acSignature, "GIF87a", 6) != 0 && memcmp(acSignature, "GIF89a", 6) != 0) {
    return NULL;
  }
  I32 XSize = _ReadU16(pContext);
  I32 YSize = _ReadU16(pContext);
  U8  Flags = _ReadU8(pContext);
  _ReadU8(pContext);    /* background colour index */
  _ReadU8(pContext);    /* pixel aspect ratio */
  if (!IMAGE_IsSizeValid(XSize, YSize, 256)) {
    _ShowSizeLimit();
    return NULL;
  }
  if (pContext->NumBytes < 0) {
    IMAGE_ShowError("Logical screen descriptor could not be read");
    return NULL;
  }
  I32 NumColors = 2 << (Flags & 7);
  IMAGE* pImage = IMAGE_Create(XSize, YSize, NumColors);
  if (pImage == NULL) {
    return NULL;
  }
  if ((Flags & 0x80) && _ReadColorTable(pContext, NumColors, pImage)) {
    IMAGE_Free(pImage);
    IMAGE_ShowError("Global color table could not be read");
    return NULL;
  }
  I32 TransIndex = -1;
  for (;;) {
    U8 Byte = _ReadU8(pContext);
    if (Byte == 0x21) {
      if (_ReadExtension(pContext, &TransIndex)) {
        IMAGE_Free(pImage);
        IMAGE_ShowError("Image extension could not be read");
        return NULL;
      }
    } else if (Byte == 0x2C) {
      GIF_IMAGE_DESC Desc;
      Desc.XPos      = _ReadU16(pContext);
      Desc.YPos      = _ReadU16(pContext);
      Desc.XSize     = _ReadU16(pContext);
      Desc.YSize     = _ReadU16(pContext);
      Desc.Flags     = _ReadU8(pContext);
      Desc.NumColors = NumColors;
      if (pContext->NumBytes < 0) {
        IMAGE_Free(pImage);
        IMAGE_ShowError("Image descriptor could not be read");
        return NULL;
      }
      /* A frame larger than the largest picture is refused like such a
       * picture: IMAGE_Create gives the size message and no image. */
      if (!IMAGE_IsSizeValid(Desc.XSize, Desc.YSize, NumColors)) {
        IMAGE_Free(pImage);
        IMAGE_Free(IMAGE_Create(Desc.XSize, Desc.YSize, NumColors));
        return NULL;
      }
      if (Desc.Flags & 0x80) {
        /* The table's own size tells where the data goes on; entries
         * beyond the screen's palette have no place and are passed over. */
        if (_ReadColorTable(pContext, 2 << (Desc.Flags & 7), pImage)) {
          IMAGE_Free(pImage);
          IMAGE_ShowError("Local color table could not be read");
          return NULL;
        }
      }
      if (TransIndex >= 0 && TransIndex < NumColors) {
        IMAGE_SetColor(pImage, TransIndex, GIF_TRANS_MARKER);
      }
      int Result = _ReadImage(pContext, &Desc, pImage);
      if (Result == 1) {
        IMAGE_Free(pImage);
        IMAGE_ShowError("Image could not be read");
        return NULL;
      }
      if (Result == _FRAME_CUT) {
        break;    /* where the frame's data ends is not known */
      }
    } else {
      break;    /* the trailer, anything unknown, or the end of the data */
    }
  }
  /* Compact to the colours shown; the marker survives as a colour of its
   * own, since the census compares whole words. */
  IMAGE* pDecoded = pImage;
  pImage = CONVERT_IntoBestPalette(pDecoded);
  if (pImage == NULL) {
    IMAGE_Free(pDecoded);     /* a conversion that fails leaves it to us */
    return NULL;
  }
  if (TransIndex < 0) {
    return pImage;
  }
  I32 NumUsed = IMAGE_GetNumColors(pImage);
  for (I32 i = 0; i < NumUsed; i++) {
    if (IMAGE_GetColor(pImage, i) == GIF_TRANS_MARKER) {
      IMAGE_SetTransparency(pImage, i + 1);
      break;
    }
  }
  return pImage;
}

/*********************************************************************
*  Public
*/
IMAGE* GIF_LoadFromMemory(const U8* pData, U32 NumBytes) {
  if (pData == NULL || NumBytes > 0x7FFFFFFFu) {
    return NULL;
  }
  GIF_CONTEXT Context;
  Context.pData    = pData;
  Context.pNext    = pData;
  Context.NumBytes = (I32)NumBytes;
  return _ReadGIF(&Context);
}

IMAGE* GIF_LoadFile(PLAT_FILE* hFile) {
  U32 FileSize = PLAT_GetFileSize(hFile);
  if (FileSize <= 13) {
    return NULL;
  }
  /* The byte count of the reader is a signed 32-bit number; a file that
   * it can't count is one that can't be read. */
  U8* pData = (FileSize <= 0x7FFFFFFFu) ? (U8*)PLAT_Alloc(FileSize) : NULL;
  if (pData == NULL) {
    IMAGE_ShowError("Could not read file!");
    return NULL;
  }
  /* A short read goes unnoticed: the rest of the block stays zero. */
  if (PLAT_Read(hFile, pData, FileSize) == 0) {
    PLAT_Free(pData);
    IMAGE_ShowError("Could not read file!");
    return NULL;
  }
  IMAGE* pImage = GIF_LoadFromMemory(pData, FileSize);
  PLAT_Free(pData);
  return pImage;
}
