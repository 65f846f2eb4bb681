// The per-user settings store and its atomic file writes.
#include "core/settings.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/vemo.h"

namespace settings {

namespace {

std::string HomeFolder(const char *xdg_variable, const char *fallback) {
  const char *xdg = std::getenv(xdg_variable);
  if (xdg && *xdg) return xdg;
  const char *home = std::getenv("HOME");
  return std::string(home && *home ? home : "/tmp") + "/" + fallback;
}

// Values may hold any byte but newline and backslash are escaped so a line stays a line.
std::string Escape(const std::string &s) {
  std::string out;
  for (char c : s) {
    if (c == '\\') out += "\\\\";
    else if (c == '\n') out += "\\n";
    else if (c == '\r') out += "\\r";
    else out += c;
  }
  return out;
}

std::string Unescape(const std::string &s) {
  std::string out;
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\\' && i + 1 < s.size()) {
      char n = s[++i];
      out += n == 'n' ? '\n' : n == 'r' ? '\r' : n;
    } else {
      out += s[i];
    }
  }
  return out;
}

}  // namespace

std::string Root() { return HomeFolder("XDG_CONFIG_HOME", ".config") + "/kor.vale.lab"; }

std::string DatasetPath(const std::string &root, const char *dataset) {
  std::string path = root;
  std::string part;
  auto flush = [&] {
    if (!part.empty() && part != "." && part != "..") path += "/" + part;
    part.clear();
  };
  for (const char *p = dataset ? dataset : ""; *p; ++p) {
    if (*p == '\\' || *p == '/') flush();
    else part += *p;
  }
  flush();
  if (path == root) path += "/default";
  return path;
}

bool ReadDataset(const std::string &file, std::map<std::string, std::string> &values) {
  std::ifstream in(file);
  if (!in) return false;
  std::string line;
  while (std::getline(in, line)) {
    const size_t eq = line.find('=');
    if (eq == std::string::npos) continue;
    values[Unescape(line.substr(0, eq))] = Unescape(line.substr(eq + 1));
  }
  return true;
}

bool WriteFileAtomically(const std::string &path, const std::string &data) {
  std::error_code ec;
  const std::filesystem::path target(path);
  if (target.has_parent_path()) std::filesystem::create_directories(target.parent_path(), ec);
  std::string temp = path + ".XXXXXX";
  int fd = mkstemp(temp.data());
  if (fd < 0) return false;
  const char *p = data.data();
  size_t left = data.size();
  bool ok = true;
  while (left > 0) {
    ssize_t n = ::write(fd, p, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      ok = false;
      break;
    }
    p += n;
    left -= static_cast<size_t>(n);
  }
  ok = ok && ::fsync(fd) == 0;
  ok = (::close(fd) == 0) && ok;
  if (ok) ok = std::rename(temp.c_str(), path.c_str()) == 0;
  if (!ok) ::unlink(temp.c_str());
  return ok;
}

bool WriteDataset(const std::string &file, const std::map<std::string, std::string> &values) {
  std::ostringstream out;
  for (const auto &[name, value] : values) out << Escape(name) << '=' << Escape(value) << '\n';
  return WriteFileAtomically(file, out.str());
}

}  // namespace settings

int vemo::GetDatasetValue(const char *dataset, const char *name, char *value, int capacity) {
  if (value && capacity > 0) value[0] = 0;
  if (!name || !value || capacity <= 0) return 0;
  std::map<std::string, std::string> values;
  if (!settings::ReadDataset(settings::DatasetPath(settings::Root(), dataset), values)) return 0;
  auto it = values.find(name);
  if (it == values.end() || it->second.size() + 1 > static_cast<size_t>(capacity)) return 0;
  std::memcpy(value, it->second.c_str(), it->second.size() + 1);
  return static_cast<int>(it->second.size());
}

int vemo::SetDatasetValue(const char *dataset, const char *name, const char *value) {
  if (!name) return 0;
  const std::string file = settings::DatasetPath(settings::Root(), dataset);
  std::map<std::string, std::string> values;
  settings::ReadDataset(file, values);
  values[name] = value ? value : "";
  return settings::WriteDataset(file, values) ? 1 : 0;
}
