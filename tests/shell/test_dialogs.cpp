/* The desktop's dialogs as the commands open them: the Format dialog of
 * Save As and the Transparency list, answered in place of a user. With
 * ZELMAR_SHOT_DIR set, each dialog is also shown and photographed there. */
#include <gtest/gtest.h>

#include <stdlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include <wx/app.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/clipbrd.h>
#include <wx/choice.h>
#include <wx/dialog.h>
#include <wx/filedlg.h>
#include <wx/image.h>
#include <wx/imagpng.h>
#include <wx/listbox.h>

#include "app/main.h"
#include "commands/workspace.h"
#include "shell/about.h"
#include "shell/dialogs.h"
#include "shell/menu.h"
#include "shell/frame.h"
#include "platform/plat.h"
#include "testutil.h"

static std::string _Str(const wxString& s) { return std::string(s.utf8_str()); }

/* What the Format dialog showed: its rows, "*" behind the selected one,
 * the box's state ("box on/off"), and the state after picking row Pick. */
static std::string _Seen;
static int _Pick, _ListAnswer;

static void _Photograph(wxDialog* pDialog, const char* sName) {
  const char* sDir = getenv("ZELMAR_SHOT_DIR");
  if (sDir == nullptr) return;
  pDialog->Show();
  for (int i = 0; i < 20; i++) { wxMilliSleep(20); wxTheApp->Yield(true); }
  std::string sCmd = "import -window root " + std::string(sDir) + "/" + sName + ".png";
  EXPECT_EQ(system(sCmd.c_str()), 0);
  pDialog->Hide();
}

/* A file dialog: what it showed, and the name and type it is answered with. */
static std::string _sSeenFile, _sChosen;
static int _NewFilter;

/* The places of a dialog's controls: "WxH" of its inside, then for each
 * control "label x,y w h" (h left out where the toolkit chooses it). */
static std::string _sLayout, _sWant;

static std::string _Layout(wxDialog* pDialog) {
  std::string s = std::to_string(pDialog->GetClientSize().x) + "x" + std::to_string(pDialog->GetClientSize().y);
  for (wxWindow* p : pDialog->GetChildren()) {
    wxRect r = p->GetRect();
    bool IsFixed = dynamic_cast<wxButton*>(p) || dynamic_cast<wxListBox*>(p) || p->GetLabel().StartsWith("Color");
    s += _Str(wxString::Format("|%s %d,%d %d", p->GetLabel(), r.x, r.y, r.width)) + (IsFixed ? " " + std::to_string(r.height) : "");
  }
  return s;
}

static int _Answer(wxDialog* pDialog) {
  _sLayout = _Layout(pDialog);
  if (auto* pFile = dynamic_cast<wxFileDialog*>(pDialog)) {
    _sSeenFile = _Str(pFile->GetWildcard()) + " start " + std::to_string(pFile->GetFilterIndex());
    if (!_sChosen.empty()) {
#ifndef __WXMSW__
      pFile->Show();   /* GTK's dialog hands back a name only once it is shown */
#endif
      pFile->SetPath(wxString::FromUTF8(_sChosen.c_str()));
#ifndef __WXMSW__
      /* Shown, it renames the file in its field when the type changes. */
      for (int i = 0; i < 20 && pFile->GetPath().empty(); i++) { wxMilliSleep(10); wxTheApp->Yield(true); }
      pFile->SetFilterIndex(_NewFilter);
      for (int i = 0; i < 5; i++) { wxMilliSleep(10); wxTheApp->Yield(true); }
      _sSeenFile += " then " + _Str(pFile->GetFilename());
      pFile->Hide();
#endif
      pFile->SetFilterIndex(_NewFilter);
    }
    return wxID_OK;
  }
  auto* pList = dynamic_cast<wxListBox*>(pDialog->FindWindow(230));
  if (pList) {
    auto* pCheck = dynamic_cast<wxCheckBox*>(pDialog->FindWindow(210));
    _Seen = _Str(pDialog->GetTitle());
    for (unsigned i = 0; i < pList->GetCount(); i++)
      _Seen += "|" + _Str(pList->GetString(i)) + ((int)i == pList->GetSelection() ? "*" : "");
    _Seen += pCheck->IsEnabled() ? "|box on" : "|box off";
    _Photograph(pDialog, "format");
    pList->SetSelection(_Pick);
    wxCommandEvent Event(wxEVT_LISTBOX, 230);
    Event.SetInt(_Pick);
    pList->GetEventHandler()->ProcessEvent(Event);
    _Seen += pCheck->IsEnabled() ? "|then on" : "|then off";
    return wxID_CANCEL;
  }
  auto* pChoice = dynamic_cast<wxChoice*>(pDialog->FindWindow(1001));
  if (pChoice) {
    /* Its layout in dialog units, heights 0 where the toolkit chooses. */
    auto R = [pDialog](const char* sLabel, int x, int y, int w, int h) {
      wxPoint At = pDialog->ConvertDialogToPixels(wxPoint(x, y));
      wxSize  Size = pDialog->ConvertDialogToPixels(wxSize(w, h));
      return _Str(wxString::Format("|%s %d,%d %d", sLabel, At.x, At.y, Size.x)) + (h ? " " + std::to_string(Size.y) : "");
    };
    wxSize Inside = pDialog->ConvertDialogToPixels(wxSize(186, 54));
    _sWant = std::to_string(Inside.x) + "x" + std::to_string(Inside.y) + R("Color to make transparent", 7, 7, 86, 10) + R("", 7, 18, 83, 0)
           + R("OK", 129, 7, 50, 14) + R("Cancel", 129, 26, 50, 14);
    _Seen = _Str(pDialog->GetTitle());
    for (unsigned i = 0; i < pChoice->GetCount(); i++)
      _Seen += "|" + _Str(pChoice->GetString(i)) + ((int)i == pChoice->GetSelection() ? "*" : "");
    _Photograph(pDialog, "transparency");
    if (_ListAnswer < 0) return wxID_CANCEL;
    pChoice->SetSelection(_ListAnswer);
    return wxID_OK;
  }
  return wxID_CANCEL;
}

/* A palette image of NumColors entries; above 256 colours a true-colour
 * image of that many colours. */
static IMAGE* _Image(int NumColors) {
  if (NumColors > 256) {
    IMAGE* p = IMAGE_Create(NumColors, 1, 0);
    for (int i = 0; i < NumColors; i++) IMAGE_SetPixel(p, i, 0, (unsigned)i * 0x010203u);
    return p;
  }
  IMAGE* p = IMAGE_Create(4, 4, NumColors);
  for (int i = 0; i < NumColors; i++) IMAGE_SetColor(p, i, (unsigned)i * 0x010203u);
  return p;
}

static std::string _FormatDialogFor(int NumColors, int Pick) {
  WORKSPACE_Reset();
  pBitmapCurrent = _Image(NumColors);
  snprintf(acFileName, sizeof(acFileName), "/nonexistent/pic.bmp");
  LastFileType = 1;
  _Seen.clear();
  _Pick = Pick;
  DIALOG_SetAnswerHook(_Answer);
  FRAME_Command(0xE104);
  DIALOG_SetAnswerHook(nullptr);
  return _Seen;
}

TEST(ShellDialogs, FormatDialogOffersTheRowsThatFitAndGreysTheBoxForHighColour) {
  const std::string sHigh = "|High color (565)|High color (565), red and blue swapped|High color (565), compressed"
                            "|High color (565), red and blue swapped, compressed|True color (888)"
                            "|True color (888), red and blue swapped";
  EXPECT_EQ(_FormatDialogFor(2, 6), "Format specification|1 bit per pixel*|2 bit per pixel|4 bit per pixel"
            "|8 bit per pixel|Compressed, RLE4|Compressed, RLE8" + sHigh + "|box on|then off");
#ifndef __WXMSW__   /* Windows may fit the list's height to whole rows */
  EXPECT_EQ(_sLayout, "300x205|Select format: 10,10 200|OK 10,175 80 23|Cancel 210,175 80 23| 10,30 280 116|&Without palette 10,150 200");
#endif
  EXPECT_EQ(_FormatDialogFor(16, 4), "Format specification|4 bit per pixel*|8 bit per pixel|Compressed, RLE4"
            "|Compressed, RLE8" + sHigh + "|box on|then off");
  EXPECT_EQ(_FormatDialogFor(300, 0), "Format specification" + sHigh.substr(0, 17) + "*" + sHigh.substr(17) + "|box off|then off");
  EXPECT_EQ(_FormatDialogFor(0, 4), "Format specification" + sHigh.substr(0, 17) + "*" + sHigh.substr(17) + "|box off|then off");
  EXPECT_EQ(IMAGE_GetNumColors(pBitmapCurrent), 0);   /* cancelled: nothing changed */
}

/* A file dialog starts on the type asked for (the first for one past the
 * list); it gives 1 and the path chosen when that fits the buffer, 0 when
 * it is one character longer. A type picked in it renames the file. */
static void _Retype(int Index, char* pName, int MaxLen) { snprintf(pName, (size_t)MaxLen, "type%d.x", Index); }
static std::string _Slashes(std::string s) { std::replace(s.begin(), s.end(), '\\', '/'); return s; }

TEST(ShellDialogs, FileDialogStartTypeTypeChangeAndAPathThatFits) {
  const PLAT_FILTER aFilter[] = {{"Bitmaps", "*.bmp"}, {"C files", "*.c"}};
  TempDir Dir;
  _sChosen = Dir.File("pic.bmp");
  DIALOG_SetAnswerHook(_Answer);
  for (int Short : {0, 1}) {
    char ac[300] = "old.bmp";
    PLAT_FILEDLG Dlg = {1, "Save", aFilter, 2, 3 - Short, "", ac, (int)_sChosen.size() - Short, nullptr};
    EXPECT_EQ(PLAT_FileDialog(&Dlg), 1 - Short) << Short;
    EXPECT_EQ(_Slashes(ac), Short ? "old.bmp" : _sChosen);
    EXPECT_EQ(_sSeenFile.substr(0, 33), "Bitmaps|*.bmp|C files|*.c start " + std::to_string(Short));
  }
  /* GTK's chooser renames the file in its field as the type changes;
   * where no toolkit tells of the change, the name is renamed as the
   * dialog closes. */
  _NewFilter = 1;
  char ac[300] = "";
  PLAT_FILEDLG Dlg = {1, "Save", aFilter, 2, 1, "", ac, 299, _Retype};
  EXPECT_EQ(PLAT_FileDialog(&Dlg), 1);
  EXPECT_EQ(_Slashes(ac) + " " + std::to_string(Dlg.FilterIndex), Dir.File("type2.x") + " 2");
#ifndef __WXMSW__
  EXPECT_EQ(_sSeenFile, "Bitmaps|*.bmp|C files|*.c start 0 then type2.x");
#endif
  DIALOG_SetAnswerHook(nullptr);
  _sChosen.clear();
  _NewFilter = 0;
}

TEST(ShellDialogs, AboutBoxLayoutAndLogo) {
  wxDialog* pDlg = ABOUT_Create(nullptr);
  auto Du = [pDlg](int x, int y, int w, int h) { return wxRect(pDlg->ConvertDialogToPixels(wxPoint(x, y)), pDlg->ConvertDialogToPixels(wxSize(w, h))); };
  const std::pair<std::string, wxRect> aWant[] = {
    {"Omrak-Zelmar", Du(7, 50, 150, 10)}, {"", Du(7, 73, 174, 92)}, {_Str(wxString::FromUTF8(MAIN_GetNotice())).substr(0, 20), Du(10, 80, 168, 82)},
    {"OK", Du(138, 18, 43, 14)}, {"", wxRect(Du(7, 7, 0, 0).GetPosition(), wxSize(138, 65))},
    {"Compile time: 13:50:38 on Jul 19 2005", Du(7, 67, 174, 8)}, {"Version: 3.96", Du(7, 59, 174, 8)}};
  size_t i = 0;
  for (wxWindow* pChild : pDlg->GetChildren()) {
    ASSERT_LT(i, 7u);
    EXPECT_EQ(_Str(pChild->GetLabel()).substr(0, aWant[i].first.size()), aWant[i].first) << i;
    EXPECT_EQ(pChild->GetRect(), aWant[i++].second) << i;
  }
  EXPECT_EQ(_Str(pDlg->GetTitle()) + " " + std::to_string(i), "About Omrak-Zelmar 7");
  EXPECT_EQ(pDlg->GetClientSize(), pDlg->ConvertDialogToPixels(wxSize(188, 173)));
  pDlg->Destroy();
#ifndef __WXMSW__   /* Windows draws lines and fills by rules of its own */
  wxImage Logo = ABOUT_GetLogo().ConvertToImage();
  uint64_t h = 0xCBF29CE484222325ull;
  for (int y = 0; y < 65; y++)
    for (int x = 0; x < 56; x++) h = (h ^ (Logo.GetRed(x, y) | Logo.GetGreen(x, y) << 8 | Logo.GetBlue(x, y) << 16)) * 0x100000001B3ull;
  EXPECT_EQ(h, 18169414930521394888ull);
#endif
}

TEST(ShellDialogs, TransparencyListSelectsAndOKSwapsTheColourIntoEntryZero) {
  WORKSPACE_Reset();
  pBitmapCurrent = _Image(3);
  IMAGE_SetColor(pBitmapCurrent, 2, 0x0000FF);
  DIALOG_SetAnswerHook(_Answer);
  _ListAnswer = 3;
  FRAME_Command(0x8009);
  EXPECT_EQ(_Seen, "Transparency|No transparency*|Index 0: 000000|Index 1: 010203|Index 2: 0000FF");
  EXPECT_EQ(_sLayout, _sWant);
  EXPECT_EQ(IMAGE_GetColor(pBitmapCurrent, 0), 0x0000FFu);
  EXPECT_TRUE(IMAGE_GetHasTrans(pBitmapCurrent));
  _ListAnswer = -1;
  FRAME_Command(0x8009);
  EXPECT_EQ(_Seen.substr(0, 45), "Transparency|No transparency|Index 0: 0000FF*");
  EXPECT_TRUE(IMAGE_GetHasTrans(pBitmapCurrent));
  EXPECT_NE(aUndo[1], nullptr);   /* both snapshots stay, the cancelled one too */
  IMAGE_Free(pBitmapCurrent);     /* the optimal palette's list: "64" makes 64 colours */
  pBitmapCurrent = _Image(300);
  _ListAnswer = 2;
  FRAME_Command(0x8026);
  EXPECT_EQ(_Seen, "Optimal palette|256*|128|64|32|16|8|4|2");
  EXPECT_EQ(IMAGE_GetNumColors(pBitmapCurrent), 64);
  DIALOG_SetAnswerHook(nullptr);
  WORKSPACE_Reset();
}

TEST(ShellDialogs, OfThreeDroppedFilesTheFirstIsOpened) {
  WORKSPACE_Reset();
  TempDir Dir;
  std::string sDir = Dir.Path;
  wxArrayString asFile;
  for (int i = 0; i < 3; i++) {
    asFile.Add(sDir + "/" + (char)('a' + i) + ".bmp");
    wxImage(2 + i, 2, true).SaveFile(asFile.Last(), wxBITMAP_TYPE_BMP);
  }
  FRAME_DropFiles(wxArrayString(1, wxString()));   /* a name of no length: nothing */
  EXPECT_EQ(pBitmapCurrent, nullptr);
  FRAME_DropFiles(asFile);
  ASSERT_NE(pBitmapCurrent, nullptr);
  EXPECT_EQ(IMAGE_GetXSize(pBitmapCurrent), 2);
  EXPECT_EQ(std::string(acFileName), asFile[0].ToStdString());
  WORKSPACE_Reset();
}

TEST(ShellDialogs, ClipboardRoundTripAndPasteOfAnotherPictureType) {
  WORKSPACE_Reset();
  pBitmapCurrent = _Image(5);
  IMAGE_SetPixel(pBitmapCurrent, 1, 2, 4);
  FRAME_Command(0xE122);
#ifdef _WIN32
  EXPECT_TRUE(wxTheClipboard->IsSupported(wxDF_DIB));
#else
  EXPECT_TRUE(wxTheClipboard->IsSupported(wxDataFormat("image/bmp")));
  EXPECT_TRUE(wxTheClipboard->IsSupported(wxDF_BITMAP));
#endif
  EXPECT_TRUE(MENU_IsEnabled(0xE125));
  FRAME_Command(0xE125);
  ASSERT_NE(pBitmapCurrent, nullptr);
  EXPECT_NE(aUndo[0], nullptr);   /* the old image is the snapshot */
  EXPECT_EQ(IMAGE_GetNumColors(pBitmapCurrent), 5);
  EXPECT_EQ(IMAGE_GetPixel(pBitmapCurrent, 1, 2), 4u);
  EXPECT_EQ(IMAGE_GetColor(pBitmapCurrent, 4), 4 * 0x010203u);
#ifndef _WIN32
  /* Only a PNG there: decoded by the toolkit, pasted as true colour. */
  if (!wxImage::FindHandler(wxBITMAP_TYPE_PNG)) wxImage::AddHandler(new wxPNGHandler);
  wxImage Png(1, 2);   /* one pixel wide: rows padded to four bytes */
  Png.SetRGB(0, 1, 0x11, 0x22, 0x33);
  ASSERT_TRUE(wxTheClipboard->Open());
  wxTheClipboard->SetData(new wxBitmapDataObject(wxBitmap(Png)));
  wxTheClipboard->Close();
  EXPECT_FALSE(wxTheClipboard->IsSupported(wxDataFormat("image/bmp")));
  FRAME_Command(0xE125);
  ASSERT_NE(pBitmapCurrent, nullptr);
  EXPECT_EQ(IMAGE_GetNumColors(pBitmapCurrent), 0);
  EXPECT_EQ(IMAGE_GetXSize(pBitmapCurrent), 1);
  EXPECT_EQ(IMAGE_GetPixelColor(pBitmapCurrent, 0, 1), 0x332211u);
  EXPECT_EQ(IMAGE_GetPixelColor(pBitmapCurrent, 0, 0), 0u);
#endif
  /* No picture at all, only text: Paste is disabled, and the command reports. */
  ASSERT_TRUE(wxTheClipboard->Open());
  wxTheClipboard->SetData(new wxTextDataObject("no picture"));
  wxTheClipboard->Close();
  EXPECT_FALSE(MENU_IsEnabled(0xE125));
  WORKSPACE_Reset();
}

/* Last of all the shell's tests: the window goes. */
TEST(ShellEnd, ExitEndsTheWindow) {
  FRAME_Command(MAIN_CMD_EXIT);
  EXPECT_FALSE(FRAME_Exists());
}
