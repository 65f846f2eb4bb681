// Making speed: the four-layer 720 x 576 project of the composition benchmark made to a raw AVI
// through the export plugin, side by side with the ffmpeg command line doing the same layering
// into a raw AVI of the same media.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "benchproject.h"
#include "core/dialogs.h"
#include "media/plugins.h"

using namespace benchproject;

namespace {

const std::string kOutput = "/tmp/lv-bench-making.avi";
const std::string kCliOutput = "/tmp/lv-bench-making-cli.avi";
double g_cli_fps = 0;

// The whole ten seconds per iteration, sound included (the project has none: video only).
void BM_Make4Layers720x576RawAvi(benchmark::State &state) {
  vemoproject p;
  KORPlugin *avi = p.Surfaces()->Plugins().FindExport("avi");
  if (!Build(p) || !avi || !avi->object || !avi->object->SetOption("codec", "raw")) {
    state.SkipWithError("the project or the AVI plugin is missing (set LUMIVAXEL_PLUGIN_PATH)");
    return;
  }
  p.Root()->SetMakeRange(0, kFrames * 40);
  HeadlessDialogs().file_answer = kOutput;
  int64_t frames = 0;
  for (auto _ : state) {
    if (p.Root()->StartMaking(avi->object) != 1) {
      state.SkipWithError("making failed");
      break;
    }
    frames += kFrames;
  }
  state.counters["fps"] = benchmark::Counter(double(frames), benchmark::Counter::kIsRate);
  state.counters["ffmpeg_cli_fps"] = g_cli_fps;
}
BENCHMARK(BM_Make4Layers720x576RawAvi)->Unit(benchmark::kMillisecond)->MinTime(3.0);

}  // namespace

int main(int argc, char **argv) {
  HeadlessDialogs().quiet = true;
  if (!MakeMedia()) {
    std::fprintf(stderr, "cannot write the media in /tmp\n");
    return 1;
  }
  g_cli_fps = TimeCommandLine("-c:v rawvideo -pix_fmt bgr24 -y " + kCliOutput);
  std::printf("ffmpeg, the same four layers to a raw AVI: %.1f frames/s (best of 3)\n", g_cli_fps);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  RemoveMedia();
  std::remove(kOutput.c_str());
  std::remove(kCliOutput.c_str());
  return 0;
}
