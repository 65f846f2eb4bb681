// timefloatmgr: the registry of a timed object's keyframed variables.
//
// Common principles of this header:
// - At most 128 variables, held inline in declaration order, which is also the display and
//   save order. Variables are never removed.
// - Names compare without regard to case. Reading or writing an undeclared name or ID does
//   nothing and reports 0 (an index of -1, a null pointer).
// - Values set through the manager are pending edits of their curves until Commit or Revert.
// - A saved manager is matched by name on loading, never by position: only keys come from the
//   file; bounds, defaults, kinds and colours stay as declared.
#pragma once

#include <cstdint>
#include <cstdio>

#include "core/uiitems.h"
#include "time/timefloat.h"

// The manager's persistent header: a size-prefixed record of 8 bytes.
struct tfmgrData {
  uint32_t size;  // 8
  int32_t count;  // declared variables
};
static_assert(sizeof(tfmgrData) == 8);
static_assert(offsetof(tfmgrData, count) == 4);

class timefloatmgr : public UIItem {
 public:
  static constexpr int kMaxVariables = 128;
  // IDs of the editor's buttons (also their resource strings).
  static constexpr int ID_GROUPS_BUTTON = 191;
  static constexpr int ID_PARAMETERS_BUTTON = 494;
  static constexpr int ID_NEXTKEY_BUTTON = 614;
  static constexpr int ID_PREVKEY_BUTTON = 615;
  // The value at the current time of the variable shown: typed, and on a slider (no labels).
  static constexpr int ID_VALUE_FIELD = 2001;
  static constexpr int ID_VALUE_SLIDER = 2002;

  timefloatmgr();
  // Copies declarations and keys; the copy's buttons belong to the copy.
  timefloatmgr(const timefloatmgr &other);
  timefloatmgr &operator=(const timefloatmgr &other);
  ~timefloatmgr() override = default;

  // ---- Declaration ----
  // Declares a variable; 0 when the name exists or 128 are declared, else 1. Its displayed
  // text is the resource string of id (the name when that is empty); ID and group ID are id.
  int timefloatadd(const char *name, int id, double min, double max, double def);
  // The same, then sets colours and kind of the variable of that name (also when the
  // declaration was refused; all-ones colours keep the defaults); a kind without bits 1 and 2
  // makes id the current group. Always 1.
  int timefloatadd(const char *name, int id, double min, double max, double def, uint32_t colour1,
                   uint32_t colour2, int kind);

  // ---- Lookup ----
  int timefloatget(const char *name) const;  // index, -1 when undeclared
  int timefloatget(int id) const;            // index, -1 when undeclared
  timefloat *GetTimeFloatPointer(const char *name);
  timefloat *GetTimeFloatPointer(int id);
  timefloat *GetTimeFloatByIndex(int index) {
    return index >= 0 && index < data.count ? &vars[index] : nullptr;
  }
  int GetCount() const { return data.count; }

  // ---- Values ----
  double timefloatget(const char *name, int time);  // 0 when undeclared
  double timefloatget(int id, int time);
  // Value at time and the bounds; 1, or 0 (outputs untouched) when undeclared.
  int timefloatget(const char *name, int time, double *value, double *min, double *max);
  int timefloatget(int id, int time, double *value, double *min, double *max);
  // Sets a key: marks the manager changed, makes the variable's group current, returns the
  // curve's SetValue result; 0 when undeclared.
  int timefloatset(const char *name, int time, double v);
  int timefloatset(int id, int time, double v);
  int timefloatreset(const char *name);  // drops the variable's keys; 1, or 0 when undeclared
  int timefloatreset(int id);

  // ---- Pending edits and time ----
  int Commit();  // every curve; clears the changed flag; 1
  int Revert();
  int Reset();  // drops every variable's keys (the declarations stay)
  bool IsChanged() const { return changed != 0; }
  // Local time = t - position + offset; every variable is given it. QA_UPDATE with every
  // variable's result.
  uint32_t SetCurrentTime(int t) override;

  // ---- Persistence ----
  int Save(FILE *f) override;  // header, then each variable's curve; 0 at the first failure
  int Load(FILE *f) override;  // 0 when the header cannot be read; stored curves match by name
  // Loads a record as it was saved, declarations included: the variables become exactly the
  // stored ones in stored order (a declaration made since is dropped again, one the record
  // holds is made from its stored header). Taking back an edit needs this; opening a file uses
  // Load. 0 when the record cannot be read whole (the variables are then as before).
  int LoadExact(FILE *f);

  // ---- Groups ----
  int GroupCount() const;
  int GetCurrentGroup() const { return currentgroup; }
  void SetCurrentGroup(int g) { currentgroup = g; }
  // The index of the header of the group shown for the current group (the group whose header
  // or member has the current group's ID), or -1. Remembers the group's ID as selected group.
  int FindCurrentGroup();
  int GetSelectedGroup() const { return selectedgroup; }
  // Lets the user choose a group from the group headers; QA_UPDATE when one was chosen.
  uint32_t QAPopGroups(HWND hwnd);

  // ---- Items ----
  // The editor's four buttons, by number (optional "#") or name without regard to case:
  // 191 "IDS_CLICKGROUPS"/"CLICKGROUPS", 494 "IDS_PARAMETERS"/"PARAMETERS",
  // 614 "IDS_NEXTKEYFRAME"/"NEXTKEYFRAME", 615 "IDS_PREVKEYFRAME"/"PREVKEYFRAME"; else null.
  UIItem *UIItemResolve(const char *name) override;
  // Places the manager and its variables under `parent` (variables share the manager's parent).
  void Attach(vemo *parent, surface *s, vemowin *w);

  // ---- The variable editor (tfeditor.cpp) ----
  // A header with the current group's name (a press pops the groups up), buttons to the
  // previous and next key of the variable shown and to the other groups; the group's variables
  // listed with their values at the current time (a press picks the one shown), under them the
  // shown variable's value at the current time as a text field and a slider (either sets a
  // key there); and the picked variable's curve over the viewing range.
  RECT Layout(RECT rc) override;
  int Draw(HDC hdc, RECT rc, int flags) override;
  uint32_t QueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) override;
  // What the editor's items ask for when used (their IDs): the groups, the previous or next
  // key, the value typed or slid. The flags go into *result; true for the items' IDs.
  bool QueryCommand(HWND hwnd, int command, uint32_t *result) override;
  // Moves the root's time to the variable's next (or previous) key after (before) the current
  // time; QA_UPDATE, or 0 when there is none or the variable is undeclared.
  uint32_t MoveToKey(int id, bool next);
  // Ends typing in the value field, taking the typing back; QA_UPDATE when it was typing.
  uint32_t StopTyping();
  // The mouse has left the editor: no item keeps its hover look. QA_UPDATE when one had it.
  uint32_t LeaveItems();
  // The stretch of local time the curves show (the owner's material: offset .. offset + size).
  void SetViewingRange(int from, int to) {
    viewfrom = from;
    viewto = to;
  }
  // The variable whose curve is shown (an ID); 0 picks the current group's first.
  int GetEditVariable();
  void SetEditVariable(int id) { editvar = id; }
  timefloat *GetEditCurve() { return GetTimeFloatPointer(GetEditVariable()); }
  // The group after the current one, and the variable after the shown one within its group.
  uint32_t NextGroup();
  uint32_t NextVariable();
  // Indices of the variables of the current group (without its header), in order.
  int GroupMembers(int *out, int capacity);
  RECT GetHeaderRect() const { return headerrect; }
  RECT GetListRect() const { return listrect; }
  UIItemEditRC &GetValueField() { return valuefield; }
  UIItemSlider &GetValueSlider() { return valueslider; }

 private:
  void InitButtons();
  // The list and the curve's part of QueryAction.
  uint32_t ListAndCurveAction(HWND hwnd, uint32_t message, POINT pt, int keys);
  void CopyFrom(const timefloatmgr &other);

  tfmgrData data;
  int32_t changed = 0;
  timefloat vars[kMaxVariables];
  int32_t currentgroup = 0;
  int32_t selectedgroup = 0;
  UIItemButton groupbutton;
  UIItemButtonTFDesc parametersbutton;
  UIItemButtonNext nextbutton;
  UIItemButtonPrev prevbutton;
  UIItemEditRC valuefield;
  UIItemSlider valueslider;
  int32_t editvar = 0;
  int32_t viewfrom = 0;
  int32_t viewto = 0;
  RECT headerrect{};
  RECT listrect{};
  RECT curverect{};
};
