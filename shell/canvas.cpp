/*
 * Canvas and info panel.
 *
 * Only the part of the picture that can be seen is converted and scaled,
 * and the result is kept for the next paint until the image, the zoom or
 * the window's size change (CANVAS_ClearCache drops it), so that a large
 * picture repaints quickly at any zoom.
 */
#include "canvas.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include <vector>

#include <wx/bitmap.h>
#include <wx/dc.h>
#include <wx/image.h>
#include <wx/rawbmp.h>
#include <wx/settings.h>

#include "../commands/workspace.h"

/* The image being drawn, and its palette as RGB triples. */
static const IMAGE*  _pSource;
static unsigned char _aPalette[256 * 3];

/* The last scaled part, reused while nothing that shapes it changes. */
static wxBitmap    _ScaledBitmap;
static CANVAS_RECT _ScaledDest, _ScaledSrc, _ScaledVisible;
static bool        _IsScaledValid;

/*********************************************************************
*  Geometry
*/
float CANVAS_GetScale(int Zoom) {
  return (float)Zoom * 0.1f;
}

int CANVAS_GetSizeTerm(int Size, int Zoom) {
  /* In double the product of the integer and the single-precision scale
   * is exact; the truncation then shows the scale's rounding. */
  return (int)((double)Size * (double)CANVAS_GetScale(Zoom) - (double)1.0f);
}

void CANVAS_GetLayout(int XSize, int YSize, int Zoom, int LabelWidth, int LineHeight, CANVAS_LAYOUT* p) {
  p->LineHeight   = LineHeight;
  p->ValueX       = LabelWidth + 17;
  p->ImageY       = 10 + 4 * LineHeight;
  p->Dest.Left    = 10;
  p->Dest.Top     = p->ImageY;
  p->Dest.Right   = 10 + CANVAS_GetSizeTerm(XSize, Zoom);
  p->Dest.Bottom  = p->ImageY + CANVAS_GetSizeTerm(YSize, Zoom);
  p->Src.Left     = 0;
  p->Src.Top      = 0;
  p->Src.Right    = XSize - 1;
  p->Src.Bottom   = YSize - 1;
  p->Frame.Left   = 8;
  p->Frame.Top    = p->ImageY - 2;
  p->Frame.Right  = p->Dest.Right + 2;
  p->Frame.Bottom = p->Dest.Bottom + 2;
}

void CANVAS_GetStripEntry(int i, int NumColors, int StripX, int StripWidth, int* pLeft, int* pRight) {
  *pLeft  = StripX + (int)(((long long)i * StripWidth) / NumColors);
  *pRight = StripX + (int)(((long long)(i + 1) * StripWidth) / NumColors);
}

/*********************************************************************
*  Source rows, converted to RGB where they are needed
*/
void CANVAS_ClearCache(void) {
  _IsScaledValid = false;
}

static void _BeginSource(const IMAGE* pImage) {
  _pSource = pImage;
  memset(_aPalette, 0, sizeof(_aPalette));   /* an index past the palette shows black */
  const U8* pEntry = pImage->pInfo + 40;
  for (int i = 0; i < pImage->NumColors && i < 256; i++, pEntry += 4) {
    _aPalette[3 * i]     = pEntry[2];
    _aPalette[3 * i + 1] = pEntry[1];
    _aPalette[3 * i + 2] = pEntry[0];
  }
}

/* Columns x0 to x1 - 1 of row y (0 the top) as RGB into pOut. */
static void _GetSourceRow(int y, int x0, int x1, unsigned char* pOut) {
  const IMAGE* p    = _pSource;
  const U8*    pRow = p->pData + (size_t)(p->YSize - 1 - y) * (size_t)p->BytesPerLine;
  if (p->NumColors) {
    for (int x = x0; x < x1; x++, pOut += 3) {
      const unsigned char* pColor = &_aPalette[3 * pRow[x]];
      pOut[0] = pColor[0];
      pOut[1] = pColor[1];
      pOut[2] = pColor[2];
    }
  } else {
    for (int x = x0; x < x1; x++, pOut += 3) {
      pOut[0] = pRow[3 * x + 2];
      pOut[1] = pRow[3 * x + 1];
      pOut[2] = pRow[3 * x];
    }
  }
}

/*********************************************************************
*  Scaling
*/
static bool _IsSameRect(const CANVAS_RECT& r0, const CANVAS_RECT& r1) {
  return memcmp(&r0, &r1, sizeof(r0)) == 0;
}

/* Source column of each destination column: the nearest, from the
 * centre of the destination pixel. */
static void _MapNearest(std::vector<int>& a, int First, int Num, int DestStart, int DestSize, int SrcStart, int SrcSize) {
  a.resize((size_t)Num);
  for (int i = 0; i < Num; i++) {
    long long d = First + i - DestStart;
    a[(size_t)i] = SrcStart + (int)(((2 * d + 1) * SrcSize) / (2LL * DestSize));
  }
}

/* Source span [a0, a1) that each destination column covers; never empty. */
static void _MapSpan(std::vector<int>& a0, std::vector<int>& a1, int First, int Num, int DestStart, int DestSize, int SrcStart, int SrcSize) {
  a0.resize((size_t)Num);
  a1.resize((size_t)Num);
  for (int i = 0; i < Num; i++) {
    long long d  = First + i - DestStart;
    int       s0 = (int)((d * SrcSize) / DestSize);
    int       s1 = (int)(((d + 1) * SrcSize) / DestSize);
    if (s1 <= s0) {
      s1 = s0 + 1;
    }
    a0[(size_t)i] = SrcStart + s0;
    a1[(size_t)i] = SrcStart + s1;
  }
}

static void _ScaleNearest(unsigned char* pOut, const CANVAS_RECT& Vis, const CANVAS_RECT& Dest, const CANVAS_RECT& Src) {
  int VW = Vis.Right - Vis.Left + 1, VH = Vis.Bottom - Vis.Top + 1;
  std::vector<int> aX, aY;
  _MapNearest(aX, Vis.Left, VW, Dest.Left, Dest.Right - Dest.Left + 1, Src.Left, Src.Right - Src.Left + 1);
  _MapNearest(aY, Vis.Top, VH, Dest.Top, Dest.Bottom - Dest.Top + 1, Src.Top, Src.Bottom - Src.Top + 1);
  /* The source columns in view, converted once per source row. */
  int x0 = aX[0], x1 = aX[(size_t)VW - 1] + 1;
  std::vector<unsigned char> aRow((size_t)(x1 - x0) * 3);
  int RowY = -1;
  for (int y = 0; y < VH; y++) {
    unsigned char* pLine = pOut + (size_t)y * (size_t)VW * 3;
    if (aY[(size_t)y] == RowY) {
      memcpy(pLine, pLine - (size_t)VW * 3, (size_t)VW * 3);   /* the same source row again */
      continue;
    }
    RowY = aY[(size_t)y];
    _GetSourceRow(RowY, x0, x1, aRow.data());
    for (int x = 0; x < VW; x++) {
      const unsigned char* p = &aRow[(size_t)(aX[(size_t)x] - x0) * 3];
      *pLine++ = p[0];
      *pLine++ = p[1];
      *pLine++ = p[2];
    }
  }
}

/* Narrower than the source: every destination pixel is the average of
 * the block of source pixels that it covers. */
static void _ScaleSmooth(unsigned char* pOut, const CANVAS_RECT& Vis, const CANVAS_RECT& Dest, const CANVAS_RECT& Src) {
  int VW = Vis.Right - Vis.Left + 1, VH = Vis.Bottom - Vis.Top + 1;
  std::vector<int> aX0, aX1, aY0, aY1;
  _MapSpan(aX0, aX1, Vis.Left, VW, Dest.Left, Dest.Right - Dest.Left + 1, Src.Left, Src.Right - Src.Left + 1);
  _MapSpan(aY0, aY1, Vis.Top, VH, Dest.Top, Dest.Bottom - Dest.Top + 1, Src.Top, Src.Bottom - Src.Top + 1);
  std::vector<unsigned> aSum((size_t)VW * 3);
  const IMAGE* pImage = _pSource;
  for (int y = 0; y < VH; y++) {
    std::fill(aSum.begin(), aSum.end(), 0u);
    for (int sy = aY0[(size_t)y]; sy < aY1[(size_t)y]; sy++) {
      /* Straight from the stored row: no copy of the picture is made. */
      const U8* pRow = pImage->pData + (size_t)(pImage->YSize - 1 - sy) * (size_t)pImage->BytesPerLine;
      unsigned* pSum = aSum.data();
      for (int x = 0; x < VW; x++, pSum += 3) {
        unsigned r = 0, g = 0, b = 0;
        int      sx1 = aX1[(size_t)x];
        if (pImage->NumColors) {
          for (int sx = aX0[(size_t)x]; sx < sx1; sx++) {
            const unsigned char* p = &_aPalette[3 * pRow[sx]];
            r += p[0];
            g += p[1];
            b += p[2];
          }
        } else {
          for (int sx = aX0[(size_t)x]; sx < sx1; sx++) {
            const U8* p = pRow + 3 * sx;
            r += p[2];
            g += p[1];
            b += p[0];
          }
        }
        pSum[0] += r;
        pSum[1] += g;
        pSum[2] += b;
      }
    }
    unsigned NumRows = (unsigned)(aY1[(size_t)y] - aY0[(size_t)y]);
    for (int x = 0; x < VW; x++) {
      unsigned Num = NumRows * (unsigned)(aX1[(size_t)x] - aX0[(size_t)x]);
      for (int c = 0; c < 3; c++) {
        *pOut++ = (unsigned char)((aSum[(size_t)x * 3 + c] + Num / 2) / Num);
      }
    }
  }
}

/* A bitmap of the RGB rows, written in place where the toolkit allows,
 * which spares the conversion from an image. */
static wxBitmap _MakeBitmap(const unsigned char* pRGB, int Width, int Height) {
  wxBitmap Bitmap(Width, Height, 24);
  wxNativePixelData Data(Bitmap);
  if (!Data) {
    wxImage Image(Width, Height, (unsigned char*)pRGB, true);
    return wxBitmap(Image);
  }
  wxNativePixelData::Iterator Row(Data);
  for (int y = 0; y < Height; y++) {
    wxNativePixelData::Iterator p = Row;
    for (int x = 0; x < Width; x++, ++p, pRGB += 3) {
      p.Red()   = pRGB[0];
      p.Green() = pRGB[1];
      p.Blue()  = pRGB[2];
    }
    Row.OffsetY(Data, 1);
  }
  return Bitmap;
}

void IMAGE_Draw(const IMAGE* pImage, wxDC& dc, const CANVAS_RECT* pDest, const CANVAS_RECT* pSrc, int Width, int Height) {
  if (pImage == NULL || pImage->pInfo == NULL) {
    return;
  }
  const CANVAS_RECT& Dest = *pDest;
  const CANVAS_RECT& Src  = *pSrc;
  if (Dest.Right < Dest.Left || Dest.Bottom < Dest.Top || Src.Right < Src.Left || Src.Bottom < Src.Top) {
    return;
  }
  CANVAS_RECT Vis;
  Vis.Left   = Dest.Left > 0 ? Dest.Left : 0;
  Vis.Top    = Dest.Top > 0 ? Dest.Top : 0;
  Vis.Right  = Dest.Right < Width - 1 ? Dest.Right : Width - 1;
  Vis.Bottom = Dest.Bottom < Height - 1 ? Dest.Bottom : Height - 1;
  if (Vis.Right < Vis.Left || Vis.Bottom < Vis.Top) {
    return;
  }
  _BeginSource(pImage);
  if (!(_IsScaledValid && _IsSameRect(Dest, _ScaledDest) && _IsSameRect(Src, _ScaledSrc) && _IsSameRect(Vis, _ScaledVisible))) {
    int VW = Vis.Right - Vis.Left + 1, VH = Vis.Bottom - Vis.Top + 1;
    unsigned char* pOut = (unsigned char*)malloc((size_t)VW * (size_t)VH * 3);
    if (pOut == NULL) {
      return;
    }
    int DW = Dest.Right - Dest.Left + 1, SW = Src.Right - Src.Left + 1;
    if (DW < SW) {
      _ScaleSmooth(pOut, Vis, Dest, Src);
    } else {
      /* Enlarging, or 1:1, where the nearest pixel is the pixel itself. */
      _ScaleNearest(pOut, Vis, Dest, Src);
    }
    _ScaledBitmap = _MakeBitmap(pOut, VW, VH);
    free(pOut);
    _ScaledDest    = Dest;
    _ScaledSrc     = Src;
    _ScaledVisible = Vis;
    _IsScaledValid = true;
  }
  dc.DrawBitmap(_ScaledBitmap, Vis.Left, Vis.Top);
}

/*********************************************************************
*  Paint
*/
static void _Fill(wxDC& dc, U32 Color, int Left, int Top, int Right, int Bottom) {
  /* The right column and the bottom row are left out. */
  if (Right <= Left || Bottom <= Top) {
    return;
  }
  dc.SetPen(*wxTRANSPARENT_PEN);
  dc.SetBrush(wxBrush(wxColour((unsigned char)(Color & 0xFF), (unsigned char)((Color >> 8) & 0xFF),
                               (unsigned char)((Color >> 16) & 0xFF))));
  dc.DrawRectangle(Left, Top, Right - Left, Bottom - Top);
}

static int _TextWidth(wxDC& dc, const char* s) {
  wxCoord w = 0, h = 0;
  dc.GetTextExtent(wxString::FromAscii(s), &w, &h);
  return (int)w;
}

void CANVAS_Paint(wxDC& dc, int Width, int Height) {
  wxColour Back = wxSystemSettings::GetColour(wxSYS_COLOUR_WINDOW);
  wxColour Fore = wxSystemSettings::GetColour(wxSYS_COLOUR_WINDOWTEXT);
  dc.SetBackground(wxBrush(Back));
  dc.Clear();
  dc.SetFont(wxSystemSettings::GetFont(wxSYS_DEFAULT_GUI_FONT));
  dc.SetTextForeground(Fore);
  dc.SetBackgroundMode(wxBRUSHSTYLE_TRANSPARENT);
  const IMAGE* pImage = pBitmapCurrent;
  if (pImage == NULL) {
    dc.DrawText("No bitmap", 0, 0);
    return;
  }
  wxCoord LabelWidth = 0, H = 0;
  dc.GetTextExtent("Resolution:", &LabelWidth, &H);
  CANVAS_LAYOUT L;
  CANVAS_GetLayout(pImage->XSize, pImage->YSize, Zoom, (int)LabelWidth, (int)H, &L);
  char ac[80];
  /* Line 1 */
  dc.DrawText("Resolution:", 5, 5);
  snprintf(ac, sizeof(ac), "%d * %d", (int)pImage->XSize, (int)pImage->YSize);
  dc.DrawText(ac, L.ValueX, 5);
  /* Line 2, with the strip of the palette */
  dc.DrawText("Colors:", 5, 5 + H);
  if (pImage->NumColors) {
    snprintf(ac, sizeof(ac), "%d", (int)pImage->NumColors);
    dc.DrawText(ac, L.ValueX, 5 + H);
    int StripX     = L.ValueX + _TextWidth(dc, ac) + 10;
    int StripWidth = Width - StripX - 10;
    for (int i = 0; i < pImage->NumColors; i++) {
      int Left, Right;
      CANVAS_GetStripEntry(i, pImage->NumColors, StripX, StripWidth, &Left, &Right);
      _Fill(dc, IMAGE_GetColor(pImage, i), Left, 5 + H, Right, 5 + 2 * H - 1);
    }
  } else {
    dc.DrawText("RGB", L.ValueX, 5 + H);
  }
  /* Line 3 */
  dc.DrawText("Zoom: ", 5, 5 + 2 * H);
  snprintf(ac, sizeof(ac), "%.1f *", (double)CANVAS_GetScale(Zoom));
  dc.DrawText(ac, L.ValueX, 5 + 2 * H);
  /* Line 4, with the swatch of the transparent colour */
  dc.DrawText("Transparent", 5, 5 + 3 * H);
  if (pImage->HasTrans) {
    U32 Color = IMAGE_GetColor(pImage, 0);
    snprintf(ac, sizeof(ac), "Yes, Color:%.6X", (unsigned)Color);
    dc.DrawText(ac, L.ValueX, 5 + 3 * H);
    int Left = L.ValueX + _TextWidth(dc, ac) + 10;
    _Fill(dc, Color, Left, 5 + 3 * H, Left + 1000, 5 + 4 * H - 1);
  } else {
    dc.DrawText("---", L.ValueX, 5 + 3 * H);
  }
  /* The frame: one pixel wide, one clear pixel around the image. */
  U32 FrameColor = (U32)Fore.Red() | ((U32)Fore.Green() << 8) | ((U32)Fore.Blue() << 16);
  const CANVAS_RECT& F = L.Frame;
  _Fill(dc, FrameColor, F.Left, F.Top, F.Right + 1, F.Top + 1);
  _Fill(dc, FrameColor, F.Left, F.Bottom, F.Right + 1, F.Bottom + 1);
  _Fill(dc, FrameColor, F.Left, F.Top, F.Left + 1, F.Bottom + 1);
  _Fill(dc, FrameColor, F.Right, F.Top, F.Right + 1, F.Bottom + 1);
  IMAGE_Draw(pImage, dc, &L.Dest, &L.Src, Width, Height);
}
