// The curve and variable editors: a variable's keys drawn over its viewing range and edited
// with the mouse; the variable manager's group header with its buttons, the list of the group's
// variables and the value field and slider of the one shown.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "core/dialogs.h"
#include "core/uipalette.h"
#include "media/dc.h"
#include "time/timefloatmgr.h"

namespace {

bool Inside(POINT p, RECT r) { return vemo::PointInRect(&p, &r) != 0; }

bool IsGroup(const timefloat &tf) { return (tf.GetKind() & TF_KIND_GROUP) == TF_KIND_GROUP; }

// A curve's own colour when it has one (red, green or blue channels), else the default.
COLORREF CurveColour(const timefloat &tf) {
  const COLORREF c = tf.GetColor1();
  return c == 0 || c == 0xFFFFFFFF
             ? ui::kAccent
             : RGB(std::min(255, int(c & 0xFF) * 2), std::min(255, int((c >> 8) & 0xFF) * 2),
                   std::min(255, int((c >> 16) & 0xFF) * 2));
}

}  // namespace

// ---- timefloat: one curve ----

int timefloat::KeyX(int t) const { return MapXInRect(t, viewfrom, viewto, drawrect); }
int timefloat::KeyY(double v) const { return MapYInRect(v, data.minimum, data.maximum, drawrect); }
int timefloat::TimeAtX(int x) const { return int(std::lround(Map2RectX(x, viewfrom, viewto, drawrect))); }
double timefloat::ValueAtY(int y) const { return Map2RectY(y, data.minimum, data.maximum, drawrect); }

int timefloat::KeyAt(POINT p) const {
  for (int i = data.count - 1; i >= 0; --i) {
    if (std::abs(p.x - KeyX(keys[i].time)) <= kKeyHit &&
        std::abs(p.y - KeyY(BoundedValue(keys[i].value))) <= kKeyHit)
      return i;
  }
  return -1;
}

RECT timefloat::Layout(RECT rc) {
  drawrect = rc;
  return rc;
}

int timefloat::Draw(HDC hdc, RECT rc, int) {
  if (!hdc || !checkrec(rc)) return 0;
  drawrect = rc;
  const RECT saved = hdc->GetClipRect();
  hdc->SetClipRect(And(saved, Reduce(rc, -kKeyHit - 1)));
  DrawRectangle(hdc, rc, ui::kWindow, ui::kLine);
  // Grid: the bounds, the middle and zero when it lies between them.
  const font before = VemoSelectFont(hdc, ui::kFont - 2);
  const double mid = (data.minimum + data.maximum) / 2;
  for (double v : {data.maximum, mid, data.minimum, 0.0}) {
    if (v < data.minimum || v > data.maximum) continue;
    const int y = KeyY(v);
    hdc->FillRect(RECT{rc.left, y, rc.right, y + 1}, ui::kLine);
    char label[32];
    std::snprintf(label, sizeof label, "%g", v);
    DrawTextOnly(hdc, label, RECT{rc.left + 3, std::min<int>(y + 1, rc.bottom - 14), rc.left + 80, rc.bottom},
                 ui::kTextDim, DT_LEFT | DT_TOP | DT_SINGLELINE);
  }
  // The curve, one sample per column.
  hdc->SelectPen(pen{CurveColour(*this), 2, false});
  for (int x = rc.left; x < rc.right; ++x) {
    const int y = KeyY(GetValue(TimeAtX(x)));
    if (x == rc.left)
      hdc->MoveTo(x, y);
    else
      hdc->LineTo(x, y);
  }
  // The current time.
  const int cx = KeyX(currenttime);
  if (currenttime >= viewfrom && currenttime <= viewto)
    hdc->FillRect(RECT{cx, rc.top, cx + 1, rc.bottom}, ui::kCursor);
  // Keys: committed, modified and added ones in their own colours.
  for (int i = 0; i < data.count; ++i) {
    const COLORREF c = keys[i].state == TF_KEY_ADDED      ? ui::kKeyAdded
                       : keys[i].state == TF_KEY_MODIFIED ? ui::kKeyModified
                                                          : ui::kKeyCommitted;
    const POINT k{KeyX(keys[i].time), KeyY(BoundedValue(keys[i].value))};
    DrawRectangle(hdc, RECT{k.x - 3, k.y - 3, k.x + 4, k.y + 4}, c, ui::kWindow);
  }
  hdc->SelectFont(before);
  hdc->SetClipRect(saved);
  return 1;
}

uint32_t timefloat::QueryAction(HWND, uint32_t message, POINT pt, int) {
  switch (message) {
    case WM_LBUTTONDOWN: {
      if (!Inside(pt, Reduce(drawrect, -kKeyHit))) return 0;
      const int k = KeyAt(pt);
      dragging = true;
      if (k >= 0) {
        dragtime = keys[k].time;
        return QA_CAPTURE | QA_UPDATE;
      }
      dragtime = std::clamp(TimeAtX(pt.x), std::min(viewfrom, viewto), std::max(viewfrom, viewto));
      SetValue(dragtime, ValueAtY(pt.y));
      if (data.flags & TF_FLAG_SINGLE) dragtime = keys[0].time;
      return QA_CAPTURE | QA_CHANGED | QA_UPDATE;
    }
    case WM_MOUSEMOVE: {
      if (!dragging) {
        const int k = KeyAt(pt);
        if (k < 0) return 0;
        char tip[96];
        std::snprintf(tip, sizeof tip, "%s: %.3f s, %g", text.c_str(), keys[k].time / 1000.0, keys[k].value);
        TipTheTool(tip, RECT{pt.x, pt.y, pt.x + 1, pt.y + 1});
        return 0;
      }
      int t = std::clamp(TimeAtX(pt.x), std::min(viewfrom, viewto), std::max(viewfrom, viewto));
      const double v = ValueAtY(pt.y);
      int i = 0;
      const bool found = data.count > 0 && GetIndex(dragtime, &i);
      if (!found) return 0;
      // A key moves in time only between its neighbours, so keys never pass each other.
      if (data.flags & TF_FLAG_SINGLE) t = dragtime;
      if (i > 0) t = std::max(t, keys[i - 1].time + 1);
      if (i < data.count - 1) t = std::min(t, keys[i + 1].time - 1);
      if (keys[i].state == TF_KEY_COMMITTED) {
        keys[i].state = TF_KEY_MODIFIED;
        keys[i].saved = keys[i].value;
      }
      keys[i].time = t;
      keys[i].value = v;
      changed = 1;
      dragtime = t;
      return QA_CHANGED | QA_UPDATE;
    }
    case WM_LBUTTONUP:
      if (!dragging) return 0;
      dragging = false;
      return QA_RELEASE | QA_UPDATE;
    case WM_RBUTTONDOWN: {
      const int k = KeyAt(pt);
      if (k < 0) return 0;
      KillValue(keys[k].time);
      return QA_CHANGED | QA_UPDATE;
    }
    default:
      return 0;
  }
}

// ---- timefloatmgr: the variable editor ----

int timefloatmgr::GroupMembers(int *out, int capacity) {
  int n = 0;
  const int header = FindCurrentGroup();
  const int first = header < 0 ? 0 : header + 1;
  for (int i = first; i < data.count && n < capacity; ++i) {
    if (IsGroup(vars[i])) {
      if (header >= 0) break;
      continue;
    }
    out[n++] = i;
  }
  return n;
}

int timefloatmgr::GetEditVariable() {
  int members[kMaxVariables];
  const int n = GroupMembers(members, kMaxVariables);
  for (int i = 0; i < n; ++i)
    if (vars[members[i]].Header().id == editvar) return editvar;
  editvar = n ? vars[members[0]].Header().id : 0;
  return editvar;
}

uint32_t timefloatmgr::NextGroup() {
  int first = 0, next = 0;
  bool seen = false;
  FindCurrentGroup();
  for (int i = 0; i < data.count; ++i) {
    if (!IsGroup(vars[i])) continue;
    const int id = vars[i].Header().id;
    if (!first) first = id;
    if (seen && !next) next = id;
    if (id == selectedgroup) seen = true;
  }
  const int g = next ? next : first;
  if (!g || g == currentgroup) return 0;
  currentgroup = g;
  editvar = 0;
  return QA_UPDATE;
}

uint32_t timefloatmgr::NextVariable() {
  int members[kMaxVariables];
  const int n = GroupMembers(members, kMaxVariables);
  if (n < 2) return 0;
  const int current = GetEditVariable();
  for (int i = 0; i < n; ++i)
    if (vars[members[i]].Header().id == current) {
      editvar = vars[members[(i + 1) % n]].Header().id;
      return QA_UPDATE;
    }
  return 0;
}

RECT timefloatmgr::Layout(RECT rc) {
  RECT r = rc;
  headerrect = SplitTop(&r, ui::kRowHeight + 4);
  // The header: the group's title, then the key buttons and the way to the other groups.
  RECT h = Reduce(headerrect, 2);
  groupbutton.Layout(SplitRight(&h, std::min(210, RCWID(h) / 2)));
  SplitRight(&h, 6);
  nextbutton.Layout(SplitRight(&h, 24));
  SplitRight(&h, 2);
  prevbutton.Layout(SplitRight(&h, 24));
  SplitRight(&h, 6);
  parametersbutton.Layout(h);
  listrect = SplitLeft(&r, std::clamp(RCWID(r) * 2 / 5, 120, 260));
  // Under the list: the shown variable's value, typed or slid.
  RECT value = Reduce(SplitBottom(&listrect, ui::kRowHeight + 10), 4);
  value.right -= 1;
  valuefield.Layout(SplitLeft(&value, std::min(80, RCWID(value) / 2)));
  SplitLeft(&value, 8);
  valueslider.Layout(value);
  curverect = Reduce(r, 8);
  if (timefloat *tf = GetEditCurve()) {
    tf->SetViewingRange(viewfrom, viewto);
    tf->Layout(curverect);
  }
  return rc;
}

int timefloatmgr::Draw(HDC hdc, RECT rc, int flags) {
  if (!hdc) return 0;
  DrawRectangle(hdc, rc, ui::kWindow);
  DrawRectangle(hdc, headerrect, ui::kPanel);
  const font before = VemoSelectFont(hdc, ui::kFont);
  FindCurrentGroup();
  const timefloat *group = GetTimeFloatPointer(selectedgroup);
  parametersbutton.UISetName(group ? group->GetText() : GetStringPtr(ID_PARAMETERS_BUTTON));
  for (UIItem *b : {static_cast<UIItem *>(&parametersbutton), static_cast<UIItem *>(&prevbutton),
                    static_cast<UIItem *>(&nextbutton), static_cast<UIItem *>(&groupbutton)})
    b->Draw(hdc, b->UIGetRect(), flags);

  VemoSelectFont(hdc, ui::kFont);
  int members[kMaxVariables];
  const int n = GroupMembers(members, kMaxVariables);
  const int shown = GetEditVariable();
  RECT row{listrect.left, listrect.top + 2, listrect.right - 1, listrect.top + 2 + ui::kRowHeight};
  for (int i = 0; i < n && row.bottom <= listrect.bottom; ++i) {
    timefloat &tf = vars[members[i]];
    const bool current = tf.Header().id == shown;
    if (current) DrawRectangle(hdc, row, ui::kClipSelected);
    RECT t = Reduce(row, 2);
    t.left += 6;
    if (tf.HasValues())
      hdc->FillRect(RECT{row.left + 2, row.top + 8, row.left + 5, row.top + 11}, ui::kKeyModified);
    DrawTextOnly(hdc, tf.GetText(), t, current ? ui::kText : ui::kTextDim,
                 DT_LEFT | DT_VCENTER | DT_SINGLELINE);
    char value[32];
    std::snprintf(value, sizeof value, "%.3f", tf.GetValue(currenttime));
    DrawTextOnly(hdc, value, t, ui::kText, DT_RIGHT | DT_VCENTER | DT_SINGLELINE);
    row.top += ui::kRowHeight;
    row.bottom += ui::kRowHeight;
  }
  // The value row follows the curve shown, except while it is being typed into.
  timefloat *shown_tf = GetEditCurve();
  const RECT valuerow{listrect.left, listrect.bottom, listrect.right, valuefield.UIGetRect().bottom + 4};
  hdc->FillRect(RECT{valuerow.left, valuerow.top, valuerow.right, valuerow.top + 1}, ui::kLine);
  const UIItemState idle = shown_tf ? UIS_NORMAL : UIS_DISABLED;
  if (!valuefield.UIIsEditing()) {
    char value[32] = "";
    if (shown_tf) std::snprintf(value, sizeof value, "%.3f", shown_tf->GetValue(currenttime));
    valuefield.UISetText(value);
    if ((valuefield.UIGetState() == UIS_DISABLED) != !shown_tf) valuefield.UISetState(idle);
  }
  if (shown_tf)
    valueslider.UISetMinCurMax(shown_tf->GetMinimum(), shown_tf->GetValue(currenttime), shown_tf->GetMaximum());
  if ((valueslider.UIGetState() == UIS_DISABLED) != !shown_tf) valueslider.UISetState(idle);
  valuefield.Draw(hdc, valuefield.UIGetRect(), flags);
  valueslider.Draw(hdc, valueslider.UIGetRect(), flags);
  hdc->FillRect(RECT{listrect.right - 1, listrect.top, listrect.right, valuerow.bottom}, ui::kLine);
  hdc->SelectFont(before);
  if (timefloat *tf = GetEditCurve()) {
    tf->SetViewingRange(viewfrom, viewto);
    tf->SetCurrentTime(currenttime);
    tf->Draw(hdc, curverect, flags);
  } else {
    DrawTextOnly(hdc, "No variables", curverect, ui::kTextDim, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
  }
  return 1;
}

uint32_t timefloatmgr::QueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) {
  if (captured) {
    const uint32_t r = ExitChildQueryAction(&curverect, captured, hwnd, message, pt, keys);
    if (r & QA_CHANGED) changed = 1;
    return r;
  }
  // Keys go to the value field, which answers them only while it is being typed into.
  if (message == WM_KEYDOWN || message == WM_CHAR) return ExitQueryAction(valuefield.QueryAction(hwnd, message, pt, keys));
  UIItem *items[] = {&parametersbutton, &prevbutton, &nextbutton, &groupbutton, &valuefield, &valueslider};
  uint32_t r = 0;
  if (message == WM_MOUSEMOVE) {
    // Every item hears the move, so the one the mouse left drops its hover look.
    for (UIItem *item : items) r |= item->QueryAction(hwnd, message, pt, keys);
  } else if (valuefield.UIIsEditing() && !Inside(pt, valuefield.UIGetRect())) {
    r |= StopTyping();
  }
  for (UIItem *item : items)
    if (Inside(pt, item->UIGetRect()))
      return message == WM_MOUSEMOVE ? r : r | ExitChildQueryAction(nullptr, item, hwnd, message, pt, keys);
  return r | ListAndCurveAction(hwnd, message, pt, keys);
}

uint32_t timefloatmgr::MoveToKey(int var_id, bool next) {
  const timefloat *tf = GetTimeFloatPointer(var_id);
  int key = 0;
  if (!tf || !(next ? tf->GetNextValueTime(currenttime, &key) : tf->GetPrevValueTime(currenttime, &key))) return 0;
  return MoveTime(int(std::clamp<int64_t>(int64_t{key} - currenttime, INT32_MIN, INT32_MAX)));
}

uint32_t timefloatmgr::LeaveItems() {
  uint32_t r = 0;
  for (UIItem *item : std::initializer_list<UIItem *>{&parametersbutton, &prevbutton, &nextbutton, &groupbutton,
                                                      &valuefield, &valueslider})
    if (item->UIGetState() == UIS_HOVER) {
      item->UISetState(UIS_NORMAL);
      r = QA_UPDATE;
    }
  return r;
}

uint32_t timefloatmgr::StopTyping() {
  if (!valuefield.UIIsEditing()) return 0;
  valuefield.UIEndEdit(false);
  return QA_UPDATE;
}

bool timefloatmgr::QueryCommand(HWND hwnd, int command, uint32_t *result) {
  timefloat *tf = GetEditCurve();
  uint32_t r = 0;
  switch (command) {
    case ID_GROUPS_BUTTON:
    case ID_PARAMETERS_BUTTON:
      r = QAPopGroups(hwnd);
      break;
    case ID_NEXTKEY_BUTTON:
    case ID_PREVKEY_BUTTON:
      if (tf) r = MoveToKey(tf->Header().id, command == ID_NEXTKEY_BUTTON);
      break;
    case ID_VALUE_FIELD: {
      double v = 0;
      char tail = 0;
      r = QA_UPDATE;
      if (tf && std::sscanf(valuefield.UIGetText(), "%lf %c", &v, &tail) == 1) {
        timefloatset(tf->Header().id, currenttime, v);
        r |= QA_CHANGED;
      }
      break;
    }
    case ID_VALUE_SLIDER:
      if (!tf) return false;
      timefloatset(tf->Header().id, currenttime, valueslider.UIGetValue());
      r = QA_CHANGED | QA_UPDATE;
      break;
    default:
      return UIItem::QueryCommand(hwnd, command, result);
  }
  if (r & QA_CHANGED) changed = 1;
  if (result) *result |= r;
  return true;
}

uint32_t timefloatmgr::ListAndCurveAction(HWND hwnd, uint32_t message, POINT pt, int keys) {
  if (message == WM_LBUTTONDOWN && Inside(pt, headerrect)) return QAPopGroups(hwnd);
  if (Inside(pt, listrect)) {
    const int i = (pt.y - listrect.top - 2) / ui::kRowHeight;
    int members[kMaxVariables];
    const int n = GroupMembers(members, kMaxVariables);
    if (i < 0 || i >= n) return 0;
    timefloat &tf = vars[members[i]];
    if (message == WM_MOUSEMOVE) {
      TipTheTool(tf.GetText(), RECT{pt.x, pt.y, pt.x + 1, pt.y + 1});
      return 0;
    }
    if (message == WM_LBUTTONDBLCLK) {
      // A value typed in: a key at the current time (a pending edit, as a click would set).
      char value[64];
      std::snprintf(value, sizeof value, "%g", tf.GetValue(currenttime));
      std::string text = value;
      char prompt[320];
      std::snprintf(prompt, sizeof prompt, "%s at %.3f s (%g to %g):", tf.GetText(), currenttime / 1000.0,
                    tf.GetMinimum(), tf.GetMaximum());
      double v = 0;
      char tail = 0;
      if (!Dialogs().AskText(hwnd, tf.GetText(), prompt, text) ||
          std::sscanf(text.c_str(), "%lf %c", &v, &tail) != 1)
        return QA_UPDATE;
      editvar = tf.Header().id;
      timefloatset(editvar, currenttime, v);
      return QA_CHANGED | QA_UPDATE;
    }
    if (message != WM_LBUTTONDOWN) return 0;
    editvar = tf.Header().id;
    return QA_UPDATE;
  }
  timefloat *tf = GetEditCurve();
  if (!tf) return 0;
  const uint32_t r = ExitChildQueryAction(&curverect, tf, hwnd, message, pt, keys);
  if (r & QA_CHANGED) changed = 1;
  return r;
}
