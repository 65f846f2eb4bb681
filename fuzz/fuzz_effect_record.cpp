// Fuzz target: arbitrary bytes as an effect record. The first byte picks the plugin block's
// capacity (0: none, else 4 bytes per step); the rest is loaded into a keyed adjuster, which is
// then saved, loaded into a twin and saved again.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "fuzz_io.h"
#include "effects/effect.h"

namespace {

std::unique_ptr<effectVideo> make(uint32_t capacity) {
  std::unique_ptr<effectVideo> e(effectVideo::EffectNew(252, nullptr, nullptr, nullptr));
  if (e && capacity) e->CreatePluginBlock(capacity);
  return e;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  const uint32_t capacity = 4u * data[0];
  auto e = make(capacity);
  if (!e) return 0;
  FILE *f = fuzzio::BytesAsFile(data + 1, size - 1);
  if (!f) return 0;
  e->Load(f);
  std::fclose(f);

  // Whatever was loaded saves, and the saved record loads back to the same record.
  int ok = 0;
  const std::vector<uint8_t> first = fuzzio::SavedBytes(*e, &ok);
  if (!ok) __builtin_trap();
  auto twin = make(capacity);
  FILE *g = fuzzio::BytesAsFile(first.data(), first.size());
  if (!g || !twin) return 0;
  if (twin->Load(g) != 1) __builtin_trap();
  std::fclose(g);
  if (fuzzio::SavedBytes(*twin, &ok) != first || !ok) __builtin_trap();
  return 0;
}
