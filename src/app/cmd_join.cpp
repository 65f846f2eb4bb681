// `lumivaxel join PART... -o OUT`: segments made with `make --frames` joined into one file
// without coding anything again.
#include <cstdio>
#include <string>

#include "app/cli.h"
#include "app/commands.h"
#include "engine/joining.h"

int CmdJoin(int argc, char **argv, int first) {
  cli::grammar g;
  g.valued = {"--output"};
  g.switches = {"--help"};
  g.aliases = {{"-o", "--output"}, {"-h", "--help"}};
  cli::arguments args;
  std::string error;
  if (!cli::Parse(argc, argv, first, g, args, &error))
    return cli::Fail(error + " (see lumivaxel join --help)");
  if (args.Has("--help")) {
    PrintUsage("join");
    return 0;
  }
  if (args.positional.empty()) return cli::Fail("join needs the parts to join (see lumivaxel join --help)");
  if (!args.Has("--output")) return cli::Fail("join needs -o OUT");
  const std::string out = args.Get("--output");
  for (const std::string &p : args.positional)
    if (p == out) return cli::Fail("the output " + out + " is one of the parts");
  if (!JoinSegments(args.positional, out, &error)) return cli::Fail("cannot join: " + error);
  std::printf("%s\n", out.c_str());
  return 0;
}
