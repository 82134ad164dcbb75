#include <gtest/gtest.h>

#include "color/transparency.h"
#include "commands/cmdline.h"
#include "commands/colorcmd.h"
#include "commands/workspace.h"
#include "testutil.h"

static void _Exec(unsigned Command, unsigned) {
  if (Command == 0x8024) OnTransparencyOption();
  CMDLINE_CommandDone();
}

class Transparency : public ::testing::Test {
protected:
  void SetUp() override {
    WORKSPACE_Reset();
    CMDLINE_Init("Zelmar", "", 0xE141, _Exec);
  }
  void TearDown() override { WORKSPACE_Reset(); }
  /* Runs "-transparency<sArg>" as a one-entry batch. */
  void RunOption(const std::string& sArg) {
    std::string sOption = "-transparency" + sArg;
    char* av[] = {(char*)"zelmar", (char*)sOption.c_str()};
    CMDLINE_Init("Zelmar", "", 0xE141, _Exec);
    CMDLINE_ParseCommandLine(2, av);
    CMDLINE_Exec();
  }
  /* A 4 x 2 image of four colours with the pixels 0 1 2 3 / 3 2 1 0. */
  void SetImage(std::vector<U32> aColor) {
    IMAGE_Free(pBitmapCurrent);
    pBitmapCurrent = IMAGE_Create(4, 2, 4);
    for (int i = 0; i < 4; i++) {
      IMAGE_SetColor(pBitmapCurrent, i, aColor[(size_t)i]);
      IMAGE_SetPixel(pBitmapCurrent, i, 0, (U32)i);
      IMAGE_SetPixel(pBitmapCurrent, i, 1, (U32)(3 - i));
    }
  }
  /* The palette and then the pixels. */
  std::vector<U32> State() {
    std::vector<U32> a;
    for (int i = 0; i < 4; i++) a.push_back(IMAGE_GetColor(pBitmapCurrent, i));
    for (int i = 0; i < 8; i++) a.push_back(IMAGE_GetPixel(pBitmapCurrent, i % 4, i / 4));
    return a;
  }
  std::vector<std::string> BoxTexts() {
    std::vector<std::string> a;
    for (auto& Box : Ui.Boxes) a.push_back(Box.Text);
    Ui.Boxes.clear();
    return a;
  }
  int NumUndo() {
    int n = 0;
    while (n < NUM_UNDO && aUndo[n]) n++;
    return n;
  }
  FakeFrontEnd Ui;
  ReportCatcher Reports;
};

TEST_F(Transparency, ChoicesSwapIntoEntryZeroAndKeepThePicture) {
  SetImage({0x000000, 0x0000FF, 0x00FF00, 0xFF0000});
  IMAGE_SetTransparency(pBitmapCurrent, 3);   /* entry 2 */
  const std::vector<U32> aSwapped = {0x00FF00, 0x0000FF, 0x000000, 0xFF0000, 2, 1, 0, 3, 3, 0, 1, 2};
  EXPECT_EQ(State(), aSwapped);
  EXPECT_EQ(pBitmapCurrent->HasTrans, 1);
  IMAGE_SetTransparency(pBitmapCurrent, 0);   /* the order doesn't go back */
  EXPECT_EQ(pBitmapCurrent->HasTrans, 0);
  IMAGE_SetTransparency(pBitmapCurrent, 1);   /* entry 0: only the flag */
  EXPECT_EQ(pBitmapCurrent->HasTrans, 1);
  EXPECT_EQ(State(), aSwapped);
}

TEST_F(Transparency, DialogListsEntriesAndSelectsTheTransparentOne) {
  SetImage({0x0000FF, 0x1F00FF00, 0x000000, 0xFF0000});
  Ui.ListAnswer = 3;
  OnTransparencyDlg();
  EXPECT_EQ(Ui.DialogTitle, "Transparency");
  EXPECT_EQ(Ui.ListItems, (std::vector<std::string>{"No transparency", "Index 0: 0000FF", "Index 1: 1F00FF00",
                                                    "Index 2: 000000", "Index 3: FF0000"}));
  EXPECT_EQ(Ui.ListInitialSel, 0);
  const std::vector<U32> aSwapped = {0x000000, 0x1F00FF00, 0x0000FF, 0xFF0000, 2, 1, 0, 3, 3, 0, 1, 2};
  EXPECT_EQ(State(), aSwapped);
  EXPECT_EQ(pBitmapCurrent->HasTrans, 1);
  /* Again, cancelled: entry 0 is now the transparent colour and selected;
   * nothing changes but the snapshot stays. */
  Ui.ListAnswer = -1;
  OnTransparencyDlg();
  EXPECT_EQ(Ui.ListItems[1], "Index 0: 000000");
  EXPECT_EQ(Ui.ListInitialSel, 1);
  EXPECT_EQ(State(), aSwapped);
  EXPECT_EQ(NumUndo(), 2);
  EXPECT_EQ(Ui.NumRefresh, 2);
  EXPECT_TRUE(Ui.Boxes.empty());
}

TEST_F(Transparency, CommandsRefuseTrueColourAndNoImage) {
  Ui.ListAnswer = 1;
  OnTransparencyDlg();
  RunOption("000000");
  EXPECT_EQ(BoxTexts(), (std::vector<std::string>{"No file open!", "No file open!"}));
  pBitmapCurrent = MakeTestImage(3, 3, 0);
  OnTransparencyDlg();
  RunOption("000000");
  EXPECT_EQ(BoxTexts(), std::vector<std::string>(2, "No palette, can not create transparency"));
  EXPECT_TRUE(Ui.ListItems.empty());
  EXPECT_EQ(NumUndo(), 0);
}

TEST_F(Transparency, OptionFindsTheColourValueBlueGreenRed) {
  struct { std::vector<U32> aPal; const char* sArg; std::vector<U32> aPalAfter; } aCase[] = {
    /* pure red is written 0000FF, pure blue FF0000 */
    { {0x000000, 0x0000FF, 0x00FF00, 0xFF0000}, "0000FF", {0x0000FF, 0x000000, 0x00FF00, 0xFF0000} },
    { {0x000000, 0x0000FF, 0x00FF00, 0xFF0000}, "ff0000", {0xFF0000, 0x0000FF, 0x00FF00, 0x000000} },
    /* the lower of two equal entries */
    { {0x000000, 0x00FF00, 0x0000FF, 0x00FF00}, "00FF00", {0x00FF00, 0x000000, 0x0000FF, 0x00FF00} },
    /* entry 0 moves nothing, but the snapshot is taken */
    { {0x123456, 0x00FF00, 0x0000FF, 0x00FF00}, "123456", {0x123456, 0x00FF00, 0x0000FF, 0x00FF00} },
  };
  for (auto& Case : aCase) {
    WORKSPACE_Reset();
    SetImage(Case.aPal);
    RunOption(Case.sArg);
    std::vector<U32> aState = State();
    EXPECT_EQ(std::vector<U32>(aState.begin(), aState.begin() + 4), Case.aPalAfter) << Case.sArg;
    EXPECT_EQ(pBitmapCurrent->HasTrans, 1);
    EXPECT_EQ(NumUndo(), 1);
    EXPECT_TRUE(BoxTexts().empty());
  }
}

TEST_F(Transparency, OptionRefusals) {
  SetImage({0x000000, 0x010000FF, 0x00FF00, 0xFF0000});
  struct { const char* sArg; std::vector<std::string> aBox; } aCase[] = {
    { "0000FF",   {"Color not found in image"} },        /* entry 1 has its top byte set */
    { "123456",   {"Color not found in image"} },
    { "1000000",  {"Color has to be 000000 - FFFFFF"} },
    { "-1",       {"Color has to be 000000 - FFFFFF"} },
    { "red",      {"CMDLINE_GetHexValue: Not a hex value", "Color has to be 000000 - FFFFFF"} },
  };
  std::vector<U32> aBefore = State();
  for (auto& Case : aCase) {
    RunOption(Case.sArg);
    EXPECT_EQ(BoxTexts(), Case.aBox) << Case.sArg;
    EXPECT_EQ(CMDLINE_GetError(), 1);   /* the batch stops */
  }
  EXPECT_EQ(State(), aBefore);
  EXPECT_EQ(pBitmapCurrent->HasTrans, 0);
  EXPECT_EQ(NumUndo(), 0);
  EXPECT_EQ(Ui.NumRefresh, 0);
  /* With no value the reader complains, and black is looked for. */
  RunOption("");
  EXPECT_EQ(BoxTexts(), std::vector<std::string>{"CMDLINE_GetHexValue: Missing value"});
  EXPECT_EQ(pBitmapCurrent->HasTrans, 1);
}
