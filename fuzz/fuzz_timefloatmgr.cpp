// Fuzz target: arbitrary bytes loaded as a variable manager that declares a few variables,
// then read back, edited, saved and loaded again.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include "fuzz_io.h"
#include "time/declared_vars.h"
#include "time/timefloatmgr.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const char *const kNames[] = {"IDS_VOLUME", "IDS_PAN", "IDS_EFFECT_ENABLE", "IDS_STR_ITALIC",
                                       "IDS_DST_L"};
  auto mgr = std::make_unique<timefloatmgr>();
  for (const char *name : kNames) DeclareVariable(*mgr, name);

  FILE *f = fuzzio::ScratchFile();
  if (!f) return 0;
  if (size) std::fwrite(data, 1, size, f);
  std::rewind(f);
  const int loaded = mgr->Load(f);
  std::fclose(f);
  if (!loaded) return 0;

  // Whatever loaded must be a well-formed curve: sorted keys, lookups in range.
  double sink = 0;
  for (int i = 0; i < mgr->GetCount(); ++i) {
    timefloat *tf = mgr->GetTimeFloatByIndex(i);
    const tfKey *k = tf->Keys();
    for (int j = 1; j < tf->HasValues(); ++j)
      if (k[j - 1].time >= k[j].time) __builtin_trap();
    for (int t : {INT32_MIN, -1, 0, 1, 1000, INT32_MAX}) sink += tf->GetValue(t);
    if (tf->HasValues()) {
      int out = 0;
      sink += tf->GetPrevValueTime(tf->GetHiIndex(), &out) + tf->GetNextValueTime(tf->GetLoIndex(), &out);
      tf->ProcessReleaseBidirectional(100);
      tf->ProcessNormalize();
    }
  }
  volatile double keep = sink;  // keeps the reads alive
  (void)keep;
  mgr->timefloatset("IDS_PAN", 500, 0.5);
  mgr->Revert();

  FILE *out = fuzzio::ScratchFile();
  if (!out) return 0;
  if (!mgr->Save(out)) __builtin_trap();
  std::rewind(out);
  auto again = std::make_unique<timefloatmgr>();
  for (const char *name : kNames) DeclareVariable(*again, name);
  if (!again->Load(out)) __builtin_trap();
  std::fclose(out);
  // Saving and loading gives the same keys back.
  for (int i = 0; i < mgr->GetCount(); ++i) {
    const timefloat *a = mgr->GetTimeFloatByIndex(i);
    const timefloat *b = again->GetTimeFloatByIndex(i);
    if (a->HasValues() != b->HasValues()) __builtin_trap();
    for (int j = 0; j < a->HasValues(); ++j)
      if (std::memcmp(&a->Keys()[j], &b->Keys()[j], TF_DISK_KEY_SIZE) != 0) __builtin_trap();
  }
  return 0;
}
