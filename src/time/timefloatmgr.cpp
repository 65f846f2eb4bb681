// timefloatmgr: declaration, lookup, pending edits, time, groups and the manager's record.
#include "time/timefloatmgr.h"

#include <strings.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/dialogs.h"

namespace {
constexpr uint32_t kNoColour = 0xFFFFFFFFu;
}

timefloatmgr::timefloatmgr() {
  data.size = sizeof data;
  data.count = 0;
  InitButtons();
}

timefloatmgr::timefloatmgr(const timefloatmgr &other) : UIItem(other) { CopyFrom(other); }

timefloatmgr &timefloatmgr::operator=(const timefloatmgr &other) {
  if (this != &other) {
    UIItem::operator=(other);
    CopyFrom(other);
  }
  return *this;
}

void timefloatmgr::CopyFrom(const timefloatmgr &other) {
  data = other.data;
  changed = other.changed;
  for (int i = 0; i < kMaxVariables; ++i) vars[i] = other.vars[i];
  currentgroup = other.currentgroup;
  selectedgroup = other.selectedgroup;
  editvar = other.editvar;
  InitButtons();
}

void timefloatmgr::InitButtons() {
  groupbutton.SetID(ID_GROUPS_BUTTON);
  parametersbutton.SetID(ID_PARAMETERS_BUTTON);
  nextbutton.SetID(ID_NEXTKEY_BUTTON);
  prevbutton.SetID(ID_PREVKEY_BUTTON);
  valuefield.SetID(ID_VALUE_FIELD);
  valueslider.SetID(ID_VALUE_SLIDER);
  groupbutton.UISetStyle(UISTYLE_FLAT);
  valuefield.UISetStyle(UISTYLE_RIGHT);
  valuefield.UISetName("The value at the current time: click and type, Enter sets a key");
  valueslider.UISetName("Slide to set a key at the current time");
  for (UIItem *b : {static_cast<UIItem *>(&groupbutton), static_cast<UIItem *>(&parametersbutton),
                    static_cast<UIItem *>(&nextbutton), static_cast<UIItem *>(&prevbutton),
                    static_cast<UIItem *>(&valuefield), static_cast<UIItem *>(&valueslider)})
    b->SetParent(this);
}

void timefloatmgr::Attach(vemo *p, surface *s, vemowin *w) {
  parent = p;
  surfaces = s;
  wincontext = w;
  for (int i = 0; i < data.count; ++i) vars[i].Attach(p, s, w);
  InitButtons();
}

// ---- Declaration ----

int timefloatmgr::timefloatadd(const char *n, int new_id, double min, double max, double def) {
  if (!n || std::strlen(n) >= sizeof(tfData::name)) return 0;
  if (timefloatget(n) >= 0 || data.count >= kMaxVariables) return 0;
  timefloat &v = vars[data.count];
  v.SetName(n);
  v.SetProperties(min, max, def);
  v.SetID(new_id);
  v.SetGroupID(new_id);
  const char *shown = GetStringPtr(new_id);
  v.SetText(shown[0] ? shown : n);
  v.Attach(parent, surfaces, wincontext);
  ++data.count;
  return 1;
}

int timefloatmgr::timefloatadd(const char *n, int new_id, double min, double max, double def,
                               uint32_t colour1, uint32_t colour2, int kind) {
  const int before = data.count;
  timefloatadd(n, new_id, min, max, def);
  // A new variable is the last one; only a name already there needs the search.
  if (timefloat *v = data.count > before ? &vars[data.count - 1] : GetTimeFloatPointer(n)) {
    v->SetColors(colour1 != kNoColour ? colour1 : v->GetColor1(),
                 colour2 != kNoColour ? colour2 : v->GetColor2());
    v->SetKind(static_cast<uint32_t>(kind));
  }
  if ((kind & 3) == 0) currentgroup = new_id;
  return 1;
}

// ---- Lookup ----

int timefloatmgr::timefloatget(const char *n) const {
  if (!n) return -1;
  for (int i = 0; i < data.count; ++i)
    if (strcasecmp(vars[i].GetName(), n) == 0) return i;
  return -1;
}

int timefloatmgr::timefloatget(int var_id) const {
  for (int i = 0; i < data.count; ++i)
    if (vars[i].Header().id == var_id) return i;
  return -1;
}

timefloat *timefloatmgr::GetTimeFloatPointer(const char *n) { return GetTimeFloatByIndex(timefloatget(n)); }

timefloat *timefloatmgr::GetTimeFloatPointer(int var_id) { return GetTimeFloatByIndex(timefloatget(var_id)); }

// ---- Values ----

double timefloatmgr::timefloatget(const char *n, int time) {
  const timefloat *v = GetTimeFloatPointer(n);
  return v ? v->GetValue(time) : 0.0;
}

double timefloatmgr::timefloatget(int var_id, int time) {
  const timefloat *v = GetTimeFloatPointer(var_id);
  return v ? v->GetValue(time) : 0.0;
}

namespace {
int GetWithBounds(const timefloat *v, int time, double *value, double *min, double *max) {
  if (!v) return 0;
  if (value) *value = v->GetValue(time);
  if (min) *min = v->GetMinimum();
  if (max) *max = v->GetMaximum();
  return 1;
}
}  // namespace

int timefloatmgr::timefloatget(const char *n, int time, double *value, double *min, double *max) {
  return GetWithBounds(GetTimeFloatPointer(n), time, value, min, max);
}

int timefloatmgr::timefloatget(int var_id, int time, double *value, double *min, double *max) {
  return GetWithBounds(GetTimeFloatPointer(var_id), time, value, min, max);
}

int timefloatmgr::timefloatset(const char *n, int time, double v) {
  timefloat *tf = GetTimeFloatPointer(n);
  if (!tf) return 0;
  changed = 1;
  if (tf->GetGroupID() != 0) currentgroup = tf->GetGroupID();
  return tf->SetValue(time, v);
}

int timefloatmgr::timefloatset(int var_id, int time, double v) {
  timefloat *tf = GetTimeFloatPointer(var_id);
  if (!tf) return 0;
  changed = 1;
  if (tf->GetGroupID() != 0) currentgroup = tf->GetGroupID();
  return tf->SetValue(time, v);
}

int timefloatmgr::timefloatreset(const char *n) {
  timefloat *tf = GetTimeFloatPointer(n);
  return tf ? tf->Reset() : 0;
}

int timefloatmgr::timefloatreset(int var_id) {
  timefloat *tf = GetTimeFloatPointer(var_id);
  return tf ? tf->Reset() : 0;
}

// ---- Pending edits and time ----

int timefloatmgr::Commit() {
  for (int i = 0; i < data.count; ++i) vars[i].Commit();
  changed = 0;
  return 1;
}

int timefloatmgr::Revert() {
  for (int i = 0; i < data.count; ++i) vars[i].Revert();
  changed = 0;
  return 1;
}

int timefloatmgr::Reset() {
  for (int i = 0; i < data.count; ++i) vars[i].Reset();
  changed = 0;
  return 1;
}

uint32_t timefloatmgr::SetCurrentTime(int t) {
  currenttime = t - position + offset;
  uint32_t result = QA_UPDATE;
  for (int i = 0; i < data.count; ++i) result |= vars[i].SetCurrentTime(currenttime);
  return result;
}

// ---- Persistence ----

int timefloatmgr::Save(FILE *f) {
  if (!f) return 0;
  tfmgrData out = data;
  if (SizedDataWrite(f, &out, sizeof out) != 1) return 0;
  for (int i = 0; i < data.count; ++i)
    if (!vars[i].Save(f)) return 0;
  return 1;
}

int timefloatmgr::Load(FILE *f) {
  tfmgrData stored;
  if (!f || !SizedDataRead(f, &stored, sizeof stored)) return 0;
  // Variables the file does not hold keep their declared defaults and no keys.
  for (int i = 0; i < data.count; ++i) vars[i].Reset();
  timefloat curve;
  for (int32_t n = 0; n < stored.count; ++n) {
    // After a curve that cannot be read, nothing that follows can be framed.
    if (!curve.Load(f)) break;
    if (timefloat *v = GetTimeFloatPointer(curve.GetName())) v->Set(&curve);
  }
  Commit();
  return 1;
}

int timefloatmgr::LoadExact(FILE *f) {
  tfmgrData stored;
  if (!f || !SizedDataRead(f, &stored, sizeof stored) || stored.count < 0 || stored.count > kMaxVariables)
    return 0;
  std::vector<timefloat> curves(static_cast<size_t>(stored.count));
  for (timefloat &curve : curves)
    if (!curve.Load(f)) return 0;
  for (int i = 0; i < stored.count; ++i) {
    timefloat &v = vars[i];
    const timefloat &c = curves[static_cast<size_t>(i)];
    if (i >= data.count || strcasecmp(v.GetName(), c.GetName()) != 0) {
      v = timefloat();
      v.SetID(c.Header().id);
      v.SetGroupID(c.Header().id);
      const char *shown = GetStringPtr(c.Header().id);
      v.SetText(shown[0] ? shown : c.GetName());
      v.Attach(parent, surfaces, wincontext);
    }
    // The whole stored header (bounds, kind, carried bytes), with the curve's own key count.
    tfData h = c.Header();
    h.count = v.Header().count;
    v.Header() = h;
    v.SetKind(h.flags);
    v.Set(&c);
  }
  for (int i = stored.count; i < data.count; ++i) vars[i] = timefloat();
  data.count = stored.count;
  Commit();
  return 1;
}

// ---- Groups ----

int timefloatmgr::GroupCount() const {
  int n = 0;
  for (int i = 0; i < data.count; ++i)
    if ((vars[i].GetKind() & TF_KIND_GROUP) == TF_KIND_GROUP) ++n;
  return n;
}

int timefloatmgr::FindCurrentGroup() {
  selectedgroup = 0;
  if (currentgroup == 0) return -1;
  int header = -1;
  for (int i = 0; i < data.count; ++i) {
    if ((vars[i].GetKind() & TF_KIND_GROUP) == TF_KIND_GROUP) header = i;
    if (vars[i].GetGroupID() == currentgroup) {
      if (header < 0) return -1;
      selectedgroup = vars[header].Header().id;
      return header;
    }
  }
  return -1;
}

uint32_t timefloatmgr::QAPopGroups(HWND hwnd) {
  std::vector<std::string> entries;
  std::vector<int> ids;
  for (int i = 0; i < data.count; ++i) {
    if ((vars[i].GetKind() & TF_KIND_GROUP) != TF_KIND_GROUP) continue;
    entries.emplace_back(vars[i].GetText());
    ids.push_back(vars[i].Header().id);
  }
  if (entries.empty()) return 0;
  const int choice = Dialogs().Choose(hwnd, GetStringPtr(ID_GROUPS_BUTTON), entries);
  if (choice < 1 || choice > static_cast<int>(ids.size())) return 0;
  currentgroup = ids[static_cast<size_t>(choice - 1)];
  return QA_UPDATE;
}

// ---- Items ----

UIItem *timefloatmgr::UIItemResolve(const char *n) {
  if (!n) return nullptr;
  const int number = ResolveNumber(n);
  auto is = [&](int item, const char *full, const char *bare) {
    return number == item || strcasecmp(n, full) == 0 || strcasecmp(n, bare) == 0;
  };
  if (is(ID_GROUPS_BUTTON, "IDS_CLICKGROUPS", "CLICKGROUPS")) return &groupbutton;
  if (is(ID_PARAMETERS_BUTTON, "IDS_PARAMETERS", "PARAMETERS")) return &parametersbutton;
  if (is(ID_NEXTKEY_BUTTON, "IDS_NEXTKEYFRAME", "NEXTKEYFRAME")) return &nextbutton;
  if (is(ID_PREVKEY_BUTTON, "IDS_PREVKEYFRAME", "PREVKEYFRAME")) return &prevbutton;
  return nullptr;
}
