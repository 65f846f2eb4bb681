// Fuzz target: arbitrary text run as a macro on a plain item, within a clause budget. Clauses
// that would wait, write a log or fetch a script are kept out: the application folder and the
// settings point nowhere, and texts naming a wait or a log are skipped.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "core/dialogs.h"
#include "core/vemo.h"
#include "macro/macro.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static bool once = [] {
    setenv("XDG_CONFIG_HOME", "/nonexistent/lv-fuzz-config", 1);
    vemo::SetAppDir("/nonexistent/lv-fuzz-app/");
    HeadlessDialogs().quiet = true;
    return true;
  }();
  (void)once;
  const std::string text(reinterpret_cast<const char *>(data), size);
  if (text.find("MilliTicksWait") != std::string::npos || text.find("debug") != std::string::npos) return 0;
  UIItem root;
  std::unique_ptr<macro> m(macro::FromText(&root, text.c_str()));
  if (!m || !m->IsReady()) return 0;
  m->SetClauseBudget(2000);
  std::string result;
  const bool ok = m->Run("first second", result);
  // A failed run always says why; a clean one leaves no failure behind.
  if (ok == !m->LastError().empty()) __builtin_trap();
  if (result.size() >= size_t(MACRO_VALUE_SIZE)) __builtin_trap();
  return 0;
}
