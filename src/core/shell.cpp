// Shell registration: the project file type as a freedesktop MIME type with a desktop entry,
// and a small class-key store that mirrors what was registered.
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
  char command[600];
  std::snprintf(command, sizeof command, "%s %s", (std::string(ExeDir()) + "lumivaxel").c_str(), "%1");
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
                                    ExecQuoted(std::string(ExeDir()) + "lumivaxel") + " preview %f\n" +
                                    "MimeType=" + kProjectMime +
                                    ";\n"
                                    "Terminal=false\n"
                                    "Categories=AudioVideo;Video;\n");
  return true;
}
