// The plugin lists: loading plugin libraries, keeping their records in four lists, offering them
// for choice, finding export plugins by name or file type, and freeing the libraries.
//
// Common principles: a library is taken by the first entry procedure it exports, probed in the
// order export, video, audio; a file name (without folder) is loaded once, compared without
// regard to case, even when it turns up in another folder. Lists only grow, up to 128 records
// each, and their records never move. Failures are silent results (false, null).
#pragma once

#include <memory>

#include "media/plugin_abi.h"

class pluginlists {
 public:
  static constexpr int kMaxPlugins = 128;
  enum listkind { kImport = 0, kExport = 1, kVideo = 2, kAudio = 3 };

  pluginlists();
  // Destroys the export objects and frees every library.
  ~pluginlists();
  pluginlists(const pluginlists &) = delete;
  pluginlists &operator=(const pluginlists &) = delete;

  // Loads the library at `path` into the list of its kind. True when it was taken, or when a
  // library of that file name is loaded already; false when it cannot be loaded, exports no
  // entry, its entry returns null or the list is full (the library is freed again).
  bool LoadPlugin(const char *path);
  // Destroys the export objects and frees every library; the lists are empty afterwards.
  void FreeAll();

  KORPlugin *List(listkind kind) const { return lists[kind].get(); }
  int Count(listkind kind) const { return counts[kind]; }
  KORPlugin *Exports() const { return List(kExport); }
  int ExportCount() const { return Count(kExport); }
  KORPlugin *VideoEffects() const { return List(kVideo); }
  int VideoEffectCount() const { return Count(kVideo); }
  KORPlugin *AudioEffects() const { return List(kAudio); }
  int AudioEffectCount() const { return Count(kAudio); }

  // Offers the export plugins that can encode the requested kinds (through the host's choice
  // dialog); the chosen plugin's object, or null when both kinds are false, none is loaded or
  // offered, or nothing was chosen.
  imgio_export *PopExportTypes(HWND hwnd, bool video, bool audio);
  // Offers every record of the list by its description; the chosen record or null.
  static KORPlugin *PopPlugins(HWND hwnd, KORPlugin *list, int count);

  // The export plugin called `name`, compared without regard to case with its file name with or
  // without ".so", its extension with or without the dot, or its description; null when none.
  KORPlugin *FindExport(const char *name) const;
  // The first export plugin whose file types match the file's extension; null when none.
  KORPlugin *FindExportForFile(const char *path) const;
  // The record of the list whose file name equals `filename` without regard to case, or null.
  KORPlugin *FindByFileName(listkind kind, const char *filename) const;

 private:
  std::unique_ptr<KORPlugin[]> lists[4];
  int counts[4] = {};
};
