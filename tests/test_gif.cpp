/* GIF reader and writer on hand-made byte streams. */
#include <gtest/gtest.h>

#include <string.h>

#include "color/transparency.h"
#include "input/gif.h"
#include "output/gifout.h"
#include "testutil.h"

namespace {

/*********************************************************************
*  Building GIF files byte by byte
*/
std::string Screen(const char* sSignature, unsigned XSize, unsigned YSize, unsigned Flags) {
  std::string s(sSignature);
  Put16(s, XSize);
  Put16(s, YSize);
  s += (char)Flags;
  s += (char)0;
  s += (char)0;
  return s;
}

/* Colour values 0x00BBGGRR as red, green, blue bytes. */
std::string Table(const std::vector<U32>& aColor) {
  std::string s;
  for (U32 c : aColor) {
    s += (char)(c & 0xFF);
    s += (char)(c >> 8 & 0xFF);
    s += (char)(c >> 16 & 0xFF);
  }
  return s;
}

std::string Descriptor(unsigned x, unsigned y, unsigned XSize, unsigned YSize, unsigned Flags) {
  std::string s(1, (char)0x2C);
  Put16(s, x);
  Put16(s, y);
  Put16(s, XSize);
  Put16(s, YSize);
  s += (char)Flags;
  return s;
}

std::string Control(int TransIndex, unsigned Flags) {
  std::string s("\x21\xF9\x04", 3);
  s += (char)Flags;
  s += std::string(2, '\0');
  s += (char)TransIndex;
  s += (char)0;
  return s;
}

/* Codes of explicit widths, packed least significant bit first, cut into
 * sub-blocks of 255 and closed by the terminator (when Terminate). */
std::string Pack(const std::vector<std::pair<int, int>>& aCode, bool Terminate = true) {
  std::string Bytes;
  uint32_t Accu = 0;
  int NumBits = 0;
  for (auto& c : aCode) {
    Accu |= (uint32_t)c.first << NumBits;
    NumBits += c.second;
    while (NumBits >= 8) {
      Bytes += (char)(Accu & 0xFF);
      Accu >>= 8;
      NumBits -= 8;
    }
  }
  if (NumBits) Bytes += (char)Accu;
  std::string s;
  for (size_t i = 0; i < Bytes.size(); i += 255) {
    std::string Part = Bytes.substr(i, 255);
    s += (char)Part.size();
    s += Part;
  }
  if (Terminate) s += (char)0;
  return s;
}

/* Image data of literal codes only: the minimum code size, then the
 * codes with the widths that a standard decoder expects. -1 stands for
 * the clear code, -2 for the end code. */
std::string Literals(int MinCodeSize, const std::vector<int>& aValue, bool Terminate = true) {
  std::vector<std::pair<int, int>> aCode;
  int Clear = 1 << MinCodeSize;
  int Width = MinCodeSize + 1;
  int Next  = Clear + 2;
  bool IsFirst = true;
  for (int v : aValue) {
    int Code = v == -1 ? Clear : v == -2 ? Clear + 1 : v;
    aCode.push_back({ Code, Width });
    if (Code == Clear) {
      Width = MinCodeSize + 1;
      Next = Clear + 2;
      IsFirst = true;
      continue;
    }
    if (!IsFirst && Next < 4096) {
      Next++;
      if (Next == (1 << Width) && Width < 12) Width++;
    }
    IsFirst = false;
  }
  return std::string(1, (char)MinCodeSize) + Pack(aCode, Terminate);
}

IMAGE* Load(const std::string& s) {
  return GIF_LoadFromMemory((const U8*)s.data(), (U32)s.size());
}

std::vector<U32> Indices(const IMAGE* p) {
  std::vector<U32> a;
  for (int y = 0; y < p->YSize; y++)
    for (int x = 0; x < p->XSize; x++) a.push_back(IMAGE_GetPixel(p, x, y));
  return a;
}

std::vector<U32> Colors(const IMAGE* p) {
  std::vector<U32> a;
  for (int y = 0; y < p->YSize; y++)
    for (int x = 0; x < p->XSize; x++) a.push_back(IMAGE_GetPixelColor(p, x, y));
  return a;
}

const U32 RED = 0x0000FF, GREEN = 0x00FF00, BLUE = 0xFF0000, GRAY = 0x808080;
const std::vector<U32> aRGBG = { RED, GREEN, BLUE, GRAY };

/* A 4-colour screen of XSize x YSize with the table above and one frame
 * of the same size holding the given literal pixels. */
std::string Simple(int XSize, int YSize, const std::vector<int>& aPixel, const std::string& sBeforeFrame = "") {
  return Screen("GIF89a", XSize, YSize, 0x81) + Table(aRGBG) + sBeforeFrame
       + Descriptor(0, 0, XSize, YSize, 0) + Literals(2, aPixel) + ";";
}

/* Writes through a real file and gives the bytes and the result. */
std::string Save(IMAGE* pImage, IMAGE** ppResult) {
  static TempDir _Dir;
  std::string sPath = _Dir.File("out.gif");
  PLAT_FILE* hFile = PLAT_CreateWrite(sPath.c_str());
  *ppResult = GIF_SaveFile(pImage, hFile);
  PLAT_Close(hFile);
  return ReadFileBytes(sPath);
}

}  // namespace

/*********************************************************************
*  Reader
*/
TEST(GifRead, SignatureAndTooShortGiveNullSilently) {
  ReportCatcher Catcher;
  std::string Good = Simple(2, 1, { -1, 1, 2, -2 });
  std::string Bad = Good;
  Bad[3] = '8';
  Bad[4] = '8';
  EXPECT_EQ(Load(Bad), nullptr);
  Bad = Good;
  Bad.replace(0, 6, "GIF89b");
  EXPECT_EQ(Load(Bad), nullptr);
  EXPECT_TRUE(Catcher.Errors.empty());
  /* The same through a file: 13 bytes are too few, 14 are read. */
  TempDir Dir;
  for (size_t n : { (size_t)13, (size_t)14 }) {
    WriteFileBytes(Dir.File("a.gif"), Good.substr(0, n));
    PLAT_FILE* hFile = PLAT_OpenRead(Dir.File("a.gif").c_str(), nullptr);
    Catcher.Clear();
    EXPECT_EQ(GIF_LoadFile(hFile), nullptr);
    PLAT_Close(hFile);
    if (n == 13) {
      EXPECT_TRUE(Catcher.Errors.empty());
    } else {
      EXPECT_EQ(Catcher.Errors, std::vector<std::string>{ "Global color table could not be read" });
    }
  }
  WriteFileBytes(Dir.File("a.gif"), Good);
  PLAT_FILE* hFile = PLAT_OpenRead(Dir.File("a.gif").c_str(), nullptr);
  IMAGE* p = GIF_LoadFile(hFile);
  PLAT_Close(hFile);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Colors(p), (std::vector<U32>{ GREEN, BLUE }));
  IMAGE_Free(p);
  /* A handle that can't be read. */
  hFile = PLAT_CreateWrite(Dir.File("w.gif").c_str());
  PLAT_Write(hFile, Good.data(), (U32)Good.size());
  Catcher.Clear();
  EXPECT_EQ(GIF_LoadFile(hFile), nullptr);
  EXPECT_EQ(Catcher.Errors, std::vector<std::string>{ "Could not read file!" });
  PLAT_Close(hFile);
}

TEST(GifRead, PixelLimit) {
  ReportCatcher Catcher;
  /* The limit of every picture: 64 Mi pixels. */
  std::string s = Screen("GIF87a", 8192, 8193, 0) + Descriptor(0, 0, 1, 1, 0) + Literals(2, { -1, 1, -2 }) + ";";
  EXPECT_EQ(Load(s), nullptr);
  EXPECT_EQ(Catcher.Errors, std::vector<std::string>{
    "The image contains to much pixels. This tool\r\nonly supports GIFs with up to 67.108.864 pixels" });
  Catcher.Clear();
  s = Screen("GIF87a", 2000, 2000, 0) + Descriptor(0, 0, 1, 1, 0) + Literals(2, { -1, 1, -2 }) + ";";
  IMAGE* p = Load(s);
  ASSERT_NE(p, nullptr);
  EXPECT_TRUE(Catcher.Errors.empty());
  EXPECT_EQ(p->XSize, 2000);
  EXPECT_EQ(p->YSize, 2000);
  EXPECT_EQ(p->NumColors, 1);    /* no table: everything black */
  EXPECT_EQ(IMAGE_GetColor(p, 0), 0u);
  EXPECT_FALSE(Catcher.Status.empty());   /* the census reports its rows */
  IMAGE_Free(p);
}

/* Every place where the data can run out, with its message. */
TEST(GifRead, TruncationMessages) {
  ReportCatcher Catcher;
  std::string Full = Simple(2, 2, { -1, 0, 1, 2, 3, -2 });
  struct { size_t Length; const char* sError; } a[] = {
    { 12, "Logical screen descriptor could not be read" },
    { 13, "Global color table could not be read" },
    { 13 + 11, "Global color table could not be read" },
    { 13 + 12 + 5, "Image descriptor could not be read" },
    { 13 + 12 + 9, "Image descriptor could not be read" },
    { 13 + 12 + 10 + 1, "Image could not be read" },    /* no data at all */
  };
  for (auto& t : a) {
    Catcher.Clear();
    EXPECT_EQ(Load(Full.substr(0, t.Length)), nullptr) << t.Length;
    EXPECT_EQ(Catcher.Errors, std::vector<std::string>{ t.sError }) << t.Length;
  }
  /* Without its terminator and trailer the frame is complete all the same. */
  Catcher.Clear();
  IMAGE* p = Load(Full.substr(0, Full.size() - 2));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Colors(p), (std::vector<U32>{ RED, GREEN, BLUE, GRAY }));
  IMAGE_Free(p);
  /* Data that stops, without an end code, before the frame is full. */
  Catcher.Clear();
  EXPECT_EQ(Load(Simple(10, 10, { -1, 1, 2, 3 })), nullptr);
  EXPECT_EQ(Catcher.Errors, std::vector<std::string>{ "Image could not be read" });
  /* A local table that is cut short. */
  std::string s = Screen("GIF89a", 1, 1, 0x01) + Descriptor(0, 0, 1, 1, 0x81) + Table({ RED, GREEN });
  Catcher.Clear();
  EXPECT_EQ(Load(s), nullptr);
  EXPECT_EQ(Catcher.Errors, std::vector<std::string>{ "Local color table could not be read" });
}

TEST(GifRead, Extensions) {
  ReportCatcher Catcher;
  std::string sComment("\x21\xFE\x03" "abc" "\x02" "de" "\x00", 10);
  std::string sApp("\x21\xFF\x0B" "NETSCAPE2.0" "\x03\x01\x00\x00" "\x00", 19);
  std::string sText("\x21\x01\x02" "xy" "\x00", 6);
  IMAGE* p = Load(Simple(2, 1, { -1, 3, 1, -2 }, sComment + sApp + sText));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Colors(p), (std::vector<U32>{ GRAY, GREEN }));
  IMAGE_Free(p);
  for (char Label : { (char)0x00, (char)0xF8 }) {
    Catcher.Clear();
    std::string sUnknown = std::string("\x21", 1) + Label + std::string("\x01" "a" "\x00", 3);
    EXPECT_EQ(Load(Simple(2, 1, { -1, 3, 1, -2 }, sUnknown)), nullptr);
    EXPECT_EQ(Catcher.Errors, std::vector<std::string>{ "Image extension could not be read" });
  }
}

/* The frame goes to the top left corner whatever its position says;
 * the rest keeps index 0, which is the first colour of the table. */
TEST(GifRead, FrameAtItsPlaceAndEarlyEnd) {
  ReportCatcher Catcher;
  std::vector<int> aPix = { -1 };
  for (int i = 0; i < 100; i++) aPix.push_back(1 + (i % 3));
  aPix.push_back(-2);
  std::string s = Screen("GIF89a", 20, 20, 0x81) + Table(aRGBG) + Descriptor(5, 5, 10, 10, 0) + Literals(2, aPix) + ";";
  IMAGE* p = Load(s);
  ASSERT_NE(p, nullptr);
  for (int y = 0; y < 20; y++)
    for (int x = 0; x < 20; x++) {
      bool IsFrame = x >= 5 && x < 15 && y >= 5 && y < 15;
      U32 Expected = IsFrame ? aRGBG[1 + ((y - 5) * 10 + x - 5) % 3] : RED;
      ASSERT_EQ(IMAGE_GetPixelColor(p, x, y), Expected) << x << "," << y;
    }
  IMAGE_Free(p);
  /* A frame wider than the screen: its excess falls away. The end code
   * after the first row leaves the second at index 0. */
  s = Screen("GIF89a", 2, 2, 0x81) + Table(aRGBG) + Descriptor(0, 0, 3, 2, 0) + Literals(2, { -1, 1, 2, 3, -2 }) + ";";
  p = Load(s);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Colors(p), (std::vector<U32>{ GREEN, BLUE, RED, RED }));
  EXPECT_TRUE(Catcher.Errors.empty());
  IMAGE_Free(p);
}

TEST(GifRead, IndexMustStayBelowPaletteSize) {
  ReportCatcher Catcher;
  /* Screen flags give 4 entries; codes of min size 3 can say 4. */
  std::string s = Screen("GIF89a", 2, 1, 0x81) + Table(aRGBG) + Descriptor(0, 0, 2, 1, 0) + Literals(3, { -1, 3, 4, -2 }) + ";";
  EXPECT_EQ(Load(s), nullptr);
  EXPECT_EQ(Catcher.Errors, std::vector<std::string>{ "Image could not be read" });
  /* A minimum code size of 12 leaves no room for any table. */
  for (int MinCodeSize : { 12, 13, 255 }) {
    Catcher.Clear();
    s = Screen("GIF89a", 1, 1, 0x81) + Table(aRGBG) + Descriptor(0, 0, 1, 1, 0) + (char)MinCodeSize + Pack({ { 0, 8 } }) + ";";
    EXPECT_EQ(Load(s), nullptr);
    EXPECT_EQ(Catcher.Errors, std::vector<std::string>{ "Image could not be read" });
  }
}

/* Rows of an interlaced frame come in the four passes. */
TEST(GifRead, Interlace) {
  ReportCatcher Catcher;
  for (int YSize : { 1, 2, 3, 4, 5, 8, 9, 13, 17 }) {
    std::vector<int> aOrder;
    for (int y = 0; y < YSize; y += 8) aOrder.push_back(y);
    for (int y = 4; y < YSize; y += 8) aOrder.push_back(y);
    for (int y = 2; y < YSize; y += 4) aOrder.push_back(y);
    for (int y = 1; y < YSize; y += 2) aOrder.push_back(y);
    /* Row y holds the colour y % 4 in both of its pixels. */
    std::vector<int> aPix = { -1 };
    for (int y : aOrder) { aPix.push_back(y % 4); aPix.push_back(y % 4); }
    aPix.push_back(-2);
    std::string s = Screen("GIF89a", 2, YSize, 0x81) + Table(aRGBG) + Descriptor(0, 0, 2, YSize, 0x40) + Literals(2, aPix) + ";";
    IMAGE* p = Load(s);
    ASSERT_NE(p, nullptr) << YSize;
    for (int y = 0; y < YSize; y++) {
      EXPECT_EQ(IMAGE_GetPixelColor(p, 0, y), aRGBG[y % 4]) << YSize << " " << y;
      EXPECT_EQ(IMAGE_GetPixelColor(p, 1, y), aRGBG[y % 4]) << YSize << " " << y;
    }
    IMAGE_Free(p);
  }
  EXPECT_TRUE(Catcher.Errors.empty());
}

TEST(GifRead, Transparency) {
  ReportCatcher Catcher;
  /* Index 2 is transparent: it ends at entry 0 with the marker word. */
  IMAGE* p = Load(Simple(4, 1, { -1, 1, 2, 2, 3, -2 }, Control(2, 0x09)));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->HasTrans, 1);
  EXPECT_EQ(p->NumColors, 3);
  EXPECT_EQ(IMAGE_GetColor(p, 0), 0xFFFFFFFFu);
  EXPECT_EQ(Indices(p)[1], 0u);
  EXPECT_EQ(Indices(p)[2], 0u);
  EXPECT_EQ(IMAGE_GetPixelColor(p, 0, 0), GREEN);
  EXPECT_EQ(IMAGE_GetPixelColor(p, 3, 0), GRAY);
  IMAGE_Free(p);
  /* Flag clear: opaque, whatever the index byte says. */
  p = Load(Simple(4, 1, { -1, 1, 2, 2, 3, -2 }, Control(2, 0x08)));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->HasTrans, 0);
  EXPECT_EQ(Colors(p), (std::vector<U32>{ GREEN, BLUE, BLUE, GRAY }));
  IMAGE_Free(p);
  /* A transparent index that no pixel uses. */
  p = Load(Simple(3, 1, { -1, 1, 2, 1, -2 }, Control(0, 0x01)));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->HasTrans, 0);
  EXPECT_EQ(Colors(p), (std::vector<U32>{ GREEN, BLUE, GREEN }));
  IMAGE_Free(p);
  /* An index beyond the palette takes no marker and changes nothing. */
  p = Load(Simple(2, 1, { -1, 1, 3, -2 }, Control(200, 0x01)));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->HasTrans, 0);
  EXPECT_EQ(Colors(p), (std::vector<U32>{ GREEN, GRAY }));
  IMAGE_Free(p);
  EXPECT_TRUE(Catcher.Errors.empty());
}

/* The marker and real white match on their low 24 bits: the more
 * frequent of the two decides. */
TEST(GifRead, TransparentColorBesideWhite) {
  ReportCatcher Catcher;
  std::vector<U32> aTable = { 0xFFFFFF, RED, GREEN, BLUE };
  auto Make = [&](const std::vector<int>& aPix) {
    return Screen("GIF89a", (unsigned)aPix.size() - 2, 1, 0x81) + Table(aTable) + Control(2, 0x01)
         + Descriptor(0, 0, (unsigned)aPix.size() - 2, 1, 0) + Literals(2, aPix) + ";";
  };
  /* Marker more frequent: the white pixel turns transparent too. */
  IMAGE* p = Load(Make({ -1, 2, 2, 0, 2, -2 }));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->HasTrans, 1);
  EXPECT_EQ(IMAGE_GetColor(p, 0), 0xFFFFFFFFu);
  EXPECT_EQ(Indices(p), (std::vector<U32>{ 0, 0, 0, 0 }));
  IMAGE_Free(p);
  /* White more frequent: the marker's entry goes to 0 unused. */
  p = Load(Make({ -1, 0, 2, 0, 0, -2 }));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->HasTrans, 1);
  EXPECT_EQ(IMAGE_GetColor(p, 0), 0xFFFFFFFFu);
  for (U32 i : Indices(p)) EXPECT_NE(i, 0u);
  EXPECT_EQ(Colors(p), (std::vector<U32>{ 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF }));
  IMAGE_Free(p);
}

TEST(GifRead, LocalTables) {
  ReportCatcher Catcher;
  /* No global table; a local one of the screen's size is the palette. */
  std::string s = Screen("GIF89a", 3, 1, 0x01) + Descriptor(0, 0, 3, 1, 0x81) + Table(aRGBG)
                + Literals(2, { -1, 3, 0, 3, -2 }) + ";";
  IMAGE* p = Load(s);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Colors(p), (std::vector<U32>{ GRAY, RED, GRAY }));
  IMAGE_Free(p);
  /* A local table of 16 on a screen of 4: read to its end, the first four
   * entries stored; indices must stay below 4. */
  std::vector<U32> a16;
  for (U32 i = 0; i < 16; i++) a16.push_back(0x010101 * (i + 1));
  s = Screen("GIF89a", 3, 1, 0x81) + Table(aRGBG) + Descriptor(0, 0, 3, 1, 0x83) + Table(a16)
    + Literals(4, { -1, 3, 0, 1, -2 }) + ";";
  p = Load(s);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Colors(p), (std::vector<U32>{ 0x040404, 0x010101, 0x020202 }));
  IMAGE_Free(p);
  s = Screen("GIF89a", 3, 1, 0x81) + Table(aRGBG) + Descriptor(0, 0, 3, 1, 0x83) + Table(a16)
    + Literals(4, { -1, 3, 0, 4, -2 }) + ";";
  EXPECT_EQ(Load(s), nullptr);
  EXPECT_EQ(Catcher.Errors, std::vector<std::string>{ "Image could not be read" });
  /* A local table of 2 on a screen of 8: two entries replaced, the rest
   * of the global table stays. */
  Catcher.Clear();
  std::vector<U32> a8 = { RED, GREEN, BLUE, GRAY, 0x111111, 0x222222, 0x333333, 0x444444 };
  s = Screen("GIF89a", 3, 1, 0x82) + Table(a8) + Descriptor(0, 0, 3, 1, 0x80) + Table({ 0x0A0A0A, 0x0B0B0B })
    + Literals(3, { -1, 0, 1, 7, -2 }) + ";";
  p = Load(s);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Colors(p), (std::vector<U32>{ 0x0A0A0A, 0x0B0B0B, 0x444444 }));
  IMAGE_Free(p);
  EXPECT_TRUE(Catcher.Errors.empty());
}

/* Only the first frame counts: the walk stops at the terminator behind
 * it. A frame that directly follows, with no terminator between, would
 * be drawn over the first. */
TEST(GifRead, LaterFrames) {
  ReportCatcher Catcher;
  std::string First = Descriptor(0, 0, 2, 1, 0) + Literals(2, { -1, 1, 1, -2 });
  std::string Second = Descriptor(0, 0, 1, 1, 0) + Literals(2, { -1, 2, -2 });
  std::string Head = Screen("GIF89a", 2, 1, 0x81) + Table(aRGBG);
  IMAGE* p = Load(Head + First + Control(0, 0x04) + Second + ";");
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Colors(p), (std::vector<U32>{ GREEN, GREEN }));
  IMAGE_Free(p);
  std::string FirstOpen = Descriptor(0, 0, 2, 1, 0) + Literals(2, { -1, 1, 1, -2 }, false);
  p = Load(Head + FirstOpen + Second + ";");
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(Colors(p), (std::vector<U32>{ BLUE, GREEN }));
  IMAGE_Free(p);
}

/* With the table full and no clear code, decoding goes on at 12 bits
 * without new entries. */
TEST(GifRead, FullTableWithoutClear) {
  ReportCatcher Catcher;
  std::vector<int> aPix = { -1 };
  int NumPixels = 0;
  for (int i = 0; i < 5000; i++, NumPixels++) aPix.push_back(i % 3 == 0 ? 1 : 2);
  for (int i = 0; i < 50; i++, NumPixels++) aPix.push_back(3);
  aPix.push_back(-2);
  std::string s = Screen("GIF89a", 100, 51, 0x81) + Table(aRGBG) + Descriptor(0, 0, 100, 51, 0) + Literals(2, aPix) + ";";
  IMAGE* p = Load(s);
  ASSERT_NE(p, nullptr);
  std::vector<U32> a = Colors(p);
  for (int i = 0; i < NumPixels; i++) {
    U32 Expected = i < 5000 ? (i % 3 == 0 ? GREEN : BLUE) : GRAY;
    ASSERT_EQ(a[i], Expected) << i;
  }
  EXPECT_EQ(a[NumPixels], RED);   /* not reached: index 0 */
  IMAGE_Free(p);
  EXPECT_TRUE(Catcher.Errors.empty());
}

/* Codes that refer to themselves or run in a loop are bounded by the
 * stack; a run of tiny sub-blocks can push the bit position beyond the
 * buffer. Neither may end in anything but a result or a message. */
TEST(GifRead, HostileStreams) {
  ReportCatcher Catcher;
  /* Min code size 2: code 6 is defined as (4's prefix ...) after a few
   * literals; code 7 as yet unknown at its first use. */
  std::vector<std::pair<int, int>> aCode = { { 4, 3 }, { 1, 3 }, { 7, 3 }, { 7, 3 }, { 6, 4 }, { 6, 4 }, { 8, 4 } };
  for (int i = 0; i < 400; i++) aCode.push_back({ 15, 4 });
  std::string s = Screen("GIF89a", 60, 60, 0x81) + Table(aRGBG) + Descriptor(0, 0, 60, 60, 0) + (char)2 + Pack(aCode) + ";";
  IMAGE_Free(Load(s));
  /* 1-byte sub-blocks with 12-bit codes. */
  std::string Data(1, (char)11);
  Data += "\x01\x00";
  for (int i = 0; i < 3000; i++) Data += std::string("\x01\xFF", 2);
  Data += '\0';
  s = Screen("GIF89a", 200, 200, 0x87) + std::string(768, '\x10') + Descriptor(0, 0, 200, 200, 0) + Data + ";";
  IMAGE_Free(Load(s));
  SUCCEED();
}

/*********************************************************************
*  Writer
*/
TEST(GifWrite, OneColorTwoByTwoExactBytes) {
  ReportCatcher Catcher;
  IMAGE* p = IMAGE_Create(2, 2, 0);
  for (int y = 0; y < 2; y++)
    for (int x = 0; x < 2; x++) IMAGE_SetPixel(p, x, y, 0x0000FF);
  IMAGE* pResult;
  std::string s = Save(p, &pResult);
  const unsigned char aExpected[35] = {
    'G', 'I', 'F', '8', '9', 'a', 2, 0, 2, 0, 0x80, 0, 0,
    0xFF, 0, 0, 0xFF, 0xFF, 0xFF,
    0x2C, 0, 0, 0, 0, 2, 0, 2, 0, 0,
    2, 2, 0x84, 0x51, 0, 0x3B };
  EXPECT_EQ(s, std::string((const char*)aExpected, 35));
  ASSERT_NE(pResult, nullptr);
  EXPECT_EQ(pResult->NumColors, 1);
  EXPECT_EQ(IMAGE_GetColor(pResult, 0), 0x0000FFu);
  IMAGE_Free(pResult);
}

/* Table size, packed byte, minimum code size and white filling. */
TEST(GifWrite, TableSizes) {
  ReportCatcher Catcher;
  struct { int NumColors, TableSize, Packed, MinCodeSize; } a[] = {
    { 1, 2, 0x80, 2 }, { 2, 2, 0x80, 2 }, { 3, 4, 0x91, 2 }, { 4, 4, 0x91, 2 }, { 5, 8, 0xA2, 3 },
    { 8, 8, 0xA2, 3 }, { 9, 16, 0xB3, 4 }, { 16, 16, 0xB3, 4 }, { 17, 32, 0xC4, 5 }, { 33, 64, 0xD5, 6 },
    { 64, 64, 0xD5, 6 }, { 65, 128, 0xE6, 7 }, { 129, 256, 0xF7, 8 }, { 256, 256, 0xF7, 8 },
  };
  for (auto& t : a) {
    /* Each colour once, in index order: the census keeps that order. */
    auto ColorOf = [](int i) { return (U32)(i | (255 - i) << 8 | 0x40 << 16); };
    IMAGE* p = IMAGE_Create(t.NumColors, 1, t.NumColors);
    for (int i = 0; i < t.NumColors; i++) {
      IMAGE_SetColor(p, i, ColorOf(i));
      IMAGE_SetPixel(p, i, 0, (U32)i);
    }
    IMAGE* pResult;
    std::string s = Save(p, &pResult);
    ASSERT_NE(pResult, nullptr);
    EXPECT_EQ((U8)s[10], t.Packed) << t.NumColors;
    for (int i = 0; i < t.TableSize; i++) {
      U32 Expected = i < t.NumColors ? ColorOf(i) : 0xFFFFFF;
      U32 Got = (U8)s[13 + 3 * i] | (U8)s[14 + 3 * i] << 8 | (U32)(U8)s[15 + 3 * i] << 16;
      EXPECT_EQ(Got, Expected) << t.NumColors << " " << i;
    }
    size_t Pos = 13 + 3 * (size_t)t.TableSize;
    EXPECT_EQ((U8)s[Pos], 0x2C);
    EXPECT_EQ((U8)s[Pos + 10], t.MinCodeSize) << t.NumColors;
    EXPECT_EQ((U8)s[s.size() - 1], 0x3B);
    IMAGE_Free(pResult);
  }
}

/* The image handed back is the reduced one: unused entries are gone,
 * the colours are in census order, the pixels look the same. */
TEST(GifWrite, HandsBackTheReducedImage) {
  ReportCatcher Catcher;
  IMAGE* p = IMAGE_Create(4, 2, 16);
  for (int i = 0; i < 16; i++) IMAGE_SetColor(p, i, 0x101010 * (U32)i);
  int aPix[8] = { 5, 9, 9, 5, 9, 2, 9, 9 };
  for (int i = 0; i < 8; i++) IMAGE_SetPixel(p, i % 4, i / 4, (U32)aPix[i]);
  std::vector<U32> aBefore = Colors(p);
  IMAGE* pResult;
  std::string s = Save(p, &pResult);
  ASSERT_NE(pResult, nullptr);
  EXPECT_EQ(pResult->NumColors, 3);
  EXPECT_EQ(IMAGE_GetColor(pResult, 0), 0x909090u);
  EXPECT_EQ(IMAGE_GetColor(pResult, 1), 0x505050u);
  EXPECT_EQ(Colors(pResult), aBefore);
  EXPECT_EQ((U8)s[10], 0x91);
  /* Our reader gives the same picture back. */
  IMAGE* pBack = Load(s);
  ASSERT_NE(pBack, nullptr);
  EXPECT_EQ(Colors(pBack), aBefore);
  IMAGE_Free(pBack);
  IMAGE_Free(pResult);
  /* A true-colour image of 300 colours keeps the 256 most frequent. */
  p = IMAGE_Create(300, 2, 0);
  for (int x = 0; x < 300; x++) {
    IMAGE_SetPixel(p, x, 0, (U32)x * 3);
    IMAGE_SetPixel(p, x, 1, (U32)(x % 256) * 3);
  }
  s = Save(p, &pResult);
  ASSERT_NE(pResult, nullptr);
  EXPECT_EQ(pResult->NumColors, 256);
  EXPECT_EQ(pResult->BitsPerPixel, 8);
  EXPECT_EQ((U8)s[10], 0xF7);
  IMAGE_Free(pResult);
}

TEST(GifWrite, Transparency) {
  ReportCatcher Catcher;
  /* Entry 0 transparent and used: the extension, entry 0 of the table,
   * HasTrans kept. It is the rarer colour, so the census puts it last. */
  IMAGE* p = IMAGE_Create(3, 1, 2);
  IMAGE_SetColor(p, 0, 0x00FF00);
  IMAGE_SetColor(p, 1, 0x0000FF);
  IMAGE_SetPixel(p, 0, 0, 1);
  IMAGE_SetPixel(p, 1, 0, 0);
  IMAGE_SetPixel(p, 2, 0, 1);
  IMAGE_SetTransparency(p, 1);
  IMAGE* pResult;
  std::string s = Save(p, &pResult);
  ASSERT_NE(pResult, nullptr);
  EXPECT_EQ(pResult->HasTrans, 1);
  EXPECT_EQ(IMAGE_GetColor(pResult, 0), 0x00FF00u);
  EXPECT_EQ(Indices(pResult), (std::vector<U32>{ 1, 0, 1 }));
  EXPECT_EQ(s.substr(13, 6), std::string("\x00\xFF\x00\xFF\x00\x00", 6));
  EXPECT_EQ(s.substr(19, 8), std::string("\x21\xF9\x04\x01\x00\x00\x00\x00", 8));
  EXPECT_EQ((U8)s[27], 0x2C);
  /* Read back: the transparent colour is entry 0 again. */
  IMAGE* pBack = Load(s);
  ASSERT_NE(pBack, nullptr);
  EXPECT_EQ(pBack->HasTrans, 1);
  EXPECT_EQ(Indices(pBack), (std::vector<U32>{ 1, 0, 1 }));
  EXPECT_EQ(IMAGE_GetColor(pBack, 1), 0x0000FFu);
  /* And written again: the marker word is found as entry 0 and written
   * as white. */
  IMAGE* pAgain;
  std::string s2 = Save(pBack, &pAgain);
  ASSERT_NE(pAgain, nullptr);
  EXPECT_EQ(pAgain->HasTrans, 1);
  EXPECT_EQ(s2.substr(13, 3), std::string("\xFF\xFF\xFF", 3));
  EXPECT_EQ((U8)s2[19], 0x21);
  IMAGE_Free(pAgain);
  IMAGE_Free(pResult);
  /* Transparent entry 0 that no pixel uses: no extension. */
  p = IMAGE_Create(2, 1, 3);
  IMAGE_SetColor(p, 1, RED);
  IMAGE_SetColor(p, 2, BLUE);
  IMAGE_SetPixel(p, 0, 0, 1);
  IMAGE_SetPixel(p, 1, 0, 2);
  IMAGE_SetTransparency(p, 1);
  s = Save(p, &pResult);
  ASSERT_NE(pResult, nullptr);
  EXPECT_EQ(pResult->HasTrans, 0);
  EXPECT_EQ((U8)s[19], 0x2C);
  IMAGE_Free(pResult);
}

/* A write that fails ends the save: null, the image released. */
TEST(GifWrite, FailedWriteGivesNull) {
  ReportCatcher Catcher;
  TempDir Dir;
  WriteFileBytes(Dir.File("r.gif"), "x");
  PLAT_FILE* hFile = PLAT_OpenRead(Dir.File("r.gif").c_str(), nullptr);
  EXPECT_EQ(GIF_SaveFile(MakeTestImage(5, 5, 4), hFile), nullptr);
  EXPECT_EQ(GIF_SaveFile(nullptr, hFile), nullptr);
  PLAT_Close(hFile);
  EXPECT_TRUE(Catcher.Errors.empty());
}
