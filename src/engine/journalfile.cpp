// The journal's byte layout: writing entries and reading a journal back, whatever its bytes.
#include "engine/journalfile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "core/byteorder.h"
#include "engine/clip.h"

extern "C" {
#include <libavutil/crc.h>
#include <libavutil/mem.h>
#include <libavutil/sha.h>
}

namespace journalfile {

namespace {

constexpr char kMagic[4] = {'L', 'V', 'J', 'N'};
// A path never runs deeper than sub-arrangements nest (plus the clip itself).
constexpr size_t kMaxPath = CLIP_MAX_DEPTH + 2;

uint32_t Crc(const uint8_t *p, size_t n) {
  return av_crc(av_crc_get_table(AV_CRC_32_IEEE_LE), UINT32_MAX, p, n) ^ UINT32_MAX;
}

void Put16(std::string &s, uint16_t v) {
  uint8_t b[2];
  byteorder::put_le16(b, v);
  s.append(reinterpret_cast<char *>(b), 2);
}

void Put32(std::string &s, uint32_t v) {
  uint8_t b[4];
  byteorder::put_le32(b, v);
  s.append(reinterpret_cast<char *>(b), 4);
}

void Put64(std::string &s, uint64_t v) {
  Put32(s, uint32_t(v));
  Put32(s, uint32_t(v >> 32));
}

// Reads little-endian fields from a span, failing once past its end.
struct cursor {
  const uint8_t *p;
  size_t left;
  bool ok = true;
  bool Take(size_t n, const uint8_t **at) {
    if (!ok || n > left) return ok = false;
    *at = p;
    p += n;
    left -= n;
    return true;
  }
  uint32_t U8() {
    const uint8_t *at = nullptr;
    return Take(1, &at) ? at[0] : 0;
  }
  uint32_t U16() {
    const uint8_t *at = nullptr;
    return Take(2, &at) ? byteorder::le16(at) : 0;
  }
  uint32_t U32() {
    const uint8_t *at = nullptr;
    return Take(4, &at) ? byteorder::le32(at) : 0;
  }
  bool Bytes(std::string &out) {
    const uint32_t n = U32();
    const uint8_t *at = nullptr;
    if (!Take(n, &at)) return false;
    out.assign(reinterpret_cast<const char *>(at), n);
    return true;
  }
};

}  // namespace

bool basefile::operator==(const basefile &o) const {
  return size == o.size && std::memcmp(sha256, o.sha256, sizeof sha256) == 0;
}

basefile IdentifyBytes(const uint8_t *data, size_t size) {
  basefile b;
  b.size = size;
  if (AVSHA *sha = av_sha_alloc()) {
    av_sha_init(sha, 256);
    av_sha_update(sha, data, size);
    av_sha_final(sha, b.sha256);
    av_free(sha);
  }
  return b;
}

bool Identify(const std::string &path, basefile &out) {
  FILE *f = std::fopen(path.c_str(), "rb");
  if (!f) return false;
  AVSHA *sha = av_sha_alloc();
  bool ok = sha != nullptr;
  uint64_t size = 0;
  if (ok) {
    av_sha_init(sha, 256);
    uint8_t buffer[1 << 16];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) {
      av_sha_update(sha, buffer, n);
      size += n;
    }
    ok = !std::ferror(f);
    av_sha_final(sha, out.sha256);
    av_free(sha);
  }
  std::fclose(f);
  out.size = size;
  return ok;
}

std::string Header(const basefile &base) {
  std::string h(kMagic, sizeof kMagic);
  Put32(h, kVersion);
  Put64(h, base.size);
  h.append(reinterpret_cast<const char *>(base.sha256), sizeof base.sha256);
  Put32(h, Crc(reinterpret_cast<const uint8_t *>(h.data()), h.size()));
  return h;
}

std::string Entry(const std::string &payload) {
  std::string e;
  e.reserve(payload.size() + 8);
  Put32(e, uint32_t(payload.size()));
  Put32(e, Crc(reinterpret_cast<const uint8_t *>(payload.data()), payload.size()));
  e += payload;
  return e;
}

std::string StepPayload(const editstepdata &s) {
  std::string p = "S";
  const size_t name = std::min<size_t>(s.name.size(), UINT16_MAX);
  Put16(p, uint16_t(name));
  p.append(s.name, 0, name);
  Put32(p, uint32_t(s.entries.size()));
  for (const editentry &e : s.entries) {
    p += char(e.what);
    p += char(e.flags);
    Put16(p, uint16_t(e.path.size()));
    for (uint16_t i : e.path) Put16(p, i);
    Put32(p, uint32_t(e.before.size()));
    p += e.before;
    Put32(p, uint32_t(e.after.size()));
    p += e.after;
  }
  return p;
}

std::string BasePayload(uint32_t done) {
  std::string p = "B";
  Put32(p, done);
  return p;
}

std::string MovePayload(bool undo) { return undo ? "U" : "R"; }

bool ParseStep(const uint8_t *data, size_t size, editstepdata &out) {
  cursor c{data, size};
  const uint32_t namelength = c.U16();
  const uint8_t *name = nullptr;
  if (!c.Take(namelength, &name)) return false;
  out.name.assign(reinterpret_cast<const char *>(name), namelength);
  const uint32_t count = c.U32();
  out.entries.clear();
  // Each entry takes at least 12 bytes: a count beyond what is left is a lie.
  if (!c.ok || count > c.left / 12) return false;
  out.entries.reserve(count);
  for (uint32_t k = 0; k < count; ++k) {
    editentry e;
    e.what = uint8_t(c.U8());
    e.flags = uint8_t(c.U8());
    const uint32_t depth = c.U16();
    if (!c.ok || depth > kMaxPath) return false;
    if (e.what != editentry::change && e.what != editentry::insert && e.what != editentry::remove) return false;
    if (e.what != editentry::change && depth == 0) return false;
    for (uint32_t i = 0; i < depth; ++i) {
      const uint32_t index = c.U16();
      if (index >= uint32_t(CLIP_MAX_CHILDREN)) return false;
      e.path.push_back(uint16_t(index));
    }
    if (!c.Bytes(e.before) || !c.Bytes(e.after)) return false;
    out.entries.push_back(std::move(e));
  }
  return c.ok && c.left == 0 && !out.entries.empty();
}

contents Parse(const uint8_t *data, size_t size) {
  contents out;
  if (size < kHeaderSize || std::memcmp(data, kMagic, sizeof kMagic) != 0) {
    out.problem = "no journal header";
    return out;
  }
  if (byteorder::le32(data + 4) != kVersion || byteorder::le32(data + 48) != Crc(data, 48)) {
    out.problem = "a damaged header or a journal of another version";
    return out;
  }
  out.header = true;
  out.base.size = byteorder::le32(data + 8) | (uint64_t(byteorder::le32(data + 12)) << 32);
  std::memcpy(out.base.sha256, data + 16, sizeof out.base.sha256);
  size_t at = kHeaderSize;
  out.goodbytes = at;
  while (at < size) {
    if (size - at < 8) {
      out.problem = "a torn last entry";
      break;
    }
    const uint32_t length = byteorder::le32(data + at);
    const uint32_t crc = byteorder::le32(data + at + 4);
    if (length > size - at - 8) {
      out.problem = "a torn last entry";
      break;
    }
    const uint8_t *p = data + at + 8;
    if (length == 0 || Crc(p, length) != crc) {
      out.problem = "a damaged entry";
      break;
    }
    const uint8_t what = p[0];
    contents::event ev{what, {}};
    bool fits = true;
    if (what == 'S')
      fits = ParseStep(p + 1, length - 1, ev.step);
    else if (what == 'B')
      fits = !out.based && length == 5 && byteorder::le32(p + 1) <= out.history.size();
    else
      fits = (what == 'U' || what == 'R') && length == 1 && out.based;
    if (!fits) {
      out.problem = "a malformed entry";
      break;
    }
    if (what == 'B') {
      out.based = true;
      out.done = byteorder::le32(p + 1);
    } else if (!out.based) {
      out.history.push_back(std::move(ev.step));
    } else {
      out.newer.push_back(std::move(ev));
    }
    at += 8 + length;
    out.goodbytes = at;
  }
  return out;
}

}  // namespace journalfile
