// `lumivaxel edit [PROJECT.vmp]`: the editing window.
#include <SDL.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "app/cli.h"
#include "app/commands.h"
#include "app/edit_window.h"
#include "core/dialogs.h"

namespace {

bool HasDisplay() {
  for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "SDL_VIDEODRIVER"}) {
    const char *v = std::getenv(name);
    if (v && *v) return true;
  }
  return false;
}

}  // namespace

int CmdEdit(int argc, char **argv, int first) {
  cli::grammar g;
  g.valued = {"--size", "--screenshot", "--at", "--select"};
  g.switches = {"--yes", "--verbose", "--help"};
  g.aliases = {{"-y", "--yes"}, {"-h", "--help"}};
  cli::arguments args;
  std::string error;
  if (!cli::Parse(argc, argv, first, g, args, &error))
    return cli::Fail(error + " (see lumivaxel edit --help)");
  if (args.Has("--help")) {
    PrintUsage("edit");
    return 0;
  }
  if (args.positional.size() > 1)
    return cli::Fail("edit takes at most one project file (see lumivaxel edit --help)");
  editoptions o;
  if (args.Has("--size")) {
    char tail = 0;
    if (std::sscanf(args.Get("--size").c_str(), "%dx%d%c", &o.width, &o.height, &tail) != 2 ||
        o.width < 640 || o.height < 420 || o.width > 16384 || o.height > 16384)
      return cli::Fail("--size takes the window's width and height, at least 640x420");
  }
  o.project = args.positional.empty() ? "" : args.positional[0];
  if (!cli::SecondsToMs(args.Get("--at", "0"), &o.at) || o.at < 0)
    return cli::Fail("--at takes seconds, such as 2.5");
  o.select = args.Get("--select", "");
  o.verbose = args.Has("--verbose");
  o.screenshot = args.Get("--screenshot", "");
  if (!HasDisplay()) return cli::Fail("edit needs a display, and neither DISPLAY nor WAYLAND_DISPLAY is set");
  if (SDL_Init(SDL_INIT_VIDEO) != 0) return cli::Fail(std::string("edit needs a display: ") + SDL_GetError());
  // While the project loads the engine's questions are answered from --yes; the window asks
  // its own afterwards.
  HeadlessDialogs().answer_yes = args.Has("--yes");
  int status = 1;
  {
    editwindow w;
    status = w.Run(o);
  }
  std::fflush(stdout);
  SDL_Quit();
  return status;
}
