// The commands of the lumivaxel host. Each takes the words after its name, prints one clear
// line on failure and returns the exit status.
#pragma once

#include <string>

class vemoproject;

namespace cli {
struct arguments;
}

struct command {
  const char *name;
  const char *summary;
  const char *usage;  // the full --help text
  int (*run)(int argc, char **argv, int first);
};

// Every command, in the order `lumivaxel --help` lists them; ends with a null name.
extern const command COMMANDS[];
// Prints the --help text of the command of that name to stdout.
void PrintUsage(const char *name);

int CmdFrame(int argc, char **argv, int first);
int CmdInfo(int argc, char **argv, int first);
int CmdJoin(int argc, char **argv, int first);
int CmdFarm(int argc, char **argv, int first);
int CmdMake(int argc, char **argv, int first);
int CmdPlugins(int argc, char **argv, int first);
int CmdRun(int argc, char **argv, int first);
// "preview" and "edit": loads the windows module and runs the command there.
int CmdWindow(int argc, char **argv, int first);
// The windows module's commands (windows_entry.cpp).
int CmdPreview(int argc, char **argv, int first);
int CmdEdit(int argc, char **argv, int first);

// Loads the project at `path` into p, answering the engine's questions from --yes; prints the
// engine's messages about missing media. False with a message printed when it cannot be read.
bool OpenProject(vemoproject &p, const std::string &path, const cli::arguments &args);
