// Behaviour of the item classes that hold more than an ID: their drawing and their mouse.
#include "core/uiitems.h"

#include <algorithm>
#include <cstring>

#include "core/commandline.h"
#include "core/poligon.h"
#include "core/uipalette.h"
#include "media/dc.h"

namespace {

constexpr int kThumb = 7;                       // the slider's thumb, in columns
constexpr COLORREF kHover = RGB(62, 66, 73);    // a face under the mouse
constexpr const char *kCaret = "\xE2\x96\x8F";  // a thin bar after the typed text

bool IsPress(uint32_t message) { return message == WM_LBUTTONDOWN || message == WM_LBUTTONDBLCLK; }

// A square of side `side` centred in r.
RECT Square(RECT r, int side) { return vemo::RCFROMCTR(vemo::RCCTR(r), side, side); }

}  // namespace

// ---- Texts ----

void UIItemTextRC::DrawItemText(HDC hdc, const char *shown, RECT r) const {
  const font before = VemoSelectFont(hdc, ui::kFont, (style & UISTYLE_BOLD) != 0);
  const uint32_t align = uint32_t(style) & (UISTYLE_CENTER | UISTYLE_RIGHT);
  DrawTextOnly(hdc, shown, r, state == UIS_DISABLED ? ui::kTextDim : ui::kText,
               align | DT_VCENTER | DT_SINGLELINE);
  hdc->SelectFont(before);
}

void UIItemTextRC::_draw_ui_hdc(HDC hdc) {
  DrawItemText(hdc, text.empty() ? UIGetLabel() : text.c_str(), uirect);
}

void UIItemTextRCFrame::_draw_ui_hdc(HDC hdc) {
  DrawRectangle(hdc, uirect, ui::kWindow, ui::kLine);
  DrawItemText(hdc, text.empty() ? UIGetLabel() : text.c_str(), Reduce(uirect, metric_margin));
}

// ---- Text field ----

void UIItemEditRC::UIBeginEdit() {
  before = text;
  fresh = true;
  state = UIS_SELECTED;
}

void UIItemEditRC::UIEndEdit(bool keep) {
  if (!keep) text = before;
  fresh = false;
  state = UIS_NORMAL;
}

void UIItemEditRC::_draw_ui_hdc(HDC hdc) {
  const bool editing = UIIsEditing();
  DrawRectangle(hdc, uirect, ui::kWindow, editing ? ui::kAccent : state == UIS_HOVER ? ui::kTextDim : ui::kLine);
  const RECT inner = Reduce(uirect, metric_margin);
  // Text about to be replaced shows as chosen, as a selection would.
  if (editing && fresh) DrawRectangle(hdc, Reduce(uirect, 2), ui::kClipSelected);
  DrawItemText(hdc, editing ? (text + kCaret).c_str() : text.c_str(), inner);
}

uint32_t UIItemEditRC::QueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) {
  if (state == UIS_DISABLED) return 0;
  const bool editing = UIIsEditing();
  switch (message) {
    case WM_LBUTTONDOWN:
    case WM_LBUTTONDBLCLK:
    case WM_RBUTTONDOWN:
      if (UIInside(pt)) {
        if (!editing) UIBeginEdit();
        return QA_UPDATE;
      }
      if (!editing) return 0;
      UIEndEdit(false);
      return QA_UPDATE;
    case WM_MOUSEMOVE:
      return UIHover(pt);
    case WM_CHAR: {
      if (!editing) return 0;
      const unsigned char c = static_cast<unsigned char>(keys & 0xFF);
      if (c < 0x20 || c == 0x7F) return QA_UPDATE;
      if (fresh) text.clear();
      fresh = false;
      text += static_cast<char>(c);
      return QA_UPDATE;
    }
    case WM_KEYDOWN:
      if (!editing) return 0;
      if (keys == VK_RETURN) {
        UIEndEdit(true);
        return QA_UPDATE | UINotify(hwnd);
      }
      if (keys == VK_ESCAPE) {
        UIEndEdit(false);
      } else if (keys == VK_BACK) {
        if (fresh) text.clear();
        // The last character goes whole (UTF-8 continuation bytes with it).
        size_t n = text.empty() ? 0 : text.size() - 1;
        while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) --n;
        text.erase(n);
        fresh = false;
      }
      return QA_UPDATE;
    default:
      return 0;
  }
}

// ---- Buttons ----

void UIItemButton::_draw_ui_hdc(HDC hdc) {
  const bool flat = (style & UISTYLE_FLAT) != 0;
  COLORREF ink = ui::kText;
  switch (state) {
    case UIS_PRESSED:
      DrawRectangle(hdc, uirect, ui::kClipSelected, ui::kAccent);
      break;
    case UIS_HOVER:
      DrawRectangle(hdc, uirect, kHover, ui::kTextDim);
      break;
    case UIS_DISABLED:
      if (!flat) DrawRectangle(hdc, uirect, ui::kWindow, ui::kLine);
      ink = ui::kLine;
      break;
    default:
      if (!flat) DrawRectangle(hdc, uirect, ui::kTrackB, ui::kLine);
      if (flat) ink = ui::kTextDim;
      break;
  }
  DrawFace(hdc, Reduce(uirect, metric_margin), ink);
}

void UIItemButton::DrawFace(HDC hdc, RECT face, COLORREF ink) {
  const font before = VemoSelectFont(hdc, (style & UISTYLE_FLAT) ? ui::kFont - 2 : ui::kFont,
                                     (style & UISTYLE_BOLD) != 0);
  DrawTextOnly(hdc, UIGetLabel(), face, ink, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
  hdc->SelectFont(before);
}

uint32_t UIItemButton::QueryAction(HWND hwnd, uint32_t message, POINT pt, int) {
  if (state == UIS_DISABLED) return 0;
  if (IsPress(message)) {
    if (!UIInside(pt)) return 0;
    pressing = true;
    state = UIS_PRESSED;
    return QA_CAPTURE | QA_UPDATE;
  }
  if (message == WM_MOUSEMOVE) {
    if (!pressing) return UIHover(pt);
    // Held down: pressed while over the button, raised when the mouse has left it.
    const UIItemState now = UIInside(pt) ? UIS_PRESSED : UIS_NORMAL;
    if (now == state) return 0;
    state = now;
    return QA_UPDATE;
  }
  if (message == WM_LBUTTONUP && pressing) {
    pressing = false;
    const bool over = UIInside(pt);
    state = over ? UIS_HOVER : UIS_NORMAL;
    return QA_RELEASE | QA_UPDATE | (over ? UINotify(hwnd) : 0u);
  }
  return 0;
}

void UIItemButtonIcon::DrawFace(HDC hdc, RECT face, COLORREF ink) {
  const HICON ic = iconhandle;
  if (!ic || ic->width <= 0 || ic->height <= 0 || ic->pixels.size() < size_t(ic->width) * size_t(ic->height)) {
    UIItemButton::DrawFace(hdc, face, ink);
    return;
  }
  // Nearest pixel into the largest square that fits, blended by the icon's alpha.
  const RECT sq = Square(face, std::min(RCWID(face), RCHIG(face)));
  const int side = RCWID(sq);
  for (int y = 0; y < side; ++y) {
    const uint32_t *row = &ic->pixels[size_t(y * ic->height / side) * size_t(ic->width)];
    for (int x = 0; x < side; ++x) {
      const uint32_t p = row[x * ic->width / side];
      const uint32_t a = p >> 24;
      if (!a) continue;
      const COLORREF under = hdc->GetPixel(sq.left + x, sq.top + y);
      if (under == 0xFFFFFFFF) continue;
      // Memory order blue, green, red, alpha: blue is the low byte of the word.
      const uint32_t src[3] = {(p >> 16) & 0xFF, (p >> 8) & 0xFF, p & 0xFF};  // red, green, blue
      uint8_t out[3];
      for (int c = 0; c < 3; ++c)
        out[c] = uint8_t((src[c] * a + ((under >> (8 * c)) & 0xFF) * (255 - a)) >> 8);
      hdc->SetPixel(sq.left + x, sq.top + y, RGB(out[0], out[1], out[2]));
    }
  }
}

namespace {

// A bar and a triangle (to the previous or next mark) or two triangles (backward, forward).
void DrawDirection(HDC hdc, RECT face, COLORREF ink, poligon::direction tip, bool bar) {
  const int side = std::max(4, std::min(vemo::RCWID(face), vemo::RCHIG(face)) * 2 / 3);
  const RECT box = Square(face, side);
  const int half = side / 2;
  if (bar) {
    const int bx = tip == poligon::LEFT ? box.left : box.right - 2;
    hdc->FillRect(RECT{bx, box.top, bx + 2, box.bottom}, ink);
    RECT t = box;
    if (tip == poligon::LEFT)
      t.left += 3;
    else
      t.right -= 3;
    poligon::Triangle(t, tip).Fill(hdc, ink);
    return;
  }
  poligon::Triangle(RECT{box.left, box.top, box.left + half, box.bottom}, tip).Fill(hdc, ink);
  poligon::Triangle(RECT{box.left + half, box.top, box.right, box.bottom}, tip).Fill(hdc, ink);
}

}  // namespace

void UIItemButtonPrev::DrawFace(HDC hdc, RECT face, COLORREF ink) { DrawDirection(hdc, face, ink, poligon::LEFT, true); }
void UIItemButtonNext::DrawFace(HDC hdc, RECT face, COLORREF ink) { DrawDirection(hdc, face, ink, poligon::RIGHT, true); }
void UIItemButtonForward::DrawFace(HDC hdc, RECT face, COLORREF ink) {
  DrawDirection(hdc, face, ink, poligon::RIGHT, false);
}
void UIItemButtonBackward::DrawFace(HDC hdc, RECT face, COLORREF ink) {
  DrawDirection(hdc, face, ink, poligon::LEFT, false);
}

void UIItemButtonTFDesc::_draw_ui_hdc(HDC hdc) {
  if (state == UIS_HOVER || state == UIS_PRESSED) DrawRectangle(hdc, uirect, kHover);
  const font before = VemoSelectFont(hdc, ui::kFont, true);
  RECT t = Reduce(uirect, metric_gap);
  t.left += metric_margin;
  DrawTextOnly(hdc, UIGetLabel(), t, ui::kText, DT_LEFT | DT_VCENTER | DT_SINGLELINE);
  // The drop-down mark just after the title.
  SIZE extent{};
  hdc->GetTextExtentPoint32(UIGetLabel(), -1, &extent);
  const int x = std::min<int>(t.left + extent.cx + 2 * metric_margin, uirect.right - 12);
  const int cy = (uirect.top + uirect.bottom) / 2;
  poligon::Triangle(RECT{x, cy - 2, x + 8, cy + 3}, poligon::DOWN).Fill(hdc, ui::kText);
  hdc->SelectFont(before);
}

uint32_t UIItemButtonTFDesc::QueryAction(HWND hwnd, uint32_t message, POINT pt, int) {
  if (state == UIS_DISABLED) return 0;
  if (message == WM_MOUSEMOVE) return UIHover(pt);
  if (!IsPress(message) || !UIInside(pt)) return 0;
  state = UIS_PRESSED;
  const uint32_t r = UINotify(hwnd);
  state = UIS_HOVER;
  return r | QA_UPDATE;
}

// ---- Preferences ----

bool UIItemPrefs::Command(const char *command, char *result) {
  const auto args = SplitCommandLine(command, 64);
  if (result) result[0] = 0;
  if (args.size() == 1 && args[0] == "GetType" && result) {
    std::strcpy(result, "UIItemPrefs");
    return true;
  }
  if (args.size() == 2 && args[0] == "Get" && result) {
    GetDatasetValue("prefs", args[1].c_str(), result, UIITEM_RESULT_SIZE);
    return true;
  }
  if (args.size() == 3 && args[0] == "Set") return SetDatasetValue("prefs", args[1].c_str(), args[2].c_str()) != 0;
  return UIItem::Command(command, result);
}

// ---- Slider ----

bool UIItemSlider::UISetMinCurMax(double min, double cur, double max) {
  minimum = min;
  maximum = max;
  return UISetValue(cur);
}

bool UIItemSlider::UISetValue(double v) {
  value = v > maximum ? maximum : v < minimum ? minimum : v;
  return true;
}

RECT UIItemSlider::UIGetTrack() const {
  if (RCWID(uirect) <= kThumb) return uirect;
  return RECT{uirect.left + kThumb / 2, uirect.top, uirect.right - kThumb / 2, uirect.bottom};
}

void UIItemSlider::_draw_ui_hdc(HDC hdc) {
  const RECT track = UIGetTrack();
  const int cy = (uirect.top + uirect.bottom) / 2;
  const int x = MapXInRect(value, minimum, maximum, track);
  hdc->FillRect(RECT{track.left, cy - 2, track.right, cy + 2}, ui::kLine);
  if (state != UIS_DISABLED) hdc->FillRect(RECT{track.left, cy - 2, x, cy + 2}, ui::kAccent);
  const COLORREF thumb = state == UIS_PRESSED ? ui::kAccent
                         : state == UIS_HOVER ? ui::kText
                         : state == UIS_DISABLED ? ui::kLine
                                                 : ui::kTextDim;
  DrawRectangle(hdc, RECT{x - kThumb / 2, uirect.top + 2, x + kThumb / 2 + 1, uirect.bottom - 2}, thumb, ui::kWindow);
}

uint32_t UIItemSlider::Follow(HWND hwnd, POINT pt) {
  const double v = Map2RectX(pt.x, minimum, maximum, UIGetTrack());
  if (v == value) return 0;
  UISetValue(v);
  return QA_UPDATE | UINotify(hwnd);
}

uint32_t UIItemSlider::QueryAction(HWND hwnd, uint32_t message, POINT pt, int) {
  if (state == UIS_DISABLED) return 0;
  if (IsPress(message)) {
    if (!UIInside(pt)) return 0;
    dragging = true;
    state = UIS_PRESSED;
    return QA_CAPTURE | QA_UPDATE | Follow(hwnd, pt);
  }
  if (message == WM_MOUSEMOVE) return dragging ? Follow(hwnd, pt) : UIHover(pt);
  if (message == WM_LBUTTONUP && dragging) {
    dragging = false;
    state = UIInside(pt) ? UIS_HOVER : UIS_NORMAL;
    return QA_RELEASE | QA_UPDATE;
  }
  return 0;
}
