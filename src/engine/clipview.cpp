// The root's part in the editing window: its three panes (preview, variable editor,
// arrangement view), the routing of mouse messages to them, the menu commands, the tool tip and
// the help topic. Every change goes through the edit log.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "core/dialogs.h"
#include "core/uipalette.h"
#include "effects/effect.h"
#include "engine/clip.h"
#include "engine/editcommands.h"
#include "engine/editlog.h"
#include "engine/project.h"
#include "media/dc.h"
#include "time/tfcboard.h"

namespace {

constexpr int kRulerHeight = 24;
constexpr int kEditorTitle = 24;

bool Inside(POINT p, RECT r) { return vemo::PointInRect(&p, &r) != 0; }

}  // namespace

// ---- Edit steps ----

void clip::BeginEdit(const char *what, clip *c) {
  dragchanged = false;
  if (editlog *log = GetEditLog()) {
    log->Begin(what);
    if (c) log->Changing(c);
  }
}

void clip::EndEdit(bool changed) {
  editlog *log = GetEditLog();
  if (!log) return;
  if (changed)
    log->End();
  else
    log->Cancel();
}

// ---- Panes ----

vemotime *clip::GetEditTarget() {
  clip *c = currentchild;
  if (!c) return nullptr;
  if (edittarget == EDIT_VIDEO_EFFECT && c->GetVideoEffect(c->GetCurrentVideoEffect()))
    return c->GetVideoEffect(c->GetCurrentVideoEffect());
  if (edittarget == EDIT_AUDIO_EFFECT && c->GetAudioEffect(c->currentaudioeffect))
    return c->GetAudioEffect(c->currentaudioeffect);
  return c;
}

bool clip::ClipHasPendingEdits() {
  if (tfmgr.IsChanged()) return true;
  for (int i = 0; i < videoeffectcount; ++i)
    if (videoeffects[i]->GetTimeFloatMgr().IsChanged()) return true;
  for (int i = 0; i < audioeffectcount; ++i)
    if (audioeffects[i]->GetTimeFloatMgr().IsChanged()) return true;
  for (int i = 0; i < childcount; ++i)
    if (children[i]->ClipHasPendingEdits()) return true;
  return false;
}

RECT clip::Layout(RECT rc) {
  if (parentclip || !arrangement) return vemotime::Layout(rc);
  RECT top = rc;
  RECT bottom = SplitBottom(&top, std::max(RCHIG(rc) * 45 / 100, 3 * kRulerHeight));
  bottom.top += 1;
  trackheadrect = SplitLeft(&bottom, kTrackHead);
  rulerrect = SplitTop(&bottom, kRulerHeight);
  arrarea = bottom;
  const int pw = outputrect.bottom > 0 ? int(int64_t(RCHIG(top)) * outputrect.right / outputrect.bottom) : 0;
  previewrect = SplitLeft(&top, std::min(pw, RCWID(top) * 3 / 5));
  top.left += 1;
  editorrect = top;
  ClipResetArrangeSlider();
  ArrLayout(arrarea);
  if (vemotime *t = GetEditTarget()) {
    RECT body = editorrect;
    SplitTop(&body, kEditorTitle);
    t->GetTimeFloatMgr().SetViewingRange(currentchild->GetOffset(),
                                         currentchild->GetOffset() + currentchild->GetSize());
    t->tfLayout(body);
  }
  return rc;
}

int clip::Draw(HDC hdc, RECT rc, int flags) {
  if (parentclip || !arrangement || !hdc) return vemotime::Draw(hdc, rc, flags);
  DrawRectangle(hdc, rc, ui::kLine);
  // The composite, scaled into its pane with its shape kept.
  DrawRectangle(hdc, previewrect, RGB(0, 0, 0));
  KORSurface *picture = GetDestinationSurface();
  surf locked{};
  if (picture && surface::SurfaceDataLock(picture, &locked)) {
    dc source(reinterpret_cast<pix32 *>(locked.bits), picture->width, picture->height, locked.pitch);
    const int w = RCWID(previewrect), h = RCHIG(previewrect);
    int dw = w, dh = picture->width > 0 ? int(int64_t(w) * picture->height / picture->width) : 0;
    if (dh > h) {
      dh = h;
      dw = picture->height > 0 ? int(int64_t(h) * picture->width / picture->height) : 0;
    }
    const int mode = hdc->SetStretchBltMode(HALFTONE);
    hdc->StretchBlt(previewrect.left + (w - dw) / 2, previewrect.top + (h - dh) / 2, dw, dh, &source, 0, 0,
                    picture->width, picture->height);
    hdc->SetStretchBltMode(mode);
    surface::SurfaceDataUnlock(&locked);
  }
  // The editor: what it shows, then the variables.
  RECT title = editorrect;
  RECT body = editorrect;
  title = SplitTop(&body, kEditorTitle);
  DrawRectangle(hdc, title, ui::kPanel);
  const font before = VemoSelectFont(hdc, ui::kFont, true);
  std::string what = "No clip selected";
  if (currentchild) {
    what = currentchild->GetName()[0] ? currentchild->GetName() : "(clip)";
    vemotime *t = GetEditTarget();
    if (t != currentchild && t) {
      effect *fx = static_cast<effect *>(t);
      what += std::string("  \xE2\x80\xBA  ") + EffectName(fx->GetID());
      if (fx->GetTimeFloat(519) < 0.5)
        what += std::string(" (") + effect::SwitchText(519, false) + ")";
      else if (fx->GetTimeFloat(520) < 0.5)
        what += std::string(" (") + effect::SwitchText(520, false) + ")";
    }
  }
  RECT tt = Reduce(title, 3);
  tt.left += 6;
  tt.right -= 6;
  editortitle.UISetStyle(UISTYLE_BOLD);
  editortitle.UISetText(what.c_str());
  editortitle.Draw(hdc, tt, flags);
  // The clip's effect chain, in the order it runs.
  if (currentchild && currentchild->videoeffectcount + currentchild->audioeffectcount > 0) {
    std::string chain;
    for (int i = 0; i < currentchild->videoeffectcount; ++i)
      chain += (chain.empty() ? "" : "  \xC2\xB7  ") +
               std::string(EffectName(currentchild->videoeffects[i]->GetID()));
    for (int i = 0; i < currentchild->audioeffectcount; ++i)
      chain += (chain.empty() ? "" : "  \xC2\xB7  ") +
               std::string(EffectName(currentchild->audioeffects[i]->GetID()));
    VemoSelectFont(hdc, ui::kFont - 1);
    DrawTextOnly(hdc, chain.c_str(), tt, ui::kTextDim, DT_RIGHT | DT_VCENTER | DT_SINGLELINE);
  }
  hdc->SelectFont(before);
  if (vemotime *t = GetEditTarget()) {
    t->tfDraw(hdc, body, flags);
  } else {
    DrawRectangle(hdc, body, ui::kWindow);
    VemoSelectFont(hdc, ui::kFont);
    DrawTextOnly(hdc,
                 childcount
                     ? "Click a clip in the arrangement to edit its variables and effects."
                     : "Import media (Ctrl+I) or add a text (Ctrl+Shift+T) or a gradient (Ctrl+Shift+G).",
                 body, ui::kTextDim, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
    hdc->SelectFont(before);
  }
  ArrDraw(hdc);
  return 1;
}

uint32_t clip::EditorAction(HWND hwnd, uint32_t message, POINT pt, int keys) {
  vemotime *t = GetEditTarget();
  if (!t) return 0;
  // A step of the edit log starts with a press, or with the Enter that closes a typed value.
  const bool press = message == WM_LBUTTONDOWN || message == WM_RBUTTONDOWN || message == WM_LBUTTONDBLCLK ||
                     (message == WM_KEYDOWN && keys == VK_RETURN);
  if (press && dragmode == DRAG_NONE) BeginEdit("Edit Variable", currentchild);
  const uint32_t r = t->tfQueryAction(hwnd, message, pt, keys);
  if (r & QA_CHANGED) dragchanged = true;
  if (press && dragmode == DRAG_NONE) {
    if (r & QA_CAPTURE)
      dragmode = DRAG_EDITOR;
    else
      EndEdit(dragchanged);
  } else if (dragmode == DRAG_EDITOR && (r & QA_RELEASE)) {
    dragmode = DRAG_NONE;
    EndEdit(dragchanged);
  }
  return r;
}

uint32_t clip::QueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) {
  if (parentclip || !arrangement) return vemotime::QueryAction(hwnd, message, pt, keys);
  if (message == WM_MOUSEMOVE && dragmode == DRAG_NONE) TipTheTool("", RECT{});
  uint32_t r = 0;
  // A press away from the editor ends any typing there; a move away drops its hover looks.
  if (!Inside(pt, editorrect) && dragmode == DRAG_NONE) {
    if (vemotime *t = GetEditTarget()) {
      if (message == WM_LBUTTONDOWN || message == WM_RBUTTONDOWN) r = t->GetTimeFloatMgr().StopTyping();
      if (message == WM_MOUSEMOVE) r = t->GetTimeFloatMgr().LeaveItems();
    }
  }
  if (dragmode == DRAG_EDITOR) {
    r |= EditorAction(hwnd, message, pt, keys);
  } else if (message == WM_KEYDOWN || message == WM_CHAR) {
    if (dragmode == DRAG_NONE) r |= EditorAction(hwnd, message, pt, keys);
  } else if (dragmode != DRAG_NONE) {
    r |= QAHandleArrOpts(hwnd, message, pt, keys);
  } else if (Inside(pt, rulerrect) || Inside(pt, arrarea)) {
    r |= QAHandleArrOpts(hwnd, message, pt, keys);
  } else if (Inside(pt, editorrect)) {
    r |= EditorAction(hwnd, message, pt, keys);
  } else if (Inside(pt, previewrect) && message == WM_MOUSEWHEEL) {
    // The wheel over the picture steps through the frames.
    const int notches = int16_t(uint32_t(keys) >> 16) / 120;
    const int f = FrameAt(currenttime, fps) - notches;
    r |= SetTime(std::clamp(FrameStart(std::max(0, f), fps), 0, GetSize()));
  }
  return ExitQueryAction(r);
}

uint32_t clip::ExitQueryAction(uint32_t flags) {
  flags = vemotime::ExitQueryAction(flags);
  if (flags & QA_CHANGED) Dirty();
  return flags;
}

bool clip::TipTheTool(const char *text, RECT rc) {
  if (parentclip) return vemotime::TipTheTool(text, rc);
  tiptext = text ? text : "";
  tiprect = rc;
  return true;
}

bool clip::TipTheTool(int string_id, RECT rc) { return TipTheTool(GetStringPtr(string_id), rc); }

uint32_t clip::ShowHelp(int topic) {
  if (parentclip) return vemotime::ShowHelp(topic);
  helptopic = topic;
  return uint32_t(topic);
}

std::string clip::HelpText(int topic) {
  const char *fx = effect::EffectHelpText(topic);
  if (fx && *fx) return fx;
  return GetStringPtr(topic);
}

// ---- Commands ----

uint32_t clip::EffectCommand(int command) {
  clip *c = currentchild;
  if (!c) return 0;
  editlog *log = GetEditLog();
  const bool video = edittarget != EDIT_AUDIO_EFFECT;
  int &current = video ? c->currentvideoeffect : c->currentaudioeffect;
  const int count = video ? c->videoeffectcount : c->audioeffectcount;
  if (command >= CMD_VIDEO_EFFECT_ADD && command < CMD_AUDIO_EFFECT_ADD + 1000) {
    const bool v = command < CMD_AUDIO_EFFECT_ADD;
    const int type = command - (v ? CMD_VIDEO_EFFECT_ADD : CMD_AUDIO_EFFECT_ADD);
    editstep step(this, "Add Effect");
    if (log) log->Changing(c);
    ClipCriticalStart();
    const bool made = v ? c->VideoEffectAdd(type) != nullptr : c->AudioEffectAdd(type) != nullptr;
    ClipCriticalEnd();
    if (!made) return 0;
    edittarget = v ? EDIT_VIDEO_EFFECT : EDIT_AUDIO_EFFECT;
    return QA_CHANGED | QA_UPDATE;
  }
  if (command >= CMD_CURRENT_VIDEO_EFFECT && command < CMD_VIDEO_FORMAT) {
    const bool v = command < CMD_CURRENT_AUDIO_EFFECT;
    const int i = command - (v ? CMD_CURRENT_VIDEO_EFFECT : CMD_CURRENT_AUDIO_EFFECT);
    if (i >= (v ? c->videoeffectcount : c->audioeffectcount)) return 0;
    (v ? c->currentvideoeffect : c->currentaudioeffect) = i;
    edittarget = v ? EDIT_VIDEO_EFFECT : EDIT_AUDIO_EFFECT;
    return QA_UPDATE;
  }
  if (command == CMD_EFFECT_CLEAR_ALL) {
    if (!c->videoeffectcount && !c->audioeffectcount) return 0;
    editstep step(this, "Clear All");
    if (log) log->Changing(c);
    ClipCriticalStart();
    while (c->VideoEffectDelete(0)) {
    }
    while (c->AudioEffectDelete(0)) {
    }
    ClipCriticalEnd();
    edittarget = EDIT_CLIP;
    return QA_CHANGED | QA_UPDATE;
  }
  if (edittarget == EDIT_CLIP || current < 0 || current >= count) return 0;
  effect **list =
      video ? reinterpret_cast<effect **>(c->videoeffects) : reinterpret_cast<effect **>(c->audioeffects);
  switch (command) {
    case CMD_EFFECT_UP:
    case CMD_EFFECT_DOWN: {
      const int to = current + (command == CMD_EFFECT_UP ? -1 : 1);
      if (to < 0 || to >= count) return 0;
      editstep step(this, "Move Effect");
      if (log) log->Changing(c);
      std::swap(list[current], list[to]);
      current = to;
      return QA_CHANGED | QA_UPDATE;
    }
    case CMD_EFFECT_TOGGLE:
    case CMD_EFFECT_ENABLE: {
      const int id = command == CMD_EFFECT_TOGGLE ? 520 : 519;
      effect *fx = list[current];
      editstep step(this, command == CMD_EFFECT_TOGGLE ? "Toggle Effect" : "Enable Effect");
      if (log) log->Changing(c);
      fx->SetTimeFloat(id, fx->GetTimeFloat(id) < 0.5 ? 1.0 : 0.0);
      return QA_CHANGED | QA_UPDATE;
    }
    case CMD_EFFECT_DELETE: {
      editstep step(this, "Delete Effect");
      if (log) log->Changing(c);
      ClipCriticalStart();
      video ? c->VideoEffectDelete(current) : c->AudioEffectDelete(current);
      ClipCriticalEnd();
      if ((video ? c->videoeffectcount : c->audioeffectcount) == 0) edittarget = EDIT_CLIP;
      return QA_CHANGED | QA_UPDATE;
    }
    default:
      return 0;
  }
}

bool clip::QueryCommand(HWND hwnd, int command, uint32_t *result) {
  if (parentclip || !arrangement) return vemotime::QueryCommand(hwnd, command, result);
  uint32_t r = 0;
  bool handled = true;
  editlog *log = GetEditLog();
  clip *c = currentchild;
  vemotime *target = GetEditTarget();
  timefloat *curve = target ? target->GetTimeFloatMgr().GetEditCurve() : nullptr;
  // A change of the current child's variables: one step about that child.
  auto variables = [&](const char *what, auto &&change) {
    if (!c || !target) return;
    editstep step(this, what);
    if (log) log->Changing(c);
    r = change();
    if (r) r |= QA_CHANGED | QA_UPDATE;
  };
  const int frame = std::max(1, 1000 / std::max(1, int(fps)));
  switch (command) {
    case CMD_ARR_ZOOM_IN:
      r = ArrZoomIn();
      break;
    case CMD_ARR_ZOOM_OUT:
      r = ArrZoomOut();
      break;
    case CMD_ARR_ZOOM_ALL:
      r = ArrZoomAll();
      break;
    case CMD_ARR_BAND_IN:
      r = ArrBandIn();
      break;
    case CMD_ARR_BAND_OUT:
      r = ArrBandOut();
      break;
    case CMD_ARR_BAND_ALL:
      r = ArrBandAll();
      break;
    case CMD_ARR_SCROLL_LEFT:
      r = ArrScroll(-std::max(1, GetVisibleSpan() / 10));
      break;
    case CMD_ARR_SCROLL_RIGHT:
      r = ArrScroll(std::max(1, GetVisibleSpan() / 10));
      break;
    case CMD_CLIP_DELETE:
      r = ArrangeChildDelete();
      if (!currentchild) edittarget = EDIT_CLIP;
      break;
    case CMD_CLIP_DUPLICATE: {
      if (!c) break;
      clip *d = ClipDuplicate(c);
      if (!d) break;
      editstep step(this, "Duplicate");
      // Right after the original on its track when there is room, else on a new track.
      d->SetPosition(c->ctEnd());
      d->SetTrack(c->GetTrack());
      if (!ClipChildTrackCheck(d, d->GetTrack())) d->SetTrack(ClipTrackCount());
      std::string name = std::string(c->GetName()) + " copy";
      d->SetName(name.c_str());
      ClipCriticalStart();
      const bool in = ClipInsertChild(d);
      ClipCriticalEnd();
      if (!in) {
        delete d;
        break;
      }
      d->SetCurrentTime(currenttime);
      edittarget = EDIT_CLIP;
      r = QA_CHANGED | QA_UPDATE;
      break;
    }
    case CMD_ADD_TEXT:
    case CMD_ADD_GRADIENT: {
      const bool text = command == CMD_ADD_TEXT;
      std::string words = GetStringPtr(CLIP_SRC_TEXT);
      if (text && !Dialogs().AskText(hwnd, GetStringPtr(CLIP_SRC_TEXT), "The text:", words)) break;
      editstep step(this, text ? "Add Text" : "Add Gradient");
      ClipCriticalStart();
      clip *g = ClipAddGenerator(this, text ? CLIP_SRC_TEXT : CLIP_SRC_GRADIENT,
                                 std::min(currenttime, GetSize() - 1),
                                 std::max(1, std::min(3000, GetSize() - currenttime)), ClipTrackCount());
      if (g && text) g->ClipSetText(words.c_str());
      ClipCriticalEnd();
      if (!g) break;
      g->SetCurrentTime(currenttime);
      edittarget = EDIT_CLIP;
      r = QA_CHANGED | QA_UPDATE;
      break;
    }
    case CMD_CLIP_NEXT:
    case CMD_CLIP_PREVIOUS: {
      if (!childcount) break;
      int i = 0;
      while (i < childcount && children[i] != c) ++i;
      i = i == childcount ? 0 : (i + (command == CMD_CLIP_NEXT ? 1 : childcount - 1)) % childcount;
      SelectCurrent(children[i]);
      edittarget = EDIT_CLIP;
      r = QA_UPDATE;
      break;
    }
    case CMD_CLIP_MUTE_AUDIO:
    case CMD_CLIP_MUTE_VIDEO: {
      if (!c) break;
      editstep step(this, command == CMD_CLIP_MUTE_AUDIO ? "Mute Audio" : "Mute Video");
      if (log) log->Changing(c);
      if (command == CMD_CLIP_MUTE_AUDIO)
        c->SetAudioMute(!c->GetAudioMute());
      else
        c->SetVideoMute(!c->GetVideoMute());
      r = QA_CHANGED | QA_UPDATE;
      break;
    }
    case CMD_AUDIO_MASTER: {
      if (!c) break;
      editstep step(this, audiomaster == c ? "Remove Audio Master" : "Make Audio Master");
      if (log) log->Changing(this);
      SetAudioMaster(audiomaster == c ? nullptr : c);
      r = QA_CHANGED | QA_UPDATE;
      break;
    }
    case CMD_MUTE_OTHERS: {
      if (!c) break;
      editstep step(this, "Mute All Other Audio");
      for (int i = 0; i < childcount; ++i) {
        if (children[i] == c || children[i]->GetAudioMute()) continue;
        if (log) log->Changing(children[i]);
        children[i]->SetAudioMute(true);
        r = QA_CHANGED | QA_UPDATE;
      }
      break;
    }
    case CMD_TIME_FRAME_NEXT:
      r = SetTime(std::min(GetSize(), FrameStart(FrameAt(currenttime, fps) + 1, fps)));
      break;
    case CMD_TIME_FRAME_PREVIOUS:
      r = SetTime(FrameStart(std::max(0, FrameAt(currenttime, fps) - 1), fps));
      break;
    case CMD_TIME_START:
      r = SetTime(0);
      break;
    case CMD_TIME_END:
      r = SetTime(std::max(0, GetSize() - frame));
      break;
    case CMD_SET_LOCATOR:
      locator = currenttime;
      r = QA_UPDATE;
      break;
    case CMD_MAKE_START_HERE:
    case CMD_MAKE_END_HERE: {
      editstep step(this, command == CMD_MAKE_START_HERE ? "Make Start Time" : "Make End Time");
      if (log) log->Changing(this);
      if (command == CMD_MAKE_START_HERE)
        makestart = std::min(currenttime, makeend > 0 ? makeend - 1 : currenttime);
      else
        makeend = std::max(currenttime, makestart + 1);
      r = QA_CHANGED | QA_UPDATE;
      break;
    }
    case CMD_QUANTIZE: {
      const int next = PopResStrings(hwnd, mtime::QUANTIZATION_IDS, GetStringPtr(mtime::ID_QUANTIZE));
      if (!next || next == int(mt.GetQuantize())) break;
      editstep step(this, "Quantize");
      if (log) log->Changing(this);
      mt.SetQuantize(next);
      PropagateMTimeParms();
      r = QA_CHANGED | QA_UPDATE;
      break;
    }
    case CMD_COMMIT:
      variables("Commit", [&] { return c->ClipHasPendingEdits() ? (c->Commit(), QA_UPDATE) : 0u; });
      break;
    case CMD_REVERT:
      variables("Revert", [&] { return c->ClipHasPendingEdits() ? (c->Revert(), QA_UPDATE) : 0u; });
      break;
    case CMD_GROUP_NEXT:
      if (target) r = target->GetTimeFloatMgr().NextGroup();
      break;
    case CMD_VARIABLE_NEXT:
      if (target) r = target->GetTimeFloatMgr().NextVariable();
      break;
    case CMD_KEY_DELETE:
      if (curve) variables("Delete Key", [&] { return target->DeleteTimeFloatEntry(curve->GetID()); });
      break;
    case CMD_KEY_NEXT:
      if (curve) r = target->NextTimeFloatTime(curve->GetID());
      break;
    case CMD_KEY_PREVIOUS:
      if (curve) r = target->PrevTimeFloatTime(curve->GetID());
      break;
    case CMD_RELEASE_FORWARD:
      if (curve)
        variables("Forward Release", [&] { return curve->ProcessReleaseForward(kReleaseTime) ? 1u : 0u; });
      break;
    case CMD_RELEASE_BACKWARD:
      if (curve)
        variables("Backward Release", [&] { return curve->ProcessReleaseBackward(kReleaseTime) ? 1u : 0u; });
      break;
    case CMD_RELEASE_BIDIRECTIONAL:
      if (curve)
        variables("Bidirectional Release",
                  [&] { return curve->ProcessReleaseBidirectional(kReleaseTime) ? 1u : 0u; });
      break;
    case CMD_INVERT:
      if (curve) variables("Invert", [&] { return curve->ProcessInvert() ? 1u : 0u; });
      break;
    case CMD_NORMALIZE:
      if (curve) variables("Normalize", [&] { return curve->ProcessNormalize() ? 1u : 0u; });
      break;
    case CMD_VARIABLE_COPY:
      if (curve && tfcboard::Global().CopyFrom(curve)) r = QA_UPDATE;
      break;
    case CMD_VARIABLE_PASTE:
      if (curve && tfcboard::Global().Check(curve))
        variables("Put Variable To", [&] { return tfcboard::Global().PasteTo(curve) ? 1u : 0u; });
      break;
    case CMD_CHOOSE_COLOUR: {
      if (!target) break;
      timefloatmgr &m = target->GetTimeFloatMgr();
      const int channels[3] = {fxid::IDS_RED, fxid::IDS_GREEN, fxid::IDS_BLUE};
      const int t = m.GetCurrentTime();
      uint8_t bytes[3];
      bool all = true;
      for (int i = 0; i < 3; ++i) {
        double v = 0, lo = 0, hi = 0;
        all = all && m.timefloatget(channels[i], t, &v, &lo, &hi);
        bytes[i] = d2uc(v);
      }
      COLORREF colour = RGB(bytes[0], bytes[1], bytes[2]);
      if (!all || !SelectColor(hwnd, &colour, "Colour")) break;
      variables("Colour", [&] {
        for (int i = 0; i < 3; ++i) {
          // The byte again when the effects read it back (v * 255 truncated), not one below.
          const uint8_t b = uint8_t((colour >> (8 * i)) & 0xFF);
          double v = uc2d(b);
          if (d2uc(v) != b) v = std::nextafter(v, 2.0);
          m.timefloatset(channels[i], t, v);
        }
        return 1u;
      });
      break;
    }
    case CMD_EDIT_CLIP:
      edittarget = EDIT_CLIP;
      r = QA_UPDATE;
      break;
    default:
      if (command >= CMD_VIDEO_FORMAT && command < CMD_VIDEO_FPS) {
        editstep step(this, "Picture Size");
        if (log) log->Changing(this);
        ClipCriticalStart();
        if (ChangeVideoFormat(command - CMD_VIDEO_FORMAT)) r = QA_CHANGED | QA_UPDATE;
        ClipCriticalEnd();
      } else if (command >= CMD_SHOW_VARIABLE && command < CMD_RANGE_END) {
        timefloatmgr *mgr = target ? &target->GetTimeFloatMgr() : nullptr;
        timefloat *tf = mgr ? mgr->GetTimeFloatPointer(command - CMD_SHOW_VARIABLE) : nullptr;
        if (tf) {
          mgr->SetCurrentGroup(tf->GetGroupID());
          mgr->SetEditVariable(tf->Header().id);
          r = QA_UPDATE;
        }
      } else if (command >= CMD_VIDEO_FPS && command < CMD_SHOW_VARIABLE) {
        editstep step(this, "Frame Rate");
        if (log) log->Changing(this);
        if (ChangeVideoFps(command - CMD_VIDEO_FPS)) r = QA_CHANGED | QA_UPDATE;
      } else if (command >= CMD_EFFECT_CLEAR_ALL && command < CMD_VIDEO_FORMAT) {
        r = EffectCommand(command);
      } else {
        handled = false;
      }
  }
  r = ExitQueryAction(r);
  if (result) *result = r;
  return handled;
}
