// Frame-parallel making gives the single make's file, byte for byte.
#include <gtest/gtest.h>

#include "core/dialogs.h"
#include "engine/enginetest.h"
#include "engine/parallelmaking.h"
#include "media/plugins.h"
#include "support/mediafile.h"

using namespace enginetest;

namespace {

// A video under a half-transparent picture in picture, a still, a gradient and sound, 13 frames
// (not a multiple of any thread count), made to uncompressed AVI.
struct parallelproject : project {
  std::string saved;
  parallelproject() {
    const fixtures::media_recipe v{.video_codec = "rawvideo",
                                   .pix_fmt = "bgr24",
                                   .gradient = true,
                                   .width = 96,
                                   .height = 72,
                                   .frames = 20,
                                   .audio_codec = "pcm_s16le",
                                   .audio_rate = 44100,
                                   .audio_samples = 44100};
    const std::string video = fixtures::WriteTempMedia("parallel.avi", v);
    Solid(root(), pix32(10, 200, 30, 255), 0, 1000, 3);
    EXPECT_NE(p->AddMedia(root(), video.c_str(), 0, 2), nullptr);
    clip *pip = p->AddMedia(root(), video.c_str(), 40, 1);
    EXPECT_NE(pip, nullptr);
    SetDst(pip, 0, frac{0.1, 0.2, 0.55, 0.7});
    Key(pip, clipvar::IDS_START_OPACITY, 0, 0.6);
    Still(root(), "pic.bmp", 30, 20, 80, 400, 0);
    root()->Commit();
    saved = dir.file("parallel.vmp");
    EXPECT_TRUE(p->Save(saved.c_str()));
    EXPECT_TRUE(p->Load(saved.c_str()));
    root()->SetMakeRange(0, 13 * 40);
  }
  std::vector<uint8_t> Make(int threads) {
    KORPlugin *plugin = p->Surfaces()->Plugins().FindExport("avi");
    if (!plugin || !plugin->object || !plugin->object->SetOption("codec", "raw")) return {};
    const auto composers = parallelmaking::Start(root(), saved, threads);
    EXPECT_EQ(composers != nullptr, threads > 1);
    const std::string file = dir.file("made" + std::to_string(threads) + ".avi");
    HeadlessDialogs().file_answer = file;
    const int result = root()->StartMaking(plugin->object);
    HeadlessDialogs().file_answer.clear();
    EXPECT_EQ(result, 1);
    return fixtures::ReadFileBytes(file);
  }
};

TEST(ParallelMaking, TheFileIsTheSameForOneTwoAndFourThreads) {
  parallelproject pr;
  const std::vector<uint8_t> alone = pr.Make(1);
  ASSERT_GT(alone.size(), size_t(13 * 96 * 72 * 3));
  EXPECT_TRUE(pr.Make(2) == alone);
  EXPECT_TRUE(pr.Make(4) == alone);
}

}  // namespace
