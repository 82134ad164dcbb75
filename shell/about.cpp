/*
 * About box.
 */
#include "about.h"

#include <stdio.h>

#include <wx/bitmap.h>
#include <wx/button.h>
#include <wx/dcmemory.h>
#include <wx/dialog.h>
#include <wx/statbmp.h>
#include <wx/statbox.h>
#include <wx/stattext.h>

#include "../app/main.h"

#define LOGO_WIDTH  138
#define LOGO_HEIGHT 65

/* A blue plate with a stepped "Z" of coloured blocks, as a palette strip
 * shows them, and the program's name. */
wxBitmap ABOUT_GetLogo(void) {
  wxBitmap   Logo(LOGO_WIDTH, LOGO_HEIGHT, 24);
  wxMemoryDC dc(Logo);
  for (int y = 0; y < LOGO_HEIGHT; y++) {
    dc.SetPen(wxPen(wxColour(20 + y, 50 + y * 2, 110 + y)));
    dc.DrawLine(0, y, LOGO_WIDTH, y);
  }
  static const unsigned char aColor[][3] = {
    { 230, 60, 60 }, { 250, 200, 40 }, { 80, 200, 90 }, { 60, 170, 240 }, { 240, 240, 240 },
  };
  dc.SetPen(*wxTRANSPARENT_PEN);
  /* The Z: top bar, diagonal of blocks, bottom bar. */
  for (int i = 0; i < 5; i++) {
    dc.SetBrush(wxBrush(wxColour(aColor[i][0], aColor[i][1], aColor[i][2])));
    dc.DrawRectangle(8 + i * 8, 8, 8, 8);
    dc.DrawRectangle(40 - i * 8, 16 + i * 8 > 48 ? 48 : 16 + i * 8, 8, 8);
    dc.DrawRectangle(8 + i * 8, 49, 8, 8);
  }
  dc.SetTextForeground(*wxWHITE);
  wxFont Font(wxFontInfo(15).Bold().Family(wxFONTFAMILY_SWISS));
  dc.SetFont(Font);
  dc.DrawText("Zelmar", 58, 12);
  dc.SetFont(wxFontInfo(8).Family(wxFONTFAMILY_SWISS));
  dc.SetTextForeground(wxColour(250, 200, 40));
  dc.DrawText("for Omrak", 60, 38);
  dc.SelectObject(wxNullBitmap);
  return Logo;
}

static wxString _ToWx(const char* s) {
  wxString sOut = wxString::FromUTF8(s);
  sOut.Replace("\r\n", "\n");
  return sOut;
}

wxDialog* ABOUT_Create(wxWindow* pParent) {
  char ac[200];
  snprintf(ac, sizeof(ac), "About %s", MAIN_GetAppName());
  wxDialog* pDlg = new wxDialog(pParent, wxID_ANY, _ToWx(ac), wxDefaultPosition, wxDefaultSize,
                                wxCAPTION | wxSYSTEM_MENU | wxCLOSE_BOX);
  /* A small font, as the layout was made for one; positions are in
   * dialog units of that font. */
  pDlg->SetFont(wxFontInfo(8).Family(wxFONTFAMILY_SWISS));
  auto Rect = [pDlg](int x, int y, int w, int h) {
    return wxRect(pDlg->ConvertDialogToPixels(wxPoint(x, y)), pDlg->ConvertDialogToPixels(wxSize(w, h)));
  };
  wxRect r = Rect(7, 50, 150, 10);
  new wxStaticText(pDlg, 1003, _ToWx(MAIN_GetAppName()), r.GetPosition(), r.GetSize());
  r = Rect(7, 73, 174, 92);
  new wxStaticBox(pDlg, wxID_ANY, "", r.GetPosition(), r.GetSize());
  /* The notice takes the whole inside of its group box: the toolkit's
   * fonts run wider than the ones the box was laid out for, so box and
   * dialog are taller too. */
  r = Rect(10, 80, 168, 82);
  new wxStaticText(pDlg, 1004, _ToWx(MAIN_GetNotice()), r.GetPosition(), r.GetSize(),
                   wxALIGN_CENTRE_HORIZONTAL | wxST_NO_AUTORESIZE);
  r = Rect(138, 18, 43, 14);
  wxButton* pOK = new wxButton(pDlg, wxID_OK, "OK", r.GetPosition(), r.GetSize());
  pOK->SetDefault();
  r = Rect(7, 7, 92, 40);
  new wxStaticBitmap(pDlg, wxID_ANY, ABOUT_GetLogo(), r.GetPosition(), wxSize(LOGO_WIDTH, LOGO_HEIGHT));
  r = Rect(7, 67, 174, 8);
  new wxStaticText(pDlg, 1000, "Compile time: 13:50:38 on Jul 19 2005", r.GetPosition(), r.GetSize());
  r = Rect(7, 59, 174, 8);
  snprintf(ac, sizeof(ac), "Version: %s", MAIN_GetVersion());
  new wxStaticText(pDlg, 1002, _ToWx(ac), r.GetPosition(), r.GetSize());
  pDlg->SetClientSize(pDlg->ConvertDialogToPixels(wxSize(188, 173)));
  /* Escape closes the box as OK does. */
  pDlg->SetEscapeId(wxID_OK);
  pOK->SetFocus();
  return pDlg;
}

/* Centres pWindow on pParent; a window larger than its parent reaches
 * beyond the parent's top left corner. */
static void _CenterWindow(wxWindow* pParent, wxWindow* pWindow) {
  wxRect rp = pParent->GetScreenRect();
  wxRect rw = pWindow->GetRect();
  pWindow->Move(rp.x + (rp.width - rw.width) / 2, rp.y + (rp.height - rw.height) / 2);
}

void ABOUT_Show(wxWindow* pParent) {
  wxDialog* pDlg = ABOUT_Create(pParent);
  _CenterWindow(pParent, pDlg);
  pDlg->ShowModal();
  pDlg->Destroy();
}
