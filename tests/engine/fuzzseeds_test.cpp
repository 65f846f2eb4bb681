// Writes the seed files of the project fuzz target (run by hand when the seeds change):
//   FUZZ_CORPUS=fuzz/corpus test_engine --gtest_also_run_disabled_tests --gtest_filter='*FuzzSeeds*'
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "core/vemowin.h"
#include "effects/effect.h"
#include "engine/enginetest.h"
#include "time/memfile.h"

using namespace enginetest;

TEST(FuzzSeeds, DISABLED_Write) {
  const char *corpus = std::getenv("FUZZ_CORPUS");
  ASSERT_NE(corpus, nullptr);
  const std::filesystem::path dir = std::filesystem::path(corpus) / "fuzz_project";
  std::filesystem::create_directories(dir);
  auto put = [&](project &pr, const char *name) { ASSERT_TRUE(pr.p->Save((dir / name).string().c_str())); };

  project empty;
  empty.root()->SetName("empty");
  put(empty, "empty.vmp");

  project layers;
  clip *g = layers.Solid(layers.root(), pix32(10, 20, 30, 200), 0, 3000, 1);
  Key(g, clipvar::IDS_DST_R, 1000, 0.5);
  effectVideo *fx = g->VideoEffectAdd(103);
  ASSERT_NE(fx, nullptr);
  Key(fx, fxid::IDS_OPACITY, 500, -0.25);
  g->VideoEffectAdd(181);
  put(layers, "layers.vmp");

  project nested;
  clip *sub = nested.p->AddArrangement(nested.root(), 500, 2000, 0);
  clip *t = nested.p->AddGenerator(sub, CLIP_SRC_TEXT, 0, 1500, 0);
  t->ClipSetText("seed");
  Key(t, clipvar::IDS_STR_FONTSIZE, 0, 12);
  vemowin context;
  clip *m = new clip(&context);
  ASSERT_TRUE(sub->ClipInsertChild(m));
  m->SetFileName("/nonexistent/seed.wav");
  m->TV_IDS_START_OPACITY();
  m->SetTrack(1);
  nested.root()->SetAudioMaster(sub);
  put(nested, "nested.vmp");

  // Effects of the other families, the second of them of a type no build makes (kept as bytes).
  project effects;
  clip *e = effects.Solid(effects.root(), pix32(90, 60, 30, 255), 0, 2000, 0);
  Key(e->VideoEffectAdd(149), fxid::IDS_MATRIX_SIZE, 0, 5);
  Key(e->VideoEffectAdd(419), fxid::IDS_BLUE, 100, 0.5);
  e->VideoEffectAdd(182);
  Key(e->AudioEffectAdd(142), fxid::IDS_PAN, 0, 0.5);
  e->AudioEffectAdd(514);
  const std::string path = (dir / "effects.vmp").string();
  put(effects, "effects.vmp");
  FILE *f = std::fopen(path.c_str(), "r+b");
  ASSERT_NE(f, nullptr);
  // The child's block follows the root's block and variables; its second video type at 836 + 4.
  const bytes rootvars = SavedBytes([&](FILE *out) { return effects.root()->tfSave(out); });
  const int32_t unknown = 9999;
  std::fseek(f, long(5800 + rootvars.size() + 840), SEEK_SET);
  std::fwrite(&unknown, 4, 1, f);
  std::fclose(f);
}
