// Fuzz target: arbitrary bytes as the record of a plugin effect (the block naming its library,
// then the variables). The wrapper is made as a project loader makes it and, with no plugins
// loaded, stays unbound; what it loaded must save, and load back into a twin to the same bytes.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "fuzz_io.h"
#include "effects/plugineffects.h"

namespace {

std::unique_ptr<effectVideo> make() {
  effectloadscope scope;
  return std::unique_ptr<effectVideo>(effectVideo::EffectNew(122, nullptr, nullptr, nullptr));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  auto e = make();
  if (!e) __builtin_trap();
  FILE *f = fuzzio::BytesAsFile(data, size);
  if (!f) return 0;
  e->Load(f);
  std::fclose(f);

  int ok = 0;
  const std::vector<uint8_t> first = fuzzio::SavedBytes(*e, &ok);
  if (!ok) __builtin_trap();
  auto twin = make();
  FILE *g = fuzzio::BytesAsFile(first.data(), first.size());
  if (!g || !twin) return 0;
  if (twin->Load(g) != 1) __builtin_trap();
  std::fclose(g);
  if (fuzzio::SavedBytes(*twin, &ok) != first || !ok) __builtin_trap();
  return 0;
}
