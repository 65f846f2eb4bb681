// Throughput of the surface pixel loops in megapixels per second, beside a plain memcpy of the
// same number of bytes (the memory-speed limit) in the same run.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "media/surface.h"

namespace {

KORSurface *random_surface(int w, int h, uint32_t seed) {
  KORSurface *s = surface::SurfaceCreate(w, h);
  surf a;
  surface::SurfaceDataLock(s, &a);
  std::mt19937 rng(seed);
  for (int i = 0; i < a.pitch * a.height; ++i) a.bits[i] = pix32::from_word(uint32_t(rng()));
  surface::SurfaceDataUnlock(&a);
  return s;
}

void megapixels(benchmark::State &state, int w, int h) {
  state.counters["Mpix/s"] =
      benchmark::Counter(double(w) * h * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
}

void BM_Memcpy(benchmark::State &state) {
  const int w = int(state.range(0)), h = int(state.range(1));
  std::vector<pix32> a(size_t(w) * h), b(size_t(w) * h);
  for (auto _ : state) {
    std::memcpy(static_cast<void *>(b.data()), a.data(), a.size() * sizeof(pix32));
    benchmark::ClobberMemory();
  }
  megapixels(state, w, h);
}

void BM_FillRect(benchmark::State &state) {
  const int w = int(state.range(0)), h = int(state.range(1));
  KORSurface *s = surface::SurfaceCreate(w, h);
  for (auto _ : state) surface::SurfaceFillRect(s, RECT{0, 0, w, h}, 0x80102030u);
  megapixels(state, w, h);
  surface::SurfaceDelete(s);
}

void scale(benchmark::State &state, bool blend) {
  const int w = int(state.range(0)), h = int(state.range(1));
  KORSurface *src = random_surface(w, h, 1), *dst = random_surface(w, h, 2);
  for (auto _ : state) surface::SurfaceScale(src, RECT{0, 0, w, h}, dst, RECT{0, 0, w, h}, blend);
  megapixels(state, w, h);
  surface::SurfaceDelete(src);
  surface::SurfaceDelete(dst);
}
void BM_ScaleCopy(benchmark::State &state) { scale(state, false); }
void BM_ScaleBlend(benchmark::State &state) { scale(state, true); }

// A picture of half the size blown up onto the whole surface: columns repeat, so the source
// pixels are gathered rather than loaded in runs.
void BM_ScaleBlendUp(benchmark::State &state) {
  const int w = int(state.range(0)), h = int(state.range(1));
  KORSurface *src = random_surface(w / 2, h / 2, 6), *dst = random_surface(w, h, 7);
  for (auto _ : state) surface::SurfaceScale(src, RECT{0, 0, w / 2, h / 2}, dst, RECT{0, 0, w, h}, true);
  megapixels(state, w, h);
  surface::SurfaceDelete(src);
  surface::SurfaceDelete(dst);
}

void BM_Blend(benchmark::State &state) {
  const int w = int(state.range(0)), h = int(state.range(1));
  KORSurface *src = random_surface(w, h, 3), *dst = random_surface(w, h, 4);
  for (auto _ : state) surface::SurfaceBlend(src, dst, RECT{0, 0, w, h});
  megapixels(state, w, h);
  surface::SurfaceDelete(src);
  surface::SurfaceDelete(dst);
}

void BM_OpacityAdjust(benchmark::State &state) {
  const int w = int(state.range(0)), h = int(state.range(1));
  KORSurface *s = random_surface(w, h, 5);
  double d = 0.25;
  for (auto _ : state) {
    surface::SurfaceOpacityAdjust(s, d);
    d = -d;  // alternate up and down so the alphas keep changing
  }
  megapixels(state, w, h);
  surface::SurfaceDelete(s);
}

void sizes(benchmark::internal::Benchmark *b) {
  b->Args({720, 576})->Args({1280, 1024})->Unit(benchmark::kMicrosecond);
}

}  // namespace

BENCHMARK(BM_Memcpy)->Apply(sizes);
BENCHMARK(BM_FillRect)->Apply(sizes);
BENCHMARK(BM_ScaleCopy)->Apply(sizes);
BENCHMARK(BM_ScaleBlend)->Apply(sizes);
BENCHMARK(BM_ScaleBlendUp)->Apply(sizes);
BENCHMARK(BM_Blend)->Apply(sizes);
BENCHMARK(BM_OpacityAdjust)->Apply(sizes);

BENCHMARK_MAIN();
