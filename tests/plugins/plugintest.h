// Helpers of the plugin tests: plugin paths, a recording dialog and a small maker.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/dialogs.h"
#include "media/plugin_abi.h"

namespace plugtest {

// A library of the plugin folder (avi.so, invert.so, ...) or of the test plugins (fx_both.so, ...).
std::string BuiltPlugin(const std::string &name);
std::string FixturePlugin(const std::string &name);
// Whether the library is loaded in this process.
bool Resident(const std::string &path);

// Answers Choose with `choice_answer` and keeps what it was offered; installed while it lives.
struct recording_dialogs : headless_dialogs {
  recording_dialogs() { quiet = true, SetDialogs(this); }
  ~recording_dialogs() override { SetDialogs(nullptr); }
  int Choose(HWND owner, const char *t, const std::vector<std::string> &entries) override {
    ++chooses, offered = entries, title = t;
    return headless_dialogs::Choose(owner, t, entries);
  }
  std::vector<std::string> offered;
  std::string title;
  int chooses = 0;
};

// What a test makes: the picture size and rate, the length, the kinds, and where to stop.
struct make_spec {
  int width = 64, height = 48;
  double fps = 25.0;
  int ms = 400;
  bool video = true, audio = true;
  bool gradient = false;  // GradientPixel pictures (lossless checks) instead of flat colours
  bool sine = false;      // a sine (lossy codecs) instead of the distinct PCM test samples
  int stop_after = -1;    // frames written before the making stops early; -1 for all
};

// Frame i's picture, its pitch 3 pixels wider than the frame.
std::vector<pix32> Picture(const make_spec &recipe, int i, surf32 *frame);
// The sample of sample frame n, channel c, as written.
int16_t SampleOf(const make_spec &recipe, int64_t n, int c);
// The frame times' rule of making: t(i) = i * ms / N with N = trunc(fps * ms / 1000).
int FrameCount(const make_spec &recipe);
int64_t FrameTime(const make_spec &recipe, int i);

// Makes `file` (left open when `leave_open`), counting frames and sample frames; false when a call fails.
bool Make(imgio_export *plugin, const std::string &file, const make_spec &recipe, int *frames,
          int64_t *samples, bool leave_open = false);

}  // namespace plugtest
