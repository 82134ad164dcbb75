#include <gtest/gtest.h>

#include "commands/dispatch.h"
#include "commands/workspace.h"
#include "testutil.h"

class Workspace : public ::testing::Test {
protected:
  void SetUp() override { WORKSPACE_Reset(); }
  void TearDown() override { WORKSPACE_Reset(); }
  std::string PutBMP(const std::string& sName, int NumColors, int XSize = 4) {
    IMAGE* p = MakeTestImage(XSize, 3, NumColors);
    std::string sPath = Dir.File(sName);
    WriteFileBytes(sPath, MakeBMP(p));
    IMAGE_Free(p);
    return sPath;
  }
  int NumUndo() {
    int n = 0;
    while (n < NUM_UNDO && aUndo[n]) n++;
    return n;
  }
  TempDir Dir;
  FakeFrontEnd Ui;
  ReportCatcher Reports;
};

TEST_F(Workspace, UndoKeepsTheTenNewestSnapshots) {
  ASSERT_NE(OnFileOpen(PutBMP("a.bmp", 0).c_str()), nullptr);
  EXPECT_EQ(NumUndo(), 0);          /* nothing to push before the first image */
  for (int i = 0; i < 11; i++) {
    OnCommand(0x8014 + (i % 4), 0); /* high colour reductions */
  }
  EXPECT_EQ(NumUndo(), 10);
  for (int i = 0; i < 10; i++) OnCommand(0xE12B, 0);
  EXPECT_EQ(NumUndo(), 0);
  Reports.Clear();
  OnCommand(0xE12B, 0);             /* nothing left: no status either */
  EXPECT_TRUE(Reports.Status.empty());
  EXPECT_NE(pBitmapCurrent, nullptr);
}

TEST_F(Workspace, OpeningASecondFileCanBeUndone) {
  OnFileOpen(PutBMP("a.bmp", 16).c_str());
  pBitmapCurrent->HasTrans = 1;
  OnFileOpen(PutBMP("b.bmp", 0).c_str());
  EXPECT_EQ(pBitmapCurrent->NumColors, 0);
  Reports.Clear();
  OnCommand(0xE12B, 0);
  EXPECT_EQ(pBitmapCurrent->NumColors, 16);
  EXPECT_EQ(pBitmapCurrent->HasTrans, 0);   /* a snapshot carries no transparency */
  EXPECT_EQ(Reports.Status, (std::vector<std::string>{"Undoing", "Last operation undone"}));
  EXPECT_EQ(std::string(acFileName), Dir.File("b.bmp"));
}

TEST_F(Workspace, ExtensionsByLastDotIgnoringCase) {
  EXPECT_NE(OnFileOpen(PutBMP("A.BMP", 2).c_str()), nullptr);
  EXPECT_EQ(LastFileType, 1);
  EXPECT_NE(OnFileOpen(PutBMP("x.old.bmp", 2).c_str()), nullptr);
  EXPECT_NE(OnFileOpen(PutBMP("x.bmpx", 2).c_str()), nullptr);   /* a prefix match */
  Reports.Clear();
  EXPECT_EQ(OnFileOpen(PutBMP("y.bmp.old", 2).c_str()), nullptr);
  EXPECT_EQ(Reports.Errors, (std::vector<std::string>{"Unsupported file type", "Error opening file"}));
  EXPECT_EQ(std::string(acFileName), Dir.File("y.bmp.old"));   /* the failed path is kept */
  EXPECT_EQ(LastFileType, 1);
  Reports.Clear();
  EXPECT_EQ(OnFileOpen(PutBMP("noext", 2).c_str()), nullptr);
  EXPECT_EQ(Reports.Errors.back(), "Error opening file");
  EXPECT_NE(OnFileOpen(Dir.File("A.BMP").c_str()), nullptr);     /* and the next open works */
}

TEST_F(Workspace, OpenFailuresLeaveEverythingAlone) {
  OnFileOpen(PutBMP("a.bmp", 4).c_str());
  IMAGE* pBefore = pBitmapCurrent;
  Reports.Clear();
  EXPECT_EQ(OnFileOpen(Dir.File("missing.bmp").c_str()), nullptr);
  EXPECT_EQ(OnFileOpen(Dir.Path.c_str()), nullptr);   /* a folder is no file */
  EXPECT_EQ(OnFileOpen((Dir.Path + "/" + std::string(300, 'a') + ".bmp").c_str()), nullptr);
  ASSERT_GE(Reports.Errors.size(), 2u);
  EXPECT_EQ(Reports.Errors[0], "File not found");
  EXPECT_EQ(pBitmapCurrent, pBefore);
  EXPECT_EQ(NumUndo(), 0);
  EXPECT_EQ(IsOpening, 0);
  IsOpening = 1;
  Reports.Clear();
  EXPECT_EQ(OnFileOpen(Dir.File("a.bmp").c_str()), nullptr);
  EXPECT_EQ(Reports.Errors, std::vector<std::string>{"Error opening file"});
  IsOpening = 0;
}

TEST_F(Workspace, InitialZoomAndLimits) {
  OnFileOpen(PutBMP("wide.bmp", 2, 301).c_str());
  EXPECT_EQ(Zoom, 10);
  OnFileOpen(PutBMP("small.bmp", 2, 300).c_str());
  EXPECT_EQ(Zoom, 20);
  Zoom = 40;
  int NumRefresh = Ui.NumRefresh;
  OnCommand(0x8007, 0);
  EXPECT_EQ(Zoom, 40);
  Zoom = 1;
  OnCommand(0x8008, 0);
  EXPECT_EQ(Zoom, 1);
  EXPECT_EQ(Ui.NumRefresh, NumRefresh + 2);   /* repainted at the limits too */
}

TEST_F(Workspace, RGBOnTrueColourStillLeavesASnapshot) {
  OnFileOpen(PutBMP("a.bmp", 0).c_str());
  IMAGE* pBefore = pBitmapCurrent;
  OnCommand(0x801D, 0);
  EXPECT_EQ(pBitmapCurrent, pBefore);
  EXPECT_EQ(NumUndo(), 1);
  OnCommand(0x801D | 0x10000, 0);   /* only the low 16 bits count */
  EXPECT_EQ(NumUndo(), 2);
  OnCommand(0x7777, 0);             /* unknown numbers are ignored */
  EXPECT_EQ(NumUndo(), 2);
}

TEST_F(Workspace, CommandsWithoutImageStopInOrder) {
  OnCommand(0x801D, 0);
  OnCommand(0x8016, 0);
  EXPECT_EQ(pBitmapCurrent, nullptr);
  EXPECT_EQ(Reports.Errors.size(), 2u);
  EXPECT_EQ(NumUndo(), 0);
}
