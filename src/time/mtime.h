// mtime: musical time of a timed object (tempo, time signature) and the grid edited times snap to.
//
// Common principles of this header:
// - A beat is a quarter note and lasts 60000 / bpm milliseconds, in double precision.
// - Grid units need not be whole milliseconds (Sec/30 is 33.33 ms); results are truncated
//   toward zero to int32 milliseconds, saturating at the ends of the int32 range.
// - Tempo and signature changes are pending edits (the vemo dirty flag of this object) until
//   Commit or Revert; a change of grid is not, and ends the pending state of earlier changes.
#pragma once

#include <cstdint>

#include "core/uiitems.h"

// Quantization settings; each ID is also the resource string shown for it.
enum enum_quantize : int32_t {
  QUANTIZE_OFF = 158,
  QUANTIZE_SEC100 = 159,
  QUANTIZE_SEC30 = 634,
  QUANTIZE_SEC25 = 633,
  QUANTIZE_SEC24 = 632,
  QUANTIZE_SEC20 = 631,
  QUANTIZE_SEC15 = 588,
  QUANTIZE_SEC10 = 160,
  QUANTIZE_SECOND = 161,
  QUANTIZE_BAR = 162,
  QUANTIZE_2 = 163,
  QUANTIZE_4 = 164,
  QUANTIZE_8 = 165,
  QUANTIZE_16 = 166,
  QUANTIZE_32 = 167,
  QUANTIZE_64 = 168,
};

class mtime : public UIItem {
 public:
  // IDs of the settings items (also their resource strings).
  static constexpr int ID_BPM = 336;
  static constexpr int ID_BAR_SIZE = 337;  // units per bar
  static constexpr int ID_UNIT_SIZE = 338;
  static constexpr int ID_QUANTIZE = 339;
  static constexpr int ID_SLASH = 635;
  static constexpr double kMinBPM = 10.0;
  static constexpr double kMaxBPM = 240.0;

  // The quantization settings in menu order, zero-terminated.
  static const int32_t QUANTIZATION_IDS[17];

  mtime();
  // Copies the settings; the copy's items belong to the copy.
  mtime(const mtime &other);
  mtime &operator=(const mtime &other);
  ~mtime() override = default;

  double GetBPM() const { return bpm; }
  double GetBarSize() const { return unitsperbar; }
  double GetUnitSize() const { return unitsize; }
  enum_quantize GetQuantize() const { return static_cast<enum_quantize>(quantize); }

  // Clamps to [10, 240]; 0 when that is the current tempo, else QA_CHANGED (pending).
  uint32_t SetBPM(double bpm);
  // 0 for a value outside 1..16 or the current one, else QA_CHANGED (pending).
  uint32_t SetBarSize(int units);
  // 0 for a value not in 1, 2, 4, 8, 16, 32, 64 or the current one, else QA_CHANGED (pending).
  uint32_t SetUnitSize(int size);
  // 0 for the current setting or an ID not in the table; else stores it, clears the pending
  // flag and returns QA_CHANGED.
  uint32_t SetQuantize(enum_quantize q);
  // Any integer that is not a table ID selects QUANTIZE_OFF.
  uint32_t SetQuantize(int q);

  // The grid unit in milliseconds; 0 when quantization is off.
  double GetQuantizeUnit() const;
  // The grid point at or below t (toward zero); t when off.
  int GetTimeQuantized(int t) const;
  // The nearest grid point (an exact half unit snaps down); t when off.
  int GetTimeSnapped(int t) const;
  // Snapped t plus / minus one grid unit truncated to whole milliseconds.
  int Increment(int t) const;
  int Decrement(int t) const;

  int Commit();  // 1
  int Revert();  // 1
  // Tempo 60, 4/4, quantization off, nothing pending; initialises the five items. 1.
  uint32_t Reset();

  // 336 the tempo item, 337 units per bar, 338 unit size, 339 quantize (optional "#"); else null.
  UIItem *UIItemResolve(const char *name) override;

  static bool IsQuantizeID(int q);

 private:
  void InitItems();

  double bpm = 60.0;
  int32_t unitsize = 4;
  int32_t unitsperbar = 4;
  int32_t quantize = QUANTIZE_OFF;
  // The settings at the last commit.
  double committed_bpm = 60.0;
  int32_t committed_unitsize = 4;
  int32_t committed_unitsperbar = 4;
  int32_t committed_quantize = QUANTIZE_OFF;
  UIItemDummy bpmitem;
  UIItemDummy unititem;
  UIItemDummy slashitem;
  UIItemDummy baritem;
  UIItemDummy quantizeitem;
};
