// The export plugins' files read back with the engine's readers; stops and bad set-ups.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "media/mediareaders.h"
#include "media/plugins.h"
#include "media/surface.h"
#include "plugins/plugintest.h"
#include "support/mediafile.h"
#include "support/wavfile.h"

using plugtest::make_spec;

namespace {

class Export : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char *name : {"avi.so", "mp4.so", "wav.so", "images.so"})
      ASSERT_TRUE(lists.LoadPlugin(plugtest::BuiltPlugin(name).c_str())) << name;
  }
  imgio_export *Plugin(const char *name) {
    KORPlugin *p = lists.FindExport(name);
    return p ? p->object : nullptr;
  }
  std::string Error(imgio_export *p) {
    char text[200];
    return p->GetLastError(text, sizeof text) ? text : "";
  }
  // Makes the file; the frames and sample frames written come back in frames and samples.
  void Make(const char *plugin, const std::string &file, const make_spec &recipe) {
    imgio_export *p = Plugin(plugin);
    ASSERT_NE(p, nullptr);
    ASSERT_TRUE(plugtest::Make(p, file, recipe, &frames, &samples)) << Error(p);
  }

  pluginlists lists;
  fixtures::temp_dir dir;
  int frames = 0;
  int64_t samples = 0;
};

struct avi_closer {
  void operator()(roa *r) const { mediareaders::AVIReadClose(r); }
};
struct stream_closer {
  void operator()(mmstream *m) const { mediareaders::StreamCloseRead(m); }
};
struct wav_closer {
  void operator()(rwav *r) const { mediareaders::WaveFileReadClose(r); }
};

// Pixels of a read picture (alpha 0: decoded pictures carry none) that differ from frame i's
// gradient.
int WrongPixels(KORSurface *s, int i, bool alpha = false) {
  surf sf;
  if (!surface::SurfaceDataLock(s, &sf)) return -1;
  int wrong = 0;
  for (int y = 0; y < sf.height; ++y)
    for (int x = 0; x < sf.width; ++x) {
      pix32 want = fixtures::GradientPixel(i, x, y);
      want.a = alpha ? 255 : 0;
      wrong += !(sf.bits[size_t(y) * sf.pitch + x] == want);
    }
  surface::SurfaceDataUnlock(&sf);
  return wrong;
}

// Sample frames of a second of 16-bit stereo PCM that differ from the making's samples
// (starting with sample frame `first`; `count` of them are expected, the rest silence).
int64_t Mismatches(const uint8_t *pcm, const make_spec &recipe, int64_t first, int64_t count) {
  const auto *s = reinterpret_cast<const int16_t *>(pcm);
  int64_t bad = 0;
  for (int64_t k = 0; k < INTERNAL_RATE; ++k)
    for (int c = 0; c < 2; ++c) {
      const int16_t want = k < count ? plugtest::SampleOf(recipe, first + k, c) : 0;
      bad += s[k * 2 + c] != want;
    }
  return bad;
}

}  // namespace

TEST_F(Export, RawAviHoldsTheExactPicturesAndSound) {
  ASSERT_EQ(Plugin("avi")->SetOption("codec", "raw"), 1);
  // Rows of 111 bytes: the file pads them, the reader must not see it.
  make_spec recipe{.width = 37, .height = 21, .fps = 10, .ms = 1200, .gradient = true};
  const std::string file = dir.file("raw.avi");
  Make("avi", file, recipe);
  ASSERT_EQ(frames, 12);
  ASSERT_EQ(samples, 12 * 4410);

  std::unique_ptr<roa, avi_closer> r(mediareaders::AVIReadOpen(file.c_str()));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(std::pair(r->width, r->height), std::pair(37, 21));
  EXPECT_EQ(r->ratenum * 1, r->rateden * 10);
  EXPECT_EQ(r->duration, 1200);
  for (int i : {0, 1, 6, 11}) {
    ASSERT_TRUE(mediareaders::AVIRead(r.get(), i * 100 + 50)) << i;
    EXPECT_EQ(WrongPixels(r->frame, i), 0) << "frame " << i;
  }
  EXPECT_FALSE(mediareaders::AVIRead(r.get(), 1250));

  ASSERT_EQ(r->audiovalid, 1);
  EXPECT_EQ(fixtures::FormatRow(r->wfx), (std::vector<uint32_t>{1, 2, 44100, 16, 4, 176400}));
  EXPECT_EQ(Mismatches(mediareaders::AVIReadAudioSecond(r.get(), 0), recipe, 0, INTERNAL_RATE), 0);
  EXPECT_EQ(Mismatches(mediareaders::AVIReadAudioSecond(r.get(), 1100), recipe, INTERNAL_RATE,
                       samples - INTERNAL_RATE),
            0);
}

TEST_F(Export, MotionJpegAviKeepsEveryFrameWithinTolerance) {
  make_spec recipe{.width = 63, .height = 47};  // odd sides are coded as they are
  const std::string file = dir.file("mjpeg.avi");
  Make("avi", file, recipe);
  ASSERT_EQ(frames, 10);
  std::unique_ptr<roa, avi_closer> r(mediareaders::AVIReadOpen(file.c_str()));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(std::pair(r->width, r->height), std::pair(63, 47));
  EXPECT_EQ(r->ratenum * 1, r->rateden * 25);
  EXPECT_EQ(r->duration, 400);
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(mediareaders::AVIRead(r.get(), i * 40 + 20)) << i;
    EXPECT_EQ(fixtures::ShownFrame(r->frame, 10), i);
  }
  EXPECT_EQ(Mismatches(mediareaders::AVIReadAudioSecond(r.get(), 0), recipe, 0, samples), 0);
}

TEST_F(Export, Mp4HoldsItsFramesAndAacSound) {
  make_spec recipe{.fps = 15, .ms = 1000, .sine = true};
  const std::string file = dir.file("clip.mp4");
  Make("mp4", file, recipe);
  ASSERT_EQ(frames, 15);
  std::unique_ptr<mmstream, stream_closer> m(mediareaders::StreamOpenRead(file.c_str()));
  ASSERT_NE(m, nullptr);
  ASSERT_EQ(m->videovalid, 1);
  EXPECT_EQ(std::pair(m->width, m->height), std::pair(64, 48));
  EXPECT_NEAR(m->duration, 1000, 67);
  // Frame i shows from its making time t(i) = i * 1000 / 15 on.
  for (int i = 0; i < 15; ++i) {
    KORSurface *f = mediareaders::StreamReadVideoSample(m.get(), int(plugtest::FrameTime(recipe, i)) + 10);
    ASSERT_NE(f, nullptr) << i;
    EXPECT_EQ(fixtures::ShownFrame(f, 15), i);
  }
  ASSERT_EQ(m->audiovalid, 1);
  EXPECT_NEAR(m->audioduration, samples * 1000 / INTERNAL_RATE, 30);
  // AAC is lossy: the sine comes back close, sample for sample (no shift in time).
  const auto *s = reinterpret_cast<const int16_t *>(mediareaders::StreamReadAudioSample(m.get(), 100));
  ASSERT_NE(s, nullptr);
  double error = 0, signal = 0;
  for (int64_t k = 0; k < 20000; ++k) {
    const double want = plugtest::SampleOf(recipe, 4410 + k, 0);
    error += (s[k * 2] - want) * (s[k * 2] - want);
    signal += want * want;
  }
  EXPECT_LT(std::sqrt(error / signal), 0.05);
}

TEST_F(Export, WavHoldsTheSoundAlone) {
  make_spec recipe{.fps = 15, .ms = 1500, .video = false};
  const std::string file = dir.file("sound.wav");
  Make("wav", file, recipe);
  std::unique_ptr<rwav, wav_closer> r(mediareaders::WaveFileReadOpen(file.c_str()));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(fixtures::FormatRow(r->wfx), (std::vector<uint32_t>{WAVE_FORMAT_PCM, 2, 44100, 16, 4, 176400}));
  EXPECT_EQ(int64_t(r->datasize), samples * 4);
  EXPECT_EQ(Mismatches(mediareaders::WaveFileRead(r.get(), 0), recipe, 0, INTERNAL_RATE), 0);
  EXPECT_EQ(
      Mismatches(mediareaders::WaveFileRead(r.get(), 1200), recipe, INTERNAL_RATE, samples - INTERNAL_RATE),
      0);
}

TEST_F(Export, ImageSequencesAreNumberedPngOrBmpPictures) {
  make_spec recipe{.width = 5, .height = 4, .fps = 10, .ms = 300, .audio = false, .gradient = true};
  Make("images", dir.file("shot.png"), recipe);
  ASSERT_EQ(frames, 3);
  Make("images", dir.file("pic%03d.bmp"), recipe);
  ASSERT_EQ(Plugin("images")->SetOption("alpha", "1"), 1);
  Make("images", dir.file("alpha.png"), recipe);
  for (int i = 0; i < 3; ++i) {
    char png[32], bmp[32], alpha[32];
    std::snprintf(png, sizeof png, "shot_%06d.png", i);
    std::snprintf(bmp, sizeof bmp, "pic%03d.bmp", i);
    std::snprintf(alpha, sizeof alpha, "alpha_%06d.png", i);
    for (const char *name : {png, bmp, alpha}) {
      KORSurface *s = surface::SurfaceLoad(dir.file(name).c_str());
      ASSERT_NE(s, nullptr) << name;
      EXPECT_EQ(WrongPixels(s, i, name == alpha), 0) << name;
      surface::SurfaceDelete(s);
    }
  }
  EXPECT_EQ(std::fopen(dir.file("shot_000003.png").c_str(), "rb"), nullptr);
}

TEST_F(Export, AMakingStoppedEarlyLeavesAValidFile) {
  // Odd sides: H.264 codes them one pixel larger.
  make_spec recipe{.width = 33, .height = 17, .ms = 1000, .stop_after = 5};
  for (const char *plugin : {"avi", "mp4"}) {
    const std::string file = dir.file(std::string("stopped.") + plugin);
    Make(plugin, file, recipe);
    ASSERT_EQ(frames, 5);
    std::unique_ptr<mmstream, stream_closer> m(mediareaders::StreamOpenRead(file.c_str()));
    ASSERT_NE(m, nullptr) << plugin;
    EXPECT_EQ(m->width, plugin[0] == 'a' ? 33 : 34);
    EXPECT_EQ(m->height, plugin[0] == 'a' ? 17 : 18);
    EXPECT_NEAR(m->duration, 200, 40) << plugin;
    KORSurface *f = mediareaders::StreamReadVideoSample(m.get(), 170);
    ASSERT_NE(f, nullptr) << plugin;
    EXPECT_EQ(fixtures::ShownFrame(f, 5), 4) << plugin;
  }

  // A plugin destroyed while its file is open (its library freed mid-making) finishes the file.
  const std::string file = dir.file("abandoned.avi");
  recipe.stop_after = 3;
  ASSERT_TRUE(plugtest::Make(Plugin("avi"), file, recipe, &frames, &samples, true));
  lists.FreeAll();
  std::unique_ptr<roa, avi_closer> r(mediareaders::AVIReadOpen(file.c_str()));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->duration, 120);
}

TEST_F(Export, BadSetUpsAndCallsFailWithAReason) {
  imgio_export *avi = Plugin("avi");
  surf32 frame;
  std::vector<pix32> bits = plugtest::Picture(make_spec(), 0, &frame);
  EXPECT_EQ(avi->PutVideo(0, &frame), 0);  // nothing open
  EXPECT_EQ(avi->Open(nullptr), 0);
  EXPECT_EQ(Error(avi), "no output file name");
  avi->SetInfo(dir.file("bad.avi").c_str(), 1, 64, 48, 0.0, 0);
  EXPECT_EQ(avi->Open(nullptr), 0);
  EXPECT_EQ(Error(avi), "frame rate out of range");
  avi->SetInfo(dir.file("bad.avi").c_str(), 0, 64, 48, 25.0, 0);
  EXPECT_EQ(avi->Open(nullptr), 0);
  avi->SetInfo(dir.file("no/such/folder/x.avi").c_str(), 1, 64, 48, 25.0, 1);
  EXPECT_EQ(avi->Open(nullptr), 0);
  EXPECT_NE(Error(avi).find("cannot create"), std::string::npos);
  imgio_export *wav = Plugin("wav");
  wav->SetInfo(dir.file("pictures.wav").c_str(), 1, 64, 48, 25, 1);
  EXPECT_EQ(wav->Open(nullptr), 0);
  EXPECT_EQ(Error(wav), "this format holds no pictures");
  EXPECT_EQ(std::fopen(dir.file("pictures.wav").c_str(), "rb"), nullptr);

  // Frames out of order and frames that are no frames are refused; the file still closes.
  avi->SetInfo(dir.file("order.avi").c_str(), 1, 64, 48, 25.0, 1);
  ASSERT_EQ(avi->Open(nullptr), 1);
  EXPECT_EQ(avi->PutVideo(3, &frame), 1);
  EXPECT_EQ(avi->PutVideo(3, &frame), 0);
  EXPECT_EQ(avi->PutVideo(4, nullptr), 0);
  EXPECT_EQ(avi->PutAudio(4, nullptr, 16), 0);
  EXPECT_EQ(avi->Close(), 1);
  EXPECT_EQ(avi->Close(), 1);  // nothing open: nothing to do

  // Options: names the format uses, with values in range.
  EXPECT_EQ(avi->SetOption("codec", "bogus"), 0);
  EXPECT_EQ(avi->SetOption("qscale", "40"), 0);
  EXPECT_EQ(avi->SetOption("qscale", "5x"), 0);
  EXPECT_EQ(avi->SetOption("qscale", "5"), 1);
  EXPECT_EQ(avi->SetOption("crf", "20"), 0);        // no H.264 here
  EXPECT_EQ(avi->SetOption("abitrate", "128"), 0);  // nor AAC
  EXPECT_EQ(Plugin("mp4")->SetOption("crf", "20"), 1);
}
