/* The size limit of pictures, work on the largest picture, and memory
 * that runs out. */
#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "app/main.h"
#include "color/dither.h"
#include "commands/dispatch.h"
#include "commands/workspace.h"
#include "geometry/geometry.h"
#include "input/loader.h"
#include "input/rle.h"
#include "platform/plat.h"
#include "testutil.h"

TEST(Limits, PicturesAboveSixtyFourMiPixelsAreRefusedWithTheSizeMessage) {
  ReportCatcher Reports;
  for (auto Size : std::vector<std::pair<I32, I32>>{{8192, 8192}, {1 << 26, 1}, {1, 1 << 26}, {1 << 26, 0}}) {
    EXPECT_TRUE(IMAGE_IsSizeValid(Size.first, Size.second, 0)) << Size.first << " x " << Size.second;
  }
  /* 41605 * 1613 is one pixel over, each side within the bounds. */
  for (auto Size : std::vector<std::pair<I32, I32>>{{8193, 8192}, {41605, 1613}, {(1 << 26) + 1, 1}, {65535, 65535}, {0x7FFFFFFF, 0}}) {
    EXPECT_FALSE(IMAGE_IsSizeValid(Size.first, Size.second, 2)) << Size.first << " x " << Size.second;
  }
  EXPECT_EQ(IMAGE_Create(8193, 8192, 2), nullptr);
  EXPECT_EQ(Reports.Errors, std::vector<std::string>{"Image size 8193 * 8192 not supported"});
}

TEST(Limits, GeometryWorksOnTheLargestPicture) {
  ReportCatcher Reports;
  /* Runs fill whole rows of the largest square; only the last pixel
   * differs. */
  std::string Sbmp = HexBytes("53 42 00 20 00 20 02 00 00 00 00 ff ff ff ");
  for (int i = 0; i < 1024; i++) Sbmp += HexBytes("ff ff 01 ");
  Sbmp += std::string("\xFF\x03\x01" "\x01\x00\x00", 6);   /* 1,023 more, then one of index 0 */
  IMAGE* p = SBMP_LoadFromMemory((const U8*)Sbmp.data(), (U32)Sbmp.size());
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetPixel(p, 8191, 8191), 0u);
  EXPECT_EQ(IMAGE_GetPixel(p, 8190, 8191), 1u);
  p = IMAGE_FlipH(IMAGE_FlipV(p));
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 0u);
  p = IMAGE_Rotate90CW(p);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetPixel(p, 8191, 0), 0u);
  p = IMAGE_Rotate90CCW(IMAGE_Rotate90CCW(p));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 8191), 0u);
  p = IMAGE_InvertIndices(p);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 8191), 1u);
  EXPECT_EQ(Reports.Status.size(), 8192u + 1);
  p = IMAGE_Shrink(p);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 4095), 0x404040u);   /* one white of four */
  EXPECT_EQ(IMAGE_GetPixel(p, 1, 4095), 0u);
  EXPECT_TRUE(Reports.Errors.empty());
  IMAGE_Free(p);
  /* A column of 2^24 + 1 rows: the top byte of the height counts. */
  p = IMAGE_Create(1, 0x1000001, 2);
  ASSERT_NE(p, nullptr);
  IMAGE_SetPixel(p, 0, 0, 1);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0), 1u);
  EXPECT_EQ(IMAGE_GetPixel(p, 0, 0x1000000), 0u);
  IMAGE_Free(p);
}

/* Per-row progress texts are counted up in place; every text must still
 * read as if printed anew, across new digits and changes of prefix. */
TEST(Limits, LineStatusTexts) {
  ReportCatcher Reports;
  const char* sA = "Converting image, line ";
  const char* sB = "row 1";
  struct { const char* s; int Line, NumLines; } aCall[] = {
    {sA, 8, 100}, {sA, 9, 100}, {sA, 10, 100}, {sA, 19, 100}, {sA, 20, 100}, {sA, 99, 100}, {sA, 100, 100}, {sA, 101, 1000}, {sB, 9, 10}, {sB, 10, 10}, {sA, 3, 10}};
  for (auto& c : aCall) IMAGE_ShowLineStatus(c.s, c.Line, c.NumLines);
  EXPECT_EQ(Reports.Status, (std::vector<std::string>{
    "Converting image, line 8/100", "Converting image, line 9/100", "Converting image, line 10/100",
    "Converting image, line 19/100", "Converting image, line 20/100",
    "Converting image, line 99/100", "Converting image, line 100/100", "Converting image, line 101/1000",
    "row 19/10", "row 110/10", "Converting image, line 3/10"}));
  /* Without a front end a question takes its default answer; without
   * hooks an error is a box of its own title. */
  EXPECT_EQ(PLAT_MessageBox("Convert?", "Warning", PLAT_ICON_QUESTION, PLAT_BUTTONS_YESNO, PLAT_ID_NO), PLAT_ID_NO);
  FakeFrontEnd Fe;
  IMAGE_SetHooks(nullptr, nullptr, nullptr);
  IMAGE_ShowError("Out of memory");
  EXPECT_EQ(Fe.Titles, std::vector<std::string>{"Error occured"});
}

/* Memory that runs out at any allocation of a command or an open: it
 * fails with its message (the picture stays), or still succeeds; nothing
 * crashes or leaks. Each allocation is made to fail in turn; what each
 * command said is pinned. */
TEST(Limits, EveryAllocationThatFailsEndsWithAMessage) {
  FakeFrontEnd Fe;
  Fe.AnswerLists(3);   /* the optimal palette of 32 colours */
  MAIN_InitApp();
  TempDir Dir;
  IMAGE* pSrc = RandomImage(24, 16, 0, 5, 300);
  IMAGE* pPal = RandomImage(24, 16, 16, 5);
  WriteFileBytes(Dir.File("a.bmp"), MakeBMP(pPal));
  WriteFileBytes(Dir.File("a.gif"), SaveBytes(&pPal, 3));
  WriteFileBytes(Dir.File("a.sbmp"), HexBytes("53 42 02 00 01 00 02 00 00 00 00 ff ff ff 01 00 01 "));
  std::string sGot;
  auto Sweep = [&](const std::string& sName, const std::function<void()>& pfRun) {
    std::set<std::string> aSaid;
    for (long k = 0;; k++) {
      WORKSPACE_Reset();
      pBitmapCurrent = IMAGE_Copy(pSrc);
      Fe.Boxes.clear();
      PLAT_FailAllocation(k);
      pfRun();
      if (PLAT_FailAllocation(-1) >= 0) break;   /* no allocation was left to fail */
      std::string s = Fe.Texts();
      for (char& c : s) c = c == '\n' ? '/' : c;
      aSaid.insert(!s.empty() ? s : Diff(pBitmapCurrent, pSrc).empty() ? "(nothing said, nothing done)" : "(done without it)");
      ASSERT_NE(pBitmapCurrent, nullptr) << sName << " " << k;
    }
    sGot += sName + ":";
    for (const std::string& s : aSaid) sGot += " " + s;
    sGot += "\n";
  };
  for (unsigned Command : {0x800Au, 0x800Bu, 0x800Fu, 0x8013u, 0x8016u, 0x8018u, 0x801Au, 0x801Du, 0x801Eu, 0x801Fu, 0x8020u, 0x8022u, 0x8025u, 0x8026u})
    for (int Dither : {0, 1}) {
      CONVERT_SetDither(Dither);
      Sweep(std::to_string(Command) + (Dither ? " dithered" : ""), [Command] { OnCommand(Command, 0); });
    }
  CONVERT_SetDither(0);
  for (const char* sFile : {"a.bmp", "a.gif", "a.sbmp"}) Sweep(sFile, [&] { OnFileOpen(Dir.File(sFile).c_str()); });
  EXPECT_EQ(sGot, Golden("nomemory.txt", sGot));
  WORKSPACE_Reset();
  IMAGE_Free(pSrc);
  IMAGE_Free(pPal);
}
