// The surface manager: creation and access of surfaces, the keyed cache and start-up.
#include "media/surface.h"

#include <dirent.h>
#include <dlfcn.h>
#include <limits.h>
#include <sys/mman.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/dialogs.h"
#include "core/vemowin.h"
#include "media/dc.h"
#include "media/logos.h"

namespace {

// Sides and total size beyond which a surface is refused rather than attempted: far above any
// picture the engine handles, low enough that width * height * 4 never overflows.
constexpr int kMaxSide = 32768;
constexpr size_t kMaxBytes = size_t(1) << 30;
// Blocks from this size on are mapped from the system rather than taken from the heap.
constexpr size_t kMapBytes = size_t(256) << 10;

surface::progress_fn &progress_callback() {
  static surface::progress_fn fn;
  return fn;
}

surface::plugin_fn &plugin_loader() {
  static surface::plugin_fn fn;
  return fn;
}

}  // namespace

int KORSurface::Release() {
  if (mapped)
    munmap(dds, mapped);
  else
    std::free(dds);
  dds = nullptr;
  delete this;
  return 0;
}

void surface::SetProgressCallback(progress_fn fn) { progress_callback() = std::move(fn); }
void surface::SetPluginLoader(plugin_fn fn) { plugin_loader() = std::move(fn); }

// ---- Creation and access ----

KORSurface *surface::SurfaceCreate(int w, int h) {
  if (w < 1 || h < 1 || w > kMaxSide || h > kMaxSide) return nullptr;
  const int pitch = (w + 3) & ~3;
  const size_t bytes = size_t(pitch) * size_t(h) * sizeof(pix32);
  if (bytes > kMaxBytes) return nullptr;
  KORSurface *s = new (std::nothrow) KORSurface{};
  if (!s) return nullptr;
  s->pitch = pitch;
  s->width = pitch;
  s->height = h;
  surfacedesc &d = s->desc;
  d.size = 108;
  d.flags =
      SURFACEDESC_CAPS | SURFACEDESC_HEIGHT | SURFACEDESC_WIDTH | SURFACEDESC_PITCH | SURFACEDESC_PIXELFORMAT;
  d.height = h;
  d.width = pitch;
  d.pitchbytes = pitch * int(sizeof(pix32));
  d.caps = SURFACECAPS_SYSTEMMEMORY | SURFACECAPS_OFFSCREENPLAIN | SURFACECAPS_OWNDC;
  d.format.size = 32;
  d.format.flags = PIXELFORMAT_RGB;
  d.format.bitcount = 32;
  d.format.rmask = 0x00FF0000;
  d.format.gmask = 0x0000FF00;
  d.format.bmask = 0x000000FF;
  d.format.amask = 0;
  // Rows start on 16-byte boundaries (pitch is a multiple of 4 pixels) and the block on a
  // cache line, so row loops can use aligned vector loads at their start.
  const size_t alloc = (bytes + 63) & ~size_t(63);
  void *mem = nullptr;
  if (alloc >= kMapBytes) {
    // Fresh pages from the system read as zero and take no memory until written: work
    // surfaces that a project never draws on (effects, scratch) cost nothing.
    mem = mmap(nullptr, alloc, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mem == MAP_FAILED) mem = nullptr;
    s->mapped = mem ? alloc : 0;
  } else if ((mem = std::aligned_alloc(64, alloc))) {
    std::memset(mem, 0, alloc);
  }
  if (!mem) {
    delete s;
    return nullptr;
  }
  s->dds = static_cast<pix32 *>(mem);
  s->width = w;
  return s;
}

void surface::SurfacePrefault(KORSurface *s) {
  if (!s || !s->mapped) return;  // a heap block was written when it was zeroed
  if (madvise(s->dds, s->mapped, MADV_POPULATE_WRITE) != 0)
    std::memset(static_cast<void *>(s->dds), 0, s->mapped);  // kernels before 5.14: write the zeros
}

int surface::SurfaceDelete(KORSurface *s) {
  if (!s) return 0;
  s->Release();
  return 1;
}

KORSurface *surface::SurfaceClone(KORSurface *s) {
  if (!s) return nullptr;
  KORSurface *c = SurfaceCreate(s->width, s->height);
  if (!c) return nullptr;
  SurfaceCopy(s, c);
  return c;
}

KORSurface *surface::SurfaceCrop(KORSurface *s, RECT r) {
  if (!s || r.left < 0 || r.top < 0 || r.right <= r.left || r.bottom <= r.top) return nullptr;
  KORSurface *c = SurfaceCreate(r.right - r.left, r.bottom - r.top);
  if (!c) return nullptr;
  surf a, b;
  if (!SurfaceDataLock(s, &a)) return c;
  if (s->height >= r.bottom && s->width >= r.right && SurfaceDataLock(c, &b)) {
    const size_t rowbytes = size_t(c->width) * sizeof(pix32);
    for (int y = 0; y < c->height; ++y)
      std::memcpy(b.bits + size_t(b.pitch) * y, a.bits + size_t(a.pitch) * (y + r.top) + r.left, rowbytes);
    SurfaceDataUnlock(&b);
    SurfaceDataUnlock(&a);
    return c;
  }
  SurfaceDataUnlock(&a);
  SurfaceDelete(c);
  return nullptr;
}

int surface::SurfaceDataLock(KORSurface *s, surf *sf) {
  if (!s || !sf) return 0;
  *sf = *s;
  if (!s->dds) return 0;
  sf->bits = s->dds;
  sf->desc.memory = s->dds;
  return 1;
}

int surface::SurfaceDataUnlock(surf *sf) {
  if (!sf) return 0;
  sf->bits = nullptr;
  sf->desc.memory = nullptr;
  return 1;
}

HDC surface::SurfaceGetDC(KORSurface *s, surf *sf) {
  if (!s || !sf) return nullptr;
  *sf = *s;
  if (!s->dds) return nullptr;
  // The context covers the allocated width (the pitch), not only the visible width.
  sf->hdc = new (std::nothrow) dc(s->dds, s->desc.width, s->height, s->pitch);
  return sf->hdc;
}

int surface::SurfaceReleaseDC(surf *sf) {
  if (!sf) return 0;
  delete sf->hdc;
  sf->hdc = nullptr;
  return 1;
}

int surface::WaitForVerticalBlank() {
  if (!CheckDirectX600()) return 0;
  using clock = std::chrono::steady_clock;
  constexpr int64_t kPeriodUs = 1000000 / 60;
  const int64_t now =
      std::chrono::duration_cast<std::chrono::microseconds>(clock::now().time_since_epoch()).count();
  std::this_thread::sleep_until(
      clock::time_point(std::chrono::microseconds((now / kPeriodUs + 1) * kPeriodUs)));
  return 1;
}

// ---- Render surfaces and the cache ----

int surface::RenderWidth() const { return render ? render->width : 0; }
int surface::RenderHeight() const { return render ? render->height : 0; }

RECT surface::SurfaceGetRect(const KORSurface *s) {
  if (!s) return RECT{};
  return RECT{0, 0, s->width, s->height};
}

KORSurface *surface::CacheSurfaceGet(int key) {
  if (key == 0) return nullptr;
  for (int i = 1; i < cachecount; ++i) {
    if (cachekeys[i] != key) continue;
    // A logo is drawn the first time it is asked for (see LoadLogos).
    if (!cachesurfaces[i] && (key == LOGO_KEY_FIRST || key == LOGO_KEY_SECOND))
      cachesurfaces[i] = MakeLogo(key == LOGO_KEY_FIRST ? 0 : 1);
    return cachesurfaces[i];
  }
  return nullptr;
}

bool surface::CacheSurfaceInsert(int key, KORSurface *s) {
  if (key == 0 || !s) return false;
  for (int i = 1; i < cachecount; ++i) {
    if (cachekeys[i] == key) {
      if (cachesurfaces[i] != s) SurfaceDelete(cachesurfaces[i]);
      cachesurfaces[i] = s;
      return true;
    }
  }
  // The engine never needs more entries; a full table refuses rather than overrun.
  if (cachecount >= CACHE_SIZE) {
    SurfaceDelete(s);
    return false;
  }
  cachekeys[cachecount] = key;
  cachesurfaces[cachecount] = s;
  ++cachecount;
  return true;
}

bool surface::CacheSurfaceCreate(int key, int w, int h) {
  if (key == 0) return false;
  return CacheSurfaceInsert(key, SurfaceCreate(w, h));
}

bool surface::CacheSurfaceLoad(int key, const char *path) {
  if (key == 0) return false;
  return CacheSurfaceInsert(key, SurfaceLoad(path));
}

// ---- Start-up and shut-down ----

void surface::Progress(const char *text) {
  if (progress_callback()) progress_callback()(text);
}

surface::surface(vemowin *ctx, HWND window) : owner(window), context(ctx) {
  surfaces = this;
  wincontext = ctx;
  this->window = window;

  Progress("Initializing AVI System");
  // Media libraries need no global start-up here; the readers open what they need.

  Progress("Initializing Direct Draw");
  // The surfaces live in our own memory; the backend is there unless even the two work
  // surfaces cannot be had, which is told like a missing display driver.
  render = SurfaceCreate(RENDER_WIDTH, RENDER_HEIGHT);
  work = SurfaceCreate(RENDER_WIDTH, RENDER_HEIGHT);
  backend = render && work;
  if (!backend)
    Dialogs().MessageBox(window, "No DirectDraw Interface found.....", "Error", boxbuttons::ok,
                         boxicon::exclamation);

  Progress("Initializing Surfaces");
  cachekeys[0] = 0;
  cachesurfaces[0] = render;
  cachekeys[1] = 0;
  cachesurfaces[1] = work;
  cachecount = 2;

  LoadLogos();
  FindPlugins();

  Progress("Initializing Internet Access");
}

surface::~surface() {
  for (int i = 0; i < cachecount; ++i) {
    SurfaceDelete(cachesurfaces[i]);
    cachesurfaces[i] = nullptr;
  }
  render = work = nullptr;
  cachecount = 0;
  plugins->FreeAll();
}

// The logos are drawn in code, so no temporary file is needed, and only when first asked for:
// their places in the cache are taken now, but drawing them starts the font machinery, which
// costs every start of the program a few milliseconds for pictures a make never shows.
void surface::LoadLogos() {
  for (int key : {LOGO_KEY_FIRST, LOGO_KEY_SECOND}) {
    if (cachecount >= CACHE_SIZE) return;
    cachekeys[cachecount] = key;
    cachesurfaces[cachecount++] = nullptr;
  }
}

// Every shared library in the program's folder, in the installed plugin folder beside this
// library (LIBDIR/lumivaxel/plugins, wherever the tree was unpacked), in the build tree's plugin
// folder when this library is the one built there, and in the folders of $LUMIVAXEL_PLUGIN_PATH
// (separated by ':') is offered to the plugin loader, each folder in name order. A name met
// again in a later folder is skipped by the loader.
void surface::FindPlugins() {
  std::vector<std::string> dirs;
  if (const char *exe = ExeDir()) dirs.emplace_back(exe);
  Dl_info self{};
  std::string libdir;
  if (dladdr(reinterpret_cast<void *>(&surface::SurfaceCreate), &self) && self.dli_fname) {
    char resolved[PATH_MAX];
    if (realpath(self.dli_fname, resolved)) libdir = resolved;
    const size_t slash = libdir.find_last_of(PATH_SEPARATOR);
    libdir = slash == std::string::npos ? std::string() : libdir.substr(0, slash);
  }
  if (!libdir.empty()) dirs.push_back(libdir + "/lumivaxel/plugins/");
#if defined(VEMO_PLUGIN_DIR) && defined(VEMO_BUILD_LIB_DIR)
  char built[PATH_MAX];
  if (!libdir.empty() && realpath(VEMO_BUILD_LIB_DIR, built) && libdir == built)
    dirs.emplace_back(VEMO_PLUGIN_DIR "/");
#endif
  if (const char *env = std::getenv("LUMIVAXEL_PLUGIN_PATH")) {
    std::string list = env;
    size_t start = 0;
    while (start <= list.size()) {
      size_t end = list.find(':', start);
      if (end == std::string::npos) end = list.size();
      std::string dir = list.substr(start, end - start);
      if (!dir.empty()) {
        if (dir.back() != PATH_SEPARATOR) dir += PATH_SEPARATOR;
        dirs.push_back(dir);
      }
      start = end + 1;
    }
  }
  for (const std::string &dir : dirs) {
    DIR *d = opendir(dir.c_str());
    if (!d) continue;
    std::vector<std::string> names;
    while (dirent *e = readdir(d)) {
      const size_t n = std::strlen(e->d_name);
      if (n > 3 && std::strcmp(e->d_name + n - 3, ".so") == 0) names.emplace_back(e->d_name);
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    char path[4096];
    for (const std::string &name : names) {
      std::snprintf(path, sizeof path, "%s%s", dir.c_str(), name.c_str());
      if (plugin_loader())
        plugin_loader()(*this, path);
      else
        LoadPlugin(path);
    }
  }
}

// ---- Plugins ----

bool surface::LoadPlugin(const char *path) { return plugins->LoadPlugin(path); }

imgio_export *surface::PopExportTypes(HWND hwnd, bool video, bool audio) {
  return plugins->PopExportTypes(hwnd, video, audio);
}

KORPlugin *surface::PopPlugins(HWND hwnd, KORPlugin *list, int count) {
  return pluginlists::PopPlugins(hwnd, list, count);
}
