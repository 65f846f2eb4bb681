// `lumivaxel preview PROJECT.vmp`: a window that plays the composite with its sound.
#include <SDL.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "app/cli.h"
#include "app/commands.h"
#include "app/preview_audio.h"
#include "app/preview_player.h"
#include "app/preview_window.h"
#include "engine/playqueue.h"
#include "engine/project.h"

namespace {

bool ParseSize(const std::string &text, int *w, int *h) {
  int x = 0, y = 0;
  char tail = 0;
  if (std::sscanf(text.c_str(), "%dx%d%c", &x, &y, &tail) != 2 || x < 16 || y < 16 || x > 16384 || y > 16384)
    return false;
  *w = x;
  *h = y;
  return true;
}

bool HasDisplay() {
  for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "SDL_VIDEODRIVER"}) {
    const char *v = std::getenv(name);
    if (v && *v) return true;
  }
  return false;
}

// The sound device when there is one; SDL's silent driver otherwise, so the clock still runs.
void InitSound() {
  if (SDL_InitSubSystem(SDL_INIT_AUDIO) == 0) return;
  std::fprintf(stderr, "lumivaxel: no sound (%s); playing silently\n", SDL_GetError());
  SDL_AudioInit("dummy");
}

}  // namespace

int CmdPreview(int argc, char **argv, int first) {
  cli::grammar g;
  g.valued = {"--at", "--size"};
  g.switches = {"--paused", "--yes", "--verbose", "--help"};
  g.aliases = {{"-y", "--yes"}, {"-h", "--help"}};
  cli::arguments args;
  std::string error;
  if (!cli::Parse(argc, argv, first, g, args, &error))
    return cli::Fail(error + " (see lumivaxel preview --help)");
  if (args.Has("--help")) {
    PrintUsage("preview");
    return 0;
  }
  if (args.positional.size() != 1)
    return cli::Fail("preview needs one project file (see lumivaxel preview --help)");
  int ms = 0, w = 0, h = 0;
  if (!cli::SecondsToMs(args.Get("--at", "0"), &ms) || ms < 0)
    return cli::Fail("--at takes seconds, such as 2.5");
  if (args.Has("--size") && !ParseSize(args.Get("--size"), &w, &h))
    return cli::Fail("--size takes the picture's width and height, such as 640x480");
  if (!HasDisplay())
    return cli::Fail("preview needs a display, and neither DISPLAY nor WAYLAND_DISPLAY is set");
  if (SDL_Init(SDL_INIT_VIDEO) != 0)
    return cli::Fail(std::string("preview needs a display: ") + SDL_GetError());

  int status = 1;
  {
    vemoproject p;
    if (OpenProject(p, args.positional[0], args)) {
      InitSound();
      const RECT r = p.Root()->GetSurfaceRectangle();
      if (!w) {
        w = r.right - r.left;
        h = r.bottom - r.top;
      }
      const std::string path = args.positional[0];
      const size_t slash = path.find_last_of('/');
      previewwindow window;
      if (!window.Open(slash == std::string::npos ? path : path.substr(slash + 1), w, h, &error)) {
        cli::Fail("the preview window could not be opened: " + error);
      } else {
        playqueue queue;
        previewaudio audio(&queue);
        previewplayer player(p, window, audio, queue);
        status = player.Run(ms, args.Has("--paused"));
        std::printf("preview: %d pictures shown, %d dropped, behind the sound by at most %d frame%s\n",
                    player.Shown(), player.Dropped(), player.MostBehind(),
                    player.MostBehind() == 1 ? "" : "s");
        std::fflush(stdout);  // before any exit-time checks of a sanitizer build
      }
    }
  }
  SDL_Quit();
  return status;
}
