/*
 * Conversion of an image onto a palette by the nearest colour, the fixed
 * palettes, the custom palette table, and the colour census behind Info
 * and the best palette.
 *
 * Two shortcuts keep big true-colour pictures fast; both give exactly the
 * results of the plain rules written next to them:
 *  - a conversion remembers the index found for each colour it has mapped
 *    (a hash table from colour to index), so the palette is searched once
 *    per distinct colour, not once per pixel;
 *  - the census finds a colour's counter through a hash table instead of
 *    searching the table, and puts the table in order once at the end
 *    (_SortTally tells why that order is the one the running bubble-up of
 *    the plain census gives).
 */
#include "palette.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "../platform/plat.h"
#include "dither.h"

/*********************************************************************
*  Palettes
*/
static U32 _aColorBW[2]    = { 0x000000, 0xFFFFFF };
static U32 _aColorGray4[4] = { 0x000000, 0x555555, 0xAAAAAA, 0xFFFFFF };
static U32 _aColorGray16[16] = {
  0x000000, 0x111111, 0x222222, 0x333333, 0x444444, 0x555555, 0x666666, 0x777777,
  0x888888, 0x999999, 0xAAAAAA, 0xBBBBBB, 0xCCCCCC, 0xDDDDDD, 0xEEEEEE, 0xFFFFFF
};
/* Red from bit 0, green from bit 1, blue from bit 2 of the index. */
static U32 _aColor111[8] = {
  0x000000, 0x0000FF, 0x00FF00, 0x00FFFF, 0xFF0000, 0xFF00FF, 0xFFFF00, 0xFFFFFF
};
static U32 _aColorWork[256];
static U32 _aColorCustom[256];

static PALETTE _PalBW     = {  2, _aColorBW };
static PALETTE _PalGray4  = {  4, _aColorGray4 };
static PALETTE _PalGray16 = { 16, _aColorGray16 };
static PALETTE _Pal111    = {  8, _aColor111 };
static PALETTE _PalWork   = { 256, _aColorWork };    /* filled just before each use */
static PALETTE _PalCustom = { 256, _aColorCustom };  /* filled by the palette file reader */

/*********************************************************************
*  Hash table from a 24-bit colour to a 32-bit value, open addressing
*  with linear probing. It grows by doubling while its load passes 1/2.
*  When memory runs out it fills up to 3/4 and then refuses new keys;
*  callers cope with a refusal.
*/
#define _EMPTY_KEY     0xFFFFFFFFu   /* no 24-bit colour has this value */
#define _MAP_MIN_BITS  10
#define _MAP_MAX_BITS  25            /* 2^24 colours at load 1/2 */

typedef struct {
  U32 Key;
  U32 Value;
} _SLOT;

typedef struct {
  _SLOT* pSlot;
  int    NumBits;
  U32    Mask;
  U32    NumUsed;
} _COLORMAP;

static U32 _Hash(U32 Key, int NumBits) {
  return (Key * 0x9E3779B1u) >> (32 - NumBits);
}

static int _MAP_Init(_COLORMAP* pMap, int NumBits) {
  size_t NumSlots = (size_t)1 << NumBits;
  pMap->pSlot = (_SLOT*)PLAT_Alloc(NumSlots * sizeof(_SLOT));
  if (pMap->pSlot == NULL) {
    return 0;
  }
  memset(pMap->pSlot, 0xFF, NumSlots * sizeof(_SLOT));
  pMap->NumBits = NumBits;
  pMap->Mask    = (U32)(NumSlots - 1);
  pMap->NumUsed = 0;
  return 1;
}

static void _MAP_Free(_COLORMAP* pMap) {
  PLAT_Free(pMap->pSlot);
  pMap->pSlot = NULL;
}

/* Gives the slot holding Key, or the free slot where it belongs. */
static _SLOT* _MAP_Probe(const _COLORMAP* pMap, U32 Key) {
  U32 i = _Hash(Key, pMap->NumBits);
  for (;;) {
    _SLOT* pSlot = &pMap->pSlot[i];
    if (pSlot->Key == Key || pSlot->Key == _EMPTY_KEY) {
      return pSlot;
    }
    i = (i + 1) & pMap->Mask;
  }
}

static U32* _MAP_Find(const _COLORMAP* pMap, U32 Key) {
  _SLOT* pSlot = _MAP_Probe(pMap, Key);
  return pSlot->Key == Key ? &pSlot->Value : NULL;
}

static int _MAP_Grow(_COLORMAP* pMap) {
  _COLORMAP New;
  if (pMap->NumBits >= _MAP_MAX_BITS || !_MAP_Init(&New, pMap->NumBits + 1)) {
    return 0;
  }
  for (U32 i = 0; i <= pMap->Mask; i++) {
    if (pMap->pSlot[i].Key != _EMPTY_KEY) {
      *_MAP_Probe(&New, pMap->pSlot[i].Key) = pMap->pSlot[i];
    }
  }
  New.NumUsed = pMap->NumUsed;
  _MAP_Free(pMap);
  *pMap = New;
  return 1;
}

/* Adds a key that is not in the table yet. 0 when there is no room. */
static int _MAP_Add(_COLORMAP* pMap, U32 Key, U32 Value) {
  U32 NumSlots = pMap->Mask + 1;
  if ((pMap->NumUsed + 1) * 2 > NumSlots && !_MAP_Grow(pMap)) {
    if ((pMap->NumUsed + 1) * 4 > NumSlots * 3) {
      return 0;
    }
  }
  _SLOT* pSlot = _MAP_Probe(pMap, Key);
  pSlot->Key   = Key;
  pSlot->Value = Value;
  pMap->NumUsed++;
  return 1;
}

/*********************************************************************
*  Nearest colour
*/
/* Squared distance of the red, green and blue bytes; bits 24-31 take no
 * part. At most 3 * 255 * 255. */
static I32 _GetColorDistance(U32 ColorA, U32 ColorB) {
  I32 dr = (I32)(ColorA & 0xFF)         - (I32)(ColorB & 0xFF);
  I32 dg = (I32)((ColorA >> 8) & 0xFF)  - (I32)((ColorB >> 8) & 0xFF);
  I32 db = (I32)((ColorA >> 16) & 0xFF) - (I32)((ColorB >> 16) & 0xFF);
  return dr * dr + dg * dg + db * db;
}

/* The lowest index of the smallest distance; an exact match ends the
 * search. */
static I32 _FindNearestColor(U32 Color, const PALETTE* pPalette) {
  I32 iBest    = 0;
  I32 BestDist = _GetColorDistance(Color, pPalette->pColors[0]);
  for (I32 i = 1; i < pPalette->NumColors && BestDist != 0; i++) {
    I32 Dist = _GetColorDistance(Color, pPalette->pColors[i]);
    if (Dist < BestDist) {
      BestDist = Dist;
      iBest    = i;
    }
  }
  return iBest;
}

/* The same answer as _FindNearestColor, found faster for many colours:
 * the entries in order of red, the search going out from the colour's red
 * in both directions and stopping on a side once the red difference alone
 * is more than the best distance so far. A tie still goes to the lowest
 * index, since an entry at the best distance is never passed over. */
typedef struct {
  int NumColors;
  U8  aOrder[256];    /* entry numbers in order of red */
  U32 aColor[256];    /* their colours, in that order */
} _SEARCH;

static void _InitSearch(_SEARCH* pSearch, const PALETTE* pPalette) {
  int n = pPalette->NumColors;
  for (int i = 0; i < n; i++) {
    pSearch->aOrder[i] = (U8)i;
  }
  std::stable_sort(pSearch->aOrder, pSearch->aOrder + n, [pPalette](U8 a, U8 b) {
    return (pPalette->pColors[a] & 0xFF) < (pPalette->pColors[b] & 0xFF);
  });
  for (int i = 0; i < n; i++) {
    pSearch->aColor[i] = pPalette->pColors[pSearch->aOrder[i]];
  }
  pSearch->NumColors = n;
}

static I32 _FindNearestSorted(U32 Color, const _SEARCH* pSearch) {
  int Red = (int)(Color & 0xFF);
  int n   = pSearch->NumColors;
  int Up  = (int)(std::lower_bound(pSearch->aColor, pSearch->aColor + n, Color & 0xFF,
                                   [](U32 c, U32 r) { return (c & 0xFF) < r; }) - pSearch->aColor);
  int Down = Up - 1;
  I32 BestDist = 0x7FFFFFFF;
  I32 iBest    = 0;
  /* Tries the entry at k; 0 once its red alone is too far, which ends
   * that direction. */
  auto Try = [&](int k) {
    int dr = (int)(pSearch->aColor[k] & 0xFF) - Red;
    if (dr * dr > BestDist) {
      return 0;
    }
    I32 Dist = _GetColorDistance(Color, pSearch->aColor[k]);
    I32 i    = pSearch->aOrder[k];
    if (Dist < BestDist || (Dist == BestDist && i < iBest)) {
      BestDist = Dist;
      iBest    = i;
    }
    return 1;
  };
  while (Up < n || Down >= 0) {
    if (Up < n) {
      Up = Try(Up) ? Up + 1 : n;
    }
    if (Down >= 0) {
      Down = Try(Down) ? Down - 1 : -1;
    }
  }
  return iBest;
}

/*********************************************************************
*  Conversion
*
*  The loops walk the rows of the pixel store with pointers.
*/
/* The colour of a true-colour pixel stored as blue, green, red. */
static inline U32 _GetTrueColor(const U8* p) {
  return (U32)p[0] << 16 | (U32)p[1] << 8 | (U32)p[2];
}

static void _ShowLine(I32 y, I32 YSize) {
  IMAGE_ShowLineStatus("Converting image, line ", y + 1, YSize);
}

/* Palette source: one search per source entry, then a table look-up per
 * pixel. An index at or above the source's NumColors (only a malformed
 * file holds one) reads as entry 0 everywhere else in the program
 * (IMAGE_GetPixelColor, the writers, the expansion to true colour), so
 * here it maps to where entry 0 maps. */
static void _ConvertIndices(const IMAGE* pSrc, IMAGE* pDest, const PALETTE* pPalette) {
  U8  aMap[256] = { 0 };
  I32 NumEntries = pSrc->NumColors < 256 ? pSrc->NumColors : 256;
  for (I32 i = 0; i < NumEntries; i++) {
    aMap[i] = (U8)_FindNearestColor(IMAGE_GetColor(pSrc, i), pPalette);
  }
  if (NumEntries < 256) {
    memset(aMap + NumEntries, aMap[0], (size_t)(256 - NumEntries));
  }
  for (I32 y = 0; y < pSrc->YSize; y++) {
    _ShowLine(y, pSrc->YSize);
    const U8* pSrcRow  = IMAGE_GetRow(pSrc, y);
    U8*       pDestRow = IMAGE_GetRow(pDest, y);
    for (I32 x = 0; x < pSrc->XSize; x++) {
      pDestRow[x] = aMap[pSrcRow[x]];
    }
  }
}

/* True-colour source: each distinct colour is searched once and its index
 * kept in a hash table. Without memory for the table a colour is simply
 * searched again; the result is the same. */
static void _ConvertColors(const IMAGE* pSrc, IMAGE* pDest, const PALETTE* pPalette) {
  _COLORMAP Map;
  int HasMap    = _MAP_Init(&Map, _MAP_MIN_BITS);
  U32 PrevColor = _EMPTY_KEY;
  U32 Index     = 0;
  _SEARCH Search;
  _InitSearch(&Search, pPalette);
  for (I32 y = 0; y < pSrc->YSize; y++) {
    _ShowLine(y, pSrc->YSize);
    const U8* p        = IMAGE_GetRow(pSrc, y);
    U8*       pDestRow = IMAGE_GetRow(pDest, y);
    for (I32 x = 0; x < pSrc->XSize; x++, p += 3) {
      U32 Color = _GetTrueColor(p);
      if (Color != PrevColor) {
        U32* pIndex = HasMap ? _MAP_Find(&Map, Color) : NULL;
        if (pIndex) {
          Index = *pIndex;
        } else {
          Index = (U32)_FindNearestSorted(Color, &Search);
          if (HasMap) {
            _MAP_Add(&Map, Color, Index);
          }
        }
        PrevColor = Color;
      }
      pDestRow[x] = (U8)Index;
    }
  }
  if (HasMap) {
    _MAP_Free(&Map);
  }
}

static IMAGE* _IntoPalette(IMAGE* pBitmapOrg, const PALETTE* pPalette) {
  if (pBitmapOrg == NULL) {
    IMAGE_ShowError("Internal error : pBitmapOrg == NULL");
    return NULL;
  }
  /* The custom palette is empty after a refused file; no conversion may
   * run on a table without entries or with more than an image can hold. */
  if (pPalette == NULL || pPalette->pColors == NULL || pPalette->NumColors < 1 || pPalette->NumColors > 256) {
    IMAGE_ShowError("The palette must have 1 to 256 colors");
    return NULL;
  }
  IMAGE* pImage = IMAGE_Create(pBitmapOrg->XSize, pBitmapOrg->YSize, pPalette->NumColors);
  if (pImage == NULL) {
    return NULL;
  }
  if (pBitmapOrg->NumColors) {
    _ConvertIndices(pBitmapOrg, pImage, pPalette);
  } else {
    _ConvertColors(pBitmapOrg, pImage, pPalette);
  }
  for (I32 i = 0; i < pPalette->NumColors; i++) {
    IMAGE_SetColor(pImage, i, pPalette->pColors[i]);
  }
  IMAGE_Free(pBitmapOrg);
  IMAGE_ShowStatus("Conversion done");
  return pImage;
}

/* With dithering on, the dithered form gives the same palette and the
 * same reports. The best palette never dithers: it keeps what it can
 * exactly and serves the GIF reader and writer. */
IMAGE* CONVERT_IntoPalette(IMAGE* pBitmapOrg, const PALETTE* pPalette) {
  if (CONVERT_GetDither()) {
    return CONVERT_DitherIntoPalette(pBitmapOrg, pPalette, 0, 0);
  }
  return _IntoPalette(pBitmapOrg, pPalette);
}

/*********************************************************************
*  Fixed palettes
*/
static U32 _Level(U32 Value, int NumBits) {
  return 255 * Value / ((1u << NumBits) - 1);
}

/* Index fields from the top: blue, green, red; each field's value is a
 * level between 0 and 255. */
static void _FillFieldPalette(int NumBitsB, int NumBitsG, int NumBitsR) {
  I32 NumColors = 1 << (NumBitsB + NumBitsG + NumBitsR);
  for (I32 i = 0; i < NumColors; i++) {
    U32 r = _Level((U32)i & ((1u << NumBitsR) - 1), NumBitsR);
    U32 g = _Level(((U32)i >> NumBitsR) & ((1u << NumBitsG) - 1), NumBitsG);
    U32 b = _Level((U32)i >> (NumBitsR + NumBitsG), NumBitsB);
    _aColorWork[i] = b << 16 | g << 8 | r;
  }
  _PalWork.NumColors = NumColors;
}

/* Colour j of the 6 x 6 x 6 cube, levels in steps of 51. */
static U32 _CubeColor(I32 j) {
  U32 b = (U32)(j / 36) * 51;
  U32 g = (U32)((j / 6) % 6) * 51;
  U32 r = (U32)(j % 6) * 51;
  return b << 16 | g << 8 | r;
}

/* Cube colours 0-107, black 108-119, 16 grays 120-135, black 136-147,
 * cube colours 108-215 at 148-255. */
static void _Fill8666(void) {
  for (I32 i = 0; i < 256; i++) {
    if (i < 108) {
      _aColorWork[i] = _CubeColor(i);
    } else if (i >= 120 && i < 136) {
      _aColorWork[i] = (U32)(i - 120) * 0x111111;
    } else if (i >= 148) {
      _aColorWork[i] = _CubeColor(i - 40);
    } else {
      _aColorWork[i] = 0;
    }
  }
  _PalWork.NumColors = 256;
}

IMAGE* CONVERT_IntoBW(IMAGE* pBitmapOrg)     { return CONVERT_IntoPalette(pBitmapOrg, &_PalBW); }
IMAGE* CONVERT_IntoGray4(IMAGE* pBitmapOrg)  { return CONVERT_IntoPalette(pBitmapOrg, &_PalGray4); }
IMAGE* CONVERT_IntoGray16(IMAGE* pBitmapOrg) { return CONVERT_IntoPalette(pBitmapOrg, &_PalGray16); }
IMAGE* CONVERT_Into111(IMAGE* pBitmapOrg)    { return CONVERT_IntoPalette(pBitmapOrg, &_Pal111); }

/* 64 grays: steps of 4 up to 0x80, then of 4 from 0x83 to 0xFB. */
IMAGE* CONVERT_IntoGray64(IMAGE* pBitmapOrg) {
  for (U32 i = 0; i < 64; i++) {
    _aColorWork[i] = (255 * i + 32) / 64 * 0x010101;
  }
  _PalWork.NumColors = 64;
  return CONVERT_IntoPalette(pBitmapOrg, &_PalWork);
}

IMAGE* CONVERT_IntoGray256(IMAGE* pBitmapOrg) {
  for (U32 i = 0; i < 256; i++) {
    _aColorWork[i] = i * 0x010101;
  }
  _PalWork.NumColors = 256;
  return CONVERT_IntoPalette(pBitmapOrg, &_PalWork);
}

IMAGE* CONVERT_Into222(IMAGE* pBitmapOrg) {
  _FillFieldPalette(2, 2, 2);
  return CONVERT_IntoPalette(pBitmapOrg, &_PalWork);
}

IMAGE* CONVERT_Into233(IMAGE* pBitmapOrg) {
  _FillFieldPalette(2, 3, 3);
  return CONVERT_IntoPalette(pBitmapOrg, &_PalWork);
}

IMAGE* CONVERT_Into323(IMAGE* pBitmapOrg) {
  _FillFieldPalette(3, 2, 3);
  return CONVERT_IntoPalette(pBitmapOrg, &_PalWork);
}

IMAGE* CONVERT_Into332(IMAGE* pBitmapOrg) {
  _FillFieldPalette(3, 3, 2);
  return CONVERT_IntoPalette(pBitmapOrg, &_PalWork);
}

IMAGE* CONVERT_Into8666(IMAGE* pBitmapOrg) {
  _Fill8666();
  return CONVERT_IntoPalette(pBitmapOrg, &_PalWork);
}

IMAGE* CONVERT_IntoCustomPalette(IMAGE* pBitmapOrg) {
  return CONVERT_IntoPalette(pBitmapOrg, &_PalCustom);
}

PALETTE* CONVERT_GetCustomPalette(void) {
  return &_PalCustom;
}

/*********************************************************************
*  Colour census
*
*  The table that results is the one of the plain procedure: for each
*  pixel in scan order, find the colour's entry (or add it at the end
*  with count 0), add 1 to its count, and move it toward the front while
*  the entry before it has a smaller count.
*/
typedef struct {
  U32 Color;
  U32 Count;
  U32 Last;    /* scan position of the latest pixel of this colour */
} _TALLY;

/* Why this order is that of the plain procedure: its table is always
 * sorted by count, highest first, and among equal counts by the moment
 * each entry reached that count, earliest first. This holds at the start
 * and after each step: an entry going from c - 1 to c passes exactly the
 * entries still at c - 1 ahead of it and stops behind the last entry at
 * c or more, which all reached c before it; a new entry reaching 1 stops
 * behind every other entry. No other entries change places among
 * themselves. The moment an entry reached its final count is the scan
 * position of its colour's last pixel, and no two colours share it, so
 * the order is total. */
static void _SortTally(_TALLY* aTally, I32 NumTally) {
  std::sort(aTally, aTally + NumTally, [](const _TALLY& a, const _TALLY& b) {
    return a.Count != b.Count ? a.Count > b.Count : a.Last < b.Last;
  });
}

static void _ShowRow(I32 y, I32 YSize) {
  IMAGE_ShowLineStatus("Calculating info of image, row ", y + 1, YSize);
}

/* Palette image: counts per index, then the indices that show the same
 * colour are merged (equal palette words are one colour). An index at or
 * above NumColors shows entry 0, as IMAGE_GetPixelColor gives it. */
static I32 _TallyIndices(const IMAGE* pImage, _TALLY* aTally) {
  U32 aCount[256];
  U32 aLast[256];
  U32 Pos = 0;
  memset(aCount, 0, sizeof(aCount));
  memset(aLast, 0, sizeof(aLast));
  for (I32 y = 0; y < pImage->YSize; y++) {
    _ShowRow(y, pImage->YSize);
    const U8* pRow = IMAGE_GetRow(pImage, y);
    for (I32 x = 0; x < pImage->XSize; x++) {
      U32 v = pRow[x];
      aCount[v]++;
      aLast[v] = Pos++;
    }
  }
  I32 NumTally = 0;
  for (I32 v = 0; v < 256; v++) {
    if (aCount[v] == 0) {
      continue;
    }
    U32 Color = IMAGE_GetColor(pImage, v < pImage->NumColors ? v : 0);
    I32 i = 0;
    while (i < NumTally && aTally[i].Color != Color) {
      i++;
    }
    if (i == NumTally) {
      aTally[NumTally].Color = Color;
      aTally[NumTally].Count = 0;
      aTally[NumTally].Last  = 0;
      NumTally++;
    }
    aTally[i].Count += aCount[v];
    aTally[i].Last   = std::max(aTally[i].Last, aLast[v]);
  }
  return NumTally;
}

/* True-colour image: a hash table leads from the colour to its counter.
 * Gives the counters in *paTally (to be freed by the caller) and their
 * number, or -1 when memory ran out. */
static I32 _TallyColors(const IMAGE* pImage, _TALLY** paTally) {
  _COLORMAP Map;
  I32       NumTally  = 0;
  I32       NumRoom   = 1024;
  _TALLY*   aTally    = (_TALLY*)PLAT_Alloc((size_t)NumRoom * sizeof(_TALLY));
  U32       PrevColor = _EMPTY_KEY;
  U32       iTally    = 0;
  U32       Pos       = 0;
  *paTally = NULL;
  if (aTally == NULL) {
    return -1;
  }
  if (!_MAP_Init(&Map, _MAP_MIN_BITS)) {
    PLAT_Free(aTally);
    return -1;
  }
  for (I32 y = 0; y < pImage->YSize; y++) {
    _ShowRow(y, pImage->YSize);
    const U8* p = IMAGE_GetRow(pImage, y);
    for (I32 x = 0; x < pImage->XSize; x++, p += 3) {
      U32 Color = _GetTrueColor(p);
      if (Color != PrevColor) {
        U32* pIndex = _MAP_Find(&Map, Color);
        if (pIndex) {
          iTally = *pIndex;
        } else {
          if (NumTally == NumRoom) {
            _TALLY* aMore = (_TALLY*)PLAT_Alloc((size_t)NumRoom * 2 * sizeof(_TALLY));
            if (aMore == NULL) {
              NumTally = -1;
              goto Done;
            }
            memcpy(aMore, aTally, (size_t)NumTally * sizeof(_TALLY));
            PLAT_Free(aTally);
            aTally   = aMore;
            NumRoom *= 2;
          }
          if (!_MAP_Add(&Map, Color, (U32)NumTally)) {
            NumTally = -1;
            goto Done;
          }
          iTally = (U32)NumTally++;
          aTally[iTally].Color = Color;
          aTally[iTally].Count = 0;
        }
        PrevColor = Color;
      }
      aTally[iTally].Count++;
      aTally[iTally].Last = Pos++;
    }
  }
Done:
  _MAP_Free(&Map);
  if (NumTally < 0) {
    PLAT_Free(aTally);
    return -1;
  }
  *paTally = aTally;
  return NumTally;
}

/* Rebuilds the census table: distinct colours with their pixel counts,
 * most frequent first, equal counts in the order in which they reached
 * that count. When memory runs out the census ends with 0 colours and no
 * message. The table is sized to the colours found and replaced by each
 * census. */
I32 IMAGE_CountColors(IMAGE* pImage) {
  _TALLY  aSmall[256];
  _TALLY* aTally = aSmall;
  I32     NumTally;
  if (pImage == NULL) {
    return 0;
  }
  PLAT_Free(pImage->pColorCount);
  pImage->pColorCount   = NULL;
  pImage->NumColorsUsed = 0;
  if (pImage->NumColors) {
    NumTally = _TallyIndices(pImage, aSmall);
  } else {
    NumTally = _TallyColors(pImage, &aTally);
  }
  if (NumTally > 0) {
    _SortTally(aTally, NumTally);
    pImage->pColorCount = (U32*)PLAT_Alloc((size_t)NumTally * 2 * sizeof(U32));
    if (pImage->pColorCount) {
      for (I32 i = 0; i < NumTally; i++) {
        pImage->pColorCount[2 * i]     = aTally[i].Color;
        pImage->pColorCount[2 * i + 1] = aTally[i].Count;
      }
      pImage->NumColorsUsed = NumTally;
    }
  }
  if (aTally != aSmall) {
    PLAT_Free(aTally);
  }
  IMAGE_ShowStatus("Image calculation done");
  return pImage->NumColorsUsed;
}

U32 IMAGE_GetUsedColor(const IMAGE* pImage, I32 Index) {
  if (pImage == NULL || pImage->pColorCount == NULL || Index < 0 || Index >= pImage->NumColorsUsed) {
    return 0;
  }
  return pImage->pColorCount[2 * Index];
}

/* The most frequent colours, at most 256, become the palette. */
IMAGE* CONVERT_IntoBestPalette(IMAGE* pBitmapOrg) {
  if (pBitmapOrg == NULL) {
    return CONVERT_IntoPalette(NULL, &_PalWork);
  }
  I32 NumColors = IMAGE_CountColors(pBitmapOrg);
  if (NumColors == 0) {
    IMAGE_ShowError("Image contains no colors");
    return NULL;
  }
  if (NumColors > 256) {
    NumColors = 256;
  }
  for (I32 i = 0; i < NumColors; i++) {
    _aColorWork[i] = IMAGE_GetUsedColor(pBitmapOrg, i);
  }
  _PalWork.NumColors = NumColors;
  return _IntoPalette(pBitmapOrg, &_PalWork);
}
