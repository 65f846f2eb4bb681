// Throughput of the surface pixel loops beside a plain memcpy (the memory-speed limit) in the
// same run: megapixels per second, and the memory traffic each loop needs in GB/s, counted as the
// bytes it must read and write per destination pixel (memcpy: 4 read + 4 written).
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "media/kernels.h"
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

void megapixels(benchmark::State &state, int w, int h, int bytes_per_pixel) {
  const double pixels = double(w) * h * double(state.iterations());
  state.counters["Mpix/s"] = benchmark::Counter(pixels / 1e6, benchmark::Counter::kIsRate);
  state.counters["GB/s"] = benchmark::Counter(pixels * bytes_per_pixel / 1e9, benchmark::Counter::kIsRate);
}

void BM_Memcpy(benchmark::State &state) {
  const int w = int(state.range(0)), h = int(state.range(1));
  std::vector<pix32> a(size_t(w) * h), b(size_t(w) * h);
  for (auto _ : state) {
    std::memcpy(static_cast<void *>(b.data()), a.data(), a.size() * sizeof(pix32));
    benchmark::ClobberMemory();
  }
  megapixels(state, w, h, 8);
}

void BM_FillRect(benchmark::State &state) {
  const int w = int(state.range(0)), h = int(state.range(1));
  KORSurface *s = surface::SurfaceCreate(w, h);
  for (auto _ : state) surface::SurfaceFillRect(s, RECT{0, 0, w, h}, 0x80102030u);
  megapixels(state, w, h, 4);
  surface::SurfaceDelete(s);
}

void scale(benchmark::State &state, bool blend) {
  const int w = int(state.range(0)), h = int(state.range(1));
  KORSurface *src = random_surface(w, h, 1), *dst = random_surface(w, h, 2);
  for (auto _ : state) surface::SurfaceScale(src, RECT{0, 0, w, h}, dst, RECT{0, 0, w, h}, blend);
  megapixels(state, w, h, blend ? 12 : 8);
  surface::SurfaceDelete(src);
  surface::SurfaceDelete(dst);
}
void BM_ScaleCopy(benchmark::State &state) { scale(state, false); }
void BM_ScaleBlend(benchmark::State &state) { scale(state, true); }

// A picture of half the size blown up onto the whole surface: columns repeat, so the source
// pixels are gathered rather than loaded in runs. Each source pixel serves four destination
// pixels: 1 byte read from the source per destination pixel.
void BM_ScaleBlendUp(benchmark::State &state) {
  const int w = int(state.range(0)), h = int(state.range(1));
  KORSurface *src = random_surface(w / 2, h / 2, 6), *dst = random_surface(w, h, 7);
  for (auto _ : state) surface::SurfaceScale(src, RECT{0, 0, w / 2, h / 2}, dst, RECT{0, 0, w, h}, true);
  megapixels(state, w, h, 9);
  surface::SurfaceDelete(src);
  surface::SurfaceDelete(dst);
}

// A picture in picture: a whole surface shrunk to a quarter of another's area (each run of
// eight columns reads within sixteen source pixels); counted in destination pixels. Every other
// source row is read, all of it (the skipped columns share cache lines): 8 bytes per pixel.
void BM_ScaleBlendDown(benchmark::State &state) {
  const int w = int(state.range(0)), h = int(state.range(1));
  KORSurface *src = random_surface(w, h, 8), *dst = random_surface(w, h, 9);
  for (auto _ : state) surface::SurfaceScale(src, RECT{0, 0, w, h}, dst, RECT{0, 0, w / 2, h / 2}, true);
  megapixels(state, w / 2, h / 2, 16);
  surface::SurfaceDelete(src);
  surface::SurfaceDelete(dst);
}

void BM_Blend(benchmark::State &state) {
  const int w = int(state.range(0)), h = int(state.range(1));
  KORSurface *src = random_surface(w, h, 3), *dst = random_surface(w, h, 4);
  for (auto _ : state) surface::SurfaceBlend(src, dst, RECT{0, 0, w, h});
  megapixels(state, w, h, 12);
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
  megapixels(state, w, h, 8);
  surface::SurfaceDelete(s);
}

// The opacity of a video picture applied while copying it (one pass where two were).
void BM_CopyOpacityAdjust(benchmark::State &state) {
  const int w = int(state.range(0)), h = int(state.range(1));
  KORSurface *src = random_surface(w, h, 8), *dst = random_surface(w, h, 9);
  for (auto _ : state) surface::SurfaceCopyOpacityAdjust(src, dst, 0.6);
  megapixels(state, w, h, 8);
  surface::SurfaceDelete(src);
  surface::SurfaceDelete(dst);
}

void BM_Opacity(benchmark::State &state) {
  const int w = int(state.range(0)), h = int(state.range(1));
  KORSurface *s = random_surface(w, h, 10);
  for (auto _ : state) surface::SurfaceOpacity(s, 255);
  megapixels(state, w, h, 8);
  surface::SurfaceDelete(s);
}

// Uncompressed 24-bit video rows spread to pixels (3 bytes read, 4 written per pixel).
void BM_Bgr24Rows(benchmark::State &state) {
  const int w = int(state.range(0)), h = int(state.range(1));
  std::vector<uint8_t> in(size_t(w) * h * 3, 0x5A);
  KORSurface *s = surface::SurfaceCreate(w, h);
  surf a;
  surface::SurfaceDataLock(s, &a);
  for (auto _ : state) {
    for (int y = 0; y < h; ++y) kernels::bgr24_row(in.data() + size_t(y) * w * 3, a.bits + size_t(y) * a.pitch, w);
    benchmark::ClobberMemory();
  }
  surface::SurfaceDataUnlock(&a);
  megapixels(state, w, h, 7);
  surface::SurfaceDelete(s);
}

void sizes(benchmark::internal::Benchmark *b) {
  b->Args({720, 576})->Args({1280, 1024})->Args({1920, 1080})->Unit(benchmark::kMicrosecond);
}

}  // namespace

BENCHMARK(BM_Memcpy)->Apply(sizes);
BENCHMARK(BM_FillRect)->Apply(sizes);
BENCHMARK(BM_ScaleCopy)->Apply(sizes);
BENCHMARK(BM_ScaleBlend)->Apply(sizes);
BENCHMARK(BM_ScaleBlendUp)->Apply(sizes);
BENCHMARK(BM_ScaleBlendDown)->Apply(sizes);
BENCHMARK(BM_Blend)->Apply(sizes);
BENCHMARK(BM_OpacityAdjust)->Apply(sizes);
BENCHMARK(BM_CopyOpacityAdjust)->Apply(sizes);
BENCHMARK(BM_Opacity)->Apply(sizes);
BENCHMARK(BM_Bgr24Rows)->Apply(sizes);

BENCHMARK_MAIN();
