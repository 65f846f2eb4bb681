// Splitting text commands into arguments.
#include "core/commandline.h"

std::vector<std::string> SplitCommandLine(const char *line, size_t max_args) {
  std::vector<std::string> args;
  if (!line) return args;
  const char *p = line;
  while (*p && args.size() < max_args) {
    while (*p == ' ' || *p == '\t' || *p == '\r' || *p == '\n') ++p;
    if (!*p) break;
    std::string word;
    if (*p == '"') {
      for (++p; *p && *p != '"'; ++p) word += *p;
      if (*p == '"') ++p;
    } else {
      for (; *p && *p != ' ' && *p != '\t' && *p != '\r' && *p != '\n'; ++p) word += *p;
    }
    args.push_back(std::move(word));
  }
  return args;
}
