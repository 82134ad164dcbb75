/* The geometry operations against plain per-pixel mappings on random
 * pictures. */
#include <gtest/gtest.h>

#include <functional>

#include "geometry/geometry.h"
#include "testutil.h"

namespace {

/* Checks Result(x, y) == Source(fx(x, y), fy(x, y)) for every pixel. */
void ExpectMapped(const IMAGE* pSrc, const IMAGE* pRes, int XSize, int YSize,
                  std::function<int(int, int)> fx, std::function<int(int, int)> fy, const char* sWhat) {
  ASSERT_EQ(pRes->XSize, XSize) << sWhat;
  ASSERT_EQ(pRes->YSize, YSize) << sWhat;
  for (int y = 0; y < YSize; y++) {
    for (int x = 0; x < XSize; x++) {
      ASSERT_EQ(IMAGE_GetPixel(pRes, x, y), IMAGE_GetPixel(pSrc, fx(x, y), fy(x, y)))
          << sWhat << " " << pSrc->XSize << "*" << pSrc->YSize << " at " << x << "," << y;
    }
  }
}

/* A copy that keeps the transparency flag (IMAGE_Copy drops it). */
IMAGE* Copy(const IMAGE* p) {
  IMAGE* q = IMAGE_Copy(p);
  q->HasTrans = p->HasTrans;
  return q;
}

}  // namespace

TEST(Geometry, FlipsAndTurnsMovePixelsAsPlainMappings) {
  /* 67 x 130 crosses the tiles in which quarter turns work. */
  for (int w : {1, 2, 3, 4, 5, 6, 67}) {
    for (int h : {1, 2, 3, 4, 5, 130}) {
      for (int n : {0, 16}) {
        IMAGE* pSrc = RandomImage(w, h, n, (unsigned)(w * 10 + h));
        pSrc->HasTrans = n ? 1 : 0;
        IMAGE* p = Copy(pSrc);
        p = IMAGE_FlipH(p);
        ExpectMapped(pSrc, p, w, h, [&](int x, int) { return w - 1 - x; }, [](int, int y) { return y; }, "FlipH");
        IMAGE_Free(p);
        p = IMAGE_FlipV(Copy(pSrc));
        ExpectMapped(pSrc, p, w, h, [](int x, int) { return x; }, [&](int, int y) { return h - 1 - y; }, "FlipV");
        IMAGE_Free(p);
        p = IMAGE_Rotate180(Copy(pSrc));
        ExpectMapped(pSrc, p, w, h, [&](int x, int) { return w - 1 - x; }, [&](int, int y) { return h - 1 - y; }, "180");
        IMAGE_Free(p);
        /* Clockwise: the top left corner goes to the top right. */
        p = IMAGE_Rotate90CW(Copy(pSrc));
        ExpectMapped(pSrc, p, h, w, [](int, int y) { return y; }, [&](int x, int) { return h - 1 - x; }, "CW");
        EXPECT_EQ(p->HasTrans, pSrc->HasTrans);
        IMAGE_Free(p);
        p = IMAGE_Rotate90CCW(Copy(pSrc));
        ExpectMapped(pSrc, p, h, w, [&](int, int y) { return w - 1 - y; }, [](int x, int) { return x; }, "CCW");
        EXPECT_EQ(p->HasTrans, pSrc->HasTrans);
        IMAGE_Free(p);
        IMAGE_Free(pSrc);
      }
    }
  }
}

TEST(Geometry, ShrinkAveragesFourWithTheEdgeRepeated) {
  for (int w : {1, 4, 5}) {
    for (int h : {1, 2, 3}) {
      IMAGE* pSrc = RandomImage(w, h, w == 4 ? 7 : 0, (unsigned)(w * h));
      IMAGE* p = IMAGE_Shrink(Copy(pSrc));
      ASSERT_EQ(p->XSize, (w + 1) / 2);
      ASSERT_EQ(p->YSize, (h + 1) / 2);
      EXPECT_EQ(p->NumColors, 0);
      for (int v = 0; v < p->YSize; v++) {
        for (int u = 0; u < p->XSize; u++) {
          U32 Expected = 0;
          for (int Shift = 0; Shift < 24; Shift += 8) {
            U32 Sum = 0;
            for (int k = 0; k < 4; k++) {
              int x = std::min(2 * u + k % 2, w - 1), y = std::min(2 * v + k / 2, h - 1);
              Sum += IMAGE_GetPixelColor(pSrc, x, y) >> Shift & 0xFF;
            }
            Expected |= (U32)((Sum + 2) / 4) << Shift;   /* halves go up */
          }
          EXPECT_EQ(IMAGE_GetPixel(p, u, v), Expected) << w << "*" << h << " at " << u << "," << v;
        }
      }
      IMAGE_Free(p);
      IMAGE_Free(pSrc);
    }
  }
}
