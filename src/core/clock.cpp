// Monotonic millisecond clock.
#include "core/clock.h"

#include <chrono>

uint32_t TickCount() {
  using namespace std::chrono;
  return static_cast<uint32_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}
