// UIItem: the base of everything the interface shows and the macro language can address.
//
// Items have an ID (for most also the resource string of their label), a name, a style and a
// state. Two string interfaces reach any item: UIItemResolve finds a named child, Command runs
// a text command and writes a text result. Result buffers hold at least UIITEM_RESULT_SIZE bytes.
//
// Items that the user works (buttons, sliders, text fields) take their place from Layout or
// Draw, draw themselves in _draw_ui_hdc and answer the mouse in QueryAction. When the user has
// done something with one (a button pressed and released over it, a slider moved, a text field
// closed with Enter) the item tells its parent through the parent's QueryCommand with the
// item's ID; the flags the parent writes are or-ed into the item's answer.
#pragma once

#include <cstdint>
#include <string>

#include "media/pixelator.h"

constexpr int UIITEM_RESULT_SIZE = 1024;

enum UIItemState : int32_t {
  UIS_NORMAL = 0,
  UIS_HOVER = 1,
  UIS_PRESSED = 2,
  UIS_DISABLED = 3,
  UIS_SELECTED = 4,
};

class UIItem : public pixelator {
 public:
  UIItem() = default;
  UIItem(const UIItem &) = default;
  UIItem &operator=(const UIItem &) = default;
  ~UIItem() override = default;

  // ---- Virtual operations added by UIItem (slots 22 to 28) ----
  virtual void SetID(int id);                                                             // 22
  virtual int GetID();                                                                    // 23
  virtual bool UIItemInit(vemo *parent, surface *s, vemowin *w, int id, int enable);      // 24
  virtual bool Command(const char *command, char *result);                                // 25
  virtual UIItem *UIItemResolve(const char *name);                                        // 26
 protected:
  virtual void _draw_ui_hdc(HDC hdc);                                                     // 27
 public:
  // Asks the item to bring its shown state up to date; returns action flags.
  virtual uint32_t UIItemRefresh();                                                       // 28

  // The item's place: stored, then the item draws itself there; 1 when it drew.
  RECT Layout(RECT rc) override;
  int Draw(HDC hdc, RECT rc, int flags) override;
  RECT UIGetRect() const { return uirect; }
  // The label: the name when one is set, else the resource text of the ID.
  const char *UIGetLabel() const;

  bool UISetName(const char *name);
  bool UISetName(int id);
  bool UISetStyle(int style);
  bool UISetState(UIItemState state);
  bool UISetIcon(HICON icon);
  const char *UIGetName() const { return name.c_str(); }
  int UIGetStyle() const { return style; }
  UIItemState UIGetState() const { return state; }

  // Copies path up to the first '.' into first; on a '.', the rest after it into rest and true;
  // otherwise rest is empty and false.
  static bool SplitUIItemString(const char *path, char *first, char *rest);
  // Reads a decimal number with an optional leading '#' ("614", "#614"); 0 when there is none.
  static int ResolveNumber(const char *name);

 protected:
  // Hover tracking for a mouse move: the state goes to UIS_HOVER over the item (its label as
  // tool tip) and back to UIS_NORMAL off it; QA_UPDATE when the state changed.
  uint32_t UIHover(POINT pt);
  // Tells the parent that the user did something with this item (see above).
  uint32_t UINotify(HWND hwnd);
  bool UIInside(POINT pt) const { return PointInRect(&pt, &uirect) != 0; }

  RECT uirect{};
  // Layout metrics used by the drawing code: gap, line, margin, button and label sizes.
  int32_t metric_gap = 2;
  int32_t metric_line = 10;
  int32_t metric_margin = 4;
  int32_t metric_button = 20;
  int32_t metric_label = 50;
  UIItemState state = UIS_NORMAL;
  int32_t id = 0;
  int32_t style = 0;
  std::string name;
};
