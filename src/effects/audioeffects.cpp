// The built-in sound effects: volume/pan and the four-band compressor / expander.
#include "effects/audioeffects.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define AUDIO_X86 1
#endif

#include "media/kernels.h"

namespace {

constexpr int kFramesPerStep = 441;  // 10 ms at 44 100 Hz
constexpr int kStepMs = 10;

// trunc(v) kept to its low 16 bits: no clipping. Within the variables' own bounds the product
// always fits; bounds read from a damaged file are brought into the integer range first.
int16_t wrap16(double v) {
  if (!(v == v)) return 0;
  return int16_t(uint16_t(uint32_t(int32_t(std::clamp(v, -2147483648.0, 2147483647.0)))));
}

// Frames [from, to) of interleaved stereo with the gains held: sample * v * g, in that order.
void volume_frames(const int16_t *in, int16_t *out, int from, int to, double v, double gl, double gr) {
  for (int i = from; i < to; ++i) {
    out[2 * i] = wrap16(in[2 * i] * v * gl);
    out[2 * i + 1] = wrap16(in[2 * i + 1] * v * gr);
  }
}

// Gains for which no product of a sample overflows or is not a number.
bool bounded(double g) { return std::fabs(g) < 1e12; }

#if AUDIO_X86
// Four frames per step, the same two roundings per sample. Only for bounded gains: then every
// product is finite and the clamp and truncation are those of wrap16.
// Four samples times v times g, clamped, truncated, their low 16 bits in the first 8 bytes.
__attribute__((target("avx2"))) inline __m128i wrap4(__m128i four, __m256d vv, __m256d g, __m256d lo,
                                                     __m256d hi, __m128i low16) {
  const __m256d x = _mm256_mul_pd(_mm256_mul_pd(_mm256_cvtepi32_pd(four), vv), g);
  return _mm_shuffle_epi8(_mm256_cvttpd_epi32(_mm256_min_pd(_mm256_max_pd(x, lo), hi)), low16);
}

__attribute__((target("avx2"))) int volume_frames_avx2(const int16_t *in, int16_t *out, int from, int to,
                                                       double v, double gl, double gr) {
  const __m256d vv = _mm256_set1_pd(v), g = _mm256_setr_pd(gl, gr, gl, gr);
  const __m256d lo = _mm256_set1_pd(-2147483648.0), hi = _mm256_set1_pd(2147483647.0);
  const __m128i low16 = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
  int i = from;
  for (; i + 4 <= to; i += 4) {
    const __m256i s = _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in + 2 * i)));
    const __m128i a = wrap4(_mm256_castsi256_si128(s), vv, g, lo, hi, low16);
    const __m128i b = wrap4(_mm256_extracti128_si256(s, 1), vv, g, lo, hi, low16);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 2 * i), _mm_unpacklo_epi64(a, b));
  }
  return i;
}
#endif

}  // namespace

int effectAudio::ProcessVolPanComp(int16_t *in, int16_t *out, int count) {
  if (!in || !out) return 0;
  int t = GetCurrentTime();
  const int frames = count / 4;
  // The gains are read for the first frame, then again after frame 0, 441, 882, ...: each
  // step's frames share them.
  for (int from = 0; from < frames;) {
    const double v = GetTimeFloat(fxid::IDS_VOLUME, t);
    const double p = GetTimeFloat(fxid::IDS_PAN, t);
    const double gl = 1.0 - std::max(p, 0.0), gr = 1.0 - std::max(-p, 0.0);
    const int to = std::min(frames, from == 0 ? 1 : from + kFramesPerStep);
    int done = from;
#if AUDIO_X86
    if (kernels::ActiveTier() >= kernels::tier::avx2 && bounded(v) && bounded(gl) && bounded(gr))
      done = volume_frames_avx2(in, out, from, to, v, gl, gr);
#endif
    volume_frames(in, out, done, to, v, gl, gr);
    from = to;
    t += kStepMs;
  }
  return 1;
}

effectVolPan::effectVolPan(clip *owner, vemowin *w, surface *s) {
  initEffect(owner, w, s);
  SetID(kType);
  TV_IDS_EFFECT_VARS();
  TV_IDS_VOLUME();
  TV_IDS_PAN();
}

int effectVolPan::Process(int16_t *in, int16_t *out, int count) { return ProcessVolPanComp(in, out, count); }

effectCompEx4::effectCompEx4(clip *owner, vemowin *w, surface *s) {
  initEffect(owner, w, s);
  SetID(kType);
  TV_IDS_COMPRESS4();
  TV_IDS_COMP4();
  TV_IDS_COMP3();
  TV_IDS_COMP2();
  TV_IDS_COMP1();
}

void effectCompEx4::Recalc() {
  high = GetTimeFloat(fxid::IDS_COMP1, runningtime);
  mediumhigh = GetTimeFloat(fxid::IDS_COMP2, runningtime);
  mediumlow = GetTimeFloat(fxid::IDS_COMP3, runningtime);
  low = GetTimeFloat(fxid::IDS_COMP4, runningtime);
}

int16_t effectCompEx4::MapAmplitude(int16_t x) const {
  const int a = std::min(std::abs(int(x)), 32767);
  double x0, y0, x1, y1;
  if (a < 8192) {
    x0 = 0, y0 = 0, x1 = 8192, y1 = low * 32767.0;
  } else if (a < 16384) {
    x0 = 8192, y0 = low * 32767.0, x1 = 16384, y1 = mediumlow * 32767.0;
  } else if (a < 24576) {
    x0 = 16384, y0 = mediumlow * 32767.0, x1 = 24576, y1 = mediumhigh * 32767.0;
  } else {
    x0 = 24576, y0 = mediumhigh * 32767.0, x1 = 32767, y1 = high * 32767.0;
  }
  double y = ((x1 - a) * y0 + (a - x0) * y1) / (x1 - x0);
  if (x < 0) y = -y;
  if (!(y == y)) y = 0.0;
  return int16_t(int(std::clamp(y, -32767.0, 32767.0)));
}

int effectCompEx4::Process(int16_t *in, int16_t *out, int count) {
  if (!in || !out) return 0;
  runningtime = GetCurrentTime();
  Recalc();
  const int frames = count / 4;
  for (int i = 0; i < frames; ++i) {
    out[2 * i] = MapAmplitude(in[2 * i]);
    out[2 * i + 1] = MapAmplitude(in[2 * i + 1]);
    if (i % kFramesPerStep == 0) {
      runningtime += kStepMs;
      Recalc();
    }
  }
  return 1;
}
