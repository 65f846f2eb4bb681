// The deliberate programming-error stop.
#include "core/trap.h"

#include <cstdio>
#include <cstdlib>

void vemo_trap(const char *reason) {
  std::fprintf(stderr, "lumivaxel: programming error: %s\n", reason ? reason : "(unknown)");
  std::fflush(stderr);
  std::abort();
}
