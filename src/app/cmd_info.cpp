// `lumivaxel info PROJECT.vmp`: the project's tree with clips, tracks, times, media, effects
// and the variables that have keys.
#include <cstdio>

#include "app/cli.h"
#include "app/commands.h"
#include "engine/project.h"

int CmdInfo(int argc, char **argv, int first) {
  cli::grammar g;
  g.switches = {"--yes", "--verbose", "--help"};
  g.aliases = {{"-y", "--yes"}, {"-h", "--help"}};
  cli::arguments args;
  std::string error;
  if (!cli::Parse(argc, argv, first, g, args, &error)) return cli::Fail(error + " (see lumivaxel info --help)");
  if (args.Has("--help")) {
    PrintUsage("info");
    return 0;
  }
  if (args.positional.size() != 1) return cli::Fail("info needs one project file (see lumivaxel info --help)");
  vemoproject p;
  if (!OpenProject(p, args.positional[0], args)) return 1;
  std::fputs(p.Describe().c_str(), stdout);
  return 0;
}
