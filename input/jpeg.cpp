/*
 * JPEG reader on libjpeg-turbo. The header is read first and its size
 * checked before anything is allocated; the pixels are then decoded
 * straight into the image's pixel store, whose rows are DIB rows (bottom
 * row first, blue green red, padded to 4 bytes), which the library can
 * write as they are.
 */
#include "jpeg.h"

#include <stdio.h>

#include <turbojpeg.h>

/* A JPEG file larger than this is no picture that the program can hold. */
#define JPEG_MAX_FILE_BYTES 0x7FFFFFFFu

static IMAGE* _Decode(tjhandle hJpeg, const U8* pData, U32 NumBytes) {
  int XSize = 0, YSize = 0, Subsamp = 0, ColorSpace = 0;
  if (tjDecompressHeader3(hJpeg, pData, NumBytes, &XSize, &YSize, &Subsamp, &ColorSpace) != 0) {
    char ac[200];
    snprintf(ac, sizeof(ac), "JPEG header could not be read: %s", tjGetErrorStr2(hJpeg));
    IMAGE_ShowError(ac);
    return NULL;
  }
  if (ColorSpace == TJCS_CMYK || ColorSpace == TJCS_YCCK) {
    IMAGE_ShowError("CMYK JPEG files are not supported; save the picture as RGB");
    return NULL;
  }
  int IsGrey = ColorSpace == TJCS_GRAY;
  I32 NumColors = IsGrey ? 256 : 0;
  if (!IMAGE_IsSizeValid(XSize, YSize, NumColors) || XSize == 0 || YSize == 0) {
    char ac[100];
    snprintf(ac, sizeof(ac), "Image size %d * %d not supported", XSize, YSize);
    IMAGE_ShowError(ac);
    return NULL;
  }
  IMAGE* pImage = IMAGE_Create(XSize, YSize, NumColors);
  if (pImage == NULL) {
    return NULL;
  }
  for (I32 i = 0; i < NumColors; i++) {
    IMAGE_SetColor(pImage, i, (U32)i * 0x010101u);
  }
  int Result = tjDecompress2(hJpeg, pData, NumBytes, pImage->pData, XSize, pImage->BytesPerLine, YSize,
                             IsGrey ? TJPF_GRAY : TJPF_BGR, TJFLAG_BOTTOMUP);
  /* A warning (a truncated or slightly damaged file) still gives a
   * picture, as a truncated Windows Bitmap does; an error gives none. */
  if (Result != 0 && tjGetErrorCode(hJpeg) != TJERR_WARNING) {
    char ac[200];
    snprintf(ac, sizeof(ac), "JPEG image could not be read: %s", tjGetErrorStr2(hJpeg));
    IMAGE_ShowError(ac);
    IMAGE_Free(pImage);
    return NULL;
  }
  return pImage;
}

/*********************************************************************
*  Public
*/
IMAGE* JPEG_LoadFromMemory(const U8* pData, U32 NumBytes) {
  if (pData == NULL) {
    return NULL;
  }
  tjhandle hJpeg = tjInitDecompress();
  if (hJpeg == NULL) {
    IMAGE_ShowError("Out of memory");
    return NULL;
  }
  IMAGE* pImage = _Decode(hJpeg, pData, NumBytes);
  tjDestroy(hJpeg);
  return pImage;
}

IMAGE* JPEG_LoadFile(PLAT_FILE* hFile) {
  U32 FileSize = PLAT_GetFileSize(hFile);
  U8* pData = (FileSize && FileSize <= JPEG_MAX_FILE_BYTES) ? (U8*)PLAT_Alloc(FileSize) : NULL;
  if (pData == NULL) {
    IMAGE_ShowError("Could not read file!");
    return NULL;
  }
  U32 NumRead = PLAT_Read(hFile, pData, FileSize);
  IMAGE* pImage = JPEG_LoadFromMemory(pData, NumRead);
  PLAT_Free(pData);
  return pImage;
}
