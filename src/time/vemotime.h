// vemotime: the base of everything on the timeline that can be animated (clips, effects).
//
// Common principles of this header:
// - Local time = parent time - position + offset. The offset is how far into its own material
//   the object starts; SetOffset trims the head while the end stays where it is.
// - Variables live in the object's timefloatmgr and are addressed by their ID; they are read
//   and edited at the manager's local time, which follows the object's (SetCurrentTime).
// - Pending edits belong to the variables and to the musical time; Commit, Revert and Reset
//   act on both and return their results or-ed.
// - The variable editor of an object is its manager's (tfDraw, tfLayout, tfQueryAction, in
//   time/tfeditor.cpp); the object's own drawing is its derived class's.
#pragma once

#include <cstdint>
#include <cstdio>
#include <initializer_list>

#include "core/frect.h"
#include "core/uiitem.h"
#include "media/pix32.h"
#include "time/mtime.h"
#include "time/timefloatmgr.h"

class intarraytree;

class vemotime : public UIItem {
 public:
  vemotime();
  // Copies variables, musical time and offset; the copy's members belong to the copy.
  vemotime(const vemotime &other);
  vemotime &operator=(const vemotime &other);
  ~vemotime() override = default;

  // ---- Overrides of earlier slots ----
  // Local time = t - position + offset, then the variable manager gets the same local time.
  uint32_t SetCurrentTime(int t) override;
  // SetPosition and SetSize without clamping; QA_CHANGED.
  uint32_t SetPoSiz(int position, int size) override;
  // Items register with the object that draws them: passed up to the parent.
  bool RegisterUIItem(UIItem *item) override;
  // The object, its variable manager and its musical time all take the ID.
  void SetID(int id) override;
  int GetID() override;  // the variable manager's ID
  // "GetTime", "GetPosition", "GetSize", "GetOffset" write seconds with "%f"; "SetTime SEC"
  // sets the whole tree's time so that this object's local time becomes SEC.
  bool Command(const char *command, char *result) override;
  // "." this object; "mt" and any "mt.NAME" the musical time;
  // "prefs", ".prefs", "*.prefs" the preferences item; "help", ".help", "*.help" the help
  // item; "IDS_..." the variable manager's buttons, else the variable of that name.
  UIItem *UIItemResolve(const char *name) override;

  // ---- Virtual operations added by vemotime (slots 29 to 43) ----
  virtual uint32_t SetOffset(int offset);                                             // 29
  virtual int GetOffset();                                                            // 30
  virtual int GetTimeFloat(int id, double *value, double *minimum, double *maximum);  // 31
  virtual double GetTimeFloat(int id, int time);                                      // 32
  virtual double GetTimeFloat(int id);                                                // 33
  virtual bool CheckTimeFloat(int id);                                                // 34
  virtual uint32_t DeleteTimeFloatEntry(int id);                                      // 35
  virtual uint32_t DeletePreviousTimeFloatEntries(int id);                            // 36
  virtual uint32_t DeleteNextTimeFloatEntries(int id);                                // 37
  virtual uint32_t NextTimeFloatTime(int id);                                         // 38
  virtual uint32_t PrevTimeFloatTime(int id);                                         // 39
  virtual bool rcDraw(HDC hdc, RECT rc);                                              // 40
  virtual uint32_t Commit();                                                          // 41
  virtual uint32_t Revert();                                                          // 42
  virtual uint32_t Reset();                                                           // 43

  // ---- Extent ----
  uint32_t MovePoSiz(int delta);  // SetPosition(GetPosition() + delta)

  // ---- Variables (by ID, at the manager's local time) ----
  int AddTimeFloat(const char *name, int id, double min, double max, double def, uint32_t colour1,
                   uint32_t colour2, int kind);
  // Sets a key at the current time; QA_CHANGED, or 0 when undeclared.
  uint32_t SetTimeFloat(int id, double v);
  uint32_t ResetTimeFloat(int id);  // drops the variable's keys; QA_CHANGED
  timefloat *FindTimeFloat(int id);
  timefloat *FindTimeFloat(const char *name);
  // Selects the variable for editing: QA_UPDATE, or 0 (and no selection) when undeclared.
  uint32_t SetCurrentTimeFloat(int id);
  int GetCurrentTimeFloat() const { return currenttimefloat; }
  // Lets the user choose among the object's variables (not the group headers).
  uint32_t SelectCurrentTimeFloat(HWND hwnd);
  // The selected variable, or else selects the first variable that is not a group header;
  // its ID, 0 when there is none.
  int GuessCurrentTimeFloat();
  // The object's variables as a menu tree: a branch per group with its variables as leaves
  // (their IDs), variables before the first group as leaves of the top; the number of leaves.
  int CollectTimeFloats(intarraytree *tree);

  // ---- Animated rectangles ----
  bool RectCreateSource();       // the group and the four source edges; true
  bool RectCreateDestination();  // the group and the four destination edges; true
  int TV_IDS_SRC_RECT();
  int TV_IDS_SRC_L();
  int TV_IDS_SRC_T();
  int TV_IDS_SRC_R();
  int TV_IDS_SRC_B();
  int TV_IDS_DST_RECT();
  int TV_IDS_DST_L();
  int TV_IDS_DST_T();
  int TV_IDS_DST_R();
  int TV_IDS_DST_B();
  // The four edges (variable IDs) at the current time.
  frect GetTimeRect(int l, int t, int r, int b);
  int GetTimeRect(frect &out, int l, int t, int r, int b);            // 1
  uint32_t SetTimeRect(int l, int t, int r, int b, const frect &rc);  // keys for all four; QA_CHANGED
  uint32_t ResetTimeRect(int l, int t, int r, int b);
  uint32_t DeleteTimeRect(int l, int t, int r, int b);
  uint32_t DeletePrevTimeRect(int l, int t, int r, int b);
  uint32_t DeleteNextTimeRect(int l, int t, int r, int b);

  // ---- Animated colours: four variables (0..1) hold red, green, blue and alpha ----
  pix32 GetTimeColor(int r, int g, int b, int a);              // each channel through vemo::d2uc
  uint32_t SetTimeColor(int r, int g, int b, int a, pix32 c);  // each channel through vemo::uc2d
  uint32_t ResetTimeColor(int r, int g, int b, int a);
  uint32_t DeleteTimeColor(int r, int g, int b, int a);
  uint32_t DeletePrevTimeColor(int r, int g, int b, int a);
  uint32_t DeleteNextTimeColor(int r, int g, int b, int a);

  // ---- Forwarders to the variable manager ----
  int tfSave(FILE *f) { return tfmgr.Save(f); }
  int tfLoad(FILE *f) { return tfmgr.Load(f); }
  int tfLoadExact(FILE *f) { return tfmgr.LoadExact(f); }
  uint32_t tfSetCurrentTime(int t) { return tfmgr.SetCurrentTime(t); }
  uint32_t tfSetSize(int s) { return tfmgr.SetSize(s); }
  int tfDraw(HDC hdc, RECT rc, int flags) { return tfmgr.Draw(hdc, rc, flags); }
  RECT tfLayout(RECT rc) { return tfmgr.Layout(rc); }
  uint32_t tfQueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) {
    return tfmgr.QueryAction(hwnd, message, pt, keys);
  }
  int tfCommit() { return tfmgr.Commit(); }
  int tfRevert() { return tfmgr.Revert(); }
  int tfReset() { return tfmgr.Reset(); }

  timefloatmgr &GetTimeFloatMgr() { return tfmgr; }
  mtime &GetMTime() { return mt; }

  // The application-wide preferences and help items that every timed object resolves.
  static UIItem *GetPrefsItem();
  static UIItem *GetHelpItem();

 protected:
  mtime mt;
  timefloatmgr tfmgr;
  int32_t currenttimefloat = 0;

 private:
  void AdoptMembers();
  // Applies op to each of the variables given, or-ing the results.
  template <typename Op>
  uint32_t ForEach(std::initializer_list<int> ids, Op op);
};
