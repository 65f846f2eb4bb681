// Clip records in memory for the edit history: the project file's own writer and reader over
// memory streams, paths from the root, and zero-run packing.
#include "engine/editrecord.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "engine/clip.h"

namespace editrecord {

namespace {

template <class Writer>
bool Written(Writer write, std::string &out) {
  char *bytes = nullptr;
  size_t length = 0;
  FILE *f = open_memstream(&bytes, &length);
  if (!f) return false;
  const bool ok = write(f);
  const bool closed = std::fclose(f) == 0;
  if (ok && closed) out.assign(bytes, length);
  std::free(bytes);
  return ok && closed;
}

// A read-only stream over the bytes (fmemopen refuses an empty buffer, which no record is).
FILE *Reader(const std::string &bytes) {
  if (bytes.empty()) return nullptr;
  return fmemopen(const_cast<char *>(bytes.data()), bytes.size(), "rb");
}

}  // namespace

bool OwnBytes(clip *c, std::string &out) {
  return c && Written([c](FILE *f) { return c->SaveOwn(f) == 1; }, out);
}

bool TreeBytes(clip *c, std::string &out) {
  return c && Written([c](FILE *f) { return c->Save(f) == 1; }, out);
}

bool RestoreOwn(clip *c, const std::string &bytes) {
  FILE *f = c ? Reader(bytes) : nullptr;
  if (!f) return false;
  const bool ok = c->LoadOwn(f);
  std::fclose(f);
  return ok;
}

clip *LoadTree(clip *parent, const std::string &bytes) {
  FILE *f = parent ? Reader(bytes) : nullptr;
  if (!f) return nullptr;
  clip *c = parent->ClipLoadChild(f);
  std::fclose(f);
  return c;
}

bool PathOf(const clip *root, const clip *c, clippath &path) {
  path.clear();
  while (c && c != root) {
    const clip *parent = c->GetParentClip();
    if (!parent) return false;
    int index = -1;
    for (int i = 0; i < parent->GetChildCount(); ++i)
      if (parent->GetChild(i) == c) {
        index = i;
        break;
      }
    if (index < 0) return false;
    path.push_back(uint16_t(index));
    c = parent;
  }
  if (c != root) return false;
  std::reverse(path.begin(), path.end());
  return true;
}

clip *AtPath(clip *root, const uint16_t *path, size_t n) {
  clip *c = root;
  for (size_t i = 0; c && i < n; ++i) c = c->GetChild(path[i]);
  return c;
}

std::string Pack(const std::string &raw) {
  std::string out;
  out.reserve(raw.size() / 4 + 16);
  const size_t n = raw.size();
  size_t i = 0;
  while (i < n) {
    size_t zeros = 0;
    while (i + zeros < n && raw[i + zeros] == 0 && zeros < 128) ++zeros;
    // A lone zero between literals costs as much either way; two or more are a run.
    if (zeros >= 2 || (zeros == 1 && i + 1 == n)) {
      out += char(0x7F + zeros);
      i += zeros;
      continue;
    }
    size_t start = i, literal = 0;
    while (i < n && literal < 128 && !(raw[i] == 0 && i + 1 < n && raw[i + 1] == 0)) {
      ++i;
      ++literal;
    }
    out += char(literal - 1);
    out.append(raw, start, literal);
  }
  return out;
}

bool Unpack(const uint8_t *data, size_t size, std::string &out) {
  out.clear();
  size_t i = 0;
  while (i < size) {
    const uint8_t c = data[i++];
    if (c >= 0x80) {
      out.append(size_t(c - 0x7F), '\0');
      continue;
    }
    const size_t literal = size_t(c) + 1;
    if (literal > size - i) return false;
    out.append(reinterpret_cast<const char *>(data + i), literal);
    i += literal;
  }
  return true;
}

std::string Xor(const std::string &a, const std::string &b) {
  std::string out(a.size(), '\0');
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) out[i] = char(a[i] ^ b[i]);
  return out;
}

}  // namespace editrecord
