// `lumivaxel run SCRIPT.lvm [ARGS...]` and `lumivaxel run -e 'CLAUSES'`: a macro run on a
// project (or a new empty arrangement), its return value printed.
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "app/cli.h"
#include "app/commands.h"
#include "core/dialogs.h"
#include "core/vemo.h"
#include "engine/editjournal.h"
#include "engine/project.h"
#include "macro/macro.h"

namespace {

volatile std::sig_atomic_t g_stop = 0;

void OnInterrupt(int) { g_stop = 1; }

}  // namespace

int CmdRun(int argc, char **argv, int first) {
  cli::grammar g;
  g.valued = {"--project", "--max-clauses", "--eval"};
  g.switches = {"--yes", "--verbose", "--help"};
  g.aliases = {{"-e", "--eval"}, {"-y", "--yes"}, {"-h", "--help"}};
  cli::arguments args;
  std::string error;
  if (!cli::Parse(argc, argv, first, g, args, &error))
    return cli::Fail(error + " (see lumivaxel run --help)");
  if (args.Has("--help")) {
    PrintUsage("run");
    return 0;
  }
  const bool inline_text = args.Has("--eval");
  if (!inline_text && args.positional.empty())
    return cli::Fail("run needs a SCRIPT.lvm or -e 'CLAUSES' (see lumivaxel run --help)");
  long budget = 0;
  if (args.Has("--max-clauses")) {
    const std::string count = args.Get("--max-clauses");
    char *end = nullptr;
    budget = std::strtol(count.c_str(), &end, 10);
    if (count.empty() || *end || budget <= 0 || budget == LONG_MAX) return cli::Fail("--max-clauses takes a count above 0");
  }

  vemoproject p;
  HeadlessDialogs().answer_yes = args.Has("--yes");
  if (args.Has("--project")) {
    if (!OpenProject(p, args.Get("--project"), args)) return 1;
  } else if (!p.Ok() || !p.New()) {
    return cli::Fail("the picture surfaces could not be created");
  } else if (args.Has("--verbose")) {
    p.SetMessages([](const char *text) { std::fprintf(stderr, "%s\n", text); });
  }

  // Every edit is an undo step, written down beside the project file before it counts as done.
  const std::unique_ptr<editjournal> journal =
      OpenEditJournal(p.Root(), args.Has("--project") ? args.Get("--project").c_str() : "");
  if (!journal->Report().empty() && !args.Has("--verbose")) std::fprintf(stderr, "%s\n", journal->Report().c_str());

  // The script's folder is the application folder: "call other.lvm" finds a script beside it.
  std::unique_ptr<macro> m;
  size_t first_argument = 0;
  if (inline_text) {
    vemo::SetAppDir("");
    m.reset(macro::FromText(p.Root(), args.Get("--eval").c_str()));
    if (!m || !m->IsReady()) return cli::Fail("-e needs at least one clause");
  } else {
    const std::string script = args.positional[0];
    first_argument = 1;
    char *real = realpath(script.c_str(), nullptr);
    if (!real) return cli::Fail("no such script: " + script);
    const std::string path = real;
    std::free(real);
    if (path.size() < 4 || path.compare(path.size() - 4, 4, ".lvm") != 0)
      return cli::Fail("a script's name ends in .lvm: " + script);
    vemo::SetAppDir(path.substr(0, path.rfind('/') + 1).c_str());
    m = std::make_unique<macro>(p.Root(), path.c_str());
    if (!m->IsReady())
      return cli::Fail(script + " is no macro (it begins with <lvm> and holds at least one clause)");
  }
  std::string arguments;
  for (size_t i = first_argument; i < args.positional.size(); ++i)
    arguments += (arguments.empty() ? "" : " ") + args.positional[i];

  m->SetClauseBudget(budget);
  m->SetStopFlag(&g_stop);
  clip *root = p.Root();
  root->SetMessagePump([root] {
    if (g_stop && !root->IsStopPending()) root->Stop();
  });
  g_stop = 0;
  struct sigaction sa {
  }, old{};
  sa.sa_handler = OnInterrupt;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGINT, &sa, &old);
  std::string result;
  const bool ok = m->Run(arguments.c_str(), result);
  sigaction(SIGINT, &old, nullptr);
  root->SetMessagePump(nullptr);
  if (!ok) return cli::Fail(m->LastError().empty() ? "the macro failed" : m->LastError());
  std::printf("%s\n", result.c_str());
  return 0;
}
