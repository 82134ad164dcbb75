/*
 * Clipboard on wxWidgets. Other programs on Linux exchange pictures as
 * image/bmp (a whole Windows Bitmap file) or image/png: a copy offers
 * both, a paste prefers the first, takes a bare DIB there too, and has
 * the toolkit decode any other picture into a 24-bit block.
 */
#include "clip.h"

#include <string.h>

#include <wx/bitmap.h>
#include <wx/clipbrd.h>
#include <wx/dataobj.h>
#include <wx/image.h>
#include <wx/imagpng.h>
#include <wx/log.h>
#include <wx/mstream.h>

#include "../platform/plat.h"

#define FILE_HEADER_SIZE 14
#define INFO_HEADER_SIZE 40

static const char _sBmpType[] = "image/bmp";

static void _Put16(uint8_t* p, unsigned v) { p[0] = (uint8_t)v; p[1] = (uint8_t)(v >> 8); }
static void _Put32(uint8_t* p, uint32_t v) { _Put16(p, v & 0xFFFF); _Put16(p + 2, v >> 16); }
static uint32_t _Get32(const uint8_t* p) { return p[0] | (uint32_t)p[1] << 8 | (uint32_t)p[2] << 16 | (uint32_t)p[3] << 24; }

/* Where the rows begin in a packed DIB: behind the header and the colour
 * table (or the three masks of BI_BITFIELDS). */
static uint32_t _GetBitsOffset(const uint8_t* pDIB, uint32_t NumBytes) {
  if (NumBytes < INFO_HEADER_SIZE) {
    return NumBytes;
  }
  uint32_t HeaderSize  = _Get32(pDIB);
  unsigned BitCount    = pDIB[14] | (unsigned)pDIB[15] << 8;
  uint32_t Compression = _Get32(pDIB + 16);
  uint32_t NumColors   = _Get32(pDIB + 32);
  if (NumColors == 0 && BitCount <= 8) {
    NumColors = 1u << BitCount;
  }
  uint64_t Offset = (uint64_t)HeaderSize + 4 * (uint64_t)(NumColors > 256 ? 256 : NumColors);
  if (Compression == 3 && HeaderSize == INFO_HEADER_SIZE) {
    Offset += 12;
  }
  return Offset > NumBytes ? NumBytes : (uint32_t)Offset;
}

/* The toolkit's bitmap goes to and comes from the clipboard as PNG. */
static void _NeedPng(void) {
  if (wxImage::FindHandler(wxBITMAP_TYPE_PNG) == NULL) {
    wxImage::AddHandler(new wxPNGHandler);
  }
}

int CLIP_SetDIB(const void* pDIB, uint32_t NumBytes) {
  _NeedPng();
  if (NumBytes > 0x7FFFFFFF - FILE_HEADER_SIZE) {
    return 0;
  }
  const uint8_t* p = (const uint8_t*)pDIB;
  wxCustomDataObject* pBmp = new wxCustomDataObject(wxDataFormat(_sBmpType));
  uint8_t* pFile = (uint8_t*)pBmp->Alloc(FILE_HEADER_SIZE + NumBytes);
  memset(pFile, 0, FILE_HEADER_SIZE);
  pFile[0] = 'B';
  pFile[1] = 'M';
  _Put32(pFile + 2, FILE_HEADER_SIZE + NumBytes);
  _Put32(pFile + 10, FILE_HEADER_SIZE + _GetBitsOffset(p, NumBytes));
  memcpy(pFile + FILE_HEADER_SIZE, p, NumBytes);
  pBmp->TakeData(FILE_HEADER_SIZE + NumBytes, pFile);
  wxDataObjectComposite* pAll = new wxDataObjectComposite;
  pAll->Add(pBmp, true);
  /* The same picture as the toolkit's own bitmap, which goes out as PNG. */
  wxImage Image;
  {
    wxLogNull NoLog;
    wxMemoryInputStream Stream(pFile, FILE_HEADER_SIZE + NumBytes);
    Image.LoadFile(Stream, wxBITMAP_TYPE_BMP);
  }
  if (Image.IsOk()) {
    pAll->Add(new wxBitmapDataObject(wxBitmap(Image)));
  }
  if (!wxTheClipboard->Open()) {
    delete pAll;
    return 0;
  }
  int Done = wxTheClipboard->SetData(pAll) ? 1 : 0;
  wxTheClipboard->Close();
  return Done;
}

/* A copy of the bytes in a block of the platform's memory. */
static void* _Copy(const uint8_t* p, uint32_t NumBytes, uint32_t* pNumBytes) {
  void* pBlock = PLAT_Alloc(NumBytes ? NumBytes : 1);
  if (pBlock) {
    memcpy(pBlock, p, NumBytes);
    *pNumBytes = NumBytes;
  }
  return pBlock;
}

/* Any other picture, decoded by the toolkit, as a 24-bit BI_RGB block. */
static void* _FromImage(const wxImage& Image, uint32_t* pNumBytes) {
  int XSize = Image.GetWidth(), YSize = Image.GetHeight();
  uint64_t Stride = ((uint64_t)XSize * 3 + 3) / 4 * 4;
  uint64_t Size   = INFO_HEADER_SIZE + Stride * (uint64_t)YSize;
  if (XSize <= 0 || YSize <= 0 || Size > 0x7FFFFFFF) {
    return NULL;
  }
  uint8_t* pDIB = (uint8_t*)PLAT_Alloc((size_t)Size);
  if (pDIB == NULL) {
    return NULL;
  }
  _Put32(pDIB, INFO_HEADER_SIZE);
  _Put32(pDIB + 4, (uint32_t)XSize);
  _Put32(pDIB + 8, (uint32_t)YSize);
  _Put16(pDIB + 12, 1);
  _Put16(pDIB + 14, 24);
  const unsigned char* pRGB = Image.GetData();
  for (int y = 0; y < YSize; y++) {
    uint8_t* pRow = pDIB + INFO_HEADER_SIZE + Stride * (uint64_t)(YSize - 1 - y);
    const unsigned char* pSrc = pRGB + (size_t)y * (size_t)XSize * 3;
    for (int x = 0; x < XSize; x++) {
      pRow[3 * x]     = pSrc[3 * x + 2];
      pRow[3 * x + 1] = pSrc[3 * x + 1];
      pRow[3 * x + 2] = pSrc[3 * x];
    }
  }
  *pNumBytes = (uint32_t)Size;
  return pDIB;
}

void* CLIP_GetDIB(uint32_t* pNumBytes) {
  *pNumBytes = 0;
  _NeedPng();
  if (!wxTheClipboard->Open()) {
    return NULL;
  }
  void* pBlock = NULL;
  wxCustomDataObject Bmp{wxDataFormat(_sBmpType)};
  wxBitmapDataObject Other;
  if (wxTheClipboard->IsSupported(Bmp.GetFormat()) && wxTheClipboard->GetData(Bmp)) {
    const uint8_t* p = (const uint8_t*)Bmp.GetData();
    uint32_t NumBytes = (uint32_t)Bmp.GetSize();
    /* A file header in front of the DIB goes; a bare DIB is taken too. */
    if (NumBytes >= FILE_HEADER_SIZE && p[0] == 'B' && p[1] == 'M') {
      p += FILE_HEADER_SIZE;
      NumBytes -= FILE_HEADER_SIZE;
    }
    pBlock = _Copy(p, NumBytes, pNumBytes);
  } else if (wxTheClipboard->IsSupported(wxDF_BITMAP) && wxTheClipboard->GetData(Other)) {
    wxImage Image = Other.GetBitmap().ConvertToImage();
    if (Image.IsOk()) {
      pBlock = _FromImage(Image, pNumBytes);
    }
  }
  wxTheClipboard->Close();
  return pBlock;
}

int CLIP_HasImage(void) {
  return (wxTheClipboard->IsSupported(wxDataFormat(_sBmpType)) || wxTheClipboard->IsSupported(wxDF_BITMAP)) ? 1 : 0;
}
