// The rules of the arrangement view: zoom in time, band height, drag deltas, the slider's
// defaults, the layout of the children's rectangles and closing the gap of a deletion.
#include <algorithm>

#include "core/saturate.h"
#include "engine/clip.h"
#include "engine/editlog.h"

namespace {

constexpr int kMinSpan = 30;
constexpr int kMinBand = 10;
constexpr int kMaxBand = 512;

}  // namespace

uint32_t clip::ArrZoomIn() {
  if (visiblespan == kMinSpan) return 0;
  visiblespan = std::min(GetSize(), std::max(visiblespan / 2, kMinSpan));
  rememberedspan = visiblespan;
  rememberedstart = viewstart;
  return QA_UPDATE;
}

uint32_t clip::ArrZoomOut() {
  if (visiblespan == GetSize()) return 0;
  visiblespan = Saturate(std::min<int64_t>(GetSize(), std::max<int64_t>(int64_t(visiblespan) * 2, kMinSpan)));
  rememberedspan = visiblespan;
  rememberedstart = viewstart;
  return QA_UPDATE;
}

uint32_t clip::ArrZoomAll() {
  if (visiblespan == GetSize()) return 0;
  visiblespan = GetSize();
  rememberedspan = visiblespan;
  rememberedstart = viewstart;
  return QA_UPDATE;
}

uint32_t clip::ArrBandIn() {
  if (bandheight == kMaxBand) return 0;
  bandheight = std::min(kMaxBand, std::max(bandheight * 2, kMinBand));
  return QA_UPDATE;
}

uint32_t clip::ArrBandOut() {
  if (bandheight == kMinBand) return 0;
  bandheight = std::min(kMaxBand, std::max(bandheight / 2, kMinBand));
  return QA_UPDATE;
}

uint32_t clip::ArrBandAll() {
  const double h = double(arrarea.bottom - arrarea.top) / (double(ClipTrackCount()) + 1.0);
  bandheight = int(std::clamp(h, double(kMinBand), double(kMaxBand)));
  return QA_UPDATE;
}

uint32_t clip::ClipZoomOut() {
  visiblespan = 0;
  viewstart = 0;
  rememberedspan = 0;
  rememberedstart = 0;
  for (int i = 0; i < childcount; ++i) children[i]->ClipZoomOut();
  return 512;
}

int clip::ArrDragDelta() {
  const int width = arrarea.right - arrarea.left;
  if (width == 0) return 0;
  // 32-bit arithmetic throughout, as the view always computed it (the product wraps).
  const int32_t dx = int32_t(uint32_t(dragnowx) - uint32_t(dragstartx));
  const int32_t product = int32_t(uint32_t(dx) * uint32_t(visiblespan));
  if (width == -1 && product == INT32_MIN) return product;
  return product / width;
}

int clip::ClipResetArrangeSlider() {
  if (visiblespan > 0) return 1;
  const int start = GetPosition(), length = GetSize();
  // The start is counted twice on purpose; for the root, whose start is 0, this is its length.
  visiblespan = Saturate(int64_t(start) + length + start);
  viewstart = start;
  makestart = start;
  makeend = Saturate(int64_t(start) + length);
  return 1;
}

uint32_t clip::ArrMakeSpace() {
  if (gaptrack < 0) return 0;
  uint32_t r = 0;
  for (int i = 0; i < childcount; ++i) {
    clip *c = children[i];
    if (c->track != gaptrack || c->GetPosition() < gapstart) continue;
    if (editlog *log = GetEditLog()) log->Changing(c);
    c->SetPosition(Saturate(int64_t(c->GetPosition()) - gaplength));
    r = QA_UPDATE;
  }
  gaptrack = -1;
  gapstart = gaplength = 0;
  return r;
}

RECT clip::ArrLayout(RECT area) {
  const int64_t span = visiblespan > 0 ? visiblespan : std::max(GetSize(), 1);
  const int64_t width = int64_t(area.right) - area.left;
  for (int i = 0; i < childcount; ++i) {
    clip *c = children[i];
    const int64_t s = int64_t(c->GetPosition()) - viewstart;
    const int64_t e = s + c->GetSize();
    RECT r;
    if (width > 0) {
      r.left = Saturate(area.left + s * width / span);
      r.right = Saturate(area.left + e * width / span);
    } else {
      // Without a view: one pixel per millisecond, so overlaps in the layout are overlaps in time.
      r.left = Saturate(s);
      r.right = Saturate(e);
    }
    r.top = Saturate(int64_t(area.top) + int64_t(c->track) * bandheight);
    r.bottom = Saturate(int64_t(r.top) + bandheight);
    c->arrrect = r;
  }
  return area;
}

int clip::ArrTimeAt(int x) const {
  const int64_t span = visiblespan > 0 ? visiblespan : std::max(size, 1);
  const int64_t width = int64_t(arrarea.right) - arrarea.left;
  if (width <= 0) return Saturate(int64_t(viewstart) + x);
  return Saturate(int64_t(viewstart) + (int64_t(x) - arrarea.left) * span / width);
}

int clip::ArrXAt(int t) const {
  const int64_t span = visiblespan > 0 ? visiblespan : std::max(size, 1);
  const int64_t width = int64_t(arrarea.right) - arrarea.left;
  if (width <= 0) return Saturate(int64_t(t) - viewstart);
  return Saturate(arrarea.left + (int64_t(t) - viewstart) * width / span);
}

clip::arrhit clip::ArrHitTest(POINT pt) {
  arrhit h;
  if (pt.x < arrarea.left || pt.x >= arrarea.right) return h;
  h.time = ArrTimeAt(pt.x);
  if (pt.y >= rulerrect.top && pt.y < rulerrect.bottom) {
    h.part = ARR_RULER;
    return h;
  }
  if (pt.y < arrarea.top || pt.y >= arrarea.bottom || bandheight <= 0) return h;
  h.part = ARR_TRACK;
  h.track = (pt.y - arrarea.top) / bandheight;
  for (int i = childcount - 1; i >= 0; --i) {
    clip *c = children[i];
    const RECT &r = c->arrrect;
    if (pt.x < r.left || pt.x >= r.right || pt.y < r.top || pt.y >= r.bottom) continue;
    h.child = c;
    h.part = ARR_CLIP;
    // Narrow clips are all body, so they can still be moved.
    if (r.right - r.left >= 3 * kArrEdge) {
      if (pt.x < r.left + kArrEdge)
        h.part = ARR_HEAD;
      else if (pt.x >= r.right - kArrEdge)
        h.part = ARR_TAIL;
    }
    return h;
  }
  return h;
}

uint32_t clip::ArrScroll(int ms) {
  const int span = visiblespan > 0 ? visiblespan : GetSize();
  const int last = std::max(0, GetSize() - span);
  const int v = int(std::clamp<int64_t>(int64_t(viewstart) + ms, 0, last));
  if (v == viewstart) return 0;
  viewstart = v;
  return QA_UPDATE;
}
