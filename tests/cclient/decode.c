/*
 * Test decoder for generated C bitmap files, see decode.h.
 *
 * The picture array's element type follows from the descriptor: unsigned
 * short for the uncompressed 565 formats, unsigned long for 888, unsigned
 * char for everything else. The descriptor hands the array over as
 * (unsigned char *); it is read back through its own element type.
 *
 * Run-length streams are a sequence of pieces, linear over the whole
 * picture (a piece may cross the end of a row):
 *   run:            Count (1 to 254), value
 *   absolute block: 0, n (2 to 255), n values
 *   end:            0, where the next piece would start after the last pixel
 * A value is one byte at 8 bits, a low and a high byte at 16 bits. At
 * 4 bits a run's value is one index in a byte, while an absolute block
 * packs two pixels a byte, the first in the high nibble.
 */
#include "decode.h"

#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

const OMRAK_DRAW_METHOD OMRAK_DrawRLE4    = { "RLE4" };
const OMRAK_DRAW_METHOD OMRAK_DrawRLE8    = { "RLE8" };
const OMRAK_DRAW_METHOD OMRAK_DrawBMP565  = { "BMP565" };
const OMRAK_DRAW_METHOD OMRAK_DrawBMPM565 = { "BMPM565" };
const OMRAK_DRAW_METHOD OMRAK_DrawRLE16   = { "RLE16" };
const OMRAK_DRAW_METHOD OMRAK_DrawRLEM16  = { "RLEM16" };
const OMRAK_DRAW_METHOD OMRAK_DrawBMP888  = { "BMP888" };
const OMRAK_DRAW_METHOD OMRAK_DrawBMPM888 = { "BMPM888" };

typedef char _COLOR_IS_32_BITS[sizeof(OMRAK_COLOR) == 4 ? 1 : -1];

enum { KIND_PACKED, KIND_RLE4, KIND_RLE8, KIND_565, KIND_RLE16, KIND_888 };

typedef struct {
  const OMRAK_BITMAP* pBitmap;
  int                 Kind;
  int                 Swapped;        /* red and blue exchanged */
  unsigned long       NumArrayBytes;
  long                NumPixels;
  unsigned long*      aPixel;         /* decoded: index or 0xBBGGRR */
  long                NumUnits;       /* run-length: 2 per run chunk, block length + 2 per block */
  char                acError[200];
} DECODER;

static int _Fail(DECODER* pDec, const char* sFormat, ...) {
  va_list Args;
  va_start(Args, sFormat);
  vsnprintf(pDec->acError, sizeof(pDec->acError), sFormat, Args);
  va_end(Args);
  return 1;
}

/* A 5-6-5 value back to a colour 0xBBGGRR; the dropped low bits are 0. */
static unsigned long _ColorFrom565(unsigned v, int Swapped) {
  unsigned long R5, G6, B5;
  G6 = (v >> 5) & 0x3F;
  if (Swapped) {
    R5 = (v >> 11) & 0x1F;
    B5 = v & 0x1F;
  } else {
    B5 = (v >> 11) & 0x1F;
    R5 = v & 0x1F;
  }
  return (B5 << 3) << 16 | (G6 << 2) << 8 | (R5 << 3);
}

/* Which layout the descriptor announces, and the row length it must
 * carry for it. */
static int _Classify(DECODER* pDec) {
  const OMRAK_BITMAP* pBM = pDec->pBitmap;
  const void*         m   = pBM->pMethods;
  int Bpp = pBM->BitsPerPixel;
  long X = pBM->XSize;
  long BytesPerLine;
  pDec->Swapped = 0;
  if (m == NULL) {
    if (Bpp != 1 && Bpp != 2 && Bpp != 4 && Bpp != 8) {
      return _Fail(pDec, "no draw method for BitsPerPixel %d", Bpp);
    }
    pDec->Kind = KIND_PACKED;
    BytesPerLine = (Bpp * X + 7) / 8;
  } else if (m == OMRAK_DRAW_RLE4 || m == OMRAK_DRAW_RLE8) {
    int Is4 = (m == OMRAK_DRAW_RLE4);
    if (Bpp != (Is4 ? OMRAK_COMPRESS_RLE4 : OMRAK_COMPRESS_RLE8)) {
      return _Fail(pDec, "BitsPerPixel %d does not fit draw method %s", Bpp, ((const OMRAK_DRAW_METHOD*)m)->sName);
    }
    pDec->Kind = Is4 ? KIND_RLE4 : KIND_RLE8;
    BytesPerLine = Is4 ? (4 * X + 7) / 8 : X;
  } else if (m == OMRAK_DRAW_BMP565 || m == OMRAK_DRAW_BMPM565 || m == OMRAK_DRAW_RLE16 || m == OMRAK_DRAW_RLEM16) {
    if (Bpp != 16) {
      return _Fail(pDec, "BitsPerPixel %d does not fit draw method %s", Bpp, ((const OMRAK_DRAW_METHOD*)m)->sName);
    }
    pDec->Kind    = (m == OMRAK_DRAW_BMP565 || m == OMRAK_DRAW_BMPM565) ? KIND_565 : KIND_RLE16;
    pDec->Swapped = (m == OMRAK_DRAW_BMPM565 || m == OMRAK_DRAW_RLEM16);
    BytesPerLine  = 2 * X;
  } else if (m == OMRAK_DRAW_BMP888 || m == OMRAK_DRAW_BMPM888) {
    if (Bpp != 24) {
      return _Fail(pDec, "BitsPerPixel %d does not fit draw method %s", Bpp, ((const OMRAK_DRAW_METHOD*)m)->sName);
    }
    pDec->Kind    = KIND_888;
    pDec->Swapped = (m == OMRAK_DRAW_BMPM888);
    BytesPerLine  = 3 * X;
  } else {
    return _Fail(pDec, "unknown draw method");
  }
  if (pBM->BytesPerLine != BytesPerLine) {
    return _Fail(pDec, "BytesPerLine is %d, expected %ld", pBM->BytesPerLine, BytesPerLine);
  }
  int IsIndexed = (pDec->Kind == KIND_PACKED || pDec->Kind == KIND_RLE4 || pDec->Kind == KIND_RLE8);
  if (IsIndexed && pBM->pPal == NULL) {
    return _Fail(pDec, "palette format without a palette");
  }
  if (!IsIndexed && pBM->pPal != NULL) {
    return _Fail(pDec, "colour format with a palette");
  }
  return 0;
}

static int _CheckIndex(DECODER* pDec, unsigned long v, long i) {
  if ((long)v >= pDec->pBitmap->pPal->NumEntries) {
    return _Fail(pDec, "index %lu at pixel %ld is outside the palette", v, i);
  }
  return 0;
}

/*********************************************************************
*  Uncompressed layouts
*/
static int _DecodePacked(DECODER* pDec) {
  const OMRAK_BITMAP* pBM = pDec->pBitmap;
  int  Bpp    = pBM->BitsPerPixel;
  long Stride = pBM->BytesPerLine;
  unsigned Mask = (1u << Bpp) - 1;
  if (pDec->NumArrayBytes != (unsigned long)(Stride * pBM->YSize)) {
    return _Fail(pDec, "array has %lu bytes, expected %ld", pDec->NumArrayBytes, Stride * pBM->YSize);
  }
  for (long y = 0; y < pBM->YSize; y++) {
    const unsigned char* pRow = pBM->pData + y * Stride;
    for (long x = 0; x < pBM->XSize; x++) {
      long Bit = x * Bpp;
      unsigned v = (pRow[Bit / 8] >> (8 - Bpp - Bit % 8)) & Mask;
      if (_CheckIndex(pDec, v, y * pBM->XSize + x)) {
        return 1;
      }
      pDec->aPixel[y * pBM->XSize + x] = v;
    }
    long NumUsedBits = pBM->XSize * Bpp;
    if (NumUsedBits % 8 && (pRow[Stride - 1] & (0xFFu >> (NumUsedBits % 8)))) {
      return _Fail(pDec, "unused bits of row %ld are not 0", y);
    }
  }
  return 0;
}

static int _Decode565(DECODER* pDec) {
  const unsigned short* aValue = (const unsigned short*)pDec->pBitmap->pData;
  if (pDec->NumArrayBytes != (unsigned long)pDec->NumPixels * sizeof(unsigned short)) {
    return _Fail(pDec, "array has %lu bytes, expected %ld values of unsigned short", pDec->NumArrayBytes, pDec->NumPixels);
  }
  for (long i = 0; i < pDec->NumPixels; i++) {
    pDec->aPixel[i] = _ColorFrom565(aValue[i], pDec->Swapped);
  }
  return 0;
}

static int _Decode888(DECODER* pDec) {
  const unsigned long* aValue = (const unsigned long*)pDec->pBitmap->pData;
  if (pDec->NumArrayBytes != (unsigned long)pDec->NumPixels * sizeof(unsigned long)) {
    return _Fail(pDec, "array has %lu bytes, expected %ld values of unsigned long", pDec->NumArrayBytes, pDec->NumPixels);
  }
  for (long i = 0; i < pDec->NumPixels; i++) {
    unsigned long v = aValue[i];
    if (v > 0xFFFFFFul) {
      return _Fail(pDec, "value 0x%lX at pixel %ld has more than 24 bits", v, i);
    }
    if (pDec->Swapped) {
      v = (v & 0x00FF00ul) | (v >> 16) | (v & 0xFFul) << 16;
    }
    pDec->aPixel[i] = v;
  }
  return 0;
}

/*********************************************************************
*  Run-length streams
*/
typedef struct {
  const unsigned char* p;
  unsigned long        Pos;
  unsigned long        Size;
} STREAM;

static int _GetByte(DECODER* pDec, STREAM* pStream, unsigned* pByte) {
  if (pStream->Pos >= pStream->Size) {
    return _Fail(pDec, "stream runs past the end of the array (%lu bytes)", pStream->Size);
  }
  *pByte = pStream->p[pStream->Pos++];
  return 0;
}

/* One pixel value of a run or an absolute block at 8 or 16 bits. */
static int _GetValue(DECODER* pDec, STREAM* pStream, unsigned long* pValue) {
  unsigned Lo, Hi;
  if (_GetByte(pDec, pStream, &Lo)) {
    return 1;
  }
  if (pDec->Kind != KIND_RLE16) {
    *pValue = Lo;
    return 0;
  }
  if (_GetByte(pDec, pStream, &Hi)) {
    return 1;
  }
  *pValue = _ColorFrom565(Lo | Hi << 8, pDec->Swapped);
  return 0;
}

static int _DecodeRLE(DECODER* pDec) {
  STREAM Stream = { pDec->pBitmap->pData, 0, pDec->NumArrayBytes };
  int  IsIndexed = (pDec->Kind != KIND_RLE16);
  long i = 0;
  for (;;) {
    unsigned Count, n;
    unsigned long v;
    if (_GetByte(pDec, &Stream, &Count)) {
      return 1;
    }
    if (Count) {
      /* A run */
      if (Count > 254) {
        return _Fail(pDec, "run chunk of %u pixels at pixel %ld", Count, i);
      }
      if (_GetValue(pDec, &Stream, &v)) {
        return 1;
      }
      if (pDec->Kind == KIND_RLE4 && v > 15) {
        return _Fail(pDec, "run index 0x%lX at pixel %ld does not fit 4 bits", v, i);
      }
      if (i + (long)Count > pDec->NumPixels) {
        return _Fail(pDec, "run of %u at pixel %ld passes the end of the picture", Count, i);
      }
      if (IsIndexed && _CheckIndex(pDec, v, i)) {
        return 1;
      }
      while (Count--) {
        pDec->aPixel[i++] = v;
      }
      pDec->NumUnits += 2;
      continue;
    }
    if (i == pDec->NumPixels) {
      break;  /* the end mark */
    }
    /* An absolute block */
    if (_GetByte(pDec, &Stream, &n)) {
      return 1;
    }
    if (n < 2) {
      return _Fail(pDec, "absolute block of %u pixels at pixel %ld", n, i);
    }
    if (i + (long)n > pDec->NumPixels) {
      return _Fail(pDec, "absolute block of %u at pixel %ld passes the end of the picture", n, i);
    }
    if (pDec->Kind == KIND_RLE4) {
      for (unsigned k = 0; k < n; k += 2) {
        unsigned Byte;
        if (_GetByte(pDec, &Stream, &Byte)) {
          return 1;
        }
        if (k + 1 == n && (Byte & 15)) {
          return _Fail(pDec, "odd absolute block at pixel %ld: last low nibble is not 0", i);
        }
        if (_CheckIndex(pDec, Byte >> 4, i)) {
          return 1;
        }
        pDec->aPixel[i++] = Byte >> 4;
        if (k + 1 < n) {
          if (_CheckIndex(pDec, Byte & 15, i)) {
            return 1;
          }
          pDec->aPixel[i++] = Byte & 15;
        }
      }
      pDec->NumUnits += (n + 1) / 2 + 2;
    } else {
      for (unsigned k = 0; k < n; k++) {
        if (_GetValue(pDec, &Stream, &v)) {
          return 1;
        }
        if (IsIndexed && _CheckIndex(pDec, v, i)) {
          return 1;
        }
        pDec->aPixel[i++] = v;
      }
      pDec->NumUnits += n + 2;
    }
  }
  if (Stream.Pos != Stream.Size) {
    return _Fail(pDec, "stream ends after %lu of the array's %lu bytes", Stream.Pos, Stream.Size);
  }
  return 0;
}

/*********************************************************************
*  Public
*/
static void _WritePalette(FILE* pOut, const OMRAK_LOGPALETTE* pPal) {
  if (pPal == NULL) {
    fprintf(pOut, "palette null\n");
    return;
  }
  fprintf(pOut, "palette %d %d", pPal->NumEntries, (int)pPal->HasTrans);
  if (pPal->pPalEntries == NULL) {
    fprintf(pOut, " none");
  } else {
    for (int i = 0; i < pPal->NumEntries; i++) {
      fprintf(pOut, " %X", pPal->pPalEntries[i]);
    }
  }
  fprintf(pOut, "\n");
}

int DECODE_Bitmap(FILE* pOut, const char* sName, const OMRAK_BITMAP* pBitmap, unsigned long NumArrayBytes) {
  DECODER Dec;
  int     r;
  memset(&Dec, 0, sizeof(Dec));
  Dec.pBitmap       = pBitmap;
  Dec.NumArrayBytes = NumArrayBytes;
  fprintf(pOut, "= %s %d %d\n", sName, pBitmap->XSize, pBitmap->YSize);
  _WritePalette(pOut, pBitmap->pPal);
  if (pBitmap->XSize <= 0 || pBitmap->YSize <= 0 || pBitmap->pData == NULL) {
    fprintf(pOut, "error empty bitmap\n");
    return 1;
  }
  Dec.NumPixels = (long)pBitmap->XSize * pBitmap->YSize;
  Dec.aPixel    = (unsigned long*)calloc((size_t)Dec.NumPixels, sizeof(unsigned long));
  r = _Classify(&Dec);
  if (r == 0) {
    switch (Dec.Kind) {
    case KIND_PACKED: r = _DecodePacked(&Dec); break;
    case KIND_565:    r = _Decode565(&Dec);    break;
    case KIND_888:    r = _Decode888(&Dec);    break;
    default:          r = _DecodeRLE(&Dec);    break;
    }
  }
  if (r) {
    fprintf(pOut, "error %s\n", Dec.acError);
  } else {
    for (long y = 0; y < pBitmap->YSize; y++) {
      for (long x = 0; x < pBitmap->XSize; x++) {
        fprintf(pOut, x ? " %lX" : "%lX", Dec.aPixel[y * pBitmap->XSize + x]);
      }
      fprintf(pOut, "\n");
    }
    if (Dec.Kind == KIND_RLE4 || Dec.Kind == KIND_RLE8 || Dec.Kind == KIND_RLE16) {
      fprintf(pOut, "units %ld\n", Dec.NumUnits);
    }
  }
  free(Dec.aPixel);
  return r;
}
