/*
 * Decoder of a packed DIB held in memory: BITMAPINFOHEADER, colour table,
 * pixels.
 *
 * Where things lie follows from the header alone: the colour table starts
 * biSize bytes from the start, the pixels (with BI_BITFIELDS and a header
 * shorter than 108 bytes, the three masks and then the pixels) directly
 * behind the table. The header's numbers are
 * not trusted: every byte is read through a test against the block's end.
 * A header field or colour entry behind the end reads as 0, and a decoder
 * that runs out of data stops and keeps what it has, the rest of the
 * picture staying 0. That is exactly what a zero-filled block of the full
 * length would give, which is how truncated files are meant to decode.
 */
#include "dib.h"

#include <string.h>

#include "rle.h"

typedef uint64_t U64;

/* The header fields that count. */
typedef struct {
  U32 Size;
  I32 Width;
  I32 Height;
  U32 BitCount;
  U32 Compression;
  I32 SizeImage;
  U32 ClrUsed;
  int HasMasks;       /* the BI_BITFIELDS masks lie inside the header */
  U32 aMask[3];       /* red, green, blue, when HasMasks */
} _HEADER;

/* The pixel data of one DIB: NumAvail bytes at pData, nothing behind. */
typedef struct {
  const U8* pData;
  U64       NumAvail;
} _PIXELS;

/*********************************************************************
*  Bounded little-endian reads: bytes at or behind NumBytes read as 0
*/
static U32 _GetLE(const U8* p, U64 NumBytes, U64 Off, int NumFieldBytes) {
  U32 v = 0;
  for (int i = 0; i < NumFieldBytes; i++) {
    if (Off + (U64)i < NumBytes) {
      v |= (U32)p[Off + (U64)i] << (8 * i);
    }
  }
  return v;
}

static U32 _Get16(const U8* p) { return (U32)p[0] | (U32)p[1] << 8; }
static U32 _Get32(const U8* p) { return _Get16(p) | _Get16(p + 2) << 16; }

/*********************************************************************
*  Bit masks
*
*  One channel: the masked value, shifted down with its mask until bit 0
*  of the mask is set, scaled to 0..255 with truncation. The product is
*  taken in 64 bits so that masks wider than 24 bits still give 0..255.
*  A mask of 0 selects nothing and gives 0.
*
*  The shift is found once per mask, and for masks of up to 16 bits the
*  scaled values are looked up in a table instead of divided per pixel.
*/
typedef struct {
  U32 Mask;
  int Shift;
  U32 Max;             /* the mask shifted down */
  U8  aLevel[65536];   /* scaled value of each shifted value up to Max, when Max < 65536 */
} _CHANNEL;

typedef struct {
  _CHANNEL aChannel[3];   /* red, green, blue */
} _MASKS;

static void _InitChannel(_CHANNEL* pChannel, U32 Mask) {
  pChannel->Mask  = Mask;
  pChannel->Shift = 0;
  pChannel->Max   = 0;
  if (Mask == 0) {
    return;
  }
  while ((Mask & 1) == 0) {
    Mask >>= 1;
    pChannel->Shift++;
  }
  pChannel->Max = Mask;
  if (Mask < 65536) {
    for (U32 v = 0; v <= Mask; v++) {
      pChannel->aLevel[v] = (U8)((U64)v * 255 / Mask);
    }
  }
}

static U32 _MaskedChannel(U32 Value, const _CHANNEL* pChannel) {
  if (pChannel->Mask == 0) {
    return 0;
  }
  U32 v = (Value & pChannel->Mask) >> pChannel->Shift;
  if (pChannel->Max < 65536) {
    return pChannel->aLevel[v];
  }
  return (U32)((U64)v * 255 / pChannel->Max);
}

/* Stores the colour of a masked pixel value as blue, green, red. */
static void _PutMasked(U8* pDest, U32 Value, const _MASKS* pMasks) {
  pDest[0] = (U8)_MaskedChannel(Value, &pMasks->aChannel[2]);
  pDest[1] = (U8)_MaskedChannel(Value, &pMasks->aChannel[1]);
  pDest[2] = (U8)_MaskedChannel(Value, &pMasks->aChannel[0]);
}

/* The masks are large (their tables); one set serves every decoder. */
static _MASKS _Masks;

static const _MASKS* _SetMasks(U32 MaskR, U32 MaskG, U32 MaskB) {
  _InitChannel(&_Masks.aChannel[0], MaskR);
  _InitChannel(&_Masks.aChannel[1], MaskG);
  _InitChannel(&_Masks.aChannel[2], MaskB);
  return &_Masks;
}

/*********************************************************************
*  Row decoders of the uncompressed depths: NumPixels pixels of a file
*  row into a row of the image (indices, or blue, green, red).
*/
typedef void _PFN_ROW(const U8* pSrc, U8* pDest, I32 NumPixels, const _MASKS* pMasks);

static void _Row1(const U8* pSrc, U8* pDest, I32 NumPixels, const _MASKS* pMasks) {
  (void)pMasks;
  for (I32 x = 0; x < NumPixels; x++) {
    pDest[x] = (U8)((pSrc[x / 8] >> (7 - x % 8)) & 1);
  }
}

static void _Row4(const U8* pSrc, U8* pDest, I32 NumPixels, const _MASKS* pMasks) {
  (void)pMasks;
  for (I32 x = 0; x < NumPixels; x++) {
    U8 Byte = pSrc[x / 2];
    pDest[x] = (x & 1) ? (U8)(Byte & 15) : (U8)(Byte >> 4);
  }
}

static void _Row8(const U8* pSrc, U8* pDest, I32 NumPixels, const _MASKS* pMasks) {
  (void)pMasks;
  memcpy(pDest, pSrc, (size_t)NumPixels);
}

static void _Row16(const U8* pSrc, U8* pDest, I32 NumPixels, const _MASKS* pMasks) {
  for (I32 x = 0; x < NumPixels; x++, pSrc += 2, pDest += 3) {
    _PutMasked(pDest, _Get16(pSrc), pMasks);
  }
}

/* Files hold blue, green, red, as the image does. */
static void _Row24(const U8* pSrc, U8* pDest, I32 NumPixels, const _MASKS* pMasks) {
  (void)pMasks;
  memcpy(pDest, pSrc, (size_t)NumPixels * 3);
}

/* Blue, green, red and a byte that is dropped. */
static void _Row32RGB(const U8* pSrc, U8* pDest, I32 NumPixels, const _MASKS* pMasks) {
  (void)pMasks;
  for (I32 x = 0; x < NumPixels; x++, pSrc += 4, pDest += 3) {
    pDest[0] = pSrc[0];
    pDest[1] = pSrc[1];
    pDest[2] = pSrc[2];
  }
}

static void _Row32(const U8* pSrc, U8* pDest, I32 NumPixels, const _MASKS* pMasks) {
  for (I32 x = 0; x < NumPixels; x++, pSrc += 4, pDest += 3) {
    _PutMasked(pDest, _Get32(pSrc), pMasks);
  }
}

/*********************************************************************
*  _DecodeRows
*
*  Walks the file's rows in file order and decodes each into its image
*  row. Row r of the file is image row YSize - 1 - r for a positive
*  biHeight (bottom-up) and row r for a negative one. The walk ends at
*  the first pixel whose bytes are not all inside the data.
*/
static void _DecodeRows(IMAGE* pImage, const _PIXELS* pPixels, const _HEADER* pHeader,
                        int BitsPerPixel, U64 Stride, _PFN_ROW* pfnRow, const _MASKS* pMasks) {
  I32 XSize = pImage->XSize;
  I32 YSize = pImage->YSize;
  if (XSize <= 0) {
    return;
  }
  for (I32 r = 0; r < YSize; r++) {
    U64 Off = (U64)r * Stride;
    if (Off >= pPixels->NumAvail) {
      return;
    }
    U64 NumRowBytes = pPixels->NumAvail - Off;
    U64 NumWhole    = NumRowBytes * 8 / (U64)BitsPerPixel;  /* pixels whose bytes are all there */
    I32 NumPixels   = NumWhole < (U64)XSize ? (I32)NumWhole : XSize;
    I32 y = (pHeader->Height < 0) ? r : YSize - 1 - r;
    pfnRow(pPixels->pData + Off, IMAGE_GetRow(pImage, y), NumPixels, pMasks);
    if (NumPixels < XSize) {
      return;
    }
  }
}

/* Bytes of a row padded to a multiple of 4, in 64 bits so that no width
 * can overflow it. */
static U64 _PaddedStride(I32 XSize, int BitsPerPixel) {
  return ((U64)(U32)XSize * (U64)BitsPerPixel + 31) / 32 * 4;
}

/* The three BI_BITFIELDS masks and the pixels. Behind most headers the
 * masks open the pixel data; the 108- and 124-byte headers that today's
 * writers use hold them at bytes 40 to 51 themselves, and the pixels
 * follow the colour table directly. */
static _PIXELS _ReadMasks(const _PIXELS* pPixels, const _HEADER* pHeader, const _MASKS** ppMasks) {
  if (pHeader->HasMasks) {
    *ppMasks = _SetMasks(pHeader->aMask[0], pHeader->aMask[1], pHeader->aMask[2]);
    return *pPixels;
  }
  U32 aMask[3];
  for (int i = 0; i < 3; i++) {
    aMask[i] = _GetLE(pPixels->pData, pPixels->NumAvail, 4 * (U64)i, 4);
  }
  *ppMasks = _SetMasks(aMask[0], aMask[1], aMask[2]);
  _PIXELS Behind;
  U64 Skip = pPixels->NumAvail < 12 ? pPixels->NumAvail : 12;
  Behind.pData    = pPixels->pData + Skip;
  Behind.NumAvail = pPixels->NumAvail - Skip;
  return Behind;
}

/*********************************************************************
*  The decoders, one per depth and compression
*/
static const char* _Load1BPP(IMAGE* pImage, const _PIXELS* pPixels, const _HEADER* pHeader) {
  _DecodeRows(pImage, pPixels, pHeader, 1, _PaddedStride(pImage->XSize, 1), _Row1, NULL);
  IMAGE_ShowStatus("Loaded 1 bpp bitmap");
  return NULL;
}

static const char* _Load4BPPUncompressed(IMAGE* pImage, const _PIXELS* pPixels, const _HEADER* pHeader) {
  _DecodeRows(pImage, pPixels, pHeader, 4, _PaddedStride(pImage->XSize, 4), _Row4, NULL);
  IMAGE_ShowStatus("Loaded uncompressed 4 bpp bitmap");
  return NULL;
}

static const char* _Load8BPPUncompressed(IMAGE* pImage, const _PIXELS* pPixels, const _HEADER* pHeader) {
  _DecodeRows(pImage, pPixels, pHeader, 8, _PaddedStride(pImage->XSize, 8), _Row8, NULL);
  IMAGE_ShowStatus("Loaded uncompressed 8 bpp bitmap");
  return NULL;
}

static const char* _Load16BPPRGB(IMAGE* pImage, const _PIXELS* pPixels, const _HEADER* pHeader) {
  const _MASKS* pMasks = _SetMasks(0x7C00, 0x03E0, 0x001F);
  _DecodeRows(pImage, pPixels, pHeader, 16, _PaddedStride(pImage->XSize, 16), _Row16, pMasks);
  IMAGE_ShowStatus("Loaded 16 bpp bitmap (RGB)");
  return NULL;
}

static const char* _Load16BPPBitfields(IMAGE* pImage, const _PIXELS* pPixels, const _HEADER* pHeader) {
  const _MASKS* pMasks;
  _PIXELS Pixels = _ReadMasks(pPixels, pHeader, &pMasks);
  _DecodeRows(pImage, &Pixels, pHeader, 16, _PaddedStride(pImage->XSize, 16), _Row16, pMasks);
  IMAGE_ShowStatus("Loaded 16 bpp bitmap (Bitfields)");
  return NULL;
}

static const char* _Load24BPP(IMAGE* pImage, const _PIXELS* pPixels, const _HEADER* pHeader) {
  _DecodeRows(pImage, pPixels, pHeader, 24, _PaddedStride(pImage->XSize, 24), _Row24, NULL);
  IMAGE_ShowStatus("Loaded 24 bpp bitmap");
  return NULL;
}

static const char* _Load32BPPRGB(IMAGE* pImage, const _PIXELS* pPixels, const _HEADER* pHeader) {
  _DecodeRows(pImage, pPixels, pHeader, 32, (U64)(U32)pImage->XSize * 4, _Row32RGB, NULL);
  IMAGE_ShowStatus("Loaded 32 bpp bitmap (RGB)");
  return NULL;
}

static const char* _Load32BPPBitfields(IMAGE* pImage, const _PIXELS* pPixels, const _HEADER* pHeader) {
  const _MASKS* pMasks;
  _PIXELS Pixels = _ReadMasks(pPixels, pHeader, &pMasks);
  _DecodeRows(pImage, &Pixels, pHeader, 32, (U64)(U32)pImage->XSize * 4, _Row32, pMasks);
  IMAGE_ShowStatus("Loaded 32 bpp bitmap (BITFIELDS)");
  return NULL;
}

/*********************************************************************
*  _Decode: picks the decoder by depth and compression. NumMissing is
*  handed on to the run-length decoders only: for every other decoder
*  zero bytes give the pixels that an untouched image already holds.
*/
static const char* _Decode(IMAGE* pImage, const _PIXELS* pPixels, U32 NumMissing, const _HEADER* pHeader) {
  U32 NumAvail = (U32)pPixels->NumAvail;
  switch (pHeader->BitCount) {
  case 1:
    return _Load1BPP(pImage, pPixels, pHeader);
  case 4:
    if (pHeader->Compression == 0) {
      return _Load4BPPUncompressed(pImage, pPixels, pHeader);
    }
    if (pHeader->Compression == 2) {
      return DecompressRLE4Ex(pImage, pPixels->pData, pHeader->SizeImage, NumAvail, NumMissing);
    }
    return "4 BPP bitmap - Unknown compression format (should be BI_RGB or BI_RLE4)";
  case 8:
    if (pHeader->Compression == 0) {
      return _Load8BPPUncompressed(pImage, pPixels, pHeader);
    }
    if (pHeader->Compression == 1) {
      return DecompressRLE8Ex(pImage, pPixels->pData, pHeader->SizeImage, NumAvail, NumMissing);
    }
    return "8 BPP bitmap - Unknown compression format (should be BI_RGB or BI_RLE8)";
  case 16:
    if (pHeader->Compression == 0) {
      return _Load16BPPRGB(pImage, pPixels, pHeader);
    }
    if (pHeader->Compression == 3) {
      return _Load16BPPBitfields(pImage, pPixels, pHeader);
    }
    return "16 BPP bitmap - Unknown compression format (should be BI_RGB or BI_RLE8)";
  case 24:
    return _Load24BPP(pImage, pPixels, pHeader);
  default: /* 32 */
    if (pHeader->Compression == 0) {
      return _Load32BPPRGB(pImage, pPixels, pHeader);
    }
    if (pHeader->Compression == 3) {
      return _Load32BPPBitfields(pImage, pPixels, pHeader);
    }
    return "32 BPP bitmap - Unknown compression format (should be BI_RGB or BI_RLE8)";
  }
}

/*********************************************************************
*  Public
*/
IMAGE* IMAGE_CreateFromShortDIB(const U8* pDIB, U32 NumBytes, U32 NumMissing) {
  _HEADER Header;
  Header.Size        = _GetLE(pDIB, NumBytes, 0, 4);
  Header.Width       = (I32)_GetLE(pDIB, NumBytes, 4, 4);
  Header.Height      = (I32)_GetLE(pDIB, NumBytes, 8, 4);
  Header.BitCount    = _GetLE(pDIB, NumBytes, 14, 2);
  Header.Compression = _GetLE(pDIB, NumBytes, 16, 4);
  Header.SizeImage   = (I32)_GetLE(pDIB, NumBytes, 20, 4);
  Header.ClrUsed     = _GetLE(pDIB, NumBytes, 32, 4);
  Header.HasMasks    = Header.Size == 108 || Header.Size == 124;
  for (int i = 0; i < 3; i++) {
    Header.aMask[i] = _GetLE(pDIB, NumBytes, 40 + 4 * (U64)i, 4);
  }
  U32 Bits = Header.BitCount;
  if (Bits == 0) {
    IMAGE_ShowError("BITMAPINFOHEADER: biBitCount = 0 (JPEG format) not supported. Please convert image !");
    return NULL;
  }
  if (Bits != 1 && Bits != 4 && Bits != 8 && Bits != 16 && Bits != 24 && Bits != 32) {
    IMAGE_ShowError("Error in BITMAPINFOHEADER: biBitCount should be 0, 1, 4, 8, 16, 24 or 32");
    return NULL;
  }
  U32 NumColors = 0;
  if (Bits <= 8) {
    NumColors = Header.ClrUsed ? Header.ClrUsed : (1u << Bits);
  }
  /* The height's absolute value; that of -2^31 does not fit and stays
   * negative, which IMAGE_Create refuses like any other absurd size. */
  I32 YSize = Header.Height;
  if (YSize < 0) {
    YSize = (YSize == INT32_MIN) ? INT32_MIN : -YSize;
  }
  /* Counts above 256 (also those beyond the signed range) are refused
   * by IMAGE_Create with its message. */
  IMAGE* pImage = IMAGE_Create(Header.Width, YSize, (I32)NumColors);
  if (pImage == NULL) {
    return NULL;
  }
  U64 Off = Header.Size;
  for (U32 i = 0; i < NumColors && Off < NumBytes; i++, Off += 4) {
    U32 b = _GetLE(pDIB, NumBytes, Off, 1);
    U32 g = _GetLE(pDIB, NumBytes, Off + 1, 1);
    U32 r = _GetLE(pDIB, NumBytes, Off + 2, 1);
    IMAGE_SetColor(pImage, (I32)i, r | g << 8 | b << 16);
  }
  /* The pixels start directly behind the table; where that lies past the
   * bytes at hand, as much of the missing part as remains counts. */
  U64 PixOff   = (U64)Header.Size + 4 * (U64)NumColors;
  U64 NumTotal = (U64)NumBytes + NumMissing;
  _PIXELS Pixels;
  if (PixOff < NumBytes) {
    Pixels.pData    = pDIB + PixOff;
    Pixels.NumAvail = NumBytes - PixOff;
  } else {
    Pixels.pData    = pDIB + NumBytes;
    Pixels.NumAvail = 0;
  }
  U64 Start = PixOff > NumBytes ? PixOff : NumBytes;
  U32 NumPixMissing = Start < NumTotal ? (U32)(NumTotal - Start) : 0;
  const char* sError = _Decode(pImage, &Pixels, NumPixMissing, &Header);
  if (sError) {
    IMAGE_ShowError(sError);
    IMAGE_Free(pImage);
    return NULL;
  }
  return pImage;
}

IMAGE* IMAGE_CreateFromDIB(const U8* pDIB, U32 NumBytes) {
  return IMAGE_CreateFromShortDIB(pDIB, NumBytes, 0);
}
