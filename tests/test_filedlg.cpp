/* Save As and Open driven through a front end whose file dialog answers
 * as a user would. */
#include <gtest/gtest.h>

#include <string>

#include "commands/filedlg.h"
#include "commands/saveas.h"
#include "commands/workspace.h"
#include "platform/plat.h"
#include "testutil.h"

/* A file dialog that records what it was given and answers from a script. */
static PLAT_FILEDLG _Seen;
static std::string  _SeenStart, _Answer;
static int          _AnswerIndex, _TypeChangeTo;
static PLAT_FORMATDLG _SeenFormat;
static std::string    _sFormatRows;   /* the values offered, at the time */
static int          _FormatAnswer = -1;

static int _FileDialog(PLAT_FILEDLG* pDlg) {
  _Seen = *pDlg;
  _SeenStart = pDlg->pBuffer;
  if (_TypeChangeTo && pDlg->pfTypeChange) pDlg->pfTypeChange(_TypeChangeTo, pDlg->pBuffer, pDlg->MaxLen);
  if (_Answer.empty()) return 0;
  if (_Answer != "=") snprintf(pDlg->pBuffer, (size_t)pDlg->MaxLen + 1, "%s", _Answer.c_str());
  pDlg->FilterIndex = _AnswerIndex;
  return 1;
}

static int _ChooseFormat(PLAT_FORMATDLG* pDlg) {
  _SeenFormat = *pDlg;
  _sFormatRows.clear();
  for (int i = 0; i < pDlg->NumItems; i++) _sFormatRows += std::to_string(pDlg->aValue[i]) + " ";
  if (_FormatAnswer < 0) return 0;
  pDlg->Value = pDlg->aValue[_FormatAnswer];
  pDlg->IsChecked = 0;
  return 1;
}

static const PLAT_FRONTEND _FrontEnd = {
  nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
  nullptr, nullptr, nullptr, nullptr, nullptr, _FileDialog, _ChooseFormat, nullptr, nullptr,
};

TEST(FileDlg, SaveAsAsksTypeAndFormatAndKeepsTheTypeOfAPaletteImage) {
  WORKSPACE_Reset();
  PLAT_SetFrontEnd(&_FrontEnd);
  TempDir Tmp;
  std::string sDir = Tmp.Path;
  pBitmapCurrent = MakeTestImage(4, 4, 16);
  snprintf(acFileName, sizeof(acFileName), "%s/pic.bmp", sDir.c_str());
  /* Cancel: nothing kept but the folder. */
  _Answer = "";
  LastFileType = 0;
  OnFileSaveAs();
  EXPECT_EQ(_Seen.NumFilters, 4);
  EXPECT_EQ(_Seen.FilterIndex, 1);
  EXPECT_STREQ(_Seen.sTitle, "Save bitmap file");
  EXPECT_EQ(_SeenStart, sDir + "/pic.c");
  EXPECT_EQ(std::string(FILEDLG_GetLastSaveName()), sDir + "/pic.c");
  EXPECT_EQ(LastFileType, 0);
  /* A type change rewrites the name; a name typed without a dot gets the
   * type's extension. The C stream is written from here. */
  _TypeChangeTo = 4;
  _Answer = "=";
  _AnswerIndex = 4;
  OnFileSaveAs();
  EXPECT_EQ(LastFileType, 4);
  EXPECT_TRUE(FileExists(sDir + "/pic.dta"));
  _TypeChangeTo = 2;
  _Answer = sDir + "/typed";
  _AnswerIndex = 2;
  OnFileSaveAs();
  EXPECT_TRUE(FileExists(sDir + "/typed.bmp"));
  EXPECT_EQ(LastFileType, 2);
  _TypeChangeTo = 0;
  /* Type 1 asks for the format: a 16-colour image from 4 bits on; the
   * 8th row (high colour, swapped) expands, saves and comes back. */
  _Answer = sDir + "/out.c";
  _AnswerIndex = 1;
  _FormatAnswer = -1;
  OnFileSaveAs();
  EXPECT_EQ(_sFormatRows, "4 5 6 7 8 9 10 11 12 13 ");
  EXPECT_EQ(_SeenFormat.IsCheckEnabled, 1);
  EXPECT_FALSE(FileExists(sDir + "/out.c"));
  EXPECT_EQ(LastFileType, 1);
  _FormatAnswer = 5;
  OnFileSaveAs();
  EXPECT_EQ(IMAGE_GetNumColors(pBitmapCurrent), 16);
  EXPECT_NE(ReadFileBytes(sDir + "/out.c").find("OMRAK_DRAW_BMPM565"), std::string::npos);
  /* A true-colour image: three types, rows 7 to 12, box greyed, and the
   * type isn't kept. */
  IMAGE_Free(pBitmapCurrent);
  pBitmapCurrent = IMAGE_Create(2, 2, 0);
  _FormatAnswer = -1;
  _AnswerIndex = 1;
  LastFileType = 4;
  OnFileSaveAs();
  EXPECT_EQ(_Seen.NumFilters, 3);
  EXPECT_EQ(_sFormatRows, "8 9 10 11 12 13 ");
  EXPECT_EQ(_SeenFormat.IsCheckEnabled, 0);
  std::string sStates;   /* for formats 1 to 13: the box enabled, greyed, or as it was */
  for (int f = 1; f <= 13; f++) sStates += std::to_string(_SeenFormat.pfCheckState(f)) + " ";
  EXPECT_EQ(sStates, "1 1 -1 1 1 1 1 0 0 -1 -1 -1 -1 ");
  EXPECT_EQ(LastFileType, 4);
  /* Open: its own title and list, the chosen file opened. */
  _Answer = sDir + "/typed.bmp";
  OnFileOpenDlg();
  EXPECT_STREQ(_Seen.sTitle, "Open bitmap file");
  EXPECT_EQ(_Seen.NumFilters, 3);
  EXPECT_STREQ(_Seen.aFilter[0].sLabel, "Image file (*.bmp, *.gif, *.sbmp)");
  EXPECT_STREQ(_Seen.aFilter[2].sPattern, "*.png;*.jpg;*.jpeg");
  EXPECT_EQ(std::string(acFileName), sDir + "/typed.bmp");
  PLAT_SetFrontEnd(nullptr);
  WORKSPACE_Reset();
}
