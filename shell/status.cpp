/*
 * Status bar and menu help.
 */
#include "status.h"

#include <chrono>
#include <string>

#include <wx/frame.h>
#include <wx/msgdlg.h>
#include <wx/statusbr.h>

#define NUM_PARTS 10

static wxStatusBar* _pStatusBar;
static std::string  _asText[NUM_PARTS];
static int          _NumSent;
static std::chrono::steady_clock::time_point _LastUpdate;

typedef struct {
  unsigned    Command;
  const char* sText;
} MENU_HELP;

static const MENU_HELP _aMenuHelp[] = {
  { 0x8007, "Magnifies Bitmap" },
  { 0x8008, "Zooms out (making image smaller on screen)" },
  { 0x8009, "Select a color to make transparent" },
  { 0x8010, "Convert image into an image based on a palette with 2 bits for Blue, 3 bits for Green, 3 bits for Red" },
  { 0x8011, "Convert image into an image based on a palette with 2 bits for Blue, 3 bits for Green, 3 bits for Red" },
  { 0x8012, "Convert image into an image based on a palette with 3 bits for Blue, 3 bits for Green, 2 bits for Red" },
  { 0x8013, "Convert image into an image with 6 scales for every color (6^3 = 216 colors)" },
  { 0x801A, "Rotate Image 90 degrees in counter clockwise direction" },
  { 0x801B, "Rotate Image 90 degrees in counter clockwise direction" },
  { 0x801C, "Rotate Image 180 degrees" },
  { 0x801E, "Invert image by inverting indices (symetrical palettes only)" },
  { 0x801F, "Invert RGB Colors" },
  { 0x8020, "Convert into an 8 color format" },
  { 0x8022, "Convert into the best possible palette. If the image contains less than 256 colors, it will be the perfect palette." },
  { 0x8026, "Convert into a palette of up to 256 colors chosen for the least visible error." },
  { 0x8027, "Spread the rounding error of the conversions that follow over neighbouring pixels." },
  { 0x8023, "Select a custom palette for conversion" },
  { 0xE101, "Open an existing document\nOpen" },
  { 0xE104, "Save as (Select from different file types)\nSave As" },
  { 0xE122, "Copy the selection and put it on the Clipboard\nCopy" },
  { 0xE125, "Insert Clipboard contents\nPaste" },
  { 0xE12B, "Undo the last action\nUndo" },
  { 0xE140, "Display program information, version number and copyright\nAbout" },
  { 0xE141, "Quit the application; prompts to save documents\nExit" },
};

void STATUS_Create(wxFrame* pFrame) {
  _pStatusBar = pFrame->CreateStatusBar(1, wxSTB_SIZEGRIP | wxSTB_SHOW_TIPS | wxSTB_ELLIPSIZE_END | wxFULL_REPAINT_ON_RESIZE);
  if (_pStatusBar == NULL) {
    wxMessageBox("Failed to created SB", "", wxOK, pFrame);
    return;
  }
  /* Menu help goes through OnMenuSelect, not the frame's own road. */
  pFrame->SetStatusBarPane(-1);
  /* "Ready" goes to the bar alone: the stored text stays empty. */
  _pStatusBar->SetStatusText("Ready");
  for (std::string& s : _asText) {
    s.clear();
  }
  _NumSent = 0;
}

void STATUS_SetText(const char* sText, int Part, int Style) {
  (void)Style;
  if (Part < 0 || Part >= NUM_PARTS || sText == NULL) {
    return;
  }
  if (_asText[Part] == sText) {
    return;
  }
  _asText[Part] = sText;
  _NumSent++;
  if (_pStatusBar == NULL || Part >= _pStatusBar->GetFieldsCount()) {
    return;
  }
  /* A line feed ends what a one-line bar can show. */
  wxString s = wxString::FromUTF8(sText);
  if (s.empty() && *sText) {
    s = wxString(sText, wxConvISO8859_1);
  }
  s.Replace("\n", "  ");
  _pStatusBar->SetStatusText(s, Part);
  /* A long command keeps the main loop from running: the progress texts
   * are painted at once, a few times a second. */
  std::chrono::steady_clock::time_point Now = std::chrono::steady_clock::now();
  if (Now - _LastUpdate >= std::chrono::milliseconds(40)) {
    _LastUpdate = Now;
    _pStatusBar->Update();
  }
}

int STATUS_GetNumSent(void) {
  return _NumSent;
}

const char* STATUS_GetMenuHelp(unsigned Command) {
  for (const MENU_HELP& Help : _aMenuHelp) {
    if (Help.Command == Command) {
      return Help.sText;
    }
  }
  return "";
}

void OnMenuSelect(unsigned Command) {
  STATUS_SetText(Command ? STATUS_GetMenuHelp(Command) : "", 0, 0);
}
