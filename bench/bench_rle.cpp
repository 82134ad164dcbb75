/*
 * Times the run-length coded C source (formats 6, 7, 10 and 11) on large
 * pictures, a noisy one and one made of runs, next to a plain encoder
 * that follows the coding rules literally: it rescans the pixels from
 * every position it looks at, finds pixels by dividing the linear index
 * and formats every piece with printf. The plain encoder's text is
 * compared with the array contents of the writer's file, so the two
 * times are for the same bytes.
 *
 *   bench_rle <output folder> [size] [plain size]
 *
 * Prints one line per case:
 *   <format> <picture> <size> <bytes> <seconds>
 *   <plain size> <writer seconds on that part> <plain seconds> <same>
 * The plain encoder runs on the top left plain size x plain size pixels
 * (default: the whole picture); the writer is then timed on that part too
 * and <same> compares those two texts.
 */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "bench/benchutil.h"
#include "core/image.h"
#include "output/save.h"
#include "platform/plat.h"

static IMAGE* _Crop(const IMAGE* pImage, int Size) {
  IMAGE* pPart = IMAGE_Create(Size, Size, pImage->NumColors);
  if (pPart == NULL) {
    return NULL;
  }
  for (int i = 0; i < pImage->NumColors; i++) {
    IMAGE_SetColor(pPart, i, IMAGE_GetColor(pImage, i));
  }
  for (int y = 0; y < Size; y++) {
    for (int x = 0; x < Size; x++) {
      IMAGE_SetPixel(pPart, x, y, IMAGE_GetPixel(pImage, x, y));
    }
  }
  return pPart;
}

/*********************************************************************
*  The plain encoder, into a std::string
*/
typedef struct {
  const IMAGE* pImage;
  int          Bits;        /* 4, 8 or 16 */
  int          Swapped;
  U32          NumPixels;
  std::string* pOut;
  size_t       LineLength;
} PLAIN;

static void _PlainText(PLAIN* p, const char* sFormat, ...) {
  char    ac[256];
  va_list Args;
  va_start(Args, sFormat);
  vsnprintf(ac, sizeof(ac), sFormat, Args);
  va_end(Args);
  size_t Len = strlen(ac);
  if (p->LineLength + Len > 254) {
    p->pOut->append("\r\n        ");
    p->LineLength = 8;
  }
  p->pOut->append(ac, Len);
  p->LineLength += Len;
}

static U32 _PlainPixel(const PLAIN* p, U32 i) {
  U32 y = i / (U32)p->pImage->XSize;
  return IMAGE_GetPixel(p->pImage, (I32)(i - y * (U32)p->pImage->XSize), (I32)y);
}

static U32 _PlainValue(const PLAIN* p, U32 i) {
  U32 y = i / (U32)p->pImage->XSize;
  U32 c = IMAGE_GetPixelColor(p->pImage, (I32)(i - y * (U32)p->pImage->XSize), (I32)y);
  U32 R = (c >> 3) & 0x1F, G = (c >> 10) & 0x3F, B = (c >> 19) & 0x1F;
  return p->Swapped ? (R << 11 | G << 5 | B) : (B << 11 | G << 5 | R);
}

static U32 _PlainRunLength(const PLAIN* p, U32 i) {
  U32 n = 1;
  while (i + n < p->NumPixels && _PlainPixel(p, i + n) == _PlainPixel(p, i)) {
    n++;
  }
  return n;
}

static U32 _PlainAbsLength(const PLAIN* p, U32 i) {
  U32 Count = 0;
  for (U32 q = i; q < p->NumPixels; q++) {
    if (_PlainRunLength(p, q) > 3 || Count == 255) {
      break;
    }
    Count++;
  }
  return Count;
}

static U32 _PlainRun(PLAIN* p, U32 i, U32 n) {
  U32 y = i / (U32)p->pImage->XSize, x = i - y * (U32)p->pImage->XSize;
  U32 Done = 0, Result = 0;
  p->LineLength = 0;
  _PlainText(p, "  ");
  _PlainText(p, "/* RLE: %.3d Pixels @ %.3d,%.3d*/ ", (int)n, (int)x, (int)y);
  while (Done < n) {
    U32 Count = (n - Done >= 255) ? 254 : n - Done;
    Done += Count;
    if (p->Bits == 16) {
      U32 v = _PlainValue(p, i);
      _PlainText(p, "%d, 0x%.2X, 0x%.2X, ", (int)Count, v & 0xFF, v >> 8);
    } else {
      _PlainText(p, "%d, 0x%.2X, ", (int)Count, _PlainPixel(p, i));
    }
    Result += 2;
  }
  _PlainText(p, "\r\n");
  return Result;
}

static U32 _PlainAbs(PLAIN* p, U32 i, U32 n) {
  U32 y = i / (U32)p->pImage->XSize, x = i - y * (U32)p->pImage->XSize;
  U32 Result = n + 2;
  p->LineLength = 0;
  _PlainText(p, "  /* ABS: %.3d Pixels @ %.3d,%.3d*/ ", (int)n, (int)x, (int)y);
  _PlainText(p, "0, %d, ", (int)n);
  if (p->Bits == 16) {
    for (U32 k = 0; k < n; k++) {
      U32 v = _PlainValue(p, i + k);
      _PlainText(p, "0x%.2X, 0x%.2X, ", v & 0xFF, v >> 8);
    }
  } else if (p->Bits == 8) {
    for (U32 k = 0; k < n; k++) {
      _PlainText(p, "0x%.2X, ", _PlainPixel(p, i + k));
    }
  } else {
    for (U32 k = 0; k < n; k += 2) {
      U32 v = _PlainPixel(p, i + k) << 4;
      if (k + 1 < n) {
        v |= _PlainPixel(p, i + k + 1);
      }
      _PlainText(p, "0x%.2X, ", v);
    }
    Result = (n + 1) / 2 + 2;
  }
  _PlainText(p, "\r\n");
  return Result;
}

static void _PlainEncode(const IMAGE* pImage, int Format, std::string* pOut) {
  PLAIN Plain = { pImage, Format == 6 ? 4 : (Format == 7 ? 8 : 16), Format == 11,
                  (U32)pImage->XSize * (U32)pImage->YSize, pOut, 0 };
  U32 Total = 0;
  for (U32 i = 0; i < Plain.NumPixels;) {
    U32 n = _PlainRunLength(&Plain, i);
    if (n > 2) {
      Total += _PlainRun(&Plain, i, n);
    } else {
      n = _PlainAbsLength(&Plain, i);
      Total += (n == 1) ? _PlainRun(&Plain, i, 1) : _PlainAbs(&Plain, i, n);
    }
    i += n;
  }
  _PlainText(&Plain, "\r\n\r\n  0};  /* %d for %d pixels */", (int)Total, (int)Plain.NumPixels);
}

/*********************************************************************
*  Timing
*/
static std::string _ReadFile(const char* sPath) {
  std::string s;
  FILE* f = fopen(sPath, "rb");
  if (f) {
    char ac[1 << 16];
    size_t n;
    while ((n = fread(ac, 1, sizeof(ac), f)) > 0) {
      s.append(ac, n);
    }
    fclose(f);
  }
  return s;
}

/* The writer's time for a whole file; gives the array contents. */
static std::string _TimeWriter(IMAGE* pImage, const std::string& sFolder, int Format, double* pSeconds, size_t* pNumBytes) {
  std::string sPath = sFolder + "/bench_rle_f" + std::to_string(Format) + ".c";
  PLAT_FILE* hFile = PLAT_CreateWrite(sPath.c_str());
  if (hFile == NULL) {
    fprintf(stderr, "cannot create %s\n", sPath.c_str());
    exit(1);
  }
  SAVEFORMAT Choice = { Format, 0 };
  double t0 = BENCH_Now();
  IMAGE_SaveFile(pImage, hFile, 1, sPath.c_str(), &Choice);
  PLAT_Close(hFile);
  *pSeconds = BENCH_Now() - t0;
  std::string sFile = _ReadFile(sPath.c_str());
  remove(sPath.c_str());
  *pNumBytes = sFile.size();
  size_t Head = sFile.find("\r\nstatic OMRAK_CONST_STORAGE unsigned char ac");
  size_t End  = sFile.find("\r\n\r\nOMRAK_CONST_STORAGE OMRAK_BITMAP");
  if (Head == std::string::npos || End == std::string::npos) {
    return "";
  }
  Head = sFile.find("[] = {\r\n", Head) + 8;
  return sFile.substr(Head, End - Head);
}

/* The plain encoder's time, with the write of its text to a file. */
static std::string _TimePlain(IMAGE* pImage, const std::string& sFolder, int Format, double* pSeconds) {
  std::string sPath = sFolder + "/bench_rle_plain.c";
  std::string sText;
  double t0 = BENCH_Now();
  _PlainEncode(pImage, Format, &sText);
  FILE* f = fopen(sPath.c_str(), "wb");
  if (f) {
    fwrite(sText.data(), 1, sText.size(), f);
    fclose(f);
  }
  *pSeconds = BENCH_Now() - t0;
  remove(sPath.c_str());
  return sText;
}

static int _Case(IMAGE* pImage, const char* sPicture, const std::string& sFolder, int Format, int PlainSize) {
  double Seconds, PartSeconds, PlainSeconds;
  size_t NumBytes, NumPartBytes;
  std::string sFast = _TimeWriter(pImage, sFolder, Format, &Seconds, &NumBytes);
  IMAGE* pPart = pImage;
  PartSeconds  = Seconds;
  if (PlainSize < pImage->XSize) {
    pPart = _Crop(pImage, PlainSize);
    if (pPart == NULL) {
      return 1;
    }
    sFast = _TimeWriter(pPart, sFolder, Format, &PartSeconds, &NumPartBytes);
  }
  std::string sPlain = _TimePlain(pPart, sFolder, Format, &PlainSeconds);
  int IsSame = !sFast.empty() && sFast == sPlain;
  printf("%d %s %d %zu %.6f %d %.6f %.6f %s\n", Format, sPicture, pImage->XSize, NumBytes, Seconds,
         pPart->XSize, PartSeconds, PlainSeconds, IsSame ? "yes" : "NO");
  fflush(stdout);
  if (pPart != pImage) {
    IMAGE_Free(pPart);
  }
  return IsSame ? 0 : 1;
}

int main(int argc, char** argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: bench_rle <output folder> [size] [plain size]\n");
    return 2;
  }
  int Size      = argc > 2 ? atoi(argv[2]) : 4000;
  int PlainSize = argc > 3 ? atoi(argv[3]) : Size;
  if (Size < 1 || PlainSize < 1 || PlainSize > Size) {
    fprintf(stderr, "sizes must be at least 1, the plain size at most the size\n");
    return 2;
  }
  IMAGE_SetHooks(NULL, BENCH_OnError, "3.96");
  int r = 0;
  for (int WithRuns = 0; WithRuns < 2; WithRuns++) {
    const char* sPicture = WithRuns ? "runs" : "noise";
    struct { int Format; int NumColors; } aCase[] = { { 6, 16 }, { 7, 256 }, { 10, 0 }, { 11, 0 } };
    IMAGE* pTrue = NULL;
    for (const auto& Case : aCase) {
      IMAGE* pImage = (Case.NumColors == 0 && pTrue) ? pTrue : BENCH_MakeRandomPicture(Size, Case.NumColors, WithRuns, 4711);
      if (pImage == NULL) {
        return 1;
      }
      r |= _Case(pImage, sPicture, argv[1], Case.Format, PlainSize);
      if (Case.NumColors) {
        IMAGE_Free(pImage);
      } else {
        pTrue = pImage;
      }
    }
    IMAGE_Free(pTrue);
  }
  return r;
}
