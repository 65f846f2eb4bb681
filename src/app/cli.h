// Command-line parsing for the lumivaxel host: positional words, "--name value" options and
// "--flag" switches, with one clear error line for anything unknown or malformed.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace cli {

// What a command accepts: options that take a value (with their short aliases, e.g. "-o") and
// bare switches.
struct grammar {
  std::set<std::string> valued;    // "--at", "-o", ...
  std::set<std::string> switches;  // "--yes", "--help", ...
  std::map<std::string, std::string> aliases;  // "-o" -> "--output"
};

struct arguments {
  std::vector<std::string> positional;
  std::map<std::string, std::string> values;       // the last value of each option
  std::map<std::string, std::vector<std::string>> every;  // every value, for options given again
  std::set<std::string> flags;

  bool Has(const std::string &name) const { return values.count(name) || flags.count(name); }
  std::string Get(const std::string &name, const std::string &fallback = "") const;
};

// Parses argv[first..argc) by the grammar; false with a message in *error on a bad word.
bool Parse(int argc, char **argv, int first, const grammar &g, arguments &out, std::string *error);

// Seconds as typed ("2.5") to milliseconds, truncated toward zero as the engine reads times;
// false when the text is not a number or lies outside the clip-time range.
bool SecondsToMs(const std::string &text, int *ms);

// Prints "lumivaxel: <message>" to stderr and returns the exit status for a failure (1).
int Fail(const std::string &message);

}  // namespace cli
