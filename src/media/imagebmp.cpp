// Our own BMP, DIB, ICO and CUR decoders, and the icon file reader built on them.
#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/icons.h"
#include "media/imagebytes.h"
#include "media/imagecodecs.h"
#include "media/surface.h"

using namespace imagebytes;

namespace {

enum : uint32_t { BI_RGB = 0, BI_RLE8 = 1, BI_RLE4 = 2, BI_BITFIELDS = 3, BI_ALPHABITFIELDS = 6 };

// One colour channel of a bit-field pixel, scaled to 0..255 with rounding.
struct channel {
  uint32_t mask = 0;
  int shift = 0;
  uint32_t max = 0;

  explicit channel(uint32_t m = 0) : mask(m) {
    if (m) {
      shift = std::countr_zero(m);
      max = m >> shift;
    }
  }
  uint8_t operator()(uint32_t v) const {
    if (!mask) return 0;
    const uint64_t x = (v & mask) >> shift;
    return max == 255 ? uint8_t(x) : uint8_t((x * 255 + max / 2) / max);
  }
};

struct dibinfo {
  int64_t width = 0;
  int64_t height = 0;  // rows of the picture (for icons half the stored height)
  bool topdown = false;
  int bpp = 0;
  uint32_t compression = BI_RGB;
  uint32_t masks[4] = {0, 0, 0, 0};  // red, green, blue, alpha
  bool alphamask = false;            // the header carries an alpha mask
  pix32 palette[256];
  size_t palette_entries = 0;
  size_t bits = 0;  // offset of the pixel data
};

// Reads the info header at h0 and the colour table after it. `bits_at` is the pixel data's
// offset when a file header gave one (0: right after the colour table).
bool parse_dib(const uint8_t *d, size_t size, size_t h0, size_t bits_at, bool icon, dibinfo &info) {
  if (!fits(size, h0, 4)) return false;
  const uint32_t hs = le32(d + h0);
  size_t table = h0 + hs;
  int entry = 4;
  uint32_t used = 0;
  if (hs == 12) {
    if (!fits(size, h0, 12)) return false;
    info.width = le16(d + h0 + 4);
    info.height = le16(d + h0 + 6);
    info.bpp = le16(d + h0 + 10);
    entry = 3;
  } else if (hs == 16 || hs == 40 || hs == 52 || hs == 56 || hs == 64 || hs == 108 || hs == 124) {
    if (!fits(size, h0, hs)) return false;
    info.width = int32_t(le32(d + h0 + 4));
    info.height = int32_t(le32(d + h0 + 8));
    info.bpp = le16(d + h0 + 14);
    if (hs >= 20) info.compression = le32(d + h0 + 16);
    if (hs >= 36) used = le32(d + h0 + 32);
    // The short and 64-byte headers are the OS/2 forms, whose compression 3 and 4 mean other
    // codings than here: refuse them.
    if ((hs == 16 || hs == 64) && info.compression > BI_RLE4) return false;
    if (info.compression == BI_BITFIELDS || info.compression == BI_ALPHABITFIELDS) {
      // The masks start right after the 40-byte part of the header; those the header has no
      // room for (all of them after a 40-byte header, the alpha mask after a 52-byte one)
      // follow it, before the palette.
      const size_t at = h0 + 40;
      const size_t wanted = info.compression == BI_ALPHABITFIELDS ? 4 : 3;
      const size_t inside = hs > 40 ? std::min<size_t>(4, (hs - 40) / 4) : 0;
      const size_t after = wanted > inside ? wanted - inside : 0;
      if (!fits(size, h0 + hs, after * 4)) return false;
      table += after * 4;
      for (int i = 0; i < 3; ++i) info.masks[i] = le32(d + at + 4 * i);
      if (wanted == 4 || inside == 4) {
        info.masks[3] = le32(d + at + 12);
        info.alphamask = info.masks[3] != 0;
      }
    } else if (hs >= 56 && info.bpp == 32) {
      // Headers with masks may carry an alpha mask even for plain 32-bit pixels.
      info.masks[3] = le32(d + h0 + 52);
      info.alphamask = info.masks[3] != 0;
    }
  } else {
    return false;
  }
  if (icon) {
    info.height /= 2;
    if (info.compression != BI_RGB) return false;
  }
  if (info.height < 0) {
    info.topdown = true;
    info.height = -info.height;
  }
  if (!size_ok(info.width, info.height)) return false;
  switch (info.bpp) {
    case 1:
    case 4:
    case 8:
    case 16:
    case 24:
    case 32:
      break;
    default:
      return false;
  }
  switch (info.compression) {
    case BI_RGB:
      break;
    case BI_RLE8:
      if (info.bpp != 8 || info.topdown) return false;
      break;
    case BI_RLE4:
      if (info.bpp != 4 || info.topdown) return false;
      break;
    case BI_BITFIELDS:
    case BI_ALPHABITFIELDS:
      if (info.bpp != 16 && info.bpp != 32) return false;
      break;
    default:
      return false;
  }
  if (info.compression == BI_RGB || info.compression == BI_RLE8 || info.compression == BI_RLE4) {
    if (info.bpp == 16) {
      info.masks[0] = 0x7C00, info.masks[1] = 0x03E0, info.masks[2] = 0x001F;
    } else if (info.bpp == 32 || info.bpp == 24) {
      info.masks[0] = 0xFF0000, info.masks[1] = 0xFF00, info.masks[2] = 0xFF;
    }
  }
  size_t after = table;
  if (info.bpp <= 8) {
    const size_t most = size_t(1) << info.bpp;
    size_t n = used ? std::min<size_t>(used, most) : most;
    if (!fits(size, table, uint64_t(n) * entry)) return false;
    for (size_t i = 0; i < n; ++i) {
      const uint8_t *e = d + table + i * entry;
      info.palette[i] = pix32(e[2], e[1], e[0], 0);
    }
    info.palette_entries = n;
    after = table + (used ? size_t(used) : n) * entry;
  } else if (used && used <= 256) {
    after = table + size_t(used) * entry;  // an optional table for display, unused here
  }
  info.bits = bits_at ? bits_at : after;
  return info.bits < size;
}

inline pix32 from_palette(const dibinfo &info, unsigned index) {
  return index < info.palette_entries ? info.palette[index] : pix32();
}

// Uncompressed rows (and, for icons, the AND mask after them) into the locked surface.
bool decode_rows(const uint8_t *d, size_t size, const dibinfo &info, bool icon, const surf &out) {
  const uint64_t stride = ((uint64_t(info.width) * info.bpp + 31) / 32) * 4;
  if (!fits(size, info.bits, stride * info.height)) return false;
  const uint64_t maskstride = ((uint64_t(info.width) + 31) / 32) * 4;
  const uint64_t maskat = info.bits + stride * info.height;
  if (icon && !fits(size, maskat, maskstride * info.height)) return false;
  const int w = int(info.width), h = int(info.height);
  const channel cr(info.masks[0]), cg(info.masks[1]), cb(info.masks[2]), ca(info.masks[3]);
  const bool standard32 = info.masks[0] == 0xFF0000 && info.masks[1] == 0xFF00 && info.masks[2] == 0xFF;
  bool anyalpha = false;
  for (int r = 0; r < h; ++r) {
    const int y = info.topdown ? r : h - 1 - r;
    const uint8_t *s = d + info.bits + stride * uint64_t(r);
    pix32 *o = out.bits + size_t(out.pitch) * size_t(y);
    switch (info.bpp) {
      case 1:
        for (int x = 0; x < w; ++x) o[x] = from_palette(info, (s[x >> 3] >> (7 - (x & 7))) & 1);
        break;
      case 4:
        for (int x = 0; x < w; ++x) o[x] = from_palette(info, (s[x >> 1] >> ((x & 1) ? 0 : 4)) & 15);
        break;
      case 8:
        for (int x = 0; x < w; ++x) o[x] = from_palette(info, s[x]);
        break;
      case 16:
        for (int x = 0; x < w; ++x) {
          const uint32_t v = le16(s + 2 * x);
          o[x] = pix32(cr(v), cg(v), cb(v), info.alphamask ? ca(v) : 0);
        }
        break;
      case 24:
        for (int x = 0; x < w; ++x) o[x] = pix32(s[3 * x + 2], s[3 * x + 1], s[3 * x], 0);
        break;
      case 32:
        if (icon) {
          // Icons keep their fourth byte as alpha.
          for (int x = 0; x < w; ++x) {
            o[x] = pix32(s[4 * x + 2], s[4 * x + 1], s[4 * x], s[4 * x + 3]);
            anyalpha |= s[4 * x + 3] != 0;
          }
        } else if (standard32) {
          for (int x = 0; x < w; ++x)
            o[x] = pix32(s[4 * x + 2], s[4 * x + 1], s[4 * x], info.alphamask ? ca(le32(s + 4 * x)) : 0);
        } else {
          for (int x = 0; x < w; ++x) {
            const uint32_t v = le32(s + 4 * x);
            o[x] = pix32(cr(v), cg(v), cb(v), info.alphamask ? ca(v) : 0);
          }
        }
        break;
    }
  }
  // Icons without an alpha channel of their own take it from the AND mask: a set bit is a
  // transparent pixel.
  if (icon && !(info.bpp == 32 && anyalpha)) {
    for (int r = 0; r < h; ++r) {
      const int y = info.topdown ? r : h - 1 - r;
      const uint8_t *m = d + maskat + maskstride * uint64_t(r);
      pix32 *o = out.bits + size_t(out.pitch) * size_t(y);
      for (int x = 0; x < w; ++x) o[x].a = ((m[x >> 3] >> (7 - (x & 7))) & 1) ? 0 : 255;
    }
  }
  return true;
}

// RLE8 or RLE4 pixel data, bottom-up, into the locked surface. The data must end with the
// end-of-bitmap mark; pixels that it skips stay 0.
bool decode_rle(const uint8_t *d, size_t size, const dibinfo &info, const surf &out) {
  const bool four = info.compression == BI_RLE4;
  const int64_t w = info.width, h = info.height;
  int64_t x = 0, y = 0;  // y counts rows from the bottom
  size_t at = info.bits;
  auto put = [&](int64_t px, unsigned index) {
    if (px >= 0 && px < w && y >= 0 && y < h)
      out.bits[size_t(out.pitch) * size_t(h - 1 - y) + size_t(px)] = from_palette(info, index);
  };
  while (true) {
    if (!fits(size, at, 2)) return false;
    const unsigned a = d[at], b = d[at + 1];
    at += 2;
    if (a > 0) {
      for (unsigned i = 0; i < a; ++i) put(x + i, four ? ((i & 1) ? (b & 15) : (b >> 4)) : b);
      x += a;
      continue;
    }
    if (b == 0) {
      x = 0;
      ++y;
    } else if (b == 1) {
      return true;
    } else if (b == 2) {
      if (!fits(size, at, 2)) return false;
      x += d[at];
      y += d[at + 1];
      at += 2;
    } else {
      const size_t bytes = four ? (b + 1) / 2 : b;
      const size_t padded = (bytes + 1) & ~size_t(1);
      if (!fits(size, at, padded)) return false;
      for (unsigned i = 0; i < b; ++i)
        put(x + i, four ? ((i & 1) ? (d[at + i / 2] & 15) : (d[at + i / 2] >> 4)) : d[at + i]);
      x += b;
      at += padded;
    }
  }
}

KORSurface *decode_dib(const uint8_t *d, size_t size, size_t h0, size_t bits_at, bool icon) {
  dibinfo info;
  if (!parse_dib(d, size, h0, bits_at, icon, info)) return nullptr;
  KORSurface *s = surface::SurfaceCreate(int(info.width), int(info.height));
  if (!s) return nullptr;
  surf out;
  bool ok = surface::SurfaceDataLock(s, &out) != 0;
  if (ok) {
    ok = info.compression == BI_RLE8 || info.compression == BI_RLE4 ? decode_rle(d, size, info, out)
                                                                    : decode_rows(d, size, info, icon, out);
    surface::SurfaceDataUnlock(&out);
  }
  if (!ok) {
    surface::SurfaceDelete(s);
    return nullptr;
  }
  return s;
}

bool is_png(const uint8_t *d, size_t n) {
  static const uint8_t sig[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
  return n >= 8 && std::memcmp(d, sig, 8) == 0;
}

}  // namespace

KORSurface *DecodeBMP(const uint8_t *data, size_t size) {
  if (!data || size < 16) return nullptr;
  if (data[0] == 'B' && data[1] == 'M') {
    const uint32_t off = le32(data + 10);
    // An offset inside the headers is wrong; fall back to the data after the colour table.
    return decode_dib(data, size, 14, off >= 14 + 12 ? off : 0, false);
  }
  return decode_dib(data, size, 0, 0, false);
}

KORSurface *DecodeICO(const uint8_t *data, size_t size) {
  if (!data || size < 6) return nullptr;
  const unsigned type = le16(data + 2), count = le16(data + 4);
  if (le16(data) != 0 || (type != 1 && type != 2) || count == 0 || !fits(size, 6, uint64_t(count) * 16))
    return nullptr;
  // Pick the largest image by what its own header says (the directory's sizes stop at 256 and
  // a cursor's directory holds its hot spot where an icon's holds its depth).
  int best = -1;
  int64_t best_area = 0;
  int best_depth = 0;
  for (unsigned i = 0; i < count; ++i) {
    const uint8_t *e = data + 6 + 16 * i;
    const uint32_t bytes = le32(e + 8), off = le32(e + 12);
    // An entry reaching past the end means the file was cut: refuse it rather than fall back.
    if (!fits(size, off, bytes)) return nullptr;
    if (bytes < 16) continue;
    const uint8_t *img = data + off;
    int64_t w, h;
    int depth;
    if (is_png(img, bytes)) {
      if (bytes < 26) continue;
      w = be32(img + 16), h = be32(img + 20);
      depth = 32;
    } else {
      if (bytes < 40 || le32(img) != 40) continue;
      w = int32_t(le32(img + 4)), h = int32_t(le32(img + 8)) / 2;
      depth = le16(img + 14);
    }
    if (h < 0) h = -h;
    if (!size_ok(w, h)) continue;
    if (w * h > best_area || (w * h == best_area && depth > best_depth)) {
      best = int(i), best_area = w * h, best_depth = depth;
    }
  }
  if (best < 0) return nullptr;
  const uint8_t *e = data + 6 + 16 * best;
  const uint32_t bytes = le32(e + 8), off = le32(e + 12);
  if (is_png(data + off, bytes)) return DecodePNG(data + off, bytes);
  // The image's own bytes only, so its AND mask cannot be read from a neighbour.
  return decode_dib(data + off, bytes, 0, 0, true);
}

HICON IconFromFile(const char *path) {
  if (!path) return nullptr;
  FILE *f = std::fopen(path, "rb");
  if (!f) return nullptr;
  // Every medium imported asks for its icon: a file that does not start like an icon
  // directory (reserved 0, type 1 or 2) is left after its first six bytes, not read whole.
  std::vector<uint8_t> bytes(6);
  if (std::fread(bytes.data(), 1, 6, f) != 6 || le16(bytes.data()) != 0 ||
      (le16(bytes.data() + 2) != 1 && le16(bytes.data() + 2) != 2)) {
    std::fclose(f);
    return nullptr;
  }
  uint8_t chunk[65536];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) {
    if (bytes.size() + n > IMAGE_MAX_FILE_BYTES) {
      std::fclose(f);
      return nullptr;
    }
    bytes.insert(bytes.end(), chunk, chunk + n);
  }
  std::fclose(f);
  KORSurface *s = DecodeICO(bytes.data(), bytes.size());
  if (!s) return nullptr;
  HICON h = new icon;
  h->width = s->width;
  h->height = s->height;
  h->pixels.resize(size_t(s->width) * size_t(s->height));
  surf a;
  if (surface::SurfaceDataLock(s, &a)) {
    for (int y = 0; y < s->height; ++y)
      for (int x = 0; x < s->width; ++x)
        h->pixels[size_t(y) * s->width + x] = a.bits[size_t(a.pitch) * y + x].word();
    surface::SurfaceDataUnlock(&a);
  }
  surface::SurfaceDelete(s);
  return h;
}

namespace {
// Icon files read through our decoder from the moment the engine is loaded.
const bool icon_reader_installed = (SetIconFileReader(IconFromFile), true);
}  // namespace
