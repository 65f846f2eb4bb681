// Command-line parsing for the lumivaxel host.
#include "app/cli.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace cli {

std::string arguments::Get(const std::string &name, const std::string &fallback) const {
  auto it = values.find(name);
  return it == values.end() ? fallback : it->second;
}

bool Parse(int argc, char **argv, int first, const grammar &g, arguments &out, std::string *error) {
  for (int i = first; i < argc; ++i) {
    std::string word = argv[i];
    if (word.size() > 1 && word[0] == '-' && !(word.size() > 1 && (std::isdigit(static_cast<unsigned char>(word[1])) || word[1] == '.'))) {
      std::string value;
      bool inline_value = false;
      const size_t eq = word.find('=');
      if (word.rfind("--", 0) == 0 && eq != std::string::npos) {
        value = word.substr(eq + 1);
        word = word.substr(0, eq);
        inline_value = true;
      }
      auto alias = g.aliases.find(word);
      if (alias != g.aliases.end()) word = alias->second;
      if (g.switches.count(word) && !inline_value) {
        out.flags.insert(word);
        continue;
      }
      if (!g.valued.count(word)) {
        if (error) *error = "unknown option " + word;
        return false;
      }
      if (!inline_value) {
        if (i + 1 >= argc) {
          if (error) *error = "option " + word + " needs a value";
          return false;
        }
        value = argv[++i];
      }
      out.values[word] = value;
      out.every[word].push_back(value);
    } else {
      out.positional.push_back(word);
    }
  }
  return true;
}

bool SecondsToMs(const std::string &text, int *ms) {
  char *end = nullptr;
  const double seconds = std::strtod(text.c_str(), &end);
  if (text.empty() || end == text.c_str() || *end != 0 || !std::isfinite(seconds)) return false;
  const double value = std::trunc(seconds * 1000.0);
  if (value < -2147483648.0 || value > 2147483647.0) return false;
  *ms = static_cast<int>(value);
  return true;
}

int Fail(const std::string &message) {
  std::fprintf(stderr, "lumivaxel: %s\n", message.c_str());
  return 1;
}

}  // namespace cli
