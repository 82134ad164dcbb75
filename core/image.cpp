/*
 * The in-memory picture. Two blocks make a DIB that drawing calls take as
 * it stands: the info block (BITMAPINFOHEADER and colour table) and the
 * pixel store (rows bottom-up, each padded to a multiple of 4 bytes).
 */
#include "image.h"

#include <stdio.h>
#include <string.h>

#include "../platform/plat.h"

static IMAGE_PFN_TEXT* _pfnStatus;
static IMAGE_PFN_TEXT* _pfnError;
static const char*     _sVersion = "";

/*********************************************************************
*  Little-endian field helpers for the info block
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

static I32 _Get32(const U8* p) {
  return (I32)((U32)p[0] | (U32)p[1] << 8 | (U32)p[2] << 16 | (U32)p[3] << 24);
}

/* Writes a BITMAPINFOHEADER; the fields that are always 0 stay as the
 * zero-filled destination has them. */
static void _WriteInfoHeader(U8* p, I32 XSize, I32 YSize, I32 BitCount, U32 SizeImage, I32 NumColors) {
  _Put32(p + 0, 40);
  _Put32(p + 4, (U32)XSize);
  _Put32(p + 8, (U32)YSize);
  _Put16(p + 12, 1);
  _Put16(p + 14, (U32)BitCount);
  _Put32(p + 16, 0);                /* BI_RGB */
  _Put32(p + 20, SizeImage);
  _Put32(p + 24, 0);
  _Put32(p + 28, 0);
  _Put32(p + 32, (U32)NumColors);
  _Put32(p + 36, 0);
}

static U8* _GetRowPtr(const IMAGE* pImage, I32 y) {
  I32 Height = _Get32(pImage->pInfo + 8);
  return pImage->pData + (size_t)(Height - 1 - y) * (size_t)pImage->BytesPerLine;
}

/*********************************************************************
*  Creation
*/
int IMAGE_IsSizeValid(I32 XSize, I32 YSize, I32 NumColors) {
  if (XSize < 0 || YSize < 0 || NumColors < 0 || NumColors > 256) {
    return 0;
  }
  /* Each side is bounded too, so that a row of an image with no rows
   * still has a size that BytesPerLine can hold. */
  return XSize <= IMAGE_MAX_PIXELS && YSize <= IMAGE_MAX_PIXELS
      && (int64_t)XSize * YSize <= IMAGE_MAX_PIXELS;
}

IMAGE* IMAGE_Create(I32 XSize, I32 YSize, I32 NumColors) {
  if (NumColors < 0 || NumColors > 256) {
    IMAGE_ShowError("Only palettes with up to 256 entries supported!");
    return NULL;
  }
  if (!IMAGE_IsSizeValid(XSize, YSize, NumColors)) {
    char ac[100];
    snprintf(ac, sizeof(ac), "Image size %d * %d not supported", (int)XSize, (int)YSize);
    IMAGE_ShowError(ac);
    return NULL;
  }
  IMAGE* pImage = (IMAGE*)PLAT_Alloc(sizeof(IMAGE));
  if (pImage == NULL) {
    IMAGE_ShowError("Out of memory");
    return NULL;
  }
  pImage->XSize        = XSize;
  pImage->YSize        = YSize;
  pImage->NumColors    = NumColors;
  pImage->BitsPerPixel = NumColors ? 8 : 24;
  pImage->BytesPerLine = (I32)(((int64_t)pImage->BitsPerPixel * XSize + 31) / 32 * 4);
  size_t NumDataBytes  = (size_t)pImage->BytesPerLine * (size_t)YSize;
  pImage->pData = (U8*)PLAT_Alloc(NumDataBytes);
  pImage->pInfo = (U8*)PLAT_Alloc(40 + 4 * (size_t)NumColors);
  if (pImage->pData == NULL || pImage->pInfo == NULL) {
    IMAGE_Free(pImage);
    IMAGE_ShowError("Out of memory");
    return NULL;
  }
  _WriteInfoHeader(pImage->pInfo, XSize, YSize, pImage->BitsPerPixel, (U32)NumDataBytes, NumColors);
  return pImage;
}

void IMAGE_Free(IMAGE* pImage) {
  if (pImage == NULL) {
    return;
  }
  PLAT_Free(pImage->pData);
  PLAT_Free(pImage->pInfo);
  PLAT_Free(pImage->pColorCount);
  PLAT_Free(pImage);
}

IMAGE* IMAGE_Copy(const IMAGE* pImage) {
  IMAGE* pCopy = IMAGE_Create(pImage->XSize, pImage->YSize, pImage->NumColors);
  if (pCopy == NULL) {
    return NULL;
  }
  for (I32 i = 0; i < pImage->NumColors; i++) {
    IMAGE_SetColor(pCopy, i, IMAGE_GetColor(pImage, i));
  }
  /* Same layout on both sides, so whole rows can go at once; the result
   * is that of copying pixel by pixel. */
  memcpy(pCopy->pData, pImage->pData, (size_t)pImage->BytesPerLine * (size_t)pImage->YSize);
  return pCopy;
}

/*********************************************************************
*  Pixels and palette
*/
U8* IMAGE_GetRow(const IMAGE* pImage, I32 y) {
  return _GetRowPtr(pImage, y);
}

U32 IMAGE_GetPixel(const IMAGE* pImage, I32 x, I32 y) {
  if (y >= pImage->YSize || x >= pImage->XSize) {
    return 0;
  }
  const U8* pRow = _GetRowPtr(pImage, y);
  if (pImage->BitsPerPixel == 8) {
    return pRow[x];
  }
  const U8* p = pRow + 3 * x;
  return (U32)p[0] << 16 | (U32)p[1] << 8 | (U32)p[2];
}

void IMAGE_SetPixel(IMAGE* pImage, I32 x, I32 y, U32 Value) {
  if (y >= pImage->YSize || x >= pImage->XSize) {
    return;
  }
  U8* pRow = _GetRowPtr(pImage, y);
  if (pImage->BitsPerPixel == 8) {
    pRow[x] = (U8)Value;
    return;
  }
  U8* p = pRow + 3 * x;
  p[0] = (U8)(Value >> 16);
  p[1] = (U8)(Value >> 8);
  p[2] = (U8)Value;
}

U32 IMAGE_GetIndex(const IMAGE* pImage, I32 x, I32 y) {
  U32 v = IMAGE_GetPixel(pImage, x, y);
  return (I32)v < pImage->NumColors ? v : 0;
}

U32 IMAGE_GetPixelColor(const IMAGE* pImage, I32 x, I32 y) {
  if (pImage->NumColors) {
    /* An index beyond the palette (from a malformed file) reads as entry
     * 0 rather than past the colour table, as the writers pack it. */
    return IMAGE_GetColor(pImage, (I32)IMAGE_GetIndex(pImage, x, y));
  }
  return IMAGE_GetPixel(pImage, x, y);
}

U32 IMAGE_GetColor(const IMAGE* pImage, I32 Index) {
  const U8* p = pImage->pInfo + 40 + 4 * Index;
  return (U32)p[2] | (U32)p[1] << 8 | (U32)p[0] << 16 | (U32)p[3] << 24;
}

void IMAGE_SetColor(IMAGE* pImage, I32 Index, U32 Color) {
  U8* p = pImage->pInfo + 40 + 4 * Index;
  p[0] = (U8)(Color >> 16);
  p[1] = (U8)(Color >> 8);
  p[2] = (U8)Color;
  p[3] = (U8)(Color >> 24);
}

I32 IMAGE_GetXSize(const IMAGE* pImage)         { return pImage->XSize; }
I32 IMAGE_GetYSize(const IMAGE* pImage)         { return pImage->YSize; }
I32 IMAGE_GetNumColors(const IMAGE* pImage)     { return pImage->NumColors; }
I32 IMAGE_GetBitsPerPixel(const IMAGE* pImage)  { return pImage->BitsPerPixel; }
I32 IMAGE_GetHasTrans(const IMAGE* pImage)      { return pImage->HasTrans; }
I32 IMAGE_GetColorTableSize(const IMAGE* pImage){ return pImage->NumColors * 4; }

/*********************************************************************
*  Exported DIB block: the smallest of 1, 4, 8 bits that holds the
*  palette, or 24 bits for true colour.
*/
static void _GetDIBFormat(const IMAGE* pImage, I32* pBitCount, I32* pBytesPerRow) {
  I32 n = pImage->NumColors;
  I32 x = pImage->XSize;
  if (n == 0) {
    *pBitCount = 24;
    *pBytesPerRow = (3 * x + 3) / 4 * 4;
  } else if (n <= 2) {
    *pBitCount = 1;
    *pBytesPerRow = (x + 31) / 32 * 4;
  } else if (n <= 16) {
    *pBitCount = 4;
    *pBytesPerRow = (x + 7) / 8 * 4;
  } else {
    *pBitCount = 8;
    *pBytesPerRow = (x + 3) / 4 * 4;
  }
}

I32 IMAGE_GetDIBSize(const IMAGE* pImage) {
  I32 BitCount, BytesPerRow;
  _GetDIBFormat(pImage, &BitCount, &BytesPerRow);
  return 40 + 4 * pImage->NumColors + pImage->YSize * BytesPerRow;
}

void IMAGE_WriteDIB(const IMAGE* pImage, U8* pDest) {
  I32 BitCount, BytesPerRow;
  _GetDIBFormat(pImage, &BitCount, &BytesPerRow);
  memset(pDest, 0, 40);
  _WriteInfoHeader(pDest, pImage->XSize, pImage->YSize, BitCount, 0, pImage->NumColors);
  U8* p = pDest + 40;
  for (I32 i = 0; i < pImage->NumColors; i++) {
    U32 c = IMAGE_GetColor(pImage, i);
    *p++ = (U8)(c >> 16);
    *p++ = (U8)(c >> 8);
    *p++ = (U8)c;
    *p++ = 0;
  }
  /* Indices are packed through IMAGE_GetIndex and masked to the depth, so
   * a malformed index never spills into the neighbouring pixels. */
  for (I32 y = pImage->YSize - 1; y >= 0; y--) {
    U8* pRow = p;
    I32 x = 0;
    switch (BitCount) {
    case 1:
      while (x < pImage->XSize) {
        U8 Byte = 0;
        for (int i = 0; i < 8; i++) {
          Byte = (U8)(Byte << 1 | (IMAGE_GetIndex(pImage, x++, y) & 1));
        }
        *pRow++ = Byte;
      }
      break;
    case 4:
      while (x < pImage->XSize) {
        U8 Hi = (U8)(IMAGE_GetIndex(pImage, x++, y) & 15);
        U8 Lo = (U8)(IMAGE_GetIndex(pImage, x++, y) & 15);
        *pRow++ = (U8)(Hi << 4 | Lo);
      }
      break;
    case 8:
      for (; x < pImage->XSize; x++) {
        *pRow++ = (U8)IMAGE_GetIndex(pImage, x, y);
      }
      break;
    default:
      for (; x < pImage->XSize; x++) {
        U32 c = IMAGE_GetPixel(pImage, x, y);
        *pRow++ = (U8)(c >> 16);
        *pRow++ = (U8)(c >> 8);
        *pRow++ = (U8)c;
      }
      break;
    }
    p += BytesPerRow;
  }
}

/*********************************************************************
*  Reports
*/
void IMAGE_SetHooks(IMAGE_PFN_TEXT* pfnStatus, IMAGE_PFN_TEXT* pfnError, const char* sVersion) {
  _pfnStatus = pfnStatus;
  _pfnError  = pfnError;
  _sVersion  = sVersion ? sVersion : "";
}

const char* IMAGE_GetVersion(void) {
  return _sVersion;
}

void IMAGE_ShowStatus(const char* sText) {
  if (_pfnStatus && sText) {
    _pfnStatus(sText);
  }
}

void IMAGE_ShowError(const char* sText) {
  if (sText == NULL) {
    return;
  }
  if (_pfnError) {
    _pfnError(sText);
    return;
  }
  PLAT_MessageBox(sText, "Error occured", PLAT_ICON_ERROR, PLAT_BUTTONS_OK, PLAT_ID_OK);
}
