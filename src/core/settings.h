// The per-user settings store: one text file of `name=value` lines per data set under
// $XDG_CONFIG_HOME/kor.vale.lab/ (default ~/.config). Writes go to a temporary file that is
// renamed over the data set, so a crash never leaves half a file.
#pragma once

#include <map>
#include <string>

namespace settings {

// The folder of the store: $XDG_CONFIG_HOME/kor.vale.lab (or ~/.config/kor.vale.lab).
std::string Root();

// Reads the data set into `values`; false when it does not exist or cannot be read.
bool ReadDataset(const std::string &file, std::map<std::string, std::string> &values);
// Writes the whole data set atomically; creates its folder when needed.
bool WriteDataset(const std::string &file, const std::map<std::string, std::string> &values);

// The file that holds a data set: sub-keys written with '\' or '/' become sub-folders;
// empty, "." and ".." parts are dropped so a name never leaves the store.
std::string DatasetPath(const std::string &root, const char *dataset);

// Writes `data` to `path` through a temporary file in the same folder and a rename.
bool WriteFileAtomically(const std::string &path, const std::string &data);

}  // namespace settings
