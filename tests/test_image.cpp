#include <gtest/gtest.h>

#include <string.h>

#include "core/image.h"
#include "testutil.h"

TEST(Image, PixelsOutsideReadZeroAndIgnoreWrites) {
  IMAGE* pPal = IMAGE_Create(3, 2, 4);
  IMAGE_SetColor(pPal, 0, 0x123456);
  IMAGE_SetPixel(pPal, 3, 0, 2);
  IMAGE_SetPixel(pPal, 0, 2, 2);
  EXPECT_EQ(IMAGE_GetPixel(pPal, 3, 0), 0u);
  EXPECT_EQ(IMAGE_GetPixel(pPal, 0, 2), 0u);
  EXPECT_EQ(IMAGE_GetPixelColor(pPal, 3, 1), 0x123456u);  /* index 0's colour */
  for (int i = 0; i < pPal->BytesPerLine * pPal->YSize; i++) EXPECT_EQ(pPal->pData[i], 0);
  IMAGE* pRGB = IMAGE_Create(3, 2, 0);
  IMAGE_SetPixel(pRGB, 2, 1, 0xABCDEF);
  EXPECT_EQ(IMAGE_GetPixel(pRGB, 2, 1), 0xABCDEFu);
  EXPECT_EQ(IMAGE_GetPixelColor(pRGB, 3, 1), 0u);
  IMAGE_Free(pPal);
  IMAGE_Free(pRGB);
  IMAGE_Free(nullptr);
}

TEST(Image, RowLayoutIsBottomUpDIB) {
  IMAGE* p = IMAGE_Create(2, 3, 0);
  IMAGE_SetPixel(p, 1, 0, 0x00112233);   /* top row lies last in the store */
  const U8* pTop = p->pData + 2 * p->BytesPerLine;
  EXPECT_EQ(pTop[3], 0x11);   /* blue */
  EXPECT_EQ(pTop[4], 0x22);   /* green */
  EXPECT_EQ(pTop[5], 0x33);   /* red */
  EXPECT_EQ(p->pInfo[0], 40);
  EXPECT_EQ(p->pInfo[14], 24);
  IMAGE_Free(p);
}

TEST(Image, BytesPerLine) {
  struct { int X, N, Expected; } a[] = { {1, 2, 4}, {1, 0, 4}, {3, 0, 12}, {4, 0, 12}, {5, 0, 16}, {5, 16, 8} };
  for (auto& t : a) {
    IMAGE* p = IMAGE_Create(t.X, 1, t.N);
    EXPECT_EQ(p->BytesPerLine, t.Expected) << t.X << " " << t.N;
    EXPECT_EQ(p->BitsPerPixel, t.N ? 8 : 24);
    IMAGE_Free(p);
  }
}

TEST(Image, PaletteEntryByteOrder) {
  IMAGE* p = IMAGE_Create(1, 1, 2);
  IMAGE_SetColor(p, 1, 0x112233);
  EXPECT_EQ(IMAGE_GetColor(p, 1), 0x112233u);
  const U8* e = p->pInfo + 44;
  EXPECT_EQ(e[0], 0x11);
  EXPECT_EQ(e[1], 0x22);
  EXPECT_EQ(e[2], 0x33);
  EXPECT_EQ(e[3], 0);
  IMAGE_SetColor(p, 0, 0x7F000000);   /* reserved byte kept in the table ... */
  EXPECT_EQ(IMAGE_GetColor(p, 0), 0x7F000000u);
  std::vector<U8> Dib((size_t)IMAGE_GetDIBSize(p), 0xEE);
  IMAGE_WriteDIB(p, Dib.data());
  EXPECT_EQ(Dib[43], 0);              /* ... but not exported */
  EXPECT_EQ(Dib[44], 0x11);
  EXPECT_EQ(Dib[46], 0x33);
  IMAGE_Free(p);
}

TEST(Image, OutOfRangeIndexReadsEntry0) {
  IMAGE* p = IMAGE_Create(1, 1, 2);
  IMAGE_SetColor(p, 0, 0xFFFFFF);
  IMAGE_SetPixel(p, 0, 0, 200);
  EXPECT_EQ(IMAGE_GetPixelColor(p, 0, 0), 0xFFFFFFu);
  IMAGE_Free(p);
}

static std::vector<U8> _Export(const IMAGE* p) {
  std::vector<U8> v((size_t)IMAGE_GetDIBSize(p), 0);
  IMAGE_WriteDIB(p, v.data());
  return v;
}

TEST(Image, ExportDepthFollowsPalette) {
  struct { int N, Bits; } a[] = { {1, 1}, {2, 1}, {3, 4}, {16, 4}, {17, 8}, {256, 8}, {0, 24} };
  for (auto& t : a) {
    IMAGE* p = IMAGE_Create(9, 2, t.N);
    std::vector<U8> v = _Export(p);
    EXPECT_EQ(v[14], t.Bits) << t.N;
    EXPECT_EQ(v[20] | v[21] | v[22] | v[23], 0);   /* biSizeImage 0 */
    EXPECT_EQ((int)v[32], t.N & 0xFF);
    IMAGE_Free(p);
  }
}

TEST(Image, ExportPacksOneBitRowsFromTheLeft) {
  IMAGE* p = IMAGE_Create(9, 2, 2);
  for (int x = 0; x < 9; x++) IMAGE_SetPixel(p, x, 0, 1);   /* top row all 1 */
  IMAGE_SetPixel(p, 8, 1, 1);                                /* bottom: only pixel 8 */
  std::vector<U8> v = _Export(p);
  ASSERT_EQ(v.size(), 40u + 8 + 2 * 4);
  const U8* pRows = v.data() + 48;
  /* bottom line first */
  EXPECT_EQ(pRows[0], 0x00);
  EXPECT_EQ(pRows[1], 0x80);
  EXPECT_EQ(pRows[4], 0xFF);
  EXPECT_EQ(pRows[5], 0x80);
  IMAGE_Free(p);
}

TEST(Image, ExportFourBitOddWidthAndPaddingUntouched) {
  IMAGE* p = IMAGE_Create(3, 1, 16);
  IMAGE_SetPixel(p, 0, 0, 1);
  IMAGE_SetPixel(p, 1, 0, 2);
  IMAGE_SetPixel(p, 2, 0, 15);
  std::vector<U8> v((size_t)IMAGE_GetDIBSize(p), 0xEE);
  IMAGE_WriteDIB(p, v.data());
  const U8* pRow = v.data() + 40 + 64;
  EXPECT_EQ(pRow[0], 0x12);
  EXPECT_EQ(pRow[1], 0xF0);
  EXPECT_EQ(pRow[2], 0xEE);   /* padding keeps what the destination held */
  IMAGE_Free(p);
}

TEST(Image, CopyDropsTransparencyAndCensus) {
  IMAGE* p = MakeTestImage(7, 5, 5);
  p->HasTrans = 1;
  IMAGE* c = IMAGE_Copy(p);
  EXPECT_EQ(c->HasTrans, 0);
  EXPECT_EQ(c->pColorCount, nullptr);
  EXPECT_EQ(c->NumColors, 5);
  for (int i = 0; i < 5; i++) EXPECT_EQ(IMAGE_GetColor(c, i), IMAGE_GetColor(p, i));
  for (int y = 0; y < 5; y++)
    for (int x = 0; x < 7; x++) EXPECT_EQ(IMAGE_GetPixel(c, x, y), IMAGE_GetPixel(p, x, y));
  IMAGE_Free(p);
  IMAGE_Free(c);
}

TEST(Image, AbsurdSizesAreRefusedWithAMessage) {
  ReportCatcher r;
  EXPECT_EQ(IMAGE_Create(-1, 5, 0), nullptr);
  EXPECT_EQ(IMAGE_Create(100000, 100000, 0), nullptr);
  EXPECT_EQ(IMAGE_Create(4, 4, 257), nullptr);
  EXPECT_EQ(IMAGE_Create((1 << 30) + 4, 1, 2), nullptr);   /* row bits past 32 bits */
  EXPECT_EQ(IMAGE_Create(0x7FFFFFFF, 0, 0), nullptr);
  ASSERT_EQ(r.Errors.size(), 5u);
  EXPECT_EQ(r.Errors[2], "Only palettes with up to 256 entries supported!");
  IMAGE* p = IMAGE_Create(0, 0, 0);   /* an empty image is fine */
  ASSERT_NE(p, nullptr);
  IMAGE_Free(p);
}

TEST(Image, ShowErrorAndStatusGoToHooks) {
  ReportCatcher r;
  IMAGE_ShowError(nullptr);
  IMAGE_ShowError("bad");
  IMAGE_ShowStatus("fine");
  EXPECT_EQ(r.Errors, std::vector<std::string>{"bad"});
  EXPECT_EQ(r.Status, std::vector<std::string>{"fine"});
  EXPECT_STREQ(IMAGE_GetVersion(), "3.96");
}
