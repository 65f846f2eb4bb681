// The effect framework: the bases effect, effectVideo and effectAudio, the variables every effect
// carries, the registration helpers, the factories by type number and the effect record.
//
// Common principles of this header:
// - An effect's type is the resource string ID of its shown name. It is also the effect's ID
//   (GetID), and what a clip stores before the effect's record.
// - An effect spans its clip: the clip keeps its position at 0 and its size at the clip's length,
//   and sets its current time to the clip's local time before each Process.
// - Process reads the effect's variables once per call (per block for sound) at its current
//   time, through GetTimeFloat by variable ID, then runs its pixel or sample loop.
// - Video Process gets the source, the destination and the rectangle in pixels (right and bottom
//   exclusive). Keys, adjusters, the mapper and opacity work in place on the destination; the
//   keyed adjusters key the source and adjust the destination.
// - Variables are declared from the one table of the system's declarations (time/declared_vars.h);
//   the TV_ helpers below each declare one row.
#pragma once

#include <cstdint>
#include <cstdio>

#include "core/platform.h"
#include "time/vemotime.h"

class clip;
class effio;
class surface;
class vemowin;
struct KORSurface;

// clang-format off
// The variables of the effects: key and ID (its resource string). X(key, id). The IDs are fixed
// numbers of the project file format; the tests check them against the declaration table.
#define VEMO_EFFECT_SWITCH_VARIABLES(X) \
  X(IDS_EFFECT_SWITCHES, 521)           \
  X(IDS_EFFECT_ENABLE, 519)             \
  X(IDS_EFFECT_TOGGLE, 520)

#define VEMO_EFFECT_VIDEO_VARIABLES(X)                                                             \
  X(IDS_EFF_RECT, 424) X(IDS_EFF_L, 53) X(IDS_EFF_T, 54) X(IDS_EFF_R, 55) X(IDS_EFF_B, 56)         \
  X(IDS_EFFECT_VARS, 428) X(IDS_EFFVARS_01, 429) X(IDS_EFFECT_LEVEL, 74) X(IDS_OPACITY, 104)       \
  X(IDS_SATURATION, 239) X(IDS_RGBKEYVARS, 436) X(IDS_YUVKEYVARS, 437) X(IDS_RED, 38)              \
  X(IDS_GREEN, 39) X(IDS_BLUE, 40) X(IDS_RED_TOLERANCE, 42) X(IDS_GREEN_TOLERANCE, 43)             \
  X(IDS_BLUE_TOLERANCE, 44) X(IDS_CHROMA_TOLERANCE, 242) X(IDS_LUMA_TOLERANCE, 246)                \
  X(IDS_BRIGHTNESS1, 286) X(IDS_BRIGHTNESS2, 287) X(IDS_RADII_01, 432) X(IDS_RADIUS_1, 187)        \
  X(IDS_RADIUS_2, 188) X(IDS_SIZE_01, 433) X(IDS_SIZE1, 249) X(IDS_SIZE2, 250)                     \
  X(IDS_ADJVARS_01, 430) X(IDS_ADJ_RED, 107) X(IDS_ADJ_GREEN, 108) X(IDS_ADJ_BLUE, 109)            \
  X(IDS_ADJ_SATURATION, 240) X(IDS_ADJ_OPACITY, 110) X(IDS_MAPVARS_01, 431) X(IDS_MAP_RED_1, 113)  \
  X(IDS_MAP_RED_0, 112) X(IDS_MAP_GREEN_1, 115) X(IDS_MAP_GREEN_0, 114) X(IDS_MAP_BLUE_1, 117)     \
  X(IDS_MAP_BLUE_0, 116) X(IDS_MAP_OPACITY_1, 119) X(IDS_MAP_OPACITY_0, 118)                       \
  X(IDS_BOUNDS_01, 434) X(IDS_LEFT, 272) X(IDS_TOP, 273) X(IDS_RIGHT, 274) X(IDS_BOTTOM, 275)      \
  X(IDS_ANGLE, 267) X(IDS_ROTATIONS, 268) X(IDS_CENTERX, 269) X(IDS_CENTERY, 270)                  \
  X(IDS_WIPEANGLE, 283) X(IDS_PROGRESS, 276) X(IDS_SMOOTHING, 277) X(IDS_DISTORTX, 298)            \
  X(IDS_DISTORTY, 299) X(IDS_EFF_PATDIS, 441) X(IDS_EFF_ROTX, 443) X(IDS_ROTX_TOP_POS, 445)        \
  X(IDS_ROTX_TOP_FREQ, 448) X(IDS_ROTX_BOT_POS, 447) X(IDS_ROTX_BOT_FREQ, 455) X(IDS_EFF_ROTY, 449) \
  X(IDS_ROTY_LEF_POS, 451) X(IDS_ROTY_LEF_FREQ, 454) X(IDS_ROTY_RIT_POS, 453)                      \
  X(IDS_ROTY_RIT_FREQ, 456) X(IDS_SHADOW_SIZE, 678) X(IDS_LIGHT_ANGLE, 677)                        \
  X(IDS_COLOR_FRAME, 680) X(IDS_COLOR_FRAME_R, 681) X(IDS_COLOR_FRAME_G, 682)                      \
  X(IDS_COLOR_FRAME_B, 683) X(IDS_COLOR_FRAME_A, 684) X(IDS_FRAME_SIZE, 685)                       \
  X(IDS_FRAME_SHADING, 686) X(IDS_MATRIXVARS_01, 438) X(IDS_MATRIX_SIZE, 73)                     \
  X(IDS_DST_RECT, 423) X(IDS_DST_L, 49) X(IDS_DST_T, 50) X(IDS_DST_R, 51) X(IDS_DST_B, 52)

#define VEMO_EFFECT_AUDIO_VARIABLES(X)                                                       \
  X(IDS_VOLUME, 123) X(IDS_PAN, 150) X(IDS_COMPRESS4, 514) X(IDS_COMP1, 515) X(IDS_COMP2, 516) \
  X(IDS_COMP3, 517) X(IDS_COMP4, 518)
// clang-format on

// Variable IDs by key: fxid::IDS_RED is 38.
namespace fxid {
#define VEMO_FXID(key, number) key = number,
enum : int {
  VEMO_EFFECT_SWITCH_VARIABLES(VEMO_FXID) VEMO_EFFECT_VIDEO_VARIABLES(VEMO_FXID)
      VEMO_EFFECT_AUDIO_VARIABLES(VEMO_FXID)
};
#undef VEMO_FXID
}  // namespace fxid

#define VEMO_TV_DECLARE(key, number) int TV_##key();

class effect : public vemotime {
 public:
  effect() = default;
  ~effect() override;
  effect(const effect &) = delete;
  effect &operator=(const effect &) = delete;

  // ---- Overrides of vemo ----
  // The effect record: the plugin parameter block when there is one, then the variables.
  int Save(FILE *f) override;
  int Load(FILE *f) override;
  // The effect editor: the variables' editor with the effect's own part (the slots below).
  int Draw(HDC hdc, RECT rc, int flags) override;
  RECT Layout(RECT rc) override;
  uint32_t QueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) override;

  // ---- Virtual operations added by effect (slots 44 to 47) ----
  virtual bool ResetEffect();                                                        // 44
  virtual uint32_t effQueryAction(HWND hwnd, uint32_t message, POINT pt, int keys);  // 45
  virtual int effDraw(HDC hdc, RECT rc, int flags);                                  // 46
  virtual RECT effLayout(RECT rc);                                                   // 47

  // Stores the owner clip, window context and surface manager (also in the vemo part),
  // clears the plugin block link, declares the three switches; true.
  bool initEffect(clip *owner, vemowin *window, surface *surfaces);
  // Registers the help texts of the effects (their shown names by type).
  static void InitEffectHelp();
  // The registered help text of an effect type; empty when none.
  static const char *EffectHelpText(int type);

  clip *GetClip() const { return ownerclip; }
  vemowin *GetEffectWindow() const { return effwindow; }
  surface *GetEffectSurface() const { return effsurface; }

  // The clip engine runs an effect only while both switches are at least 0.5.
  bool IsActive();
  // The shown state of a switch: "Effect Enable" / "Effect Disabled" for IDS_EFFECT_ENABLE,
  // "Effect Toggle" / "Effect Toggle Off" for IDS_EFFECT_TOGGLE; empty for other IDs.
  static const char *SwitchText(int switch_id, bool on);

  // ---- Plugin parameter block ----
  // A zeroed block of `capacity` bytes (at least 4) whose first 4 bytes, a little-endian count
  // of the bytes in use, say 4. Replaces a block held before. False for a capacity below 4.
  bool CreatePluginBlock(uint32_t capacity);
  uint8_t *GetPluginBlock() const { return pluginblock; }
  uint32_t GetPluginBlockSize() const { return pluginblocksize; }

  // ---- Plugin parameters (effects/plugineffects.cpp) ----
  // Declares one variable per parameter record of `plugin`, in order: its key, ID, bounds and
  // default, all-ones colours, and the kind from the record's flags (group 7, switch 8, both 15).
  void InitializePluginVars(effio *plugin);
  // Writes every record's value: the variable of its key at the tick count (the clock, not the
  // clip time), or the record's default when the effect has no such variable.
  void SetPluginVars(effio *plugin);

  VEMO_EFFECT_SWITCH_VARIABLES(VEMO_TV_DECLARE)

 protected:
  // The first step of the effect record: the plugin parameter block, when the effect has one.
  // 1, or 0 when it could not be read or was refused (the block is then zero). Load is this
  // followed by the variables; plugin effects act on the block in between.
  int LoadPluginBlock(FILE *f);

  clip *ownerclip = nullptr;
  vemowin *effwindow = nullptr;
  surface *effsurface = nullptr;
  uint8_t *pluginblock = nullptr;
  uint32_t pluginblocksize = 0;
};

class effectVideo : public effect {
 public:
  // Declares the effect rectangle (the whole frame by default).
  effectVideo();

  // ---- Slot 48 ----
  // The base does nothing and returns 0.
  virtual int Process(KORSurface *source, KORSurface *destination, RECT rc);
  // True when Process reads nothing but its destination: the chain then hands it the picture
  // itself rather than a copy of it.
  virtual bool WorksInPlace() const { return false; }
  // True when each pixel comes out as a function of that pixel alone, wherever it lies: the
  // effect may then run on a picture already scaled to its place instead of before the scaling.
  virtual bool IsPointwise() const { return false; }
  // True when a picture whose every alpha is 255 comes out with every alpha 255 (onto a copy as
  // ProcessOntoCopy makes it): a clip whose chain has only such effects stays opaque.
  virtual bool KeepsOpaque() const { return false; }
  // Process onto a destination that is first to become a copy of the source, as the chain
  // hands an effect that does not work in place. The base copies the whole picture; an effect
  // that writes most pixels itself copies only the rest.
  virtual int ProcessOntoCopy(KORSurface *source, KORSurface *destination, RECT rc);
  // ProcessOntoCopy of the source with every alpha read as 255, the destination coming out with
  // every alpha 255: for a picture that its opacity makes opaque, without first making the copy
  // that the opacity goes on. 0, with nothing written, where the effect cannot (the base).
  virtual int ProcessOpaqueOntoCopy(KORSurface *, KORSurface *, RECT) { return 0; }

  // ---- Factories ----
  // The effect of that type with its variables at their defaults, or null for a type that is
  // unknown or whose family is not built.
  static effectVideo *EffectNew(int type, clip *owner, vemowin *window, surface *surfaces);
  // Offers the video effects through the host's choice dialog, grouped by family; the chosen
  // type, or 0. `plugins` offers the plugin effects too.
  static int EffectSelect(HWND parent, surface *surfaces, bool plugins);

  // The effect rectangle at the current time scaled to a w x h frame; 0 when it is empty.
  int GetEffectRect(int w, int h, RECT *out);

  // ---- Key workers: key `s` in place over rc ----
  // Colour keys return 0 always (their work is the alpha written); shape keys 1, or 0 when
  // the surface cannot be locked.
  int KeyRGBProcess(KORSurface *s, RECT rc);
  int KeyRGBIProcess(KORSurface *s, RECT rc);
  int KeyChromaProcess(KORSurface *s, RECT rc);
  int KeyChromaIProcess(KORSurface *s, RECT rc);
  int KeyGreenProcess(KORSurface *s, RECT rc);
  int KeyGreenIProcess(KORSurface *s, RECT rc);
  int KeyRedProcess(KORSurface *s, RECT rc);
  int KeyRedIProcess(KORSurface *s, RECT rc);
  int KeyBlueProcess(KORSurface *s, RECT rc);
  int KeyBlueIProcess(KORSurface *s, RECT rc);
  int KeyBrightProcess(KORSurface *s, RECT rc);
  int KeyBrightIProcess(KORSurface *s, RECT rc);
  int KeyCircleProcess(KORSurface *s, RECT rc);
  int KeyCircleIProcess(KORSurface *s, RECT rc);
  int KeyOvalProcess(KORSurface *s, RECT rc);
  int KeyOvalIProcess(KORSurface *s, RECT rc);
  int KeyRectProcess(KORSurface *s, RECT rc);
  int KeyRectIProcess(KORSurface *s, RECT rc);

  // ---- Adjusting workers ----
  // Adjusts the target's colours where the mask's alpha is not 0, mixed by that alpha. 1, or 0
  // when a surface cannot be locked.
  int AdjusterProcess(KORSurface *mask, KORSurface *target, RECT rc);
  // Maps every channel of rc through the mapper's tables. 1, or 0 when s cannot be locked.
  int ProcessEffectMapper(KORSurface *s, RECT rc);

  // ---- Geometric workers (effects/geometric.cpp) ----
  // Mirror the rectangle of `s` in place: columns (X) or rows (Y) exchanged pairwise from the
  // outside in; an odd middle stays. 1, or 0 when s cannot be locked.
  int FlipXProcess(KORSurface *s, RECT rc);
  int FlipYProcess(KORSurface *s, RECT rc);
  // Clears all of `destination`, then turns rc of `source` into it about the point
  // ("Center X" x width, "Center Y" x height) measured from the frame's corner, by
  // "Rotations" x 360 + "Angle Degrees". 1, or 0 when a surface cannot be locked.
  int RotatorProcess(KORSurface *source, KORSurface *destination, RECT rc);

  // ---- Variable groups of the families ----
  int RotatorVars();
  int FrameColorVars();
  int KeyRGBVars();
  int KeyChromaVars();
  int KeyBrightVars();
  int KeyCircleVars();
  int KeyRectVars();
  int AdjusterVars();
  int VarsEffectMapper();

  // One declaration each, from the declaration table; the result of timefloatadd.
  VEMO_EFFECT_VIDEO_VARIABLES(VEMO_TV_DECLARE)
};

class effectAudio : public effect {
 public:
  effectAudio() = default;

  // ---- Slot 48 ----
  // `count` is the block's length in bytes of interleaved stereo 16-bit samples. The base
  // passes nothing through and returns 0.
  virtual int Process(int16_t *in, int16_t *out, int count);

  static effectAudio *EffectNew(int type, clip *owner, vemowin *window, surface *surfaces);
  static int EffectSelect(HWND parent, surface *surfaces, bool plugins);

  // Scales the left channel by "Volume" x (1 - max(pan, 0)) and the right by
  // "Volume" x (1 - max(-pan, 0)), truncating, read again every 441 frames (effects/audioeffects.cpp).
  int ProcessVolPanComp(int16_t *in, int16_t *out, int count);

  VEMO_EFFECT_AUDIO_VARIABLES(VEMO_TV_DECLARE)
  // The group heading the sound effects share with the video ones.
  int TV_IDS_EFFECT_VARS();
};

#undef VEMO_TV_DECLARE

// ---- The type table ----

// Which factory makes a type.
enum class effectkind { video, audio };

// One row of the type table: the type (also the shown name's string ID), its factory, the group
// the selection menu files it under, and how to make it (null while its family is not built).
struct effecttype {
  int32_t type;
  effectkind kind;
  const char *group;  // "Basic Effects", "Video Effects", ...
  effect *(*create)(clip *owner, vemowin *window, surface *surfaces);
};

// Every effect type of both factories, in menu order.
const effecttype *EffectTypes(size_t *count);
// The shown name of a type (its resource string); empty for an unknown type.
const char *EffectName(int type);

// The texts of the effect menus.
namespace fxmenu {
inline constexpr const char *kEffect = "Effect";
inline constexpr const char *kAdd = "Add";
inline constexpr const char *kClearAll = "Clear All";
inline constexpr const char *kBasicEffects = "Basic Effects";
inline constexpr const char *kVideoEffects = "Video Effects";
inline constexpr const char *kAudioEffects = "Audio Effects";
inline constexpr const char *kCurrentVideoEffect = "Current Video Effect";
inline constexpr const char *kCurrentAudioEffect = "Current Audio Effect";
inline constexpr const char *kInterlacing = "Interlacing";
inline constexpr const char *kPluginEffects = "Plugin Effects";
}  // namespace fxmenu
