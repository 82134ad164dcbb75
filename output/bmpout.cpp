/*
 * The two binary outputs.
 *
 * Windows Bitmap: a 14-byte file header in front of the exported DIB block
 * of the image core (depth 1, 4, 8 or 24 by the palette size, rows bottom
 * first and padded to 4 bytes).
 *
 * "C" stream (.dta): a 16-byte header of eight 16-bit fields, the palette
 * as 4-byte entries (red, green, blue, reserved) and the pixels packed at
 * 1, 2, 4 or 8 bits, top row first, each row starting on a new byte.
 *
 * Neither writer changes the image or shows a message; the results are
 * for callers that want them.
 */
#include "bmpout.h"

/*********************************************************************
*  Little-endian fields
*/
static void _Put16(U8* p, U32 v) {
  p[0] = (U8)v;
  p[1] = (U8)(v >> 8);
}

static void _Put32(U8* p, U32 v) {
  p[0] = (U8)v;
  p[1] = (U8)(v >> 8);
  p[2] = (U8)(v >> 16);
  p[3] = (U8)(v >> 24);
}

/*********************************************************************
*  IMAGE_SaveBMP
*/
int IMAGE_SaveBMP(const IMAGE* pImage, PLAT_FILE* hFile) {
  U8  aHeader[14];
  U32 NumDIBBytes = (U32)IMAGE_GetDIBSize(pImage);
  _Put16(aHeader + 0,  0x4D42);                                    /* bfType "BM" */
  _Put32(aHeader + 2,  NumDIBBytes + 14);                          /* bfSize */
  _Put16(aHeader + 6,  0);                                         /* bfReserved1 */
  _Put16(aHeader + 8,  0);                                         /* bfReserved2 */
  _Put32(aHeader + 10, (U32)IMAGE_GetColorTableSize(pImage) + 54); /* bfOffBits */
  PLAT_Write(hFile, aHeader, sizeof(aHeader));   /* only the block's write decides the result */
  /* The block must start out zero-filled: IMAGE_WriteDIB leaves the bytes
   * that pad a row to 4 as it finds them. PLAT_Alloc gives zeros. */
  U8* pBlock = (U8*)PLAT_Alloc(NumDIBBytes);
  if (pBlock == NULL) {
    IMAGE_ShowError("Out of memory");
    PLAT_Discard(hFile);   /* no half file in place of the old one */
    return 1;
  }
  IMAGE_WriteDIB(pImage, pBlock);
  U32 NumWritten = PLAT_Write(hFile, pBlock, NumDIBBytes);
  PLAT_Free(pBlock);
  return (NumWritten == NumDIBBytes) ? 0 : 1;
}

/*********************************************************************
*  IMAGE_SaveStream
*/
/* Depth and row length of the stream by the palette size. 0 when the
 * palette has no row form: true colour, or more than 256 entries. */
static int _GetStreamFormat(I32 NumColors, I32 XSize, I32* pBytesPerLine) {
  if (NumColors <= 0 || NumColors > 256) {
    return 0;
  }
  if (NumColors <= 2) {
    *pBytesPerLine = (XSize + 7) / 8;
    return 1;
  }
  if (NumColors <= 4) {
    *pBytesPerLine = (XSize + 3) / 4;
    return 2;
  }
  if (NumColors <= 16) {
    *pBytesPerLine = (XSize + 1) / 2;
    return 4;
  }
  *pBytesPerLine = XSize;
  return 8;
}

static int _Write16(PLAT_FILE* hFile, U32 v) {
  U8 a[2];
  _Put16(a, v);
  return PLAT_Write(hFile, a, 2) == 2;
}

int IMAGE_SaveStream(const IMAGE* pImage, PLAT_FILE* hFile) {
  I32 BytesPerLine = 0;
  int BitsPerPixel = _GetStreamFormat(pImage->NumColors, pImage->XSize, &BytesPerLine);
  if (BitsPerPixel == 0) {
    /* No row form for this image: nothing at all is written, not even the
     * header, so that no file exists that claims a depth it doesn't have.
     * The save dialog offers the stream for palette images only. */
    PLAT_Discard(hFile);
    return 1;
  }
  /* Header: eight 16-bit fields; only the low 16 bits of each value go. */
  U32 aField[8];
  aField[0] = 0x4D42;                      /* magic, the bytes "BM" */
  aField[1] = 100;                         /* version */
  aField[2] = (U32)pImage->XSize;
  aField[3] = (U32)pImage->YSize;
  aField[4] = (U32)BytesPerLine;
  aField[5] = (U32)BitsPerPixel;
  aField[6] = (U32)pImage->NumColors;
  aField[7] = pImage->HasTrans ? 1 : 0;
  for (int i = 0; i < 8; i++) {
    if (!_Write16(hFile, aField[i])) {
      return 1;
    }
  }
  /* Palette: the colour value 0x00BBGGRR, least significant byte first */
  for (I32 i = 0; i < pImage->NumColors; i++) {
    U8 aEntry[4];
    _Put32(aEntry, IMAGE_GetColor(pImage, i));
    if (PLAT_Write(hFile, aEntry, 4) != 4) {
      return 1;
    }
  }
  /* Pixels, top row first. The leftmost pixel of a byte sits in its top
   * bits; pixels past the right edge read as 0, which clears the unused
   * low bits of a row's last byte. */
  int PixelsPerByte = 8 / BitsPerPixel;
  U32 Mask          = (1u << BitsPerPixel) - 1;
  for (I32 y = 0; y < pImage->YSize; y++) {
    for (I32 x = 0; x < pImage->XSize; x += PixelsPerByte) {
      U32 Byte = 0;
      for (int i = 0; i < PixelsPerByte; i++) {
        U32 v = IMAGE_GetIndex(pImage, x + i, y) & Mask;
        Byte |= v << (8 - BitsPerPixel * (i + 1));
      }
      U8 b = (U8)Byte;
      if (PLAT_Write(hFile, &b, 1) != 1) {
        return 1;
      }
    }
  }
  return 0;
}
