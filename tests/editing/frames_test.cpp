// Splitting and trimming change no composed frame outside the edit, before and after undoing.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "editing/editscript.h"
#include "engine/editjournal.h"
#include "media/surface.h"
#include "support/mediafile.h"

namespace {

constexpr int kFps = 25;
constexpr int kFrames = 100;  // 4 s

struct frames : ::testing::Test {
  vemoproject p;
  std::unique_ptr<editjournal> log;
  std::vector<std::vector<uint8_t>> reference;

  void SetUp() override {
    const std::string file = fixtures::WriteTempMedia(
        "editing-frames.avi", {.video_codec = "ffv1", .gradient = true, .frames = kFrames});
    ASSERT_TRUE(p.New(80, 135, 4000));
    clip *root = p.Root();
    // A background, a video clip whose picture moves and fades in, and a text over both.
    ClipAddGenerator(root, CLIP_SRC_GRADIENT, 0, 4000, 2)->SetName("Back");
    clip *v = ClipAddMedia(root, file.c_str(), 500, 0, 3000);
    ASSERT_NE(v, nullptr);
    v->SetName("Video");
    for (auto [id, t, value] : {std::tuple{clipvar::IDS_DST_L, 0, 0.0},
                                {clipvar::IDS_DST_L, 3000, 0.5},
                                {clipvar::IDS_START_OPACITY, 0, 0.2},
                                {clipvar::IDS_START_OPACITY, 1500, 1.0}}) {
      timefloat *tf = v->FindTimeFloat(id);
      ASSERT_NE(tf, nullptr);
      tf->SetValue(t, value);
      tf->Commit();
    }
    clip *t = ClipAddGenerator(root, CLIP_SRC_TEXT, 1000, 2000, 1);
    t->SetName("Title");
    t->ClipSetText("Cut");
    log = OpenEditJournal(root, "");
    reference = All();
  }

  std::vector<uint8_t> Frame(int n) {
    KORSurface *s = p.Compose(clip::FrameStart(n, kFps));
    std::vector<uint8_t> px;
    surf lk;
    if (!s || !surface::SurfaceDataLock(s, &lk)) return px;
    for (int y = 0; y < lk.height; ++y) {
      const uint8_t *row = reinterpret_cast<const uint8_t *>(lk.bits + size_t(y) * lk.pitch);
      px.insert(px.end(), row, row + size_t(lk.width) * sizeof(pix32));
    }
    surface::SurfaceDataUnlock(&lk);
    return px;
  }
  std::vector<std::vector<uint8_t>> All() {
    std::vector<std::vector<uint8_t>> out;
    for (int n = 0; n < kFrames; ++n) out.push_back(Frame(n));
    return out;
  }
  // The frames whose time lies in [from, to) may differ (and must, when `edited`); no other may.
  void ExpectSameOutside(int from, int to, bool edited = true) {
    const auto now = All();
    int changed = 0;
    for (int n = 0; n < kFrames; ++n) {
      const int t = clip::FrameStart(n, kFps);
      if (t >= from && t < to) {
        changed += now[size_t(n)] != reference[size_t(n)];
        continue;
      }
      EXPECT_TRUE(now[size_t(n)] == reference[size_t(n)]) << "frame " << n << " at " << t << " ms";
    }
    EXPECT_TRUE(!edited || to == from || changed > 0) << "the edit changed nothing";
  }
  void Send(const char *object, const char *command) {
    char result[UIITEM_RESULT_SIZE] = "";
    ASSERT_TRUE(EditCommand(p.Root()->UIItemResolve(object), command, result)) << command << ": " << result;
  }
};

TEST_F(frames, SplittingChangesNoFrameTrimmingOnlyThoseTrimmedAway) {
  Send("Video", "Split 2");
  Send("Title", "Split 2.53");  // between two frames: no frame sees both halves
  ASSERT_EQ(p.Root()->GetChildCount(), 5);
  // At the very time of a cut both halves are active (both ends belong to a clip): that one
  // frame may differ.
  ExpectSameOutside(2000, 2001, false);
  ASSERT_TRUE(log->Undo());
  ASSERT_TRUE(log->Undo());
  ExpectSameOutside(0, 0);
  // Trimming changes only the frames trimmed away.
  Send("Video", "SetOffset 0.6");  // the head: 0.5 s .. 1.1 s goes
  ExpectSameOutside(500, 1100);
  ASSERT_TRUE(log->Undo());
  ExpectSameOutside(0, 0);
  Send("Video", "Place 0.5 2.2");  // the tail: after 2.7 s goes
  ExpectSameOutside(2701, 3501);
  ASSERT_TRUE(log->Undo());
  ExpectSameOutside(0, 0);
}

}  // namespace
