// Opening a project for a command: headless answers, messages on stderr.
#include <sys/stat.h>

#include <cstdio>

#include "app/cli.h"
#include "app/commands.h"
#include "core/dialogs.h"
#include "engine/project.h"

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
  return true;
}
