// The software drawing context: clipping, lines, fills, copies, stretching and text.
#include "media/dc.h"

#include <gtest/gtest.h>

#include "surfacetest.h"

namespace {

// A surface with its drawing context, released at the end of the test.
struct canvas {
  explicit canvas(int w, int h) : s(make_surface(w, h)) { hdc = surface::SurfaceGetDC(s.get(), &grant); }
  ~canvas() { surface::SurfaceReleaseDC(&grant); }
  owned_surface s;
  surf grant{};
  HDC hdc = nullptr;
  uint32_t word(int x, int y) { return at(s.get(), x, y).word(); }
};

}  // namespace

TEST(DrawingContext, FillsAndLinesRespectTheClipAndWriteAlphaZero) {
  canvas c(16, 8);
  ASSERT_NE(c.hdc, nullptr);
  surface::SurfaceFillRect(c.s.get(), RECT{0, 0, 16, 8}, 0xFF000000u);
  c.hdc->SetClipRect(RECT{2, 2, 10, 6});
  c.hdc->FillRect(RECT{0, 0, 16, 8}, RGB(1, 2, 3));
  for (int y = 0; y < 8; ++y)  // COLORREF red lands in the red byte, alpha 0
    for (int x = 0; x < 16; ++x)
      EXPECT_EQ(c.word(x, y), x >= 2 && x < 10 && y >= 2 && y < 6 ? 0x00010203u : 0xFF000000u)
          << x << "," << y;
  c.hdc->ResetClip(), c.hdc->SetDrawAlpha(255);
  c.hdc->SelectPen(pen{RGB(255, 0, 0), 1, false});
  c.hdc->MoveTo(0, 0), c.hdc->LineTo(4, 0);  // the end point is left out
  for (int x = 0; x < 4; ++x) EXPECT_EQ(c.word(x, 0), 0xFFFF0000u);
  EXPECT_EQ(c.word(4, 0), 0xFF000000u);
  c.hdc->MoveTo(0, 7), c.hdc->LineTo(7, 0);  // a diagonal touches exactly one pixel per row
  for (int y = 1; y <= 7; ++y) EXPECT_EQ(c.word(7 - y, y), 0xFFFF0000u) << y;
  c.hdc->LineTo(-100000, 900000);  // far off the target: clipped, no harm
}

TEST(DrawingContext, RectangleOutlinesWithThePenAndFillsWithTheBrush) {
  canvas c(8, 8);
  c.hdc->SelectPen(pen{RGB(9, 9, 9), 1, false});
  c.hdc->SelectBrush(brush{RGB(200, 100, 50), false});
  c.hdc->Rectangle(1, 1, 6, 5);
  const char *rows[6] = {"........", ".ooooo..", ".o###o..", ".o###o..", ".ooooo..", "........"};
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 8; ++x) {
      const uint32_t expect = rows[y][x] == 'o' ? 0x090909u : rows[y][x] == '#' ? 0xC86432u : 0u;
      EXPECT_EQ(c.word(x, y), expect) << x << "," << y;
    }
}

TEST(DrawingContext, BitBltClipsBothSidesAndHandlesOverlap) {
  canvas a(6, 4), b(5, 5);
  fill_random(a.s.get(), 3);
  EXPECT_TRUE(b.hdc->BitBlt(-1, 2, 6, 6, a.hdc, 0, 1));
  for (int y = 0; y < 5; ++y)  // b(x, y) from a(x + 1, y - 1), rows 2 .. 4
    for (int x = 0; x < 5; ++x)
      EXPECT_EQ(at(b.s.get(), x, y).word(), y >= 2 ? at(a.s.get(), x + 1, y - 1).word() : 0u)
          << x << "," << y;
  // Moving pixels within one surface works like a copy through a buffer.
  auto before = copy_block(a.s.get());
  a.hdc->BitBlt(1, 1, 5, 3, a.hdc, 0, 0);
  for (int y = 1; y < 4; ++y)
    for (int x = 1; x < 6; ++x) EXPECT_EQ(at(a.s.get(), x, y), at(before.get(), x - 1, y - 1));
}

TEST(DrawingContext, StretchNearestHalftoneAndSurfaceCopy) {
  canvas src(4, 2), dst(8, 4);
  const pix32 px[8] = {pix32(0, 0, 0, 0), pix32(100, 200, 30, 255), pix32(10, 20, 30, 40),
                       pix32(1, 2, 3, 4), pix32(50, 60, 70, 80),    pix32(255, 255, 255, 255),
                       pix32(7, 7, 7, 7), pix32(9, 9, 9, 9)};
  for (int i = 0; i < 8; ++i) at(src.s.get(), i % 4, i / 4) = px[i];
  EXPECT_EQ(dst.hdc->GetStretchBltMode(), COLORONCOLOR);
  ASSERT_TRUE(dst.hdc->StretchBlt(0, 0, 8, 4, src.hdc, 0, 0, 4, 2));
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 8; ++x) EXPECT_EQ(at(dst.s.get(), x, y), at(src.s.get(), x / 2, y / 2));
  // Halftone down to 2 x 1: each pixel is the rounded mean of a 2 x 2 block.
  dst.hdc->SetStretchBltMode(HALFTONE);
  ASSERT_TRUE(dst.hdc->StretchBlt(0, 0, 2, 1, src.hdc, 0, 0, 4, 2));
  EXPECT_EQ(at(dst.s.get(), 0, 0), pix32(101, 129, 89, 148));  // (0+100+50+255)/4 = 101.25 ...
  EXPECT_EQ(at(dst.s.get(), 1, 0), pix32(7, 10, 12, 15));      // (10+1+7+9)/4 = 6.75 -> 7
  // Three source pixels onto two: the middle one is shared half and half.
  canvas line(3, 1), out(2, 1);
  const uint8_t grey[3] = {0, 90, 200};
  for (int x = 0; x < 3; ++x) at(line.s.get(), x, 0) = pix32(grey[x], grey[x], grey[x], grey[x]);
  out.hdc->SetStretchBltMode(HALFTONE);
  out.hdc->StretchBlt(0, 0, 2, 1, line.hdc, 0, 0, 3, 1);
  EXPECT_EQ(at(out.s.get(), 0, 0).r, 30);   // (0 * 2 + 90 * 1) / 3
  EXPECT_EQ(at(out.s.get(), 1, 0).r, 163);  // (90 * 1 + 200 * 2) / 3 = 163.3
  EXPECT_FALSE(out.hdc->StretchBlt(0, 0, 0, 1, line.hdc, 0, 0, 3, 1));
  auto small = make_surface(2, 2), big = make_surface(4, 4);
  surface::SurfaceFillRect(small.get(), RECT{0, 0, 2, 2}, 0x40102030u);
  EXPECT_TRUE(surface::SurfaceCopy(small.get(), RECT{0, 0, 2, 2}, big.get(), RECT{1, 1, 3, 4}));
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x)
      EXPECT_EQ(at(big.get(), x, y).word(), x >= 1 && x < 3 && y >= 1 ? 0x40102030u : 0u);
  EXPECT_EQ(surface::Surface2HDC(small.get(), nullptr, RECT{0, 0, 2, 2}), 0);
}

TEST(DrawingContext, TextIsMeasuredDrawnInsideItsExtentAndLaidOut) {
  canvas c(200, 60);
  font f, heavy;
  f.height = heavy.height = 20, heavy.weight = FW_BOLD;
  auto extent = [&](const font &in, const char *text) {
    SIZE size{};
    c.hdc->SelectFont(in);
    EXPECT_TRUE(c.hdc->GetTextExtentPoint32(text, -1, &size));
    return size;
  };
  const SIZE small = extent(f, "Lumi"), bold = extent(heavy, "Lumi-Vaxel"), wide = extent(f, "Lumi-Vaxel");
  EXPECT_GT(small.cx, 10);
  EXPECT_GE(small.cy, 20);
  EXPECT_LT(small.cx, wide.cx);
  EXPECT_LT(wide.cx, bold.cx);

  c.hdc->SetBkMode(TRANSPARENT), c.hdc->SetTextColor(RGB(255, 255, 255));
  ASSERT_TRUE(c.hdc->TextOut(10, 5, "Lumi-Vaxel"));
  int inked = 0, partial = 0;
  for (int y = 0; y < 60; ++y)
    for (int x = 0; x < 200; ++x) {
      const pix32 p = at(c.s.get(), x, y);
      if (p.r == 0) continue;
      ++inked, partial += p.r < 255;
      EXPECT_TRUE(x >= 10 && x < 10 + wide.cx + 2 && y >= 5 && y < 5 + wide.cy) << x << "," << y;
      EXPECT_EQ(p.r, p.g);  // white ink over black stays grey at the edges
    }
  EXPECT_GT(inked, 100);
  EXPECT_GT(partial, 10);  // anti-aliased edges

  // Opaque mode fills the cell with the background colour first.
  canvas o(200, 40);
  o.hdc->SelectFont(f), o.hdc->SetBkColor(RGB(0, 0, 255));
  o.hdc->TextOut(0, 0, "Lumi-Vaxel");
  EXPECT_EQ((std::vector{o.word(0, 0), o.word(wide.cx - 1, wide.cy - 1), o.word(wide.cx + 1, 0)}),
            (std::vector<uint32_t>{0xFF, 0xFF, 0}));

  // Laid out: a line per line feed with the gaps between, words broken to the width.
  textmetric tm;
  ASSERT_TRUE(c.hdc->GetTextMetrics(&tm));
  RECT lines{0, 0, 300, 200}, narrow{0, 0, 60, 200}, single{0, 0, 300, 200};
  EXPECT_EQ(c.hdc->DrawText("a\nb\nc", -1, &lines, DT_CALCRECT), 3 * tm.height + 2 * tm.linegap);
  EXPECT_GT(c.hdc->DrawText("one two three four", -1, &narrow, DT_WORDBREAK | DT_CALCRECT), tm.height);
  EXPECT_LE(narrow.right, 60);
  EXPECT_EQ(c.hdc->DrawText("a\nb", -1, &single, DT_SINGLELINE | DT_CALCRECT), tm.height);
}

TEST(DrawingContext, RedSlashCrossesTheSurface) {
  EXPECT_EQ(surface::SurfaceRedSlash(make_surface(19, 10).get()), 0);  // allocated width 20: nothing to draw
  EXPECT_EQ(surface::SurfaceRedSlash(make_surface(21, 10).get()), 1);  // allocated width 24: x runs 0..2
  auto s = make_surface(64, 40);
  ASSERT_EQ(surface::SurfaceRedSlash(s.get()), 1);
  // The rising strokes start below the last row.
  for (auto [x, y] : {std::pair{0, 0}, {9, 0}, {1, 39}, {10, 39}})
    EXPECT_EQ(at(s.get(), x, y).word(), 0xFF0000u);
  EXPECT_EQ(at(s.get(), 10, 0).word(), 0u);
  for (int y = 0; y < 40; ++y)
    for (int x = 52; x < 64; ++x) EXPECT_EQ(at(s.get(), x, y).word(), 0u);  // 12 columns stay clear
}
