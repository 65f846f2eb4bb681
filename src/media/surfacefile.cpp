// Surface files: loading images by extension, saving 24-bit BMP files, the clipboard chunk.
#include <strings.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "core/byteorder.h"
#include "core/vemo.h"
#include "media/imagecodecs.h"
#include "media/surface.h"

namespace {

// True when `name` is strictly longer than `ext` and ends with it, ignoring case.
bool has_extension(const char *name, const char *ext) {
  const size_t n = std::strlen(name), e = std::strlen(ext);
  return n > e && strcasecmp(name + n - e, ext) == 0;
}

void put16(uint8_t *p, uint32_t v) {
  p[0] = uint8_t(v);
  p[1] = uint8_t(v >> 8);
}
void put32(uint8_t *p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = uint8_t(v >> (8 * i));
}

// The 40-byte info header of a 24-bit bottom-up picture; the image size always counts rows
// padded to 4 bytes.
void info_header(uint8_t *p, int w, int h) {
  std::memset(p, 0, 40);
  const uint32_t stride4 = (uint32_t(w) * 3 + 3) & ~3u;
  put32(p, 40);
  put32(p + 4, uint32_t(w));
  put32(p + 8, uint32_t(h));
  put16(p + 12, 1);
  put16(p + 14, 24);
  put32(p + 16, 0);
  put32(p + 20, stride4 * uint32_t(h));
}

// One row as blue, green, red bytes, alpha dropped.
void row24(const pix32 *src, int w, uint8_t *out) {
  for (int x = 0; x < w; ++x) {
    out[3 * x] = src[x].b;
    out[3 * x + 1] = src[x].g;
    out[3 * x + 2] = src[x].r;
  }
}

thread_local const char *load_failure = "";

}  // namespace

bool IsEnhancedMetafile(const uint8_t *data, size_t size) {
  return data && size >= 44 && byteorder::le32(data) == 1 && byteorder::le32(data + 40) == 0x464D4520u;
}

const char *SurfaceLoadFailure() { return load_failure; }

KORSurface *surface::SurfaceLoad(const char *path) {
  load_failure = "";
  if (!path) return nullptr;
  using decoder = KORSurface *(*)(const uint8_t *, size_t);
  decoder decode = nullptr;
  if (has_extension(path, ".jpg") || has_extension(path, ".jpeg"))
    decode = DecodeJPEG;
  else if (has_extension(path, ".wmf"))
    decode = DecodeWMF;
  else if (has_extension(path, ".bmp") || has_extension(path, ".dib"))
    decode = DecodeBMP;
  else if (has_extension(path, ".ico") || has_extension(path, ".cur"))
    decode = DecodeICO;
  else if (has_extension(path, ".png"))
    decode = DecodePNG;
  else if (has_extension(path, ".gif"))
    decode = DecodeGIF;
  const bool emf = has_extension(path, ".emf");
  if (!decode && !emf) return nullptr;
  std::vector<uint8_t> bytes;
  if (!vemo::ReadWholeFile(path, bytes, IMAGE_MAX_FILE_BYTES)) return nullptr;
  // An enhanced metafile, whether named .emf or .wmf, has no renderer here.
  if (emf || (decode == DecodeWMF && IsEnhancedMetafile(bytes.data(), bytes.size()))) {
    load_failure = "unsupported picture format";
    return nullptr;
  }
  return decode(bytes.data(), bytes.size());
}

bool surface::SurfaceSave(KORSurface *s, const char *path) {
  surf a;
  if (!path || !SurfaceDataLock(s, &a)) return false;
  FILE *f = std::fopen(path, "wb");
  if (!f) {
    SurfaceDataUnlock(&a);
    return false;
  }
  const uint32_t stride = (uint32_t(a.width) * 3 + 3) & ~3u;
  uint8_t header[54];
  header[0] = 'B';
  header[1] = 'M';
  put32(header + 2, stride * uint32_t(a.height) + 54);
  put32(header + 6, 0);
  put32(header + 10, 54);
  info_header(header + 14, a.width, a.height);
  bool ok = std::fwrite(header, 1, sizeof header, f) == sizeof header;
  std::vector<uint8_t> line(stride, 0);  // padding bytes stay zero
  for (int y = a.height - 1; ok && y >= 0; --y) {
    row24(a.bits + size_t(a.pitch) * size_t(y), a.width, line.data());
    ok = std::fwrite(line.data(), 1, line.size(), f) == line.size();
  }
  ok = std::fclose(f) == 0 && ok;
  SurfaceDataUnlock(&a);
  return ok;
}

std::vector<uint8_t> surface::Surface24Chunk(KORSurface *s, int *w, int *h, int align) {
  surf a;
  if (!SurfaceDataLock(s, &a)) return {};
  if (align < 1) align = 1;
  const size_t stride = (size_t(a.width) * 3 + size_t(align) - 1) / size_t(align) * size_t(align);
  std::vector<uint8_t> chunk(stride * size_t(a.height) + 44, 0);
  info_header(chunk.data(), a.width, a.height);
  for (int y = a.height - 1, r = 0; y >= 0; --y, ++r)
    row24(a.bits + size_t(a.pitch) * size_t(y), a.width, chunk.data() + 40 + stride * size_t(r));
  if (w) *w = a.width;
  if (h) *h = a.height;
  SurfaceDataUnlock(&a);
  return chunk;
}

bool surface::Surface2ClipBoard(KORSurface *s) {
  // The host owns any clipboard; without one the chunk is made and dropped.
  std::vector<uint8_t> chunk = Surface24Chunk(s, nullptr, nullptr, 4);
  return false;
}
