// Surface operations through a drawing context: stretched copies, drawing to other contexts,
// pattern tiling and the red cross of a missing medium.
#include "media/dc.h"
#include "media/surface.h"

namespace {

// A drawing-context grant released when it goes out of scope.
class grant {
 public:
  explicit grant(KORSurface *s) { hdc = surface::SurfaceGetDC(s, &sf); }
  ~grant() {
    if (hdc) surface::SurfaceReleaseDC(&sf);
  }
  grant(const grant &) = delete;
  grant &operator=(const grant &) = delete;
  HDC hdc = nullptr;
  surf sf{};
};

}  // namespace

int surface::SurfaceCopy(KORSurface *src, RECT rs, KORSurface *dst, RECT rd) {
  grant a(src), b(dst);
  if (!a.hdc || !b.hdc) return 0;
  a.hdc->SetStretchBltMode(HALFTONE);
  b.hdc->SetStretchBltMode(HALFTONE);
  a.hdc->SetBrushOrgEx(0, 0, nullptr);
  b.hdc->SetBrushOrgEx(0, 0, nullptr);
  return b.hdc->StretchBlt(rd.left, rd.top, rd.right - rd.left, rd.bottom - rd.top, a.hdc, rs.left, rs.top,
                           rs.right - rs.left, rs.bottom - rs.top, SRCCOPY);
}

int surface::Surface2HDC(KORSurface *s, RECT rs, HDC hdc, RECT rd) {
  if (!hdc) return 0;
  grant a(s);
  if (!a.hdc) return 0;
  hdc->SetStretchBltMode(HALFTONE);
  hdc->SetBrushOrgEx(0, 0, nullptr);
  return hdc->StretchBlt(rd.left, rd.top, rd.right - rd.left, rd.bottom - rd.top, a.hdc, rs.left, rs.top,
                         rs.right - rs.left, rs.bottom - rs.top, SRCCOPY);
}

int surface::Surface2HDC(KORSurface *s, HDC hdc, RECT rd) {
  if (!s) return 0;
  return Surface2HDC(s, RECT{0, 0, s->width, s->height}, hdc, rd);
}

int surface::SurfacePatternBlit(KORSurface *s, RECT rp, HDC hdc, RECT rc) {
  if (!s || !hdc || s->width < 1 || s->height < 1) return 0;
  grant a(s);
  if (!a.hdc) return 0;
  int result = 0;
  for (int64_t ty = rp.top; ty < rp.bottom; ty += s->height) {
    for (int64_t tx = rp.left; tx < rp.right; tx += s->width) {
      const RECT tile{int(tx), int(ty), int(tx + s->width), int(ty + s->height)};
      const RECT cut = And(tile, rc);
      if (!checkrec(cut)) continue;
      result = hdc->BitBlt(cut.left, cut.top, cut.right - cut.left, cut.bottom - cut.top, a.hdc,
                           cut.left - tile.left, cut.top - tile.top, SRCCOPY);
    }
  }
  return result;
}

int surface::SurfacePatternBlit(HDC hdc, RECT rc, int key, COLORREF colour) {
  if (!hdc) return 0;
  if (key > 0) {
    if (KORSurface *s = CacheSurfaceGet(key)) return SurfacePatternBlit(s, RECT{0, 0, 1280, 1024}, hdc, rc);
  }
  if (checkrec(rc)) hdc->FillRect(rc, brush{colour, false});
  return 0;
}

int surface::SurfaceRedSlash(KORSurface *s) {
  grant a(s);
  if (!a.hdc) return 0;
  const int w = a.sf.desc.width, h = a.sf.desc.height;
  int x0 = 0, x1 = w - 22;
  if (x1 <= x0) return 0;
  const pen old = a.hdc->SelectPen(pen{0x0000FF, 1, false});
  for (int i = 0; i < 10; ++i, ++x0, ++x1) {
    a.hdc->MoveTo(x0, 0);
    a.hdc->LineTo(x1, h);
    a.hdc->MoveTo(x0, h);
    a.hdc->LineTo(x1, 0);
  }
  a.hdc->SelectPen(old);
  return 1;
}
