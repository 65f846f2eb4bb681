// Composition speed: a four-layer 720 x 576 project (full-frame MJPEG video, two scaled
// pictures in picture with opacity, one of them chroma keyed, and a text clip) composed frame by
// frame, side by side with the ffmpeg command line doing the same layering to nowhere. The media
// are made at start-up in /tmp.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "benchproject.h"
#include "core/dialogs.h"

using namespace benchproject;

namespace {

double g_cli_fps = 0;

// Every frame of the ten seconds in order: decoding, opacity, keying, scaling, blending.
void BM_Compose4Layers720x576(benchmark::State &state) {
  vemoproject p;
  if (!Build(p)) {
    state.SkipWithError("the project cannot be built");
    return;
  }
  int frame = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(p.Compose((frame % kFrames) * 40));
    ++frame;
  }
  state.counters["fps"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["ffmpeg_cli_fps"] = g_cli_fps;
}
BENCHMARK(BM_Compose4Layers720x576)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// The same instant again: no decoding and no repainting, the compositing alone.
void BM_Compose4Layers720x576SameTime(benchmark::State &state) {
  vemoproject p;
  if (!Build(p)) {
    state.SkipWithError("the project cannot be built");
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(p.Compose(2000));
  state.counters["fps"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Compose4Layers720x576SameTime)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv) {
  HeadlessDialogs().quiet = true;
  if (!MakeMedia()) {
    std::fprintf(stderr, "cannot write the media in /tmp\n");
    return 1;
  }
  // LV_BENCH_FRAME=file.bmp writes the picture at 2 s, to look at what is measured.
  if (const char *look = std::getenv("LV_BENCH_FRAME")) {
    vemoproject p;
    if (Build(p)) surface::SurfaceSave(p.Compose(2000), look);
  }
  g_cli_fps = TimeCommandLine("-f null -");
  std::printf("ffmpeg, the same four layers to -f null: %.1f frames/s (best of 3)\n", g_cli_fps);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  RemoveMedia();
  return 0;
}
