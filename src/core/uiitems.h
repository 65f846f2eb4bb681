// The item classes of the interface: texts, text fields, buttons, sliders and the settings items.
//
// Common principles of the items:
// - An item's place is the rectangle of its last Layout or Draw; it draws itself there with the
//   editing window's colours (uipalette.h) and answers the mouse only within it, or while it
//   holds the capture it asked for.
// - States: UIS_NORMAL, UIS_HOVER under the mouse, UIS_PRESSED while a button is held,
//   UIS_SELECTED while a text field is being typed into, UIS_DISABLED (no answer at all).
// - Style bits: UISTYLE_CENTER and UISTYLE_RIGHT place texts, UISTYLE_FLAT draws a button
//   without its face until the mouse is over it, UISTYLE_BOLD draws the text in bold.
#pragma once

#include <string>

#include "core/uiitem.h"

enum : int32_t {
  UISTYLE_CENTER = 0x1,  // the values of DT_CENTER and DT_RIGHT
  UISTYLE_RIGHT = 0x2,
  UISTYLE_FLAT = 0x100,
  UISTYLE_BOLD = 0x200,
};

// An item that only holds an ID and a place (the settings fields of musical time).
class UIItemDummy : public UIItem {};

// A text in a rectangle, without and with a frame; without a text of its own it shows its label.
class UIItemTextRC : public UIItem {
 public:
  void UISetText(const char *t) { text = t ? t : ""; }
  const char *UIGetText() const { return text.c_str(); }

 protected:
  void _draw_ui_hdc(HDC hdc) override;
  // The text within r, in the item's style and state.
  void DrawItemText(HDC hdc, const char *shown, RECT r) const;

  std::string text;
};
class UIItemTextRCFrame : public UIItemTextRC {
 protected:
  void _draw_ui_hdc(HDC hdc) override;
};

// A text field in a rectangle. A press on it starts typing (the first character typed replaces
// the text, later ones are added); WM_CHAR adds the byte in its keys word, WM_KEYDOWN with
// VK_BACK takes the last character back, VK_RETURN ends typing and tells the parent, VK_ESCAPE
// or a press elsewhere ends it with the text as it was. While typing it answers every key
// message (QA_UPDATE), so the keys do not reach anything else.
class UIItemEditRC : public UIItemTextRC {
 public:
  uint32_t QueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) override;
  bool UIIsEditing() const { return state == UIS_SELECTED; }
  void UIBeginEdit();
  // Ends typing, keeping the typed text or taking it back.
  void UIEndEdit(bool keep);

 protected:
  void _draw_ui_hdc(HDC hdc) override;

 private:
  std::string before;
  bool fresh = false;
};

// Push buttons: plain, with an icon, and the four direction buttons. A press on a button takes
// the capture; the release over it tells the parent (once), the release elsewhere does nothing.
class UIItemButton : public UIItem {
 public:
  uint32_t QueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) override;

 protected:
  void _draw_ui_hdc(HDC hdc) override;
  // What the button shows on its face: its label.
  virtual void DrawFace(HDC hdc, RECT face, COLORREF ink);
  bool pressing = false;
};
// The icon scaled into the face (the label when the icon has no pixels).
class UIItemButtonIcon : public UIItemButton {
 protected:
  void DrawFace(HDC hdc, RECT face, COLORREF ink) override;
};
// To the previous and next mark (a bar and a triangle), and backward and forward (two triangles).
class UIItemButtonPrev : public UIItemButton {
 protected:
  void DrawFace(HDC hdc, RECT face, COLORREF ink) override;
};
class UIItemButtonNext : public UIItemButton {
 protected:
  void DrawFace(HDC hdc, RECT face, COLORREF ink) override;
};
class UIItemButtonForward : public UIItemButton {
 protected:
  void DrawFace(HDC hdc, RECT face, COLORREF ink) override;
};
class UIItemButtonBackward : public UIItemButton {
 protected:
  void DrawFace(HDC hdc, RECT face, COLORREF ink) override;
};
// A button of the variable editor: a title with a drop-down mark that opens its choice on the
// press itself, as a menu does, instead of on the release.
class UIItemButtonTFDesc : public UIItemButton {
 public:
  uint32_t QueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) override;

 protected:
  void _draw_ui_hdc(HDC hdc) override;
};
// The preferences button.
class UIItemButtonPrefs : public UIItemButton {};

// The preferences item. Its commands read and write the per-user "prefs" data set:
//   Get NAME          -> the stored value (empty when unset); true
//   Set NAME VALUE    -> stores VALUE; true when it was written
//   GetType           -> "UIItemPrefs"
class UIItemPrefs : public UIItem {
 public:
  bool Command(const char *command, char *result) override;
};

// A slider over a double value within [min, max], drawn as a horizontal track with a thumb. A
// press on it moves the thumb under the mouse and takes the capture; the value follows the
// drag, clamped to the range, and each change tells the parent.
class UIItemSlider : public UIItem {
 public:
  // Stores the range and the value (clamped into the range); true.
  bool UISetMinCurMax(double min, double cur, double max);
  // Stores the value clamped into the range; true.
  bool UISetValue(double v);
  double UIGetValue() const { return value; }
  double UIGetMin() const { return minimum; }
  double UIGetMax() const { return maximum; }
  uint32_t QueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) override;
  // The columns the thumb's centre runs over: the place less half a thumb at either end.
  RECT UIGetTrack() const;

 protected:
  void _draw_ui_hdc(HDC hdc) override;

 private:
  uint32_t Follow(HWND hwnd, POINT pt);

  double minimum = 0.0;
  double value = 0.0;
  double maximum = 1.0;
  bool dragging = false;
};
