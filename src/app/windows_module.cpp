// The preview and the editing window live in a module of their own (lib/lumivaxel/windows.so
// beside the library), loaded when one of them is asked for: every other command starts without
// loading the display and sound libraries and theirs, a few milliseconds each time.
#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <string>

#include "app/cli.h"
#include "app/commands.h"

namespace {

// The module in the tree the program runs from: bin/ and lib/ are siblings, built and installed.
std::string ModulePath() {
  char self[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n <= 0) return "";
  std::string path(self, size_t(n));
  path.erase(path.find_last_of('/') + 1);
  return path + "../" LUMIVAXEL_WINDOWS_MODULE;
}

}  // namespace

int CmdWindow(int argc, char **argv, int first) {
  const command *c = COMMANDS;
  while (c->name && std::strcmp(c->name, argv[first - 1])) ++c;
  if (!c->name) return cli::Fail(std::string("no window for ") + argv[first - 1]);
  const std::string path = ModulePath();
  void *module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module) return cli::Fail(std::string("the windows cannot be loaded: ") + dlerror());
  using entry = int (*)(const command *, int, char **, int);
  const auto run = reinterpret_cast<entry>(dlsym(module, "LumiVaxelWindowCommand"));
  if (!run) return cli::Fail(path + " is not this program's windows module");
  // The module stays loaded until the program ends: its windows' threads may outlive the call.
  return run(c, argc, argv, first);
}
