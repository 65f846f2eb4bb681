// Folders, temporary files, numbered file names, dates and handing files to the desktop.
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/vemo.h"

extern char **environ;

namespace {

char g_exedir[512];
std::string g_appdir;
int g_numbering_folder = 0;

bool IsFolder(const char *path) {
  struct stat st;
  return ::stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

bool Exists(const char *path) {
  struct stat st;
  return ::stat(path, &st) == 0;
}

// Starts a desktop helper without waiting; false when there is no desktop session to ask.
bool SpawnDesktop(const char *program, const char *argument) {
  if (!argument || !*argument) return false;
  if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY")) return false;
  pid_t pid;
  char *argv[] = {const_cast<char *>(program), const_cast<char *>(argument), nullptr};
  return posix_spawnp(&pid, program, nullptr, nullptr, argv, environ) == 0;
}

}  // namespace

char *vemo::ExeDir() {
  char path[sizeof g_exedir];
  ssize_t n = ::readlink("/proc/self/exe", path, sizeof path - 1);
  if (n < 0) n = 0;
  path[n] = 0;
  char *slash = std::strrchr(path, PATH_SEPARATOR);
  if (slash) slash[1] = 0;
  std::memcpy(g_exedir, path, std::strlen(path) + 1);
  return g_exedir;
}

char *vemo::AppDir() { return g_appdir.data(); }

void vemo::SetAppDir(const char *dir) { g_appdir = dir ? dir : ""; }

FILE *vemo::OpenTempFile(const char *name, const char *mode) {
  const char *tmp = std::getenv("TMPDIR");
  std::string path = tmp && *tmp ? tmp : "/tmp";
  if (path.size() > 260) return nullptr;
  if (path.back() != PATH_SEPARATOR) path += PATH_SEPARATOR;
  path += name ? name : "";
  return std::fopen(path.c_str(), mode);
}

bool vemo::ReadWholeFile(const char *path, std::vector<uint8_t> &bytes, size_t max_bytes) {
  FILE *f = std::fopen(path, "rb");
  if (!f) return false;
  bool ok = std::fseek(f, 0, SEEK_END) == 0;
  const long end = ok ? std::ftell(f) : -1;
  ok = ok && end >= 0 && size_t(end) <= max_bytes && std::fseek(f, 0, SEEK_SET) == 0;
  if (ok) {
    bytes.resize(size_t(end));
    ok = std::fread(bytes.data(), 1, bytes.size(), f) == bytes.size();
  }
  std::fclose(f);
  return ok;
}

void vemo::SetNumberingFolder(int folder) { g_numbering_folder = folder; }
int vemo::GetNumberingFolder() { return g_numbering_folder; }

bool vemo::MakeFileName(char kind, int number, const char *ext, char *dst) {
  std::sprintf(dst, "%d%c%c%07d%s", g_numbering_folder, PATH_SEPARATOR, kind, number, ext ? ext : "");
  return true;
}

bool vemo::MakeUrlName(const char *base, char kind, int number, const char *ext, char *dst) {
  std::sprintf(dst, "%s%d/%c%07d%s", base ? base : "", g_numbering_folder, kind, number, ext ? ext : "");
  return true;
}

int vemo::MakeDirectory(char *path) {
  if (!path || !*path) return 0;
  if (Exists(path) && !IsFolder(path)) return 0;
  const size_t len = std::strlen(path);
  std::string prefix;
  for (size_t i = 0; i <= len; ++i) {
    const char c = path[i];
    if (c == PATH_SEPARATOR || c == 0) {
      // The root "/" (an empty prefix) always exists.
      if (!prefix.empty() && ::mkdir(prefix.c_str(), 0755) != 0 && !IsFolder(prefix.c_str())) return 0;
    }
    if (c) prefix += c;
  }
  if (path[len - 1] != PATH_SEPARATOR) {
    path[len] = PATH_SEPARATOR;
    path[len + 1] = 0;
  }
  return IsFolder(path) ? 1 : 0;
}

void vemo::removelastchar(char *s, char c) {
  if (!s) return;
  const size_t n = std::strlen(s);
  if (n > 0 && s[n - 1] == c) s[n - 1] = 0;
}

int vemo::EditFile(HWND, const char *file, const char *) {
  SpawnDesktop("xdg-open", file);
  return 1;
}

int vemo::ShellOpenFile(const char *path) { return SpawnDesktop("xdg-open", path) ? 1 : 0; }

int vemo::ShellExploreDir(const char *path) { return SpawnDesktop("xdg-open", path) ? 1 : 0; }

tm vemo::GetToday() {
  time_t now = std::time(nullptr);
  tm local{};
  localtime_r(&now, &local);
  return local;
}

int vemo::GetDateString(const tm *t, char *dst) {
  char buffer[64];
  asctime_r(t, buffer);  // "Sun Nov 22 15:26:00 2026\n"
  const size_t n = std::strlen(buffer);
  std::memcpy(dst, buffer, n + 1);
  return static_cast<int>(n);
}

int vemo::GetDateStringToday(char *dst) {
  tm today = GetToday();
  return GetDateString(&today, dst);
}
