/*
 * PNG reader on libspng, row by row, so that no buffer of the whole file
 * or of the whole decoded picture exists beside the image itself.
 *
 * - Palette files keep the file's palette in order; the first entry whose
 *   alpha is below 128 becomes the transparent entry 0, as for GIF.
 * - Grey files become palette images of their 2, 4, 16 or 256 grey levels
 *   (16-bit samples keep their high byte).
 * - Colour files become true-colour images (16-bit samples likewise).
 * - A grey or colour file in which pixels have alpha below 128 (alpha
 *   channel or tRNS colour key) becomes a palette image: entry 0 the
 *   transparent colour, the others the opaque colours, at most 255 of
 *   them. Pixels with alpha 128 and above keep their colour.
 */
#include "png.h"

#include <stdio.h>
#include <string.h>

#include <spng.h>

#include "../color/palette.h"
#include "../color/quantize.h"
#include "../color/transparency.h"

/* No chunk that the reader needs comes near this size; the limits keep
 * a hostile file from making libspng hold large ancillary chunks. */
#define PNG_MAX_CHUNK_BYTES  (8u << 20)
#define PNG_MAX_CACHE_BYTES  (32u << 20)

static const U8 _aPassXStart[7] = { 0, 4, 0, 2, 0, 1, 0 };
static const U8 _aPassXStep[7]  = { 8, 8, 4, 4, 2, 2, 1 };

typedef struct {
  PLAT_FILE* hFile;
} PNG_STREAM;

static void _ShowLibError(const char* sWhat, int Error) {
  char ac[160];
  snprintf(ac, sizeof(ac), "%s: %s", sWhat, spng_strerror(Error));
  IMAGE_ShowError(ac);
}

static int _ReadStream(spng_ctx* pCtx, void* pUser, void* pDest, size_t NumBytes) {
  (void)pCtx;
  PNG_STREAM* pStream = (PNG_STREAM*)pUser;
  U8* p = (U8*)pDest;
  while (NumBytes) {
    U32 NumAsked = NumBytes > 0x1000000u ? 0x1000000u : (U32)NumBytes;
    U32 NumGot   = PLAT_Read(pStream->hFile, p, NumAsked);
    if (NumGot < NumAsked) {
      return SPNG_IO_EOF;
    }
    p        += NumGot;
    NumBytes -= NumGot;
  }
  return 0;
}

/*********************************************************************
*  Transparency of grey and colour files
*/

/* A palette image of pSrc with at most MaxColors colours, taken from the
 * opaque pixels gathered in pOpaque (one row). Consumes pSrc. */
static IMAGE* _IntoOpaquePalette(IMAGE* pSrc, IMAGE* pOpaque, I32 MaxColors, int* pIsReduced) {
  static U32 _aColor[256];
  I32 NumUsed = IMAGE_CountColors(pOpaque);
  *pIsReduced = NumUsed > MaxColors;
  if (NumUsed > MaxColors) {
    /* Too many opaque colours: the optimal palette of them. Should it
     * fail (it reports why), the most frequent colours are kept. */
    IMAGE* pCopy = IMAGE_Copy(pOpaque);
    IMAGE* pReduced = pCopy ? CONVERT_IntoOptimalPalette(pCopy, MaxColors) : NULL;
    if (pReduced) {
      NumUsed = pReduced->NumColors;
      for (I32 i = 0; i < NumUsed; i++) {
        _aColor[i] = IMAGE_GetColor(pReduced, i);
      }
      IMAGE_Free(pReduced);
      PALETTE Palette = { NumUsed, _aColor };
      return CONVERT_IntoPalette(pSrc, &Palette);
    }
    IMAGE_Free(pCopy);
    NumUsed = MaxColors;
  }
  for (I32 i = 0; i < NumUsed; i++) {
    _aColor[i] = IMAGE_GetUsedColor(pOpaque, i);
  }
  PALETTE Palette = { NumUsed, _aColor };
  return CONVERT_IntoPalette(pSrc, &Palette);
}

/* Builds the palette image with the transparent colour in entry 0 from
 * the decoded image and the mask of pixels with alpha below 128 (one byte
 * a pixel, top row first). Consumes pSrc. */
static IMAGE* _MapTransparent(IMAGE* pSrc, const U8* aMask, U32 TransColor) {
  I32 XSize = pSrc->XSize;
  I32 YSize = pSrc->YSize;
  I32 NumOpaque = 0;
  for (int64_t i = 0; i < (int64_t)XSize * YSize; i++) {
    NumOpaque += !aMask[i];
  }
  IMAGE* pPal  = NULL;
  int    IsReduced = 0;
  if (NumOpaque) {
    if (!IMAGE_IsSizeValid(NumOpaque, 1, 0)) {
      IMAGE_Free(pSrc);
      IMAGE_ShowError("Out of memory");
      return NULL;
    }
    IMAGE* pOpaque = IMAGE_Create(NumOpaque, 1, 0);
    if (pOpaque == NULL) {
      IMAGE_Free(pSrc);
      return NULL;
    }
    I32 n = 0;
    for (I32 y = 0; y < YSize; y++) {
      for (I32 x = 0; x < XSize; x++) {
        if (!aMask[(int64_t)y * XSize + x]) {
          IMAGE_SetPixel(pOpaque, n++, 0, IMAGE_GetPixelColor(pSrc, x, y));
        }
      }
    }
    pPal = _IntoOpaquePalette(pSrc, pOpaque, 255, &IsReduced);
    IMAGE_Free(pOpaque);
    if (pPal == NULL) {
      IMAGE_Free(pSrc);    /* a conversion that fails leaves it to us */
      return NULL;
    }
  } else {
    IMAGE_Free(pSrc);
  }
  I32 NumColors = pPal ? pPal->NumColors : 0;
  IMAGE* pImage = IMAGE_Create(XSize, YSize, NumColors + 1);
  if (pImage) {
    IMAGE_SetColor(pImage, 0, TransColor);
    for (I32 i = 0; i < NumColors; i++) {
      IMAGE_SetColor(pImage, i + 1, IMAGE_GetColor(pPal, i));
    }
    for (I32 y = 0; y < YSize; y++) {
      for (I32 x = 0; x < XSize; x++) {
        if (!aMask[(int64_t)y * XSize + x]) {
          IMAGE_SetPixel(pImage, x, y, IMAGE_GetPixel(pPal, x, y) + 1);
        }
      }
    }
    IMAGE_SetTransparency(pImage, 1);
    IMAGE_ShowStatus(IsReduced ? "Transparent pixels mapped to palette entry 0, opaque colours reduced to 255"
                               : "Transparent pixels mapped to palette entry 0");
  }
  IMAGE_Free(pPal);
  return pImage;
}

/*********************************************************************
*  Decoding
*/

/* Pixel x of a row as the file stores it, at 1, 2, 4 or 8 bits. */
static U32 _GetPacked(const U8* pRow, I32 x, int BitDepth) {
  if (BitDepth == 8) {
    return pRow[x];
  }
  int64_t Bit   = (int64_t)x * BitDepth;
  int     Shift = 8 - BitDepth - (int)(Bit & 7);
  return (U32)(pRow[Bit >> 3] >> Shift) & ((1u << BitDepth) - 1);
}

static IMAGE* _Decode(spng_ctx* pCtx) {
  spng_set_chunk_limits(pCtx, PNG_MAX_CHUNK_BYTES, PNG_MAX_CACHE_BYTES);
  struct spng_ihdr Ihdr;
  int Error = spng_get_ihdr(pCtx, &Ihdr);
  if (Error) {
    _ShowLibError("PNG header could not be read", Error);
    return NULL;
  }
  /* libspng holds widths and heights below 2^31. */
  I32  XSize      = (I32)Ihdr.width;
  I32  YSize      = (I32)Ihdr.height;
  int  IsIndexed  = Ihdr.color_type == SPNG_COLOR_TYPE_INDEXED;
  int  IsGrey     = Ihdr.color_type == SPNG_COLOR_TYPE_GRAYSCALE
                 || Ihdr.color_type == SPNG_COLOR_TYPE_GRAYSCALE_ALPHA;
  I32  NumColors  = 0;
  if (IsGrey) {
    NumColors = Ihdr.bit_depth <= 8 ? 1 << Ihdr.bit_depth : 256;
  }
  struct spng_plte Plte;
  if (IsIndexed) {
    Error = spng_get_plte(pCtx, &Plte);
    if (Error) {
      _ShowLibError("PNG palette could not be read", Error);
      return NULL;
    }
    NumColors = (I32)Plte.n_entries;
  }
  /* Grey and colour files with transparent pixels need a byte of mask a
   * pixel beside the image: 8 bits a pixel, as a palette image. */
  if (!IMAGE_IsSizeValid(XSize, YSize, NumColors) || !IMAGE_IsSizeValid(XSize, YSize, 256)) {
    char ac[100];
    snprintf(ac, sizeof(ac), "Image size %d * %d not supported", (int)XSize, (int)YSize);
    IMAGE_ShowError(ac);
    return NULL;
  }
  int    Fmt   = IsIndexed ? SPNG_FMT_PNG : SPNG_FMT_RGBA8;
  int    Flags = IsIndexed ? 0 : SPNG_DECODE_TRNS;
  size_t NumImageBytes = 0;
  Error = spng_decoded_image_size(pCtx, Fmt, &NumImageBytes);
  if (Error == 0) {
    Error = spng_decode_image(pCtx, NULL, 0, Fmt, Flags | SPNG_DECODE_PROGRESSIVE);
  }
  if (Error) {
    _ShowLibError("PNG image could not be read", Error);
    return NULL;
  }
  size_t NumRowBytes = NumImageBytes / (size_t)YSize;
  U8* pRow = (U8*)PLAT_Alloc(NumRowBytes);
  IMAGE* pImage = pRow ? IMAGE_Create(XSize, YSize, NumColors) : NULL;
  if (pImage == NULL) {
    if (pRow == NULL) {
      IMAGE_ShowError("Out of memory");
    }
    PLAT_Free(pRow);
    return NULL;
  }
  if (IsIndexed) {
    for (I32 i = 0; i < NumColors; i++) {
      const struct spng_plte_entry* p = &Plte.entries[i];
      IMAGE_SetColor(pImage, i, (U32)p->red | (U32)p->green << 8 | (U32)p->blue << 16);
    }
  } else if (IsGrey) {
    for (I32 i = 0; i < NumColors; i++) {
      U32 Grey = (U32)(i * 255 / (NumColors - 1));
      IMAGE_SetColor(pImage, i, Grey | Grey << 8 | Grey << 16);
    }
  }
  U8* aMask      = NULL;    /* made when the first transparent pixel comes */
  U32 TransColor = 0;
  for (;;) {
    struct spng_row_info Info;
    Error = spng_get_row_info(pCtx, &Info);
    if (Error == 0) {
      /* Below 8 bits libspng ors the pixels of a pass into the row. */
      memset(pRow, 0, NumRowBytes);
      Error = spng_decode_row(pCtx, pRow, NumRowBytes);
    }
    if (Error != 0 && Error != SPNG_EOI) {
      break;
    }
    /* A row of an interlaced pass holds that pass's pixels at their
     * places in the row; the other places hold what earlier rows left. */
    I32 x0 = 0, Step = 1;
    if (Ihdr.interlace_method && Info.pass >= 0 && Info.pass < 7) {
      x0   = _aPassXStart[Info.pass];
      Step = _aPassXStep[Info.pass];
    }
    I32 y = (I32)Info.row_num;
    for (I32 x = x0; x < XSize; x += Step) {
      if (IsIndexed) {
        IMAGE_SetPixel(pImage, x, y, _GetPacked(pRow, x, Ihdr.bit_depth));
        continue;
      }
      const U8* p = pRow + 4 * (size_t)x;
      U32 Color = (U32)p[0] | (U32)p[1] << 8 | (U32)p[2] << 16;
      if (p[3] < 128) {
        if (aMask == NULL) {
          aMask = (U8*)PLAT_Alloc((size_t)XSize * (size_t)YSize);
          if (aMask == NULL) {
            Error = SPNG_EMEM;
            break;
          }
          TransColor = Color;
        }
        aMask[(size_t)y * (size_t)XSize + (size_t)x] = 1;
      }
      /* Grey samples come scaled to 8 bits: level i is i * 255 / (levels - 1). */
      IMAGE_SetPixel(pImage, x, y, IsGrey ? p[0] * (U32)(NumColors - 1) / 255 : Color);
    }
    if (Error) {
      break;
    }
  }
  PLAT_Free(pRow);
  if (Error == SPNG_EOI) {
    /* The checksum of the last image data chunk is tested here. What
     * follows the image data is not needed and may be cut off. */
    Error = spng_decode_chunks(pCtx);
    Error = (Error == SPNG_ECHUNK_CRC) ? Error : SPNG_EOI;
  }
  if (Error != SPNG_EOI) {
    PLAT_Free(aMask);
    IMAGE_Free(pImage);
    _ShowLibError("PNG image could not be read", Error);
    return NULL;
  }
  if (IsIndexed) {
    struct spng_trns Trns;
    if (spng_get_trns(pCtx, &Trns) == 0) {
      for (U32 i = 0; i < Trns.n_type3_entries && (I32)i < NumColors; i++) {
        if (Trns.type3_alpha[i] < 128) {
          IMAGE_SetTransparency(pImage, (int)i + 1);
          IMAGE_ShowStatus("Transparent pixels mapped to palette entry 0");
          break;
        }
      }
    }
  } else if (aMask) {
    pImage = _MapTransparent(pImage, aMask, TransColor);
  }
  PLAT_Free(aMask);
  return pImage;
}

/*********************************************************************
*  Public
*/
IMAGE* PNG_LoadFromMemory(const U8* pData, U32 NumBytes) {
  if (pData == NULL) {
    return NULL;
  }
  spng_ctx* pCtx = spng_ctx_new(0);
  if (pCtx == NULL) {
    IMAGE_ShowError("Out of memory");
    return NULL;
  }
  IMAGE* pImage = NULL;
  int Error = spng_set_png_buffer(pCtx, pData, NumBytes);
  if (Error) {
    _ShowLibError("PNG file could not be read", Error);
  } else {
    pImage = _Decode(pCtx);
  }
  spng_ctx_free(pCtx);
  return pImage;
}

IMAGE* PNG_LoadFile(PLAT_FILE* hFile) {
  spng_ctx* pCtx = spng_ctx_new(0);
  if (pCtx == NULL) {
    IMAGE_ShowError("Out of memory");
    return NULL;
  }
  PNG_STREAM Stream = { hFile };
  IMAGE* pImage = NULL;
  int Error = spng_set_png_stream(pCtx, _ReadStream, &Stream);
  if (Error) {
    _ShowLibError("PNG file could not be read", Error);
  } else {
    pImage = _Decode(pCtx);
  }
  spng_ctx_free(pCtx);
  return pImage;
}
