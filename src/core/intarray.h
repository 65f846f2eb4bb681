// intarray / ptrarray: fixed-capacity lists of up to 256 values that stay zero-terminated, so
// the slots can be handed on as a plain zero-terminated array.
#pragma once

#include <cstdint>

template <typename T>
class fixedarray {
 public:
  static constexpr int kCapacity = 256;

  fixedarray() { Reset(); }
  void Reset() {
    count = 0;
    for (auto &v : values) v = T{};
  }
  // Appends v; false when 256 values are held.
  bool Add(T v) {
    if (count >= kCapacity) return false;
    values[count++] = v;
    values[count] = T{};
    return true;
  }
  int Count() const { return count; }
  T Get(int i) const { return i >= 0 && i < count ? values[i] : T{}; }
  T operator[](int i) const { return Get(i); }
  // The zero-terminated slots.
  const T *Data() const { return values; }

 private:
  int32_t count = 0;
  T values[kCapacity + 1];
};

using intarray = fixedarray<int32_t>;
using ptrarray = fixedarray<void *>;
