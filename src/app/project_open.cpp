// Opening a project for a command: headless answers, messages on stderr.
#include <sys/stat.h>

#include <cstdio>

#include "app/cli.h"
#include "app/commands.h"
#include "core/dialogs.h"
#include "engine/clip.h"
#include "engine/project.h"

namespace {

// A medium that is there but could not be read shows as missing in every picture: one line each,
// so the user knows why. (A medium that is not there at all has already been asked about.)
void WarnUnreadableMedia(const clip *c) {
  const char *file = c->GetFileName();
  struct stat st;
  if (c->IsMediaMissing() && file && file[0] && ::stat(file, &st) == 0)
    std::fprintf(stderr,
                 "lumivaxel: warning: %s cannot be read (damaged, cut short or of a type not read here)\n",
                 file);
  for (int i = 0; i < c->GetChildCount(); ++i) WarnUnreadableMedia(c->GetChild(i));
}

}  // namespace

bool OpenProject(vemoproject &p, const std::string &path, const cli::arguments &args) {
  HeadlessDialogs().answer_yes = args.Has("--yes");
  if (!p.Ok()) {
    cli::Fail("the picture surfaces could not be created");
    return false;
  }
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) {
    cli::Fail("no such project: " + path);
    return false;
  }
  if (args.Has("--verbose")) p.SetMessages([](const char *text) { std::fprintf(stderr, "%s\n", text); });
  if (!p.Load(path.c_str())) {
    cli::Fail("not a readable project (damaged or of a newer version): " + path);
    return false;
  }
  WarnUnreadableMedia(p.Root());
  return true;
}
