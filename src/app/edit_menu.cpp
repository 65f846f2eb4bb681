// The editing window's menu bar: key matching, drawing and navigation.
#include "app/edit_menu.h"

#include <strings.h>
#include <algorithm>
#include <cctype>

#include "core/uipalette.h"
#include "core/vemo.h"
#include "media/dc.h"

namespace {

constexpr int kRow = 22;
constexpr int kSeparator = 7;
constexpr int kPad = 12;

int Height(const menuentry &e) { return e.separator ? kSeparator : kRow; }

int TextWidth(HDC hdc, const std::string &s) {
  SIZE size;
  return hdc->GetTextExtentPoint32(s.c_str(), int(s.size()), &size) ? size.cx : int(s.size()) * 7;
}

}  // namespace

bool KeyMatches(const std::string &text, SDL_Keycode key, uint16_t mod) {
  if (text.empty()) return false;
  bool ctrl = false, shift = false, alt = false;
  std::string rest = text;
  for (;;) {
    const size_t plus = rest.find('+');
    if (plus == std::string::npos || plus + 1 >= rest.size()) break;
    const std::string part = rest.substr(0, plus);
    if (part == "Ctrl")
      ctrl = true;
    else if (part == "Shift")
      shift = true;
    else if (part == "Alt")
      alt = true;
    else
      break;
    rest = rest.substr(plus + 1);
  }
  if (ctrl != bool(mod & KMOD_CTRL) || alt != bool(mod & KMOD_ALT)) return false;
  SDL_Keycode want = SDL_GetKeyFromName(rest.c_str());
  if (rest.size() == 1) want = SDL_Keycode(std::tolower(static_cast<unsigned char>(rest[0])));
  // Printable signs that need Shift on a keyboard ("+") match however they were typed.
  if (rest == "+")
    return (key == SDLK_PLUS || key == SDLK_KP_PLUS || (key == SDLK_EQUALS && (mod & KMOD_SHIFT)));
  if (rest == "-") return key == SDLK_MINUS || key == SDLK_KP_MINUS;
  if (shift != bool(mod & KMOD_SHIFT)) return false;
  return want != SDLK_UNKNOWN && want == key;
}

int menubar::KeyCommand(SDL_Keycode key, uint16_t mod) const {
  std::function<int(const std::vector<menuentry> &)> find = [&](const std::vector<menuentry> &list) {
    for (const menuentry &e : list) {
      if (e.command && e.enabled && KeyMatches(e.key, key, mod)) return e.command;
      if (const int c = find(e.sub)) return c;
    }
    return 0;
  };
  return find(menus);
}

RECT menubar::TitleRect(int menu) const {
  if (menu < 0 || menu >= int(titlex.size())) return RECT{};
  const int right = menu + 1 < int(titlex.size()) ? titlex[size_t(menu) + 1] : titlex[size_t(menu)] + 60;
  return RECT{titlex[size_t(menu)], 0, right, kHeight};
}

void menubar::Draw(HDC hdc, int width) {
  barwidth = width;
  vemo::DrawRectangle(hdc, RECT{0, 0, width, kHeight}, ui::kPanel);
  hdc->FillRect(RECT{0, kHeight - 1, width, kHeight}, ui::kLine);
  const font before = vemo::VemoSelectFont(hdc, ui::kFont);
  titlex.clear();
  int x = 4;
  for (size_t i = 0; i < menus.size(); ++i) {
    titlex.push_back(x);
    const int w = TextWidth(hdc, menus[i].text) + 2 * kPad - 6;
    const RECT r{x, 0, x + w, kHeight - 1};
    if (int(i) == openmenu && IsOpen()) vemo::DrawRectangle(hdc, r, ui::kClipSelected);
    vemo::DrawTextOnly(hdc, menus[i].text.c_str(), r, ui::kText, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
    x += w;
  }
  // Open panels: each lists its entries with their keys; sub-menus show an arrow.
  for (size_t d = 0; d < path.size(); ++d) {
    level &l = path[d];
    int textw = 120, keyw = 0;
    for (const menuentry &e : *l.entries) {
      textw = std::max(textw, TextWidth(hdc, e.text));
      keyw = std::max(keyw, TextWidth(hdc, e.key));
    }
    int h = 6;
    for (const menuentry &e : *l.entries) h += Height(e);
    const int w = textw + keyw + 4 * kPad + 16;
    if (d == 0) {
      const RECT t = TitleRect(openmenu);
      l.rect = RECT{t.left, kHeight - 1, t.left + w, kHeight - 1 + h};
    } else {
      const level &p = path[d - 1];
      int y = p.rect.top + 3;
      for (int i = 0; i < p.highlight; ++i) y += Height((*p.entries)[size_t(i)]);
      l.rect = RECT{p.rect.right - 2, y - 3, p.rect.right - 2 + w, y - 3 + h};
      if (l.rect.right > width) vemo::Move(&l.rect, p.rect.left - l.rect.right + 2, 0);
    }
    // A shadow, the panel, its rows.
    vemo::DrawRectangle(hdc, RECT{l.rect.left + 3, l.rect.top + 3, l.rect.right + 3, l.rect.bottom + 3},
                        RGB(20, 21, 24));
    vemo::DrawRectangle(hdc, l.rect, ui::kPanel, ui::kLine);
    int y = l.rect.top + 3;
    for (size_t i = 0; i < l.entries->size(); ++i) {
      const menuentry &e = (*l.entries)[i];
      if (e.separator) {
        hdc->FillRect(RECT{l.rect.left + 6, y + 3, l.rect.right - 6, y + 4}, ui::kLine);
        y += kSeparator;
        continue;
      }
      const RECT row{l.rect.left + 2, y, l.rect.right - 2, y + kRow};
      if (int(i) == l.highlight) vemo::DrawRectangle(hdc, row, ui::kClipSelected);
      const COLORREF c = e.enabled ? ui::kText : ui::kTextDim;
      RECT tr = row;
      tr.left += kPad + 8;
      tr.right -= kPad;
      if (e.checked)
        vemo::DrawTextOnly(hdc, "\xE2\x9C\x93", RECT{row.left + 5, row.top, row.left + 20, row.bottom}, c,
                           DT_LEFT | DT_VCENTER | DT_SINGLELINE);
      vemo::DrawTextOnly(hdc, e.text.c_str(), tr, c, DT_LEFT | DT_VCENTER | DT_SINGLELINE);
      if (!e.sub.empty())
        vemo::DrawTextOnly(hdc, "\xE2\x96\xB8", tr, c, DT_RIGHT | DT_VCENTER | DT_SINGLELINE);
      else
        vemo::DrawTextOnly(hdc, e.key.c_str(), tr, ui::kTextDim, DT_RIGHT | DT_VCENTER | DT_SINGLELINE);
      y += kRow;
    }
  }
  hdc->SelectFont(before);
}

std::vector<RECT> menubar::OpenPanels() const {
  std::vector<RECT> out;
  for (const level &l : path) out.push_back(l.rect);
  return out;
}

void menubar::Open(int menu) {
  path.clear();
  openmenu = menu;
  if (menu < 0 || menu >= int(menus.size())) return;
  path.push_back(level{&menus[size_t(menu)].sub, -1, RECT{}});
}

void menubar::OpenFirst() {
  Open(0);
  if (!path.empty()) path[0].highlight = 0;
}

void menubar::OpenSub(size_t depth, int row) {
  path.resize(depth + 1);
  path[depth].highlight = row;
  const menuentry &e = (*path[depth].entries)[size_t(row)];
  if (!e.sub.empty()) path.push_back(level{&e.sub, -1, RECT{}});
}

int menubar::Choose(size_t depth, int row) {
  const menuentry &e = (*path[depth].entries)[size_t(row)];
  if (e.separator || !e.enabled) return 0;
  if (!e.sub.empty()) {
    OpenSub(depth, row);
    path.back().highlight = 0;
    return 0;
  }
  const int c = e.command;
  Close();
  return c;
}

bool menubar::Mouse(uint32_t message, POINT pt, int *command) {
  *command = 0;
  if (pt.y >= 0 && pt.y < kHeight) {
    for (size_t i = 0; i < menus.size(); ++i) {
      const RECT t = TitleRect(int(i));
      if (!vemo::PointInRect(&pt, &t)) continue;
      if (message == WM_LBUTTONDOWN) {
        if (IsOpen() && openmenu == int(i))
          Close();
        else
          Open(int(i));
      } else if (message == WM_MOUSEMOVE && IsOpen() && openmenu != int(i)) {
        Open(int(i));
      }
      return true;
    }
    if (message == WM_LBUTTONDOWN) Close();
    return message == WM_LBUTTONDOWN;
  }
  if (!IsOpen()) return false;
  for (size_t d = path.size(); d-- > 0;) {
    const level &l = path[d];
    if (!vemo::PointInRect(&pt, &l.rect)) continue;
    int y = l.rect.top + 3;
    for (size_t i = 0; i < l.entries->size(); ++i) {
      const int h = Height((*l.entries)[i]);
      if (pt.y >= y && pt.y < y + h) {
        if (message == WM_MOUSEMOVE && path[d].highlight != int(i)) OpenSub(d, int(i));
        if (message == WM_LBUTTONUP) *command = Choose(d, int(i));
        return true;
      }
      y += h;
    }
    return true;
  }
  // A press outside every panel closes the menus and is not passed on.
  if (message == WM_LBUTTONDOWN) {
    Close();
    return true;
  }
  return message != WM_MOUSEMOVE;
}

bool menubar::Key(SDL_Keycode key, int *command) {
  *command = 0;
  if (!IsOpen()) return false;
  level &l = path.back();
  const int n = int(l.entries->size());
  auto step = [&](int from, int dir) {
    for (int k = 0, i = from; k < n; ++k) {
      i = (i + dir + n) % n;
      if (!(*l.entries)[size_t(i)].separator) return i;
    }
    return from;
  };
  switch (key) {
    case SDLK_ESCAPE:
      if (path.size() > 1)
        path.pop_back();
      else
        Close();
      break;
    case SDLK_DOWN:
      l.highlight = step(l.highlight < 0 ? -1 : l.highlight, 1);
      break;
    case SDLK_UP:
      l.highlight = step(l.highlight < 0 ? 0 : l.highlight, -1);
      break;
    case SDLK_RIGHT:
      if (l.highlight >= 0 && !(*l.entries)[size_t(l.highlight)].sub.empty()) {
        Choose(path.size() - 1, l.highlight);
      } else {
        Open((openmenu + 1) % int(menus.size()));
        path[0].highlight = 0;
      }
      break;
    case SDLK_LEFT:
      if (path.size() > 1) {
        path.pop_back();
      } else {
        Open((openmenu + int(menus.size()) - 1) % int(menus.size()));
        path[0].highlight = 0;
      }
      break;
    case SDLK_RETURN:
    case SDLK_KP_ENTER:
    case SDLK_SPACE:
      if (l.highlight >= 0) *command = Choose(path.size() - 1, l.highlight);
      break;
    default:
      break;
  }
  return true;
}
