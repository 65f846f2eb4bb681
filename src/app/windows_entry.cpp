// The entry of the windows module (windows.so): the preview and the editing window with the
// display and sound libraries they need, loaded by the host only when one of them is asked for.
#include <cstdio>
#include <cstring>
#include <string>

#include "app/cli.h"
#include "app/commands.h"

namespace {
const char *usage_text = "";
}

// The host's --help text of the command being run, handed over by the entry below.
void PrintUsage(const char *) { std::fputs(usage_text, stdout); }

extern "C" __attribute__((visibility("default"))) int LumiVaxelWindowCommand(const command *c, int argc,
                                                                             char **argv, int first) {
  usage_text = c->usage;
  if (!std::strcmp(c->name, "preview")) return CmdPreview(argc, argv, first);
  if (!std::strcmp(c->name, "edit")) return CmdEdit(argc, argv, first);
  return cli::Fail(std::string("no window for ") + c->name);
}
