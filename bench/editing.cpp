// Editing at scale: a generated project of 2 000 clips on 16 tracks (4 sub-arrangements of 500
// clips on 4 tracks each). Each benchmark applies one command through the command layer, or
// undoes it, with the history in memory (journal 0) or written to a journal on disk with an
// fsync per step (journal 1). The goal is at most 5 ms for either. A last benchmark draws the
// frames of a drag in the arrangement view.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "../tests/editing/editscript.h"
#include "engine/editjournal.h"
#include "media/dc.h"

namespace {

struct command {
  const char *name, *object, *text;
};
const command kCommands[] = {
    {"move", "a2.c250", "Place 100 3 1"},
    {"trim", "a2.c250", "SetOffset 0.5"},
    {"add_key", "a2.c250.IDS_DST_L", "SetKey 1.5 0.25"},
    {"add_effect", "a2.c250", "AddEffect 29"},
    {"delete", "a2", "Delete c250"},
    {"insert", "a2", "AddText inserted 1 100 2 hello"},
};

struct fixture {
  vemoproject p;
  std::unique_ptr<editjournal> log;
  std::string dir;
  explicit fixture(bool journal) {
    editscript::Generate(p, 4, 500);
    if (journal) {
      char pattern[] = "/tmp/lv-bench-editing-XXXXXX";
      dir = mkdtemp(pattern) ? pattern : "/tmp";
      p.Save((dir + "/big.vmp").c_str());
      log = OpenEditJournal(p.Root(), (dir + "/big.vmp").c_str());
    } else {
      log = OpenEditJournal(p.Root(), "");
    }
  }
  ~fixture() {
    log.reset();
    if (!dir.empty()) {
      for (const char *f : {"/big.vmp.journal", "/big.vmp"}) unlink((dir + f).c_str());
      rmdir(dir.c_str());
    }
  }
  bool Send(const command &c) {
    char result[UIITEM_RESULT_SIZE] = "";
    return EditCommand(p.Root()->UIItemResolve(c.object), c.text, result);
  }
};

fixture &Shared(bool journal) {
  static fixture *memory = nullptr, *disk = nullptr;
  fixture *&f = journal ? disk : memory;
  if (!f) f = new fixture(journal);
  return *f;
}

void BM_Apply(benchmark::State &state) {
  const command &c = kCommands[state.range(0)];
  fixture &f = Shared(state.range(1) != 0);
  state.SetLabel(c.name);
  for (auto _ : state) {
    if (!f.Send(c)) state.SkipWithError("the command was refused");
    state.PauseTiming();
    f.log->Undo();
    state.ResumeTiming();
  }
}

void BM_Undo(benchmark::State &state) {
  const command &c = kCommands[state.range(0)];
  fixture &f = Shared(state.range(1) != 0);
  state.SetLabel(c.name);
  for (auto _ : state) {
    state.PauseTiming();
    if (!f.Send(c)) state.SkipWithError("the command was refused");
    state.ResumeTiming();
    if (!f.log->Undo()) state.SkipWithError("nothing to undo");
  }
}

void Commands(benchmark::internal::Benchmark *b) {
  for (int journal = 0; journal < 2; ++journal)
    for (int i = 0; i < int(std::size(kCommands)); ++i) b->Args({i, journal});
  b->ArgNames({"command", "journal"})->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_Apply)->Apply(Commands);
BENCHMARK(BM_Undo)->Apply(Commands);

// One frame of dragging a clip in the arrangement view: the move that shifts the clip, then the
// layout and drawing of the arrangement into a 1280 x 800 picture (goal: 16.7 ms). Range 0 is the
// 2 000-clip project above, whose root view holds its 4 sub-arrangements; range 1 a root holding
// a full list of 500 clips on 16 tracks, the most one view can show.
void BM_ArrangementDragFrame(benchmark::State &state) {
  static vemoproject *projects[2] = {nullptr, nullptr};
  const bool flat = state.range(0) != 0;
  vemoproject *&p = projects[flat];
  if (!p) {
    p = new vemoproject;
    if (!flat) {
      editscript::Generate(*p, 4, 500);
    } else {
      p->New(80, clip::kDefaultFps, 70000);
      for (int c = 0; c < 500; ++c)
        ClipAddGenerator(p->Root(), c % 2 ? CLIP_SRC_GRADIENT : CLIP_SRC_TEXT, (c / 16) * 2000, 2000, c % 16)
            ->SetName(("c" + std::to_string(c)).c_str());
    }
  }
  clip *root = p->Root();
  constexpr int W = 1280, H = 800;
  std::vector<pix32> pixels(size_t(W) * H);
  dc hdc(pixels.data(), W, H, W);
  root->Layout(RECT{0, 0, W, H});
  auto *dragged = static_cast<clip *>(root->UIItemResolve(flat ? "c258" : "a2"));
  const RECT r = dragged ? dragged->GetArrangeRect() : RECT{};
  const POINT start{(r.left + r.right) / 2, (r.top + r.bottom) / 2};
  if (!dragged || !(root->QueryAction(nullptr, WM_LBUTTONDOWN, start, MK_LBUTTON) & QA_CAPTURE)) {
    state.SkipWithError("the clip could not be taken");
    return;
  }
  int step = 0;
  for (auto _ : state) {
    // Back and forth by 40 columns, so every frame moves the clip.
    root->QueryAction(nullptr, WM_MOUSEMOVE, POINT{start.x + (++step % 2 ? 40 : 0), start.y}, MK_LBUTTON);
    root->ArrLayout(root->GetArrangeArea());
    root->ArrDraw(&hdc);
    benchmark::DoNotOptimize(pixels.data());
  }
  root->QueryAction(nullptr, WM_LBUTTONUP, start, 0);
  state.SetLabel(flat ? "500 clips in view" : "2000 clips, 4 arrangements in view");
}
BENCHMARK(BM_ArrangementDragFrame)->Arg(0)->Arg(1)->ArgName("flat")->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
