// The built-in sound effects: volume/pan and the four-band compressor / expander.
#include "effects/audioeffects.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr int kFramesPerStep = 441;  // 10 ms at 44 100 Hz
constexpr int kStepMs = 10;

// trunc(v) kept to its low 16 bits: no clipping. Within the variables' own bounds the product
// always fits; bounds read from a damaged file are brought into the integer range first.
int16_t wrap16(double v) {
  if (!(v == v)) return 0;
  return int16_t(uint16_t(uint32_t(int32_t(std::clamp(v, -2147483648.0, 2147483647.0)))));
}

}  // namespace

int effectAudio::ProcessVolPanComp(int16_t *in, int16_t *out, int count) {
  if (!in || !out) return 0;
  int t = GetCurrentTime();
  double v = 0, gl = 0, gr = 0;
  auto read = [&] {
    v = GetTimeFloat(fxid::IDS_VOLUME, t);
    const double p = GetTimeFloat(fxid::IDS_PAN, t);
    gl = 1.0 - std::max(p, 0.0);
    gr = 1.0 - std::max(-p, 0.0);
  };
  read();
  const int frames = count / 4;
  for (int i = 0; i < frames; ++i) {
    const double l = in[2 * i] * v * gl, r = in[2 * i + 1] * v * gr;
    out[2 * i] = wrap16(l);
    out[2 * i + 1] = wrap16(r);
    if (i % kFramesPerStep == 0) {
      t += kStepMs;
      read();
    }
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
