// Making a real file through an export plugin, read back with the engine's own readers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "core/dialogs.h"
#include "engine/enginetest.h"
#include "media/mediareaders.h"
#include "media/plugins.h"
#include "media/surface.h"

using namespace enginetest;

namespace {

constexpr int kFrames = 10;  // 400 ms at 25 fps
constexpr int16_t kTone = 0x1111;

// Picture, gradient and a constant tone (constant, so any mixing step gives the same samples).
struct fileproject : project {
  fileproject() {
    Still(root(), "pic.bmp", 40, 30, 0, 2000, 1);
    Solid(root(), pix32(10, 200, 30, 255), 120, 200, 0);
    std::vector<uint8_t> samples(size_t(44100) * 4);
    for (size_t i = 0; i < samples.size(); i += 2) std::memcpy(&samples[i], &kTone, 2);
    p->AddMedia(root(), Wav("tone.wav", samples).c_str(), 0, 2);
    root()->SetMakeRange(0, kFrames * 40);
  }
  // Makes through the export plugin `name` with one option; the file made.
  std::string Make(const char *name, const char *option, const char *value, const char *file) {
    KORPlugin *plugin = p->Surfaces()->Plugins().FindExport(name);
    if (!plugin || !plugin->object) return "";
    if (option) {
      EXPECT_EQ(plugin->object->SetOption(option, value), 1);
    }
    HeadlessDialogs().file_answer = dir.file(file);
    const int result = root()->StartMaking(plugin->object);
    HeadlessDialogs().file_answer.clear();
    return result == 1 ? dir.file(file) : "";
  }
};

// Mean absolute difference of the colour channels (alpha is not written).
double Difference(KORSurface *made, const refpic &want) {
  refpic got = Grab(made);
  if (got.w != want.w || got.h != want.h) return 1e9;
  double sum = 0;
  for (size_t i = 0; i < got.px.size(); ++i)
    sum += std::abs(got.px[i].r - want.px[i].r) + std::abs(got.px[i].g - want.px[i].g) +
           std::abs(got.px[i].b - want.px[i].b);
  return sum / (3.0 * got.px.size());
}

void ExpectTone(const uint8_t *pcm, int frames) {
  for (int i = 0; i < frames * 2; ++i) {
    int16_t s;
    std::memcpy(&s, pcm + 2 * i, 2);
    if (s != kTone) {
      ADD_FAILURE() << "sample " << i << " is " << s;
      return;
    }
  }
}

void CheckAvi(fileproject &pr, const std::string &file) {
  roa *r = mediareaders::AVIReadOpen(file.c_str());
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(std::pair(r->width, r->height), std::pair(160, 120));
  EXPECT_EQ(r->ratenum * 1.0 / r->rateden, 25.0);
  EXPECT_EQ(r->duration, kFrames * 40);
  for (int i : {0, 3, 4, 7, kFrames - 1}) {
    const refpic want = Grab(pr.p->Compose(i * 40));
    ASSERT_TRUE(mediareaders::AVIRead(r, i * 40 + 20));
    EXPECT_EQ(Difference(r->frame, want), 0) << "frame " << i;
  }
  ASSERT_TRUE(r->audiovalid);
  EXPECT_EQ(fixtures::FormatRow(r->wfx), (std::vector<uint32_t>{1, 2, 44100, 16, 4, 176400}));
  const uint8_t *second = mediareaders::AVIReadAudioSecond(r, 0);
  ASSERT_NE(second, nullptr);
  ExpectTone(second, kFrames * 1764);  // 40 ms is 1764 sample frames
  mediareaders::AVIReadClose(r);
}

}  // namespace

TEST(MakingFiles, RawAviHoldsTheComposedFramesExactly) {
  fileproject pr;
  const std::string file = pr.Make("avi", "codec", "raw", "raw.avi");
  ASSERT_FALSE(file.empty());
  CheckAvi(pr, file);
}
