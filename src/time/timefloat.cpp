// timefloat: key lookup and interpolation, pending edits, processing and the curve file form.
#include "time/timefloat.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "core/commandline.h"

static_assert(std::endian::native == std::endian::little, "curve records are written as they lie in memory");

namespace {

// Time differences can span more than an int32 (keys at both ends of the range).
inline double Diff(int32_t a, int32_t b) { return static_cast<double>(int64_t{a} - int64_t{b}); }

// The on-disk key record.
struct diskkey {
  int32_t time;
  uint32_t reserved;
  double value;
};
static_assert(sizeof(diskkey) == TF_DISK_KEY_SIZE);

}  // namespace

// ---- Construction ----

void timefloat::InitHeader() {
  std::memset(&data, 0, sizeof data);
  data.size = sizeof(tfData);
  data.minimum = 0.0;
  data.maximum = 1.0;
  data.defaultvalue = 0.0;
}

timefloat::timefloat() { InitHeader(); }

timefloat::timefloat(const char *n, double minimum, double maximum, double defaultvalue) {
  InitHeader();
  SetName(n);
  data.minimum = minimum;
  data.maximum = maximum;
  data.defaultvalue = defaultvalue;
}

timefloat::timefloat(const tfData *header) {
  InitHeader();
  if (header) {
    data = *header;
    data.size = sizeof(tfData);
    data.name[sizeof data.name - 1] = 0;
  }
  data.count = 0;
  kind = data.flags;
}

timefloat::timefloat(const timefloat &other) : UIItem(other) {
  InitHeader();
  CopyFrom(other);
}

timefloat &timefloat::operator=(const timefloat &other) {
  if (this == &other) return *this;
  UIItem::operator=(other);
  CopyFrom(other);
  return *this;
}

timefloat::~timefloat() { delete[] keys; }

void timefloat::CopyFrom(const timefloat &other) {
  tfKey *copy = nullptr;
  if (other.capacity > 0) {
    copy = new tfKey[other.capacity]();
    std::memcpy(copy, other.keys, sizeof(tfKey) * static_cast<size_t>(other.data.count));
  }
  delete[] keys;
  keys = copy;
  capacity = other.capacity;
  data = other.data;
  changed = other.changed;
  viewfrom = other.viewfrom;
  viewto = other.viewto;
  groupid = other.groupid;
  kind = other.kind;
  colour1 = other.colour1;
  colour2 = other.colour2;
  text = other.text;
}

// ---- Bounds ----

double timefloat::SetMinimum(double v) {
  const double old = data.minimum;
  data.minimum = v;
  return old;
}

double timefloat::SetMaximum(double v) {
  const double old = data.maximum;
  data.maximum = v;
  return old;
}

double timefloat::SetDefault(double v) {
  const double old = data.defaultvalue;
  data.defaultvalue = v;
  return old;
}

int timefloat::SetProperties(double min, double max, double def) {
  SetMinimum(min);
  SetMaximum(max);
  SetDefault(def);
  return 1;
}

// ---- Lookup ----

bool timefloat::GetIndex(int t, int *index) const {
  const int n = data.count;
  const tfKey *k = keys;
  // Halving search. The step that halves to 0 would compare without moving, so it is skipped;
  // that also keeps every probe inside the array.
  int i = (n + 1) / 2;
  int step = i;
  while (step > 1) {
    step /= 2;
    if (k[i].time > t)
      i -= step;
    else if (k[i].time < t)
      i += step;
  }
  // Corrections: the halving steps lose their odd halves, so the probe can end a few keys off.
  // The forward walk may reach the last key, so a time at or after it finds the last key.
  while (i > n - 1) --i;
  while (i < n - 1 && k[i].time < t) ++i;
  while (i > 0 && k[i].time > t) --i;
  *index = i;
  return k[i].time == t;
}

double timefloat::GetValue(int t) const {
  const int n = data.count;
  if (n == 0) return BoundedValue(data.defaultvalue);
  const tfKey *k = keys;
  if (n == 1 || t <= k[0].time) return BoundedValue(k[0].value);
  // At or after the last key the last value holds (never an extrapolation).
  if (t >= k[n - 1].time) return BoundedValue(k[n - 1].value);
  int i = 0;
  // Here k[0].time < t < k[n-1].time, so i lies in 0..n-2 and key i+1 exists.
  if (GetIndex(t, &i) || (data.flags & TF_FLAG_STEPPED)) return BoundedValue(k[i].value);
  const tfKey &a = k[i];
  const tfKey &b = k[i + 1];
  return BoundedValue((Diff(t, a.time) * b.value + Diff(b.time, t) * a.value) / Diff(b.time, a.time));
}

bool timefloat::CheckValue(int t) const {
  if (data.count == 0) return false;
  int i = 0;
  return GetIndex(t, &i);
}

int timefloat::GetLoIndex() const { return data.count ? keys[0].time : 0; }

int timefloat::GetHiIndex() const { return data.count ? keys[data.count - 1].time : 0; }

bool timefloat::GetPrevValueTime(int t, int *out) const {
  const int n = data.count;
  if (n == 0) return false;
  if (n == 1) {
    if (keys[0].time >= t) return false;
    *out = keys[0].time;
    return true;
  }
  if (t == INT32_MIN) return false;  // nothing lies before the earliest time
  int i = 0;
  GetIndex(t - 1, &i);
  if (keys[i].time >= t) return false;
  *out = keys[i].time;
  return true;
}

bool timefloat::GetNextValueTime(int t, int *out) const {
  const int n = data.count;
  if (n == 0) return false;
  if (n == 1) {
    if (keys[0].time <= t) return false;
    *out = keys[0].time;
    return true;
  }
  if (t == INT32_MAX) return false;
  int i = 0;
  if (GetIndex(t + 1, &i)) {
    *out = t + 1;
    return true;
  }
  if (i + 1 >= n || keys[i + 1].time <= t) return false;
  *out = keys[i].time <= t ? keys[i + 1].time : keys[i].time;
  return true;
}

bool timefloat::GetBoundValues(double *lo, double *hi) const {
  if (data.count == 0) return false;
  double l = keys[0].value, h = keys[0].value;
  for (int i = 1; i < data.count; ++i) {
    l = std::min(l, keys[i].value);
    h = std::max(h, keys[i].value);
  }
  if (lo) *lo = l;
  if (hi) *hi = h;
  return true;
}

bool timefloat::SetViewingRange(int from, int to) {
  viewfrom = from;
  viewto = to;
  return true;
}

// ---- Editing ----

bool timefloat::MakeRoom() {
  if (capacity > data.count + 1) return true;
  if (capacity > INT32_MAX - kGrowth) return false;
  const int grown = capacity + kGrowth;
  tfKey *bigger = new (std::nothrow) tfKey[grown]();  // new slots zeroed
  if (!bigger) return false;
  if (data.count) std::memcpy(bigger, keys, sizeof(tfKey) * static_cast<size_t>(data.count));
  delete[] keys;
  keys = bigger;
  capacity = grown;
  return true;
}

int timefloat::SetValue(int t, double v) {
  if (!MakeRoom()) return 0;
  if (data.count == 0) {
    keys[0] = tfKey{t, 0, v, v, TF_KEY_ADDED, 0};
    data.count = 1;
    changed = 1;
    return 1;
  }
  auto modify = [v](tfKey &k) {
    if (k.state == TF_KEY_COMMITTED) {
      k.state = TF_KEY_MODIFIED;
      k.saved = k.value;
    }
    k.value = v;
  };
  if (data.flags & TF_FLAG_SINGLE) {
    modify(keys[0]);
    return 0;  // no key was added
  }
  int i = 0;
  if (GetIndex(t, &i)) {
    modify(keys[i]);
    return 1;
  }
  while (i < data.count && keys[i].time < t) ++i;
  std::memmove(keys + i + 1, keys + i, sizeof(tfKey) * static_cast<size_t>(data.count - i));
  keys[i] = tfKey{t, 0, v, v, TF_KEY_ADDED, 0};
  ++data.count;
  changed = 1;
  return 1;
}

void timefloat::RemoveAt(int index, int n) {
  std::memmove(keys + index, keys + index + n, sizeof(tfKey) * static_cast<size_t>(data.count - index - n));
  data.count -= n;
}

int timefloat::KillValue(int t) {
  int i = 0;
  if (data.count == 0 || !GetIndex(t, &i)) return 0;
  RemoveAt(i, 1);
  return 1;
}

uint32_t timefloat::DeletePrev(int t) {
  int i = 0;
  if (data.count == 0 || !GetIndex(t, &i)) return 0;
  RemoveAt(0, i);
  return QA_CHANGED;
}

uint32_t timefloat::DeleteNext(int t) {
  int i = 0;
  if (data.count == 0 || !GetIndex(t, &i)) return 0;
  data.count = i + 1;
  return QA_CHANGED;
}

int timefloat::Reset() {
  data.count = 0;
  return 1;
}

int timefloat::Set(const timefloat *other) {
  if (!other) return Reset();
  if (other == this) {
    const timefloat copy(*this);
    return Set(&copy);
  }
  Reset();
  for (int i = 0; i < other->data.count; ++i) SetValue(other->keys[i].time, other->keys[i].value);
  return 1;
}

int timefloat::Commit() {
  for (int i = 0; i < data.count; ++i) {
    keys[i].state = TF_KEY_COMMITTED;
    keys[i].saved = keys[i].value;
  }
  changed = 0;
  return 1;
}

int timefloat::Revert() {
  int kept = 0;
  for (int i = 0; i < data.count; ++i) {
    tfKey k = keys[i];
    if (k.state == TF_KEY_ADDED) continue;
    if (k.state == TF_KEY_MODIFIED) {
      k.value = k.saved;
      k.state = TF_KEY_COMMITTED;
    }
    keys[kept++] = k;
  }
  data.count = kept;
  changed = 0;
  return 1;
}

// ---- Processing ----

void timefloat::MarkModified() {
  for (int i = 0; i < data.count; ++i) {
    if (keys[i].state == TF_KEY_COMMITTED) {
      keys[i].state = TF_KEY_MODIFIED;
      keys[i].saved = keys[i].value;
    }
  }
  changed = 1;
}

bool timefloat::ProcessScaleValues(double fromLo, double fromHi, double toLo, double toHi) {
  if (data.count == 0 || !(fromHi > fromLo) || !(toHi > toLo)) return false;
  MarkModified();
  for (int i = 0; i < data.count; ++i)
    keys[i].value = toLo + (keys[i].value - fromLo) * (toHi - toLo) / (fromHi - fromLo);
  return true;
}

bool timefloat::ProcessInvert() {
  if (data.count == 0) return false;
  MarkModified();
  for (int i = 0; i < data.count; ++i) keys[i].value = data.maximum - (keys[i].value - data.minimum);
  return true;
}

bool timefloat::ProcessNormalize() {
  double lo = 0, hi = 0;
  if (!GetBoundValues(&lo, &hi) || !(lo < hi)) return false;
  MarkModified();
  const double span = data.maximum - data.minimum;
  for (int i = 0; i < data.count; ++i) keys[i].value = data.minimum + (keys[i].value - lo) * span / (hi - lo);
  return true;
}

bool timefloat::ProcessReleaseForward(int r) {
  if (data.count == 0) return false;
  if (r == 0) return true;  // an instant release limits nothing
  const double span = data.maximum - data.minimum;
  for (int i = 1; i < data.count; ++i) {
    const double p = BoundedValue(keys[i - 1].value);
    const double c = BoundedValue(keys[i].value);
    const double floor = p - span * Diff(keys[i].time, keys[i - 1].time) / r;
    if (c < floor) keys[i].value = floor;
  }
  return true;
}

bool timefloat::ProcessReleaseBackward(int r) {
  if (data.count == 0) return false;
  if (r == 0) return true;
  const double span = data.maximum - data.minimum;
  for (int i = data.count - 2; i >= 0; --i) {
    const double p = BoundedValue(keys[i + 1].value);
    const double c = BoundedValue(keys[i].value);
    const double floor = p - span * Diff(keys[i + 1].time, keys[i].time) / r;
    if (c < floor) keys[i].value = floor;
  }
  return true;
}

bool timefloat::ProcessReleaseBidirectional(int r) {
  return ProcessReleaseForward(r) && ProcessReleaseBackward(r);
}

// ---- Mapping ----

bool timefloat::MapTo(timefloat *dst, int shift, double lo, double hi) {
  if (!dst || data.count == 0 || !(lo < hi)) return false;
  if (dst == this) {
    timefloat source(*this);
    return source.MapTo(dst, shift, lo, hi);
  }
  dst->Reset();
  for (int i = 0; i < data.count; ++i) {
    const int64_t t = int64_t{keys[i].time} + shift;
    if (t < 0 || t > INT32_MAX) continue;
    dst->SetValue(static_cast<int>(t), keys[i].value);
  }
  if (dst->data.count == 0 || !(dst->data.maximum > dst->data.minimum)) return false;
  dst->MarkModified();
  const double span = dst->data.maximum - dst->data.minimum;
  for (int i = 0; i < dst->data.count; ++i)
    dst->keys[i].value = dst->data.minimum + (dst->keys[i].value - lo) * span / (hi - lo);
  return true;
}

bool timefloat::MapTo(timefloat *dst, int shift) { return MapTo(dst, shift, data.minimum, data.maximum); }

// ---- Persistence ----

int timefloat::Load(FILE *f) {
  Reset();
  tfData stored;
  if (!f || !SizedDataRead(f, &stored, sizeof stored)) return 0;
  const int32_t count = stored.count;
  stored.count = 0;
  stored.size = sizeof(tfData);
  stored.name[sizeof stored.name - 1] = 0;
  data = stored;
  kind = data.flags;

  // Keys are read whole before they are set: a stored count says nothing about how many keys
  // the file really holds, and a reordered list must not cost a shift per key. Once a read
  // fails at the end of the file every later read would fail too, so reading stops there.
  std::vector<diskkey> read;
  for (int32_t n = 0; n < count; ++n) {
    diskkey k;
    if (std::fread(&k, sizeof k, 1, f) != 1) {
      if (std::feof(f) || std::ferror(f)) break;
      continue;
    }
    read.push_back(k);
  }
  // Keys written by Save arrive in increasing time and are appended one by one. Any other
  // order gives the same curve as setting them in file order: per time, the last value read.
  bool ordered = true;
  for (size_t n = 1; n < read.size() && ordered; ++n) ordered = read[n - 1].time < read[n].time;
  if (!ordered && !(data.flags & TF_FLAG_SINGLE)) {
    std::stable_sort(read.begin(), read.end(),
                     [](const diskkey &a, const diskkey &b) { return a.time < b.time; });
    size_t kept = 0;
    for (size_t n = 0; n < read.size(); ++n) {
      if (kept && read[kept - 1].time == read[n].time)
        read[kept - 1] = read[n];
      else
        read[kept++] = read[n];
    }
    read.resize(kept);
  }
  for (const diskkey &k : read) SetValue(k.time, k.value);
  Commit();
  return 1;
}

int timefloat::Save(FILE *f) {
  if (!f) return 0;
  tfData out = data;
  if (SizedDataWrite(f, &out, sizeof out) != 1) return 0;
  for (int i = 0; i < data.count; ++i)
    if (std::fwrite(&keys[i], TF_DISK_KEY_SIZE, 1, f) != 1) return 0;
  return 1;
}

// ---- Identity ----

void timefloat::SetID(int new_id) {
  UIItem::SetID(new_id);
  data.id = new_id;
}

void timefloat::SetName(const char *n) {
  std::memset(data.name, 0, sizeof data.name);
  if (n) std::strncpy(data.name, n, sizeof data.name - 1);
}

void timefloat::Attach(vemo *p, surface *s, vemowin *w) {
  parent = p;
  surfaces = s;
  wincontext = w;
}

bool timefloat::Command(const char *command, char *result) {
  const auto args = SplitCommandLine(command, 64);
  if (!result || args.empty()) return UIItem::Command(command, result);
  const std::string &verb = args[0];
  int t = 0;
  auto put = [result](double v) {
    std::snprintf(result, UIITEM_RESULT_SIZE, "%f", v);
    return true;
  };
  if (args.size() == 1) {
    if (verb == "GetType") {
      std::snprintf(result, UIITEM_RESULT_SIZE, "timefloat");
      return true;
    }
    if (verb == "GetName") {
      std::snprintf(result, UIITEM_RESULT_SIZE, "%s", data.name);
      return true;
    }
    if (verb == "GetKeyCount") {
      std::snprintf(result, UIITEM_RESULT_SIZE, "%d", data.count);
      return true;
    }
    if (verb == "GetValue") return put(GetValue(currenttime));
    if (verb == "ListKeys") {
      // "SEC=VALUE" per key, blank-separated, as much as the result holds.
      std::string list;
      char key[96];
      for (int i = 0; i < data.count; ++i) {
        std::snprintf(key, sizeof key, "%s%f=%f", i ? " " : "", keys[i].time / 1000.0, keys[i].value);
        if (list.size() + std::strlen(key) >= size_t(UIITEM_RESULT_SIZE)) break;
        list += key;
      }
      std::snprintf(result, UIITEM_RESULT_SIZE, "%s", list.c_str());
      return true;
    }
    if (verb == "Reset") {
      result[0] = 0;
      Reset();
      return true;
    }
  }
  if (args.size() == 2) {
    if (verb == "GetValue" && StringToCliptime(args[1].c_str(), &t)) return put(GetValue(t));
    if (verb == "SetValue") {
      result[0] = 0;
      double v = 0;
      if (std::sscanf(args[1].c_str(), "%lf", &v) != 1) return false;
      SetValue(currenttime, v);
      return true;
    }
    if (verb == "KillKey" && StringToCliptime(args[1].c_str(), &t)) {
      result[0] = 0;
      return KillValue(t) != 0;
    }
  }
  if (args.size() == 3 && verb == "SetKey" && StringToCliptime(args[1].c_str(), &t)) {
    result[0] = 0;
    double v = 0;
    if (std::sscanf(args[2].c_str(), "%lf", &v) != 1) return false;
    SetValue(t, v);
    return true;
  }
  static const char *const kUsage[][2] = {
      {"GetValue", "usage: GetValue [SEC]"},
      {"SetValue", "usage: SetValue VALUE"},
      {"SetKey", "usage: SetKey SEC VALUE"},
      {"KillKey", "usage: KillKey SEC (a key at that time)"},
  };
  for (const auto &u : kUsage)
    if (verb == u[0]) {
      std::snprintf(result, UIITEM_RESULT_SIZE, "%s", u[1]);
      return false;
    }
  return UIItem::Command(command, result);
}
