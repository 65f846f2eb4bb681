// `lumivaxel frame PROJECT.vmp --at SEC -o OUT.bmp|OUT.png`: the root's picture at a time.
#include <cstdio>

#include "app/cli.h"
#include "app/commands.h"
#include "app/imagewrite.h"
#include "engine/project.h"

int CmdFrame(int argc, char **argv, int first) {
  cli::grammar g;
  g.valued = {"--at", "--output"};
  g.switches = {"--yes", "--verbose", "--help"};
  g.aliases = {{"-o", "--output"}, {"-y", "--yes"}, {"-h", "--help"}};
  cli::arguments args;
  std::string error;
  if (!cli::Parse(argc, argv, first, g, args, &error)) return cli::Fail(error + " (see lumivaxel frame --help)");
  if (args.Has("--help")) {
    PrintUsage("frame");
    return 0;
  }
  if (args.positional.size() != 1) return cli::Fail("frame needs one project file (see lumivaxel frame --help)");
  if (!args.Has("--output")) return cli::Fail("frame needs -o OUT.bmp or -o OUT.png");
  int ms = 0;
  if (!cli::SecondsToMs(args.Get("--at", "0"), &ms)) return cli::Fail("--at takes seconds, such as 2.5");

  vemoproject p;
  if (!OpenProject(p, args.positional[0], args)) return 1;
  KORSurface *picture = p.Compose(ms);
  if (!picture) return cli::Fail("the picture at " + args.Get("--at", "0") + " s could not be composed");
  if (!WritePicture(picture, args.Get("--output"), &error)) return cli::Fail(error);
  return 0;
}
