#include <gtest/gtest.h>

#include "geometry/geometry.h"
#include "testutil.h"

/* An image with the given palette (none: true colour) and stored values,
 * row by row from the top. */
static IMAGE* _Make(int XSize, int YSize, std::vector<U32> aColor, std::vector<U32> aPixel) {
  IMAGE* p = IMAGE_Create(XSize, YSize, (I32)aColor.size());
  for (size_t i = 0; i < aColor.size(); i++) IMAGE_SetColor(p, (I32)i, aColor[i]);
  for (int i = 0; i < XSize * YSize; i++) IMAGE_SetPixel(p, i % XSize, i / XSize, aPixel[(size_t)i]);
  return p;
}

static std::vector<U32> _Pixels(const IMAGE* p) {
  std::vector<U32> a;
  for (int i = 0; i < p->XSize * p->YSize; i++) a.push_back(IMAGE_GetPixel(p, i % p->XSize, i / p->XSize));
  return a;
}

/* Sizes, HasTrans, palette and stored values in one list. */
static std::vector<U32> _All(const IMAGE* p) {
  std::vector<U32> a = {(U32)p->XSize, (U32)p->YSize, (U32)p->HasTrans, (U32)p->NumColors};
  for (int i = 0; i < p->NumColors; i++) a.push_back(IMAGE_GetColor(p, i));
  std::vector<U32> aPixel = _Pixels(p);
  a.insert(a.end(), aPixel.begin(), aPixel.end());
  return a;
}

class Geometry : public ::testing::Test {
protected:
  ReportCatcher Reports;
};

TEST_F(Geometry, QuarterTurnsOfThreeByTwo) {
  /* a b c      CCW:  c f      CW:  d a
   * d e f            b e           e b
   *                  a d           f c   */
  const std::vector<U32> aPal = {0x000000, 0x0000FF, 0x00FF00, 0xFF0000, 0xFFFFFF, 0x80808080};
  IMAGE* pSrc = _Make(3, 2, aPal, {0, 1, 2, 3, 4, 5});
  pSrc->HasTrans = 1;
  IMAGE* pCCW = IMAGE_Rotate90CCW(IMAGE_Copy(pSrc));   /* a copy has no HasTrans */
  IMAGE* pCW  = IMAGE_Rotate90CW(pSrc);
  std::vector<U32> aHead = {2, 3, 0, 6};
  aHead.insert(aHead.end(), aPal.begin(), aPal.end());
  std::vector<U32> aCCW = aHead, aCW = aHead;
  aCW[2] = 1;
  for (U32 v : {2, 5, 1, 4, 0, 3}) aCCW.push_back(v);
  for (U32 v : {3, 0, 4, 1, 5, 2}) aCW.push_back(v);
  EXPECT_EQ(_All(pCCW), aCCW);
  EXPECT_EQ(_All(pCW), aCW);
  EXPECT_TRUE(Reports.Status.empty());   /* the commands show the texts */
  IMAGE_Free(pCCW);
  IMAGE_Free(pCW);
}

TEST_F(Geometry, TurnsThatAddUpToNothingGiveBackTheImage) {
  for (int NumColors : {16, 0}) {
    IMAGE* p = MakeTestImage(5, 3, NumColors);
    p->HasTrans = 1;
    std::vector<U32> aOrg = _All(p);
    for (int i = 0; i < 4; i++) p = IMAGE_Rotate90CCW(p);
    EXPECT_EQ(_All(p), aOrg);
    p = IMAGE_Rotate90CCW(IMAGE_Rotate90CW(p));
    EXPECT_EQ(_All(p), aOrg);
    std::vector<U32> aHalf = _All(IMAGE_Rotate180(p));
    p = IMAGE_Rotate90CW(IMAGE_Rotate90CW(IMAGE_Rotate180(p)));
    EXPECT_EQ(_All(p), aHalf);
    IMAGE_Free(p);
  }
}

TEST_F(Geometry, FlipsSwapStoredValuesInPlace) {
  IMAGE* p = _Make(3, 3, {1, 2, 3, 4, 5, 6}, {0, 1, 2, 3, 4, 5, 5, 5, 0});
  EXPECT_EQ(IMAGE_FlipH(p), p);
  EXPECT_EQ(_Pixels(p), (std::vector<U32>{2, 1, 0, 5, 4, 3, 0, 5, 5}));
  EXPECT_EQ(IMAGE_FlipV(p), p);
  EXPECT_EQ(_Pixels(p), (std::vector<U32>{0, 5, 5, 5, 4, 3, 2, 1, 0}));
  EXPECT_EQ(IMAGE_Rotate180(p), p);
  EXPECT_EQ(_Pixels(p), (std::vector<U32>{0, 1, 2, 3, 4, 5, 5, 5, 0}));
  IMAGE_Free(p);
  /* A single column or row has nothing to swap. */
  const std::vector<U32> aLine = {0x112233, 0x445566, 0x778899};
  IMAGE* pCol = IMAGE_FlipH(_Make(1, 3, {}, aLine));
  IMAGE* pRow = IMAGE_FlipV(_Make(3, 1, {}, aLine));
  EXPECT_EQ(_Pixels(pCol), aLine);
  EXPECT_EQ(_Pixels(pRow), aLine);
  IMAGE_Free(pCol);
  IMAGE_Free(pRow);
  EXPECT_TRUE(Reports.Status.empty());
}

TEST_F(Geometry, ShrinkAveragesBlocksIntoTrueColour) {
  /* One to four white pixels in a black 2 x 2 block of a palette image. */
  const U32 aExpect[] = {0x404040, 0x808080, 0xBFBFBF, 0xFFFFFF};
  for (int n = 1; n <= 4; n++) {
    std::vector<U32> aPixel = {0, 0, 0, 0};
    for (int i = 0; i < n; i++) aPixel[(size_t)i] = 1;
    IMAGE* p = _Make(2, 2, {0x000000, 0xFFFFFF}, aPixel);
    p->HasTrans = 1;
    Reports.Clear();
    p = IMAGE_Shrink(p);
    EXPECT_EQ(_All(p), (std::vector<U32>{1, 1, 0, 0, aExpect[n - 1]})) << n;
    EXPECT_EQ(Reports.Status, std::vector<std::string>{"Bitmap shrinked to 50%"});
    IMAGE_Free(p);
  }
  /* Channels stay apart; the reserved byte of the palette takes no part. */
  IMAGE* p = IMAGE_Shrink(_Make(2, 2, {0xFF0000FF, 0xFF00FF00, 0xFFFF0000, 0xFF010101}, {0, 1, 2, 3}));
  EXPECT_EQ(_Pixels(p), std::vector<U32>{0x404040});   /* (255 + 1 + 2) / 4 each */
  IMAGE_Free(p);
  /* Odd sizes: 1 x 1 stays, and the last column and row pair with themselves. */
  p = IMAGE_Shrink(_Make(1, 1, {}, {0x123456}));
  EXPECT_EQ(_All(p), (std::vector<U32>{1, 1, 0, 0, 0x123456}));
  IMAGE_Free(p);
  p = IMAGE_Shrink(_Make(3, 3, {}, {0x000000, 0x000000, 0xFFFFFF,
                                    0x000000, 0x000000, 0xFFFFFF,
                                    0x0000FF, 0x0000FF, 0x00FF00}));
  EXPECT_EQ(_All(p), (std::vector<U32>{2, 2, 0, 0, 0x000000, 0xFFFFFF, 0x0000FF, 0x00FF00}));
  IMAGE_Free(p);
}

TEST_F(Geometry, InversionsOfPaletteImages) {
  IMAGE* p = _Make(4, 2, {0x000000, 0x555555, 0xAB123456, 0xFFFFFFFF}, {0, 1, 2, 3, 3, 3, 0, 1});
  p->HasTrans = 1;
  EXPECT_EQ(IMAGE_InvertIndices(p), p);
  EXPECT_EQ(_All(p), (std::vector<U32>{4, 2, 1, 4, 0x000000, 0x555555, 0xAB123456, 0xFFFFFFFF,
                                       3, 2, 1, 0, 0, 0, 3, 2}));
  EXPECT_EQ(Reports.Status, (std::vector<std::string>{"Converting image, line 1/2",
                                                       "Converting image, line 2/2", "Image inverted"}));
  Reports.Clear();
  EXPECT_EQ(IMAGE_InvertColors(p), p);   /* bits 24 to 31 stay, pixels too */
  EXPECT_EQ(_All(p), (std::vector<U32>{4, 2, 1, 4, 0xFFFFFF, 0xAAAAAA, 0xABEDCBA9, 0xFF000000,
                                       3, 2, 1, 0, 0, 0, 3, 2}));
  EXPECT_EQ(Reports.Status, std::vector<std::string>{"Palette inverted"});
  IMAGE_InvertColors(p);
  EXPECT_EQ(IMAGE_GetColor(p, 2), 0xAB123456u);
  IMAGE_Free(p);
  /* Indices beyond the palette stay beyond it, and come back. */
  p = _Make(3, 1, std::vector<U32>(16, 0), {20, 16, 255});
  EXPECT_EQ(_Pixels(IMAGE_InvertIndices(p)), (std::vector<U32>{251, 255, 16}));
  EXPECT_EQ(_Pixels(IMAGE_InvertIndices(p)), (std::vector<U32>{20, 16, 255}));
  IMAGE_Free(p);
}

TEST_F(Geometry, BothInversionsInvertTrueColourPixels) {
  for (int IsIndices : {1, 0}) {
    IMAGE* p = _Make(2, 2, {}, {0x000000, 0x123456, 0x0000FF, 0xFF0000});
    Reports.Clear();
    if (IsIndices) IMAGE_InvertIndices(p); else IMAGE_InvertColors(p);
    EXPECT_EQ(_Pixels(p), (std::vector<U32>{0xFFFFFF, 0xEDCBA9, 0xFFFF00, 0x00FFFF}));
    EXPECT_EQ(Reports.Status, (std::vector<std::string>{"Converting image, line 1/2", "Converting image, line 2/2",
                                                         IsIndices ? "Image inverted" : "Palette inverted"}));
    IMAGE_Free(p);
  }
}

