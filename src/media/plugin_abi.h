// The plugin interface: the one header a plugin library includes. It declares the records shared
// with the engine (RECT, pix32, surf32, WAVEFORMATEX), the export and import classes (imgio,
// imgio_import, imgio_export), the effect classes with their parameter records (effio,
// effio_video, effio_audio), the engine's record of a loaded library (KORPlugin) and the entry
// procedures. It includes standard headers only; the engine's own headers include this one, so
// engine and plugins always see the same definitions.
//
// Common principles:
// - Plugins are C++ classes called only through their virtual slots. The order of the virtual
//   functions below is the interface: never insert, remove or reorder one. Every non-virtual
//   member is inline, so a plugin needs no symbol of the engine library (and the engine none of
//   the plugin's but its entry procedure).
// - A library exports exactly one entry procedure, extern "C", taking nothing and returning an
//   object made with `new` (or null): LUMIVAXEL_EXPORT_ENTRY, LUMIVAXEL_VIDEO_ENTRY or
//   LUMIVAXEL_AUDIO_ENTRY. Objects are destroyed only through their SelfDestruct slot, so they
//   are freed by the library that made them.
// - Texts are copied into 500-byte buffers. A text is taken when it is non-null, non-empty and
//   shorter than 500 characters; a getter copies into (buffer, size) only when the text is set
//   and fits with its terminating zero.
// - Frames are surf32 records of pix32 pixels: blue, green, red, alpha in memory order, never
//   premultiplied, rows top-down, `pitch` in pixels. Sound handed to plugins is the internal
//   format: 44 100 Hz, signed 16-bit, two channels interleaved.
// - Results are int: nonzero for success, 0 for failure. No exception leaves a plugin.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// ---- Records shared with the engine ----

// A rectangle in pixels; right and bottom are exclusive.
struct RECT {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;
};

// The host's window: opaque, null when there is none (batch use).
struct hostwindow;
using HWND = hostwindow *;

// One pixel: blue, green, red, alpha bytes in memory order, so a little-endian 32-bit word reads
// 0xAARRGGBB. Alpha 255 is opaque, 0 transparent; pixels are never premultiplied.
struct pix32 {
  uint8_t b = 0;
  uint8_t g = 0;
  uint8_t r = 0;
  uint8_t a = 0;

  constexpr pix32() = default;
  constexpr pix32(uint8_t red, uint8_t green, uint8_t blue, uint8_t alpha = 0)
      : b(blue), g(green), r(red), a(alpha) {}

  // The pixel as the 0xAARRGGBB word it is in memory.
  constexpr uint32_t word() const {
    return uint32_t(b) | (uint32_t(g) << 8) | (uint32_t(r) << 16) | (uint32_t(a) << 24);
  }
  static constexpr pix32 from_word(uint32_t w) {
    return pix32(uint8_t(w >> 16), uint8_t(w >> 8), uint8_t(w), uint8_t(w >> 24));
  }
  friend constexpr bool operator==(const pix32 &x, const pix32 &y) {
    return x.b == y.b && x.g == y.g && x.r == y.r && x.a == y.a;
  }
};
static_assert(sizeof(pix32) == 4, "pix32 is four bytes");

// A plain frame: width x height pixels, rows `pitch` pixels apart, top row first.
struct surf32 {
  int32_t width;
  int32_t height;
  int32_t pitch;
  pix32 *bits;
};
static_assert(offsetof(surf32, pitch) == 8 && offsetof(surf32, bits) == 16 && sizeof(surf32) == 24);

// The 18-byte PCM sound format record that files and plugins exchange.
#pragma pack(push, 1)
struct WAVEFORMATEX {
  uint16_t wFormatTag;  // 1 = PCM
  uint16_t nChannels;
  uint32_t nSamplesPerSec;
  uint32_t nAvgBytesPerSec;
  uint16_t nBlockAlign;  // bytes of one frame (all channels)
  uint16_t wBitsPerSample;
  uint16_t cbSize;
};
#pragma pack(pop)
static_assert(sizeof(WAVEFORMATEX) == 18);
static_assert(offsetof(WAVEFORMATEX, nSamplesPerSec) == 4);
static_assert(offsetof(WAVEFORMATEX, nAvgBytesPerSec) == 8);
static_assert(offsetof(WAVEFORMATEX, nBlockAlign) == 12);
static_assert(offsetof(WAVEFORMATEX, wBitsPerSample) == 14);
static_assert(offsetof(WAVEFORMATEX, cbSize) == 16);

constexpr uint16_t WAVE_FORMAT_PCM = 1;

// The internal sound format: one second is 176 400 bytes.
constexpr int INTERNAL_RATE = 44100;
constexpr int INTERNAL_BYTES_PER_FRAME = 4;
constexpr int INTERNAL_BYTES_PER_SECOND = INTERNAL_RATE * INTERNAL_BYTES_PER_FRAME;

// ---- Import and export ----

// The description of a medium exchanged with plugins. Each item has its own set flag (0 = not
// set); a new object has nothing set. Copies copy every field.
class imgio {
 public:
  static constexpr int kTextSize = 500;

  imgio() = default;
  imgio(const imgio &) = default;
  imgio &operator=(const imgio &) = default;

  virtual ~imgio() = default;                   // slot 0
  virtual void SelfDestruct() { delete this; }  // slot 1: callers never pass a null object
  // Slot 2: opens the medium named by the file name; `owner` is the window that asked (null in
  // batch use). Nonzero on success.
  virtual int Open(HWND owner) = 0;
  // Slot 3: finishes and closes the medium; safe to call when nothing is open. Nonzero when the
  // medium was complete.
  virtual int Close() = 0;
  // Slot 4: sets a named option ("codec", "quality", ...) before Open. 1 when the plugin knows
  // the name and accepts the value, else 0 (nothing changes).
  virtual int SetOption(const char *name, const char *value) = 0;

  int SetFileName(const char *t) { return SetText(filename, &filenameset, t); }
  int SetTitle(const char *t) { return SetText(title, &titleset, t); }
  int SetAuthor(const char *t) { return SetText(author, &authorset, t); }
  int SetCopyright(const char *t) { return SetText(copyright, &copyrightset, t); }
  int SetComment(const char *t) { return SetText(comment, &commentset, t); }
  int SetTool(const char *t) { return SetText(tool, &toolset, t); }
  int SetHasVideo(int v) { return SetNumber(&hasvideo, &hasvideoset, v); }
  int SetHasAudio(int v) { return SetNumber(&hasaudio, &hasaudioset, v); }
  int SetWidth(int v) { return SetNumber(&width, &widthset, v); }
  int SetHeight(int v) { return SetNumber(&height, &heightset, v); }
  int SetLengthMilliseconds(int v) { return SetNumber(&length, &lengthset, v); }
  int SetFramesPerSecond(double v) { return SetNumber(&fps, &fpsset, v); }

  int GetFileName(char *buffer, int size) const { return GetText(filename, filenameset, buffer, size); }
  int GetTitle(char *buffer, int size) const { return GetText(title, titleset, buffer, size); }
  int GetAuthor(char *buffer, int size) const { return GetText(author, authorset, buffer, size); }
  int GetCopyright(char *buffer, int size) const { return GetText(copyright, copyrightset, buffer, size); }
  int GetComment(char *buffer, int size) const { return GetText(comment, commentset, buffer, size); }
  int GetTool(char *buffer, int size) const { return GetText(tool, toolset, buffer, size); }
  int GetHasVideo(int *v) const { return GetNumber(hasvideo, hasvideoset, v); }
  int GetHasAudio(int *v) const { return GetNumber(hasaudio, hasaudioset, v); }
  int GetWidth(int *v) const { return GetNumber(width, widthset, v); }
  int GetHeight(int *v) const { return GetNumber(height, heightset, v); }
  int GetLengthMilliseconds(int *v) const { return GetNumber(length, lengthset, v); }
  int GetFramesPerSecond(double *v) const { return GetNumber(fps, fpsset, v); }

  uint8_t identifier[16] = {};  // free for the plugin's own use; zeroed by construction

 protected:
  static int SetText(char *dst, int32_t *flag, const char *t) {
    if (!t || !t[0]) return 0;
    const size_t n = strnlen(t, kTextSize);
    if (n >= size_t(kTextSize)) return 0;
    std::memcpy(dst, t, n + 1);
    *flag = 1;
    return 1;
  }
  static int GetText(const char *src, int32_t flag, char *buffer, int size) {
    if (!flag || !buffer || size < 1) return 0;
    const size_t n = strnlen(src, kTextSize);
    if (n > size_t(size - 1)) return 0;
    std::memcpy(buffer, src, n + 1);
    return 1;
  }
  template <typename T>
  static int SetNumber(T *dst, int32_t *flag, T v) {
    *dst = v;
    *flag = 1;
    return 1;
  }
  template <typename T>
  static int GetNumber(T src, int32_t flag, T *v) {
    if (!flag || !v) return 0;
    *v = src;
    return 1;
  }

  int32_t reserved = 0;
  int32_t filenameset = 0;
  char filename[kTextSize] = {};
  int32_t titleset = 0;
  char title[kTextSize] = {};
  int32_t authorset = 0;
  char author[kTextSize] = {};
  int32_t copyrightset = 0;
  char copyright[kTextSize] = {};
  int32_t commentset = 0;
  char comment[kTextSize] = {};
  int32_t toolset = 0;
  char tool[kTextSize] = {};
  int32_t hasvideoset = 0;
  int32_t hasvideo = 0;
  int32_t hasaudioset = 0;
  int32_t hasaudio = 0;
  int32_t widthset = 0;
  int32_t width = 0;
  int32_t heightset = 0;
  int32_t height = 0;
  int32_t lengthset = 0;
  int32_t length = 0;
  int32_t fpsset = 0;
  double fps = 0.0;
};

// A reader of media through a plugin. No loader fills the import list yet; the class is part of
// the interface so that such plugins can be written against it.
class imgio_import : public imgio {
 public:
  // Slot 5: the frame at `index`, owned by the plugin until the next call; null when none.
  virtual surf32 *GetVideo(int /*index*/) { return nullptr; }
  // Slot 6: fills up to `bytes` bytes of internal-format sound for block `index`; the bytes
  // written.
  virtual int GetAudio(int /*index*/, short * /*samples*/, int /*bytes*/) { return 0; }
  // Slot 7: why the last operation failed, copied into (buffer, size); 0 when there is nothing
  // to tell.
  virtual int GetLastError(char *buffer, int size) = 0;

  int SetInfo(const char *file) { return SetFileName(file); }
};

// A writer of output files. The maker sets the file and stream information, then calls Open,
// PutVideo and PutAudio once per frame in time order, and Close. The object belongs to its
// library's record and is reused for the next making.
class imgio_export : public imgio {
 public:
  // Slot 5: writes one frame. `index` counts frames from 0 and is the frame's time stamp in
  // units of 1 / frames per second; it must grow from call to call.
  virtual int PutVideo(int /*index*/, surf32 * /*frame*/) { return 0; }
  // Slot 6: writes `bytes` bytes of internal-format sound (whole sample frames, 4 bytes each)
  // that belong with frame `index`; sound is taken as one continuous stream.
  virtual int PutAudio(int /*index*/, short * /*samples*/, int /*bytes*/) { return 0; }
  // Slot 7: whether the plugin writes a file holding the requested kinds of data (sound when
  // `audio`, pictures when `video`).
  virtual bool CanEncode(bool /*audio*/, bool /*video*/) { return false; }
  // Slot 8: why the last operation failed, copied into (buffer, size); 0 when there is nothing
  // to tell.
  virtual int GetLastError(char *buffer, int size) = 0;

  // Stores all six items; 1 only when the file name was accepted, the numbers are stored anyway.
  int SetInfo(const char *file, int has_video, int w, int h, double frames_per_second, int has_audio) {
    const int ok = SetFileName(file);
    SetHasVideo(has_video);
    SetWidth(w);
    SetHeight(h);
    SetFramesPerSecond(frames_per_second);
    SetHasAudio(has_audio);
    return ok;
  }

  // What the output-type menu shows, the file dialog's patterns ("*.avi", several separated by
  // ';') and the extension forced onto a chosen name (".avi"). Set by the plugin.
  const char *GetDescription() const { return description; }
  const char *GetFileTypes() const { return filetypes; }
  const char *GetExtension() const { return extension; }
  // The options SetOption takes, as one line of text for the user ("codec=mjpeg|raw ...").
  const char *GetOptionsText() const { return options; }

 protected:
  int SetDescription(const char *t) { return SetText(description, &descriptionset, t); }
  int SetFileTypes(const char *t) { return SetText(filetypes, &filetypesset, t); }
  int SetExtension(const char *t) { return SetText(extension, &extensionset, t); }
  int SetOptionsText(const char *t) { return SetText(options, &optionsset, t); }

  int32_t descriptionset = 0;
  char description[kTextSize] = {};
  int32_t filetypesset = 0;
  char filetypes[kTextSize] = {};
  int32_t extensionset = 0;
  char extension[kTextSize] = {};
  int32_t optionsset = 0;
  char options[kTextSize] = {};
};

// ---- Effects ----

// Flags of a parameter record.
enum : uint32_t {
  EFFIO_PARAM_GROUP = 1,   // a group heading: holds no value, the parameters after it belong to it
  EFFIO_PARAM_SWITCH = 2,  // an on/off switch (range 0 to 1)
};

// One parameter of an effect plugin, declared by the plugin; the engine turns it into a keyframed
// variable of the effect and writes `value` before each call. `key` names the variable in
// project files and must stay valid as long as the object lives. `id` is the variable's ID within
// its effect: use 1024 and up, which the engine's own effect variables never use; such IDs have
// no resource text, so the key is the shown name.
struct effioparam {
  int32_t id;
  const char *key;
  uint32_t flags;  // EFFIO_PARAM_*
  int32_t reserved;
  double minimum;
  double maximum;
  double defaultvalue;
  double value;
};
static_assert(sizeof(effioparam) == 56);
static_assert(offsetof(effioparam, key) == 8);
static_assert(offsetof(effioparam, flags) == 16);
static_assert(offsetof(effioparam, reserved) == 20);
static_assert(offsetof(effioparam, minimum) == 24);
static_assert(offsetof(effioparam, maximum) == 32);
static_assert(offsetof(effioparam, defaultvalue) == 40);
static_assert(offsetof(effioparam, value) == 48);

// The base of effect plugin objects: the parameter count, the parameter records and the
// description. After the table pointer come two reserved words, the count and, 8-aligned, the
// records: count at byte 16, records from byte 24.
class effio {
 public:
  static constexpr int kMaxParams = 64;
  static constexpr int kTextSize = 500;

  effio() = default;
  effio(const effio &) = delete;
  effio &operator=(const effio &) = delete;

  virtual ~effio() = default;                   // slot 0
  virtual void SelfDestruct() { delete this; }  // slot 1: the engine destroys objects this way

  // Appends a parameter; its value starts at the default. 0 when all kMaxParams are taken or
  // the key is empty.
  int AddParam(int32_t param_id, const char *key, uint32_t flags, double minimum, double maximum,
               double defaultvalue) {
    if (paramcount < 0 || paramcount >= kMaxParams || !key || !key[0]) return 0;
    params[paramcount++] = effioparam{param_id, key, flags, 0, minimum, maximum, defaultvalue, defaultvalue};
    return 1;
  }
  // The value the engine wrote for parameter `index`; 0 when there is no such parameter.
  double ParamValue(int index) const {
    return index >= 0 && index < paramcount && index < kMaxParams ? params[index].value : 0.0;
  }
  int SetDescription(const char *t) {
    if (!t || !t[0]) return 0;
    const size_t n = strnlen(t, kTextSize);
    if (n >= size_t(kTextSize)) return 0;
    std::memcpy(description, t, n + 1);
    return 1;
  }
  const char *GetDescription() const { return description; }

  int32_t reserved0 = 0;
  int32_t reserved1 = 0;
  int32_t paramcount = 0;
  int32_t reserved2 = 0;
  effioparam params[kMaxParams] = {};
  char description[kTextSize] = {};
};

// A video effect: slot 2 processes one frame.
class effio_video : public effio {
 public:
  // Writes the effect of `source` into `destination` inside rc (clipped to both frames by the
  // plugin). On entry the destination holds a copy of the source. 1 on success, 0 on failure.
  virtual int Process(surf32 *source, surf32 *destination, RECT rc) = 0;  // slot 2
};

// A sound effect: slot 2 processes one block of `count` bytes of internal-format sound.
class effio_audio : public effio {
 public:
  virtual int Process(int16_t *in, int16_t *out, int count) = 0;  // slot 2
};

// The effect objects are read by offset nowhere but through these members, yet their layout is
// part of the interface: check it where the compiler can.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(effio, reserved0) == 8);
static_assert(offsetof(effio, paramcount) == 16);
static_assert(offsetof(effio, params) == 24);
#pragma GCC diagnostic pop
#endif

// ---- Loaded libraries and entry procedures ----

// The engine's record of one loaded plugin library.
struct KORPlugin {
  static constexpr int kNameSize = 260;

  int32_t reserved0 = 0;
  void *library = nullptr;         // the dlopen handle
  void *entry = nullptr;           // the entry procedure found in it
  imgio_export *object = nullptr;  // export plugins only: the object, alive while loaded
  uint8_t flags = 0;
  int32_t reserved1 = 0;
  char filename[kNameSize] = {};  // the library's file name without folder
  char description[imgio::kTextSize] = {};
};

using LumiVaxelExportPluginProc = imgio_export *(*)();
using LumiVaxelVideoPluginProc = effio_video *(*)();
using LumiVaxelAudioPluginProc = effio_audio *(*)();

inline constexpr const char *kExportPluginEntry = "LumiVaxelExportPlugin";
inline constexpr const char *kVideoPluginEntry = "LumiVaxelVideoPlugin";
inline constexpr const char *kAudioPluginEntry = "LumiVaxelAudioPlugin";

// Declares a library's entry procedure:  LUMIVAXEL_VIDEO_ENTRY() { return new myeffect; }
#define LUMIVAXEL_PLUGIN_API extern "C" __attribute__((visibility("default")))
#define LUMIVAXEL_EXPORT_ENTRY() LUMIVAXEL_PLUGIN_API imgio_export *LumiVaxelExportPlugin()
#define LUMIVAXEL_VIDEO_ENTRY() LUMIVAXEL_PLUGIN_API effio_video *LumiVaxelVideoPlugin()
#define LUMIVAXEL_AUDIO_ENTRY() LUMIVAXEL_PLUGIN_API effio_audio *LumiVaxelAudioPlugin()
