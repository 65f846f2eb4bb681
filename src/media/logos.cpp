// The built-in logos: a colour gradient with the product's name and a thin frame, drawn with
// the software drawing context. Like any picture without an alpha channel, alpha is 0.
#include "media/logos.h"

#include "media/dc.h"
#include "media/surface.h"

namespace {

constexpr int kWidth = 300;
constexpr int kHeight = 293;

struct palette {
  pix32 top, bottom;
  COLORREF text, frame;
  const char *subtitle;
};

const palette kLogos[2] = {
    {pix32(16, 24, 64), pix32(96, 40, 120), RGB(255, 255, 255), RGB(200, 180, 255), "media compositor"},
    {pix32(8, 48, 40), pix32(200, 120, 24), RGB(255, 250, 235), RGB(255, 220, 160), "starting up"},
};

uint8_t lerp(int a, int b, int t, int n) { return uint8_t(a + (b - a) * t / n); }

KORSurface *DrawLogo(int which) {
  const palette &p = kLogos[which];
  KORSurface *s = surface::SurfaceCreate(kWidth, kHeight);
  surf a;
  if (!s || !surface::SurfaceDataLock(s, &a)) {
    surface::SurfaceDelete(s);
    return nullptr;
  }
  for (int y = 0; y < kHeight; ++y) {
    pix32 *row = a.bits + size_t(a.pitch) * size_t(y);
    for (int x = 0; x < kWidth; ++x) {
      // A diagonal gradient from the top colour to the bottom one.
      const int t = x + 2 * y, n = kWidth + 2 * kHeight;
      row[x] = pix32(lerp(p.top.r, p.bottom.r, t, n), lerp(p.top.g, p.bottom.g, t, n),
                     lerp(p.top.b, p.bottom.b, t, n), 0);
    }
  }
  surface::SurfaceDataUnlock(&a);
  surf g;
  if (HDC hdc = surface::SurfaceGetDC(s, &g)) {
    hdc->SelectPen(pen{p.frame, 2, false});
    hdc->SelectBrush(brush{0, true});
    hdc->Rectangle(8, 8, kWidth - 8, kHeight - 8);
    hdc->SetBkMode(TRANSPARENT);
    hdc->SetTextColor(p.text);
    font title;
    title.height = 44;
    title.weight = FW_BOLD;
    hdc->SelectFont(title);
    RECT r{0, 90, kWidth, 150};
    hdc->DrawText("Lumi-Vaxel", -1, &r, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
    font sub;
    sub.height = 20;
    sub.italic = true;
    hdc->SelectFont(sub);
    RECT r2{0, 160, kWidth, 190};
    hdc->DrawText(p.subtitle, -1, &r2, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
    surface::SurfaceReleaseDC(&g);
  }
  return s;
}

}  // namespace

// Laying out the text costs far more than copying pixels, and every project (each composer of a
// parallel make among them) asks for the same two pictures: they are drawn once per process.
KORSurface *MakeLogo(int which) {
  static KORSurface *const drawn[2] = {DrawLogo(0), DrawLogo(1)};
  KORSurface *logo = drawn[which == 0 ? 0 : 1];
  return logo ? surface::SurfaceClone(logo) : nullptr;
}
