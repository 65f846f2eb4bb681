// The text string generator: lines of text with background, drop shadow and inner shadow,
// anti-aliased through FreeType coverage (see clipsource.h for its parameters).
#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "engine/clip.h"
#include "engine/clipsource.h"
#include "media/dc.h"
#include "media/text.h"

namespace {

// The shadow's opacity relative to the letters'.
constexpr int kShadowShare = 153;  // 60 % of 255

struct textparams {
  double size, weight, italic, underline, sdist, sang, sins;
  uint32_t fgword, bgword;  // the colours as pix32 words
  int32_t w, h, align;
};

// A w x h coverage mask.
struct mask {
  int w = 0, h = 0;
  std::vector<uint8_t> a;
  void init(int width, int height) {
    w = width;
    h = height;
    a.assign(size_t(w) * size_t(h), 0);
  }
  uint8_t at(int x, int y) const { return x < 0 || y < 0 || x >= w || y >= h ? 0 : a[size_t(y) * w + x]; }
};

// One pass of a box blur of radius r along rows (dx = 1) or columns, with running sums.
void BoxPass(mask &m, int r, bool rows) {
  const int n = rows ? m.w : m.h, lines = rows ? m.h : m.w;
  const size_t step = rows ? 1 : size_t(m.w);
  std::vector<uint8_t> line(static_cast<size_t>(n));
  const int span = 2 * r + 1;
  for (int l = 0; l < lines; ++l) {
    uint8_t *p = rows ? &m.a[size_t(l) * m.w] : &m.a[size_t(l)];
    for (int i = 0; i < n; ++i) line[size_t(i)] = p[size_t(i) * step];
    int sum = 0;
    for (int i = -r; i <= r; ++i) sum += i >= 0 && i < n ? line[size_t(i)] : 0;
    for (int i = 0; i < n; ++i) {
      p[size_t(i) * step] = uint8_t((sum + span / 2) / span);
      const int out = i - r, in = i + r + 1;
      if (out >= 0) sum -= line[size_t(out)];
      if (in < n) sum += line[size_t(in)];
    }
  }
}

// Straight-alpha "over" of (c, a) onto the pixel d.
inline void Over(pix32 &d, int r, int g, int b, int a) {
  if (a <= 0) return;
  if (a >= 255 || d.a == 0) {
    d = pix32(uint8_t(r), uint8_t(g), uint8_t(b), uint8_t(a));
    return;
  }
  const int da = d.a * (255 - a);  // destination weight times 255
  const int oa = a * 255 + da;     // resulting alpha times 255
  auto mixc = [&](int s, int dc) { return uint8_t((s * a * 255 + dc * da + oa / 2) / oa); };
  d = pix32(mixc(r, d.r), mixc(g, d.g), mixc(b, d.b), uint8_t((oa + 127) / 255));
}

}  // namespace

bool clipsrcText::Setup() {
  srcclip->ClipAddVarsColor();
  srcclip->ClipAddVarsFont();
  srcclip->ClipAddVarsShadow();
  return true;
}

bool clipsrcText::Paint(KORSurface *s, bool *changed) {
  if (changed) *changed = false;
  if (!s) return false;
  using namespace clipvar;
  clip *c = srcclip;
  textparams p;
  std::memset(&p, 0, sizeof p);  // the parameters are compared as bytes, padding included
  p.size = c->GetTimeFloat(IDS_STR_FONTSIZE);
  p.weight = c->GetTimeFloat(IDS_STR_FONTWEIGHT);
  p.italic = c->GetTimeFloat(IDS_STR_ITALIC);
  p.underline = c->GetTimeFloat(IDS_STR_UNDERLINE);
  p.sdist = c->GetTimeFloat(IDS_STR_SDIST);
  p.sang = c->GetTimeFloat(IDS_STR_SANG);
  p.sins = c->GetTimeFloat(IDS_STR_SINS);
  const pix32 fg = c->GetTimeColor(IDS_COLOR_FG_R, IDS_COLOR_FG_G, IDS_COLOR_FG_B, IDS_COLOR_FG_A);
  const pix32 bg = c->GetTimeColor(IDS_COLOR_BG_R, IDS_COLOR_BG_G, IDS_COLOR_BG_B, IDS_COLOR_BG_A);
  p.fgword = fg.word();
  p.bgword = bg.word();
  p.w = s->width;
  p.h = s->height;
  p.align = c->ClipGetTextAlign();

  // The picture depends on these parameters, the text and the font alone.
  std::string key(reinterpret_cast<const char *>(&p), sizeof p);
  key += c->GetFont();
  key += '\0';
  key += c->ClipGetText();
  if (key == painted) return true;

  const int w = p.w, h = p.h;
  font f;
  f.family = c->GetFont();
  const double px = std::clamp(p.size, 1.0, 1000.0) * h / 240.0;
  f.height = std::max(1, int(std::lround(px)));
  f.weight = int(std::lround((100.0 + 800.0 * std::clamp(p.weight, 0.0, 1.0)) / 100.0)) * 100;
  f.italic = p.italic >= 0.5;

  // The letters' coverage.
  mask m;
  m.init(w, h);
  textmetric tm;
  std::vector<std::string> lines;
  {
    const char *t = c->ClipGetText();
    const char *start = t;
    for (const char *q = t;; ++q) {
      if (*q == '\n' || *q == 0) {
        lines.emplace_back(start, size_t(q - start));
        if (!*q) break;
        start = q + 1;
      }
    }
  }
  if (textengine::Metrics(f, &tm) && !(lines.size() == 1 && lines[0].empty())) {
    const int lh = tm.height + tm.linegap;
    const int total = int(lines.size()) * lh - tm.linegap;
    const int margin = w / 50;
    int uoff = 0, uthick = 0;
    const bool under = p.underline >= 0.5 && textengine::Underline(f, &uoff, &uthick);
    for (size_t i = 0; i < lines.size(); ++i) {
      const std::string &line = lines[i];
      int width = 0;
      textengine::Measure(f, line.c_str(), int(line.size()), &width);
      const int x = p.align == 1 ? margin : p.align == 2 ? w - margin - width : (w - width) / 2;
      const int baseline = (h - total) / 2 + int(i) * lh + tm.ascent;
      textengine::Render(f, line.c_str(), int(line.size()), x, baseline, [&](const textengine::coverage &g) {
        for (int gy = 0; gy < g.h; ++gy) {
          const int y = g.y + gy;
          if (y < 0 || y >= h) continue;
          uint8_t *row = &m.a[size_t(y) * w];
          const uint8_t *src = g.alpha + size_t(gy) * g.w;
          const int x0 = std::max(0, -g.x), x1 = std::min(g.w, w - g.x);
          for (int gx = x0; gx < x1; ++gx) row[g.x + gx] = std::max(row[g.x + gx], src[gx]);
        }
      });
      if (under && width > 0) {
        for (int y = baseline + uoff; y < baseline + uoff + std::max(1, uthick); ++y) {
          if (y < 0 || y >= h) continue;
          for (int xx = std::max(0, x); xx < std::min(w, x + width); ++xx) m.a[size_t(y) * w + xx] = 255;
        }
      }
    }
  }

  // The shadow vector: 0 points to the lower right, a unit turns it half way round.
  const double dist = std::clamp(p.sdist, 0.0, 1.0) * h;
  const double angle = (45.0 + std::clamp(p.sang, -1.0, 1.0) * 180.0) * M_PI / 180.0;
  const int dx = int(std::lround(dist * std::cos(angle)));
  const int dy = int(std::lround(dist * std::sin(angle)));
  const bool shadow = dist >= 0.5 && (dx || dy);
  mask sh;
  if (shadow) {
    sh.init(w, h);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) sh.a[size_t(y) * w + x] = m.at(x - dx, y - dy);
    const int r = int(dist / 3.0);
    if (r >= 1)
      for (int pass = 0; pass < 2; ++pass) {
        BoxPass(sh, r, true);
        BoxPass(sh, r, false);
      }
  }
  const int inner = shadow ? int(std::lround(std::clamp(p.sins, 0.0, 1.0) * 255.0)) : 0;

  surf lk;
  if (!surface::SurfaceDataLock(s, &lk)) return false;
  const pix32 bgpix(bg.r, bg.g, bg.b, bg.a);
  const int shadowalpha = fg.a * kShadowShare / 255;
  for (int y = 0; y < h; ++y) {
    pix32 *row = lk.bits + size_t(lk.pitch) * size_t(y);
    std::fill(row, row + w, bgpix);
    const uint8_t *mr = &m.a[size_t(y) * w];
    const uint8_t *sr = shadow ? &sh.a[size_t(y) * w] : nullptr;
    for (int x = 0; x < w; ++x) {
      if (sr && sr[x]) Over(row[x], bg.r, bg.g, bg.b, sr[x] * shadowalpha / 255);
      const int cov = mr[x];
      if (!cov) continue;
      int r = fg.r, g = fg.g, b = fg.b;
      if (inner) {
        // Inside the letters, where the letters moved along the shadow vector do not reach,
        // the edge lies in the letters' own shadow.
        const int edge = cov * (255 - m.at(x - dx, y - dy)) / 255 * inner / 255;
        r += (bg.r - r) * edge / 255;
        g += (bg.g - g) * edge / 255;
        b += (bg.b - b) * edge / 255;
      }
      Over(row[x], r, g, b, cov * fg.a / 255);
    }
  }
  surface::SurfaceDataUnlock(&lk);
  painted = std::move(key);
  if (changed) *changed = true;
  return true;
}
