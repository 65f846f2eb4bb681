// Fuzz target: arbitrary bytes loaded as a project; whatever loads is composed, mixed, saved,
// loaded again and saved again, which must give the same bytes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "core/dialogs.h"
#include "engine/project.h"
#include "fuzz_io.h"

namespace {

// What the clip saves; a clip that loaded must also save.
std::vector<uint8_t> Saved(clip *c) {
  int ok = 0;
  std::vector<uint8_t> out = fuzzio::SavedBytes(*c, &ok);
  if (!ok) __builtin_trap();
  return out;
}

void Setup() {
  // Names of media on the internet must not reach the network: every proxy is a closed port.
  for (const char *v : {"http_proxy", "HTTP_PROXY", "ftp_proxy", "ALL_PROXY", "all_proxy"})
    setenv(v, "http://127.0.0.1:9", 1);
  headless_dialogs &ui = HeadlessDialogs();
  ui.quiet = true;
  ui.answer_yes = false;
  ui.file_answer.clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool ready = (Setup(), true);
  (void)ready;
  // A fresh project per input, so that what an input finds it finds on its own.
  vemoproject p;
  clip *root = p.Root();
  FILE *f = fuzzio::BytesAsFile(data, size);
  if (!f) return 0;
  const int loaded = root->Load(f);
  std::fclose(f);
  if (!loaded) return 0;

  p.Compose(0);
  p.Compose(root->GetSize() / 2);
  std::vector<int16_t> sound;
  p.Mix(0, 200, sound);
  (void)p.Describe();

  const std::vector<uint8_t> first = Saved(root);
  FILE *g = fuzzio::BytesAsFile(first.data(), first.size());
  if (!g) return 0;
  if (!root->Load(g)) __builtin_trap();
  std::fclose(g);
  if (Saved(root) != first) __builtin_trap();
  return 0;
}
