/*
 * Times every command on the largest picture the program takes (8192 x
 * 8192 by default), the readers on files of that size, the writers, and
 * two hostile files: a GIF whose frame is far larger than its screen and a
 * tiny .sbmp that declares a huge picture. Prints one line per step:
 *
 *   <what> <seconds> <status texts shown>
 *
 *   bench_limits [size] [filter]
 *
 * Only steps whose name contains the filter text run. The pictures are a
 * palette picture of random indices and a true-colour picture of smooth
 * gradients (about 130,000 distinct colours, like a photograph).
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <functional>
#include <string>
#include <vector>

#include "color/palette.h"
#include "color/truecolor.h"
#include "core/image.h"
#include "geometry/geometry.h"
#include "input/dib.h"
#include "input/gif.h"
#include "input/rle.h"
#include "output/save.h"
#include "platform/plat.h"

static long _NumStatus;
static const char* _sFilter = "";

static double _Now(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return (double)t.tv_sec + (double)t.tv_nsec * 1e-9;
}

static void _OnStatus(const char* s) {
  (void)s;
  _NumStatus++;
}

static void _OnError(const char* s) {
  fprintf(stderr, "error: %s\n", s);
}

static U32 _Rand(U32* pState) {
  *pState = *pState * 1664525u + 1013904223u;
  return *pState >> 8;
}

static IMAGE* _MakePalette(int Size, int NumColors) {
  IMAGE* pImage = IMAGE_Create(Size, Size, NumColors);
  if (pImage == NULL) {
    exit(1);
  }
  U32 State = 12345;
  for (int i = 0; i < NumColors; i++) {
    IMAGE_SetColor(pImage, i, _Rand(&State) & 0xFFFFFF);
  }
  for (int y = 0; y < Size; y++) {
    for (int x = 0; x < Size; x++) {
      IMAGE_SetPixel(pImage, x, y, (_Rand(&State) & 0xFF) % (U32)NumColors);
    }
  }
  return pImage;
}

static IMAGE* _MakeTrueColor(int Size) {
  IMAGE* pImage = IMAGE_Create(Size, Size, 0);
  if (pImage == NULL) {
    exit(1);
  }
  for (int y = 0; y < Size; y++) {
    for (int x = 0; x < Size; x++) {
      U32 r = (U32)(x * 256 / Size), g = (U32)(y * 256 / Size), b = (U32)((x + y) * 2 / Size);
      IMAGE_SetPixel(pImage, x, y, b << 16 | g << 8 | r);
    }
  }
  return pImage;
}

/* Runs Step when its name passes the filter and prints its time. */
static void _Time(const std::string& sName, const std::function<void()>& Step) {
  if (strstr(sName.c_str(), _sFilter) == NULL) {
    return;
  }
  _NumStatus = 0;
  double t0 = _Now();
  Step();
  double t1 = _Now();
  printf("%-34s %8.3f %8ld\n", sName.c_str(), t1 - t0, _NumStatus);
  fflush(stdout);
}

/*********************************************************************
*  Files in memory
*/
static void _Put16(std::string& s, U32 v) { s += (char)v; s += (char)(v >> 8); }
static void _Put32(std::string& s, U32 v) { _Put16(s, v); _Put16(s, v >> 16); }

static std::string _DIB(const IMAGE* pImage) {
  std::string s((size_t)IMAGE_GetDIBSize(pImage), '\0');
  IMAGE_WriteDIB(pImage, (U8*)&s[0]);
  return s;
}

static std::string _DIBHeader(int Size, int Bits, int Compression, U32 SizeImage, int NumColors) {
  std::string s;
  _Put32(s, 40); _Put32(s, (U32)Size); _Put32(s, (U32)Size);
  _Put16(s, 1); _Put16(s, (U32)Bits); _Put32(s, (U32)Compression); _Put32(s, SizeImage);
  _Put32(s, 0); _Put32(s, 0); _Put32(s, (U32)NumColors); _Put32(s, 0);
  for (int i = 0; i < NumColors; i++) {
    _Put32(s, (U32)i * 0x010101);
  }
  return s;
}

/* 32 bits per pixel, uncompressed. */
static std::string _DIB32(int Size) {
  std::string s = _DIBHeader(Size, 32, 0, 0, 0);
  s.resize(s.size() + (size_t)Size * Size * 4, '\x55');
  return s;
}

/* RLE8: each row as runs of 255 pixels, then end of line or of bitmap. */
static std::string _DIBRLE8(int Size) {
  std::string Data;
  for (int y = 0; y < Size; y++) {
    for (int x = 0; x < Size; x += 255) {
      int n = Size - x < 255 ? Size - x : 255;
      Data += (char)n;
      Data += (char)(y & 0xFF);
    }
    Data += '\0';
    Data += (y == Size - 1) ? '\1' : '\0';   /* end of line, or of the bitmap */
  }
  return _DIBHeader(Size, 8, 1, (U32)Data.size(), 256) + Data;
}

/* An .sbmp of the size with runs of 1,000 pixels. */
static std::string _SBMP(int Size) {
  std::string s = "SB";
  _Put16(s, (U32)Size); _Put16(s, (U32)Size); _Put16(s, 2);
  s += std::string("\0\0\0\xFF\xFF\xFF", 6);
  for (int64_t n = 0; n < (int64_t)Size * Size; n += 1000) {
    _Put16(s, 1000);
    s += (char)(n / 1000 & 1);
  }
  return s;
}

/* A GIF of one colour whose frame (FrameX x FrameY) lies on a screen of
 * ScreenX x ScreenY. The LZW stream builds ever longer runs of index 0
 * and then repeats the longest one (2,900 pixels in 12 bits), until
 * NumPixels are coded. No end code: a reader that decodes the frame to
 * its end must fail, one that stops when nothing lands on the screen
 * doesn't. */
static std::string _GIFBomb(U32 ScreenX, U32 ScreenY, U32 FrameX, U32 FrameY, uint64_t NumPixels) {
  std::string s = "GIF89a";
  _Put16(s, ScreenX); _Put16(s, ScreenY);
  s += std::string("\x81\0\0", 3);                      /* 4-entry global table */
  s += std::string("\0\0\0\xFF\xFF\xFF\0\0\0\0\0\0", 12);
  s += ',';
  _Put16(s, 0); _Put16(s, 0); _Put16(s, FrameX); _Put16(s, FrameY);
  s += '\0';
  s += '\2';                                            /* minimum code size */
  std::string Data;
  U32 Acc = 0;
  int NumAcc = 0;
  int CodeSize = 3, MaxCode = 6, MaxCodeSize = 8;
  auto Emit = [&](int Code, bool AddsEntry) {
    Acc |= (U32)Code << NumAcc;
    NumAcc += CodeSize;
    while (NumAcc >= 8) {
      Data += (char)(Acc & 0xFF);
      Acc >>= 8;
      NumAcc -= 8;
    }
    if (AddsEntry && MaxCode < 4096) {
      MaxCode++;
      if (MaxCode >= MaxCodeSize && MaxCodeSize < 4096) {
        MaxCodeSize *= 2;
        CodeSize++;
      }
    }
  };
  Emit(4, false);                                       /* clear */
  Emit(0, false);
  uint64_t n = 1;
  int Longest = 0;
  for (int Code = 6; Code <= 2904 && n < NumPixels; Code++) {   /* code c: c - 4 pixels */
    Emit(Code, true);
    n += (uint64_t)(Code - 4);
    Longest = Code;
  }
  while (n < NumPixels) {
    Emit(Longest, true);
    n += (uint64_t)(Longest - 4);
  }
  if (NumAcc) {
    Data += (char)(Acc & 0xFF);
  }
  for (size_t i = 0; i < Data.size(); i += 255) {
    size_t Len = Data.size() - i < 255 ? Data.size() - i : 255;
    s += (char)Len;
    s.append(Data, i, Len);
  }
  s += '\0';
  s += ';';
  return s;
}

/*********************************************************************
*  Writers: to /dev/null, so that only the writer is timed.
*/
static void _Save(IMAGE** ppImage, int Type, int Format) {
  PLAT_FILE* hFile = PLAT_CreateWrite("/dev/null");
  SAVEFORMAT Choice = { Format, 0 };
  *ppImage = IMAGE_SaveFile(*ppImage, hFile, Type, "bench.c", &Choice);
  PLAT_Close(hFile);
}

int main(int argc, char** argv) {
  int Size = argc > 1 ? atoi(argv[1]) : 8192;
  _sFilter = argc > 2 ? argv[2] : "";
  if (Size < 1) {
    fprintf(stderr, "usage: bench_limits [size] [filter]\n");
    return 2;
  }
  IMAGE_SetHooks(_OnStatus, _OnError, "bench");
  IMAGE* pPal = _MakePalette(Size, 256);
  IMAGE* pRGB = _MakeTrueColor(Size);

  /* Geometry, in place and consuming, at both depths. */
  struct { const char* sName; IMAGE* (*pfOp)(IMAGE*); } aGeo[] = {
    { "fliph",         IMAGE_FlipH },         { "flipv",       IMAGE_FlipV },
    { "rotate180",     IMAGE_Rotate180 },     { "rotate90cw",  IMAGE_Rotate90CW },
    { "rotate90ccw",   IMAGE_Rotate90CCW },   { "shrink",      IMAGE_Shrink },
    { "invertindices", IMAGE_InvertIndices }, { "invertpalette", IMAGE_InvertColors },
  };
  for (IMAGE** ppImage : { &pPal, &pRGB }) {
    const char* sDepth = (*ppImage)->NumColors ? " 8bpp" : " 24bpp";
    _Time(std::string("copy (undo snapshot)") + sDepth, [&] { IMAGE_Free(IMAGE_Copy(*ppImage)); });
    for (auto& Geo : aGeo) {
      IMAGE* pWork = IMAGE_Copy(*ppImage);
      _Time(std::string(Geo.sName) + sDepth, [&] { pWork = Geo.pfOp(pWork); });
      IMAGE_Free(pWork);
    }
  }
  /* Conversions */
  struct { const char* sName; IMAGE* (*pfOp)(IMAGE*); } aConv[] = {
    { "intobw",       CONVERT_IntoBW },       { "intogray16",  CONVERT_IntoGray16 },
    { "intogray256",  CONVERT_IntoGray256 },  { "into8666",    CONVERT_Into8666 },
    { "intorgb",      CONVERT_IntoRGB },      { "intobestpalette", CONVERT_IntoBestPalette },
  };
  for (IMAGE** ppImage : { &pPal, &pRGB }) {
    const char* sDepth = (*ppImage)->NumColors ? " 8bpp" : " 24bpp";
    for (auto& Conv : aConv) {
      IMAGE* pWork = IMAGE_Copy(*ppImage);
      _Time(std::string(Conv.sName) + sDepth, [&] { pWork = Conv.pfOp(pWork); });
      IMAGE_Free(pWork);
    }
    IMAGE* pWork = IMAGE_Copy(*ppImage);
    _Time(std::string("intohighcolor565") + sDepth, [&] { pWork = CONVERT_IntoHighColor(pWork, 565); });
    IMAGE_Free(pWork);
    _Time(std::string("census (info)") + sDepth, [&] { IMAGE_CountColors(*ppImage); });
  }
  /* Readers */
  {
    IMAGE* pBW = _MakePalette(Size, 2);
    IMAGE* p16 = _MakePalette(Size, 16);
    struct { const char* sName; std::string Block; } aDIB[] = {
      { "read bmp 1bpp", _DIB(pBW) },  { "read bmp 4bpp", _DIB(p16) },
      { "read bmp 8bpp", _DIB(pPal) }, { "read bmp 24bpp", _DIB(pRGB) },
      { "read bmp 32bpp", _DIB32(Size) }, { "read bmp rle8", _DIBRLE8(Size) },
    };
    IMAGE_Free(pBW);
    IMAGE_Free(p16);
    for (auto& DIB : aDIB) {
      _Time(DIB.sName, [&] { IMAGE_Free(IMAGE_CreateFromDIB((const U8*)DIB.Block.data(), (U32)DIB.Block.size())); });
    }
    std::string Sbmp = _SBMP(Size);
    _Time("read sbmp", [&] { IMAGE_Free(SBMP_LoadFromMemory((const U8*)Sbmp.data(), (U32)Sbmp.size())); });
    std::string Bomb = _GIFBomb(2000, 2000, 65535, 65535, (uint64_t)65535 * 65535);
    _Time("read gif bomb 65535^2 on 2000^2", [&] { IMAGE_Free(GIF_LoadFromMemory((const U8*)Bomb.data(), (U32)Bomb.size())); });
    std::string Wide = _GIFBomb(2000, 2000, 65535, 1024, (uint64_t)65535 * 1024);
    _Time("read gif 65535x1024 on 2000^2", [&] { IMAGE_Free(GIF_LoadFromMemory((const U8*)Wide.data(), (U32)Wide.size())); });
    std::string Tall = _GIFBomb(2000, 2000, 8192, 8192, (uint64_t)8192 * 8192);
    _Time("read gif 8192^2 on 2000^2", [&] { IMAGE_Free(GIF_LoadFromMemory((const U8*)Tall.data(), (U32)Tall.size())); });
    /* A hostile .sbmp: 65535 x 65535 declared in a few bytes. */
    std::string Huge = "SB";
    _Put16(Huge, 65535); _Put16(Huge, 65535); _Put16(Huge, 0);
    Huge += std::string("\xFF\xFF\0\0\0", 5);
    _Time("read sbmp declaring 65535^2", [&] { IMAGE_Free(SBMP_LoadFromMemory((const U8*)Huge.data(), (U32)Huge.size())); });
  }
  /* Writers */
  struct { const char* sName; int Type, Format; bool IsPal; } aOut[] = {
    { "write c format 1 (bw)", 1, 1, true },  { "write c format 4 (16)", 1, 4, true },
    { "write c format 5 (256)", 1, 5, true }, { "write c format 7 (rle8)", 1, 7, true },
    { "write c format 8 (565)", 1, 8, false }, { "write c format 10 (rle16)", 1, 10, false },
    { "write c format 12 (888)", 1, 12, false },
    { "write bmp 8bpp", 2, 0, true },  { "write bmp 24bpp", 2, 0, false },
    { "write gif 8bpp", 3, 0, true },  { "write stream 8bpp", 4, 0, true },
  };
  for (auto& Out : aOut) {
    if (strstr(Out.sName, _sFilter) == NULL) {
      continue;
    }
    IMAGE* pWork = Out.IsPal ? IMAGE_Copy(pPal) : IMAGE_Copy(pRGB);
    if (Out.Format == 1 || Out.Format == 4) {
      pWork = Out.Format == 1 ? CONVERT_IntoBW(pWork) : CONVERT_IntoGray16(pWork);
    }
    _Time(Out.sName, [&] { _Save(&pWork, Out.Type, Out.Format); });
    IMAGE_Free(pWork);
  }
  IMAGE_Free(pPal);
  IMAGE_Free(pRGB);
  return 0;
}
