// The plugin lists: dlopen/dlsym loading by entry procedure, choice through the host's dialogs,
// lookup of export plugins, and freeing at shut-down.
#include "media/plugins.h"

#include <dlfcn.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "core/dialogs.h"

namespace {

const char *BaseName(const char *path) {
  const char *slash = std::strrchr(path, '/');
  return slash ? slash + 1 : path;
}

bool CopyName(char *dst, size_t size, const char *src) {
  const size_t n = std::strlen(src);
  if (n >= size) return false;
  std::memcpy(dst, src, n + 1);
  return true;
}

// Calls an entry procedure; an exception escaping a plugin counts as no object.
template <typename T>
T *CallEntry(void *entry) {
  try {
    return reinterpret_cast<T *(*)()>(entry)();
  } catch (...) {
    return nullptr;
  }
}

bool EqualNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

pluginlists::pluginlists() {
  for (auto &list : lists) list = std::make_unique<KORPlugin[]>(kMaxPlugins);
}

pluginlists::~pluginlists() { FreeAll(); }

bool pluginlists::LoadPlugin(const char *path) {
  if (!path || !path[0]) return false;
  const char *name = BaseName(path);
  // A file name already taken from any folder is not loaded again.
  for (int kind = 0; kind < 4; ++kind)
    if (FindByFileName(listkind(kind), name)) return true;
  if (std::strlen(name) >= size_t(KORPlugin::kNameSize)) return false;

  void *library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!library) return false;

  // Only the first entry found counts, so a library exporting several is one kind of plugin.
  if (void *entry = dlsym(library, kExportPluginEntry)) {
    imgio_export *object = counts[kExport] < kMaxPlugins ? CallEntry<imgio_export>(entry) : nullptr;
    if (!object) {
      dlclose(library);
      return false;
    }
    KORPlugin &rec = lists[kExport][counts[kExport]];
    rec = KORPlugin{};
    rec.library = library;
    rec.entry = entry;
    rec.object = object;
    CopyName(rec.filename, sizeof rec.filename, name);
    CopyName(rec.description, sizeof rec.description, object->GetDescription());
    ++counts[kExport];
    return true;
  }
  // An effect object is made only to read its description; the effect made later for a clip is
  // a fresh one from the same entry.
  const struct {
    const char *entryname;
    listkind kind;
  } effects[] = {{kVideoPluginEntry, kVideo}, {kAudioPluginEntry, kAudio}};
  for (const auto &e : effects) {
    void *entry = dlsym(library, e.entryname);
    if (!entry || counts[e.kind] >= kMaxPlugins) continue;
    effio *object = e.kind == kVideo ? static_cast<effio *>(CallEntry<effio_video>(entry))
                                     : static_cast<effio *>(CallEntry<effio_audio>(entry));
    if (!object) continue;
    KORPlugin &rec = lists[e.kind][counts[e.kind]];
    rec = KORPlugin{};
    CopyName(rec.description, sizeof rec.description, object->GetDescription());
    object->SelfDestruct();
    rec.library = library;
    rec.entry = entry;
    rec.object = nullptr;
    CopyName(rec.filename, sizeof rec.filename, name);
    ++counts[e.kind];
    return true;
  }
  dlclose(library);
  return false;
}

void pluginlists::FreeAll() {
  // Export objects first: their destructors close what they still have open, with their code
  // still loaded.
  for (int kind = 3; kind >= 0; --kind) {
    for (int i = counts[kind] - 1; i >= 0; --i) {
      KORPlugin &rec = lists[kind][i];
      if (rec.object) rec.object->SelfDestruct();
      rec.object = nullptr;
      if (rec.library) dlclose(rec.library);
      rec = KORPlugin{};
    }
    counts[kind] = 0;
  }
}

imgio_export *pluginlists::PopExportTypes(HWND hwnd, bool video, bool audio) {
  if ((!video && !audio) || counts[kExport] == 0) return nullptr;
  std::vector<std::string> entries;
  std::vector<int> index;
  for (int i = 0; i < counts[kExport]; ++i) {
    imgio_export *object = lists[kExport][i].object;
    if (object && object->CanEncode(audio, video)) {
      entries.emplace_back(lists[kExport][i].description);
      index.push_back(i);
    }
  }
  if (entries.empty()) return nullptr;
  const int chosen = Dialogs().Choose(hwnd, "Output Type", entries);
  if (chosen < 1 || chosen > int(index.size())) return nullptr;
  return lists[kExport][index[chosen - 1]].object;
}

KORPlugin *pluginlists::PopPlugins(HWND hwnd, KORPlugin *list, int count) {
  if (!list || count < 1) return nullptr;
  std::vector<std::string> entries;
  for (int i = 0; i < count; ++i) entries.emplace_back(list[i].description);
  const int chosen = Dialogs().Choose(hwnd, "Plugin Effects", entries);
  return chosen >= 1 && chosen <= count ? &list[chosen - 1] : nullptr;
}

KORPlugin *pluginlists::FindExport(const char *name) const {
  if (!name || !name[0]) return nullptr;
  const std::string_view want(name);
  for (int i = 0; i < counts[kExport]; ++i) {
    KORPlugin &rec = lists[kExport][i];
    std::string_view file(rec.filename);
    if (EqualNoCase(file, want)) return &rec;
    if (file.size() > 3 && EqualNoCase(file.substr(file.size() - 3), ".so") &&
        EqualNoCase(file.substr(0, file.size() - 3), want))
      return &rec;
    if (rec.object) {
      std::string_view ext(rec.object->GetExtension());
      if (!ext.empty() && (EqualNoCase(ext, want) || (ext[0] == '.' && EqualNoCase(ext.substr(1), want))))
        return &rec;
    }
    if (EqualNoCase(rec.description, want)) return &rec;
  }
  return nullptr;
}

KORPlugin *pluginlists::FindExportForFile(const char *path) const {
  if (!path) return nullptr;
  const char *base = BaseName(path);
  const char *dot = std::strrchr(base, '.');
  if (!dot || !dot[1]) return nullptr;
  const std::string_view ext(dot);  // ".avi"
  for (int i = 0; i < counts[kExport]; ++i) {
    KORPlugin &rec = lists[kExport][i];
    if (!rec.object) continue;
    if (EqualNoCase(rec.object->GetExtension(), ext)) return &rec;
    // Patterns such as "*.png;*.bmp": each names one extension after its "*".
    std::string_view types(rec.object->GetFileTypes());
    while (!types.empty()) {
      const size_t end = std::min(types.find(';'), types.size());
      std::string_view pattern = types.substr(0, end);
      if (!pattern.empty() && pattern[0] == '*' && EqualNoCase(pattern.substr(1), ext)) return &rec;
      types.remove_prefix(end == types.size() ? end : end + 1);
    }
  }
  return nullptr;
}

KORPlugin *pluginlists::FindByFileName(listkind kind, const char *filename) const {
  if (!filename) return nullptr;
  for (int i = 0; i < counts[kind]; ++i)
    if (strcasecmp(lists[kind][i].filename, filename) == 0) return &lists[kind][i];
  return nullptr;
}
