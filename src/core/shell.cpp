// Shell registration: the project file type as a freedesktop MIME type with a desktop entry,
// and a small class-key store that mirrors what was registered.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "core/settings.h"
#include "core/vemo.h"

namespace {

std::string DataHome() {
  const char *xdg = std::getenv("XDG_DATA_HOME");
  if (xdg && *xdg) return xdg;
  const char *home = std::getenv("HOME");
  return std::string(home && *home ? home : "/tmp") + "/.local/share";
}

constexpr const char *kProjectMime = "application/x-lumi-vaxel-project";

std::string ProgramPath() {
  char path[4096];
  const ssize_t n = ::readlink("/proc/self/exe", path, sizeof path - 1);
  return n > 0 ? std::string(path, size_t(n)) : std::string("lumivaxel");
}

// The program for a desktop entry's Exec line: quoted, so a folder with spaces works. Inside
// the quotes `"`, `` ` ``, `$` and `\` take a backslash, and every backslash is doubled once
// more because the entry's values are escaped strings themselves ("\\$", "\\\\").
std::string ExecQuoted(const std::string &program) {
  std::string q = "\"";
  for (char c : program) {
    if (c == '"' || c == '`' || c == '$') q += "\\\\";
    if (c == '\\') q += "\\\\\\";
    q += c;
  }
  return q + "\"";
}

}  // namespace

int vemo::SetShellString(const char *key, const char *name, const char *value) {
  if (!key) return 0;
  const std::string file = settings::DatasetPath(DataHome() + "/kor.vale.lab/classes", key);
  std::map<std::string, std::string> values;
  settings::ReadDataset(file, values);
  values[name ? name : "@"] = value ? value : "";  // "@" is the key's default value
  return settings::WriteDataset(file, values) ? 1 : 0;
}

bool vemo::SetShellExtensions() {
  // The running program's own path: whichever host registers the type opens its projects.
  const std::string program = ProgramPath();
  char command[600];
  std::snprintf(command, sizeof command, "%s %s", program.c_str(), "%1");
  SetShellString("Lumi-Vaxel.Project.File\\shell\\open\\command", nullptr, command);
  SetShellString(".vmp", nullptr, "Lumi-Vaxel.Project.File");

  const std::string data = DataHome();
  settings::WriteFileAtomically(data + "/mime/packages/lumi-vaxel.xml",
                                std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                            "<mime-info xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\">\n"
                                            "  <mime-type type=\"") +
                                    kProjectMime +
                                    "\">\n"
                                    "    <comment>Lumi-Vaxel project</comment>\n"
                                    "    <glob pattern=\"*.vmp\"/>\n"
                                    "  </mime-type>\n"
                                    "</mime-info>\n");
  settings::WriteFileAtomically(data + "/applications/lumi-vaxel.desktop",
                                std::string("[Desktop Entry]\n"
                                            "Type=Application\n"
                                            "Name=Lumi-Vaxel\n"
                                            "Comment=Media compositor\n"
                                            "Exec=") +
                                    ExecQuoted(program) + " preview %f\n" + "MimeType=" + kProjectMime +
                                    ";\n"
                                    "Terminal=false\n"
                                    "Categories=AudioVideo;Video;\n");
  return true;
}
