// UIItem's base behaviour: identity, initialisation and the two string interfaces.
#include "core/uiitem.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/commandline.h"

void UIItem::SetID(int new_id) { id = new_id; }

int UIItem::GetID() { return id; }

bool UIItem::UIItemInit(vemo *p, surface *s, vemowin *w, int new_id, int enable) {
  if (!s || !w || new_id == 0 || enable == 0) return false;
  parent = p;
  surfaces = s;
  wincontext = w;
  SetID(new_id);
  return true;
}

bool UIItem::Command(const char *command, char *result) {
  const auto args = SplitCommandLine(command, 64);
  if (args.size() == 1 && result) {
    if (args[0] == "GetID") {
      std::snprintf(result, UIITEM_RESULT_SIZE, "%d", GetID());
      return true;
    }
    if (args[0] == "GetType") {
      std::strcpy(result, "UIItem");
      return true;
    }
  }
  if (result) result[0] = 0;
  return false;
}

UIItem *UIItem::UIItemResolve(const char *) { return nullptr; }

void UIItem::_draw_ui_hdc(HDC) {}

uint32_t UIItem::UIItemRefresh() { return 0; }

RECT UIItem::Layout(RECT rc) {
  uirect = rc;
  return rc;
}

int UIItem::Draw(HDC hdc, RECT rc, int) {
  uirect = rc;
  if (!hdc || !checkrec(rc)) return 0;
  _draw_ui_hdc(hdc);
  return 1;
}

const char *UIItem::UIGetLabel() const { return name.empty() ? GetStringPtr(id) : name.c_str(); }

uint32_t UIItem::UIHover(POINT pt) {
  const bool over = UIInside(pt);
  if (over && *UIGetLabel()) TipTheTool(UIGetLabel(), RECT{pt.x, pt.y, pt.x + 1, pt.y + 1});
  const UIItemState now = over && state == UIS_NORMAL ? UIS_HOVER : !over && state == UIS_HOVER ? UIS_NORMAL : state;
  if (now == state) return 0;
  state = now;
  return QA_UPDATE;
}

uint32_t UIItem::UINotify(HWND hwnd) {
  uint32_t r = 0;
  if (parent) parent->QueryCommand(hwnd, id, &r);
  return r;
}

bool UIItem::UISetName(const char *n) {
  name = n ? n : "";
  return true;
}

bool UIItem::UISetName(int new_id) {
  SetID(new_id);
  return true;
}

bool UIItem::UISetStyle(int s) {
  style = s;
  return true;
}

bool UIItem::UISetState(UIItemState s) {
  state = s;
  return true;
}

bool UIItem::UISetIcon(HICON h) {
  if (h != iconhandle) DestroyIcon(iconhandle);
  iconhandle = h;
  return true;
}

bool UIItem::SplitUIItemString(const char *path, char *first, char *rest) {
  const char *dot = path ? std::strchr(path, '.') : nullptr;
  if (!path) path = "";
  const size_t n = dot ? static_cast<size_t>(dot - path) : std::strlen(path);
  std::memcpy(first, path, n);
  first[n] = 0;
  if (!dot) {
    rest[0] = 0;
    return false;
  }
  std::strcpy(rest, dot + 1);
  return true;
}

int UIItem::ResolveNumber(const char *name) {
  if (!name) return 0;
  if (*name == '#') ++name;
  return std::atoi(name);
}
