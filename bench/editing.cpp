// Editing at scale: a generated project of 2 000 clips on 16 tracks (4 sub-arrangements of 500
// clips on 4 tracks each). Each benchmark applies one command through the command layer, or
// undoes it, with the history in memory (journal 0) or written to a journal on disk with an
// fsync per step (journal 1). The goal is at most 5 ms for either.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <memory>
#include <string>

#include "../tests/editing/editscript.h"
#include "engine/editjournal.h"

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

// The arrangement view's layout and drawing of one frame during a drag (goal: 16.7 ms at the
// 99th percentile) belongs here once the editing window draws the arrangement.
void BM_ArrangementDragFrame(benchmark::State &state) {
  for (auto _ : state) state.SkipWithError("needs the editing window's arrangement view");
}
BENCHMARK(BM_ArrangementDragFrame);

}  // namespace

BENCHMARK_MAIN();
