// Windows metafiles rendered through libwmf's raster (gd) device.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "media/imagebytes.h"
#include "media/imagecodecs.h"
#include "media/kernels.h"
#include "media/surface.h"

#if VEMO_HAVE_WMF
#include <libwmf/api.h>
#include <libwmf/gd.h>

#include <string>

#include "media/text.h"
#endif

using namespace imagebytes;

namespace {

// Where the metafile header starts: after the placeable header when there is one.
size_t header_at(const uint8_t *d, size_t size) { return size >= 22 && le32(d) == 0x9AC6CDD7u ? 22 : 0; }

// The records must be well formed up to the end record inside the data before the library
// sees them: each at least three words long and lying inside the file. The header's largest
// record sizes the library's record buffer, so it must hold every record and fit in the file.
[[maybe_unused]] bool wmf_well_formed(const uint8_t *d, size_t size) {
  size_t at = header_at(d, size);
  if (!fits(size, at, 18)) return false;
  const unsigned type = le16(d + at), words = le16(d + at + 2);
  const uint32_t largest = le32(d + at + 12);
  if ((type != 1 && type != 2) || words != 9 || uint64_t(largest) * 2 > size) return false;
  at += 18;
  while (fits(size, at, 6)) {
    const uint32_t n = le32(d + at);
    const unsigned function = le16(d + at + 4);
    if (n < 3 || n > largest || !fits(size, at, uint64_t(n) * 2)) return false;
    if (function == 0) return true;
    at += size_t(n) * 2;
  }
  return false;
}

// fn(at, words, function) for each record lying inside the data, past an end record too (the
// library reads on when the record is longer than one), up to one shorter than three words.
template <class Fn>
void each_record(const uint8_t *d, size_t size, Fn fn) {
  for (size_t at = header_at(d, size) + 18; fits(size, at, 6);) {
    const uint32_t n = le32(d + at);
    if (n < 3 || !fits(size, at, uint64_t(n) * 2)) break;
    fn(at, n, le16(d + at + 4));
    at += size_t(n) * 2;
  }
}

// The narrower sides of the picture's boxes in logical units (the placeable box and the window
// extents): the largest, and the smallest, where the fewest units span the picture; 1 at least.
struct wmf_sides {
  int widest = 1, finest = 0;
};
[[maybe_unused]] wmf_sides wmf_narrow_sides(const uint8_t *d, size_t size) {
  wmf_sides sides;
  auto box = [&sides](int x, int y) {
    const int narrow = std::max(std::min(std::abs(x), std::abs(y)), 1);
    sides.widest = std::max(sides.widest, narrow);
    sides.finest = sides.finest ? std::min(sides.finest, narrow) : narrow;
  };
  if (header_at(d, size))
    box(int16_t(le16(d + 10)) - int16_t(le16(d + 6)), int16_t(le16(d + 12)) - int16_t(le16(d + 8)));
  each_record(d, size, [&](size_t at, uint32_t n, unsigned function) {
    if (function == 0x020C && n >= 5) box(int16_t(le16(d + at + 8)), int16_t(le16(d + at + 6)));  // (y, x)
  });
  sides.finest = std::max(sides.finest, 1);
  return sides;
}

// The raster device draws a wide pen by stamping a square of its width at every point of the
// line, so the cost grows with the square of the width: a 65535-unit pen on a 40-unit picture
// ran for minutes, and one of 200 pixels on a 2048-pixel picture for seconds. Pens wider than
// `limit` logical units are narrowed to it in the library's copy of the records; true when one
// was.
[[maybe_unused]] bool wmf_narrow_pens(uint8_t *d, size_t size, unsigned limit) {
  bool narrowed = false;
  each_record(d, size, [&](size_t at, uint32_t n, unsigned function) {
    uint8_t *width = d + at + 8;                                // pen: style, width (x, y), colour
    if (function == 0x02FA && n >= 6 && le16(width) > limit) {  // unsigned to the library
      width[0] = uint8_t(limit);
      width[1] = uint8_t(limit >> 8);
      narrowed = true;
    }
  });
  return narrowed;
}

}  // namespace

#if VEMO_HAVE_WMF

namespace {

// Metafile text names the standard PostScript faces; they are mapped to the installed fonts
// fontconfig finds for the matching family, weight and slant.
struct font_table {
  std::string files[13];
  wmfMapping ps[14];

  font_table() {
    struct face {
      const char *name, *family;
      int weight;
      bool italic;
    };
    static const face faces[13] = {
        {"Times-Roman", "serif", 400, false},         {"Times-Italic", "serif", 400, true},
        {"Times-Bold", "serif", 700, false},          {"Times-BoldItalic", "serif", 700, true},
        {"Helvetica", "sans-serif", 400, false},      {"Helvetica-Oblique", "sans-serif", 400, true},
        {"Helvetica-Bold", "sans-serif", 700, false}, {"Helvetica-BoldOblique", "sans-serif", 700, true},
        {"Courier", "monospace", 400, false},         {"Courier-Oblique", "monospace", 400, true},
        {"Courier-Bold", "monospace", 700, false},    {"Courier-BoldOblique", "monospace", 700, true},
        {"Symbol", "sans-serif", 400, false},
    };
    int n = 0;
    for (const face &f : faces) {
      files[n] = textengine::FontFile(f.family, f.weight, f.italic);
      if (files[n].empty()) continue;
      ps[n] = wmfMapping{const_cast<char *>(f.name), const_cast<char *>(files[n].c_str()), FT_ENCODING_NONE};
      ++n;
    }
    ps[n] = wmfMapping{nullptr, nullptr, FT_ENCODING_NONE};
  }
};

// The largest side of a rendered metafile, and the widest pen it is drawn with, in pixels.
constexpr unsigned kWmfMaxSide = 2048;
constexpr unsigned kWmfMaxPen = 32;

// The library opened on the records and their picture sized: at 96 dots per inch, but no
// longer than kWmfMaxSide (the raster device's fills cost more than the area, a 256 x 10475
// box ran for minutes, and a larger picture would be scaled down by its clip anyway).
struct wmf_opened {
  wmfAPI *api = nullptr;
  bool open = false, sized = false;
  wmfD_Rect bbox{};
  unsigned int w = 0, h = 0;

  explicit wmf_opened(std::vector<unsigned char> &records) {
    wmfAPI_Options options;
    std::memset(&options, 0, sizeof options);
    options.function = wmf_gd_function;
    static const font_table fonts;
    options.font.ps = const_cast<wmfMapping *>(fonts.ps);
    const unsigned long flags =
        WMF_OPT_FUNCTION | WMF_OPT_FONTMAP | WMF_OPT_IGNORE_NONFATAL | WMF_OPT_NO_ERROR | WMF_OPT_NO_DEBUG;
    if (wmf_api_create(&api, flags, &options) != wmf_E_None) return;
    open = wmf_mem_open(api, records.data(), long(records.size())) == wmf_E_None;
    sized =
        open && wmf_scan(api, 0, &bbox) == wmf_E_None && wmf_display_size(api, &w, &h, 96, 96) == wmf_E_None;
    if (sized && std::max(w, h) > kWmfMaxSide) {
      const double dpi = 96.0 * kWmfMaxSide / std::max(w, h);
      sized = wmf_display_size(api, &w, &h, dpi, dpi) == wmf_E_None;
    }
    sized = sized && size_ok(w, h);
  }
  ~wmf_opened() {
    if (open) wmf_mem_close(api);
    if (api) wmf_api_destroy(api);
  }
  wmf_opened(const wmf_opened &) = delete;
  wmf_opened &operator=(const wmf_opened &) = delete;
};

// The picture the raster device draws, handed over as a PNG written to a memory stream: asked
// for the raw image instead, it would leave that image for us to free, which its interface
// gives no way to do.
KORSurface *render(wmf_opened &m) {
  char *png = nullptr;
  size_t pngsize = 0;
  FILE *sink = open_memstream(&png, &pngsize);
  wmf_gd_t *gd = WMF_GD_GetData(m.api);
  KORSurface *result = nullptr;
  if (sink && (gd->flags & WMF_GD_SUPPORTS_PNG)) {
    gd->type = wmf_gd_png;
    gd->file = sink;
    gd->flags |= WMF_GD_OUTPUT_FILE;
    gd->bbox = m.bbox;
    gd->width = m.w;
    gd->height = m.h;
    const bool played = wmf_play(m.api, 0, &m.bbox) == wmf_E_None;
    std::fclose(sink);
    sink = nullptr;
    if (played) result = DecodePNG(reinterpret_cast<const uint8_t *>(png), pngsize);
  }
  if (sink) std::fclose(sink);
  std::free(png);
  // A metafile is a picture without alpha.
  surf out;
  if (result && surface::SurfaceDataLock(result, &out)) {
    for (int y = 0; y < out.height; ++y)
      kernels::alpha_set_row(out.bits + size_t(out.pitch) * y, out.width, 0);
    surface::SurfaceDataUnlock(&out);
  }
  return result;
}

}  // namespace

KORSurface *DecodeWMF(const uint8_t *data, size_t size) {
  if (!data || size > IMAGE_MAX_FILE_BYTES || !wmf_well_formed(data, size)) return nullptr;
  std::vector<unsigned char> copy(data, data + size);  // the library wants writable bytes
  // A pen wider than twice the picture's narrower side paints all across it along its length
  // already. Then, once the picture's size in pixels is known, no pen is wider than kWmfMaxPen
  // pixels where the fewest units span it; the picture is sized again, as wide pens widen the
  // drawing's bounds.
  const wmf_sides sides = wmf_narrow_sides(copy.data(), copy.size());
  wmf_narrow_pens(copy.data(), copy.size(), unsigned(std::min(2 * sides.widest, 32767)));
  auto opened = std::make_unique<wmf_opened>(copy);
  if (!opened->sized) return nullptr;
  const uint64_t pen = uint64_t(sides.finest) * kWmfMaxPen / std::min(opened->w, opened->h);
  if (wmf_narrow_pens(copy.data(), copy.size(), unsigned(std::clamp<uint64_t>(pen, 1, 32767)))) {
    opened.reset();
    opened = std::make_unique<wmf_opened>(copy);
    if (!opened->sized) return nullptr;
  }
  return render(*opened);
}

#else

KORSurface *DecodeWMF(const uint8_t *, size_t) { return nullptr; }

#endif
