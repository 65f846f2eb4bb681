// Clip import: a media file opened into a clip by trying the readers in a fixed order, with the
// download of internet names and the questions about a missing file.
#include <strings.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/dialogs.h"
#include "core/download.h"
#include "engine/clip.h"
#include "engine/clipsource.h"
#include "media/imagecodecs.h"

namespace {

constexpr const char *kNotFound = "File Not Found!";
constexpr const char *kImportTitle = "Import Video Clip/Picture";
constexpr const char *kImportFilter = "*.avi;*.mov;*.wav;*.png;*.jpg;*.gif;*.bmp;*.mpg;*.mpeg;*.asf;*.vmp";

bool IsFile(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// Whether a loaded picture carries an alpha channel of its own. Loaders leave alpha 0 in
// pictures without one, so any other alpha byte shows a real channel (a wholly transparent
// picture is indistinguishable from one without alpha, and is taken as such).
bool HasOwnAlpha(KORSurface *s) {
  surf a;
  if (!surface::SurfaceDataLock(s, &a)) return false;
  bool found = false;
  for (int y = 0; y < a.height && !found; ++y) {
    const pix32 *row = a.bits + size_t(y) * a.pitch;
    for (int x = 0; x < a.width; ++x)
      if (row[x].a) {
        found = true;
        break;
      }
  }
  surface::SurfaceDataUnlock(&a);
  return found;
}

std::string BaseName(const std::string &path) {
  const size_t slash = path.rfind(PATH_SEPARATOR);
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string DirName(const std::string &path) {
  const size_t slash = path.rfind(PATH_SEPARATOR);
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// Downloads `url` into the temporary folder under its own file name; the local path, or empty.
std::string Download(const std::string &url) {
  std::string name = BaseName(url);
  const size_t cut = name.find_first_of("?#");
  if (cut != std::string::npos) name.resize(cut);
  if (name.empty() || name == "." || name == "..") return "";
  const char *tmp = std::getenv("TMPDIR");
  std::string local = tmp && *tmp ? tmp : "/tmp";
  if (local.back() != PATH_SEPARATOR) local += PATH_SEPARATOR;
  local += name;
  return DownloadToFile(url, local) ? local : "";
}

}  // namespace

int clip::AskForSave() {
  return Dialogs().AskYesNoCancel(nullptr, "Save Current Project ?", "Question", boxicon::question, IDYES);
}

// The questions about a missing file: a file of the same name in the project's folder, or
// else locating the file. True with the path to use; false when the user cancels.
bool clip::MissingFile(const char *file, std::string &use) {
  const std::string missing = file;
  const std::string project = GetProjectPath();
  HWND owner = GetWindow();
  if (!project.empty()) {
    const std::string namesake = DirName(project) + PATH_SEPARATOR + BaseName(missing);
    if (namesake != missing && IsFile(namesake)) {
      const std::string text = "Do you want to load\n\"" + namesake + "\"\n Instead of\n" + missing;
      if (Dialogs().MessageBox(owner, text.c_str(), kNotFound, boxbuttons::okcancel, boxicon::question) !=
          IDOK)
        return false;
      use = namesake;
      return true;
    }
  }
  const std::string text = "\"" + missing + "\"\n\nDo you want to locate this file?";
  if (Dialogs().MessageBox(owner, text.c_str(), kNotFound, boxbuttons::okcancel, boxicon::question) != IDOK)
    return false;
  std::string chosen;
  if (!Dialogs().FileDialog(owner, false, kImportTitle, kImportFilter, chosen) || !IsFile(chosen))
    return false;
  use = chosen;
  return true;
}

int clip::ClipImport(const char *file) {
  if (!file || !*file) return 0;
  if (GetRootClip()->messagefn) {
    const std::string text = std::string("Importing: ") + file;
    ProcessingMessage(text.c_str());
  }
  std::string path = file;
  if (strncasecmp(file, "http://", 7) == 0 || strncasecmp(file, "ftp://", 6) == 0) {
    path = Download(path);
    if (path.empty()) {
      mediamissing = true;
      return 0;
    }
  }
  if (!IsFile(path)) {
    std::string use;
    if (!MissingFile(path.c_str(), use)) {
      mediamissing = true;
      return 0;
    }
    path = use;
  }

  // The readers in a fixed order, whatever the file's extension: picture, WAVE, stream.
  KORSurface *still = surface::SurfaceLoad(path.c_str());
  rwav *w = still ? nullptr : mediareaders::WaveFileReadOpen(path.c_str());
  mmstream *m = still || w ? nullptr : mediareaders::StreamOpenRead(path.c_str());
  if (!still && !w && !m) {
    if (*SurfaceLoadFailure() && GetRootClip()->messagefn) {
      const std::string text = std::string(SurfaceLoadFailure()) + ": " + path;
      ProcessingMessage(text.c_str());
    }
    mediamissing = true;
    return 0;
  }

  CloseMedia();
  delete source;
  source = nullptr;
  FreeWorkSurfaces();
  // A media clip has no children: an arrangement that takes a medium gives its children up.
  ClipClearChildren();
  arrangement = false;
  block.sourcetype = CLIP_SRC_NONE;
  if (still) {
    frame = still;
    ownsframe = true;
  } else if (w) {
    wav = w;
  } else {
    stream = m;
    if (m->videovalid) frame = m->frame;
  }
  mediamissing = false;

  SetName(BaseName(path).c_str());
  SetFileName(path.c_str());
  SetIcon(path.c_str());

  ClipAddVarsSrcDstRect();
  TV_IDS_CLIP_VARS();
  TV_IDS_CLIPTIMEMAPPER();
  CTMReset();
  TV_IDS_START_OPACITY();
  // A picture with an alpha channel of its own keeps it: a pre-effect opacity of 0 leaves it
  // untouched, where the default of 1 would make it opaque. The user can still raise it.
  if (still && HasOwnAlpha(still)) {
    if (timefloat *tf = FindTimeFloat(clipvar::IDS_START_OPACITY)) {
      tf->Reset();
      tf->SetValue(0, 0.0);
      tf->Commit();
    }
  }

  if (wav)
    SetSize(wav->length);
  else if (stream)
    SetSize(stream->duration);
  if (CheckAudioStream()) AudioBufferAllocate(int(AudioFormat()->nAvgBytesPerSec));
  ResetCompositionCache();
  return 1;
}
