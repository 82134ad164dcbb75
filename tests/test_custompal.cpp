#include <gtest/gtest.h>

#include "color/custompal.h"
#include "color/palette.h"
#include "commands/cmdline.h"
#include "commands/colorcmd.h"
#include "commands/workspace.h"
#include "testutil.h"

/* A palette file: magic, count, reserved word, the colours as words. */
static std::string _PalFile(unsigned NumColors, const std::vector<unsigned>& aColor) {
  std::string s = "OmrakPal";
  Put32(s, NumColors);
  Put32(s, 0xDEADBEEF);
  for (unsigned c : aColor) Put32(s, c);
  return s;
}

static void _Exec(unsigned Command, unsigned) {
  if (Command == 0x8023) OnConvertIntoCustomPalette();
  CMDLINE_CommandDone();
}

class CustomPal : public ::testing::Test {
protected:
  void SetUp() override {
    WORKSPACE_Reset();
    CMDLINE_Init("Zelmar", "", 0xE141, _Exec);
    ASSERT_EQ(Load(_PalFile(2, {0x111111, 0x222222})), 0);   /* to see whether a load replaced it */
  }
  void TearDown() override { WORKSPACE_Reset(); }
  std::string Put(const std::string& Bytes, const std::string& sName = "p.OmrakPal") {
    WriteFileBytes(Dir.File(sName), Bytes);
    return Dir.File(sName);
  }
  int Load(const std::string& Bytes) { return CUSTOMPAL_Load(Put(Bytes).c_str()); }
  std::vector<U32> Custom() {
    PALETTE* p = CONVERT_GetCustomPalette();
    return std::vector<U32>(p->pColors, p->pColors + p->NumColors);
  }
  int NumUndo() {
    int n = 0;
    while (n < NUM_UNDO && aUndo[n]) n++;
    return n;
  }
  void RunBatch(const std::string& sArg) {
    std::string sOption = "-convertintocustompalette" + sArg;
    char* av[] = {(char*)"zelmar", (char*)sOption.c_str()};
    CMDLINE_Init("Zelmar", "", 0xE141, _Exec);
    CMDLINE_ParseCommandLine(2, av);
    CMDLINE_Exec();
  }
  TempDir Dir;
  FakeFrontEnd Ui;
  ReportCatcher Reports;
};

TEST_F(CustomPal, LoadsTwoToTwoHundredFiftySixColoursRedFirst) {
  EXPECT_EQ(Custom(), (std::vector<U32>{0x111111, 0x222222}));
  std::vector<unsigned> a256;
  for (unsigned i = 0; i < 256; i++) a256.push_back(i * 0x01010101u);
  EXPECT_EQ(Load(_PalFile(256, a256)), 0);
  EXPECT_EQ(Custom(), std::vector<U32>(a256.begin(), a256.end()));   /* the fourth byte stays */
  EXPECT_EQ(Load(_PalFile(3, {1, 2, 3, 4}) + "junk"), 0);            /* surplus ignored */
  EXPECT_EQ(Custom(), (std::vector<U32>{1, 2, 3}));
  EXPECT_EQ(Load(std::string("OmrakPal\x02\0\0\0\0\0\0\0\x11\x22\x33\x00\x44\x55\x66\x77", 24)), 0);
  EXPECT_EQ(Custom(), (std::vector<U32>{0x00332211, 0x77665544}));
  EXPECT_TRUE(Reports.Errors.empty());
}

TEST_F(CustomPal, RefusedFilesReportTheirStepAndKeepThePalette) {
  const char* const sLess = "_LoadPalette: Number of colors may not be less than 2 !";
  const char* const sMore = "_LoadPalette: Number of colors may not exceed 256 !";
  const std::string Two = _PalFile(2, {5, 6});
  struct { std::string Bytes; std::string sError; } aCase[] = {
    { _PalFile(1, {5}), sLess },
    { _PalFile(0, {}), sLess },
    { _PalFile(0xFFFFFFFF, {5, 6}), sLess },
    { _PalFile(0x80000000, {5, 6}), sLess },
    { _PalFile(257, std::vector<unsigned>(257, 5)), sMore },
    { _PalFile(0x7FFFFFFF, {5, 6}), sMore },
    { Two.substr(0, 23), "_LoadPalette: Could not read palette data" },
    { Two.substr(0, 14), "_LoadPalette: Dummy read at 0xc failed" },
    { Two.substr(0, 12), "_LoadPalette: Dummy read at 0xc failed" },
    { Two.substr(0, 11), "_LoadPalette: Could not read number of entries" },
    { "OmrakPa", "_LoadPalette: Could not read header" },
    { "omrakPal" + Two.substr(8),
      "Illegal file header\nExcpecting the following:\n00:U8  Header[8] = \"OmrakPal\"\n"
      "08:U32 NumColors\n0C:U8  Reserved[4]\n10:U32 _aColor[NumColors]\n" },
  };
  for (auto& Case : aCase) {
    Reports.Clear();
    EXPECT_EQ(Load(Case.Bytes), 1);
    EXPECT_EQ(Reports.Errors, std::vector<std::string>{Case.sError}) << Case.sError;
    EXPECT_EQ(Custom(), (std::vector<U32>{0x111111, 0x222222}));
  }
  Reports.Clear();
  EXPECT_EQ(CUSTOMPAL_Load(Dir.File("missing").c_str()), 1);
  EXPECT_EQ(Reports.Errors, std::vector<std::string>{"Invalid file handle"});
  Reports.Clear();
  EXPECT_EQ(Load(""), 0);   /* an empty file is no error and changes nothing */
  EXPECT_TRUE(Reports.Errors.empty());
  EXPECT_EQ(Custom(), (std::vector<U32>{0x111111, 0x222222}));
}

TEST_F(CustomPal, BatchConvertsOrStopsOnAMissingFile) {
  pBitmapCurrent = MakeTestImage(4, 3, 0);
  IMAGE* pBefore = pBitmapCurrent;
  RunBatch(Dir.File("missing"));
  EXPECT_EQ(Ui.Boxes.size(), 1u);
  EXPECT_EQ(Ui.Boxes[0].Text, "Invalid file handle");
  EXPECT_EQ(pBitmapCurrent, pBefore);
  EXPECT_EQ(NumUndo(), 1);
  EXPECT_EQ(Ui.NumRefresh, 1);

  IMAGE_SetPixel(pBitmapCurrent, 0, 0, 0x1010F0);   /* near pure red */
  RunBatch(Put(_PalFile(3, {0x000000, 0xFFFFFF, 0x0000FF})));
  EXPECT_EQ(pBitmapCurrent->NumColors, 3);          /* not rounded up */
  EXPECT_EQ(IMAGE_GetPixelColor(pBitmapCurrent, 0, 0), 0x0000FFu);
  EXPECT_EQ(NumUndo(), 3);                          /* the command's and the conversion's */
  EXPECT_EQ(Ui.NumRefresh, 2);
  EXPECT_EQ(CMDLINE_GetError(), 0);
}

TEST_F(CustomPal, DialogCancelRefusalAndEmptyFile) {
  pBitmapCurrent = MakeTestImage(4, 3, 0);
  IMAGE* pBefore = pBitmapCurrent;
  OnConvertIntoCustomPalette();                     /* no FileAnswer: cancel */
  EXPECT_EQ(Ui.DialogTitle, "Open custom palette");
  Ui.FileAnswer = Put(_PalFile(300, {}), "bad.OmrakPal");
  OnConvertIntoCustomPalette();
  EXPECT_EQ(Reports.Errors, std::vector<std::string>{"_LoadPalette: Number of colors may not exceed 256 !"});
  EXPECT_EQ(pBitmapCurrent, pBefore);
  EXPECT_EQ(NumUndo(), 2);
  EXPECT_EQ(Ui.NumRefresh, 2);
  /* An empty file converts onto the palette last read. */
  Ui.FileAnswer = Put("", "empty.OmrakPal");
  Reports.Clear();
  OnConvertIntoCustomPalette();
  EXPECT_TRUE(Reports.Errors.empty());
  EXPECT_EQ(pBitmapCurrent->NumColors, 2);
  EXPECT_EQ(IMAGE_GetColor(pBitmapCurrent, 1), 0x222222u);
  EXPECT_EQ(NumUndo(), 4);
}

TEST_F(CustomPal, NoImageIsReportedByTheConversion) {
  Ui.FileAnswer = Put(_PalFile(2, {0x000000, 0xFFFFFF}));
  OnConvertIntoCustomPalette();
  EXPECT_EQ(Reports.Errors, std::vector<std::string>{"Internal error : pBitmapOrg == NULL"});
  EXPECT_EQ(pBitmapCurrent, nullptr);
  EXPECT_EQ(Ui.NumRefresh, 1);
}
