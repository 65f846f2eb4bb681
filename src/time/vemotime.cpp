// vemotime: local time and trimming, variable access by ID, animated rectangles and colours,
// commands and name resolution of timed objects.
#include "time/vemotime.h"

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "core/commandline.h"
#include "core/dialogs.h"
#include "core/intarraytree.h"
#include "core/saturate.h"
#include "core/uiitems.h"
#include "time/declared_vars.h"

namespace {

bool IsGroup(const timefloat &tf) { return (tf.GetKind() & TF_KIND_GROUP) == TF_KIND_GROUP; }

}  // namespace

vemotime::vemotime() { AdoptMembers(); }

vemotime::vemotime(const vemotime &other)
    : UIItem(other), mt(other.mt), tfmgr(other.tfmgr), currenttimefloat(other.currenttimefloat) {
  AdoptMembers();
}

vemotime &vemotime::operator=(const vemotime &other) {
  if (this == &other) return *this;
  UIItem::operator=(other);
  mt = other.mt;
  tfmgr = other.tfmgr;
  currenttimefloat = other.currenttimefloat;
  AdoptMembers();
  return *this;
}

void vemotime::AdoptMembers() {
  tfmgr.Attach(this, surfaces, wincontext);
  mt.SetParent(this);
}

template <typename Op>
uint32_t vemotime::ForEach(std::initializer_list<int> ids, Op op) {
  uint32_t result = 0;
  for (int var_id : ids) result |= op(var_id);
  return result;
}

// ---- Overrides of earlier slots ----

uint32_t vemotime::SetCurrentTime(int t) {
  // Times from a damaged file can put the local time past the int range: it is held at its ends.
  currenttime = Saturate(int64_t{t} - position + offset);
  tfmgr.SetCurrentTime(currenttime);
  return QA_UPDATE;
}

uint32_t vemotime::SetPoSiz(int pos, int siz) {
  SetPosition(pos);
  SetSize(siz);
  return QA_CHANGED;
}

bool vemotime::RegisterUIItem(UIItem *item) { return parent ? parent->RegisterUIItem(item) : false; }

void vemotime::SetID(int new_id) {
  UIItem::SetID(new_id);
  tfmgr.SetID(new_id);
  mt.SetID(new_id);
}

int vemotime::GetID() { return tfmgr.GetID(); }

bool vemotime::Command(const char *command, char *result) {
  const auto args = SplitCommandLine(command, 64);
  if (args.size() == 1 && result) {
    const std::string &verb = args[0];
    int value = 0;
    bool known = true;
    if (verb == "GetTime")
      value = currenttime;
    else if (verb == "GetPosition")
      value = GetPosition();
    else if (verb == "GetSize")
      value = GetSize();
    else if (verb == "GetOffset")
      value = GetOffset();
    else
      known = false;
    if (known) return CliptimeToString(value, result);
  }
  if (args.size() == 2 && args[0] == "SetTime") {
    if (result) result[0] = 0;
    int local = 0;
    if (!StringToCliptime(args[1].c_str(), &local)) return false;
    // The text is taken as local time and turned into root time by adding the positions of
    // this object and its ancestors below the root. Offsets are not undone: an object with an
    // offset lands that many milliseconds further into its material, as it always has.
    const int64_t root = int64_t(local) + GetRootTimeOffset();
    SetTime(Saturate(root));
    return true;
  }
  return UIItem::Command(command, result);
}

UIItem *vemotime::GetPrefsItem() {
  static UIItemPrefs prefs;
  return &prefs;
}

UIItem *vemotime::GetHelpItem() {
  static UIItem help;
  return &help;
}

UIItem *vemotime::UIItemResolve(const char *n) {
  if (!n) return nullptr;
  if (std::strcmp(n, ".") == 0) return this;
  // "mt.anything" is the musical-time object itself; its own items are reached by asking it.
  if (std::strcmp(n, "mt") == 0 || std::strncmp(n, "mt.", 3) == 0) return &mt;
  for (const char *p : {"prefs", ".prefs", "*.prefs"})
    if (std::strcmp(n, p) == 0) return GetPrefsItem();
  for (const char *h : {"help", ".help", "*.help"})
    if (std::strcmp(n, h) == 0) return GetHelpItem();
  if (std::strncmp(n, "IDS_", 4) == 0) {
    if (UIItem *item = tfmgr.UIItemResolve(n)) return item;
    // Dotted paths of the macro language reach variables by name ("fx1.IDS_GREEN").
    if (timefloat *tf = tfmgr.GetTimeFloatPointer(n)) return tf;
    return nullptr;
  }
  return UIItem::UIItemResolve(n);
}

// ---- Slots 29 to 43 ----

uint32_t vemotime::SetOffset(int o) {
  // Trims the head: the end and the material stay where they are on the timeline.
  const int old = offset;
  SetPosition(Saturate(int64_t{GetPosition()} - old + o));
  SetSize(Saturate(int64_t{GetSize()} + old - o));
  offset = o;
  MoveTime(0);
  return QA_CHANGED;
}

int vemotime::GetOffset() { return offset; }

int vemotime::GetTimeFloat(int var_id, double *value, double *minimum, double *maximum) {
  return tfmgr.timefloatget(var_id, tfmgr.GetCurrentTime(), value, minimum, maximum);
}

double vemotime::GetTimeFloat(int var_id, int time) { return tfmgr.timefloatget(var_id, time); }

double vemotime::GetTimeFloat(int var_id) { return tfmgr.timefloatget(var_id, tfmgr.GetCurrentTime()); }

bool vemotime::CheckTimeFloat(int var_id) {
  const timefloat *tf = tfmgr.GetTimeFloatPointer(var_id);
  return tf && tf->CheckValue(tfmgr.GetCurrentTime());
}

uint32_t vemotime::DeleteTimeFloatEntry(int var_id) {
  timefloat *tf = tfmgr.GetTimeFloatPointer(var_id);
  if (!tf || !tf->KillValue(tfmgr.GetCurrentTime())) return 0;
  return ExitQueryAction(QA_CHANGED);
}

// Both answer QA_CHANGED whether or not a key sat at the current time (only then does the
// curve change), unlike DeleteTimeFloatEntry, which answers 0 when there is nothing to delete.
uint32_t vemotime::DeletePreviousTimeFloatEntries(int var_id) {
  if (timefloat *tf = tfmgr.GetTimeFloatPointer(var_id)) tf->DeletePrev(tfmgr.GetCurrentTime());
  return ExitQueryAction(QA_CHANGED);
}

uint32_t vemotime::DeleteNextTimeFloatEntries(int var_id) {
  if (timefloat *tf = tfmgr.GetTimeFloatPointer(var_id)) tf->DeleteNext(tfmgr.GetCurrentTime());
  return ExitQueryAction(QA_CHANGED);
}

uint32_t vemotime::NextTimeFloatTime(int var_id) { return ExitQueryAction(tfmgr.MoveToKey(var_id, true)); }

uint32_t vemotime::PrevTimeFloatTime(int var_id) { return ExitQueryAction(tfmgr.MoveToKey(var_id, false)); }

bool vemotime::rcDraw(HDC, RECT) { return false; }

uint32_t vemotime::Commit() {
  return static_cast<uint32_t>(tfmgr.Commit()) | static_cast<uint32_t>(mt.Commit());
}

uint32_t vemotime::Revert() {
  return static_cast<uint32_t>(tfmgr.Revert()) | static_cast<uint32_t>(mt.Revert());
}

uint32_t vemotime::Reset() { return static_cast<uint32_t>(tfmgr.Reset()) | mt.Reset(); }

// ---- Extent ----

uint32_t vemotime::MovePoSiz(int delta) { return SetPosition(Saturate(int64_t{GetPosition()} + delta)); }

// ---- Variables ----

int vemotime::AddTimeFloat(const char *n, int var_id, double min, double max, double def, uint32_t colour1,
                           uint32_t colour2, int kind) {
  return tfmgr.timefloatadd(n, var_id, min, max, def, colour1, colour2, kind);
}

uint32_t vemotime::SetTimeFloat(int var_id, double v) {
  if (tfmgr.timefloatget(var_id) < 0) return 0;
  tfmgr.timefloatset(var_id, tfmgr.GetCurrentTime(), v);
  return QA_CHANGED;
}

uint32_t vemotime::ResetTimeFloat(int var_id) {
  tfmgr.timefloatreset(var_id);
  return QA_CHANGED;
}

timefloat *vemotime::FindTimeFloat(int var_id) { return tfmgr.GetTimeFloatPointer(var_id); }

timefloat *vemotime::FindTimeFloat(const char *n) { return tfmgr.GetTimeFloatPointer(n); }

uint32_t vemotime::SetCurrentTimeFloat(int var_id) {
  if (tfmgr.timefloatget(var_id) < 0) {
    currenttimefloat = 0;
    return 0;
  }
  currenttimefloat = var_id;
  return QA_UPDATE;
}

uint32_t vemotime::SelectCurrentTimeFloat(HWND hwnd) {
  std::vector<std::string> entries;
  std::vector<int> ids;
  for (int i = 0; i < tfmgr.GetCount(); ++i) {
    const timefloat *tf = tfmgr.GetTimeFloatByIndex(i);
    if (IsGroup(*tf)) continue;
    entries.emplace_back(tf->GetText());
    ids.push_back(tf->Header().id);
  }
  if (entries.empty()) return 0;
  const int choice = Dialogs().Choose(hwnd, GetStringPtr(timefloatmgr::ID_PARAMETERS_BUTTON), entries);
  if (choice < 1 || choice > static_cast<int>(ids.size())) return 0;
  return SetCurrentTimeFloat(ids[static_cast<size_t>(choice - 1)]);
}

int vemotime::CollectTimeFloats(intarraytree *tree) {
  if (!tree) return 0;
  intarraytree *group = tree;
  int n = 0;
  for (int i = 0; i < tfmgr.GetCount(); ++i) {
    const timefloat *tf = tfmgr.GetTimeFloatByIndex(i);
    if (IsGroup(*tf)) {
      group = tree->AddBranch(tf->GetText());
      continue;
    }
    n += group->Add(tf->Header().id, tf->GetText()) ? 1 : 0;
  }
  return n;
}

int vemotime::GuessCurrentTimeFloat() {
  if (currenttimefloat != 0 && tfmgr.timefloatget(currenttimefloat) >= 0) return currenttimefloat;
  for (int i = 0; i < tfmgr.GetCount(); ++i) {
    const timefloat *tf = tfmgr.GetTimeFloatByIndex(i);
    if (IsGroup(*tf)) continue;
    currenttimefloat = tf->Header().id;
    return currenttimefloat;
  }
  currenttimefloat = 0;
  return 0;
}

// ---- Animated rectangles ----

int vemotime::TV_IDS_SRC_RECT() { return DeclareVariable(tfmgr, "IDS_SRC_RECT"); }
int vemotime::TV_IDS_SRC_L() { return DeclareVariable(tfmgr, "IDS_SRC_L"); }
int vemotime::TV_IDS_SRC_T() { return DeclareVariable(tfmgr, "IDS_SRC_T"); }
int vemotime::TV_IDS_SRC_R() { return DeclareVariable(tfmgr, "IDS_SRC_R"); }
int vemotime::TV_IDS_SRC_B() { return DeclareVariable(tfmgr, "IDS_SRC_B"); }
int vemotime::TV_IDS_DST_RECT() { return DeclareVariable(tfmgr, "IDS_DST_RECT"); }
int vemotime::TV_IDS_DST_L() { return DeclareVariable(tfmgr, "IDS_DST_L"); }
int vemotime::TV_IDS_DST_T() { return DeclareVariable(tfmgr, "IDS_DST_T"); }
int vemotime::TV_IDS_DST_R() { return DeclareVariable(tfmgr, "IDS_DST_R"); }
int vemotime::TV_IDS_DST_B() { return DeclareVariable(tfmgr, "IDS_DST_B"); }

bool vemotime::RectCreateSource() {
  TV_IDS_SRC_RECT();
  TV_IDS_SRC_L();
  TV_IDS_SRC_T();
  TV_IDS_SRC_R();
  TV_IDS_SRC_B();
  return true;
}

bool vemotime::RectCreateDestination() {
  TV_IDS_DST_RECT();
  TV_IDS_DST_L();
  TV_IDS_DST_T();
  TV_IDS_DST_R();
  TV_IDS_DST_B();
  return true;
}

frect vemotime::GetTimeRect(int l, int t, int r, int b) {
  return frect(GetTimeFloat(l), GetTimeFloat(t), GetTimeFloat(r), GetTimeFloat(b));
}

int vemotime::GetTimeRect(frect &out, int l, int t, int r, int b) {
  out.left = GetTimeFloat(l);
  out.top = GetTimeFloat(t);
  out.right = GetTimeFloat(r);
  out.bottom = GetTimeFloat(b);
  return 1;
}

uint32_t vemotime::SetTimeRect(int l, int t, int r, int b, const frect &rc) {
  SetTimeFloat(l, rc.left);
  SetTimeFloat(t, rc.top);
  SetTimeFloat(r, rc.right);
  SetTimeFloat(b, rc.bottom);
  return QA_CHANGED;
}

uint32_t vemotime::ResetTimeRect(int l, int t, int r, int b) {
  return ForEach({l, t, r, b}, [this](int v) { return ResetTimeFloat(v); });
}

uint32_t vemotime::DeleteTimeRect(int l, int t, int r, int b) {
  return ForEach({l, t, r, b}, [this](int v) { return DeleteTimeFloatEntry(v); });
}

uint32_t vemotime::DeletePrevTimeRect(int l, int t, int r, int b) {
  return ForEach({l, t, r, b}, [this](int v) { return DeletePreviousTimeFloatEntries(v); });
}

uint32_t vemotime::DeleteNextTimeRect(int l, int t, int r, int b) {
  return ForEach({l, t, r, b}, [this](int v) { return DeleteNextTimeFloatEntries(v); });
}

// ---- Animated colours ----

pix32 vemotime::GetTimeColor(int r, int g, int b, int a) {
  return pix32(d2uc(GetTimeFloat(r)), d2uc(GetTimeFloat(g)), d2uc(GetTimeFloat(b)), d2uc(GetTimeFloat(a)));
}

uint32_t vemotime::SetTimeColor(int r, int g, int b, int a, pix32 c) {
  SetTimeFloat(r, uc2d(c.r));
  SetTimeFloat(g, uc2d(c.g));
  SetTimeFloat(b, uc2d(c.b));
  SetTimeFloat(a, uc2d(c.a));
  return QA_CHANGED;
}

uint32_t vemotime::ResetTimeColor(int r, int g, int b, int a) { return ResetTimeRect(r, g, b, a); }

uint32_t vemotime::DeleteTimeColor(int r, int g, int b, int a) { return DeleteTimeRect(r, g, b, a); }

uint32_t vemotime::DeletePrevTimeColor(int r, int g, int b, int a) { return DeletePrevTimeRect(r, g, b, a); }

uint32_t vemotime::DeleteNextTimeColor(int r, int g, int b, int a) { return DeleteNextTimeRect(r, g, b, a); }
