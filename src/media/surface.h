// Pixel surfaces: the KORSurface record, its lock record surf, and the surface manager with its
// cache, its direct pixel operations, its drawing-context operations and its image files.
//
// Common principles of the operations below:
// - A surface holds 32-bit pix32 pixels, rows top-down. `pitch` is the row stride in pixels: the
//   requested width rounded up to a multiple of 4. `width` is what was asked for; loops run to
//   width and step rows by pitch.
// - Pixels are reached only through a lock (SurfaceDataLock/SurfaceDataUnlock) or a drawing
//   context grant (SurfaceGetDC/SurfaceReleaseDC). Both copy the KORSurface into the caller's
//   surf and fill bits (or hdc) in the copy; the KORSurface itself never changes by locking.
// - Rectangles are {left, top, right, bottom}, right and bottom exclusive. The pixel loops do not
//   clip: callers pass rectangles that lie inside the surface.
// - Static operations return nonzero for success and 0 for failure unless noted.
// - The blend rule everywhere is dst = (src * a + dst * (255 - a)) >> 8 per colour channel: a
//   shift, not a division by 255, so an opaque pixel over black comes out as 254, not 255.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/platform.h"
#include "media/mediareaders.h"
#include "media/amplay.h"
#include "media/pix32.h"
#include "media/pixelator.h"
#include "media/plugins.h"

class vemowin;

// Flags of surfacedesc::flags: which members of the description are valid.
enum : uint32_t {
  SURFACEDESC_CAPS = 0x00000001,
  SURFACEDESC_HEIGHT = 0x00000002,
  SURFACEDESC_WIDTH = 0x00000004,
  SURFACEDESC_PITCH = 0x00000008,
  SURFACEDESC_PIXELFORMAT = 0x00001000,
};
// Capability bits of surfacedesc::caps.
enum : uint32_t {
  SURFACECAPS_OFFSCREENPLAIN = 0x00000040,
  SURFACECAPS_SYSTEMMEMORY = 0x00000800,
  SURFACECAPS_OWNDC = 0x00040000,
};
// Pixel format flag: the format is RGB with the masks given.
enum : uint32_t { PIXELFORMAT_RGB = 0x00000040 };

// The pixel format of a surface: 32 bits, red/green/blue masks, no alpha mask (the top byte is
// the engine's own alpha channel and the description does not interpret it).
struct surfacepixelformat {
  uint32_t size = 0;      // 32
  uint32_t flags = 0;     // PIXELFORMAT_RGB
  uint32_t bitcount = 0;  // 32
  uint32_t rmask = 0;     // 0x00FF0000
  uint32_t gmask = 0;     // 0x0000FF00
  uint32_t bmask = 0;     // 0x000000FF
  uint32_t amask = 0;     // 0
};

// The description a surface was created with; each lock fills `memory` again.
struct surfacedesc {
  uint32_t size = 0;       // 108, the size the description record is known by
  uint32_t flags = 0;      // SURFACEDESC_*
  int32_t height = 0;      // rows
  int32_t width = 0;       // the allocated width: pitch, not the requested width
  int32_t pitchbytes = 0;  // row stride in bytes (pitch * 4)
  uint32_t caps = 0;       // SURFACECAPS_*
  surfacepixelformat format;
  pix32 *memory = nullptr;  // first pixel while locked
};

// A 32-bit off-screen surface. A plain record, copied by value with one assignment.
struct KORSurface {
  int32_t width;   // visible width, as requested at creation
  int32_t height;  // rows
  int32_t pitch;   // row stride in pixels, width rounded up to a multiple of 4
  pix32 *bits;     // row 0 while locked (in a surf); null otherwise
  pix32 *dds;      // the 64-byte aligned block that owns the pixels; null once released
  surfacedesc desc;
  HDC hdc;  // the drawing context while one is granted (in a surf)
  size_t mapped;  // bytes of a block mapped from the system (0: from the heap)

  // Frees the pixel block and the record (the record must come from SurfaceCreate). Returns 0.
  int Release();
};

// The access record of one lock or drawing-context grant: exactly a KORSurface.
using surf = KORSurface;

// surf32: the plain frame record handed to plugins and pixel helpers is declared in pixelator.h.

// The surface manager is also the window's pair of media players (amplay).
class surface : public pixelator, public amplay {
 public:
  static constexpr int CACHE_SIZE = 1024;
  static constexpr int RENDER_WIDTH = 1280;
  static constexpr int RENDER_HEIGHT = 1024;
  // Keys of the two built-in logos in the cache (drawn the first time CacheSurfaceGet asks).
  static constexpr int LOGO_KEY_FIRST = -2;
  static constexpr int LOGO_KEY_SECOND = -3;

  // Receives the progress texts of start-up ("Initializing Surfaces", ...). Set it before the
  // surface manager is constructed; an empty function shows nothing.
  using progress_fn = std::function<void(const char *text)>;
  static void SetProgressCallback(progress_fn fn);
  // Offered each plugin candidate found at start-up (folder + file name) instead of the surface
  // manager's own loader; return true when the library was taken. Unset: every candidate goes
  // to LoadPlugin. A hook that wants a candidate loaded hands it to owner.Plugins().LoadPlugin.
  using plugin_fn = std::function<bool(surface &owner, const char *path)>;
  static void SetPluginLoader(plugin_fn fn);

  // Starts the surface backend, the two work surfaces, the logos, the plugins and the internet
  // helper, reporting each step through the progress callback. Failures are told through the
  // host's dialogs and do not stop construction.
  surface(vemowin *context, HWND window);
  ~surface() override;
  surface(const surface &) = delete;
  surface &operator=(const surface &) = delete;

  // ---- Creation and access ----
  // A zeroed w x h surface, or null (w or h below 1, or absurdly large, or out of memory).
  static KORSurface *SurfaceCreate(int w, int h);
  // Takes the memory of a surface that is sure to be drawn on at once, in one call: otherwise a
  // first read (a blend reads what it draws over) maps the shared zero page, and the write after
  // it must replace that page and flush it from every core the process runs on.
  static void SurfacePrefault(KORSurface *s);
  // Frees the pixels and the record; null is accepted. Returns 1 (0 for null).
  static int SurfaceDelete(KORSurface *s);
  static KORSurface *SurfaceClone(KORSurface *s);
  // A new surface holding r of s; null if r is empty, starts left of or above the origin, or
  // reaches past the right or bottom edge of s.
  static KORSurface *SurfaceCrop(KORSurface *s, RECT r);
  static int SurfaceDataLock(KORSurface *s, surf *sf);
  static int SurfaceDataUnlock(surf *sf);
  // A drawing context on the whole surface into sf->hdc (also returned); null on failure.
  static HDC SurfaceGetDC(KORSurface *s, surf *sf);
  static int SurfaceReleaseDC(surf *sf);
  // Waits for the start of the next refresh period (a 60 Hz clock stands for the display's
  // vertical blank) and returns 1; 0 at once when the backend did not start, as
  // CheckDirectX600 tells.
  int WaitForVerticalBlank();
  // True when the surface backend started (every creation fails otherwise).
  bool CheckDirectX600() const { return backend; }

  // ---- Direct pixel operations ----
  static int SurfaceFillRect(KORSurface *s, RECT r, pix32 p);
  static int SurfaceFillRect(KORSurface *s, RECT r, uint32_t word);  // 0xAARRGGBB
  static int SurfaceClear(KORSurface *s);
  // Copies src's width x height pixels into dst at the same places; always returns 0.
  static int SurfaceCopy(KORSurface *src, KORSurface *dst);
  // Row y + 1 becomes row y for y = 0, 2, 4, ... (line doubling of the even field).
  static int SurfaceSingleField(KORSurface *s);
  // Nearest-neighbour scale of rs in src onto rd in dst, optionally blending by source alpha
  // (alpha too is blended: a * a + dst.a * (255 - a) >> 8). 0 without touching anything when a
  // rectangle is narrower or lower than 2.
  static int SurfaceScale(KORSurface *src, RECT rs, KORSurface *dst, RECT rd, bool blend);
  // SurfaceScale of src as SurfaceOpacityAdjust(src, d) would leave it, without writing src:
  // each source alpha is moved on its way (a picture's opacity without a copy of the picture).
  static int SurfaceScaleOpacityAdjust(KORSurface *src, RECT rs, KORSurface *dst, RECT rd, bool blend,
                                       double d);
  // The two scalings SurfaceScaleOpacityAdjust(src, rs1, mid, rd1, false, d) onto a w x h mid
  // and SurfaceScale(mid, rs2, dst, rd2, ...) in one pick, into `part` rather than onto dst:
  // what the second would put on `placed` of dst lands at part's top left. False, with dst
  // untouched, where the two steps cannot be fused (either refuses its rectangles, the second
  // reads a pixel of mid the first does not write, or part is too small).
  static bool SurfaceScaleThrough(KORSurface *src, RECT rs1, RECT rd1, int w, int h, RECT rs2, KORSurface *dst,
                                  RECT rd2, KORSurface *part, double d, RECT *placed);
  // Blends r of src over r of dst by source alpha; dst alpha unchanged. Always returns 0.
  static int SurfaceBlend(KORSurface *src, KORSurface *dst, RECT r);
  // Black and white (0x00FFFFFF) squares of 2^n pixels (n clamped to 0..16), origin black.
  static int SurfaceChecker(KORSurface *s, int n);
  // Adds trunc(d * 256.1) to every alpha, clamped to 0..255; 1 at once when that is 0.
  static int SurfaceOpacityAdjust(KORSurface *s, double d);
  // That step, trunc(d * 256.1) (0 for NaN): from 255 on it leaves every alpha 255.
  static int OpacityStep(double d);
  // SurfaceCopy and SurfaceOpacityAdjust of the copy in one pass (src unchanged); 1 when done.
  static int SurfaceCopyOpacityAdjust(KORSurface *src, KORSurface *dst, double d);
  // Halves blue, green and red (rounded down); alpha unchanged.
  static int SurfaceDimm(KORSurface *s);
  static int SurfaceOpacity(KORSurface *s, unsigned char a);
  static int SurfaceOpacity(KORSurface *s, RECT r, unsigned char a);

  // ---- Operations through a drawing context ----
  // Halftone stretch of rs in src onto rd in dst.
  static int SurfaceCopy(KORSurface *src, RECT rs, KORSurface *dst, RECT rd);
  static int Surface2HDC(KORSurface *s, RECT rs, HDC hdc, RECT rd);
  static int Surface2HDC(KORSurface *s, HDC hdc, RECT rd);
  // Tiles s over rp from its top-left corner, drawing only inside rc. The result of the last
  // copy (0 if none was made).
  static int SurfacePatternBlit(KORSurface *s, RECT rp, HDC hdc, RECT rc);
  // The cached pattern under key anchored at the origin (never beyond 1280 x 1024), or rc
  // filled with colour when key has no surface.
  int SurfacePatternBlit(HDC hdc, RECT rc, int key, COLORREF colour);
  // A red X ten pixels thick, the mark of a missing medium. 0 when the allocated width is 22
  // or less.
  static int SurfaceRedSlash(KORSurface *s);

  // ---- Files and clipboard ----
  // Loads an image by extension (.jpg .jpeg .wmf .emf .bmp .dib .ico .cur .png .gif); null on
  // failure. Pictures without alpha arrive with alpha 0; pictures with alpha keep it.
  static KORSurface *SurfaceLoad(const char *path);
  // Writes a 24-bit bottom-up BMP (alpha dropped).
  static bool SurfaceSave(KORSurface *s, const char *path);
  // A packed 24-bit DIB: 40-byte info header, then the rows bottom-up padded to `align`; w and
  // h receive the surface's size. Empty when s cannot be locked.
  static std::vector<uint8_t> Surface24Chunk(KORSurface *s, int *w, int *h, int align);
  // There is no system clipboard here; the chunk is built and dropped. Always false.
  bool Surface2ClipBoard(KORSurface *s);

  // ---- Render surfaces and the cache ----
  KORSurface *RenderSurface() const { return render; }
  KORSurface *WorkSurface() const { return work; }
  int RenderWidth() const;
  int RenderHeight() const;
  static RECT SurfaceGetRect(const KORSurface *s);
  bool CacheSurfaceCreate(int key, int w, int h);
  bool CacheSurfaceLoad(int key, const char *path);
  // The cached surface under key (never 0); it stays owned by the cache.
  KORSurface *CacheSurfaceGet(int key);
  // Stores s under key, freeing a surface held there before; false for key 0 or null s (the
  // caller keeps s). A full table (never reached in practice) frees s and answers false.
  bool CacheSurfaceInsert(int key, KORSurface *s);
  int CacheCount() const { return cachecount; }

  // ---- Media readers (surfacereaders.cpp) ----
  // The readers are members of the surface manager; each forwards to its one implementation
  // in mediareaders (media/mediareaders.h), which documents the records and the results.
  static roa *AVIReadOpen(const char *path);
  static bool AVIRead(roa *r, int ms);
  static uint8_t *AVIReadAudioSecond(roa *r, int ms);
  static bool AVIReadClose(roa *r);
  static rwav *WaveFileReadOpen(const char *path);
  static uint8_t *WaveFileRead(rwav *r, int ms);
  static void WaveFileReadClose(rwav *r);
  static mmstream *StreamOpenRead(const char *path);
  static KORSurface *StreamReadVideoSample(mmstream *m, int ms);
  static uint8_t *StreamReadAudioSample(mmstream *m, int ms);
  static void StreamCloseRead(mmstream *m);

  // ---- Plugins ----
  // The plugin libraries found at start-up: "*.so" in the program's folder, in the installed
  // plugin folder beside libvemo.so (lumivaxel/plugins), in the build tree's plugin folder (for
  // the library built there) and in the folders of $LUMIVAXEL_PLUGIN_PATH (separated by ':').
  // They are freed with the surface manager.
  pluginlists &Plugins() { return *plugins; }
  // Offers the export plugins that can encode the requested kinds; the chosen object or null.
  imgio_export *PopExportTypes(HWND hwnd, bool video, bool audio);
  // Offers the records of a list by their descriptions; the chosen record or null.
  KORPlugin *PopPlugins(HWND hwnd, KORPlugin *list, int count);

 private:
  void Progress(const char *text);
  void LoadLogos();
  void FindPlugins();
  bool LoadPlugin(const char *path);

  bool backend = false;
  HWND owner = nullptr;
  vemowin *context = nullptr;
  KORSurface *render = nullptr;
  KORSurface *work = nullptr;
  int cachekeys[CACHE_SIZE] = {};
  KORSurface *cachesurfaces[CACHE_SIZE] = {};
  int cachecount = 0;
  std::unique_ptr<pluginlists> plugins = std::make_unique<pluginlists>();
};
