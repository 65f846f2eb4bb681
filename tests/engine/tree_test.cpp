// The clip tree, importing, and the rules of the arrangement view.
#include <gtest/gtest.h>

#include <fstream>

#include "core/dialogs.h"
#include "core/vemowin.h"
#include "engine/enginetest.h"
#include "support/mediafile.h"

using namespace enginetest;

namespace {

// An arrangement root with children placed by hand.
struct Rooted : testing::Test {
  vemowin context;
  clip root{&context, nullptr};
  clip *Child(int start, int length, int track) {
    clip *c = new clip(&context);
    EXPECT_TRUE(root.ClipInsertChild(c));
    c->SetPosition(start);
    c->SetSize(length);
    c->SetTrack(track);
    return c;
  }
};
using Tree = Rooted;
using Arrangement = Rooted;

// Bytes this process has read through read() and its kin so far; -1 when the kernel does not say.
long long BytesRead() {
  std::ifstream in("/proc/self/io");
  std::string key;
  long long value = 0;
  while (in >> key >> value)
    if (key == "rchar:") return value;
  return -1;
}

}  // namespace

TEST_F(Tree, TracksCountFreeAndCheckOverlaps) {
  EXPECT_EQ(root.ClipTrackCount(), 0);
  EXPECT_EQ(root.ClipTrackFree(0), 0);
  clip *a = Child(0, 1000, 0);
  clip *b = Child(1000, 500, 2);
  EXPECT_EQ(root.ClipTrackCount(), 3);
  // Touching is not overlapping; overlapping by a millisecond is.
  EXPECT_TRUE(root.ClipChildTrackCheck(b, 0));
  b->SetPosition(999);
  EXPECT_FALSE(root.ClipChildTrackCheck(b, 0));
  EXPECT_TRUE(root.ClipChildTrackCheck(a, 0));  // a clip never overlaps itself
  // Freeing track 1 moves tracks 1 and up down by one.
  EXPECT_EQ(root.ClipTrackFree(1), 4);
  EXPECT_EQ(std::pair(a->GetTrack(), b->GetTrack()), std::pair(0, 3));
  EXPECT_EQ(root.ClipTrackFree(0), 5);
  EXPECT_EQ(a->GetTrack(), 1);
}

TEST_F(Tree, CompressingMovesChildrenUpWhereTheirTimeIsFree) {
  clip *a = Child(0, 1000, 0);
  clip *b = Child(500, 1000, 3);   // overlaps a: stops on track 1
  clip *c = Child(1000, 1000, 5);  // touches a: rises to track 0? b is in the way on 1
  clip *d = Child(3000, 100, 4);   // free all the way up
  root.ClipCompressTracks();
  EXPECT_EQ(std::tuple(a->GetTrack(), b->GetTrack(), c->GetTrack(), d->GetTrack()), std::tuple(0, 1, 2, 0));
  // In a drawn view the same holds at its pixel scale.
  root.SetArrangeArea(RECT{10, 10, 1010, 400});
  root.SetVisibleSpan(4000);
  c->SetTrack(5);
  root.ClipCompressTracks();
  EXPECT_EQ(c->GetTrack(), 2);
}

TEST_F(Tree, DeletingChildrenKeepsTheListAndTheCurrentChildRight) {
  clip *a = Child(0, 1000, 0);
  clip *b = Child(0, 1000, 1);
  clip *c = Child(0, 1000, 2);
  EXPECT_EQ(root.GetCurrentChild(), c);
  root.SetAudioMaster(b);
  EXPECT_EQ(root.ChildDelete(b), QA_UPDATE);
  EXPECT_EQ(root.GetAudioMaster(), nullptr);
  ASSERT_EQ(root.GetChildCount(), 2);
  EXPECT_EQ(std::tuple(root.GetChild(0), root.GetChild(1), root.GetCurrentChild()), std::tuple(a, c, a));
  root.ChildDelete(a);
  root.ChildDelete(c);
  EXPECT_EQ(root.GetChildCount(), 0);
  EXPECT_EQ(root.GetCurrentChild(), nullptr);
}

TEST_F(Tree, DeletingFromTheArrangementAsksThenClosesTheGap) {
  clip *a = Child(0, 1000, 0);
  clip *b = Child(1000, 2000, 0);
  clip *c = Child(3000, 500, 0);
  clip *d = Child(500, 3000, 1);
  b->SetName("middle");
  root.SelectCurrent(b);
  headless_dialogs &ui = HeadlessDialogs();
  ui.quiet = true;
  ui.answer_yes = false;
  EXPECT_EQ(root.ArrangeChildDelete(), 0u);
  EXPECT_EQ(root.GetChildCount(), 4);
  EXPECT_EQ(ui.last_text, "Are You Sure? Do you really want to delete:\nmiddle");
  EXPECT_EQ(ui.last_caption, "Question");
  ui.answer_yes = true;
  EXPECT_NE(root.ArrangeChildDelete(), 0u);
  ui.answer_yes = false;
  ASSERT_EQ(root.GetChildCount(), 3);
  // c moves into the gap on its track; d, on another, keeps its time and track (it overlaps a and c).
  EXPECT_EQ(std::tuple(a->GetPosition(), c->GetPosition(), d->GetPosition(), d->GetTrack()),
            std::tuple(0, 1000, 500, 1));
  EXPECT_EQ(root.GetCriticalCount(), 0);
}

TEST_F(Tree, FormatAndFrameRateChangesFallBackOnUnknownChoices) {
  ASSERT_TRUE(root.ChangeVideoFormat(321));
  EXPECT_EQ(root.GetSurfaceRectangle().bottom, 480);
  EXPECT_EQ(root.GetDestinationSurface()->width, 720);
  ASSERT_TRUE(root.ChangeVideoFormat(12345));
  EXPECT_EQ(root.GetSurfaceRectangle().right, 320);
  root.ChangeVideoFps(638);
  EXPECT_EQ(root.GetFps(), 24);
  root.ChangeVideoFps(999);
  EXPECT_EQ(root.GetFps(), 15);
  EXPECT_EQ(root.GetFpsOption(), 134);
  // Only arrangements change format.
  clip plain(&context);
  EXPECT_TRUE(plain.ChangeVideoFormat(320));
  EXPECT_EQ(plain.GetWorkSurface(0), nullptr);
}

TEST_F(Tree, StateQueriesFollowMediaAndMutes) {
  project pr;
  clip *sub = pr.p->AddArrangement(pr.root(), 0, 1000, 0);
  clip *pic = pr.Still(sub, "p.bmp", 4, 4, 0, 1000, 0);
  ASSERT_NE(pic, nullptr);
  sub->SetVideoMute(true);
  pr.root()->ClipCollectState();
  // The streams ignore the mutes.
  EXPECT_EQ(std::tuple(pr.root()->CheckVideo(), pr.root()->CheckAudio(),
                       pr.root()->CheckVideoStream(), pr.root()->GetCollectedVideo()),
            std::tuple(false, false, true, false));
  // An arrangement that takes a medium becomes a media clip without children.
  const std::string picture = pic->GetFileName();  // the import deletes pic
  ASSERT_TRUE(sub->ClipImport(picture.c_str()));
  EXPECT_EQ(std::pair(sub->IsArrangement(), sub->GetChildCount()), std::pair(false, 0));
}

TEST_F(Tree, TheClipTimeMapperPicksVideoFramesAndHoldsThem) {
  fixtures::media_recipe recipe;  // 64 x 48 MJPEG, 25 fps, 50 flat frames
  const std::string path = fixtures::WriteTempMedia("ctm.avi", recipe);
  project pr;
  clip *v = pr.p->AddMedia(pr.root(), path.c_str(), 0, 0);
  ASSERT_NE(v, nullptr);
  ASSERT_EQ(v->MediaDuration(), 2000);
  EXPECT_EQ(v->GetSize(), 2000);
  EXPECT_EQ(std::tuple(v->CTMGetValue(0), v->CTMGetValue(2000), v->CTMGetValue(5000)),
            std::tuple(0, 2000, 2000));  // held at the end
  EXPECT_NEAR(v->CTMGetValue(1000), 1000, 1);
  pr.At(1000);
  EXPECT_EQ(fixtures::ShownFrame(v->GetFrameSurface(), 50), 25);
  pr.At(1999);
  EXPECT_EQ(fixtures::ShownFrame(v->GetFrameSurface(), 50), 49);

  // The mapper holding one source time: moving through the clip reads the medium once.
  timefloat *tf = v->FindTimeFloat(clipvar::IDS_CLIPTIMEMAPPER);
  tf->Reset();
  Key(v, clipvar::IDS_CLIPTIMEMAPPER, 0, 0.25);
  int reads = 0;
  pr.p->SetMessages(
      [&](const char *m) { reads += std::string(m).find("Reading Video Frame") != std::string::npos; });
  for (int t = 0; t <= 2000; t += 100) pr.At(t);
  EXPECT_EQ(reads, 1);
  EXPECT_EQ(fixtures::ShownFrame(v->GetFrameSurface(), 50), 12);
  // Standing still reads nothing either.
  tf->Reset();
  v->CTMReset();
  reads = 0;
  pr.At(700);
  pr.At(700);
  EXPECT_EQ(reads, 1);
}

TEST_F(Arrangement, ZoomBandAndDragFollowTheirLimits) {
  root.SetSize(60000);
  using step = uint32_t (clip::*)();
  const step steps[] = {&clip::ArrZoomIn, &clip::ArrZoomOut, &clip::ArrZoomAll, &clip::ArrBandIn,
                        &clip::ArrBandOut};
  // span (steps 0-2) or band (3-4) before, the step, its answer, the span or band after
  const int rows[][4] = {{45, 0, QA_UPDATE, 30},       {30, 0, 0, 30},
                         {40000, 1, QA_UPDATE, 60000}, {60000, 1, 0, 60000},
                         {60000, 2, 0, 60000},         {1000, 2, QA_UPDATE, 60000},
                         {300, 3, QA_UPDATE, 512},     {512, 3, 0, 512},
                         {15, 4, QA_UPDATE, 10},       {10, 4, 0, 10}};
  for (const auto &r : rows) {
    const bool zoom = r[1] < 3;
    zoom ? root.SetVisibleSpan(r[0]) : root.SetBandHeight(r[0]);
    EXPECT_EQ((root.*steps[r[1]])(), uint32_t(r[2])) << r[0] << " step " << r[1];
    EXPECT_EQ(zoom ? root.GetVisibleSpan() : root.GetBandHeight(), r[3]) << r[0] << " step " << r[1];
  }
  // Fitting the tracks into the area: many tracks stop at 10, one track at 512.
  root.SetArrangeArea(RECT{0, 0, 800, 2000});
  EXPECT_EQ(root.ArrBandAll(), QA_UPDATE);
  EXPECT_EQ(root.GetBandHeight(), 512);
  Child(0, 100, 300);
  EXPECT_EQ(root.ArrBandAll(), QA_UPDATE);
  EXPECT_EQ(root.GetBandHeight(), 10);
  root.SetArrangeArea(RECT{0, 0, 800, 302 * 33 + 5});
  root.ArrBandAll();
  EXPECT_EQ(root.GetBandHeight(), 33);

  root.SetVisibleSpan(8000);
  for (auto [x, delta] : {std::pair{400, 0}, {395, -50}, {403, 30}}) {  // -5 * 8000 / 800 = -50
    root.ArrSetDrag(400, x);
    EXPECT_EQ(root.ArrDragDelta(), delta) << x;
  }
  EXPECT_EQ(root.ClipZoomOut(), 512u);
  EXPECT_EQ(root.GetVisibleSpan(), 0);
}

TEST_F(Arrangement, TheSliderDefaultCountsTheStartTwice) {
  clip *c = Child(2000, 3000, 0);
  EXPECT_EQ(c->ClipResetArrangeSlider(), 1);
  EXPECT_EQ(std::tuple(c->GetVisibleSpan(), c->GetViewStart(), c->GetMakeStart(), c->GetMakeEnd()),
            std::tuple(7000, 2000, 2000, 5000));
  c->SetPosition(0);
  c->ClipResetArrangeSlider();  // a span already set stays
  EXPECT_EQ(c->GetVisibleSpan(), 7000);
  root.SetSize(9000);
  root.ClipResetArrangeSlider();
  EXPECT_EQ(root.GetVisibleSpan(), 9000);
}

TEST(ImportReads, AnUncompressedVideoCostsTheSameForTenSecondsAndAHundred) {
  project pr;
  fixtures::media_recipe s{
      .video_codec = "rawvideo", .pix_fmt = "bgr24", .width = 256, .height = 192, .rate_num = 5, .gop = 1};
  long long read[2] = {};
  for (int i = 0; i < 2; ++i) {
    s.frames = i == 0 ? 50 : 500;
    const std::string path = fixtures::WriteTempMedia(i == 0 ? "short.avi" : "long.avi", s);
    const long long before = BytesRead();
    if (before < 0) GTEST_SKIP() << "/proc/self/io cannot be read here";
    clip *c = pr.p->AddMedia(pr.root(), path.c_str(), 0, i);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->GetSize(), s.frames * 200);
    pr.At(0);
    read[i] = BytesRead() - before;
  }
  EXPECT_LE(read[1], read[0] * 12 / 10) << read[0] << " bytes read for 10 s, " << read[1] << " for 100 s";
}
