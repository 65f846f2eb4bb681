// Effect throughput at 720 x 576: each family's Process (variables read, surfaces locked, pixel
// loop) on a noisy frame, reported in megapixels per second.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>

#include "effects/effect.h"
#include "media/surface.h"

namespace {

constexpr int kW = 720, kH = 576;

KORSurface *noisy_frame(uint32_t seed) {
  KORSurface *s = surface::SurfaceCreate(kW, kH);
  surf a;
  surface::SurfaceDataLock(s, &a);
  std::mt19937 rng(seed);
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kW; ++x) {
      const uint32_t v = rng();
      // Mostly opaque, some transparent pixels, as a keyed picture has.
      a.bits[size_t(y) * a.pitch + x] =
          pix32::from_word((v & 0x00FFFFFF) | ((v & 0x7000000) ? 0xFF000000u : 0));
    }
  surface::SurfaceDataUnlock(&a);
  return s;
}

// Runs the effect of `type` after `setup` sets its variables.
template <class Setup>
void run(benchmark::State &state, int type, Setup setup) {
  std::unique_ptr<effectVideo> e(effectVideo::EffectNew(type, nullptr, nullptr, nullptr));
  if (!e) {
    state.SkipWithError("effect not built");
    return;
  }
  setup(*e);
  KORSurface *src = noisy_frame(1), *dst = noisy_frame(2);
  const RECT r{0, 0, kW, kH};
  for (auto _ : state) benchmark::DoNotOptimize(e->Process(src, dst, r));
  state.counters["MP/s"] =
      benchmark::Counter(double(kW) * kH * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
  surface::SurfaceDelete(src);
  surface::SurfaceDelete(dst);
}

void none(effectVideo &) {}

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

}  // namespace

BENCHMARK_MAIN();
