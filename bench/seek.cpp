// Random access on a long file: frames at an early, a middle and a late position of a 300 s
// 320 x 240 H.264 MP4 (a key frame every 2 s, B-frames) through the stream reader, side by side
// with `ffmpeg -ss T -i FILE -frames:v 1 -f null -` on the same file. Per position, two measures:
// a fresh open, one read and the close (what the command line does, start-up and all), and reads
// on an open reader jumping about within ten seconds of the position. The file is made at
// start-up in /tmp by the ffmpeg command line and removed at the end.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "media/mediareaders.h"

namespace {

const std::string kPath = "/tmp/lv-bench-seek-320x240-h264.mp4";
constexpr int kSeconds = 300;
constexpr int kPositions[] = {10, 150, 290};  // early, middle, late (seconds)

std::map<int, double> g_cli_runs;  // position -> ffmpeg -ss runs per second, best of three

bool MakeFile() {
  const std::string cmd = "ffmpeg -nostdin -v error -y -f lavfi -i testsrc2=size=320x240:rate=25 -t " +
                          std::to_string(kSeconds) +
                          " -c:v libx264 -preset veryfast -g 50 -bf 3 -pix_fmt yuv420p " + kPath;
  return std::system(cmd.c_str()) == 0;
}

// Runs per second of a command: the best of three, timed with a steady clock; 0 on failure.
double BestRunsPerSecond(const std::string &cmd) {
  double best = 0;
  for (int run = 0; run < 3; ++run) {
    const auto t0 = std::chrono::steady_clock::now();
    if (std::system(cmd.c_str()) != 0) return 0;
    best = std::max(best, 1.0 / std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
  }
  return best;
}

// Milliseconds within two seconds after the position, from a small generator.
int Near(int position, uint32_t &lcg) {
  lcg = lcg * 1664525u + 1013904223u;
  return position * 1000 + int((lcg >> 8) % 2000);
}

void Report(benchmark::State &state, double reads, double seconds, int position) {
  const double rate = seconds > 0 ? reads / seconds : 0;
  state.counters["reads_per_s"] = rate;
  state.counters["ffmpeg_ss_per_s"] = g_cli_runs[position];
  state.counters["ratio_vs_cli"] = g_cli_runs[position] > 0 ? rate / g_cli_runs[position] : 0;
}

// Open, one frame near the position, close: the command line's whole job.
void BM_OpenReadClose(benchmark::State &state) {
  const int position = int(state.range(0));
  uint32_t lcg = uint32_t(position);
  double seconds = 0;
  int64_t reads = 0;
  for (auto _ : state) {
    const auto t0 = std::chrono::steady_clock::now();
    mmstream *m = mediareaders::StreamOpenRead(kPath.c_str());
    if (!m || !mediareaders::StreamReadVideoSample(m, Near(position, lcg))) {
      mediareaders::StreamCloseRead(m);
      state.SkipWithError("the frame did not read");
      return;
    }
    mediareaders::StreamCloseRead(m);
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    ++reads;
  }
  Report(state, double(reads), seconds, position);
}
BENCHMARK(BM_OpenReadClose)->Arg(10)->Arg(150)->Arg(290)->Unit(benchmark::kMillisecond)->UseRealTime();

// Scattered reads on one open reader, each anywhere within ten seconds of the position.
void BM_ScatteredReads(benchmark::State &state) {
  const int position = int(state.range(0));
  mmstream *m = mediareaders::StreamOpenRead(kPath.c_str());
  if (!m) {
    state.SkipWithError("the benchmark file does not open");
    return;
  }
  uint32_t lcg = uint32_t(position) * 7;
  double seconds = 0;
  int64_t reads = 0;
  for (auto _ : state) {
    lcg = lcg * 1664525u + 1013904223u;
    const int ms = std::max(0, position * 1000 - 5000 + int((lcg >> 8) % 10000));
    const auto t0 = std::chrono::steady_clock::now();
    if (!mediareaders::StreamReadVideoSample(m, ms)) {
      state.SkipWithError("a frame did not read");
      break;
    }
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    ++reads;
  }
  mediareaders::StreamCloseRead(m);
  Report(state, double(reads), seconds, position);
}
BENCHMARK(BM_ScatteredReads)->Arg(10)->Arg(150)->Arg(290)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char **argv) {
  if (!MakeFile()) {
    std::fprintf(stderr, "cannot write %s with the ffmpeg command line\n", kPath.c_str());
    return 1;
  }
  for (int p : kPositions) {
    g_cli_runs[p] = BestRunsPerSecond("ffmpeg -nostdin -v quiet -ss " + std::to_string(p) + " -i " + kPath +
                                      " -frames:v 1 -f null - > /dev/null 2>&1");
    std::printf("ffmpeg -ss %d -i %s -frames:v 1 -f null -: %.1f runs/s (best of 3)\n", p, kPath.c_str(),
                g_cli_runs[p]);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::remove(kPath.c_str());
  return 0;
}
