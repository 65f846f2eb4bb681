// Plugin effects: binding a plugin library's effect object, its parameters as variables, the
// library's name in the effect record, and the per-frame call.
#include "effects/plugineffects.h"

#include <dlfcn.h>
#include <link.h>
#include <strings.h>

#include <cstring>
#include <new>
#include <string>

#include "core/byteorder.h"
#include "core/clock.h"
#include "core/dialogs.h"
#include "core/vemowin.h"
#include "media/surface.h"
#include "time/timefloat.h"

namespace {

thread_local int load_scope_depth = 0;

constexpr uint32_t kAllOnes = 0xFFFFFFFFu;

int ParamCount(const effio *p) {
  if (!p || p->paramcount < 0) return 0;
  return p->paramcount < effio::kMaxParams ? p->paramcount : effio::kMaxParams;
}

// The name the block holds: its bytes after the count up to a zero inside the part in use.
const char *BlockName(const effect &e) {
  const uint8_t *block = e.GetPluginBlock();
  const uint32_t size = e.GetPluginBlockSize();
  if (!block || size < 6) return "";
  const uint32_t count = byteorder::le32(block);
  if (count < 6 || count > size) return "";
  const void *end = std::memchr(block + 4, 0, count - 4);
  return end && end != block + 4 ? reinterpret_cast<const char *>(block + 4) : "";
}

void SetBlockName(effect &e, const std::string &name) {
  if (!e.GetPluginBlock() && !e.CreatePluginBlock(pluginbinding::kBlockSize)) return;
  uint8_t *block = e.GetPluginBlock();
  const uint32_t size = e.GetPluginBlockSize();
  std::memset(block, 0, size);
  if (name.empty() || name.size() + 5 > size) {
    byteorder::put_le32(block, 4);
    return;
  }
  std::memcpy(block + 4, name.c_str(), name.size() + 1);
  byteorder::put_le32(block, uint32_t(4 + name.size() + 1));
}

HWND WindowOf(vemowin *w) { return w ? w->GetWindow() : nullptr; }

pluginlists::listkind ListOf(bool video) { return video ? pluginlists::kVideo : pluginlists::kAudio; }

// The plugin for a new effect: none, the only one, or the one chosen from several.
KORPlugin *ChoosePlugin(vemowin *window, surface *surfaces, bool video) {
  if (!surfaces) return nullptr;
  pluginlists &lists = surfaces->Plugins();
  KORPlugin *list = lists.List(ListOf(video));
  const int count = lists.Count(ListOf(video));
  if (count < 1) return nullptr;
  if (count == 1) return list;
  return surfaces->PopPlugins(WindowOf(window), list, count);
}

template <class W>
effect *CreateWrapper(clip *owner, vemowin *window, surface *surfaces, bool video) {
  W *e = new (std::nothrow) W(owner, window, surfaces);
  if (!e) return nullptr;
  if (effectloadscope::Active()) return e;
  KORPlugin *plugin = ChoosePlugin(window, surfaces, video);
  if (!plugin) {
    delete e;
    return nullptr;
  }
  if (!e->InitPlug(plugin)) {
    Dialogs().MessageBox(WindowOf(window), "No Effect Interface", EffectName(W::kType), boxbuttons::ok,
                         boxicon::exclamation);
    delete e;
    return nullptr;
  }
  return e;
}

template <class W>
bool InitPlugOf(W &e, pluginbinding &binding, KORPlugin *plugin, bool video) {
  if (!binding.Bind(plugin, video)) return false;
  e.InitializePluginVars(binding.Object());
  SetBlockName(e, plugin->filename);
  return true;
}

// After the block was read: an unbound wrapper binds the library it names. A bound one follows
// the record to another library only when that one is loaded (the first one's variables stay
// declared, as variables are never removed); otherwise it keeps its library and its name.
template <class W>
void BindFromBlock(W &e, pluginbinding &binding, const std::string &before, bool video) {
  const std::string named = BlockName(e);
  KORPlugin *plugin = nullptr;
  if (!named.empty() && e.GetEffectSurface())
    plugin = e.GetEffectSurface()->Plugins().FindByFileName(ListOf(video), named.c_str());
  if (!binding.Object()) {
    if (plugin) e.InitPlug(plugin);
    return;
  }
  if (plugin && strcasecmp(named.c_str(), before.c_str()) != 0 && e.InitPlug(plugin)) return;
  SetBlockName(e, before);
}

}  // namespace

// ---- Load scope ----

effectloadscope::effectloadscope() { ++load_scope_depth; }
effectloadscope::~effectloadscope() { --load_scope_depth; }
bool effectloadscope::Active() { return load_scope_depth > 0; }

// ---- Binding ----

bool pluginbinding::Bind(KORPlugin *plugin, bool video) {
  // Export records carry their object; their entry makes no effect.
  if (!plugin || !plugin->entry || plugin->object) return false;
  effio *made = nullptr;
  try {
    made = video ? static_cast<effio *>(reinterpret_cast<LumiVaxelVideoPluginProc>(plugin->entry)())
                 : static_cast<effio *>(reinterpret_cast<LumiVaxelAudioPluginProc>(plugin->entry)());
  } catch (...) {
    made = nullptr;
  }
  if (!made) return false;
  // A reference of our own: the library stays loaded until this object is gone, whatever the
  // order in which the lists and the effects are freed.
  void *lib = nullptr;
  link_map *map = nullptr;
  if (plugin->library && dlinfo(plugin->library, RTLD_DI_LINKMAP, &map) == 0 && map && map->l_name)
    lib = dlopen(map->l_name, RTLD_NOW | RTLD_NOLOAD);
  Release();
  object = made;
  library = lib;
  return true;
}

void pluginbinding::Release() {
  if (object) object->SelfDestruct();
  object = nullptr;
  if (library) dlclose(library);
  library = nullptr;
}

// ---- Parameters and variables ----

void effect::InitializePluginVars(effio *plugin) {
  const int n = ParamCount(plugin);
  for (int i = 0; i < n; ++i) {
    const effioparam &p = plugin->params[i];
    if (!p.key) continue;
    const int kind = ((p.flags & EFFIO_PARAM_GROUP) ? 7 : 0) | ((p.flags & EFFIO_PARAM_SWITCH) ? 8 : 0);
    tfmgr.timefloatadd(p.key, p.id, p.minimum, p.maximum, p.defaultvalue, kAllOnes, kAllOnes, kind);
  }
}

void effect::SetPluginVars(effio *plugin) {
  const int n = ParamCount(plugin);
  // The clock rather than the clip time: a plugin's animated parameter follows the tick count.
  const int now = int(TickCount());
  for (int i = 0; i < n; ++i) {
    effioparam &p = plugin->params[i];
    timefloat *v = p.key ? tfmgr.GetTimeFloatPointer(p.key) : nullptr;
    p.value = v ? v->GetValue(now) : p.defaultvalue;
  }
}

// ---- effectVideoPlugin ----

effectVideoPlugin::effectVideoPlugin(clip *owner, vemowin *window, surface *surfaces) {
  initEffect(owner, window, surfaces);
  SetID(kType);
  CreatePluginBlock(pluginbinding::kBlockSize);
}

effectVideoPlugin::~effectVideoPlugin() {
  binding.Release();
  tfReset();
}

effect *effectVideoPlugin::Create(clip *owner, vemowin *window, surface *surfaces) {
  return CreateWrapper<effectVideoPlugin>(owner, window, surfaces, true);
}

bool effectVideoPlugin::InitPlug(KORPlugin *plugin) { return InitPlugOf(*this, binding, plugin, true); }

int effectVideoPlugin::Process(KORSurface *source, KORSurface *destination, RECT rc) {
  effio_video *plugin = GetPlugin();
  if (!plugin) return 0;
  SetPluginVars(plugin);
  surf s, d;
  if (!surface::SurfaceDataLock(source, &s)) return 0;
  if (!surface::SurfaceDataLock(destination, &d)) {
    surface::SurfaceDataUnlock(&s);
    return 0;
  }
  surf32 from{s.width, s.height, s.pitch, s.bits};
  surf32 to{d.width, d.height, d.pitch, d.bits};
  const int result = plugin->Process(&from, &to, rc);
  surface::SurfaceDataUnlock(&s);
  surface::SurfaceDataUnlock(&d);
  return result;
}

int effectVideoPlugin::Load(FILE *f) {
  if (!f) return 0;
  const std::string before = GetPluginName();
  int ok = LoadPluginBlock(f);
  BindFromBlock(*this, binding, before, true);
  if (!tfLoad(f)) ok = 0;
  return ok;
}

const char *effectVideoPlugin::GetPluginName() const { return BlockName(*this); }

// ---- effectAudioPlugin ----

effectAudioPlugin::effectAudioPlugin(clip *owner, vemowin *window, surface *surfaces) {
  initEffect(owner, window, surfaces);
  SetID(kType);
  CreatePluginBlock(pluginbinding::kBlockSize);
}

effectAudioPlugin::~effectAudioPlugin() {
  binding.Release();
  tfReset();
}

effect *effectAudioPlugin::Create(clip *owner, vemowin *window, surface *surfaces) {
  return CreateWrapper<effectAudioPlugin>(owner, window, surfaces, false);
}

bool effectAudioPlugin::InitPlug(KORPlugin *plugin) { return InitPlugOf(*this, binding, plugin, false); }

int effectAudioPlugin::Process(int16_t *in, int16_t *out, int count) {
  // The chain goes on with the work buffer: the sound is handed on unchanged rather than
  // whatever the buffer held before.
  if (in && out && in != out && count > 0) std::memmove(out, in, size_t(count / 4) * 4);
  return 1;
}

int effectAudioPlugin::Load(FILE *f) {
  if (!f) return 0;
  const std::string before = GetPluginName();
  int ok = LoadPluginBlock(f);
  BindFromBlock(*this, binding, before, false);
  if (!tfLoad(f)) ok = 0;
  return ok;
}

const char *effectAudioPlugin::GetPluginName() const { return BlockName(*this); }
