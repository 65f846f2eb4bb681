// Fuzz target: arbitrary bytes as the record of a plugin effect (the block naming its library,
// then the variables). The wrapper is made as a project loader makes it and, with no plugins
// loaded, stays unbound; what it loaded must save, and load back into a twin to the same bytes.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "effects/plugineffects.h"

namespace {

std::unique_ptr<effectVideo> make() {
  effectloadscope scope;
  return std::unique_ptr<effectVideo>(effectVideo::EffectNew(122, nullptr, nullptr, nullptr));
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
  auto e = make();
  if (!e) __builtin_trap();
  FILE *f = std::tmpfile();
  if (!f) return 0;
  if (size) std::fwrite(data, 1, size, f);
  std::rewind(f);
  e->Load(f);
  std::fclose(f);

  int ok = 0;
  const std::vector<uint8_t> first = saved(*e, &ok);
  if (!ok) __builtin_trap();
  auto twin = make();
  FILE *g = std::tmpfile();
  if (!g || !twin) return 0;
  std::fwrite(first.data(), 1, first.size(), g);
  std::rewind(g);
  if (twin->Load(g) != 1) __builtin_trap();
  std::fclose(g);
  if (saved(*twin, &ok) != first || !ok) __builtin_trap();
  return 0;
}
