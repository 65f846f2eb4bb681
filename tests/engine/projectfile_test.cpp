// Project files: the printed tree, layout, round trips, cuts, atomic saves, missing media, copies.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "core/dialogs.h"
#include "core/vemowin.h"
#include "effects/effect.h"
#include "engine/clipsource.h"
#include "engine/enginetest.h"
#include "support/mediafile.h"
#include "time/memfile.h"

using namespace enginetest;

namespace {

bytes SaveOf(clip *c) {
  int ok = 0;
  bytes b = SavedBytes([&](FILE *f) { return c->Save(f); }, &ok);
  EXPECT_EQ(ok, 1);
  return b;
}

int32_t I32(const bytes &b, size_t at) { return Get<int32_t>(b, at); }
// Where the first child's record starts in a saved root: after the root's block and variables.
size_t FirstChildAt(clip *root) {
  return 5800 + SavedBytes([&](FILE *f) { return root->tfSave(f); }).size();
}
using ints = std::vector<int32_t>;

// A project of every kind of clip: stills with keys and an offset, a text and a gradient,
// a sub-arrangement with children, effects with keys (every type on b), an audio master, mutes.
void BuildRich(project &pr) {
  clip *root = pr.root();
  root->SetName("rich");
  root->SetMakeRange(250, 4750);
  clip *a = pr.Still(root, "a.bmp", 12, 10, 100, 3000, 2);
  ASSERT_NE(a, nullptr);
  a->SetOffset(700);  // start 800, length 2300, offset 700
  Key(a, clipvar::IDS_DST_L, 0, -0.25);
  Key(a, clipvar::IDS_DST_L, 1500, 0.5);
  Key(a, clipvar::IDS_START_OPACITY, 900, 0.75);
  effectVideo *fx = a->VideoEffectAdd(28);
  ASSERT_NE(fx, nullptr);
  Key(fx, fxid::IDS_RED, 0, 0.5);
  a->VideoEffectAdd(103);
  a->SetVideoMute(true);
  clip *t = pr.p->AddGenerator(root, CLIP_SRC_TEXT, 0, 4000, 0);
  t->ClipSetText("Title\nsecond line");
  t->ClipSetFont("DejaVu Serif");
  t->ClipSetTextAlign(2);
  Key(t, clipvar::IDS_STR_FONTSIZE, 1000, 48);
  clip *sub = pr.p->AddArrangement(root, 2000, 3000, 1);
  ASSERT_NE(sub, nullptr);
  sub->SetFileName("/this/would/be/imported.avi");  // an arrangement is restored, never imported
  clip *g = pr.p->AddGenerator(sub, CLIP_SRC_GRADIENT, 0, 1000, 0);
  Key(g, clipvar::IDS_COLOR_RB_A, 0, 0.25);
  clip *b = pr.Still(sub, "b.bmp", 6, 6, 500, 800, 1);
  ASSERT_NE(b, nullptr);
  size_t n = 0;
  const effecttype *types = EffectTypes(&n);
  for (size_t i = 0; i < n; ++i) {
    if (types[i].type == 122) continue;  // a plugin effect needs its library
    effect *e = types[i].kind == effectkind::video ? static_cast<effect *>(b->VideoEffectAdd(types[i].type))
                                                   : b->AudioEffectAdd(types[i].type);
    ASSERT_NE(e, nullptr) << types[i].type;
    Key(e, fxid::IDS_EFFECT_TOGGLE, 500 + int(i), 1.0);
  }
  b->SetAudioMute(true);
  sub->SetAudioMaster(b);
  root->SetAudioMaster(sub);
  root->SelectCurrent(t);
}

}  // namespace

TEST(ProjectFile, AnEmptyClipIsItsBlockAndItsVariables) {
  vemowin context;
  clip c(&context);
  c.SetName("lonely");
  c.SetFileName("/media/x.avi");
  c.SetPoSiz(1234, 5678);
  c.SetTrack(3);
  c.SetMakeRange(11, 22);
  const bytes b = SaveOf(&c);
  const bytes vars = SavedBytes([&](FILE *f) { return c.tfSave(f); });
  ASSERT_EQ(b.size(), 5800u + vars.size());
  EXPECT_TRUE(std::equal(vars.begin(), vars.end(), b.begin() + 5800));
  EXPECT_STREQ(reinterpret_cast<const char *>(&b[4]), "lonely");
  EXPECT_STREQ(reinterpret_cast<const char *>(&b[260]), "/media/x.avi");
  // Size, start, length, make range, track, children, audio master, source type.
  EXPECT_EQ(Fields<int32_t>(b, {0, 520, 524, 540, 544, 552, 564, 1152, 1176}),
            (ints{5800, 1234, 5678, 11, 22, 3, 0, -1, 0}));
  EXPECT_NE(I32(b, 568), 0);  // not an arrangement
}

TEST(ProjectFile, TheBlockRecordsTreeEffectsFormatAndSourceTypesLoadsBackTheSameAndCopiesDeep) {
  project pr;
  BuildRich(pr);
  pr.root()->ChangeVideoFps(638);
  const bytes b = SaveOf(pr.root());
  // Three children, an arrangement, the sub-arrangement (child 2) the audio master, 160 x 120
  // (choice 80) at 24 fps (638), no source type, the make range.
  EXPECT_EQ(Fields<int32_t>(b, {564, 568, 1152, 1160, 1164, 1176, 540, 544}),
            (ints{3, 0, 2, 80, 638, 0, 250, 4750}));
  // The first child follows the root's block, variables; its effects are listed by type.
  const size_t a = FirstChildAt(pr.root());
  // Start, length, offset, video muted, two video and no audio effects, their types.
  EXPECT_EQ(
      Fields<int32_t>(b, {a + 520, a + 524, a + 528, a + 560, a + 572, a + 576, a + 836, a + 840, a + 844}),
      (ints{800, 2300, 700, 1, 2, 0, 28, 103, 0}));
  clip *sub = pr.root()->GetChild(2);
  // Source types of the text, the sub-arrangement and its gradient; the sub-arrangement's master.
  EXPECT_EQ((ints{I32(SaveOf(pr.root()->GetChild(1)), 1176), I32(SaveOf(sub), 1176),
                  I32(SaveOf(sub->GetChild(0)), 1176), I32(SaveOf(sub), 1152)}),
            (ints{172, 412, 568, 1}));

  // Loaded again, the project saves to the same bytes and the same tree.
  const std::string first = pr.dir.file("rich.vmp"), second = pr.dir.file("again.vmp");
  ASSERT_TRUE(pr.p->Save(first.c_str()));
  const std::string before = pr.p->Describe();

  const int shown = HeadlessDialogs().boxes_shown;
  vemoproject loaded;
  ASSERT_TRUE(loaded.Load(first.c_str()));
  EXPECT_EQ(HeadlessDialogs().boxes_shown, shown);
  ASSERT_TRUE(loaded.Save(second.c_str()));
  EXPECT_EQ(fixtures::ReadFileBytes(first), fixtures::ReadFileBytes(second));
  // The description covers kinds, places, names, mutes, masters, effects and keys; the rest here.
  EXPECT_EQ(loaded.Describe(), before);
  clip *root = loaded.Root();
  ASSERT_EQ(root->GetChildCount(), 3);
  clip *t = root->GetChild(1);
  EXPECT_EQ(
      std::tuple(std::string(t->GetFont()), t->ClipGetTextAlign(), root->GetMakeStart(), root->GetMakeEnd()),
      std::tuple("DejaVu Serif", 2, 250, 4750));
  // The same pictures, too (every effect type at 2600).
  for (int ms : {0, 1200, 2600, 3900})
    EXPECT_EQ(FirstDifference(Grab(loaded.Compose(ms)), pr.At(ms)), "") << ms;

  // Copies are deep; a thing planted under the old fixed name in the temporary folder is no matter.
  const char *old = std::getenv("TMPDIR");
  const std::string saved = old ? old : "";
  setenv("TMPDIR", pr.dir.path().c_str(), 1);
  std::filesystem::create_directory(pr.dir.file("lvtClipDuplicate.vmp"));
  clip *copy = pr.root()->ClipDuplicate(sub);
  if (old)
    setenv("TMPDIR", saved.c_str(), 1);
  else
    unsetenv("TMPDIR");
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->GetParentClip(), pr.root());
  EXPECT_EQ(pr.root()->GetChildCount(), 3);
  EXPECT_EQ(SaveOf(copy), SaveOf(sub));
  ASSERT_TRUE(pr.root()->ClipInsertChild(copy));
  EXPECT_EQ(copy->GetChildCount(), 2);
  EXPECT_EQ(pr.root()->ClipDuplicate(nullptr), nullptr);
}

TEST(ProjectFile, EveryTruncationAndImpossibleCountFailsAndTheWholeFileLoads) {
  // A root and one child with an effect: the nesting of deeper trees is the same code, and
  // the fuzz target cuts deeper projects at a spread of lengths.
  project pr;
  vemowin context;
  clip *m = new clip(&context);
  ASSERT_TRUE(pr.root()->ClipInsertChild(m));
  m->SetFileName((pr.dir.path() + "/gone.bmp").c_str());  // media that cannot be found
  m->TV_IDS_START_OPACITY();
  Key(m, clipvar::IDS_START_OPACITY, 0, 0.5);
  effectVideo *fx = m->VideoEffectAdd(103);
  ASSERT_NE(fx, nullptr);
  Key(fx, fxid::IDS_OPACITY, 10, -0.5);
  const bytes whole = SaveOf(pr.root());
  ASSERT_GT(whole.size(), 2 * 5800u);

  vemoproject target;
  auto load = [&](size_t n) {  // from memory: a temporary file per cut would be slow
    FILE *f = n ? fmemopen(const_cast<uint8_t *>(whole.data()), n, "rb") : std::tmpfile();
    const int ok = f ? target.Root()->Load(f) : -1;
    if (f) std::fclose(f);
    return ok;
  };
  for (size_t cut = 0; cut < whole.size(); ++cut)
    ASSERT_EQ(load(cut), 0) << "a project cut to " << cut << " of " << whole.size() << " bytes loaded";
  // A block size, child count and effect count that no save writes.
  for (auto [at, value] : {std::pair{0, 5804}, {564, 513}, {572, -1}}) {
    bytes bad = whole;
    Put<int32_t>(bad, size_t(at), value);
    EXPECT_EQ(target.Root()->Load(FileWith(bad).get()), 0) << at;
  }
  EXPECT_EQ(load(whole.size()), 1);
  EXPECT_EQ(SaveOf(target.Root()), whole);
}

TEST(ProjectFile, SavingIsAtomicAndANewProjectForgetsTheOldOne) {
  project pr;
  pr.Solid(pr.root(), pix32(1, 2, 3, 4), 0, 100, 0);
  const std::string path = pr.dir.file("keep.vmp");
  ASSERT_TRUE(pr.p->Save(path.c_str()));
  const bytes before = fixtures::ReadFileBytes(path);
  chmod(path.c_str(), 0640);
  pr.root()->SetName("changed");
  ASSERT_TRUE(pr.p->Save(path.c_str()));
  struct stat st;
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);  // the file keeps its permissions
  EXPECT_NE(fixtures::ReadFileBytes(path), before);

  // A target that cannot be replaced: nothing changes and nothing is left behind.
  const std::string folder = pr.dir.file("folder.vmp");
  std::filesystem::create_directory(folder);
  EXPECT_FALSE(pr.p->Save(folder.c_str()));
  EXPECT_TRUE(std::filesystem::is_directory(folder));
  EXPECT_FALSE(pr.p->Save((pr.dir.path() + "/no/such/dir/x.vmp").c_str()));
  int entries = 0;
  for (const auto &e : std::filesystem::directory_iterator(pr.dir.path()))
    entries += e.path().filename() != "";
  EXPECT_EQ(entries, 2);  // keep.vmp and folder.vmp

  // A new project forgets the old one.
  pr.root()->SetVideoMute(true);
  pr.root()->SetName("old");
  ASSERT_TRUE(pr.p->New(320, 136, 4000));
  EXPECT_EQ(
      std::tuple(pr.root()->GetChildCount(), pr.root()->GetVideoMute(), pr.p->Length(), pr.root()->GetFps()),
      std::tuple(0, false, 4000, 30));
  KORSurface *pic = pr.p->Compose(0);
  ASSERT_NE(pic, nullptr);
  EXPECT_EQ(pic->width, 720);
  // A new project's root is written with a clean record.
  bytes b = SavedBytes([&](FILE *f) { return pr.root()->Save(f); });
  EXPECT_STREQ(reinterpret_cast<const char *>(&b[4]), "Arrangement");
  EXPECT_EQ(Get<int32_t>(b, 1152), -1);
}

TEST(ProjectFile, MissingMediaLoadsMarkedAndCanBeFoundAgainOrLocated) {
  project pr;
  const std::string media = pr.dir.file("media");
  std::filesystem::create_directory(media);
  clip *c = pr.p->AddMedia(pr.root(), WriteBmp(media + "/pic.bmp", 10, 10, PatternPixel).c_str(), 0, 0, 2000);
  ASSERT_NE(c, nullptr);
  c->SetName("my picture");
  Key(c, clipvar::IDS_START_OPACITY, 0, 0.25);
  const std::string path = pr.dir.file("p.vmp");
  ASSERT_TRUE(pr.p->Save(path.c_str()));
  std::filesystem::remove(media + "/pic.bmp");

  headless_dialogs &ui = HeadlessDialogs();
  int shown = ui.boxes_shown;
  vemoproject loaded;
  ASSERT_TRUE(loaded.Load(path.c_str()));
  clip *m = loaded.Root()->GetChild(0);
  ASSERT_NE(m, nullptr);
  EXPECT_TRUE(m->IsMediaMissing());
  EXPECT_FALSE(m->CheckVideo());
  EXPECT_EQ(ui.boxes_shown, shown + 1);
  EXPECT_EQ(ui.last_caption, "File Not Found!");
  EXPECT_EQ(ui.last_text, "\"" + media + "/pic.bmp\"\n\nDo you want to locate this file?");
  // Nothing of the clip is lost: saving gives the same file back.
  const std::string again = pr.dir.file("again.vmp");
  ASSERT_TRUE(loaded.Save(again.c_str()));
  EXPECT_EQ(fixtures::ReadFileBytes(again), fixtures::ReadFileBytes(path));

  // A file of the same name in the project's folder is offered instead.
  WriteBmp(pr.dir.file("pic.bmp"), 10, 10, PatternPixel);
  ui.answer_yes = true;
  vemoproject found;
  ASSERT_TRUE(found.Load(path.c_str()));
  ui.answer_yes = false;
  clip *f = found.Root()->GetChild(0);
  EXPECT_FALSE(f->IsMediaMissing());
  EXPECT_EQ(ui.last_text,
            "Do you want to load\n\"" + pr.dir.file("pic.bmp") + "\"\n Instead of\n" + media + "/pic.bmp");
  EXPECT_EQ(std::pair(std::string(f->GetFileName()), std::string(f->GetName())),
            std::pair(pr.dir.file("pic.bmp"), std::string("my picture")));
  EXPECT_DOUBLE_EQ(f->GetTimeFloat(clipvar::IDS_START_OPACITY, 0), 0.25);

  // An import of a file that is gone can be pointed elsewhere.
  vemowin context;
  clip e(&context);
  ui.answer_yes = true;
  ui.file_answer = WriteBmp(pr.dir.file("elsewhere.bmp"), 4, 4, PatternPixel);
  EXPECT_EQ(e.ClipImport("/nowhere/at/all.bmp"), 1);
  ui.answer_yes = false;
  ui.file_answer.clear();
  EXPECT_STREQ(e.GetFileName(), pr.dir.file("elsewhere.bmp").c_str());
  EXPECT_STREQ(e.GetName(), "elsewhere.bmp");
  // Cancelled: the import fails and the clip is marked.
  clip d(&context);
  EXPECT_EQ(d.ClipImport("/nowhere/at/all.bmp"), 0);
  EXPECT_TRUE(d.IsMediaMissing());
  // A file no reader takes fails without a question.
  shown = ui.boxes_shown;
  std::ofstream(pr.dir.file("junk.bin")) << "not a medium";
  EXPECT_EQ(d.ClipImport(pr.dir.file("junk.bin").c_str()), 0);
  EXPECT_EQ(ui.boxes_shown, shown);
}

TEST(ProjectFile, EffectsOfUnknownTypesAreKeptByteForByte) {
  project pr;
  clip *m = pr.Still(pr.root(), "u.bmp", 8, 6, 0, 2000, 0);
  ASSERT_NE(m, nullptr);
  Key(m->VideoEffectAdd(103), fxid::IDS_OPACITY, 10, -0.5);
  m->VideoEffectAdd(111);
  Key(m->AudioEffectAdd(142), fxid::IDS_PAN, 20, 0.25);
  bytes whole = SaveOf(pr.root());
  // Types no build knows, for the first video and the audio effect of the child.
  const size_t at = FirstChildAt(pr.root());
  ASSERT_EQ(I32(whole, at + 836), 103);
  ASSERT_EQ(I32(whole, at + 580), 142);
  for (size_t field : {at + 836, at + 580}) Put<int32_t>(whole, field, 9999);
  vemoproject loaded;
  ASSERT_EQ(loaded.Root()->Load(FileWith(whole).get()), 1);
  clip *child = loaded.Root()->GetChild(0);
  ASSERT_EQ(child->GetVideoEffectCount(), 2);
  EXPECT_EQ(child->GetVideoEffect(0)->GetID(), 9999);
  EXPECT_FALSE(child->GetVideoEffect(0)->IsActive());
  EXPECT_EQ(child->GetVideoEffect(1)->GetID(), 111);
  EXPECT_EQ(SaveOf(loaded.Root()), whole);
  EXPECT_NE(loaded.Compose(0), nullptr);
}

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
