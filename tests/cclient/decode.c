/* Test decoder for generated C bitmap files, see decode.h.
 *
 * The picture array's element type follows from the descriptor: unsigned
 * short for the uncompressed 565 formats, unsigned long for 888, unsigned
 * char for everything else.
 *
 * Run-length streams are a sequence of pieces, linear over the whole
 * picture (a piece may cross the end of a row):
 *   run:            Count (1 to 254), value
 *   absolute block: 0, n (2 to 255), n values
 *   end:            0, where the next piece would start after the last pixel
 * A value is one byte at 8 bits, a low and a high byte at 16 bits. At
 * 4 bits a run's value is one index in a byte, while an absolute block
 * packs two pixels a byte, the first in the high nibble. */
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

enum { KIND_PACKED, KIND_RLE4, KIND_RLE8, KIND_565, KIND_RLE16, KIND_888 };

static char _acError[200];

static int _Fail(const char* sFormat, ...) {
  va_list Args;
  va_start(Args, sFormat);
  vsnprintf(_acError, sizeof(_acError), sFormat, Args);
  va_end(Args);
  return 1;
}

/* A 5-6-5 value back to a colour 0xBBGGRR; the dropped low bits are 0. */
static unsigned long _ColorFrom565(unsigned v, int Swapped) {
  unsigned long Hi = (v >> 11) & 0x1F, G6 = (v >> 5) & 0x3F, Lo = v & 0x1F;
  return (Swapped ? Lo : Hi) << 19 | G6 << 10 | (Swapped ? Hi : Lo) << 3;
}

typedef struct {
  const unsigned char* p;
  unsigned long        Pos, Size;
} STREAM;

static int _GetByte(STREAM* s, unsigned* pByte) {
  if (s->Pos >= s->Size) return _Fail("stream runs past the end of the array (%lu bytes)", s->Size);
  *pByte = s->p[s->Pos++];
  return 0;
}

/* One value of a run or of an absolute block at 8 or 16 bits. */
static int _GetValue(STREAM* s, int Kind, int Swapped, unsigned long* pValue) {
  unsigned Lo, Hi;
  if (_GetByte(s, &Lo)) return 1;
  *pValue = Lo;
  if (Kind != KIND_RLE16) return 0;
  if (_GetByte(s, &Hi)) return 1;
  *pValue = _ColorFrom565(Lo | Hi << 8, Swapped);
  return 0;
}

/* Gives the units counted: 2 per run chunk, block length + 2 per block
 * (the bytes of the block at 4 bits). */
static int _DecodeRLE(STREAM* s, int Kind, int Swapped, unsigned long* aPixel, long NumPixels, long* pUnits) {
  long i = 0;
  unsigned long v;
  unsigned Count, n, Byte = 0;
  for (;;) {
    if (_GetByte(s, &Count)) return 1;
    if (Count) {
      if (Count > 254 || i + (long)Count > NumPixels) return _Fail("run chunk of %u at pixel %ld", Count, i);
      if (_GetValue(s, Kind, Swapped, &v)) return 1;
      if (Kind == KIND_RLE4 && v > 15) return _Fail("run index 0x%lX at pixel %ld does not fit 4 bits", v, i);
      while (Count--) aPixel[i++] = v;
      *pUnits += 2;
      continue;
    }
    if (i == NumPixels) break;   /* the end mark */
    if (_GetByte(s, &n)) return 1;
    if (n < 2 || i + (long)n > NumPixels) return _Fail("absolute block of %u at pixel %ld", n, i);
    for (unsigned k = 0; k < n; k++) {
      if (Kind != KIND_RLE4) {
        if (_GetValue(s, Kind, Swapped, &v)) return 1;
      } else if (k % 2 == 0) {
        if (_GetByte(s, &Byte)) return 1;
        if (k + 1 == n && (Byte & 15)) return _Fail("odd absolute block at pixel %ld: low nibble not 0", i);
        v = Byte >> 4;
      } else {
        v = Byte & 15;
      }
      aPixel[i++] = v;
    }
    *pUnits += (Kind == KIND_RLE4 ? (n + 1) / 2 : n) + 2;
  }
  if (s->Pos != s->Size) return _Fail("stream ends after %lu of the array's %lu bytes", s->Pos, s->Size);
  return 0;
}

/* Which layout the descriptor announces, checked against its row length,
 * palette and array size; then the pixels into aPixel. */
static int _Decode(const OMRAK_BITMAP* pBM, unsigned long NumBytes, unsigned long* aPixel, long* pUnits) {
  const void* m = pBM->pMethods;
  long X = pBM->XSize, NumPixels = X * pBM->YSize, BytesPerLine, Bpp = pBM->BitsPerPixel;
  int  Kind, Swapped = (m == OMRAK_DRAW_BMPM565 || m == OMRAK_DRAW_RLEM16 || m == OMRAK_DRAW_BMPM888);
  STREAM s = { pBM->pData, 0, NumBytes };
  if (m == NULL) {
    if (Bpp != 1 && Bpp != 2 && Bpp != 4 && Bpp != 8) return _Fail("no draw method for BitsPerPixel %ld", Bpp);
    Kind = KIND_PACKED, BytesPerLine = (Bpp * X + 7) / 8;
  } else if (m == OMRAK_DRAW_RLE4 || m == OMRAK_DRAW_RLE8) {
    Kind = (m == OMRAK_DRAW_RLE4) ? KIND_RLE4 : KIND_RLE8;
    if (Bpp != (Kind == KIND_RLE4 ? OMRAK_COMPRESS_RLE4 : OMRAK_COMPRESS_RLE8)) return _Fail("BitsPerPixel %ld", Bpp);
    BytesPerLine = Kind == KIND_RLE4 ? (4 * X + 7) / 8 : X;
  } else if (m == OMRAK_DRAW_BMP565 || m == OMRAK_DRAW_BMPM565 || m == OMRAK_DRAW_RLE16 || m == OMRAK_DRAW_RLEM16) {
    if (Bpp != 16) return _Fail("BitsPerPixel %ld does not fit 16 bits", Bpp);
    Kind = (m == OMRAK_DRAW_RLE16 || m == OMRAK_DRAW_RLEM16) ? KIND_RLE16 : KIND_565, BytesPerLine = 2 * X;
  } else if (m == OMRAK_DRAW_BMP888 || m == OMRAK_DRAW_BMPM888) {
    if (Bpp != 24) return _Fail("BitsPerPixel %ld does not fit 24 bits", Bpp);
    Kind = KIND_888, BytesPerLine = 3 * X;
  } else {
    return _Fail("unknown draw method");
  }
  if (pBM->BytesPerLine != BytesPerLine) return _Fail("BytesPerLine is %d, expected %ld", pBM->BytesPerLine, BytesPerLine);
  int IsIndexed = (Kind == KIND_PACKED || Kind == KIND_RLE4 || Kind == KIND_RLE8);
  if (IsIndexed != (pBM->pPal != NULL)) return _Fail("palette pointer does not fit the format");
  if (Kind == KIND_PACKED) {
    if (NumBytes != (unsigned long)(BytesPerLine * pBM->YSize)) return _Fail("array has %lu bytes", NumBytes);
    for (long y = 0; y < pBM->YSize; y++) {
      const unsigned char* pRow = pBM->pData + y * BytesPerLine;
      for (long Bit = 0; Bit < X * Bpp; Bit += Bpp) {
        aPixel[y * X + Bit / Bpp] = (pRow[Bit / 8] >> (8 - Bpp - Bit % 8)) & ((1u << Bpp) - 1);
      }
      if ((X * Bpp) % 8 && (pRow[BytesPerLine - 1] & (0xFFu >> (X * Bpp % 8)))) return _Fail("unused bits in row %ld", y);
    }
  } else if (Kind == KIND_565) {
    if (NumBytes != (unsigned long)NumPixels * sizeof(unsigned short)) return _Fail("array has %lu bytes", NumBytes);
    for (long i = 0; i < NumPixels; i++) aPixel[i] = _ColorFrom565(((const unsigned short*)pBM->pData)[i], Swapped);
  } else if (Kind == KIND_888) {
    if (NumBytes != (unsigned long)NumPixels * sizeof(unsigned long)) return _Fail("array has %lu bytes", NumBytes);
    for (long i = 0; i < NumPixels; i++) {
      unsigned long v = ((const unsigned long*)pBM->pData)[i];
      if (v > 0xFFFFFFul) return _Fail("value 0x%lX at pixel %ld has more than 24 bits", v, i);
      aPixel[i] = Swapped ? (v & 0x00FF00ul) | (v >> 16) | (v & 0xFFul) << 16 : v;
    }
  } else if (_DecodeRLE(&s, Kind, Swapped, aPixel, NumPixels, pUnits)) {
    return 1;
  }
  for (long i = 0; IsIndexed && i < NumPixels; i++) {
    if ((long)aPixel[i] >= pBM->pPal->NumEntries) return _Fail("index %lu at pixel %ld is outside the palette", aPixel[i], i);
  }
  return 0;
}

int DECODE_Bitmap(FILE* pOut, const char* sName, const OMRAK_BITMAP* pBitmap, unsigned long NumArrayBytes) {
  const OMRAK_LOGPALETTE* pPal = pBitmap->pPal;
  long X = pBitmap->XSize, Units = 0;
  fprintf(pOut, "= %s %d %d\n", sName, pBitmap->XSize, pBitmap->YSize);
  if (pPal == NULL) {
    fprintf(pOut, "palette null\n");
  } else {
    fprintf(pOut, "palette %d %d%s", pPal->NumEntries, (int)pPal->HasTrans, pPal->pPalEntries ? "" : " none");
    for (int i = 0; pPal->pPalEntries && i < pPal->NumEntries; i++) fprintf(pOut, " %X", pPal->pPalEntries[i]);
    fprintf(pOut, "\n");
  }
  if (X <= 0 || pBitmap->YSize <= 0 || pBitmap->pData == NULL) {
    fprintf(pOut, "error empty bitmap\n");
    return 1;
  }
  unsigned long* aPixel = (unsigned long*)calloc((size_t)(X * pBitmap->YSize), sizeof(unsigned long));
  int r = _Decode(pBitmap, NumArrayBytes, aPixel, &Units);
  if (r) {
    fprintf(pOut, "error %s\n", _acError);
  } else {
    for (long i = 0; i < X * pBitmap->YSize; i++) {
      fprintf(pOut, (i % X) ? " %lX" : "%lX", aPixel[i]);
      if (i % X == X - 1) fprintf(pOut, "\n");
    }
    const void* m = pBitmap->pMethods;
    if (m == OMRAK_DRAW_RLE4 || m == OMRAK_DRAW_RLE8 || m == OMRAK_DRAW_RLE16 || m == OMRAK_DRAW_RLEM16) {
      fprintf(pOut, "units %ld\n", Units);
    }
  }
  free(aPixel);
  return r;
}
