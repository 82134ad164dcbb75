/*
 * Run-length input: the RLE4 and RLE8 pixel data of Windows Bitmaps and
 * the program's own .sbmp files.
 *
 * Both are tolerant readers. They never read behind the data they were
 * given and never write outside the image: a stream that runs out ends
 * the decoding with what was decoded so far, and pixels that fall outside
 * the picture (past the right edge, above the top row after a delta code,
 * below the last row of an .sbmp) are dropped.
 */
#include "rle.h"

#include <string.h>

typedef uint64_t U64;

#define SBMP_MAX_FILE_SIZE 8000000u

/* The data of one run-length stream: NumAvail bytes at pData, followed by
 * bytes that read as zero up to NumTotal. */
typedef struct {
  const U8* pData;
  U64       NumAvail;
  U64       NumTotal;
} _SOURCE;

static U32 _At(const _SOURCE* pSource, U64 i) {
  return i < pSource->NumAvail ? pSource->pData[i] : 0;
}

static U32 _Nibble(U32 Byte, U32 k) {
  return (k & 1) ? (Byte & 15) : (Byte >> 4);
}

/* The part of a run of NumPixels at (x, y) that lies inside the image:
 * gives the row and sets *pFirst and *pEnd to the run's pixel numbers
 * that land (from *pFirst up to *pEnd, not included); null when none
 * does. x and y are kept in 64 bits: delta codes can take y far below 0,
 * and a long stream can run x far past the right edge. */
static U8* _ClipRun(IMAGE* pImage, int64_t x, int64_t y, U32 NumPixels, U32* pFirst, U32* pEnd) {
  if (y < 0 || y >= pImage->YSize || x >= pImage->XSize || x + NumPixels <= 0) {
    return NULL;
  }
  *pFirst = (x < 0) ? (U32)(-x) : 0;
  *pEnd   = (x + NumPixels > pImage->XSize) ? (U32)(pImage->XSize - x) : NumPixels;
  return IMAGE_GetRow(pImage, (I32)y) + x;
}

/*********************************************************************
*  _Decompress: the frame shared by RLE4 and RLE8
*
*  Once the read offset has passed the bytes in memory, everything left
*  reads as zero, that is, as a row of end-of-line codes. Their outcome is
*  computed at once instead of walking them one by one: the zero part can
*  be far longer than the image has rows.
*/
static const char* _Decompress(IMAGE* pImage, const U8* pData, I32 NumPixelBytes,
                               U32 NumAvail, U32 NumMissing, int Is4) {
  if (NumPixelBytes < 0) {
    return Is4 ? "Can not decompress RLE4: File invalid: NumPixelBytes < 0"
               : "Can not decompress RLE8: File invalid: NumPixelBytes < 0";
  }
  if (NumPixelBytes == 0) {
    IMAGE_ShowError(Is4 ? "Illegal file format: 4 BPP, RLE4, NumPixelBytes == 0. Converting anyhow."
                        : "Illegal file format: 8 BPP, RLE8, NumPixelBytes == 0. Converting anyhow.");
    NumPixelBytes = 1000000;
  }
  _SOURCE Source;
  Source.pData    = pData;
  Source.NumAvail = NumAvail;
  Source.NumTotal = (U64)NumAvail + NumMissing;
  U64 Limit = (U64)NumPixelBytes;
  U64 i = 0;
  int64_t x = 0;
  int64_t y = (int64_t)pImage->YSize - 1;
  int IsTopReached = 0;
  while (i < Limit) {
    if (i >= Source.NumAvail) {
      /* Only zero pairs are left. NumCodes: how many of them the loop
       * still reads, bounded by the limit and by the end of the data. */
      U64 NumCodes = (Limit - i + 1) / 2;
      U64 NumFit   = (Source.NumTotal >= i + 2) ? (Source.NumTotal - i - 2) / 2 + 1 : 0;
      if (NumFit < NumCodes) {
        NumCodes = NumFit;
      }
      U64 NumToTop = (y >= 0) ? (U64)y + 1 : 1;
      IsTopReached = (NumCodes >= NumToTop);
      break;
    }
    if (i + 2 > Source.NumTotal) {
      break;
    }
    U32 b0 = _At(&Source, i);
    U32 b1 = _At(&Source, i + 1);
    i += 2;
    if (b0) {
      /* A run of b0 pixels; RLE4 alternates the two nibbles of b1. */
      U32 First, End;
      U8* pRun = _ClipRun(pImage, x, y, b0, &First, &End);
      for (U32 k = First; pRun && k < End; k++) {
        pRun[k] = (U8)(Is4 ? _Nibble(b1, k) : b1);
      }
      x += b0;
      continue;
    }
    if (b1 == 0) {            /* end of line */
      x = 0;
      y--;
      if (y < 0) {
        /* Writers close the top row with an end of line too: followed
         * by the end of bitmap, that is a complete picture. */
        int IsEnd = i + 2 <= Limit && i + 2 <= Source.NumAvail && _At(&Source, i) == 0 && _At(&Source, i + 1) == 1;
        IsTopReached = !IsEnd;
        break;
      }
      continue;
    }
    if (b1 == 1) {            /* end of bitmap */
      break;
    }
    if (b1 == 2) {            /* delta */
      if (i + 2 > Source.NumTotal) {
        break;
      }
      x += _At(&Source, i);
      y -= _At(&Source, i + 1);
      i += 2;
      continue;
    }
    /* Absolute run of b1 pixels; the bytes read are padded to an even
     * count. */
    U32 NumBytes = Is4 ? (b1 + 1) / 2 : b1;
    U32 First = 0, End = 0;
    U8* pRun = _ClipRun(pImage, x, y, b1, &First, &End);
    /* Only pixels whose byte lies inside the data are written. */
    U64 NumInData = (Source.NumTotal > i) ? (Source.NumTotal - i) * (Is4 ? 2 : 1) : 0;
    if (NumInData < End) {
      End = (U32)NumInData;
    }
    for (U32 k = First; pRun && k < End; k++) {
      U32 Byte = _At(&Source, i + (Is4 ? k / 2 : k));
      pRun[k] = (U8)(Is4 ? _Nibble(Byte, k) : Byte);
    }
    /* A run cut by the end of the data ends the decoding, with its
     * pixels that were there. */
    if (i + NumBytes > Source.NumTotal) {
      break;
    }
    x += b1;
    i += NumBytes;
    if (Is4 ? ((b1 + 1) & 2) : (b1 & 1)) {
      i++;
    }
  }
  if (IsTopReached && !Is4) {
    return "DecompressRLE8: Data after end of image";
  }
  IMAGE_ShowStatus(Is4 ? "Loaded compressed 4 bpp bitmap." : "Loaded compressed 8 bpp bitmap");
  return NULL;
}

const char* DecompressRLE4Ex(IMAGE* pImage, const U8* pData, I32 NumPixelBytes, U32 NumAvail, U32 NumMissing) {
  return _Decompress(pImage, pData, NumPixelBytes, NumAvail, NumMissing, 1);
}

const char* DecompressRLE8Ex(IMAGE* pImage, const U8* pData, I32 NumPixelBytes, U32 NumAvail, U32 NumMissing) {
  return _Decompress(pImage, pData, NumPixelBytes, NumAvail, NumMissing, 0);
}

const char* DecompressRLE4(IMAGE* pImage, const U8* pData, I32 NumPixelBytes, U32 NumAvail) {
  return _Decompress(pImage, pData, NumPixelBytes, NumAvail, 0, 1);
}

const char* DecompressRLE8(IMAGE* pImage, const U8* pData, I32 NumPixelBytes, U32 NumAvail) {
  return _Decompress(pImage, pData, NumPixelBytes, NumAvail, 0, 0);
}

/*********************************************************************
*  .sbmp
*
*  Header: tag 0x53 0x42, u16 XSize, u16 YSize, u16 NumColors; then the
*  palette (red, green, blue per entry) and run records without count or
*  end mark: u16 run length and an index (palette images) or red, green,
*  blue (true colour). Pixels run left to right, top row first, and a run
*  may go on into the next row.
*/
static U32 _Get16(const U8* p) {
  return (U32)p[0] | (U32)p[1] << 8;
}

/* NumPixels pixels of one value from (x, y) on, inside one row. */
static void _FillRow(IMAGE* pImage, I32 x, I32 y, I32 NumPixels, U32 Value) {
  U8* p = IMAGE_GetRow(pImage, y);
  if (pImage->BitsPerPixel == 8) {
    memset(p + x, (U8)Value, (size_t)NumPixels);
    return;
  }
  p += 3 * (size_t)x;
  for (I32 i = 0; i < NumPixels; i++, p += 3) {
    p[0] = (U8)(Value >> 16);
    p[1] = (U8)(Value >> 8);
    p[2] = (U8)Value;
  }
}

IMAGE* SBMP_LoadFromMemory(const U8* pData, U32 NumBytes) {
  if (NumBytes < 8) {
    IMAGE_ShowError("File too short (Incomplete header)");
    return NULL;
  }
  if (pData[0] != 0x53 || pData[1] != 0x42) {
    IMAGE_ShowError("Illegal file header !");
    return NULL;
  }
  I32 XSize     = (I32)_Get16(pData + 2);
  I32 YSize     = (I32)_Get16(pData + 4);
  I32 NumColors = (I32)_Get16(pData + 6);
  int64_t NumLeft = (int64_t)NumBytes - 8;
  if (NumLeft < 3 * (int64_t)NumColors) {
    IMAGE_ShowError("File too short (Incomplete or missing color table)");
    return NULL;
  }
  IMAGE* pImage = IMAGE_Create(XSize, YSize, NumColors);
  if (pImage == NULL) {
    return NULL;
  }
  const U8* p = pData + 8;
  for (I32 i = 0; i < NumColors; i++, p += 3) {
    IMAGE_SetColor(pImage, i, (U32)p[0] | (U32)p[1] << 8 | (U32)p[2] << 16);
  }
  NumLeft -= 3 * (int64_t)NumColors;
  int64_t NumPixels = (int64_t)XSize * YSize;
  if (NumPixels < 1) {
    return pImage;
  }
  int RecordSize = NumColors ? 3 : 5;
  int64_t n = 0;           /* pixels produced so far */
  I32 x = 0;
  I32 y = 0;
  for (;;) {
    NumLeft -= RecordSize;
    if (NumLeft < 0) {
      IMAGE_ShowError("File too short (Missing data)");
      break;
    }
    U32 Run   = _Get16(p);
    U32 Value = NumColors ? p[2] : ((U32)p[2] | (U32)p[3] << 8 | (U32)p[4] << 16);
    p += RecordSize;
    /* Pixels behind the last one of the image are dropped. */
    int64_t NumNow = (n + Run <= NumPixels) ? Run : NumPixels - n;
    n += NumNow;
    while (NumNow > 0) {
      /* The part of the run in this row */
      I32 NumRow = (NumNow < XSize - x) ? (I32)NumNow : XSize - x;
      _FillRow(pImage, x, y, NumRow, Value);
      NumNow -= NumRow;
      x += NumRow;
      if (x == XSize) {
        x = 0;
        y++;
      }
    }
    if (n >= NumPixels) {
      break;
    }
  }
  return pImage;
}

IMAGE* SBMP_Load(PLAT_FILE* hFile) {
  U32 FileSize = PLAT_GetFileSize(hFile);
  if (FileSize > SBMP_MAX_FILE_SIZE) {
    IMAGE_ShowError("File too long");
    return NULL;
  }
  U8* pBlock = (U8*)PLAT_Alloc(FileSize);
  if (pBlock == NULL) {
    return NULL;
  }
  IMAGE* pImage = NULL;
  if (PLAT_Read(hFile, pBlock, FileSize) < FileSize) {
    IMAGE_ShowError("File too short (truncated ?)");
  } else {
    pImage = SBMP_LoadFromMemory(pBlock, FileSize);
  }
  PLAT_Free(pBlock);
  return pImage;
}
