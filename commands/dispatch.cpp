/*
 * The command dispatcher: turns command numbers into work.
 *
 * A changing command takes a snapshot first, runs its operation on the
 * current image (in place, or consuming it and giving a new one), shows
 * its status text and asks for a repaint.
 */
#include "dispatch.h"

#include <stdio.h>

#include "../color/palette.h"
#include "../color/truecolor.h"
#include "../core/msg.h"
#include "../geometry/geometry.h"
#include "../input/dib.h"
#include "../platform/plat.h"
#include "colorcmd.h"
#include "recent.h"
#include "saveas.h"
#include "workspace.h"

/* Commands that need an image stop here, in order, when there is none. */
static int _CheckImage(void) {
  if (pBitmapCurrent == NULL) {
    IMAGE_ShowError("No file open!");
    return 0;
  }
  return 1;
}

/* Stores the result of a consuming operation. A null result means the
 * operation could not make its image and has kept the one it was given. */
static void _Store(IMAGE* pResult) {
  if (pResult) {
    pBitmapCurrent = pResult;
  }
}

static void _OnZoomIn(void) {
  if (Zoom < 40) {
    Zoom++;
  }
  CANVAS_Refresh();
}

static void _OnZoomOut(void) {
  if (Zoom > 1) {
    Zoom--;
  }
  CANVAS_Refresh();
}

/* A changing command: snapshot, operation, status text, repaint. */
typedef IMAGE* OPERATION(IMAGE* pImage);

static void _Change(OPERATION* pfOperation, const char* sStatus) {
  if (!_CheckImage()) return;
  UNDO_Push();
  _Store(pfOperation(pBitmapCurrent));
  if (sStatus) {
    IMAGE_ShowStatus(sStatus);
  }
  CANVAS_Refresh();
}

/* The conversions onto a palette answer a missing image themselves. */
static void _Convert(OPERATION* pfConvert) {
  UNDO_Push();
  _Store(pfConvert(pBitmapCurrent));
  CANVAS_Refresh();
}

static IMAGE* _IntoHighColor555(IMAGE* p) { return CONVERT_IntoHighColor(p, 555); }
static IMAGE* _IntoHighColor655(IMAGE* p) { return CONVERT_IntoHighColor(p, 655); }
static IMAGE* _IntoHighColor565(IMAGE* p) { return CONVERT_IntoHighColor(p, 565); }
static IMAGE* _IntoHighColor556(IMAGE* p) { return CONVERT_IntoHighColor(p, 556); }

static void _OnTransparencyDlg(void)    { OnTransparencyDlg(); }
static void _OnConvertIntoBW(void)      { _Convert(CONVERT_IntoBW); }
static void _OnConvertIntoGray4(void)   { _Convert(CONVERT_IntoGray4); }
static void _OnConvertIntoGray16(void)  { _Convert(CONVERT_IntoGray16); }
static void _OnConvertIntoGray64(void)  { _Convert(CONVERT_IntoGray64); }
static void _OnConvertIntoGray256(void) { _Convert(CONVERT_IntoGray256); }
static void _OnConvertInto222(void)     { _Convert(CONVERT_Into222); }
static void _OnConvertInto233(void)     { _Convert(CONVERT_Into233); }
static void _OnConvertInto323(void)     { _Convert(CONVERT_Into323); }
static void _OnConvertInto332(void)     { _Convert(CONVERT_Into332); }
static void _OnConvertInto8666(void)    { _Convert(CONVERT_Into8666); }
static void _OnConvertInto111(void)     { _Convert(CONVERT_Into111); }
static void _OnHighColor555(void)       { _Change(_IntoHighColor555, NULL); }
static void _OnHighColor655(void)       { _Change(_IntoHighColor655, NULL); }
static void _OnHighColor565(void)       { _Change(_IntoHighColor565, NULL); }
static void _OnHighColor556(void)       { _Change(_IntoHighColor556, NULL); }
static void _OnFlipH(void)              { _Change(IMAGE_FlipH, "Image flipped horizontally"); }
static void _OnFlipV(void)              { _Change(IMAGE_FlipV, "Image flipped vertically"); }
static void _OnRotate90CW(void)         { _Change(IMAGE_Rotate90CW, "Image rotated"); }
static void _OnRotate90CCW(void)        { _Change(IMAGE_Rotate90CCW, "Image rotated"); }
static void _OnRotate180(void)          { _Change(IMAGE_Rotate180, "Image rotated"); }
static void _OnConvertIntoRGB(void)     { _Change(CONVERT_IntoRGB, NULL); }
static void _OnInvertIndices(void)      { _Change(IMAGE_InvertIndices, NULL); }
static void _OnInvertColors(void)       { _Change(IMAGE_InvertColors, NULL); }
static void _OnShrink(void)             { _Change(IMAGE_Shrink, NULL); }

static void _OnInfo(void) {
  if (!_CheckImage()) return;
  char ac[60];
  snprintf(ac, sizeof(ac), "Number of colors used: %d", (int)IMAGE_CountColors(pBitmapCurrent));
  PLAT_MessageBox(ac, "Image info", PLAT_ICON_NONE, PLAT_BUTTONS_OK, PLAT_ID_OK);
}

static void _OnConvertIntoBestPalette(void) {
  if (!_CheckImage()) return;
  if (IMAGE_CountColors(pBitmapCurrent) > 256) {
    int Answer = PLAT_MessageBox("This bitmap contains more than 256 colors.\nConverting it will degrade image quality.\n"
                                 "Do you want to convert it anyhow ?",
                                 "Warning", PLAT_ICON_NONE, PLAT_BUTTONS_YESNO, PLAT_ID_YES);
    if (Answer != PLAT_ID_YES) {
      return;
    }
  }
  UNDO_Push();
  _Store(CONVERT_IntoBestPalette(pBitmapCurrent));
  CANVAS_Refresh();
}

static void _OnConvertIntoCustomPalette(void) { OnConvertIntoCustomPalette(); }
static void _OnTransparencyOption(void)       { OnTransparencyOption(); }
static void _OnConvertIntoOptimalPalette(void) { OnConvertIntoOptimalPalette(); }
static void _OnDither(void)                   { OnDither(); }

static void _OnFileOpenDlg(void) {
  OnFileOpenDlg();
}

static void _OnFileSaveAs(void) {
  OnFileSaveAs();
  CANVAS_Refresh();
}

static void _OnFileSaveTo(void) {
  OnFileSaveTo();
  CANVAS_Refresh();
}

/* The clipboard: the current image goes as a DIB block; a pasted block
 * goes through the DIB decoder, with its tolerances and messages. */
static void _OnEditCopy(void) {
  if (pBitmapCurrent == NULL) {
    return;
  }
  I32 NumBytes = IMAGE_GetDIBSize(pBitmapCurrent);
  U8* pDIB = (NumBytes > 0) ? (U8*)PLAT_Alloc((size_t)NumBytes) : NULL;
  if (pDIB == NULL) {
    return;
  }
  IMAGE_WriteDIB(pBitmapCurrent, pDIB);
  PLAT_SetClipboardDIB(pDIB, (uint32_t)NumBytes);
  PLAT_Free(pDIB);
  IMAGE_ShowStatus("Image copied to clipboard");
}

static void _PasteImage(void) {
  uint32_t NumBytes;
  U8* pDIB = (U8*)PLAT_GetClipboardDIB(&NumBytes);
  if (pDIB == NULL) {
    MSG_Error("Can not retrieve data (CF_DIB)");
    return;
  }
  /* The old image goes first: a block that can't be decoded leaves no
   * current image, and Undo brings the old one back. */
  if (pBitmapCurrent) {
    UNDO_Push();
    IMAGE_Free(pBitmapCurrent);
    pBitmapCurrent = NULL;
  }
  pBitmapCurrent = IMAGE_CreateFromDIB(pDIB, NumBytes);
  PLAT_Free(pDIB);
  if (pBitmapCurrent) {
    MSG_Status("Image pasted");
    CANVAS_SetInitialZoom(pBitmapCurrent);
  }
}

static void _OnEditPaste(void) {
  _PasteImage();
  CANVAS_Refresh();
}

static void _OnUndo(void) {
  UNDO_Pop();
  CANVAS_Refresh();
}

typedef struct {
  unsigned Id;
  void (*pfHandler)(void);
} COMMAND;

static const COMMAND _aCommand[] = {
  { 0x8007, _OnZoomIn },
  { 0x8008, _OnZoomOut },
  { 0x8009, _OnTransparencyDlg },
  { 0x800A, _OnConvertIntoBW },
  { 0x800B, _OnConvertIntoGray4 },
  { 0x800C, _OnConvertIntoGray16 },
  { 0x800D, _OnConvertIntoGray64 },
  { 0x800E, _OnConvertIntoGray256 },
  { 0x800F, _OnConvertInto222 },
  { 0x8010, _OnConvertInto233 },
  { 0x8011, _OnConvertInto323 },
  { 0x8012, _OnConvertInto332 },
  { 0x8013, _OnConvertInto8666 },
  { 0x8014, _OnHighColor555 },
  { 0x8015, _OnHighColor655 },
  { 0x8016, _OnHighColor565 },
  { 0x8017, _OnHighColor556 },
  { 0x8018, _OnFlipH },
  { 0x8019, _OnFlipV },
  { 0x801A, _OnRotate90CW },
  { 0x801B, _OnRotate90CCW },
  { 0x801C, _OnRotate180 },
  { 0x801D, _OnConvertIntoRGB },
  { 0x801E, _OnInvertIndices },
  { 0x801F, _OnInvertColors },
  { 0x8020, _OnConvertInto111 },
  { 0x8021, _OnInfo },
  { 0x8022, _OnConvertIntoBestPalette },
  { 0x8023, _OnConvertIntoCustomPalette },
  { 0x8024, _OnTransparencyOption },
  { 0x8025, _OnShrink },
  { 0x8026, _OnConvertIntoOptimalPalette },
  { 0x8027, _OnDither },
  { 0x8028, _OnFileSaveTo },

  { 0xE101, _OnFileOpenDlg },
  { 0xE104, _OnFileSaveAs },
  { 0xE122, _OnEditCopy },
  { 0xE125, _OnEditPaste },
  { 0xE12B, _OnUndo },
};

void OnCommand(unsigned Id, long lParam) {
  (void)lParam;
  Id &= 0xFFFF;
  unsigned FirstRecent = RECENT_GetFirstCommand();
  if (FirstRecent && Id >= FirstRecent && Id < FirstRecent + (unsigned)RECENT_GetNumFiles()) {
    OnFileOpen(RECENT_GetFile((int)(Id - FirstRecent)));
    return;
  }
  for (const COMMAND& Cmd : _aCommand) {
    if (Cmd.Id == Id) {
      Cmd.pfHandler();
      return;
    }
  }
}
