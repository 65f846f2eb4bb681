// Fuzz target: arbitrary bytes as an effect record. The first byte picks the plugin block's
// capacity (0: none, else 4 bytes per step); the rest is loaded into a keyed adjuster, which is
// then saved, loaded into a twin and saved again.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "effects/effect.h"

namespace {

std::unique_ptr<effectVideo> make(uint32_t capacity) {
  std::unique_ptr<effectVideo> e(effectVideo::EffectNew(252, nullptr, nullptr, nullptr));
  if (e && capacity) e->CreatePluginBlock(capacity);
  return e;
}

std::vector<uint8_t> saved(effectVideo &e, int *ok) {
  std::vector<uint8_t> out;
  FILE *f = std::tmpfile();
  if (!f) return out;
  *ok = e.Save(f);
  const long n = std::ftell(f);
  std::rewind(f);
  out.resize(n > 0 ? size_t(n) : 0);
  if (!out.empty() && std::fread(out.data(), 1, out.size(), f) != out.size()) out.clear();
  std::fclose(f);
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  const uint32_t capacity = 4u * data[0];
  auto e = make(capacity);
  if (!e) return 0;
  FILE *f = std::tmpfile();
  if (!f) return 0;
  if (size > 1) std::fwrite(data + 1, 1, size - 1, f);
  std::rewind(f);
  e->Load(f);
  std::fclose(f);

  // Whatever was loaded saves, and the saved record loads back to the same record.
  int ok = 0;
  const std::vector<uint8_t> first = saved(*e, &ok);
  if (!ok) __builtin_trap();
  auto twin = make(capacity);
  FILE *g = std::tmpfile();
  if (!g || !twin) return 0;
  std::fwrite(first.data(), 1, first.size(), g);
  std::rewind(g);
  if (twin->Load(g) != 1) __builtin_trap();
  std::fclose(g);
  if (saved(*twin, &ok) != first || !ok) __builtin_trap();
  return 0;
}
