/* The writers: a golden file holds the exact text of generated C files in
 * every format; C streams are read back by a plain reader. */
#include <gtest/gtest.h>

#include "output/bmpout.h"
#include "output/save.h"
#include "testutil.h"

TEST(CSource, GoldenFilePerFamilyAndLimits) {
  std::string s;
  /* 45 values of "0x.., " make a line of exactly 254 characters */
  for (int Format : {1, 2, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}) {
    IMAGE* p = RandomImage(45, 3, Format == 1 ? 2 : Format == 2 ? 4 : Format <= 7 ? 5 : 0, 11, 3);
    for (int x = 20; x < 30; x++) IMAGE_SetPixel(p, x, 1, IMAGE_GetPixel(p, 19, 1));
    p->HasTrans = Format == 1;
    s += SaveBytes(&p, 1, Format, Format == 1, "dir\\sub/my pic.v2.c") + "\n";
    IMAGE_Free(p);
  }
  EXPECT_EQ(s, Golden("csource.txt", s));
  ReportCatcher Rc;
  IMAGE* p = RandomImage(2, 2, 2, 1);
  for (int Len : {259, 260}) {
    std::string Text = SaveBytes(&p, 1, 1, 0, std::string((size_t)Len - 2, 'a') + ".c");
    EXPECT_EQ(Text.empty(), Len == 260);
  }
  SaveBytes(&p, 1, 3);
  SaveBytes(&p, 7);
  IMAGE_Free(p);
  p = RandomImage(2, 2, 0, 1);
  EXPECT_EQ(SaveBytes(&p, 1, 5), "");
  IMAGE_Free(p);
  EXPECT_EQ(Rc.Errors, (std::vector<std::string>{"Filename too long", "Format 3 is not a valid format",
                                                   "Unsupported file type", "FORMAT does not fit to bitmap!"}));
}

/* Run-length pieces at their limits, as the comments of RLE8 show them:
 * A B C C C D, C C C D, two equal before four: blocks of 6 and 2; runs of
 * 254, 255, 508, 509 (chunks of at most 254); 300 pixels without any
 * repetition; a last pixel. */
TEST(CSource, RunLengthPiecesAtTheirLimits) {
  std::vector<int> aRow = {1, 2, 3, 3, 3, 4, 5, 5, 5, 5, 3, 3, 3, 4, 6, 6, 6, 6, 7, 7, 8, 8, 8, 8};
  for (int k : {9, 10, 11, 12}) aRow.insert(aRow.end(), (size_t)(k == 9 ? 254 : k == 10 ? 255 : k == 11 ? 508 : 509), k);
  for (int k = 0; k < 300; k++) aRow.push_back(20 + k % 230);
  aRow.insert(aRow.end(), {13, 13, 13, 13, 14});
  IMAGE* p = RandomImage((int)aRow.size(), 1, 256, 4);
  for (size_t x = 0; x < aRow.size(); x++) IMAGE_SetPixel(p, (int)x, 0, (U32)aRow[x]);
  std::string s = SaveBytes(&p, 1, 7), sPieces;
  IMAGE_Free(p);
  for (size_t Pos = s.find("\r\n  /* "); Pos != std::string::npos; Pos = s.find("\r\n  /* ", Pos + 1)) sPieces += s.substr(Pos + 7, 8) + " ";
  EXPECT_EQ(sPieces, "ABS: 006 RLE: 004 RLE: 003 RLE: 001 RLE: 004 ABS: 002 RLE: 004 RLE: 254 RLE: 255 RLE: 508 RLE: 509 "
                     "ABS: 255 ABS: 045 RLE: 004 RLE: 001 ");
  for (const char* sPart : {"*/ 254, 0x09, \r\n", "*/ 254, 0x0A, 1, 0x0A, \r\n", "*/ 254, 0x0B, 254, 0x0B, \r\n",
                            "*/ 254, 0x0C, 254, 0x0C, 1, 0x0C, \r\n", "*/ 0, 45, 0x", "\r\n  0};  /* 346 for 1855 pixels */"}) {
    EXPECT_NE(s.find(sPart), std::string::npos) << sPart;
  }
}

TEST(Stream, PlainReaderGetsHeaderPaletteAndPackedRows) {
  for (int n : {2, 3, 4, 5, 16, 17, 256}) {
    for (int w = 1; w <= 9; w++) {
      IMAGE* p = RandomImage(w, 3, n, (unsigned)(n * w));
      p->HasTrans = w & 1;
      std::string s = SaveBytes(&p, 4);
      auto Get = [&](size_t i, int NumBytes) {
        U32 v = 0;
        for (int k = NumBytes - 1; k >= 0; k--) v = v << 8 | (unsigned char)s.at(i + (size_t)k);
        return v;
      };
      int Bits = n <= 2 ? 1 : n <= 4 ? 2 : n <= 16 ? 4 : 8, Stride = (w * Bits + 7) / 8;
      std::vector<U32> aHead = { 0x4D42, 100, (U32)w, 3, (U32)Stride, (U32)Bits, (U32)n, (U32)(w & 1) };
      ASSERT_EQ(s.size(), 16 + 4 * (size_t)n + 3 * (size_t)Stride);
      for (int i = 0; i < 8; i++) EXPECT_EQ(Get(2 * (size_t)i, 2), aHead[(size_t)i]) << n << " field " << i;
      for (int i = 0; i < n; i++) EXPECT_EQ(Get(16 + 4 * (size_t)i, 4), IMAGE_GetColor(p, i));
      for (int y = 0; y < 3; y++) {
        for (int x = 0; x < Stride * 8 / Bits; x++) {
          U32 Byte = (unsigned char)s[16 + 4 * (size_t)n + (size_t)(y * Stride + x * Bits / 8)];
          U32 v = Byte >> (8 - Bits - x * Bits % 8) & ((1u << Bits) - 1);
          ASSERT_EQ(v, x < w ? IMAGE_GetPixel(p, x, y) : 0u) << n << " colours, width " << w << " at " << x << "," << y;
        }
      }
      IMAGE_Free(p);
    }
  }
  IMAGE* p = RandomImage(3, 3, 0, 1);
  EXPECT_EQ(SaveBytes(&p, 4), "");
  IMAGE_Free(p);
}
