// dc: the software drawing context on a block of 32-bit pixels (HDC is a dc*).
//
// Common principles of the context:
// - Coordinates are pixels of the target, rectangles {left, top, right, bottom} with right and
//   bottom exclusive. Every write is clipped to the clip rectangle, which is always inside the
//   target.
// - Colours are COLORREF (0x00BBGGRR). Drawing writes the context's draw alpha (0 unless set)
//   into the pixels it covers, so drawn pictures arrive without alpha like decoded ones; text
//   edges blend alpha towards it by coverage like the colours.
// - Pens, brushes and fonts are small values selected into the context; Select* returns the
//   one selected before so it can be restored. Nothing needs deleting.
// - Copies between contexts (BitBlt, StretchBlt) take all four channels.
#pragma once

#include <cstdint>
#include <string>

#include "core/platform.h"
#include "media/pix32.h"

// Background modes for text.
enum : int { TRANSPARENT = 1, OPAQUE = 2 };
// Stretch modes: nearest pixel, or the area-averaging halftone used for display.
enum : int { COLORONCOLOR = 3, HALFTONE = 4 };
// The one raster operation the engine uses.
enum : uint32_t { SRCCOPY = 0x00CC0020 };
// DrawText layout flags.
enum : uint32_t {
  DT_TOP = 0x0000,
  DT_LEFT = 0x0000,
  DT_CENTER = 0x0001,
  DT_RIGHT = 0x0002,
  DT_VCENTER = 0x0004,
  DT_BOTTOM = 0x0008,
  DT_WORDBREAK = 0x0010,
  DT_SINGLELINE = 0x0020,
  DT_NOCLIP = 0x0100,
  DT_CALCRECT = 0x0400,
};
// Font weights (100 thin ... 400 normal ... 700 bold ... 900 black).
enum : int { FW_NORMAL = 400, FW_BOLD = 700 };

struct pen {
  COLORREF colour = 0;
  int width = 1;      // pixels; below 1 counts as 1
  bool null = false;  // draws nothing
};

struct brush {
  COLORREF colour = 0xFFFFFF;
  bool null = false;  // fills nothing
};

struct font {
  std::string family = "DejaVu Sans";
  int height = 16;  // the em size in pixels
  int weight = FW_NORMAL;
  bool italic = false;
  bool underline = false;
};

struct textmetric {
  int ascent = 0;   // pixels above the baseline
  int descent = 0;  // pixels below it
  int height = 0;   // ascent + descent: the height of one line of text
  int linegap = 0;  // extra space between lines
};

class dc {
 public:
  // A context drawing into w x h pixels at bits, rows `pitch` pixels apart (not owned).
  dc(pix32 *bits, int w, int h, int pitch);
  ~dc();
  dc(const dc &) = delete;
  dc &operator=(const dc &) = delete;

  pix32 *Bits() const { return bits; }
  int Width() const { return width; }
  int Height() const { return height; }
  int Pitch() const { return pitch; }

  // ---- State ----
  // Restricts drawing to r (intersected with the target); returns the clip now in force.
  RECT SetClipRect(RECT r);
  RECT GetClipRect() const { return clip; }
  void ResetClip();
  pen SelectPen(const pen &p);
  brush SelectBrush(const brush &b);
  font SelectFont(const font &f);
  const pen &GetPen() const { return curpen; }
  const brush &GetBrush() const { return curbrush; }
  const font &GetFont() const { return curfont; }
  COLORREF SetTextColor(COLORREF c);
  COLORREF SetBkColor(COLORREF c);
  int SetBkMode(int mode);  // TRANSPARENT or OPAQUE; returns the previous mode
  int SetStretchBltMode(int mode);
  int GetStretchBltMode() const { return stretchmode; }
  // Accepted for compatibility: brushes are solid, so their origin changes nothing.
  bool SetBrushOrgEx(int x, int y, POINT *previous);
  // The alpha written by drawing (0 by default); returns the previous value.
  uint8_t SetDrawAlpha(uint8_t a);

  // ---- Pixels, lines and areas ----
  void SetPixel(int x, int y, COLORREF c);
  COLORREF GetPixel(int x, int y) const;  // 0xFFFFFFFF (invalid) outside the target
  // Moves the current position; returns the previous one in *previous when given.
  bool MoveTo(int x, int y, POINT *previous = nullptr);
  // A line with the pen from the current position to (x, y), the end point excluded; the
  // current position becomes (x, y).
  bool LineTo(int x, int y);
  // Fills r with the brush (a null brush fills nothing).
  int FillRect(RECT r, const brush &b);
  int FillRect(RECT r, COLORREF colour);
  // Outline with the pen inside the rectangle, inside filled with the selected brush.
  bool Rectangle(int left, int top, int right, int bottom);

  // ---- Copies ----
  // Copies w x h pixels from (sx, sy) of src to (x, y) here; parts outside either are skipped.
  bool BitBlt(int x, int y, int w, int h, const dc *src, int sx, int sy, uint32_t rop = SRCCOPY);
  // Stretches sw x sh of src onto w x h here: nearest pixel (COLORONCOLOR) or area average
  // (HALFTONE). Source reads are clamped to the source; dimensions below 1 draw nothing (0).
  bool StretchBlt(int x, int y, int w, int h, const dc *src, int sx, int sy, int sw, int sh,
                  uint32_t rop = SRCCOPY);

  // ---- Text (UTF-8) ----
  // Draws text with its top-left cell corner at (x, y) in the text colour, the cell filled
  // with the background colour first in OPAQUE mode.
  bool TextOut(int x, int y, const char *text, int len = -1);
  // Width of the text and height of one line in the selected font.
  bool GetTextExtentPoint32(const char *text, int len, SIZE *size);
  bool GetTextMetrics(textmetric *tm);
  // Lays the text out in *r by DT_* flags; with DT_CALCRECT only r's right and bottom are
  // adjusted to the text. Returns the height of the text drawn.
  int DrawText(const char *text, int len, RECT *r, uint32_t flags);

 private:
  void fill_span(int x0, int x1, int y, pix32 p);
  void plot(int x, int y, pix32 p, int w);
  pix32 colour(COLORREF c) const;

  pix32 *bits;
  int width;
  int height;
  int pitch;
  RECT clip;
  pen curpen;
  brush curbrush;
  font curfont;
  POINT position;
  COLORREF textcolour = 0;
  COLORREF bkcolour = 0xFFFFFF;
  int bkmode = OPAQUE;
  int stretchmode = COLORONCOLOR;
  POINT brushorg;
  uint8_t drawalpha = 0;
};
