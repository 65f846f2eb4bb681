// Effect throughput at 720 x 576 (BENCH_FRAME=1920x1080 for another size): each family's Process
// (variables read, surfaces locked, pixel loop) on a noisy frame, reported in megapixels per second
// beside a plain copy of the same frame; the sound effects in millions of stereo frames per second.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "effects/effect.h"
#include "media/surface.h"

namespace {

struct framesize {
  int w = 720, h = 576;
};

framesize FrameSize() {
  framesize f;
  if (const char *e = std::getenv("BENCH_FRAME")) std::sscanf(e, "%dx%d", &f.w, &f.h);
  f.w = std::clamp(f.w, 16, 8192);
  f.h = std::clamp(f.h, 16, 8192);
  return f;
}

const framesize kFrame = FrameSize();
const int kW = kFrame.w, kH = kFrame.h;

KORSurface *noisy_frame(uint32_t seed, bool opaque = false) {
  KORSurface *s = surface::SurfaceCreate(kW, kH);
  surf a;
  surface::SurfaceDataLock(s, &a);
  std::mt19937 rng(seed);
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kW; ++x) {
      const uint32_t v = rng();
      // Mostly opaque, some transparent pixels, as a keyed picture has.
      a.bits[size_t(y) * a.pitch + x] =
          pix32::from_word((v & 0x00FFFFFF) | ((opaque || (v & 0x7000000)) ? 0xFF000000u : 0));
    }
  surface::SurfaceDataUnlock(&a);
  return s;
}

void count_pixels(benchmark::State &state) {
  state.counters["MP/s"] =
      benchmark::Counter(double(kW) * kH * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
}

// Runs the effect of `type` after `setup` sets its variables.
template <class Setup>
void run(benchmark::State &state, int type, Setup setup, bool opaque = false) {
  std::unique_ptr<effectVideo> e(effectVideo::EffectNew(type, nullptr, nullptr, nullptr));
  if (!e) {
    state.SkipWithError("effect not built");
    return;
  }
  setup(*e);
  KORSurface *src = noisy_frame(1, opaque), *dst = noisy_frame(2);
  const RECT r{0, 0, kW, kH};
  for (auto _ : state) benchmark::DoNotOptimize(e->Process(src, dst, r));
  count_pixels(state);
  surface::SurfaceDelete(src);
  surface::SurfaceDelete(dst);
}

void none(effectVideo &) {}

// The yardstick: one memcpy of the frame's pixels.
void BM_Memcpy(benchmark::State &state) {
  KORSurface *src = noisy_frame(1), *dst = noisy_frame(2);
  surf a, b;
  surface::SurfaceDataLock(src, &a);
  surface::SurfaceDataLock(dst, &b);
  for (auto _ : state) {
    std::memcpy(b.bits, a.bits, size_t(a.pitch) * kH * sizeof(pix32));
    benchmark::ClobberMemory();
  }
  count_pixels(state);
  surface::SurfaceDelete(src);
  surface::SurfaceDelete(dst);
}

void BM_KeyRGB(benchmark::State &s) { run(s, 28, none); }
void BM_KeyChroma(benchmark::State &s) { run(s, 29, none); }
void BM_KeyGreen(benchmark::State &s) { run(s, 30, none); }
void BM_KeyBrightInverted(benchmark::State &s) { run(s, 289, none); }
void BM_KeyCircle(benchmark::State &s) { run(s, 181, none); }
void BM_KeyOvalInside(benchmark::State &s) { run(s, 243, none); }
void BM_KeyRect(benchmark::State &s) { run(s, 247, none); }
void BM_Adjuster(benchmark::State &s) {
  run(s, 106, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_ADJ_RED, 0.1); });
}
void BM_AdjusterDesaturate(benchmark::State &s) {
  run(s, 106, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_ADJ_SATURATION, 0.3); });
}
void BM_AdjRGBKeyed(benchmark::State &s) {
  run(s, 252, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_ADJ_SATURATION, 0.3); });
}
void BM_AdjCircleKeyed(benchmark::State &s) {
  run(s, 256, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_ADJ_RED, 0.1); });
}
void BM_Mapper(benchmark::State &s) {
  run(s, 111, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_MAP_RED_0, 1.0); });
}
void BM_Opacity(benchmark::State &s) {
  run(s, 103, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_OPACITY, -0.25); });
}

// Geometric, pattern and frame effects.
void BM_FlipX(benchmark::State &s) { run(s, 300, none); }
void BM_FlipY(benchmark::State &s) { run(s, 301, none); }
void BM_Rotator(benchmark::State &s) {
  run(s, 266, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_ANGLE, 30.0); });
}
void BM_Wipe(benchmark::State &s) {
  run(s, 282, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_PROGRESS, 0.3); });
}
void BM_ExtraOutput(benchmark::State &s) { run(s, 182, none); }
void BM_Bubble(benchmark::State &s) {
  run(s, 419, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_BLUE, 0.5); });
}
void BM_RotX(benchmark::State &s) {
  run(s, 443, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_ROTX_BOT_POS, 1.5); });
}
void BM_RotY(benchmark::State &s) {
  run(s, 449, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_ROTY_RIT_POS, 1.5); });
}
void BM_PatHor(benchmark::State &s) {
  run(s, 439, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_EFF_PATDIS, 30.0); });
}
void BM_PatVer(benchmark::State &s) {
  run(s, 440, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_EFF_PATDIS, 30.0); });
}
void BM_SquareRoot(benchmark::State &s) {
  run(s, 297, [](effectVideo &e) {
    e.SetTimeFloat(fxid::IDS_DISTORTX, 0.5);
    e.SetTimeFloat(fxid::IDS_DISTORTY, -0.5);
  });
}
void BM_SinkShadow(benchmark::State &s) { run(s, 676, none); }
void BM_Frame(benchmark::State &s) {
  run(s, 679, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_FRAME_SHADING, 0.5); });
}

// Neighbourhood and interlace effects; the argument is "Matrix Size" (32 is walked as 33).
void BM_Blur(benchmark::State &s) {
  const double n = double(std::min<int64_t>(s.range(0), 32));
  run(s, 149, [n](effectVideo &e) { e.SetTimeFloat(fxid::IDS_MATRIX_SIZE, n); });
}
// A decoded video picture: no pixel is skipped, so the blur is a plain box filter.
void BM_BlurOpaque(benchmark::State &s) {
  const double n = double(s.range(0));
  run(s, 149, [n](effectVideo &e) { e.SetTimeFloat(fxid::IDS_MATRIX_SIZE, n); }, true);
}
void BM_Edge(benchmark::State &s) {
  const double n = double(std::min<int64_t>(s.range(0), 32));
  run(s, 72, [n](effectVideo &e) { e.SetTimeFloat(fxid::IDS_MATRIX_SIZE, n); });
}
// An opaque picture: the 3 x 3 record is the window itself.
void BM_EdgeOpaque(benchmark::State &s) {
  run(s, 72, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_MATRIX_SIZE, 3.0); }, true);
}
void BM_KeySmoother(benchmark::State &s) {
  run(s, 78, [](effectVideo &e) { e.SetTimeFloat(fxid::IDS_MATRIX_SIZE, 9.0); });
}
void BM_FieldBlender(benchmark::State &s) { run(s, 527, none); }
void BM_FirstFieldOnly(benchmark::State &s) { run(s, 525, none); }

// Sound: one second of stereo frames per call.
template <class Setup>
void run_audio(benchmark::State &state, int type, Setup setup) {
  std::unique_ptr<effectAudio> e(effectAudio::EffectNew(type, nullptr, nullptr, nullptr));
  setup(*e);
  std::vector<int16_t> in(44100 * 2), out(in.size());
  std::mt19937 rng(3);
  for (int16_t &v : in) v = int16_t(rng());
  for (auto _ : state) benchmark::DoNotOptimize(e->Process(in.data(), out.data(), int(in.size() * 2)));
  state.counters["Mframes/s"] =
      benchmark::Counter(44100.0 * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
}
void BM_VolumePan(benchmark::State &s) {
  run_audio(s, 142, [](effectAudio &e) { e.SetTimeFloat(fxid::IDS_PAN, 0.3); });
}
void BM_Compressor(benchmark::State &s) {
  run_audio(s, 514, [](effectAudio &) {});
}

BENCHMARK(BM_Memcpy);
BENCHMARK(BM_KeyRGB);
BENCHMARK(BM_KeyChroma);
BENCHMARK(BM_KeyGreen);
BENCHMARK(BM_KeyBrightInverted);
BENCHMARK(BM_KeyCircle);
BENCHMARK(BM_KeyOvalInside);
BENCHMARK(BM_KeyRect);
BENCHMARK(BM_Adjuster);
BENCHMARK(BM_AdjusterDesaturate);
BENCHMARK(BM_AdjRGBKeyed);
BENCHMARK(BM_AdjCircleKeyed);
BENCHMARK(BM_Mapper);
BENCHMARK(BM_Opacity);
BENCHMARK(BM_FlipX);
BENCHMARK(BM_FlipY);
BENCHMARK(BM_Rotator);
BENCHMARK(BM_Wipe);
BENCHMARK(BM_ExtraOutput);
BENCHMARK(BM_Bubble);
BENCHMARK(BM_RotX);
BENCHMARK(BM_RotY);
BENCHMARK(BM_PatHor);
BENCHMARK(BM_PatVer);
BENCHMARK(BM_SquareRoot);
BENCHMARK(BM_SinkShadow);
BENCHMARK(BM_Frame);
BENCHMARK(BM_Blur)->Arg(3)->Arg(9)->Arg(33);
BENCHMARK(BM_BlurOpaque)->Arg(3)->Arg(9);
BENCHMARK(BM_Edge)->Arg(3)->Arg(9)->Arg(33);
BENCHMARK(BM_EdgeOpaque);
BENCHMARK(BM_KeySmoother);
BENCHMARK(BM_FieldBlender);
BENCHMARK(BM_FirstFieldOnly);
BENCHMARK(BM_VolumePan);
BENCHMARK(BM_Compressor);

}  // namespace

BENCHMARK_MAIN();
