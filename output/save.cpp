/*
 * The save engine and the writer of C bitmap source.
 *
 * A C bitmap file is: banner, palette section (palette images only), the
 * array head, the array contents, the OMRAK_BITMAP descriptor and the end
 * line. Every line break is CR LF. The array contents go through
 * _WriteText, which wraps lines at 254 characters; everything else is
 * written as whole texts. Formats 6, 7, 10 and 11 hold a run-length
 * coded stream instead of rows. Windows Bitmap, GIF and C stream files
 * are handed to their own writers.
 *
 * The text is formatted by hand (hex digits from a table) instead of one
 * printf per value, because a large picture means millions of values. The
 * bytes are those of the printf conversions named at each place.
 */
#include "save.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "bmpout.h"
#include "gifout.h"

/*********************************************************************
*  Module state. The engine is not re-entered: one save runs at a time.
*/
static const char* _sAppName = "";   /* banner texts, from IMAGE_SetBanner */
static const char* _sNotice  = "";

void IMAGE_SetBanner(const char* sAppName, const char* sNotice) {
  _sAppName = sAppName ? sAppName : "";
  _sNotice  = sNotice ? sNotice : "";
}

static int _BitsPerPixel;     /* stored depth of the format in work; kept between saves */
static int _WithPalette;      /* 1: palette section is live, 0: for reference only */
static U32 _LineLength;       /* characters on the current line of the pixel array */
static U32 _NumBitsInByte;    /* bits gathered in _ByteValue */
static U32 _ByteValue;        /* the byte under construction */

#define MAX_LINE_LENGTH 254
#define MAX_NAME_LENGTH 259

/* Element types of the pixel array */
enum { _ELEM_CHAR, _ELEM_SHORT, _ELEM_LONG };

typedef struct {
  int         Format;
  int         BitsPerPixel;  /* stored depth */
  int         Compressed;
  int         Swapped;       /* red and blue exchanged */
  int         ElementType;
  const char* sBitsPerPixel; /* descriptor text when it is no plain number */
  const char* sDrawLine;     /* added behind the descriptor's palette line */
} FORMAT_INFO;

static const FORMAT_INFO _aFormat[] = {
  {  1,  1, 0, 0, _ELEM_CHAR,  NULL,                  NULL },
  {  2,  2, 0, 0, _ELEM_CHAR,  NULL,                  NULL },
  {  4,  4, 0, 0, _ELEM_CHAR,  NULL,                  NULL },
  {  5,  8, 0, 0, _ELEM_CHAR,  NULL,                  NULL },
  {  6,  4, 1, 0, _ELEM_CHAR,  "OMRAK_COMPRESS_RLE4", "\r\n ,OMRAK_DRAW_RLE4" },
  {  7,  8, 1, 0, _ELEM_CHAR,  "OMRAK_COMPRESS_RLE8", "\r\n ,OMRAK_DRAW_RLE8" },
  {  8, 16, 0, 0, _ELEM_SHORT, NULL,                  "\r\n ,OMRAK_DRAW_BMP565" },
  {  9, 16, 0, 1, _ELEM_SHORT, NULL,                  "\r\n ,OMRAK_DRAW_BMPM565" },
  { 10, 16, 1, 0, _ELEM_CHAR,  NULL,                  "\r\n ,OMRAK_DRAW_RLE16" },
  { 11, 16, 1, 1, _ELEM_CHAR,  NULL,                  "\r\n ,OMRAK_DRAW_RLEM16" },
  { 12, 24, 0, 0, _ELEM_LONG,  NULL,                  "\r\n ,OMRAK_DRAW_BMP888" },
  { 13, 24, 0, 1, _ELEM_LONG,  NULL,                  "\r\n ,OMRAK_DRAW_BMPM888" },
};

static const char _acHexDigit[] = "0123456789ABCDEF";

/* The two maker's lines of the banner frame, centred between the stars. */
static const char _sMaker[]   = "VENMARK";
static const char _sSlogan[]  = "Embedded graphics for small displays";
static const char _sAddress[] = "www.venmark-embedded.example";

static const char _sStars[] = "**********************************************************************";

/*********************************************************************
*  Plain writes. The many small pieces of a file are gathered here and
*  handed to the platform in large blocks; the bytes and their order are
*  those of the pieces. _FlushOut ends every save that has written.
*/
static PLAT_FILE* _hOut;
static U32        _NumOut;
static char       _acOut[65536];

static void _FlushOut(void) {
  if (_NumOut) {
    PLAT_Write(_hOut, _acOut, _NumOut);   /* write errors go unreported, the text goes on */
    _NumOut = 0;
  }
}

static void _Write(PLAT_FILE* hFile, const char* s, U32 NumBytes) {
  if (hFile != _hOut) {
    _FlushOut();
    _hOut = hFile;
  }
  if (NumBytes > sizeof(_acOut) - _NumOut) {
    _FlushOut();
    if (NumBytes > sizeof(_acOut)) {
      PLAT_Write(hFile, s, NumBytes);
      return;
    }
  }
  char* p = _acOut + _NumOut;
  _NumOut += NumBytes;
  if (NumBytes <= 16) {
    while (NumBytes--) {
      *p++ = *s++;
    }
  } else {
    memcpy(p, s, NumBytes);
  }
}

static void _WriteString(PLAT_FILE* hFile, const char* s) {
  _Write(hFile, s, (U32)strlen(s));
}

/* printf into a buffer and one plain write of the whole text. Texts that
 * outgrow the local buffer get a block of their own. */
static void _WriteFormatted(PLAT_FILE* hFile, const char* sFormat, ...) {
  char    acLocal[1024];
  va_list Args;
  va_start(Args, sFormat);
  int Len = vsnprintf(acLocal, sizeof(acLocal), sFormat, Args);
  va_end(Args);
  if (Len < 0) {
    return;
  }
  if ((size_t)Len < sizeof(acLocal)) {
    _Write(hFile, acLocal, (U32)Len);
    return;
  }
  char* pBuffer = (char*)PLAT_Alloc((size_t)Len + 1);
  if (pBuffer == NULL) {
    /* A file with a piece missing is no file: the save is given up. */
    IMAGE_ShowError("Out of memory");
    PLAT_Discard(hFile);
    return;
  }
  va_start(Args, sFormat);
  vsnprintf(pBuffer, (size_t)Len + 1, sFormat, Args);
  va_end(Args);
  _Write(hFile, pBuffer, (U32)Len);
  PLAT_Free(pBuffer);
}

/*********************************************************************
*  Hand-made number texts
*/
/* "0x" and the value in capital hex digits, at least MinDigits of them
 * (the text of "0x%.<MinDigits>X"). Gives the length. */
static int _FormatHex(char* p, U32 v, int MinDigits) {
  int NumDigits = MinDigits;
  while (NumDigits < 8 && (v >> (4 * NumDigits))) {
    NumDigits++;
  }
  p[0] = '0';
  p[1] = 'x';
  for (int i = 0; i < NumDigits; i++) {
    p[1 + NumDigits - i] = _acHexDigit[(v >> (4 * i)) & 15];
  }
  return 2 + NumDigits;
}

/*********************************************************************
*  _WriteText: a piece of the pixel array, wrapped at 254 characters.
*  A wrapped line begins with eight blanks.
*/
static void _WriteText(PLAT_FILE* hFile, const char* pData, U32 NumBytes) {
  if (_LineLength + NumBytes > MAX_LINE_LENGTH) {
    _Write(hFile, "\r\n        ", 10);
    _LineLength = 8;
  }
  _Write(hFile, pData, NumBytes);
  _LineLength += NumBytes;
}

/*********************************************************************
*  Banner
*/
/* A frame line: a star, the text centred in 68 columns, a star. */
static void _FormatFrameLine(char* pLine, const char* sText) {
  int Len = (int)strlen(sText);
  if (Len > 68) {
    Len = 68;
  }
  int Left = (68 - Len) / 2;
  memset(pLine, ' ', 70);
  pLine[0]  = '*';
  pLine[69] = '*';
  memcpy(pLine + 1 + Left, sText, (size_t)Len);
  pLine[70] = 0;
}

static void _WriteBanner(const IMAGE* pImage, PLAT_FILE* hFile, const char* sName) {
  char acMaker[71], acSlogan[71], acAddress[71];
  _FormatFrameLine(acMaker,   _sMaker);
  _FormatFrameLine(acSlogan,  _sSlogan);
  _FormatFrameLine(acAddress, _sAddress);
  _WriteFormatted(hFile,
    "/%s\r\n"
    "%s\r\n"
    "%s\r\n"
    "%s\r\n"
    "%s\r\n"
    "*\r\n"
    "* C-file generated by\r\n"
    "*\r\n"
    "*        %s V%s.\r\n"
    "*        Compiled Jul 19 2005, 13:50:35\r\n"
    "*        %s\r\n"
    "*\r\n"
    "%s\r\n"
    "*\r\n"
    "* Source file: %s\r\n"
    "* Dimensions:  %d * %d\r\n"
    "* NumColors:   %d\r\n"
    "*\r\n"
    "%s\r\n"
    "*/\r\n"
    "\r\n"
    "#include \"stdlib.h\"\r\n"
    "\r\n"
    "#include \"Omrak.h\"\r\n"
    "\r\n"
    "#ifndef OMRAK_CONST_STORAGE\r\n"
    "  #define OMRAK_CONST_STORAGE const\r\n"
    "#endif\r\n"
    "\r\n",
    _sStars + 1, acMaker, acSlogan, acAddress, _sStars,
    _sAppName, IMAGE_GetVersion(),
    _sNotice,
    _sStars,
    sName,
    (int)pImage->XSize, (int)pImage->YSize,
    (int)pImage->NumColors,
    _sStars);
}

/*********************************************************************
*  Palette section
*/
static void _WritePalette(const IMAGE* pImage, PLAT_FILE* hFile, const char* sName) {
  if (_WithPalette == 0) {
    _WriteString(hFile,
      "\r\n#if 0\r\n/*\r\nThis palette is included for reference only\r\n"
      "As it is saved as device dependent bitmap without color info.\r\n"
      "Please note that this bitmap requires the physical palette to be\r\n"
      "identical to the palette of the display.\r\n"
      "If this does not work out, please convert your bitmap into a DIB */\r\n\r\n");
  }
  _WriteString(hFile,
    "/*   Palette\r\n"
    "The following are the entries of the palette table.\r\n"
    "Every entry is a 32-bit value (of which 24 bits are actually used)\r\n"
    "the lower   8 bits represent the Red component,\r\n"
    "the middle  8 bits represent the Green component,\r\n"
    "the highest 8 bits (of the 24 bits used) represent the Blue component\r\n"
    "as follows:   0xBBGGRR\r\n"
    "*/\r\n\r\n");
  _WriteFormatted(hFile, "static OMRAK_CONST_STORAGE OMRAK_COLOR Colors%s[] = {", sName);
  for (I32 i = 0; i < pImage->NumColors; i++) {
    char ac[20];
    if ((i & 3) == 0) {
      _Write(hFile, "\r\n    ", 6);
    }
    _Write(hFile, i ? "," : " ", 1);
    int Len = _FormatHex(ac, IMAGE_GetColor(pImage, i), 6);
    _Write(hFile, ac, (U32)Len);
  }
  _WriteString(hFile, "\r\n};\r\n\r\n");
  if (_WithPalette == 0) {
    _WriteString(hFile, "\r\n#endif\r\n\r\n");
  }
  _WriteFormatted(hFile, "static OMRAK_CONST_STORAGE OMRAK_LOGPALETTE Pal%s = {\r\n", sName);
  _WriteFormatted(hFile, "  %d,\t/* number of entries */\r\n", (int)pImage->NumColors);
  if (pImage->HasTrans) {
    _WriteString(hFile, "  1, \t/* Has transparency */\r\n");
  } else {
    _WriteString(hFile, "  0, \t/* No transparency */\r\n");
  }
  if (_WithPalette) {
    _WriteFormatted(hFile, "  &Colors%s[0]\r\n", sName);
  } else {
    _WriteString(hFile, "  NULL\r\n");
  }
  _WriteString(hFile, "};\r\n");
}

/*********************************************************************
*  Uncompressed rows at 1, 2, 4, 8 bits per pixel
*/
/* Writes the byte gathered so far, if any. Position is the x of the
 * pixel that completed it; no separator stands in front of a row's
 * first byte. */
static void _FlushByte(PLAT_FILE* hFile, I32 Position) {
  char ac[12];
  int  Len;
  if (_NumBitsInByte == 0) {
    return;
  }
  if (Position >= 8 / _BitsPerPixel) {
    _WriteText(hFile, ", ", 2);
  }
  if (_BitsPerPixel == 1) {
    /* Eight characters, most significant bit first; the header of the
     * graphics library gives each of these names its byte value. */
    for (int i = 0; i < 8; i++) {
      ac[i] = (_ByteValue & (0x80u >> i)) ? 'X' : '_';
    }
    Len = 8;
  } else {
    Len = _FormatHex(ac, _ByteValue, 2);   /* "0x%.2X" */
  }
  _WriteText(hFile, ac, (U32)Len);
  _NumBitsInByte = 0;
  _ByteValue     = 0;
}

/* Pixels fill a byte from its most significant bits; every row starts on
 * a new byte. */
static void _WriteRows(const IMAGE* pImage, PLAT_FILE* hFile) {
  for (I32 y = 0; y < pImage->YSize; y++) {
    _LineLength    = 0;
    _NumBitsInByte = 0;
    _ByteValue     = 0;
    _WriteText(hFile, "  ", 2);
    for (I32 x = 0; x < pImage->XSize; x++) {
      /* An index beyond the palette is entry 0; one too wide for the
       * format keeps its low bits and leaves its neighbours alone. */
      U32 v = IMAGE_GetIndex(pImage, x, y) & ((1u << _BitsPerPixel) - 1);
      _ByteValue |= v << (8 - _BitsPerPixel - _NumBitsInByte);
      _NumBitsInByte += (U32)_BitsPerPixel;
      if (_NumBitsInByte == 8) {
        _FlushByte(hFile, x);
      }
    }
    _FlushByte(hFile, pImage->XSize);
    if (y < pImage->YSize - 1) {
      _Write(hFile, ",\r\n", 3);
    } else {
      _Write(hFile, "\r\n};", 4);
    }
  }
}

/*********************************************************************
*  Uncompressed rows at 16 and 24 bits per pixel. The colour comes from
*  IMAGE_GetPixelColor, so a palette image is written by its colours.
*/
static U32 _GetValue565(U32 c, int Swapped) {
  U32 R5 = (c >> 3)  & 0x1F;
  U32 G6 = (c >> 10) & 0x3F;
  U32 B5 = (c >> 19) & 0x1F;
  return Swapped ? (R5 << 11 | G6 << 5 | B5) : (B5 << 11 | G6 << 5 | R5);
}

static U32 _GetValue888(U32 c, int Swapped) {
  c &= 0xFFFFFF;
  if (Swapped) {
    c = (c & 0x00FF00) | (c >> 16) | ((c & 0xFF) << 16);
  }
  return c;
}

/* Both row writers: one piece per value, "0x" and the digits, with ", "
 * unless the value is the last of its row. */
static void _WriteRowsDirect(const IMAGE* pImage, PLAT_FILE* hFile, int Swapped, int Is888) {
  char ac[16];
  for (I32 y = 0; y < pImage->YSize; y++) {
    _LineLength = 0;
    _WriteText(hFile, "  ", 2);
    for (I32 x = 0; x < pImage->XSize; x++) {
      U32 c = IMAGE_GetPixelColor(pImage, x, y);
      int Len;
      if (Is888) {
        Len = _FormatHex(ac, _GetValue888(c, Swapped), 6);   /* "0x%.06X" */
      } else {
        Len = _FormatHex(ac, _GetValue565(c, Swapped), 4);   /* "0x%.04X" */
      }
      if (x < pImage->XSize - 1) {
        ac[Len++] = ',';
        ac[Len++] = ' ';
      }
      _WriteText(hFile, ac, (U32)Len);
    }
    if (y < pImage->YSize - 1) {
      _Write(hFile, ",\r\n", 3);
    } else {
      _Write(hFile, "\r\n};", 4);
    }
  }
}

static void _WriteRows565(const IMAGE* pImage, PLAT_FILE* hFile, int Swapped) {
  _WriteRowsDirect(pImage, hFile, Swapped, 0);
}

static void _WriteRows888(const IMAGE* pImage, PLAT_FILE* hFile, int Swapped) {
  _WriteRowsDirect(pImage, hFile, Swapped, 1);
}

/*********************************************************************
*  Run-length coded pixel stream (formats 6, 7, 10, 11)
*
*  The picture is coded as one long row of NumPixels pixels, top row
*  first: runs and absolute blocks cross the end of a row. A piece is
*  either a run (chunks of Count and value, Count at most 254) or an
*  absolute block of 2 to 255 pixels (0, n and the values). A repetition
*  of 3 or more becomes a run where a piece starts; inside an absolute
*  block only a repetition of 4 or more ends it. Pixels are compared by
*  their stored value (the index, or the full 24-bit colour), not by the
*  value written, so two colours that give the same 5-6-5 value are still
*  different pixels.
*
*  Every piece is a line of its own with a comment telling its length and
*  the position of its first pixel. The stream ends in 0 and a comment
*  with the unit count (the 16-bit forms count a value as one unit).
*
*  The pixels are walked forward with x and y kept by hand; the decision
*  for each piece looks at each pixel a bounded number of times, so the
*  cost is linear in the number of pixels however the picture looks.
*/
#define RLE_MIN_RUN    3     /* a piece starts as a run from this length on */
#define RLE_ABS_BREAK  4     /* a repetition this long ends an absolute block */
#define RLE_MAX_ABS    255   /* pixels in one absolute block */
#define RLE_MAX_CHUNK  254   /* pixels in one chunk of a run */

static void _GetPos(const IMAGE* pImage, U32 i, I32* px, I32* py) {
  U32 y = i / (U32)pImage->XSize;
  *py = (I32)y;
  *px = (I32)(i - y * (U32)pImage->XSize);
}

static void _StepPos(const IMAGE* pImage, I32* px, I32* py) {
  if (++*px == pImage->XSize) {
    *px = 0;
    ++*py;
  }
}

/* Pixels from i on with the stored value of pixel i. At least 1. */
static U32 _GetRunLength(const IMAGE* pImage, U32 i, U32 NumPixels) {
  I32 x, y;
  _GetPos(pImage, i, &x, &y);
  U32 v = IMAGE_GetPixel(pImage, x, y);
  U32 n = 1;
  while (i + n < NumPixels) {
    _StepPos(pImage, &x, &y);
    if (IMAGE_GetPixel(pImage, x, y) != v) {
      break;
    }
    n++;
  }
  return n;
}

/* Length of the absolute block that starts at i: the pixels up to the
 * first one that starts a repetition of 4 or more, at most 255, at most
 * what is left of the picture. Called only where no run of 3 starts, so
 * the result is at least 1.
 * One pass: Same counts the equal pixels that end at the pixel read, from
 * i on; when it reaches 4, the repetition began 3 pixels back. One that
 * begins 255 or more pixels behind i changes nothing, so the pass reads
 * at most 258 pixels. */
static U32 _GetAbsLength(const IMAGE* pImage, U32 i, U32 NumPixels) {
  U32 NumLeft = NumPixels - i;
  U32 Limit   = (NumLeft < RLE_MAX_ABS) ? NumLeft : RLE_MAX_ABS;
  U32 Last    = RLE_MAX_ABS - 1 + RLE_ABS_BREAK - 1;   /* offset of the last pixel that matters */
  if (Last > NumLeft - 1) {
    Last = NumLeft - 1;
  }
  I32 x, y;
  _GetPos(pImage, i, &x, &y);
  U32 Prev = IMAGE_GetPixel(pImage, x, y);
  U32 Same = 1;
  for (U32 k = 1; k <= Last; k++) {
    _StepPos(pImage, &x, &y);
    U32 v = IMAGE_GetPixel(pImage, x, y);
    Same = (v == Prev) ? Same + 1 : 1;
    Prev = v;
    if (Same == RLE_ABS_BREAK) {
      return k - (RLE_ABS_BREAK - 1);
    }
  }
  return Limit;
}

/* The text of "%.<MinDigits>d" for a value that is not negative. Gives
 * the length. */
static int _FormatDecimal(char* p, U32 v, int MinDigits) {
  char ac[12];
  int  NumDigits = 0;
  do {
    ac[NumDigits++] = (char)('0' + v % 10);
    v /= 10;
  } while (v);
  int Len = 0;
  for (int i = NumDigits; i < MinDigits; i++) {
    p[Len++] = '0';
  }
  while (NumDigits) {
    p[Len++] = ac[--NumDigits];
  }
  return Len;
}

/* The comment of a piece: sKind, then n, x and y as "%.3d Pixels @
 * %.3d,%.3d", then the comment's end and a blank. */
static int _FormatPieceComment(char* p, const char* sKind, U32 n, I32 x, I32 y) {
  int Len = (int)strlen(sKind);
  memcpy(p, sKind, (size_t)Len);
  Len += _FormatDecimal(p + Len, n, 3);
  memcpy(p + Len, " Pixels @ ", 10);
  Len += 10;
  Len += _FormatDecimal(p + Len, (U32)x, 3);
  p[Len++] = ',';
  Len += _FormatDecimal(p + Len, (U32)y, 3);
  memcpy(p + Len, "*/ ", 3);
  return Len + 3;
}

/* The text of one value with its separator: "0x%.2X, " of v. */
static int _FormatByteItem(char* p, U32 v) {
  int Len = _FormatHex(p, v, 2);
  p[Len++] = ',';
  p[Len++] = ' ';
  return Len;
}

/* "0x%.2X, 0x%.2X, " with the low and the high byte of a 16-bit value. */
static int _FormatWordItem(char* p, U32 v) {
  int Len = _FormatByteItem(p, v & 0xFF);
  return Len + _FormatByteItem(p + Len, v >> 8);
}

/* A run of n pixels from i whose value text (with its separator) is
 * acItem: the comment line and the chunks "%d, <item>". Gives 2 for each
 * chunk. */
static U32 _WriteRunPiece(PLAT_FILE* hFile, U32 n, I32 x, I32 y, const char* acItem, int ItemLen) {
  char ac[64];
  _LineLength = 0;
  _WriteText(hFile, "  ", 2);
  _WriteText(hFile, ac, (U32)_FormatPieceComment(ac, "/* RLE: ", n, x, y));
  U32 Result = 0;
  U32 Done   = 0;
  while (Done < n) {
    U32 Left  = n - Done;
    U32 Count = (Left > RLE_MAX_CHUNK) ? RLE_MAX_CHUNK : Left;
    Done += Count;
    int Len = _FormatDecimal(ac, Count, 1);
    ac[Len++] = ',';
    ac[Len++] = ' ';
    memcpy(ac + Len, acItem, (size_t)ItemLen);
    _WriteText(hFile, ac, (U32)(Len + ItemLen));
    Result += 2;
  }
  _WriteText(hFile, "\r\n", 2);
  return Result;
}

/* The head of an absolute block: the comment line and "0, %d, ". */
static void _WriteAbsHead(PLAT_FILE* hFile, U32 n, I32 x, I32 y) {
  char ac[64];
  int  Len = _FormatPieceComment(ac, "  /* ABS: ", n, x, y);
  _LineLength = 0;
  _WriteText(hFile, ac, (U32)Len);
  memcpy(ac, "0, ", 3);
  Len = 3 + _FormatDecimal(ac + 3, n, 1);
  ac[Len++] = ',';
  ac[Len++] = ' ';
  _WriteText(hFile, ac, (U32)Len);
}

/* The index as the run-length formats write it: within the palette and
 * within the bits of the depth. */
static U32 _GetPackedIndex(const IMAGE* pImage, I32 x, I32 y) {
  return IMAGE_GetIndex(pImage, x, y) & ((1u << _BitsPerPixel) - 1);
}

/* A run at 4 or 8 bits per pixel: the index stands in a whole byte. */
static U32 _WriteRun(const IMAGE* pImage, PLAT_FILE* hFile, U32 i, U32 n) {
  char acItem[16];
  I32  x, y;
  _GetPos(pImage, i, &x, &y);
  int ItemLen = _FormatByteItem(acItem, _GetPackedIndex(pImage, x, y));
  return _WriteRunPiece(hFile, n, x, y, acItem, ItemLen);
}

/* An absolute block at 4 or 8 bits per pixel. At 4 bits two pixels share
 * a byte, the first in the high nibble; an odd last pixel leaves the low
 * nibble 0. */
static U32 _WriteAbs(const IMAGE* pImage, PLAT_FILE* hFile, U32 i, U32 n) {
  char ac[16];
  I32  x, y;
  U32  Result;
  _GetPos(pImage, i, &x, &y);
  _WriteAbsHead(hFile, n, x, y);
  if (_BitsPerPixel == 4) {
    for (U32 k = 0; k < n; k += 2) {
      U32 v = _GetPackedIndex(pImage, x, y) << 4;
      _StepPos(pImage, &x, &y);
      if (k + 1 < n) {
        v |= _GetPackedIndex(pImage, x, y);
        _StepPos(pImage, &x, &y);
      }
      _WriteText(hFile, ac, (U32)_FormatByteItem(ac, v));
    }
    Result = (n + 1) / 2 + 2;
  } else {
    for (U32 k = 0; k < n; k++) {
      _WriteText(hFile, ac, (U32)_FormatByteItem(ac, _GetPackedIndex(pImage, x, y)));
      _StepPos(pImage, &x, &y);
    }
    Result = n + 2;
  }
  _WriteText(hFile, "\r\n", 2);
  return Result;
}

/* A run at 16 bits: the 5-6-5 value of the first pixel's colour, low
 * byte first. */
static U32 _WriteRun16(const IMAGE* pImage, PLAT_FILE* hFile, U32 i, U32 n, int Swapped) {
  char acItem[16];
  I32  x, y;
  _GetPos(pImage, i, &x, &y);
  int ItemLen = _FormatWordItem(acItem, _GetValue565(IMAGE_GetPixelColor(pImage, x, y), Swapped));
  return _WriteRunPiece(hFile, n, x, y, acItem, ItemLen);
}

static U32 _WriteAbs16(const IMAGE* pImage, PLAT_FILE* hFile, U32 i, U32 n, int Swapped) {
  char ac[16];
  I32  x, y;
  _GetPos(pImage, i, &x, &y);
  _WriteAbsHead(hFile, n, x, y);
  for (U32 k = 0; k < n; k++) {
    U32 v = _GetValue565(IMAGE_GetPixelColor(pImage, x, y), Swapped);
    _WriteText(hFile, ac, (U32)_FormatWordItem(ac, v));
    _StepPos(pImage, &x, &y);
  }
  _WriteText(hFile, "\r\n", 2);
  return n + 2;
}

/* The stream of either kind and its closing text. */
static void _WriteStream(const IMAGE* pImage, PLAT_FILE* hFile, int Is16, int Swapped) {
  U32 NumPixels = (U32)pImage->XSize * (U32)pImage->YSize;
  U32 Total     = 0;
  U32 i         = 0;
  while (i < NumPixels) {
    U32 n = _GetRunLength(pImage, i, NumPixels);
    int IsRun;
    if (n >= RLE_MIN_RUN) {
      IsRun = 1;
    } else {
      n     = _GetAbsLength(pImage, i, NumPixels);
      IsRun = (n == 1);
    }
    if (Is16) {
      Total += IsRun ? _WriteRun16(pImage, hFile, i, n, Swapped) : _WriteAbs16(pImage, hFile, i, n, Swapped);
    } else {
      Total += IsRun ? _WriteRun(pImage, hFile, i, n) : _WriteAbs(pImage, hFile, i, n);
    }
    i += n;
  }
  char ac[80];
  int  Len = snprintf(ac, sizeof(ac), "\r\n\r\n  0};  /* %u for %u pixels */", (unsigned)Total, (unsigned)NumPixels);
  _WriteText(hFile, ac, (U32)Len);
}

/* A palette image at 4 or 8 bits per pixel (_BitsPerPixel). */
static void _WriteRLE(const IMAGE* pImage, PLAT_FILE* hFile) {
  _WriteStream(pImage, hFile, 0, 0);
}

/* 16 bits per pixel, 5-6-5, red and blue exchanged when Swapped. */
static void _WriteRLE16(const IMAGE* pImage, PLAT_FILE* hFile, int Swapped) {
  _WriteStream(pImage, hFile, 1, Swapped);
}

/*********************************************************************
*  Symbol name
*/
/* From the path: cut at its first dot, drop every directory (backslash
 * or slash), remove the blanks. The result stands behind "ac", "Pal",
 * "Colors" and "bm" and is shown in the banner, so it must be a C
 * identifier of its own: every other character that can't stand in one
 * (a hyphen, a control or non-ASCII byte) becomes '_', and a name that
 * starts with a digit gets a '_' in front. A name that is already an
 * identifier stays as it is. sPath is shorter than 260; acName holds
 * MAX_NAME_LENGTH + 2 characters. */
static void _MakeSymbolName(char* acName, const char* sPath) {
  char  acPath[MAX_NAME_LENGTH + 1];
  char* s;
  snprintf(acPath, sizeof(acPath), "%s", sPath);
  s = strchr(acPath, '.');
  if (s) {
    *s = 0;
  }
  s = acPath;
  for (char* p = acPath; *p; p++) {
    if (*p == '\\' || *p == '/') {
      s = p + 1;
    }
  }
  char* pDest = acName;
  for (; *s; s++) {
    char c = *s;
    if (c == ' ') {
      continue;
    }
    int IsIdentChar = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    *pDest++ = IsIdentChar ? c : '_';
  }
  *pDest = 0;
  if (acName[0] >= '0' && acName[0] <= '9') {
    memmove(acName + 1, acName, strlen(acName) + 1);
    acName[0] = '_';
  }
}

/*********************************************************************
*  Public
*/
static const FORMAT_INFO* _GetFormatInfo(int Format) {
  for (size_t i = 0; i < sizeof(_aFormat) / sizeof(_aFormat[0]); i++) {
    if (_aFormat[i].Format == Format) {
      return &_aFormat[i];
    }
  }
  return NULL;
}

static void _WriteArrayHead(PLAT_FILE* hFile, int ElementType, const char* sName) {
  static const char* _asElement[] = { "unsigned char", "unsigned short", "unsigned long" };
  _WriteFormatted(hFile, "\r\nstatic OMRAK_CONST_STORAGE %s ac%s[] = {\r\n", _asElement[ElementType], sName);
}

IMAGE* IMAGE_SaveFile(IMAGE* pImage, PLAT_FILE* hFile, int Type, const char* sFileName, const SAVEFORMAT* pFormat) {
  char acName[MAX_NAME_LENGTH + 2];
  char acPictureLine[MAX_NAME_LENGTH + 64];
  char acPaletteLine[MAX_NAME_LENGTH + 64];
  char acBitsPerPixel[24];
  _WithPalette = 0;
  if (pImage == NULL) {
    return NULL;
  }
  /* The other writers write to the file directly. Every C save ends with
   * an empty buffer, so nothing of ours can come after their bytes; the
   * flush only makes that certain. */
  _FlushOut();
  switch (Type) {
  case 1:
    break;   /* C bitmap file, below */
  case 2:    /* Windows Bitmap; the caller learns nothing of write errors */
    IMAGE_SaveBMP(pImage, hFile);
    return pImage;
  case 3:    /* GIF: the reduced image replaces pImage, which is freed */
    return GIF_SaveFile(pImage, hFile);
  case 4:    /* C stream */
    IMAGE_SaveStream(pImage, hFile);
    return pImage;
  default:
    IMAGE_ShowError("Unsupported file type");
    PLAT_Discard(hFile);
    return pImage;
  }
  /* Type 1: C bitmap file */
  _WithPalette = pFormat->NoPalette == 0;
  const FORMAT_INFO* pInfo = _GetFormatInfo(pFormat->Format);
  if (pInfo == NULL) {
    /* There is no format 3 (nor any number outside the table): no layout
     * exists for it, so it is refused before anything is written, and
     * the file it would have replaced stays. */
    char ac[64];
    snprintf(ac, sizeof(ac), "Format %d is not a valid format", pFormat->Format);
    IMAGE_ShowError(ac);
    PLAT_Discard(hFile);
    return pImage;
  }
  /* A true-colour image has no indices for the palette formats. A palette
   * image at 8 to 13 is written by its colours, like its true-colour
   * expansion, without a palette section. */
  int IsIndexed = pInfo->BitsPerPixel <= 8;
  if (pImage->NumColors == 0 && IsIndexed) {
    IMAGE_ShowError("FORMAT does not fit to bitmap!");
    PLAT_Discard(hFile);
    return pImage;
  }
  _BitsPerPixel = pInfo->BitsPerPixel;
  long long BytesPerLine = ((long long)_BitsPerPixel * pImage->XSize + 7) / 8;
  if (strlen(sFileName) >= 260) {
    IMAGE_ShowError("Filename too long");
    PLAT_Discard(hFile);   /* a refused save leaves the target as it was */
    return pImage;
  }
  _MakeSymbolName(acName, sFileName);
  _WriteBanner(pImage, hFile, acName);
  if (IsIndexed) {
    _WritePalette(pImage, hFile, acName);
    _WriteArrayHead(hFile, _ELEM_CHAR, acName);
    if (pInfo->Compressed) {
      _WriteRLE(pImage, hFile);
    } else {
      _WriteRows(pImage, hFile);
    }
    snprintf(acPictureLine, sizeof(acPictureLine), "ac%s,  /* Pointer to picture data (indices) */", acName);
    snprintf(acPaletteLine, sizeof(acPaletteLine), "&Pal%s  /* Pointer to palette */", acName);
  } else {
    _WriteArrayHead(hFile, pInfo->ElementType, acName);
    if (pInfo->Compressed) {
      _WriteRLE16(pImage, hFile, pInfo->Swapped);
    } else if (_BitsPerPixel == 16) {
      _WriteRows565(pImage, hFile, pInfo->Swapped);
    } else {
      _WriteRows888(pImage, hFile, pInfo->Swapped);
    }
    snprintf(acPictureLine, sizeof(acPictureLine), "(unsigned char *)ac%s,  /* Pointer to picture data */", acName);
    snprintf(acPaletteLine, sizeof(acPaletteLine), "%s", "NULL  /* Pointer to palette */");
  }
  /* Descriptor */
  if (pInfo->sBitsPerPixel) {
    snprintf(acBitsPerPixel, sizeof(acBitsPerPixel), "%s", pInfo->sBitsPerPixel);
  } else {
    snprintf(acBitsPerPixel, sizeof(acBitsPerPixel), "%d", _BitsPerPixel);
  }
  _WriteFormatted(hFile,
    "\r\n\r\nOMRAK_CONST_STORAGE OMRAK_BITMAP bm%s = {\r\n"
    "  %d, /* XSize */\r\n"
    "  %d, /* YSize */\r\n"
    "  %lld, /* BytesPerLine */\r\n"
    "  %s, /* BitsPerPixel */\r\n"
    "  %s\r\n"
    "  %s"
    "%s",
    acName, (int)pImage->XSize, (int)pImage->YSize, BytesPerLine, acBitsPerPixel,
    acPictureLine, acPaletteLine,
    pInfo->sDrawLine ? pInfo->sDrawLine : "");
  _Write(hFile, "\r\n};", 4);
  _WriteString(hFile, "\r\n\r\n/* *** End of file *** */\r\n");
  _FlushOut();
  return pImage;
}
