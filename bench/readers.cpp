// Media reader speed: 250 sequential frames of a 720 x 576 MJPEG AVI through the AVI reader
// (decode, convert into the frame surface), side by side with the ffmpeg command line decoding
// the same file to nowhere. The file is made at start-up in /tmp.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "benchproject.h"
#include "media/mediareaders.h"

namespace {

using benchproject::kFrames;
using benchproject::kHeight;
using benchproject::kWidth;
const std::string kPath = "/tmp/lv-bench-readers-720x576-mjpeg.avi";

double g_cli_fps = 0;  // frames per second of the command line, measured before the benchmarks

// The command line decoding every frame to the null muxer; the best of three runs.
double TimeCommandLine() {
  const std::string cmd = "ffmpeg -nostdin -v quiet -i " + kPath + " -f null - > /dev/null 2>&1";
  return benchproject::BestFramesPerSecond(cmd);
}

// Opens the file, reads its 250 frames in order at 25 fps, closes it.
void BM_AVIReadSequential720x576MJPEG(benchmark::State &state) {
  double seconds = 0;
  int64_t frames = 0;
  for (auto _ : state) {
    const auto t0 = std::chrono::steady_clock::now();
    roa *r = mediareaders::AVIReadOpen(kPath.c_str());
    if (!r) {
      state.SkipWithError("the benchmark file does not open");
      return;
    }
    for (int i = 0; i < kFrames; ++i) {
      if (!mediareaders::AVIRead(r, i * 40)) {
        state.SkipWithError("a frame did not read");
        break;
      }
    }
    mediareaders::AVIReadClose(r);
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    frames += kFrames;
  }
  const double fps = seconds > 0 ? frames / seconds : 0;
  state.counters["fps"] = fps;
  state.counters["ffmpeg_cli_fps"] = g_cli_fps;
  state.counters["ratio_vs_cli"] = g_cli_fps > 0 ? fps / g_cli_fps : 0;
}
BENCHMARK(BM_AVIReadSequential720x576MJPEG)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// The same frame asked for again: no decoding, no conversion.
void BM_AVIReadSameFrame(benchmark::State &state) {
  roa *r = mediareaders::AVIReadOpen(kPath.c_str());
  if (!r || !mediareaders::AVIRead(r, 400)) {
    state.SkipWithError("the benchmark file does not open");
    mediareaders::AVIReadClose(r);
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(mediareaders::AVIRead(r, 400));
  mediareaders::AVIReadClose(r);
}
BENCHMARK(BM_AVIReadSameFrame);

// Scattered reads: every read seeks (each MJPEG frame is a key frame).
void BM_AVIReadScattered(benchmark::State &state) {
  roa *r = mediareaders::AVIReadOpen(kPath.c_str());
  if (!r) {
    state.SkipWithError("the benchmark file does not open");
    return;
  }
  uint32_t lcg = 1;
  for (auto _ : state) {
    lcg = lcg * 1664525u + 1013904223u;
    benchmark::DoNotOptimize(mediareaders::AVIRead(r, int((lcg >> 8) % kFrames) * 40));
  }
  state.SetItemsProcessed(state.iterations());
  mediareaders::AVIReadClose(r);
}
BENCHMARK(BM_AVIReadScattered)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv) {
  if (!benchproject::MakeVideo(kPath)) {
    std::fprintf(stderr, "cannot write %s\n", kPath.c_str());
    return 1;
  }
  g_cli_fps = TimeCommandLine();
  std::printf("ffmpeg -i %s -f null -: %.1f frames/s (best of 3)\n", kPath.c_str(), g_cli_fps);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::remove(kPath.c_str());
  return 0;
}
