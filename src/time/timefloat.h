// timefloat: one keyframed, bounded number that changes over clip time.
//
// Common principles of this header:
// - Keys are (time, value) pairs held sorted by strictly increasing time in one contiguous
//   array that grows 100 keys at a time. Two keys never share a time.
// - Values are stored as given; GetValue clamps to [minimum, maximum] on reading.
// - Every key carries a pending-edit state: committed (0), modified since the last commit (1,
//   with the committed value kept as its saved value) or added since the last commit (2).
//   Commit accepts the edits, Revert undoes them.
// - The header (tfData) is the curve's persistent record, written as it stands, followed by
//   one 16-byte record per key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "core/uiitem.h"

// Kind bits of a variable, kept in the curve's flags.
enum : uint32_t {
  TF_KIND_PLAIN = 0,     // an animatable number
  TF_KIND_MEMBER = 3,    // a member whose declaration leaves the current group alone
  TF_KIND_GROUP = 7,     // a group header: holds no values, heads the variables after it
  TF_KIND_SWITCH = 8,    // an on/off switch ranging 0..1
  TF_FLAG_SINGLE = 32,   // one key only; its time is ignored
  TF_FLAG_STEPPED = 64,  // the value holds until the next key (no interpolation)
};

// Pending-edit state of a key.
enum : int32_t {
  TF_KEY_COMMITTED = 0,
  TF_KEY_MODIFIED = 1,
  TF_KEY_ADDED = 2,
};

// The curve header, persisted as it stands (little-endian, 368 bytes).
struct tfData {
  uint32_t size;         // record size, 368
  int32_t count;         // number of keys
  double minimum;        // lower bound of the value
  double maximum;        // upper bound of the value
  double defaultvalue;   // the value of a curve without keys
  char name[256];        // the variable's name, zero-terminated
  uint32_t flags;        // kind bits (TF_KIND_*, TF_FLAG_*)
  uint8_t reserved1[8];  // carried and written back unchanged
  int32_t id;            // the variable's ID
  double reserved2[8];   // carried and written back unchanged
};
static_assert(sizeof(tfData) == 368);
static_assert(offsetof(tfData, size) == 0);
static_assert(offsetof(tfData, count) == 4);
static_assert(offsetof(tfData, minimum) == 8);
static_assert(offsetof(tfData, maximum) == 16);
static_assert(offsetof(tfData, defaultvalue) == 24);
static_assert(offsetof(tfData, name) == 32);
static_assert(offsetof(tfData, flags) == 288);
static_assert(offsetof(tfData, reserved1) == 292);
static_assert(offsetof(tfData, id) == 300);
static_assert(offsetof(tfData, reserved2) == 304);

// A key in memory. Its first 16 bytes are the on-disk key record: time, four bytes written as
// held (always zero), value.
struct tfKey {
  int32_t time;
  uint32_t reserved;
  double value;
  double saved;   // the value at the last commit
  int32_t state;  // TF_KEY_*
  int32_t reserved2;
};
static_assert(sizeof(tfKey) == 32);
static_assert(offsetof(tfKey, time) == 0);
static_assert(offsetof(tfKey, reserved) == 4);
static_assert(offsetof(tfKey, value) == 8);
constexpr size_t TF_DISK_KEY_SIZE = 16;

class timefloat : public UIItem {
 public:
  static constexpr int kGrowth = 100;  // keys added to the array each time it is full

  timefloat();
  timefloat(const char *name, double minimum, double maximum, double defaultvalue);
  // Copies the header record; the curve starts without keys.
  explicit timefloat(const tfData *header);
  timefloat(const timefloat &other);
  timefloat &operator=(const timefloat &other);
  ~timefloat() override;

  // ---- Bounds ----
  // Each setter stores the bound and returns the previous one.
  double SetMinimum(double v);
  double SetMaximum(double v);
  double SetDefault(double v);
  int SetProperties(double min, double max, double def);  // 1
  double GetMinimum() const { return data.minimum; }
  double GetMaximum() const { return data.maximum; }
  double GetDefault() const { return data.defaultvalue; }
  // v clamped to [minimum, maximum]; a value that is no number (a damaged file's key, or keys at
  // the ends of the double range interpolated into inf - inf) reads as the minimum.
  double BoundedValue(double v) const {
    return v > data.maximum ? data.maximum : (v < data.minimum || v != v) ? data.minimum : v;
  }

  // ---- Reading and editing keys ----
  // The value at time t, clamped: the default without keys, the first key's value before the
  // first key, the last key's value at or after the last key, and between two keys the linear
  // interpolation (stepped curves hold the earlier key's value).
  double GetValue(int t) const;
  // Sets a key at t: changes an existing key there (a pending modification) or inserts a new
  // one (a pending addition). A single-value curve changes its one key and returns 0. Returns
  // 0 when the key array cannot grow, 1 otherwise.
  int SetValue(int t, double v);
  int KillValue(int t);          // removes the key at exactly t; 1, or 0 when there is none
  bool CheckValue(int t) const;  // a key lies exactly at t
  int HasValues() const { return data.count; }
  int GetLoIndex() const;  // the time of the first key; 0 without keys
  int GetHiIndex() const;  // the time of the last key; 0 without keys
  // The nearest key time strictly before / after t.
  bool GetPrevValueTime(int t, int *out) const;
  bool GetNextValueTime(int t, int *out) const;
  // When a key lies exactly at t, removes every key before / after it and returns QA_CHANGED;
  // 0 otherwise.
  uint32_t DeletePrev(int t);
  uint32_t DeleteNext(int t);
  int Reset();                      // drops the keys, keeps the header; 1
  int Set(const timefloat *other);  // Reset, then SetValue for each key of other; 1
  int Commit();                     // accept every pending edit; 1
  int Revert();                     // undo every pending edit; 1
  // The lowest and highest key value (unclamped); false without keys.
  bool GetBoundValues(double *lo, double *hi) const;
  bool SetViewingRange(int from, int to);

  // Copies the keys into dst shifted by `shift` (keys that would land before 0 are dropped),
  // then maps their values from [lo, hi] onto dst's [minimum, maximum].
  bool MapTo(timefloat *dst, int shift, double lo, double hi);
  bool MapTo(timefloat *dst, int shift);  // lo and hi are this curve's bounds

  // ---- Processing (each false without keys) ----
  bool ProcessScaleValues(double fromLo, double fromHi, double toLo, double toHi);
  bool ProcessInvert();
  bool ProcessNormalize();
  // Limits how fast the value may fall (forward) or rise towards the end (backward): a full
  // swing between the bounds takes at least r time units. Not pending edits.
  bool ProcessReleaseForward(int r);
  bool ProcessReleaseBackward(int r);
  bool ProcessReleaseBidirectional(int r);  // forward, then backward

  // ---- Persistence: the header, then 16 bytes per key ----
  int Load(FILE *f) override;  // 1, or 0 when the header cannot be read
  int Save(FILE *f) override;  // 1, or 0 at the first failed write

  // ---- Identity and variable properties (kept by the variable manager) ----
  void SetID(int id) override;  // also the header's ID
  int GetID() override { return data.id; }
  // Commands: GetType, GetName, GetKeyCount, GetValue [SEC], SetValue V (at the current time),
  // SetKey SEC V, KillKey SEC, ListKeys ("SEC=VALUE ..."), Reset (drops every key). Times are
  // seconds; values and times are written with "%f".
  bool Command(const char *command, char *result) override;

  const char *GetName() const { return data.name; }
  void SetName(const char *name);
  uint32_t GetKind() const { return kind; }
  void SetKind(uint32_t k) {
    kind = k;
    data.flags = k;
  }
  uint32_t GetFlags() const { return data.flags; }
  int GetGroupID() const { return groupid; }
  void SetGroupID(int g) { groupid = g; }
  COLORREF GetColor1() const { return colour1; }
  COLORREF GetColor2() const { return colour2; }
  void SetColors(COLORREF c1, COLORREF c2) {
    colour1 = c1;
    colour2 = c2;
  }
  const char *GetText() const { return text.c_str(); }
  void SetText(const char *t) { text = t ? t : ""; }
  bool IsChanged() const { return changed != 0; }
  int GetViewFrom() const { return viewfrom; }
  int GetViewTo() const { return viewto; }
  // ---- The curve editor (tfeditor.cpp) ----
  // The curve over its viewing range in the rectangle of the last Layout: the time runs from
  // the viewing range's start at the left column to its end at the right one, the value from
  // the minimum at the bottom row to the maximum at the top, each rounded to the nearest pixel.
  RECT Layout(RECT rc) override;
  int Draw(HDC hdc, RECT rc, int flags) override;
  // Left press on empty ground adds a key there and drags it; on a key drags the key (in time
  // between its neighbours, and in value); right press on a key deletes it.
  uint32_t QueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) override;
  RECT GetDrawRect() const { return drawrect; }
  int KeyX(int t) const;
  int KeyY(double v) const;
  int TimeAtX(int x) const;
  double ValueAtY(int y) const;
  // The index of the key drawn under the point (within kKeyHit pixels), -1 when none.
  static constexpr int kKeyHit = 4;
  int KeyAt(POINT p) const;

  // Places the curve in the object tree without the drawing set-up of UIItemInit (which needs
  // a surface manager and a window context, absent in batch use).
  void Attach(vemo *parent, surface *s, vemowin *w);

  // ---- Direct access for the manager, the editor and tests ----
  const tfData &Header() const { return data; }
  tfData &Header() { return data; }
  const tfKey *Keys() const { return keys; }
  int GetCapacity() const { return capacity; }

 private:
  void InitHeader();
  // The index of the last key at or before t (0 when t lies before the first key), found by a
  // halving search and short correction walks; true when that key lies exactly at t. Needs at
  // least one key.
  bool GetIndex(int t, int *index) const;
  bool MakeRoom();
  void RemoveAt(int index, int n);
  void MarkModified();  // committed keys become modified; sets the changed flag
  void CopyFrom(const timefloat &other);

  tfData data;
  tfKey *keys = nullptr;
  int32_t capacity = 0;
  int32_t changed = 0;
  int32_t viewfrom = 0;
  int32_t viewto = 0;
  int32_t groupid = 0;
  uint32_t kind = 0;
  COLORREF colour1 = 0;
  COLORREF colour2 = RGB(192, 192, 192);
  std::string text;
  RECT drawrect{};
  bool dragging = false;
  int32_t dragtime = 0;
};
