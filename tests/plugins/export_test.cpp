// The export plugins' files read back with the engine's readers; stops and bad set-ups.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <fstream>

#include "media/surface.h"
#include "plugins/plugintest.h"
#include "support/mediafile.h"
#include "support/wavfile.h"

using namespace fixtures;
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
  // Makes the file in the test's folder; its path, with what was written in frames and samples.
  std::string Make(const char *plugin, const std::string &name, const make_spec &recipe) {
    imgio_export *p = Plugin(plugin);
    EXPECT_TRUE(p && plugtest::Make(p, dir.file(name), recipe, &frames, &samples)) << (p ? Error(p) : name);
    return dir.file(name);
  }
  // Sample frames of the given second that differ from those made.
  int64_t WrongSamples(const uint8_t *pcm, int second) {
    return SoundMismatches(pcm, INTERNAL_RATE, int64_t(second) * INTERNAL_RATE, samples);
  }

  pluginlists lists;
  temp_dir dir;
  int frames = 0;
  int64_t samples = 0;
};

}  // namespace

TEST_F(Export, AviHoldsExactRawPicturesOrMotionJpegAndExactSound) {
  // Raw rows of 111 bytes: the file pads them, the reader must not see it.
  const make_spec raw{.width = 37, .height = 21, .fps = 10, .ms = 1200, .gradient = true};
  ASSERT_EQ(Plugin("avi")->SetOption("codec", "raw"), 1);
  avi_handle r = OpenAVI(Make("avi", "raw.avi", raw));
  ASSERT_EQ(std::pair(frames, samples), std::pair(12, int64_t(12 * 4410)));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ((std::vector{r->width, r->height, r->ratenum, r->duration}),
            (std::vector{37, 21, 10 * r->rateden, 1200}));
  for (int i : {0, 1, 6, 11})
    EXPECT_EQ(mediareaders::AVIRead(r.get(), i * 100 + 50) ? GradientMismatches(r->frame, i) : -2, 0) << i;
  EXPECT_FALSE(mediareaders::AVIRead(r.get(), 1250));
  ASSERT_EQ(r->audiovalid, 1);
  EXPECT_EQ(FormatRow(r->wfx), (std::vector<uint32_t>{1, 2, 44100, 16, 4, 176400}));
  EXPECT_EQ(WrongSamples(mediareaders::AVIReadAudioSecond(r.get(), 0), 0), 0);
  EXPECT_EQ(WrongSamples(mediareaders::AVIReadAudioSecond(r.get(), 1100), 1), 0);

  const make_spec mjpeg{.width = 63, .height = 47};  // odd sides are coded as they are
  ASSERT_EQ(Plugin("avi")->SetOption("codec", "mjpeg"), 1);
  r = OpenAVI(Make("avi", "mjpeg.avi", mjpeg));
  ASSERT_EQ(frames, 10);
  ASSERT_NE(r, nullptr);
  EXPECT_EQ((std::vector{r->width, r->height, r->ratenum, r->duration}),
            (std::vector{63, 47, 25 * r->rateden, 400}));
  for (int i = 0; i < 10; ++i) EXPECT_EQ(AVIFrame(r.get(), i * 40 + 20, 10), i);
  EXPECT_EQ(WrongSamples(mediareaders::AVIReadAudioSecond(r.get(), 0), 0), 0);
  // Pictures converted and coded on three threads: the same file.
  ASSERT_EQ(Plugin("avi")->SetOption("threads", "3"), 1);
  EXPECT_TRUE(ReadFileBytes(Make("avi", "mjpeg3.avi", mjpeg)) == ReadFileBytes(dir.file("mjpeg.avi")));
  ASSERT_EQ(Plugin("avi")->SetOption("threads", "1"), 1);
}

TEST_F(Export, Mp4HoldsItsFramesAndAacSound) {
  const make_spec recipe{.fps = 15, .ms = 1000, .sine = true};
  stream_handle m = OpenStream(Make("mp4", "clip.mp4", recipe));
  ASSERT_EQ(frames, 15);
  ASSERT_NE(m, nullptr);
  ASSERT_EQ((std::vector{m->videovalid, m->audiovalid, m->width, m->height}), (std::vector{1, 1, 64, 48}));
  EXPECT_NEAR(m->duration, 1000, 67);
  // Frame i shows from its making time t(i) = i * 1000 / 15 on.
  for (int i = 0; i < 15; ++i)
    EXPECT_EQ(StreamFrame(m.get(), int(plugtest::FrameTime(recipe, i)) + 10, 15), i);
  EXPECT_NEAR(m->audioduration, samples * 1000 / INTERNAL_RATE, 30);
  // AAC is lossy: the sine comes back close, sample for sample (no shift in time).
  const auto *s = reinterpret_cast<const int16_t *>(mediareaders::StreamReadAudioSample(m.get(), 100));
  ASSERT_NE(s, nullptr);
  double error = 0, signal = 0;
  for (int64_t k = 0; k < 20000; ++k) {
    const double want = plugtest::SampleOf(recipe, 4410 + k, 0);
    error += (s[k * 2] - want) * (s[k * 2] - want), signal += want * want;
  }
  EXPECT_LT(std::sqrt(error / signal), 0.05);
}

TEST_F(Export, WavHoldsTheSoundAlone) {
  const make_spec recipe{.fps = 15, .ms = 1500, .video = false};
  // Made over a large old file, which is let go of on a thread: the new file takes its name and
  // its permissions.
  const std::string old = dir.file("sound.wav");
  std::ofstream(old).put('x');
  ASSERT_EQ(truncate(old.c_str(), off_t(16) << 20), 0);
  ASSERT_EQ(chmod(old.c_str(), 0640), 0);
  wave_handle r = OpenWave(Make("wav", "sound.wav", recipe));
  struct stat made;
  ASSERT_EQ(stat(old.c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777, 0640u);
  EXPECT_LT(made.st_size, 1 << 20);
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(FormatRow(r->wfx), (std::vector<uint32_t>{WAVE_FORMAT_PCM, 2, 44100, 16, 4, 176400}));
  EXPECT_EQ(int64_t(r->datasize), samples * 4);
  EXPECT_EQ(WrongSamples(mediareaders::WaveFileRead(r.get(), 0), 0), 0);
  EXPECT_EQ(WrongSamples(mediareaders::WaveFileRead(r.get(), 1200), 1), 0);
}

TEST_F(Export, ImageSequencesAreNumberedPngOrBmpPictures) {
  const make_spec recipe{.width = 5, .height = 4, .fps = 10, .ms = 300, .audio = false, .gradient = true};
  Make("images", "shot.png", recipe);
  ASSERT_EQ(frames, 3);
  Make("images", "pic%03d.bmp", recipe);
  ASSERT_EQ(Plugin("images")->SetOption("alpha", "1"), 1);
  Make("images", "alpha.png", recipe);
  for (int i = 0; i < 3; ++i)
    for (const char *pattern : {"shot_%06d.png", "pic%03d.bmp", "alpha_%06d.png"}) {
      char name[32];
      std::snprintf(name, sizeof name, pattern, i);
      KORSurface *s = surface::SurfaceLoad(dir.file(name).c_str());  // -1 mismatches when it did not load
      EXPECT_EQ(GradientMismatches(s, i, 0, pattern[0] == 'a' ? 255 : 0), 0) << name;
      surface::SurfaceDelete(s);
    }
  EXPECT_EQ(std::fopen(dir.file("shot_000003.png").c_str(), "rb"), nullptr);
}

TEST_F(Export, AMakingStoppedEarlyLeavesAValidFile) {
  // Odd sides: H.264 codes them one pixel larger.
  make_spec recipe{.width = 33, .height = 17, .ms = 1000, .stop_after = 5};
  for (const char *plugin : {"avi", "mp4"}) {
    stream_handle m = OpenStream(Make(plugin, std::string("stopped.") + plugin, recipe));
    ASSERT_EQ(frames, 5);
    ASSERT_NE(m, nullptr) << plugin;
    EXPECT_EQ(std::pair(m->width, m->height), plugin[0] == 'a' ? std::pair(33, 17) : std::pair(34, 18));
    EXPECT_NEAR(m->duration, 200, 40) << plugin;
    EXPECT_EQ(StreamFrame(m.get(), 170, 5), 4) << plugin;
  }

  // A plugin destroyed while its file is open (its library freed mid-making) finishes the file.
  const std::string file = dir.file("abandoned.avi");
  recipe.stop_after = 3;
  ASSERT_TRUE(plugtest::Make(Plugin("avi"), file, recipe, &frames, &samples, true));
  lists.FreeAll();
  avi_handle r = OpenAVI(file);
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->duration, 120);
}

TEST_F(Export, BadSetUpsAndCallsFailWithAReason) {
  imgio_export *avi = Plugin("avi"), *wav = Plugin("wav");
  surf32 frame;
  std::vector<pix32> bits = plugtest::Picture(make_spec(), 0, &frame);
  EXPECT_EQ(avi->PutVideo(0, &frame), 0);  // nothing open
  // Set-ups that do not open, with the reason (the folder's goes on with the system's words).
  const std::tuple<imgio_export *, const char *, int, double, int, std::string> setups[] = {
      {avi, nullptr, 1, 25.0, 1, "no output file name"},
      {avi, "bad.avi", 1, 0.0, 0, "frame rate out of range"},
      {avi, "bad.avi", 0, 25.0, 0, ""},
      {avi, "no/such/folder/x.avi", 1, 25.0, 1, "cannot create " + dir.file("no/such/folder/x.avi") + ": "},
      {wav, "pictures.wav", 1, 25.0, 1, "this format holds no pictures"}};
  for (const auto &[plugin, file, video, fps, audio, reason] : setups) {
    if (file) plugin->SetInfo(dir.file(file).c_str(), video, 64, 48, fps, audio);
    EXPECT_EQ(plugin->Open(nullptr), 0) << file;
    const std::string e = Error(plugin);  // an empty reason: any; one ending in a space: how it starts
    EXPECT_EQ(reason.empty() ? "" : reason.back() == ' ' ? e.substr(0, reason.size()) : e, reason);
  }
  EXPECT_EQ(std::fopen(dir.file("pictures.wav").c_str(), "rb"), nullptr);

  // Frames out of order and frames that are no frames are refused; the file still closes.
  avi->SetInfo(dir.file("order.avi").c_str(), 1, 64, 48, 25.0, 1);
  ASSERT_EQ(avi->Open(nullptr), 1);
  // The second close has nothing open: nothing to do.
  EXPECT_EQ((std::vector{avi->PutVideo(3, &frame), avi->PutVideo(3, &frame), avi->PutVideo(4, nullptr),
                         avi->PutAudio(4, nullptr, 16), avi->Close(), avi->Close()}),
            (std::vector{1, 0, 0, 0, 1, 1}));

  // Options: names the format uses, with values in range (no H.264 nor AAC in an AVI).
  const std::pair<const char *, const char *> refused[] = {
      {"codec", "bogus"}, {"qscale", "40"}, {"qscale", "5x"}, {"crf", "20"}, {"abitrate", "128"}};
  for (auto [name, value] : refused) EXPECT_EQ(avi->SetOption(name, value), 0) << name << "=" << value;
  EXPECT_EQ(avi->SetOption("qscale", "5"), 1);
  EXPECT_EQ(Plugin("mp4")->SetOption("crf", "20"), 1);
}
