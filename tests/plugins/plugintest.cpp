// Helpers of the plugin tests: plugin paths, file copies and the maker's loop.
#include "plugins/plugintest.h"

#include <dlfcn.h>

#include <cmath>

#include "support/mediafile.h"

namespace plugtest {

std::string BuiltPlugin(const std::string &name) { return std::string(VEMO_PLUGIN_DIR) + "/" + name; }
std::string FixturePlugin(const std::string &name) { return std::string(VEMO_TEST_PLUGIN_DIR) + "/" + name; }

bool Resident(const std::string &path) {
  void *h = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  return h && (dlclose(h), true);
}

std::vector<pix32> Picture(const make_spec &recipe, int i, surf32 *frame) {
  const int pitch = recipe.width + 3;
  std::vector<pix32> bits(size_t(pitch) * recipe.height);
  for (int y = 0; y < recipe.height; ++y)
    for (int x = 0; x < recipe.width; ++x) {
      pix32 &p = bits[size_t(y) * pitch + x] =
          recipe.gradient ? fixtures::GradientPixel(i, x, y) : fixtures::FrameColour(i);
      p.a = 255;
    }
  *frame = surf32{recipe.width, recipe.height, pitch, bits.data()};
  return bits;
}

int16_t SampleOf(const make_spec &recipe, int64_t n, int c) {
  return recipe.sine ? int16_t(std::lround(fixtures::SampleSine(n, c, INTERNAL_RATE) * 32767.0))
                     : fixtures::Sample16(n, c);
}

int FrameCount(const make_spec &recipe) { return int(recipe.fps * recipe.ms / 1000.0); }

int64_t FrameTime(const make_spec &recipe, int i) {
  return FrameCount(recipe) ? int64_t(i) * recipe.ms / FrameCount(recipe) : 0;
}

bool Make(imgio_export *plugin, const std::string &file, const make_spec &recipe, int *frames,
          int64_t *samples, bool leave_open) {
  *frames = 0, *samples = 0;
  if (!plugin->SetInfo(file.c_str(), recipe.video, recipe.width, recipe.height, recipe.fps, recipe.audio))
    return false;
  plugin->SetTitle("Plugin test"), plugin->SetLengthMilliseconds(recipe.ms);
  if (!plugin->Open(nullptr)) return false;
  const int n = FrameCount(recipe);
  std::vector<int16_t> sound;
  for (int i = 0; i < n && i != recipe.stop_after; ++i) {
    if (recipe.video) {
      surf32 frame;
      std::vector<pix32> bits = Picture(recipe, i, &frame);
      if (!plugin->PutVideo(i, &frame)) return false;
    }
    if (recipe.audio) {
      // 44.1 sample frames per millisecond of the frame's length, 4 bytes each.
      const int64_t length = FrameTime(recipe, i + 1) - FrameTime(recipe, i);
      const int64_t bytes = (length * 441 / 10) * 4;
      sound.resize(size_t(bytes / 2));
      for (int64_t k = 0; k < bytes / 4; ++k)
        for (int c = 0; c < 2; ++c) sound[size_t(k * 2 + c)] = SampleOf(recipe, *samples + k, c);
      if (!plugin->PutAudio(i, sound.data(), int(bytes))) return false;
      *samples += bytes / 4;
    }
    ++*frames;
  }
  return leave_open || plugin->Close();
}

}  // namespace plugtest
