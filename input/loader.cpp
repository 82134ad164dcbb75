/*
 * From an open file to an image. The file type number picks the reader:
 * 0 Windows Bitmap, 1 .sbmp, 2 GIF, and PNG and JPEG, which need
 * libraries that a build may lack; it then says so when asked for them.
 */
#include "loader.h"

#include <stdio.h>
#include <string.h>

#include "dib.h"
#include "gif.h"
#include "rle.h"
#ifdef ZELMAR_HAVE_PNG
#include "png.h"
#endif
#ifdef ZELMAR_HAVE_JPEG
#include "jpeg.h"
#endif

/* The block for the file's contents starts at this size and doubles while
 * the file delivers. */
#define LOADER_FIRST_BLOCK 65536u

/*********************************************************************
*  _ReadBlock
*
*  Reads up to NumWanted bytes into a new block and tells how many came.
*  bfSize comes from the file and may be anything up to 4 GiB; the block
*  therefore grows with what the file actually delivers instead of being
*  taken at bfSize at once. The part that never arrives is not held in
*  memory: the decoder reads it as zero bytes, which is what a zero-filled
*  block of the full length would hold. Null when memory runs out.
*/
static U8* _ReadBlock(PLAT_FILE* hFile, U32 NumWanted, U32* pNumRead) {
  U32 NumCap = NumWanted < LOADER_FIRST_BLOCK ? NumWanted : LOADER_FIRST_BLOCK;
  U32 NumRead = 0;
  U8* pBlock = (U8*)PLAT_Alloc(NumCap);
  if (pBlock == NULL) {
    return NULL;
  }
  for (;;) {
    U32 NumAsked = NumCap - NumRead;
    U32 NumGot   = PLAT_Read(hFile, pBlock + NumRead, NumAsked);
    NumRead += NumGot;
    if (NumGot < NumAsked || NumCap == NumWanted) {
      break;
    }
    U32 NumNewCap = (NumWanted - NumCap > NumCap) ? 2 * NumCap : NumWanted;
    U8* pNew = (U8*)PLAT_Alloc(NumNewCap);
    if (pNew == NULL) {
      PLAT_Free(pBlock);
      return NULL;
    }
    memcpy(pNew, pBlock, NumRead);
    PLAT_Free(pBlock);
    pBlock = pNew;
    NumCap = NumNewCap;
  }
  *pNumRead = NumRead;
  return pBlock;
}

/*********************************************************************
*  _LoadBMP
*
*  BITMAPFILEHEADER (14 bytes, of which only bfType and bfSize are used),
*  then bfSize - 14 bytes of packed DIB. bfOffBits is not read: where the
*  pixels lie follows from the DIB block alone. Bytes behind bfSize are
*  not read.
*/
static IMAGE* _LoadBMP(PLAT_FILE* hFile) {
  U8 aHeader[14];
  if (PLAT_Read(hFile, aHeader, sizeof(aHeader)) < sizeof(aHeader)) {
    IMAGE_ShowError("File too short (truncated ?)");
    return NULL;
  }
  if (aHeader[0] != 0x42 || aHeader[1] != 0x4D) {
    IMAGE_ShowError("Illegal file header !");
    return NULL;
  }
  U32 bfSize = (U32)aHeader[2] | (U32)aHeader[3] << 8 | (U32)aHeader[4] << 16 | (U32)aHeader[5] << 24;
  if (bfSize <= sizeof(aHeader)) {
    return NULL;               /* no block, or an empty one */
  }
  U32 NumWanted = bfSize - (U32)sizeof(aHeader);
  U32 NumRead   = 0;
  U8* pBlock    = _ReadBlock(hFile, NumWanted, &NumRead);
  if (pBlock == NULL) {
    return NULL;
  }
  if (NumRead < NumWanted) {
    char ac[120];
    snprintf(ac, sizeof(ac), "File truncated ... Expected a file length of %d, Read only %d bytes.",
             (int)bfSize, (int)(NumRead + (U32)sizeof(aHeader)));
    IMAGE_ShowError(ac);
  }
  IMAGE* pImage = IMAGE_CreateFromShortDIB(pBlock, NumRead, NumWanted - NumRead);
  PLAT_Free(pBlock);
  return pImage;
}

/*********************************************************************
*  Public
*/
IMAGE* IMAGE_LoadFile(PLAT_FILE* hFile, int Type) {
  switch (Type) {
  case 0:
    return _LoadBMP(hFile);
  case 1:
    return SBMP_Load(hFile);
  case 2:
    return GIF_LoadFile(hFile);
  case LOADER_TYPE_PNG:
#ifdef ZELMAR_HAVE_PNG
    return PNG_LoadFile(hFile);
#else
    IMAGE_ShowError("PNG files are not supported by this build (libspng was missing)");
    return NULL;
#endif
  case LOADER_TYPE_JPEG:
#ifdef ZELMAR_HAVE_JPEG
    return JPEG_LoadFile(hFile);
#else
    IMAGE_ShowError("JPEG files are not supported by this build (libturbojpeg was missing)");
    return NULL;
#endif
  default:
    IMAGE_ShowError("Unsupported file type");
    return NULL;
  }
}
