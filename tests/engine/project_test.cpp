// The host's entry: a new project starts empty, the printed tree, and files that are no project.
#include <gtest/gtest.h>

#include <fstream>

#include "effects/effect.h"
#include "engine/enginetest.h"
#include "time/memfile.h"

using namespace enginetest;

TEST(Project, DescribeListsKindsTimesMediaEffectsAndKeys) {
  project pr;
  clip *still = pr.Still(pr.root(), "pic.bmp", 4, 4, 1500, 2000, 1);
  ASSERT_NE(still, nullptr);
  still->SetOffset(250);
  Key(still, clipvar::IDS_DST_L, 0, 0.25);
  Key(still, clipvar::IDS_DST_L, 1000, 0.5);
  effectVideo *fx = still->VideoEffectAdd(103);
  Key(fx, fxid::IDS_OPACITY, 500, -0.5);
  clip *text = pr.p->AddGenerator(pr.root(), CLIP_SRC_TEXT, 0, 1000, 0);
  text->ClipSetText("Hi");
  text->SetAudioMute(true);
  const std::string want =
      "arrangement \"Arrangement\" at 0.000 s for 10.000 s, 160 x 120, 25 fps, 2 tracks\n"
      "  track 1: media \"pic.bmp\" at 1.750 s for 1.750 s, offset 0.250 s, file " +
      pr.dir.file("pic.bmp") +
      ", video\n"
      "      IDS_DST_L: 0.000=0.25, 1.000=0.5\n"
      "      IDS_CLIPTIMEMAPPER: 0.000=1\n"  // a still has no duration: both keys at 0
      "    video effect 1: 103 Opacity\n"
      "        IDS_OPACITY: 0.500=-0.5\n"
      "  track 0: text \"Text String\" at 0.000 s for 1.000 s, text \"Hi\", audio muted\n"
      "      IDS_START_OPACITY: 0.000=0\n";
  EXPECT_EQ(pr.p->Describe(), want);
}

TEST(Project, ANewProjectForgetsTheOldOne) {
  project pr;
  pr.Solid(pr.root(), pix32(1, 2, 3, 4), 0, 100, 0);
  pr.root()->SetVideoMute(true);
  pr.root()->SetName("old");
  ASSERT_TRUE(pr.p->New(320, 136, 4000));
  EXPECT_EQ(pr.root()->GetChildCount(), 0);
  EXPECT_FALSE(pr.root()->GetVideoMute());
  EXPECT_EQ(pr.p->Length(), 4000);
  EXPECT_EQ(pr.root()->GetFps(), 30);
  KORSurface *pic = pr.p->Compose(0);
  ASSERT_NE(pic, nullptr);
  EXPECT_EQ(pic->width, 720);
  // A new project's root is written with a clean record.
  bytes b = SavedBytes([&](FILE *f) { return pr.root()->Save(f); });
  EXPECT_STREQ(reinterpret_cast<const char *>(&b[4]), "Arrangement");
  EXPECT_EQ(Get<int32_t>(b, 1152), -1);
}

TEST(Project, AFileThatIsNoProjectLeavesANewOne) {
  project pr;
  clip *still = pr.Still(pr.root(), "pic.bmp", 4, 4, 0, 2000, 0);
  const std::string single = pr.dir.file("single.vmp"), junk = pr.dir.file("junk.vmp");
  ASSERT_TRUE(still->ProjectSave(single.c_str()));  // one media clip, not an arrangement
  std::ofstream(junk) << "nothing of the kind";
  for (const std::string &path : {single, junk, pr.dir.file("absent.vmp")}) {
    EXPECT_FALSE(pr.p->Load(path.c_str())) << path;
    EXPECT_TRUE(pr.root()->IsArrangement());
    EXPECT_EQ(pr.root()->GetChildCount(), 0);
    EXPECT_NE(pr.p->Compose(0), nullptr);
  }
}
