// The arrangement view's drawing: the time ruler with the make range and the locator, the
// track stripes, each child as a rectangle with its name and sound envelope, the time slider.
#include <algorithm>
#include <cstdio>

#include "core/uipalette.h"
#include "engine/clip.h"
#include "media/dc.h"

namespace {

// Ruler steps in ms; the first whose labels lie at least kLabelGap pixels apart is used.
constexpr int kSteps[] = {10,    20,    50,    100,   200,    250,    500,    1000,    2000,   5000,
                          10000, 15000, 30000, 60000, 120000, 300000, 600000, 1800000, 3600000};
constexpr int kLabelGap = 80;

void TimeLabel(int ms, int step, char *out, size_t n) {
  const int m = ms / 60000, s = (ms / 1000) % 60, rest = ms % 1000;
  if (step % 1000 == 0)
    std::snprintf(out, n, "%d:%02d", m, s);
  else if (step % 100 == 0)
    std::snprintf(out, n, "%d:%02d.%d", m, s, rest / 100);
  else
    std::snprintf(out, n, "%d:%02d.%03d", m, s, rest);
}

void VLine(HDC hdc, int x, int top, int bottom, COLORREF c) { hdc->FillRect(RECT{x, top, x + 1, bottom}, c); }

}  // namespace

int clip::ArrDraw(HDC hdc) {
  if (!hdc) return 0;
  const RECT whole{arrarea.left, rulerrect.top, arrarea.right, arrarea.bottom};
  const RECT saved = hdc->GetClipRect();
  hdc->SetClipRect(And(saved, whole));
  const font before = VemoSelectFont(hdc, ui::kFont - 2);

  // Ruler.
  DrawRectangle(hdc, rulerrect, ui::kPanel);
  hdc->FillRect(RECT{rulerrect.left, rulerrect.bottom - 1, rulerrect.right, rulerrect.bottom}, ui::kLine);
  const int span = visiblespan > 0 ? visiblespan : std::max(GetSize(), 1);
  const int width = std::max(1, int(arrarea.right - arrarea.left));
  int step = kSteps[std::size(kSteps) - 1];
  for (int s : kSteps)
    if (int64_t(s) * width / span >= kLabelGap) {
      step = s;
      break;
    }
  const int minor = step / (step % 5000 == 0 || step % 500 == 0 || step % 50 == 0 ? 5 : 4);
  for (int64_t t = int64_t(viewstart) / minor * minor; t <= int64_t(viewstart) + span; t += minor) {
    const int x = ArrXAt(int(t));
    const bool major = t % step == 0;
    VLine(hdc, x, rulerrect.bottom - (major ? 9 : 4), rulerrect.bottom - 1, major ? ui::kTextDim : ui::kLine);
    if (major) {
      char label[32];
      TimeLabel(int(t), step, label, sizeof label);
      DrawTextOnly(hdc, label, RECT{x + 3, rulerrect.top + 2, x + kLabelGap, rulerrect.bottom - 4},
                   ui::kTextDim, DT_LEFT | DT_TOP | DT_SINGLELINE);
    }
  }
  if (makeend > makestart)
    hdc->FillRect(RECT{ArrXAt(makestart), rulerrect.bottom - 4, ArrXAt(makeend), rulerrect.bottom - 1},
                  ui::kMake);

  // Tracks.
  const int tracks = ClipTrackCount();
  for (int t = 0;; ++t) {
    const int top = arrarea.top + t * bandheight;
    if (top >= arrarea.bottom) break;
    hdc->FillRect(RECT{arrarea.left, top, arrarea.right, std::min<int>(top + bandheight, arrarea.bottom)},
                  t % 2 ? ui::kTrackB : ui::kTrackA);
    if (t < tracks)
      hdc->FillRect(RECT{arrarea.left, top + bandheight - 1, arrarea.right, top + bandheight}, ui::kLine);
  }

  // The quantization grid, when it is on and its lines lie apart enough to help.
  if (mt.GetQuantize() != QUANTIZE_OFF) {
    const double unit = mt.GetQuantizeUnit();
    if (unit > 0 && unit * width / span >= 6) {
      for (int64_t k = int64_t(viewstart / unit);; ++k) {
        const int64_t t = int64_t(k * unit);
        if (t > int64_t(viewstart) + span) break;
        if (t >= viewstart) VLine(hdc, ArrXAt(int(t)), arrarea.top, arrarea.bottom, ui::kTrackB + 0x080808);
      }
    }
  }

  // The track names beside the tracks.
  {
    const RECT heads = trackheadrect;
    hdc->SetClipRect(And(saved, heads));
    DrawRectangle(hdc, heads, ui::kPanel);
    hdc->FillRect(RECT{heads.right - 1, heads.top, heads.right, heads.bottom}, ui::kLine);
    hdc->FillRect(RECT{heads.left, rulerrect.bottom - 1, heads.right, rulerrect.bottom}, ui::kLine);
    DrawTextOnly(hdc, "Tracks", RECT{heads.left + 8, heads.top, heads.right - 4, rulerrect.bottom},
                 ui::kTextDim, DT_LEFT | DT_VCENTER | DT_SINGLELINE);
    for (int t = 0; t < tracks + 1; ++t) {
      const int top = arrarea.top + t * bandheight;
      if (top >= arrarea.bottom) break;
      const RECT row{heads.left, top, heads.right - 1, std::min<int>(top + bandheight, arrarea.bottom)};
      hdc->FillRect(row, t % 2 ? ui::kTrackB : ui::kTrackA);
      hdc->FillRect(RECT{row.left, top + bandheight - 1, row.right, top + bandheight}, ui::kLine);
      char name[32] = "";  // the band below the last track has no name
      if (t < tracks) std::snprintf(name, sizeof name, "Track %d", t + 1);
      DrawTextOnly(hdc, name,
                   RECT{row.left + 8, row.top, row.right - 4, std::min<int>(row.bottom, row.top + 22)},
                   ui::kTextDim, DT_LEFT | DT_VCENTER | DT_SINGLELINE);
    }
    hdc->SetClipRect(And(saved, whole));
  }

  // Children: later ones lie above earlier ones, as the hit test finds them.
  VemoSelectFont(hdc, ui::kFont);
  timefloat envelope;
  for (int i = 0; i < childcount; ++i) {
    clip *c = children[i];
    RECT r = c->arrrect;
    r.top += 1;
    r.bottom -= 2;
    if (!checkrec(r) || r.right <= arrarea.left || r.left >= arrarea.right) continue;
    const bool current = c == currentchild;
    COLORREF body = c->IsArrangement() ? ui::kArrangement : ui::kClip;
    if (!c->IsArrangement() && !c->CheckVideoStream() && !c->GetClipSource() && c->CheckAudioStream())
      body = ui::kSound;
    if (current) body = ui::kClipSelected;
    DrawRectangle(hdc, r, body, current ? ui::kAccent : ui::kLine);
    if (current) DrawRectangle(hdc, Reduce(r, 1), body, ui::kAccent);
    // Trim handles at the ends of clips wide enough to have them.
    if (r.right - r.left >= 3 * kArrEdge) {
      const COLORREF grip = current ? ui::kAccent : ui::kLine;
      hdc->FillRect(RECT{r.left + 1, r.top + 1, r.left + 3, r.bottom - 1}, grip);
      hdc->FillRect(RECT{r.right - 3, r.top + 1, r.right - 1, r.bottom - 1}, grip);
    }
    // The sound envelope from the volume effect: volume 1 at the top, 0 at the bottom.
    if (ClipGetAudioEnveloppe(c, &envelope) && r.bottom - r.top > 6) {
      hdc->SelectPen(pen{ui::kEnvelope, 1, false});
      const RECT e = Reduce(r, 3);
      const int x0 = std::max<int>(e.left, arrarea.left), x1 = std::min<int>(e.right, arrarea.right);
      for (int x = x0; x < x1; ++x) {
        const int local = int(int64_t(ArrTimeAt(x)) - c->GetPosition() + c->GetOffset());
        const int y = MapYInRect(envelope.GetValue(local), 0.0, 1.0, e);
        if (x == x0)
          hdc->MoveTo(x, y);
        else
          hdc->LineTo(x, y);
      }
    }
    char label[300];
    std::snprintf(label, sizeof label, "%s%s%s", c->GetName()[0] ? c->GetName() : "(clip)",
                  c->GetVideoMute() ? "  [video muted]" : "", c->GetAudioMute() ? "  [sound muted]" : "");
    RECT tr = Reduce(r, 4);
    tr.left = std::max<int>(tr.left, arrarea.left + 4);
    DrawTextOnly(hdc, label, tr, ui::kText, DT_LEFT | DT_TOP | DT_SINGLELINE);
  }

  // Locator and time slider over everything.
  if (locator >= 0) VLine(hdc, ArrXAt(locator), rulerrect.top, arrarea.bottom, ui::kLocator);
  const int x = ArrXAt(currenttime);
  if (x >= arrarea.left && x < arrarea.right) {
    VLine(hdc, x, rulerrect.top, arrarea.bottom, ui::kCursor);
    hdc->FillRect(RECT{x - 4, rulerrect.top, x + 5, rulerrect.top + 5}, ui::kCursor);
  }
  hdc->SelectFont(before);
  hdc->SetClipRect(saved);
  return 1;
}
