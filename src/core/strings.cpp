// The process-wide resource string table behind vemo::GetStringPtr.
#include <cstring>
#include <mutex>

#include "core/vemo.h"

namespace {

struct resource_string {
  int id;
  const char *text;
};

constexpr resource_string kResourceStrings[] = {
#include "core/resource_strings.inc"
};

constexpr int kStringCount = 1024;
constexpr int kStringCapacity = 1024;

// 1023 entries of 1024 characters, filled once from the resource table. Callers may write into
// the returned buffer (the original table was writable); the next lookup sees the change.
char g_table[kStringCount][kStringCapacity];
char g_empty[1];
std::once_flag g_filled;

void FillTable() {
  for (const auto &s : kResourceStrings) {
    if (s.id < 1 || s.id >= kStringCount) continue;
    std::strncpy(g_table[s.id], s.text, kStringCapacity - 1);
  }
}

}  // namespace

char *vemo::GetStringPtr(int id) {
  std::call_once(g_filled, FillTable);
  if (id < 1 || id >= kStringCount) {
    g_empty[0] = 0;
    return g_empty;
  }
  return g_table[id];
}
