// The item classes of the interface: texts, text fields, buttons, sliders and the settings items.
// They hold their data here; their drawing comes with the drawing context.
#pragma once

#include <string>

#include "core/uiitem.h"

// An item that only holds an ID and a place (the settings fields of musical time).
class UIItemDummy : public UIItem {};

// A text in a rectangle, without and with a frame.
class UIItemTextRC : public UIItem {
 public:
  void UISetText(const char *t) { text = t ? t : ""; }
  const char *UIGetText() const { return text.c_str(); }

 protected:
  std::string text;
};
class UIItemTextRCFrame : public UIItemTextRC {};

// A text field in a rectangle; the text is what the user typed.
class UIItemEditRC : public UIItemTextRC {};

// Push buttons: plain, with an icon, and the four direction buttons.
class UIItemButton : public UIItem {};
class UIItemButtonIcon : public UIItemButton {};
class UIItemButtonPrev : public UIItemButton {};
class UIItemButtonNext : public UIItemButton {};
class UIItemButtonForward : public UIItemButton {};
class UIItemButtonBackward : public UIItemButton {};
// A button of the variable editor.
class UIItemButtonTFDesc : public UIItemButton {};
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

// A slider over a double value within [min, max].
class UIItemSlider : public UIItem {
 public:
  // Stores the range and the value (clamped into the range); true.
  bool UISetMinCurMax(double min, double cur, double max);
  // Stores the value clamped into the range; true.
  bool UISetValue(double v);
  double UIGetValue() const { return value; }
  double UIGetMin() const { return minimum; }
  double UIGetMax() const { return maximum; }

 private:
  double minimum = 0.0;
  double value = 0.0;
  double maximum = 1.0;
};
