/*
 * Repaint time of the canvas for a large picture at every zoom: painted
 * into a memory bitmap the size of a full-screen window, as the window
 * does it. Three times per zoom:
 *   change  - after a command changed the image (the converted picture
 *             is made anew),
 *   zoom    - after a zoom step (the scaled part is made anew),
 *   expose  - a repaint with nothing changed.
 */
#include <stdio.h>
#include <stdlib.h>

#include <time.h>

#include <wx/app.h>
#include <wx/dcmemory.h>

#include "commands/workspace.h"
#include "core/image.h"
#include "shell/canvas.h"

static double _PaintMs(wxDC& dc, int Width, int Height, bool IsChange, int NewZoom) {
  if (IsChange) {
    CANVAS_ClearCache();
  }
  Zoom = NewZoom;
  /* Processor time of this thread: on a machine shared with other work
   * the wall clock would count their time too. */
  timespec t0, t1;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t0);
  CANVAS_Paint(dc, Width, Height);
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t1);
  return (double)(t1.tv_sec - t0.tv_sec) * 1e3 + (double)(t1.tv_nsec - t0.tv_nsec) / 1e6;
}

int main(int argc, char** argv) {
  int Size = (argc > 1) ? atoi(argv[1]) : 2000;
  wxApp::SetInstance(new wxApp);
  int   wxArgc   = 1;
  char* wxArgv[] = {argv[0], nullptr};
  if (!wxEntryStart(wxArgc, wxArgv)) {
    fprintf(stderr, "no display (run under xvfb-run)\n");
    return 1;
  }
  const int Width = 1920, Height = 1080;
  wxBitmap   Bitmap(Width, Height, 24);
  wxMemoryDC dc(Bitmap);
  for (int NumColors : {0, 256}) {
    IMAGE* p = IMAGE_Create(Size, Size, NumColors);
    for (int i = 0; i < NumColors; i++) IMAGE_SetColor(p, i, (unsigned)i * 0x010203u);
    for (int y = 0; y < Size; y++)
      for (int x = 0; x < Size; x++) IMAGE_SetPixel(p, x, y, NumColors ? (unsigned)((x ^ y) & 0xFF) : (unsigned)(x * 977 + y * 131));
    pBitmapCurrent = p;
    printf("%d x %d, %s, window %d x %d: processor ms per paint\n", Size, Size, NumColors ? "256 colours" : "true colour", Width, Height);
    printf("zoom  change    zoom  expose\n");
    double Worst = 0;
    for (int z = 1; z <= 40; z++) {
      _PaintMs(dc, Width, Height, false, z == 1 ? 2 : z - 1);
      double Zoomed = _PaintMs(dc, Width, Height, false, z);
      double Expose = _PaintMs(dc, Width, Height, false, z);
      double Change = _PaintMs(dc, Width, Height, true, z);
      printf("%4.1f %7.1f %7.1f %7.1f\n", z / 10.0, Change, Zoomed, Expose);
      Worst = Change > Worst ? Change : Worst;
      Worst = Zoomed > Worst ? Zoomed : Worst;
    }
    printf("worst %.1f ms\n\n", Worst);
    pBitmapCurrent = NULL;
    IMAGE_Free(p);
    CANVAS_ClearCache();
  }
  dc.SelectObject(wxNullBitmap);
  wxEntryCleanup();
  return 0;
}
