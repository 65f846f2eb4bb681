// mtime: tempo and signature settings, the quantization grid and its pending-edit rules.
#include "time/mtime.h"

#include <cmath>
#include <cstdint>

#include "core/saturate.h"

const int32_t mtime::QUANTIZATION_IDS[17] = {
    QUANTIZE_OFF,
    QUANTIZE_SEC100,
    QUANTIZE_SEC30,
    QUANTIZE_SEC25,
    QUANTIZE_SEC24,
    QUANTIZE_SEC20,
    QUANTIZE_SEC15,
    QUANTIZE_SEC10,
    QUANTIZE_SECOND,
    QUANTIZE_BAR,
    QUANTIZE_2,
    QUANTIZE_4,
    QUANTIZE_8,
    QUANTIZE_16,
    QUANTIZE_32,
    QUANTIZE_64,
    0,
};

namespace {

// Truncation toward zero into int32, saturating instead of overflowing.
int32_t TruncToInt(double v) {
  if (!(v < 2147483648.0)) return INT32_MAX;
  if (!(v > -2147483649.0)) return INT32_MIN;
  return static_cast<int32_t>(v);
}

}  // namespace

mtime::mtime() {
  Reset();
  SetClean();  // a new object has nothing pending; its committed copy holds the defaults
}

mtime::mtime(const mtime &other) : UIItem(other) { *this = other; }

mtime &mtime::operator=(const mtime &other) {
  if (this == &other) return *this;
  UIItem::operator=(other);
  bpm = other.bpm;
  unitsize = other.unitsize;
  unitsperbar = other.unitsperbar;
  quantize = other.quantize;
  committed_bpm = other.committed_bpm;
  committed_unitsize = other.committed_unitsize;
  committed_unitsperbar = other.committed_unitsperbar;
  committed_quantize = other.committed_quantize;
  InitItems();
  return *this;
}

bool mtime::IsQuantizeID(int q) {
  if (q == 0) return false;
  for (const int32_t *p = QUANTIZATION_IDS; *p; ++p)
    if (*p == q) return true;
  return false;
}

// ---- Settings ----

uint32_t mtime::SetBPM(double v) {
  if (!(v >= kMinBPM)) v = kMinBPM;  // NaN too
  if (v > kMaxBPM) v = kMaxBPM;
  if (v == bpm) return 0;
  bpm = v;
  dirty = 1;
  return QA_CHANGED;
}

uint32_t mtime::SetBarSize(int units) {
  if (units < 1 || units > 16 || units == unitsperbar) return 0;
  unitsperbar = units;
  dirty = 1;
  return QA_CHANGED;
}

uint32_t mtime::SetUnitSize(int s) {
  const bool allowed = s == 1 || s == 2 || s == 4 || s == 8 || s == 16 || s == 32 || s == 64;
  if (!allowed || s == unitsize) return 0;
  unitsize = s;
  dirty = 1;
  return QA_CHANGED;
}

uint32_t mtime::SetQuantize(enum_quantize q) {
  if (q == quantize || !IsQuantizeID(q)) return 0;
  quantize = q;
  // A change of grid is not a pending edit, and it ends the pending state of earlier tempo or
  // signature changes: a later Revert keeps them. Deliberate.
  dirty = 0;
  return QA_CHANGED;
}

uint32_t mtime::SetQuantize(int q) {
  return SetQuantize(static_cast<enum_quantize>(IsQuantizeID(q) ? q : QUANTIZE_OFF));
}

// ---- Grid ----

double mtime::GetQuantizeUnit() const {
  const double beat = 60000.0 / bpm;
  switch (quantize) {
    case QUANTIZE_SEC100:
      return 10.0;
    case QUANTIZE_SEC30:
      return 1000.0 / 30.0;
    case QUANTIZE_SEC25:
      return 40.0;
    case QUANTIZE_SEC24:
      return 1000.0 / 24.0;
    case QUANTIZE_SEC20:
      return 50.0;
    case QUANTIZE_SEC15:
      return 1000.0 / 15.0;
    case QUANTIZE_SEC10:
      return 100.0;
    case QUANTIZE_SECOND:
      return 1000.0;
    case QUANTIZE_BAR:
      return beat * (unitsperbar * 4.0 / unitsize);
    case QUANTIZE_2:
      return beat * 2.0;
    case QUANTIZE_4:
      return beat;
    case QUANTIZE_8:
      return beat * 0.5;
    case QUANTIZE_16:
      return beat * 0.25;
    case QUANTIZE_32:
      return beat * 0.125;
    case QUANTIZE_64:
      return beat * 0.0625;
    default:
      return 0.0;
  }
}

int mtime::GetTimeQuantized(int t) const {
  const double u = GetQuantizeUnit();
  if (u <= 0.0) return t;
  const double q = std::trunc(t / u);
  return TruncToInt(q * u);
}

int mtime::GetTimeSnapped(int t) const {
  const double u = GetQuantizeUnit();
  if (u <= 0.0) return t;
  // 0.499999, not 0.5: a time exactly half a unit past a grid point snaps down.
  const double q = std::trunc((t + 0.499999 * u) / u);
  return TruncToInt(q * u);
}

int mtime::Increment(int t) const {
  return GetTimeSnapped(Saturate(int64_t{t} + static_cast<int64_t>(GetQuantizeUnit())));
}

int mtime::Decrement(int t) const {
  return GetTimeSnapped(Saturate(int64_t{t} - static_cast<int64_t>(GetQuantizeUnit())));
}

// ---- Pending edits ----

int mtime::Commit() {
  committed_bpm = bpm;
  committed_unitsize = unitsize;
  committed_unitsperbar = unitsperbar;
  committed_quantize = quantize;
  dirty = 0;
  return 1;
}

int mtime::Revert() {
  if (dirty) {
    bpm = committed_bpm;
    unitsize = committed_unitsize;
    unitsperbar = committed_unitsperbar;
    quantize = committed_quantize;
  }
  dirty = 0;
  return 1;
}

uint32_t mtime::Reset() {
  bpm = 60.0;
  unitsize = 4;
  unitsperbar = 4;
  quantize = QUANTIZE_OFF;
  InitItems();
  // The committed copy and the pending flag stay as they were: a reset is not a commit.
  return 1;
}

void mtime::InitItems() {
  const struct {
    UIItemDummy *item;
    int id;
  } items[] = {{&bpmitem, ID_BPM},
               {&unititem, ID_UNIT_SIZE},
               {&slashitem, ID_SLASH},
               {&baritem, ID_BAR_SIZE},
               {&quantizeitem, ID_QUANTIZE}};
  for (const auto &it : items) {
    // Without a surface manager and a window (batch use) the item still gets its ID and place.
    if (!it.item->UIItemInit(this, surfaces, wincontext, it.id, 1)) {
      it.item->SetParent(this);
      it.item->SetID(it.id);
    }
  }
}

UIItem *mtime::UIItemResolve(const char *n) {
  switch (ResolveNumber(n)) {
    case ID_BPM:
      return &bpmitem;
    case ID_BAR_SIZE:
      return &baritem;
    case ID_UNIT_SIZE:
      return &unititem;
    case ID_QUANTIZE:
      return &quantizeitem;
    default:
      return nullptr;
  }
}
