/* Windows Bitmaps and GIFs as other tools write them (ImageMagick, run
 * here): masks inside V5 headers, RLE8 that ends with an end-of-line after
 * the top row, GIF frames placed on a larger screen, GIFs of more than
 * 4 million pixels. */
#include <gtest/gtest.h>

#include <stdlib.h>

#include <string>

#include "input/loader.h"
#include "testutil.h"

namespace {

bool Convert(const TempDir& Dir, const std::string& sArgs) {
  std::string sCmd = "cd '" + Dir.Path + "' && convert " + sArgs + " >/dev/null 2>&1";
  return system(sCmd.c_str()) == 0;
}

/* Largest difference of a colour channel between two files as loaded;
 * 1000 when one does not load or the sizes differ. */
int MaxDiff(const TempDir& Dir, const char* sA, const char* sB) {
  IMAGE* pA = LoadPath(Dir.File(sA), 0);
  IMAGE* pB = LoadPath(Dir.File(sB), 0);
  int Max = (pA && pB && pA->XSize == pB->XSize && pA->YSize == pB->YSize) ? 0 : 1000;
  for (int i = 0; Max < 1000 && i < 3 * pA->XSize * pA->YSize; i++) {
    U32 a = IMAGE_GetPixelColor(pA, i / 3 % pA->XSize, i / 3 / pA->XSize), b = IMAGE_GetPixelColor(pB, i / 3 % pA->XSize, i / 3 / pA->XSize);
    Max = std::max(Max, abs((int)(a >> (i % 3 * 8) & 255) - (int)(b >> (i % 3 * 8) & 255)));
  }
  IMAGE_Free(pA);
  IMAGE_Free(pB);
  return Max;
}

TEST(OtherWriters, BmpMasksInsideTheHeaderAndRle8EndingAfterTheTopRow) {
  SKIP_ON_WINDOWS();
  TempDir Dir;
  ASSERT_TRUE(Convert(Dir, "-size 40x30 xc: -channel R -fx i/w -channel G -fx j/h -channel B -fx '(i+j)/(w+h)'"
                           " +channel BMP3:ref.bmp && convert ref.bmp -define bmp:subtype=RGB565 BMP:v5_565.bmp"
                           " && convert ref.bmp -alpha on BMP:v5_32.bmp"
                           " && convert ref.bmp -colors 60 -type palette -compress none BMP3:plain.bmp"
                           " && convert plain.bmp -compress RLE BMP3:rle.bmp"));
  ReportCatcher Rc;
  EXPECT_EQ(MaxDiff(Dir, "ref.bmp", "v5_32.bmp"), 0);
  EXPECT_LE(MaxDiff(Dir, "ref.bmp", "v5_565.bmp"), 9);    /* five and six bits a channel */
  EXPECT_EQ(MaxDiff(Dir, "plain.bmp", "rle.bmp"), 0);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{});

  /* The stream ends with end-of-line, end-of-bitmap. Anything else after
   * that end-of-line is still data above the image. */
  std::string Rle = ReadFileBytes(Dir.File("rle.bmp"));
  ASSERT_EQ(Rle.substr(Rle.size() - 4), std::string("\0\0\0\1", 4));
  for (const char* sTail : {"\0\0\0\0", "\0\0\2\5"}) {
    WriteFileBytes(Dir.File("bad.bmp"), Rle.substr(0, Rle.size() - 4) + std::string(sTail, 4));
    Rc.Clear();
    EXPECT_EQ(LoadPath(Dir.File("bad.bmp"), 0), nullptr);
    EXPECT_EQ(Rc.Errors, std::vector<std::string>{"DecompressRLE8: Data after end of image"});
  }
}

TEST(OtherWriters, GifFramesAtTheirPlaceAndLargeScreens) {
  SKIP_ON_WINDOWS();
  TempDir Dir;
  ASSERT_TRUE(Convert(Dir, "-size 2100x2000 xc:white big.gif"));
  ReportCatcher Rc;
  /* A frame of 2 x 3, blue with a white top left pixel, at 5,2 on a
   * screen of 8 x 6 in the colour of the table's first entry. */
  IMAGE* p = IMAGE_Create(2, 3, 2);
  IMAGE_SetColor(p, 0, 0xFFFFFF);
  IMAGE_SetColor(p, 1, 0xFF0000);
  for (int i = 1; i < 6; i++) IMAGE_SetPixel(p, i % 2, i / 2, 1);
  std::string Gif = SaveBytes(&p, 3);
  IMAGE_Free(p);
  size_t Desc = Gif.find(',', 13);
  Gif[6] = 8, Gif[8] = 6, Gif[Desc + 1] = 5, Gif[Desc + 3] = 2;
  WriteFileBytes(Dir.File("pos.gif"), Gif);
  U32 Background = (U8)Gif[13] | (U8)Gif[14] << 8 | (U8)Gif[15] << 16;
  p = LoadPath(Dir.File("pos.gif"), 2);
  ASSERT_NE(p, nullptr);
  ASSERT_EQ(p->XSize, 8);
  ASSERT_EQ(p->YSize, 6);
  for (int y = 0; y < 6; y++) {
    for (int x = 0; x < 8; x++) {
      bool IsFrame = x >= 5 && x < 7 && y >= 2 && y < 5;
      EXPECT_EQ(IMAGE_GetPixelColor(p, x, y), !IsFrame ? Background : x == 5 && y == 2 ? 0xFFFFFFu : 0xFF0000u) << x << "," << y;
    }
  }
  IMAGE_Free(p);
  p = LoadPath(Dir.File("big.gif"), 2);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetPixelColor(p, 2099, 1999), 0xFFFFFFu);
  IMAGE_Free(p);
  EXPECT_EQ(Rc.Errors, std::vector<std::string>{});
}

}  // namespace
