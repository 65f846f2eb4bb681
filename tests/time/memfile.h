// Byte buffers to and from FILE * for the Load/Save tests.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

using bytes = std::vector<uint8_t>;

// unique_ptr never passes its deleter a null pointer.
using file_ptr = std::unique_ptr<FILE, int (*)(FILE *)>;

// A readable file holding exactly `data`.
inline file_ptr FileWith(const bytes &data) {
  file_ptr f(std::tmpfile(), std::fclose);
  if (f && !data.empty()) std::fwrite(data.data(), 1, data.size(), f.get());
  if (f) std::rewind(f.get());
  return f;
}

// Runs save(FILE *) into a temporary file and returns what it wrote; `ok` gets its result.
template <typename Save>
bytes SavedBytes(Save save, int *ok = nullptr) {
  file_ptr f(std::tmpfile(), std::fclose);
  const int r = save(f.get());
  if (ok) *ok = r;
  std::fflush(f.get());
  const long n = std::ftell(f.get());
  bytes out(static_cast<size_t>(n < 0 ? 0 : n));
  std::rewind(f.get());
  if (!out.empty() && std::fread(out.data(), 1, out.size(), f.get()) != out.size()) out.clear();
  return out;
}

// Little-endian field writers for building records by hand.
template <typename T>
void Put(bytes &b, size_t at, T v) {
  if (b.size() < at + sizeof v) b.resize(at + sizeof v);
  std::memcpy(b.data() + at, &v, sizeof v);
}
template <typename T>
T Get(const bytes &b, size_t at) {
  T v{};
  std::memcpy(&v, b.data() + at, sizeof v);
  return v;
}
// The fields of type T at the given offsets, to compare a record's layout in one line.
template <typename T>
std::vector<T> Fields(const bytes &b, std::initializer_list<size_t> offsets) {
  std::vector<T> out;
  for (size_t at : offsets) out.push_back(Get<T>(b, at));
  return out;
}
