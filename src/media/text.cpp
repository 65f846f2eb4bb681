// The text engine: fontconfig matching, FreeType faces and a coverage cache of rendered glyphs.
#include "media/text.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace textengine {

namespace {

// Sizes outside this range are clamped: beyond it glyph bitmaps would only waste memory.
constexpr int kMinPixels = 1;
constexpr int kMaxPixels = 1000;
// The coverage pool is dropped and refilled when it grows past this many bytes.
constexpr size_t kPoolLimit = size_t(32) << 20;
constexpr const char *kFallbackFile = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

// fontconfig's best file for the family, weight and slant; empty when there is none.
std::string match_font(const char *family, int weight, bool italic, int *index) {
  std::string file;
  if (index) *index = 0;
  if (!FcInit()) return file;
  FcPattern *pat = FcPatternCreate();
  FcPatternAddString(pat, FC_FAMILY, reinterpret_cast<const FcChar8 *>(family));
  FcPatternAddInteger(pat, FC_WEIGHT, FcWeightFromOpenType(weight));
  FcPatternAddInteger(pat, FC_SLANT, italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
  FcPatternAddBool(pat, FC_SCALABLE, FcTrue);
  FcConfigSubstitute(nullptr, pat, FcMatchPattern);
  FcDefaultSubstitute(pat);
  FcResult result;
  FcPattern *match = FcFontMatch(nullptr, pat, &result);
  if (match) {
    FcChar8 *path = nullptr;
    if (FcPatternGetString(match, FC_FILE, 0, &path) == FcResultMatch && path)
      file = reinterpret_cast<const char *>(path);
    if (index) FcPatternGetInteger(match, FC_INDEX, 0, index);
    FcPatternDestroy(match);
  }
  FcPatternDestroy(pat);
  return file;
}

struct face_entry {
  FT_Face face = nullptr;
  bool embolden = false;  // the weight asked for is bold but the face is not
  bool slant = false;     // italic asked for but the face is upright
  int size = 0;           // pixel size currently set on the face
};

struct glyph_entry {
  size_t offset = 0;  // into the pool
  int w = 0, h = 0, left = 0, top = 0;
  FT_Pos advance = 0;  // 26.6
};

class engine {
 public:
  std::mutex lock;

  engine() {
    if (FT_Init_FreeType(&library) != 0) library = nullptr;
  }
  ~engine() {
    for (auto &f : faces)
      if (f.second.face) FT_Done_Face(f.second.face);
    if (library) FT_Done_FreeType(library);
  }

  // The face for f at its pixel size, or null.
  face_entry *Face(const font &f) {
    if (!library) return nullptr;
    const bool bold = f.weight >= 600;
    auto key = std::make_tuple(f.family, bold ? FW_BOLD : (f.weight <= 300 ? 300 : FW_NORMAL), f.italic);
    auto it = faces.find(key);
    if (it == faces.end()) it = faces.emplace(key, Open(f.family, std::get<1>(key), f.italic)).first;
    face_entry *e = &it->second;
    if (!e->face) return nullptr;
    const int px = std::clamp(f.height, kMinPixels, kMaxPixels);
    if (e->size != px) {
      if (FT_Set_Pixel_Sizes(e->face, 0, FT_UInt(px)) != 0) return nullptr;
      e->size = px;
    }
    return e;
  }

  // The rendered glyph `index` of e at its current size; null when it cannot be rendered.
  const glyph_entry *Glyph(face_entry *e, FT_UInt index) {
    const uint64_t key = (uint64_t(reinterpret_cast<uintptr_t>(e)) << 32) ^ (uint64_t(e->size) << 22) ^ index;
    auto it = glyphs.find(key);
    if (it != glyphs.end() && it->second.first == e && it->second.second.w >= 0) return &it->second.second;
    if (pool.size() > kPoolLimit) {
      pool.clear();
      glyphs.clear();
    }
    FT_Face face = e->face;
    if (FT_Load_Glyph(face, index, FT_LOAD_NO_BITMAP) != 0) return nullptr;
    FT_GlyphSlot slot = face->glyph;
    FT_Pos extra = 0;
    if (slot->format == FT_GLYPH_FORMAT_OUTLINE) {
      if (e->slant) {
        FT_Matrix shear{0x10000, 0x0366A, 0, 0x10000};  // about 12 degrees
        FT_Outline_Transform(&slot->outline, &shear);
      }
      if (e->embolden) {
        const FT_Pos strength = std::max<FT_Pos>(FT_Pos(e->size) * 64 / 24, 32);
        FT_Outline_Embolden(&slot->outline, strength);
        extra = strength;
      }
    }
    if (FT_Render_Glyph(slot, FT_RENDER_MODE_NORMAL) != 0) return nullptr;
    const FT_Bitmap &bm = slot->bitmap;
    glyph_entry g;
    g.w = int(bm.width);
    g.h = int(bm.rows);
    g.left = slot->bitmap_left;
    g.top = slot->bitmap_top;
    g.advance = slot->advance.x + extra;
    g.offset = pool.size();
    if (bm.pixel_mode == FT_PIXEL_MODE_GRAY && g.w > 0 && g.h > 0) {
      pool.resize(pool.size() + size_t(g.w) * size_t(g.h));
      for (int y = 0; y < g.h; ++y) {
        const unsigned char *srow = bm.buffer + ptrdiff_t(y) * bm.pitch;
        std::memcpy(pool.data() + g.offset + size_t(y) * size_t(g.w), srow, size_t(g.w));
      }
    } else {
      g.w = g.h = 0;
    }
    auto &slotref = glyphs[key];
    slotref = {e, g};
    return &slotref.second;
  }

  const uint8_t *Pool(size_t offset) const { return pool.data() + offset; }

 private:
  face_entry Open(const std::string &family, int weight, bool italic) {
    face_entry e;
    int index = 0;
    const std::string file = match_font(family.c_str(), weight, italic, &index);
    if (file.empty() || FT_New_Face(library, file.c_str(), index, &e.face) != 0) {
      e.face = nullptr;
      if (FT_New_Face(library, kFallbackFile, 0, &e.face) != 0) e.face = nullptr;
    }
    if (e.face) {
      if (!FT_IS_SCALABLE(e.face)) {
        FT_Done_Face(e.face);
        e.face = nullptr;
        return e;
      }
      FT_Select_Charmap(e.face, FT_ENCODING_UNICODE);
      e.embolden = weight >= FW_BOLD && !(e.face->style_flags & FT_STYLE_FLAG_BOLD);
      e.slant = italic && !(e.face->style_flags & FT_STYLE_FLAG_ITALIC);
    }
    return e;
  }

  FT_Library library = nullptr;
  std::map<std::tuple<std::string, int, bool>, face_entry> faces;
  std::unordered_map<uint64_t, std::pair<face_entry *, glyph_entry>> glyphs;
  std::vector<uint8_t> pool;
};

engine &Engine() {
  static engine e;
  return e;
}

// The next code point of UTF-8 text; malformed bytes come out as U+FFFD, one byte each.
uint32_t next_codepoint(const unsigned char *&p, const unsigned char *end) {
  const unsigned c = *p++;
  if (c < 0x80) return c;
  int extra = c >= 0xF0 && c < 0xF8 ? 3 : c >= 0xE0 ? 2 : c >= 0xC2 && c < 0xE0 ? 1 : -1;
  if (extra < 0 || end - p < extra) return 0xFFFD;
  uint32_t cp = c & (0x3F >> extra);
  for (int i = 0; i < extra; ++i) {
    if ((p[i] & 0xC0) != 0x80) return 0xFFFD;
    cp = (cp << 6) | (p[i] & 0x3F);
  }
  p += extra;
  return cp;
}

int text_length(const char *text, int len) {
  if (!text) return 0;
  return len < 0 ? int(std::strlen(text)) : len;
}

// Walks the glyphs of text; fn(glyph, pen x in 26.6). Returns the final pen position (26.6).
template <class Fn>
FT_Pos walk(engine &en, face_entry *e, const char *text, int len, Fn &&fn) {
  const unsigned char *p = reinterpret_cast<const unsigned char *>(text);
  const unsigned char *end = p + text_length(text, len);
  FT_Pos pen = 0;
  FT_UInt previous = 0;
  const bool kerning = FT_HAS_KERNING(e->face);
  while (p < end) {
    const uint32_t cp = next_codepoint(p, end);
    const FT_UInt index = FT_Get_Char_Index(e->face, cp);
    if (kerning && previous && index) {
      FT_Vector k;
      if (FT_Get_Kerning(e->face, previous, index, FT_KERNING_DEFAULT, &k) == 0) pen += k.x;
    }
    const glyph_entry *g = en.Glyph(e, index);
    if (g) {
      fn(*g, pen);
      pen += g->advance;
    }
    previous = index;
  }
  return pen;
}

}  // namespace

bool Metrics(const font &f, textmetric *tm) {
  engine &en = Engine();
  std::lock_guard<std::mutex> guard(en.lock);
  face_entry *e = en.Face(f);
  if (!e || !tm) return false;
  const FT_Size_Metrics &m = e->face->size->metrics;
  tm->ascent = int((m.ascender + 63) >> 6);
  tm->descent = int((-m.descender + 63) >> 6);
  tm->height = tm->ascent + tm->descent;
  tm->linegap = std::max(0, int((m.height + 32) >> 6) - tm->height);
  return true;
}

bool Measure(const font &f, const char *text, int len, int *width) {
  engine &en = Engine();
  std::lock_guard<std::mutex> guard(en.lock);
  face_entry *e = en.Face(f);
  if (!e) return false;
  const FT_Pos pen = walk(en, e, text, len, [](const glyph_entry &, FT_Pos) {});
  if (width) *width = int((pen + 32) >> 6);
  return true;
}

int Render(const font &f, const char *text, int len, int x, int baseline, coverage_fn fn, void *context) {
  engine &en = Engine();
  std::lock_guard<std::mutex> guard(en.lock);
  face_entry *e = en.Face(f);
  if (!e) return -1;
  const FT_Pos pen = walk(en, e, text, len, [&](const glyph_entry &g, FT_Pos at) {
    if (g.w <= 0 || g.h <= 0) return;
    const coverage c{en.Pool(g.offset), g.w, g.h, x + int((at + 32) >> 6) + g.left, baseline - g.top};
    fn(context, c);
  });
  return int((pen + 32) >> 6);
}

std::string FontFile(const char *family, int weight, bool italic) {
  engine &en = Engine();
  std::lock_guard<std::mutex> guard(en.lock);
  return match_font(family ? family : "", weight, italic, nullptr);
}

bool Underline(const font &f, int *offset, int *thickness) {
  engine &en = Engine();
  std::lock_guard<std::mutex> guard(en.lock);
  face_entry *e = en.Face(f);
  if (!e) return false;
  const FT_Fixed scale = e->face->size->metrics.y_scale;
  const int pos = int(FT_MulFix(e->face->underline_position, scale) >> 6);
  const int thick = int((FT_MulFix(e->face->underline_thickness, scale) + 32) >> 6);
  if (offset) *offset = std::max(1, -pos);
  if (thickness) *thickness = std::max(1, thick);
  return true;
}

}  // namespace textengine
