/* The desktop front end, run in this process on a display of its own:
 * the main window as the program starts it, its menu and item states,
 * the canvas painted into a bitmap and read back pixel by pixel, the
 * status bar and the recent file list on a temporary store. */
#include <gtest/gtest.h>

#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <wx/app.h>
#ifdef _WIN32
#include <process.h>
#include <wx/msw/registry.h>
#endif
#include <wx/dcmemory.h>
#include <wx/frame.h>
#include <wx/image.h>
#include <wx/menu.h>
#include <wx/settings.h>
#include <wx/statusbr.h>

#include "color/dither.h"
#include "color/truecolor.h"
#include "app/main.h"
#include "commands/recent.h"
#include "commands/workspace.h"
#include "core/msg.h"
#include "shell/canvas.h"
#include "shell/frame.h"
#include "shell/menu.h"
#include "shell/status.h"
#include "shell/store.h"
#include "testutil.h"

namespace fs = std::filesystem;

static wxFrame*    _pFrame;
static std::string _sConfigDir;

static std::string _Str(const wxString& s) { return std::string(s.utf8_str()); }

/* "label|-|popup{...}" for a menu, labels as the items hold them. */
static std::string _Outline(wxMenu* pMenu) {
  std::string s;
  for (size_t i = 0; i < pMenu->GetMenuItemCount(); i++) {
    wxMenuItem* pItem = pMenu->FindItemByPosition(i);
    s += i ? "|" : "";
    std::string sLabel = pItem->IsSeparator() ? "-" : _Str(pItem->GetItemLabel());
#ifdef _WIN32
    /* Windows keeps a column text behind the tab ("(1 BPP)"), GTK only a key. */
    if (sLabel.find("\t(") != std::string::npos) sLabel.erase(sLabel.find("\t("));
#endif
    s += sLabel;
    if (pItem->GetSubMenu()) s += "{" + _Outline(pItem->GetSubMenu()) + "}";
  }
  return s;
}

/* The commands whose menu items are enabled right after the menu opened. */
static std::string _EnabledItems(void) {
  wxMenuBar* pBar = _pFrame->GetMenuBar();
  MENU_UpdateState(pBar);
  std::string s;
  for (unsigned Command = 0x0500; Command <= 0xE141; Command++) {
    int Id = MENU_GetWxId(Command);
    wxMenuItem* pItem = Id ? pBar->FindItem(Id) : nullptr;
    if (pItem && pItem->IsEnabled()) {
      char ac[8];
      snprintf(ac, sizeof(ac), "%s%X", s.empty() ? "" : " ", Command);
      s += ac;
    }
  }
  return s;
}

/* A true-colour Windows Bitmap. */
static void _WriteBMP(const std::string& sPath, int XSize, int YSize) {
  IMAGE* p = MakeTestImage(XSize, YSize, 0);
  WriteFileBytes(sPath, MakeBMP(p));
  IMAGE_Free(p);
}

/* The current image, painted at Zoom into a 500 x 300 client area. */
struct PaintedCanvas {
  wxImage Pixels;
  int     H = 0, ValueX = 0, ImageY = 0;
  PaintedCanvas(IMAGE* pImage, int NewZoom) {
    IMAGE_Free(pBitmapCurrent);
    pBitmapCurrent = pImage;
    Zoom = NewZoom;
    CANVAS_ClearCache();
    wxBitmap Bitmap(500, 300, 24);
    wxMemoryDC dc(Bitmap);
    CANVAS_Paint(dc, 500, 300);
    wxCoord w, h;
    dc.GetTextExtent("Resolution:", &w, &h);
    H = (int)h;
    ValueX = (int)w + 17;
    ImageY = 10 + 4 * H;
    dc.SelectObject(wxNullBitmap);
    Pixels = Bitmap.ConvertToImage();
  }
  unsigned At(int x, int y) const {
    return (unsigned)Pixels.GetRed(x, y) | (unsigned)Pixels.GetGreen(x, y) << 8 | (unsigned)Pixels.GetBlue(x, y) << 16;
  }
  bool IsDark(int x, int y) const { return Pixels.GetRed(x, y) < 64 && Pixels.GetGreen(x, y) < 64 && Pixels.GetBlue(x, y) < 64; }
  bool IsBack(int x, int y) const {
    wxColour c = wxSystemSettings::GetColour(wxSYS_COLOUR_WINDOW);
    return Pixels.GetRed(x, y) == c.Red() && Pixels.GetGreen(x, y) == c.Green() && Pixels.GetBlue(x, y) == c.Blue();
  }
};

/* An image of one palette colour (0x00BBGGRR), or of two in a pattern. */
static IMAGE* _MakeImage(int XSize, int YSize, unsigned Color0, unsigned Color1 = 0, int Pattern = 0) {
  IMAGE* p = IMAGE_Create(XSize, YSize, Pattern ? 2 : 1);
  IMAGE_SetColor(p, 0, Color0);
  if (Pattern) {
    IMAGE_SetColor(p, 1, Color1);
    for (int y = 0; y < YSize; y++)
      for (int x = 0; x < XSize; x++)
        IMAGE_SetPixel(p, x, y, (unsigned)((x + y * (Pattern == 2)) & 1));
  }
  return p;
}

class ShellTest : public ::testing::Test {
protected:
  void SetUp() override { WORKSPACE_Reset(); CANVAS_ClearCache(); }
};

TEST_F(ShellTest, StartsWithNoFileNoBitmapAndReady) {
  EXPECT_EQ(_Str(_pFrame->GetTitle()), "Omrak-Zelmar V3.96 - No file");
  /* An empty status text while none was sent sends nothing: Ready stays. */
  int NumSent = STATUS_GetNumSent();
  MSG_Status("");
  EXPECT_EQ(STATUS_GetNumSent(), NumSent);
  EXPECT_EQ(_Str(_pFrame->GetStatusBar()->GetStatusText()), "Ready");
  PaintedCanvas c(nullptr, 20);
  bool IsTextThere = false;
  for (int y = 0; y < c.H; y++)
    for (int x = 0; x < 60; x++) IsTextThere |= c.IsDark(x, y);
  EXPECT_TRUE(IsTextThere);
  for (int y = c.H + 2; y < 300; y += 7)
    for (int x = 0; x < 500; x += 3) ASSERT_TRUE(c.IsBack(x, y)) << x << "," << y;
}

TEST_F(ShellTest, MenuOrderWithEmptyRecentList) {
  wxMenuBar* pBar = _pFrame->GetMenuBar();
  std::string sTop;
  for (size_t i = 0; i < pBar->GetMenuCount(); i++) sTop += _Str(pBar->GetMenuLabel(i)) + "|";
  EXPECT_EQ(sTop, "&File|&Edit|&View|&Image|&Help|");
  /* No recent file: the placeholder is gone, the separators meet. */
  EXPECT_EQ(_Outline(pBar->GetMenu(0)), "&Open...\tCtrl+O|Save &As ...|-|-|E&xit");
  /* The toolkit keeps of "BW \t(1 BPP)" the half before the tab, since
   * the rest names no key; the menu shows the whole text. */
  EXPECT_EQ(_Outline(pBar->GetMenu(3)),
            "&Transparency...|&Convert Into{BW |Gray4 |Gray16 |Gray64|Gray256|3 bit Color 111|6 bit Color 222|"
            "8 bit Color 233|8 bit Color 323|8 bit Color 332|8 bit Color 8666|16 bit Color 555|16 bit Color 655|"
            "16 bit Color 565|16 bit Color 556|-|RGB|Best palette|Optimal palette...|-|Custom palette...}|"
            "Dithering|&Flip{Horizontally|Vertically}|&Rotate{90\xC2\xB0 CW|90\xC2\xB0 CCW|180\xC2\xB0}|"
            "&Invert{Indices|Colors}|&Shrink{Shrink to 50%}|Info");
  EXPECT_EQ(_Outline(pBar->GetMenu(1)) + "|" + _Outline(pBar->GetMenu(2)) + "|" + _Outline(pBar->GetMenu(4)),
            "&Undo\tCtrl-Z|&Copy\tCtrl-C|&Paste\tCtrl-V|Zoom In\t+|Zoom Out\t-|&About Zelmar...");
  /* Every command number survives the trip through the toolkit's ids. */
  for (unsigned Command : {0x0507u, 0x8007u, 0x8025u, 0xE101u, 0xE141u}) {
    EXPECT_LT(MENU_GetWxId(Command), 0x7FFF);
    EXPECT_EQ(MENU_GetCommand(MENU_GetWxId(Command)), Command);
  }
}

TEST_F(ShellTest, ItemStatesAndKeysFollowTheWorkspace) {
  std::string sFile = _sConfigDir + "/pic.bmp";
  _WriteBMP(sFile, 30, 20);
  /* Paste waits for a picture on the clipboard, which has none here. */
  EXPECT_EQ(_EnabledItems(), "8027 E101 E140 E141");
  /* The dithering switch shows its state each time the menu opens. */
  wxMenuItem* pDither = _pFrame->GetMenuBar()->FindItem(MENU_GetWxId(0x8027));
  for (int On : {1, 0}) {
    CONVERT_SetDither(On);
    _EnabledItems();
    EXPECT_EQ(pDither->IsChecked(), On == 1);
  }
  FRAME_Command(MENU_GetCharCommand('+', 0));   /* a key of a disabled item */
  EXPECT_EQ(Zoom, 20);
  ASSERT_NE(OnFileOpen(sFile.c_str()), nullptr);
  EXPECT_EQ(_Str(_pFrame->GetTitle()), "Omrak-Zelmar V3.96 - " + sFile);
  std::string sImage = "8007 8008 8009 800A 800B 800C 800D 800E 800F 8010 8011 8012 8013 8014 8015 8016 8017 "
                       "8018 8019 801A 801B 801C 801D 801E 801F 8020 8021 8022 8023 8025 8026 8027 ";
  /* The first file leaves no snapshot: Undo stays disabled. */
  EXPECT_EQ(_EnabledItems(), "500 " + sImage + "E101 E104 E122 E140 E141");
  FRAME_Command(MENU_GetKeyCommand(WXK_UP, wxMOD_NONE));
  FRAME_Command(MENU_GetCharCommand('+', wxMOD_SHIFT));
  EXPECT_EQ(Zoom, 22);
  FRAME_Command(MENU_GetKeyCommand(WXK_DOWN, wxMOD_NONE));
  EXPECT_EQ(Zoom, 21);
  EXPECT_EQ(MENU_GetKeyCommand('Z', wxMOD_CONTROL | wxMOD_SHIFT), 0u);
  FRAME_Command(0x801A);   /* rotate: 20 x 30, and a snapshot */
  EXPECT_EQ(pBitmapCurrent->XSize, 20);
  EXPECT_TRUE(_EnabledItems().find("E12B") != std::string::npos);
  FRAME_Command(MENU_GetKeyCommand(WXK_BACK, wxMOD_ALT));
  EXPECT_EQ(pBitmapCurrent->XSize, 30);
  EXPECT_TRUE(_EnabledItems().find("E12B") == std::string::npos);
}

TEST_F(ShellTest, ImageSizesAtTheZoomEdges) {
  EXPECT_EQ(CANVAS_GetSizeTerm(100, 7), 68);    /* 0.69999999 * 100 - 1 */
  EXPECT_EQ(CANVAS_GetSizeTerm(5, 1), 0);       /* -0.5 truncated */
  EXPECT_EQ(CANVAS_GetSizeTerm(100, 20), 199);
  const unsigned Red = 0x2080F0;   /* three channels apart: none is taken for another */
  struct { int XSize, Zoom, Right; } aCase[] = { { 100, 7, 78 }, { 5, 1, 10 }, { 100, 20, 209 }, { 100, 10, 109 } };
  for (auto& Case : aCase) {
    IMAGE* p = _MakeImage(Case.XSize, 5, Red);
    PaintedCanvas c(Case.Zoom >= 10 ? CONVERT_IntoRGB(p) : p, Case.Zoom);   /* true colour at the larger zooms */
    int y = c.ImageY;
    EXPECT_TRUE(c.IsDark(8, y) && c.IsBack(9, y)) << Case.Zoom;
    EXPECT_EQ(c.At(10, y), Red);
    EXPECT_EQ(c.At(Case.Right, y), Red) << Case.Zoom;
    EXPECT_TRUE(c.IsBack(Case.Right + 1, y)) << Case.Zoom;
    EXPECT_TRUE(c.IsDark(Case.Right + 2, y) && c.IsBack(Case.Right + 3, y)) << Case.Zoom;
    EXPECT_TRUE(c.IsDark(Case.Right, y - 2) && c.IsBack(Case.Right, y - 1)) << Case.Zoom;
  }
}

TEST_F(ShellTest, OneToOneCopyBlocksWhenEnlargingSmoothWhenShrinking) {
  const unsigned Black = 0, White = 0xFFFFFF;
  {
    PaintedCanvas c(_MakeImage(40, 40, Black, White, 2), 10);
    for (int y = 0; y < 40; y += 3)
      for (int x = 0; x < 40; x += 1) ASSERT_EQ(c.At(10 + x, c.ImageY + y), ((x + y) & 1) ? White : Black);
  }
  {
    PaintedCanvas c(_MakeImage(40, 40, Black, White, 1), 40);   /* columns 4 pixels wide */
    for (int x = 0; x < 16; x++) ASSERT_EQ(c.At(10 + x, c.ImageY + 7), ((x / 4) & 1) ? White : Black) << x;
  }
  {
    PaintedCanvas c(_MakeImage(40, 40, Black, White, 2), 5);
    for (int x = 0; x < 19; x++) {
      unsigned v = c.At(10 + x, c.ImageY + 3) & 0xFF;
      ASSERT_TRUE(v > 90 && v < 170) << x << ": " << v;
    }
  }
}

/* The panel above the image as its layout has it: labels at 5, values at
 * the label width plus 17, a text height a row; the palette's strip and
 * the transparent colour's swatch 10 pixels after their values, without
 * their bottom row. */
static wxImage _Panel(const IMAGE* p, const char* sZoom) {
  wxBitmap Bitmap(500, 300, 24);
  wxMemoryDC dc(Bitmap);
  dc.SetBackground(wxBrush(wxSystemSettings::GetColour(wxSYS_COLOUR_WINDOW)));
  dc.Clear();
  dc.SetFont(wxSystemSettings::GetFont(wxSYS_DEFAULT_GUI_FONT));
  dc.SetTextForeground(wxSystemSettings::GetColour(wxSYS_COLOUR_WINDOWTEXT));
  int H = dc.GetTextExtent("Resolution:").y, X = dc.GetTextExtent("Resolution:").x + 17, N = p->NumColors;
  std::string sTrans = p->HasTrans ? _Str(wxString::Format("Yes, Color:%.6X", IMAGE_GetColor(p, 0))) : "---";
  std::string aText[8] = {"Resolution:", std::to_string(p->XSize) + " * " + std::to_string(p->YSize), "Colors:",
                          N ? std::to_string(N) : "RGB", "Zoom: ", sZoom, "Transparent", sTrans};
  for (int i = 0; i < 8; i++) dc.DrawText(aText[i], i % 2 ? X : 5, 5 + i / 2 * H);
  dc.SetPen(*wxTRANSPARENT_PEN);
  auto Fill = [&dc](U32 c, int x0, int y0, int x1, int y1) {
    dc.SetBrush(wxBrush(wxColour(c & 255, c >> 8 & 255, c >> 16 & 255)));
    dc.DrawRectangle(x0, y0, x1 - x0, y1 - y0);
  };
  int Strip = X + dc.GetTextExtent(aText[3]).x + 10;
  for (int i = 0; i < N; i++) Fill(IMAGE_GetColor(p, i), Strip + i * (490 - Strip) / N, 5 + H, Strip + (i + 1) * (490 - Strip) / N, 4 + 2 * H);
  if (p->HasTrans) Fill(IMAGE_GetColor(p, 0), X + dc.GetTextExtent(sTrans).x + 10, 5 + 3 * H, 500, 4 + 4 * H);
  dc.SelectObject(wxNullBitmap);
  return Bitmap.ConvertToImage();
}

TEST_F(ShellTest, PanelTextsStripAndSwatchInTheirPlaces) {
  IMAGE* p = _MakeImage(10, 7, 0xFF0000, 0x00FF00, 1);
  p->HasTrans = 1;
  for (auto& Case : std::vector<std::pair<IMAGE*, int>>{{p, 20}, {IMAGE_Create(3, 2, 0), 7}}) {
    wxImage Want = _Panel(Case.first, Case.second == 20 ? "2.0 *" : "0.7 *");
    PaintedCanvas c(Case.first, Case.second);
    for (int y = 0; y < 5 + 4 * c.H; y++) ASSERT_EQ(memcmp(c.Pixels.GetData() + y * 1500, Want.GetData() + y * 1500, 1500), 0) << "row " << y;
  }
}

TEST_F(ShellTest, StatusTextGoesOutOnceAndMenuHelpBlanksOnClose) {
  int NumSent = STATUS_GetNumSent();
  MSG_Status("Converting image, line 1/2");
  MSG_Status("Converting image, line 1/2");
  EXPECT_EQ(STATUS_GetNumSent(), NumSent + 1);
  EXPECT_EQ(_Str(_pFrame->GetStatusBar()->GetStatusText()), "Converting image, line 1/2");
  /* Each command's help line as the status bar shows it (none for 800A). */
  std::string sHelp;
  for (unsigned Command = 0x0500; Command <= 0xE141; Command++) {
    OnMenuSelect(Command);
    wxString sLine = _pFrame->GetStatusBar()->GetStatusText();
    sLine.Replace("\n", "  ");   /* as GTK shows the line feed */
    if (!sLine.empty()) sHelp += _Str(wxString::Format("%X ", Command) + sLine) + "\n";
  }
  EXPECT_EQ(sHelp, ReadFileBytes(std::string(ZELMAR_SOURCE_DIR) + "/tests/golden/menuhelp.txt"));
  OnMenuSelect(0xE101);
  wxMenuEvent Close(wxEVT_MENU_CLOSE);   /* the menu closed */
  _pFrame->GetEventHandler()->ProcessEvent(Close);
  EXPECT_EQ(_Str(_pFrame->GetStatusBar()->GetStatusText()), "");
}

static std::string _RecentLabels(void) {
  wxMenu* pFile = _pFrame->GetMenuBar()->GetMenu(0);
  std::string s;
  for (size_t i = 3; !pFile->FindItemByPosition(i)->IsSeparator(); i++) s += _Str(pFile->FindItemByPosition(i)->GetItemLabel()) + "|";
  return s;
}

/* The store behind the recent list: a file of the test's own on Linux,
 * the registry of the Wine prefix on Windows. */
#ifdef _WIN32
static const char* _sRecentKey = "HKEY_CURRENT_USER\\Software\\Venmark\\Zelmar\\Recent File List";
static void _ClearStore() { wxRegKey(_sRecentKey).DeleteSelf(); }
static bool _StoreHas(const char* sName) {
  wxRegKey Key(_sRecentKey);
  return Key.Exists() && Key.HasValue(sName) && Key.GetValueType(sName) == wxRegKey::Type_String;
}
static void _WriteStore(std::initializer_list<std::pair<const char*, std::string>> Values) {
  _ClearStore();
  wxRegKey Key(_sRecentKey);
  Key.Create();
  for (const auto& v : Values) Key.SetValue(v.first, wxString::FromUTF8(v.second.c_str()));
}
#else
static void _ClearStore() { fs::remove_all(_sConfigDir + "/Zelmar"); }
static bool _StoreHas(const char* sName) {
  std::ifstream f(_sConfigDir + "/Zelmar/Zelmar.conf");
  std::string sLine;
  while (std::getline(f, sLine)) if (sLine.rfind(std::string(sName) + "=", 0) == 0) return true;
  return false;
}
static void _WriteStore(std::initializer_list<std::pair<const char*, std::string>> Values) {
  std::ofstream f(_sConfigDir + "/Zelmar/Zelmar.conf");
  f << "[Recent File List]\n";
  for (const auto& v : Values) f << v.first << "=" << v.second << "\n";
}
#endif

TEST_F(ShellTest, RecentFilesKeepTheirPlaceFallOutAtNineAndComeBack) {
  std::string d = _sConfigDir + "/r";
  fs::create_directories(d);
  for (const char* s : {"a", "b", "c", "d", "e", "f", "g", "h", "i", "A"}) _WriteBMP(d + "/" + s + ".bmp", 4, 4);
  STORE_Close();
  _ClearStore();
  MAIN_InitApp();   /* the program's list of eight */
  EXPECT_EQ(_RecentLabels(), "");
  for (const char* s : {"a", "b", "c", "a", "A"}) ASSERT_NE(OnFileOpen((d + "/" + s + ".bmp").c_str()), nullptr);
  EXPECT_EQ(_RecentLabels(), "&1 " + d + "/c.bmp|&2 " + d + "/b.bmp|&3 " + d + "/a.bmp|");
  for (const char* s : {"d", "e", "f", "g", "h", "i"}) OnFileOpen((d + "/" + s + ".bmp").c_str());
  EXPECT_EQ(RECENT_GetNumFiles(), 8);
  EXPECT_EQ(std::string(RECENT_GetFile(7)), d + "/b.bmp");
  /* A new run reads the same list back from the store. */
  STORE_Close();
  ASSERT_TRUE(_StoreHas("File1"));
  MAIN_InitApp();   /* reads the list of eight back */
  EXPECT_EQ(RECENT_GetNumFiles(), 8);
  EXPECT_EQ(_RecentLabels().substr(0, 3 + d.size() + 7), "&1 " + d + "/i.bmp|");
  FRAME_Command(0x0502);
  EXPECT_EQ(_Str(_pFrame->GetTitle()), "Omrak-Zelmar V3.96 - " + d + "/g.bmp");
  /* Missing values leave no holes. */
  STORE_Close();
  _WriteStore({{"File1", d + "/a.bmp"}, {"File5", d + "/e.bmp"}});
  MAIN_InitApp();   /* reads the list of eight back */
  EXPECT_EQ(_RecentLabels(), "&1 " + d + "/a.bmp|&2 " + d + "/e.bmp|");
}

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
#ifdef _WIN32
  /* No dot in the folder: a saved name is cut at the first dot of its path. */
  _sConfigDir = (fs::temp_directory_path() / ("zelmar-shell-" + std::to_string(_getpid()))).generic_string();
  fs::create_directories(_sConfigDir);
  _ClearStore();   /* the Wine prefix's registry keeps the last run's list */
#else
  const char* sTmp = getenv("TMPDIR");
  std::string sTemplate = std::string(sTmp && *sTmp ? sTmp : "/tmp") + "/zelmar-shell-XXXXXX";
  if (mkdtemp(&sTemplate[0]) == nullptr) return 1;
  _sConfigDir = sTemplate;
  setenv("XDG_CONFIG_HOME", _sConfigDir.c_str(), 1);
#endif
  wxApp::SetInstance(new wxApp);
  int   wxArgc   = 1;
  char* wxArgv[] = {argv[0], nullptr};
  if (!wxEntryStart(wxArgc, wxArgv)) {
    fprintf(stderr, "No display: run under xvfb-run\n");
    return 1;
  }
  _pFrame = FRAME_Create(1);
  int Result = RUN_ALL_TESTS();
  STORE_Close();
  wxEntryCleanup();
  fs::remove_all(_sConfigDir);
  return Result;
}
