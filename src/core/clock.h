// Monotonic millisecond clock (the tick count of timers, progress and plugin time arguments).
#pragma once

#include <cstdint>

// Milliseconds since an arbitrary start, never going backwards; wraps after 49.7 days like a
// 32-bit tick count.
uint32_t TickCount();
