// The arrangement view's mouse: select a child, drag it in time and across tracks, trim its
// head or tail, scrub the time on the ruler, zoom, scroll and change the band with the wheel,
// and the options of a clip on a right-click.
#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "core/dialogs.h"
#include "engine/clip.h"
#include "engine/editcommands.h"
#include "engine/editlog.h"

namespace {

// The wheel's delta rides in the upper 16 bits of the keys word, as the window system sends it.
int WheelDelta(int keys) { return int16_t(uint32_t(keys) >> 16); }

// The options of the current child, offered where it was right-clicked: its commands.
uint32_t ClipOptions(clip *root, HWND hwnd) {
  clip *currentchild = root->GetCurrentChild();
  if (!currentchild) return 0;
  const std::vector<std::pair<std::string, int>> options = {
      {"Duplicate", CMD_CLIP_DUPLICATE},
      {"Delete", CMD_CLIP_DELETE},
      {currentchild->GetAudioMute() ? "Unmute Audio" : "Mute Audio", CMD_CLIP_MUTE_AUDIO},
      {currentchild->GetVideoMute() ? "Unmute Video" : "Mute Video", CMD_CLIP_MUTE_VIDEO},
      {root->GetAudioMaster() == currentchild ? "Remove Audio Master" : "Make Audio Master",
       CMD_AUDIO_MASTER},
      {"Mute All Other Audio", CMD_MUTE_OTHERS},
      {"Set Locator", CMD_SET_LOCATOR},
  };
  const int command = vemo::PopAMenu(hwnd, options, currentchild->GetName());
  uint32_t r = 0;
  if (command) root->QueryCommand(hwnd, command, &r);
  return r;
}

}  // namespace

uint32_t clip::QAHandleArrOpts(HWND hwnd, uint32_t message, POINT pt, int keys) {
  const int length = GetSize();
  switch (message) {
    case WM_LBUTTONDOWN:
    case WM_RBUTTONDOWN: {
      const arrhit h = ArrHitTest(pt);
      if (h.part == ARR_NONE) return 0;
      if (h.part == ARR_RULER || h.part == ARR_TRACK) {
        if (message != WM_LBUTTONDOWN) return 0;
        if (h.part == ARR_RULER) dragmode = DRAG_SCRUB;
        return SetTime(std::clamp(h.time, 0, length)) | (h.part == ARR_RULER ? uint32_t(QA_CAPTURE) : 0u);
      }
      uint32_t r = QA_UPDATE;
      if (currentchild != h.child) {
        SelectCurrent(h.child);
        edittarget = EDIT_CLIP;
      }
      if (message == WM_RBUTTONDOWN) return r | ClipOptions(this, hwnd);
      dragclip = h.child;
      dragpos = h.child->GetPosition();
      dragsize = h.child->GetSize();
      dragoffset = h.child->GetOffset();
      dragtrack = h.child->GetTrack();
      dragmode = h.part == ARR_HEAD ? DRAG_HEAD : h.part == ARR_TAIL ? DRAG_TAIL : DRAG_MOVE;
      ArrSetDrag(pt.x, pt.x);
      BeginEdit(dragmode == DRAG_MOVE ? "Move" : "Trim", dragclip);
      return r | QA_CAPTURE;
    }
    case WM_MOUSEMOVE: {
      if (dragmode == DRAG_SCRUB) return SetTime(std::clamp(ArrTimeAt(pt.x), 0, length));
      if (dragmode == DRAG_NONE || !dragclip) {
        const arrhit h = ArrHitTest(pt);
        char tip[400] = "";
        if (h.child)
          std::snprintf(tip, sizeof tip, "%s: %.3f s to %.3f s, track %d", h.child->GetName(),
                        h.child->GetPosition() / 1000.0, h.child->ctEnd() / 1000.0, h.child->GetTrack() + 1);
        else if (h.part == ARR_RULER)
          std::snprintf(tip, sizeof tip, "%.3f s", h.time / 1000.0);
        // The host repaints on every move anyway; nothing to compose again.
        TipTheTool(tip, RECT{pt.x, pt.y, pt.x + 1, pt.y + 1});
        return 0;
      }
      clip *c = dragclip;
      dragnowx = pt.x;
      const int d = ArrDragDelta();
      const int before = c->GetPosition(), beforesize = c->GetSize(), beforetrack = c->GetTrack();
      if (dragmode == DRAG_MOVE) {
        c->SetPosition(
            std::max(0, mt.GetTimeSnapped(int(std::clamp<int64_t>(int64_t(dragpos) + d, 0, INT32_MAX)))));
        // Across tracks only onto free ground.
        int t = pt.y < arrarea.top ? 0 : (pt.y - arrarea.top) / std::max(1, int(bandheight));
        t = std::max(0, t);
        if (t != c->GetTrack() && ClipChildTrackCheck(c, t)) c->SetTrack(t);
      } else if (dragmode == DRAG_TAIL) {
        const int64_t end =
            mt.GetTimeSnapped(int(std::clamp<int64_t>(int64_t(dragpos) + dragsize + d, 0, INT32_MAX)));
        c->SetSize(int(std::max<int64_t>(1, end - c->GetPosition())));
      } else {
        // The head: the end and the material stay put while the start moves.
        const int64_t start = mt.GetTimeSnapped(int(std::clamp<int64_t>(int64_t(dragpos) + d, 0, INT32_MAX)));
        int64_t o = int64_t(dragoffset) + (start - dragpos);
        o = std::clamp<int64_t>(o, std::max<int64_t>(0, int64_t(dragoffset) - dragpos),
                                int64_t(dragoffset) + dragsize - 1);
        if (o != c->GetOffset()) c->SetOffset(int(o));
      }
      if (c->GetPosition() == before && c->GetSize() == beforesize && c->GetTrack() == beforetrack) return 0;
      dragchanged = true;
      c->SetCurrentTime(currenttime);
      ArrLayout(arrarea);
      return QA_CHANGED | QA_UPDATE;
    }
    case WM_LBUTTONUP: {
      if (dragmode == DRAG_NONE) return 0;
      const bool drag = dragmode != DRAG_SCRUB;
      dragmode = DRAG_NONE;
      dragclip = nullptr;
      if (drag) EndEdit(dragchanged);
      return QA_RELEASE | QA_UPDATE;
    }
    case WM_MOUSEWHEEL: {
      const int notches = WheelDelta(keys) / 120;
      if (!notches) return 0;
      if (keys & MK_CONTROL) return notches > 0 ? ArrZoomIn() : ArrZoomOut();
      if (keys & MK_SHIFT) return notches > 0 ? ArrBandIn() : ArrBandOut();
      const int span = visiblespan > 0 ? visiblespan : length;
      return ArrScroll(-notches * std::max(1, span / 10));
    }
    default:
      return 0;
  }
}
