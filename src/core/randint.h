// randint: the engine's seeded pseudo-random generator (a 32-bit linear congruential step).
// Its sequences are part of saved behaviour (patterns and noise depend on them), so the
// arithmetic is fixed: seed = seed * 214013 + 2531011 mod 2^32, and 0 is never a seed.
#pragma once

#include <cstdint>

class randint {
 public:
  static constexpr uint32_t kDefaultSeed = 0xA10F6BA3u;

  randint() = default;
  void Reset() { seed = kDefaultSeed; }
  void Set(int s) { seed = static_cast<uint32_t>(s); }
  // Folds a text into a seed; empty or null text gives the default seed.
  void Set(const char *text);
  // A 31-bit value: the upper half of the seed after two steps (top bit cleared), repeated in
  // the lower half. The first step's value is skipped on purpose.
  int Get();
  // lo + value mod (hi - lo); equal limits stop the program.
  int GetWithLimits(int lo, int hi);
  uint32_t GetSeed() const { return seed; }

 private:
  int w_rand();
  uint32_t seed = kDefaultSeed;
};
