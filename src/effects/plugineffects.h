// Plugin effects (type 122): the wrappers effectVideoPlugin and effectAudioPlugin around an
// effect object made by a plugin library, and the scope in which loading binds them.
//
// Common principles:
// - A wrapper owns its plugin object and a reference of its own to the plugin's library, so it
//   stays usable, and is destroyed safely, even after the surface manager freed its lists.
// - The plugin's parameter records become ordinary keyframed variables of the effect; before
//   each call their values are written into the records (effect::SetPluginVars).
// - The effect record of a plugin effect names its library in the plugin parameter block:
//     offset 0  uint32  count of the block's bytes in use: 4 + name length + 1 (little-endian)
//     offset 4  char[]  the library's file name without folder, zero-terminated
//   The block's capacity is kBlockSize (264) bytes, so names of up to 259 characters. The
//   variables follow as in every effect record. A wrapper that was not bound when its record is
//   read binds the library named there; one whose library is not loaded stays unbound, keeps
//   the name (it is saved again) and leaves the picture as it is.
#pragma once

#include <cstdint>
#include <cstdio>

#include "effects/effect.h"
#include "media/plugin_abi.h"

// While one of these lives on a thread, the factories make plugin effects without asking for a
// plugin: the wrapper binds the library its record names when Load reads the record. Whoever
// creates effects in order to load their records (the project loader, clip duplication) holds
// one around that work. Scopes nest.
class effectloadscope {
 public:
  effectloadscope();
  ~effectloadscope();
  effectloadscope(const effectloadscope &) = delete;
  effectloadscope &operator=(const effectloadscope &) = delete;
  static bool Active();
};

// The binding shared by both wrappers: the plugin object and the library reference.
class pluginbinding {
 public:
  static constexpr uint32_t kBlockSize = 264;

  pluginbinding() = default;
  ~pluginbinding() { Release(); }
  pluginbinding(const pluginbinding &) = delete;
  pluginbinding &operator=(const pluginbinding &) = delete;

  // Makes a new object through the record's entry and takes a reference to its library; false
  // (nothing changes) when the record has no entry or the entry returns null.
  bool Bind(KORPlugin *plugin, bool video);
  // Destroys the object through its own slot and drops the library reference.
  void Release();
  effio *Object() const { return object; }

 private:
  effio *object = nullptr;
  void *library = nullptr;
};

class effectVideoPlugin : public effectVideo {
 public:
  static constexpr int kType = 122;

  effectVideoPlugin(clip *owner, vemowin *window, surface *surfaces);
  ~effectVideoPlugin() override;

  // The factory's maker: chooses a video effect plugin (the only one without asking, else
  // through the host's choice), and binds it; null when there is none, nothing was chosen or the
  // plugin offers no effect interface (told as "No Effect Interface"). Inside an
  // effectloadscope: an unbound wrapper, without asking.
  static effect *Create(clip *owner, vemowin *window, surface *surfaces);

  // Binds the plugin: creates its effect object, declares its parameters as variables and
  // names the library in the plugin block. False when the record is missing, has no entry, or
  // the entry returns no object.
  bool InitPlug(KORPlugin *plugin);
  // Writes the parameters, locks source then destination and lets the plugin process rc from
  // one into the other; the plugin's result. 0 when unbound or a surface cannot be locked.
  int Process(KORSurface *source, KORSurface *destination, RECT rc) override;
  // The effect record; an unbound wrapper binds the library the block names before the
  // variables are read.
  int Load(FILE *f) override;

  effio_video *GetPlugin() const { return static_cast<effio_video *>(binding.Object()); }
  // The library named in the plugin block; empty when none.
  const char *GetPluginName() const;

 private:
  pluginbinding binding;
};

class effectAudioPlugin : public effectAudio {
 public:
  static constexpr int kType = 122;

  effectAudioPlugin(clip *owner, vemowin *window, surface *surfaces);
  ~effectAudioPlugin() override;

  // As for video, from the audio effect plugins.
  static effect *Create(clip *owner, vemowin *window, surface *surfaces);
  bool InitPlug(KORPlugin *plugin);
  // The plugin is not called on this path: the input's whole frames are copied to the output
  // unchanged and 1 is returned.
  int Process(int16_t *in, int16_t *out, int count) override;
  int Load(FILE *f) override;

  effio_audio *GetPlugin() const { return static_cast<effio_audio *>(binding.Object()); }
  const char *GetPluginName() const;

 private:
  pluginbinding binding;
};
