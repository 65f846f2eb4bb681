// randint's generator step and its derived values.
#include "core/randint.h"

#include "core/trap.h"

void randint::Set(const char *text) {
  if (!text || !*text) {
    seed = kDefaultSeed;
    return;
  }
  seed = 0;
  for (const char *p = text; *p; ++p) {
    // Each character, sign-extended, is repeated into all four bytes of the word.
    const uint32_t c = static_cast<uint32_t>(static_cast<int32_t>(static_cast<int8_t>(*p)));
    seed ^= c | (c << 8) | (c << 16) | (c << 24);
  }
}

int randint::w_rand() {
  if (seed == 0) seed = kDefaultSeed;
  seed = seed * 214013u + 2531011u;
  return static_cast<int>(seed >> 16);
}

int randint::Get() {
  w_rand();
  w_rand();
  return static_cast<int>((seed & 0x7FFF0000u) | (seed >> 16));
}

int randint::GetWithLimits(int lo, int hi) {
  if (hi == lo) vemo_trap("randint::GetWithLimits with equal limits");
  const int r = Get();
  // 32-bit wrap-around arithmetic, spelled out so extreme limits are not undefined behaviour.
  const int32_t span = static_cast<int32_t>(static_cast<uint32_t>(hi) - static_cast<uint32_t>(lo));
  const int32_t rem = span == -1 ? 0 : r % span;
  return static_cast<int32_t>(static_cast<uint32_t>(lo) + static_cast<uint32_t>(rem));
}
