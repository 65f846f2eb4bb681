// clip: one node of the clip tree: the root arrangement, a sub-arrangement, a media clip or a
// generated clip, with its record, children on tracks, effects, composition and mixing.
//
// Common principles of this header:
// - Times are int32 milliseconds. A clip lies at its position (start) for its size (length) in
//   its parent's local time; its own local time is parent time - start + offset. A child is
//   active while its local time lies within offset .. offset + length, both ends included.
// - Rectangles of the animated variables are fractions of a picture: 0..1 spans it.
// - The tree is changed between ClipCriticalStart and ClipCriticalEnd. A parent owns its
//   children, effects, readers, generator and surfaces; deleting a clip deletes its subtree.
// - A frame is a pure function of the tree and the time: nothing carries over between two
//   compositions except the last source frame each media clip read (and pictures derived from
//   it that are rebuilt whenever their inputs change).
// - Failures are return values (false, 0, null); texts for the user go through the host's
//   dialogs and processing messages through the root's message callback.
//
// The members are grouped by the file that implements them: clip.cpp (record, tree, tracks,
// variables, formats, time mapper, queries), compose.cpp, mixing.cpp, projectfile.cpp,
// clipimport.cpp, arrangement.cpp (the view's rules, layout and hit-testing), arrangedraw.cpp
// (its drawing), arrangemouse.cpp (its mouse) and clipview.cpp (the root's panes, commands, tips
// and help in the editing window).
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/frect.h"
#include "engine/clipblock.h"
#include "media/mediareaders.h"
#include "media/surface.h"
#include "time/vemotime.h"

class clipsrc;
class effectVideo;
class effectAudio;
class vemowin;
class clipworker;
class imgio_export;
class playqueue;
class editlog;

// Source types of the clip block.
enum : int32_t {
  CLIP_SRC_NONE = 0,
  CLIP_SRC_TEXT = 172,
  CLIP_SRC_GRADIENT = 568,
  CLIP_SRC_ARRANGEMENT = 412,
};

// Bits of the composition flags: the interactive editing view (marks the current effect) and
// making (the picture leaves the program).
enum : uint32_t {
  CLIP_COMPOSE_EDIT = 1,
  CLIP_COMPOSE_MAKE = 2,
};

// Places of the six work surfaces of an arrangement.
enum : int {
  CLIP_SURFACE_OUTPUT = 0,   // finished picture of a sub-arrangement
  CLIP_SURFACE_DISPLAY = 1,  // what the window shows
  CLIP_SURFACE_EFFECT1 = 2,  // the two effect surfaces the chains ping-pong between
  CLIP_SURFACE_EFFECT2 = 3,
  CLIP_SURFACE_DESTINATION = 4,  // cleared at each composition; children are scaled onto it
  CLIP_SURFACE_SCRATCH = 5,      // the edit marks of the interactive view
  CLIP_WORK_SURFACES = 6,
};

// Sizes of the audio machinery.
// Sub-arrangements nest at most this deep in a project file.
constexpr int CLIP_MAX_DEPTH = 64;

constexpr int CLIP_AUDIO_BLOCKS = 10;
constexpr int CLIP_AUDIO_HEADER = 44;       // bytes before the end of a block's samples
constexpr int CLIP_AUDIO_DATA_OFFSET = 40;  // where a block's samples begin
constexpr int CLIP_AUDIO_WINDOW = 6000;     // ms of blocks kept around the current time
constexpr int32_t CLIP_AUDIO_EMPTY = INT32_MIN;
constexpr int CLIP_AUDIO_WORK_BYTES = 352800;  // two seconds of the internal format

// The clip's variable declarations, one row of the table each: X(key, ID). The IDs are fixed
// numbers of the project file format; the tests check them against the declaration table.
// clang-format off
#define VEMO_CLIP_VARIABLES(X)                                                                 \
  X(IDS_CLIP_VARS, 425) X(IDS_START_OPACITY, 554) X(IDS_CLIPTIMEMAPPER, 231)                   \
  X(IDS_COLOR_FG, 394) X(IDS_COLOR_FG_R, 399) X(IDS_COLOR_FG_G, 400) X(IDS_COLOR_FG_B, 401)    \
  X(IDS_COLOR_FG_A, 402) X(IDS_COLOR_BG, 393) X(IDS_COLOR_BG_R, 395) X(IDS_COLOR_BG_G, 396)    \
  X(IDS_COLOR_BG_B, 397) X(IDS_COLOR_BG_A, 398) X(IDS_STR_FONTVARS, 426)                       \
  X(IDS_STR_FONTSIZE, 280) X(IDS_STR_FONTWEIGHT, 281) X(IDS_STR_ITALIC, 388)                   \
  X(IDS_STR_UNDERLINE, 389) X(IDS_STR_SHADOWVARS, 427) X(IDS_STR_SDIST, 390)                   \
  X(IDS_STR_SANG, 391) X(IDS_STR_SINS, 392) X(IDS_COLOR_LT, 655) X(IDS_COLOR_LT_R, 656)        \
  X(IDS_COLOR_LT_G, 657) X(IDS_COLOR_LT_B, 658) X(IDS_COLOR_LT_A, 659) X(IDS_COLOR_LB, 670)    \
  X(IDS_COLOR_LB_R, 671) X(IDS_COLOR_LB_G, 672) X(IDS_COLOR_LB_B, 673) X(IDS_COLOR_LB_A, 674)  \
  X(IDS_COLOR_RT, 660) X(IDS_COLOR_RT_R, 661) X(IDS_COLOR_RT_G, 662) X(IDS_COLOR_RT_B, 663)    \
  X(IDS_COLOR_RT_A, 664) X(IDS_COLOR_RB, 665) X(IDS_COLOR_RB_R, 666) X(IDS_COLOR_RB_G, 667)    \
  X(IDS_COLOR_RB_B, 668) X(IDS_COLOR_RB_A, 669)
// clang-format on

// Variable IDs of the clip by key: clipvar::IDS_START_OPACITY is 554. The rectangles are
// declared by the timed-object base.
namespace clipvar {
#define VEMO_CLIP_VARID(key, number) key = number,
enum : int {
  IDS_SRC_L = 45,
  IDS_SRC_T = 46,
  IDS_SRC_R = 47,
  IDS_SRC_B = 48,
  IDS_DST_L = 49,
  IDS_DST_T = 50,
  IDS_DST_R = 51,
  IDS_DST_B = 52,
  VEMO_CLIP_VARIABLES(VEMO_CLIP_VARID)
};
#undef VEMO_CLIP_VARID
}  // namespace clipvar

// One picture size of the project: resource ID, width, height.
struct clipformat {
  int32_t id;
  int32_t width;
  int32_t height;
};
// One frame rate: resource ID, frames per second.
struct clipfps {
  int32_t id;
  int32_t fps;
};

#define VEMO_CLIP_TV_DECLARE(key, number) int TV_##key();

class clip : public vemotime {
 public:
  // The picture sizes and frame rates in menu order, each list ending with 0. "24 fps" comes
  // after "25 fps" on purpose.
  static const int CLIP_VIDEO_FORMATS[14];
  static const int CLIP_FPS_OPTIONS[10];
  // The same tables with their values.
  static const clipformat VIDEO_FORMAT_TABLE[13];
  static const clipfps FPS_TABLE[9];
  static constexpr int kDefaultFormat = 82;  // 320 / 240
  static constexpr int kDefaultFps = 134;    // 15 fps

  // A clip without a window: a child of some arrangement (or a root without window, which
  // becomes an arrangement through ChangeVideoFormat or loading).
  explicit clip(vemowin *context);
  // The root arrangement of a window (`window` may be null for a headless root).
  clip(vemowin *context, HWND window);
  ~clip() override;
  // Clips are not copied by value: a deep copy goes through ClipDuplicate.
  clip(const clip &) = delete;
  clip &operator=(const clip &) = delete;

  // ---- Overrides ----
  int Save(FILE *f) override;
  int Load(FILE *f) override;
  // Local time as any timed object, then children, effects and generator follow it.
  uint32_t SetCurrentTime(int t) override;
  uint32_t SetPosition(int position) override;
  // Keeps the effects spanning the clip.
  uint32_t SetSize(int size) override;
  // Trims the head as any timed object; effects follow the new length.
  uint32_t SetOffset(int offset) override;
  uint32_t Commit() override;
  uint32_t Revert() override;
  // Empties the clip completely: generator, children, effects, buffers, readers, surfaces,
  // then the timed-object reset.
  uint32_t Reset() override;
  // Children by name, "fxN" the N-th video effect (1-based), "afxN" the N-th audio effect, an
  // effect by its shown name, the root by its own name, dotted paths ("intro.fx1.IDS_GREEN")
  // step by step, then the timed-object names. Names compare without regard to case; "_"
  // stands for a blank (clipcommands.cpp).
  UIItem *UIItemResolve(const char *name) override;
  // The commands of the macro language (docs/scripting.md); a refused command writes its
  // reason into result and changes nothing. With an edit log, each command that changes the
  // project is one undo step (EditStepName).
  bool Command(const char *command, char *result) override;
  // The picture the interface shows: an arrangement's display surface, else the clip's frame.
  KORSurface *GetUISurface() override;

  // ---- The editing window (clipview.cpp) ----
  // The root lays its client area out in three panes: the composite's preview and the editor
  // of the current object's variables side by side above, the arrangement view (time ruler and
  // tracks) below. Other clips keep the base's behaviour.
  RECT Layout(RECT rc) override;
  int Draw(HDC hdc, RECT rc, int flags) override;
  // Mouse messages of the window: a drag goes on to whoever took the capture; otherwise the
  // pane under the point answers. Every change is a step of the edit log.
  uint32_t QueryAction(HWND hwnd, uint32_t message, POINT pt, int keys) override;
  // The commands of the window's menus (engine/editcommands.h); *result gets the action flags.
  bool QueryCommand(HWND hwnd, int command, uint32_t *result) override;
  // As any object, and a change marks the whole path to the root dirty.
  uint32_t ExitQueryAction(uint32_t flags) override;
  // The root keeps the tip for the host to show; an empty text takes it away.
  bool TipTheTool(const char *text, RECT rc) override;
  bool TipTheTool(int string_id, RECT rc) override;
  // The root keeps the topic (a resource string ID) for the host's help box.
  uint32_t ShowHelp(int topic) override;
  const std::string &GetTip() const { return tiptext; }
  RECT GetTipRect() const { return tiprect; }
  int TakeHelpTopic() {
    const int t = helptopic;
    helptopic = 0;
    return t;
  }
  // The help text of a topic: an effect's registered text, else a variable's or command's name.
  static std::string HelpText(int topic);
  RECT GetPreviewRect() const { return previewrect; }
  RECT GetEditorRect() const { return editorrect; }
  RECT GetRulerRect() const { return rulerrect; }
  // The column left of the tracks that names them; the arrangement view lies right of it.
  static constexpr int kTrackHead = 72;
  RECT GetTrackHeadRect() const { return trackheadrect; }
  // What the editor pane shows: the current child, or its current video or audio effect.
  enum : int { EDIT_CLIP = 0, EDIT_VIDEO_EFFECT = 1, EDIT_AUDIO_EFFECT = 2 };
  vemotime *GetEditTarget();
  void SetEditTarget(int kind) { edittarget = kind; }
  int GetEditTargetKind() const { return edittarget; }
  // Pending (uncommitted) edits anywhere in the subtree: variables of clips and effects.
  bool ClipHasPendingEdits();
  // The locator: a mark in the root's time set with "Set Locator"; -1 when none.
  int GetLocator() const { return locator; }
  void SetLocator(int t) { locator = t; }

  // ---- Record ----
  // Puts every field into its empty state (used by the constructors).
  void null();
  // The surface manager handed to effects; children take their parent's when inserted.
  void SetSurfaces(surface *s) { surfaces = s; }
  surface *GetSurfaces() const { return surfaces; }
  vemowin *GetContext() const { return wincontext; }
  bool SetName(const char *name);
  const char *GetName() const { return block.name; }
  bool SetFileName(const char *path);
  const char *GetFileName() const { return block.filename; }
  // The text generator's string.
  bool ClipSetText(const char *text);
  const char *ClipGetText() const { return block.text; }
  // The font family of the text ("DejaVu Sans" when none is set).
  const char *GetFont() const;
  bool ClipSetFont(const char *family);
  int ClipGetTextAlign() const { return block.textalign; }
  void ClipSetTextAlign(int align) { block.textalign = align < 0 || align > 2 ? 0 : align; }
  const clipData &GetBlock() const { return block; }

  // ---- Tree and tracks ----
  // Links the child (parent, window context, surface manager, time), appends it, makes it
  // current and passes the musical-time settings down. A full list (512 children) refuses
  // (false) so the array never overflows.
  bool ClipInsertChild(clip *child);
  // The same, placing the child at `index` of the list (clamped to the list); the edit log
  // puts a deleted clip back where it was.
  bool ClipInsertChildAt(clip *child, int index);
  // Destroys the child and closes the gap in the list; QA_UPDATE.
  uint32_t ChildDelete(clip *child);
  // Asks before deleting the current child, then closes the time gap and compresses tracks.
  uint32_t ArrangeChildDelete();
  void SelectCurrent(clip *child) { currentchild = child; }
  clip *GetCurrentChild() const { return currentchild; }
  int ClipTrackCount();
  int ClipTrackFree(int track);
  bool ClipChildTrackCheck(clip *child, int track);
  int ClipCompressTracks();
  // A deep copy saved and loaded through memory; its parent is this clip
  // (not yet linked as a child). Null on failure.
  clip *ClipDuplicate(clip *source);
  int GetChildCount() const { return childcount; }
  clip *GetChild(int i) const { return i >= 0 && i < childcount ? children[i] : nullptr; }
  clip *GetParentClip() const { return parentclip; }
  clip *GetRootClip();
  int GetTrack() const { return track; }
  void SetTrack(int t) { track = t < 0 ? 0 : t; }
  // Passes this clip's musical time down to every descendant.
  void PropagateMTimeParms();

  // ---- Kinds, sources, format ----
  static bool check_clip_src_type(int id);
  bool AddClipSource(int id);
  clipsrc *GetClipSource() const { return source; }
  bool IsArrangement() const { return arrangement; }
  // Turns a clip without media into an arrangement of the given picture size (used to build
  // sub-arrangements); false when the work surfaces cannot be made.
  bool MakeArrangement(int format_id);
  bool ChangeVideoFormat(int id);
  bool ChangeVideoFps(int id);
  int GetVideoFormat() const { return videoformat; }
  int GetFpsOption() const { return fpsoption; }
  int GetFps() const { return fps; }
  // Width and height of a picture-size ID (320 x 240 for an unknown one).
  static clipformat FormatOf(int id);
  static clipfps FpsOf(int id);
  bool CheckVideo();
  bool CheckAudio();
  bool CheckVideoStream();
  bool CheckAudioStream();
  void ClipCollectState();
  bool GetCollectedVideo() const { return statevideo; }
  bool GetCollectedAudio() const { return stateaudio; }
  RECT GetSurfaceRectangle() const { return outputrect; }
  HWND GetWindow();
  int ctEnd() { return GetPosition() + GetSize(); }
  bool ClipIsActive() const {
    return currenttime >= offset && int64_t(currenttime) <= int64_t(offset) + size;
  }
  bool GetAudioMute() const { return audiomuted; }
  bool GetVideoMute() const { return videomuted; }
  void SetAudioMute(bool m) { audiomuted = m; }
  void SetVideoMute(bool m) { videomuted = m; }
  clip *GetAudioMaster() const { return audiomaster; }
  // "Make Audio Master": only this child is heard; null removes the master.
  bool SetAudioMaster(clip *child);

  // ---- Media ----
  mmstream *GetStreamReader() const { return stream; }
  roa *GetAVIReader() const { return avi; }
  rwav *GetWaveReader() const { return wav; }
  KORSurface *GetFrameSurface() const { return frame; }
  // True after a load or import whose media file could not be found or opened.
  bool IsMediaMissing() const { return mediamissing; }
  // Opens a media file into this clip, trying the image, WAV and stream readers in this
  // order. 1 on success, 0 on failure.
  int ClipImport(const char *file);
  // "Save Current Project ?" with Yes (the default), No and Cancel before a project is
  // replaced: IDYES, IDNO or IDCANCEL.
  static int AskForSave();

  // ---- Clip time mapper ----
  int CTMGetValue(int t);
  uint32_t CTMReset();
  // The source's duration in ms (0 without a stream or AVI reader).
  int MediaDuration() const;

  // ---- Effects ----
  // Appends a new effect of that type (null for an unknown type or a full chain).
  effectVideo *VideoEffectAdd(int type);
  effectAudio *AudioEffectAdd(int type);
  // Removes and destroys the effect at index i; false when there is none.
  bool VideoEffectDelete(int i);
  bool AudioEffectDelete(int i);
  int GetVideoEffectCount() const { return videoeffectcount; }
  int GetAudioEffectCount() const { return audioeffectcount; }
  effectVideo *GetVideoEffect(int i) const {
    return i >= 0 && i < videoeffectcount ? videoeffects[i] : nullptr;
  }
  effectAudio *GetAudioEffect(int i) const {
    return i >= 0 && i < audioeffectcount ? audioeffects[i] : nullptr;
  }
  void SetCurrentVideoEffect(int i) { currentvideoeffect = i; }
  int GetCurrentVideoEffect() const { return currentvideoeffect; }
  // True for a clip that is not an arrangement and has an "Extra Output" effect.
  bool ExtraOutputs();
  // The clip's opacity and volume variables from its effects exist (opacity: the pre-effect
  // opacity or an "Opacity" effect; volume: a "Volume/Pan" effect).
  bool HasOpacity();
  bool HasVolume();

  // ---- Variables (one declaration each from the table) ----
  bool ClipAddVarsSrcDstRect();
  bool ClipAddVarsColor();
  bool ClipAddVarsFont();
  bool ClipAddVarsShadow();
  bool ClipAddVarsGradient();
  VEMO_CLIP_VARIABLES(VEMO_CLIP_TV_DECLARE)

  // ---- Worker and critical section (worker.cpp) ----
  // A root with a window starts its worker at construction; a headless root on the first
  // StartWorker, PostJob or StartMaking. Both end it before the tree is destroyed.
  bool StartWorker();
  // Posts a job (CLIP_JOB_*) to the root's worker; false once quit was posted or without one.
  bool PostJob(int job);
  // The worker's handler: 3 composes the root, 4 makes through the stored plugin, 5 plays.
  static int ThreadHandler(unsigned int job, void *root);
  // Waits until the root's worker is idle; false without a worker or when it is quitting.
  bool WaitForIdle();
  // A critical section nests; its start waits for a running job to end, and a job posted inside
  // it waits for the outermost end.
  int ClipCriticalStart();
  int ClipCriticalEnd();
  int GetCriticalCount() const { return criticalcount.load(); }
  // Shows a processing message through the root's callback; false when nobody listens.
  bool ProcessingMessage(const char *text);
  // The receiver of the processing messages of this root's tree (empty: none).
  using message_fn = std::function<void(const char *text)>;
  void SetProcessingCallback(message_fn fn);
  // Keeps the host alive during long work: calls the root's pump (twice per made frame).
  void WinMsgs();
  using pump_fn = std::function<void()>;
  void SetMessagePump(pump_fn fn) { pumpfn = std::move(fn); }

  // ---- Making (making.cpp) ----
  // Told after each made frame: frames done so far and the frame count.
  using progress_fn = std::function<void(int done, int count)>;
  void SetMakeProgress(progress_fn fn) { progressfn = std::move(fn); }
  // Where the make loop takes frame i's picture from instead of composing it itself (frames
  // composed ahead elsewhere); empty: the root composes.
  using frames_fn = std::function<KORSurface *(int i)>;
  void SetFrameSource(frames_fn fn) { makeframes = std::move(fn); }
  // Where the make loop takes frame i's sound from instead of mixing it itself; empty: the root
  // mixes.
  using sounds_fn = std::function<int16_t *(int i)>;
  void SetSoundSource(sounds_fn fn) { makesounds = std::move(fn); }
  // Asks the stop of the running make before its next frame; while playing, ends the play job
  // at once (waiting for it unless called from the worker) and cleans the media players up. 128.
  uint32_t Stop();
  bool IsStopPending() const { return stoppending.load(); }
  int GetBusyState() const { return busystate.load(); }
  // The make command: decides what is made, asks for the output file ("Select Export File
  // Name"), forces the plugin's extension onto it, sets the plugin up and makes on the calling
  // thread. 1 when the whole range was made, 0 when nothing could be, 128 when stopped.
  int StartMaking(imgio_export *plugin);
  // The same without questions: makes into `path` (the plugin's extension forced onto it).
  int ClipMakeFile(imgio_export *plugin, const char *path);
  // The make loop over the make range with the plugin already set up; the same results.
  int ClipMakeOutput(imgio_export *plugin);
  // The output wave format of making (makeformat.cpp): PCM, extra size 0, from a choice of
  // 95 (16-bit stereo 44.1 kHz), 122, 90, 91, 120, 121, 92; any other gives 8-bit mono
  // 11.025 kHz. StartMaking sets 95 when sound is made. Always true.
  bool InitWFX(int choice);
  const WAVEFORMATEX &GetOutputFormat() const { return outputformat; }
  // The project's texts handed to the export plugin before it opens; an empty title stands
  // for the root's name. Kept with the root while it lives.
  struct projecttexts {
    std::string title, author, copyright, comment;
  };
  void SetProjectTexts(const projecttexts &t) { GetRootClip()->texts = t; }
  const projecttexts &GetProjectTexts() { return GetRootClip()->texts; }
  // The preference (per-user "prefs" data set, value "1" for on) behind "Output file opens
  // when made.": the made file goes to the desktop's opener.
  static constexpr const char *kPrefOpenMadeFile = "OpenMadeFile";

  // ---- Playing (playing.cpp) ----
  // Where the play job puts what it makes ahead (the host's queue, not owned); null: playing
  // does nothing.
  void SetPlayOutput(playqueue *q) { GetRootClip()->playout = q; }
  playqueue *GetPlayOutput() { return GetRootClip()->playout; }
  // The host's edit log (engine/editlog.h), kept by the root; null records nothing.
  void SetEditLog(editlog *l) { GetRootClip()->edits = l; }
  editlog *GetEditLog() { return GetRootClip()->edits; }
  // Starts the play job: the root's composite from `ms` on, or with `media` the current child's
  // own medium from the child's current position in it. Ends a running play first and resets
  // the queue to the start time (the host keeps its sound device from pulling meanwhile).
  // False without a queue, without a current child with a medium, or when the worker refuses.
  bool PlayStart(int ms, bool media);
  // The play job (on the worker): makes pictures and sound ahead into the queue until the end,
  // a stop, or (media) the end of the medium; then clears the playing state. 1.
  int ClipPlay(unsigned int job);
  // Composing pictures whose time has not passed, the job keeps the sound this far ahead of
  // what is heard; a picture whose frame has already gone by is dropped.
  static constexpr int kPlaySoundLeadMs = 500;
  // Frame i of a make of `count` frames over [start, start + length): the exact times in 64-bit
  // integers so that the frame lengths add up to the range.
  static int64_t MakeFrameTime(int start, int length, int count, int i) {
    return count > 0 ? int64_t(start) + int64_t(i) * length / count : start;
  }
  // Frame n of a make from 0 starts at FrameStart(n); FrameAt(t) is the frame shown at t, the
  // last one starting at or before t.
  static int FrameStart(int n, int fps) { return fps > 0 ? int(int64_t(n) * 1000 / fps) : 0; }
  static int FrameAt(int t, int fps) {
    return fps > 0 && t >= 0 ? int(((int64_t(t) + 1) * fps - 1) / 1000) : 0;
  }
  // The sound bytes of a frame of `ms` milliseconds: 44.1 sample frames per ms, 4 bytes each.
  static int64_t MakeAudioBytes(int64_t ms) { return (ms * 441 / 10) * 4; }
  // What the make loop hands on for a frame of `ms`: as much of that as one mix holds.
  static int MakeSoundBytes(int64_t ms) {
    return int(std::min<int64_t>(MakeAudioBytes(ms), CLIP_AUDIO_WORK_BYTES));
  }
  // The frames of a make of `length` ms at `fps` frames per second.
  static int MakeFrameCount(double fps, int length) { return length > 0 ? int(fps * length / 1000.0) : 0; }
  // Makes only frames [first, last) of the make range (last < 0: up to its end). Frame times,
  // frame indices and sound lengths stay those of the whole range, so that segments made
  // apart join into the whole make.
  void SetMakeFrames(int first, int last) {
    makefirst = first;
    makelast = last;
  }

  // ---- Composition (compose.cpp) ----
  // Composes an arrangement's picture at its current time into its destination surface.
  int ClipVideoComposite(uint32_t flags);
  // Brings one child's picture up to date and adds it to the parent's destination surface.
  int ClipVideoUpdate(clip *parent, uint32_t flags, bool blend);
  // Scales `picture` through the rectangles onto the parent's destination, its alpha first moved
  // by the opacity's step (0 moves nothing).
  int CompositeToParent(KORSurface *picture, frect source, frect destination, clip *parent, bool blend,
                        double opacity = 0.0);
  // The root's composition for the display (flags 1); "Done!"; marks the window for redraw
  // (the root's redraw callback); 1.
  int ClipComposite();
  using redraw_fn = std::function<void()>;
  void SetRedrawCallback(redraw_fn fn) { redrawfn = std::move(fn); }
  KORSurface *GetWorkSurface(int place) const {
    return place >= 0 && place < CLIP_WORK_SURFACES ? worksurfaces[place] : nullptr;
  }
  // The finished picture: the destination surface of the root.
  KORSurface *GetDestinationSurface() const { return worksurfaces[CLIP_SURFACE_DESTINATION]; }
  // Hands the finished destination surface over and takes `s` (of the same size) in its place:
  // the destination is cleared before each composition, so nothing of it is lost. Returns the
  // surface handed over, or null (nothing exchanged) when the sizes differ.
  KORSurface *ExchangeDestinationSurface(KORSurface *s);
  // Gives the clip a 1280 x 1024 current frame surface; the surface, or null.
  KORSurface *AddDrawingSurface();

  // ---- Audio (mixing.cpp) ----
  bool AudioBufferAllocate(int size);
  static int ClipTime2AudioBlockTime(int t);
  bool ClipAudioUpdate(uint32_t flags);
  bool ClipAudioGetData(void *out, int ms, int *bytes);
  int ClipAudioGet44100(int16_t *out, int16_t *work1, int16_t *work2, int ms, int bytes);
  // The made sound of the `ms` from the current time into out, `bytes` long: cleared, then each
  // clip that sounds adds its own (ClipAudioUpdate for making, then ClipAudioGet44100).
  void MixMadeSound(int16_t *out, int16_t *work1, int16_t *work2, int ms, int bytes);
  // One allocation of three two-second internal buffers; the first, the others through
  // `second` and `third`. Kept by the clip and freed by Reset.
  int16_t *ClipAllocAudioProcessingBuffer(int16_t **second, int16_t **third);
  // The wave format of the clip's sound (stream, else AVI, else WAVE reader); null without.
  const WAVEFORMATEX *AudioFormat() const;
  // Copies the volume curve of child `c` (its "Volume/Pan" effect's "IDS_VOLUME") into
  // `curve` for display; false when it has none.
  bool ClipGetAudioEnveloppe(clip *c, timefloat *curve);
  int GetAudioTime() const { return audiotime; }
  int GetFirstBlockTime() const { return firstblocktime; }
  int GetCurrentBlockCount() const { return currentblockcount; }

  // ---- Arrangement view (arrangement.cpp) ----
  uint32_t ArrZoomIn();
  uint32_t ArrZoomOut();
  uint32_t ArrZoomAll();
  uint32_t ArrBandIn();
  uint32_t ArrBandOut();
  uint32_t ArrBandAll();
  uint32_t ClipZoomOut();
  int ArrDragDelta();
  int ClipResetArrangeSlider();
  // Closes the time gap the last deletion left on its track: later children on that track
  // move earlier by the deleted clip's length. QA_UPDATE when something moved, else 0.
  uint32_t ArrMakeSpace();
  // Places every child's arrangement rectangle for the track area `area`; an empty area
  // lays out one pixel per millisecond of the visible span.
  RECT ArrLayout(RECT area);
  // What lies under a point of the view: the ruler, a clip's body or one of its ends (the
  // outer kArrEdge pixels of a clip at least 3 * kArrEdge wide), an empty track, or nothing.
  enum : int { ARR_NONE = 0, ARR_RULER, ARR_TRACK, ARR_CLIP, ARR_HEAD, ARR_TAIL };
  static constexpr int kArrEdge = 5;
  struct arrhit {
    int part = ARR_NONE;
    clip *child = nullptr;  // for ARR_CLIP, ARR_HEAD and ARR_TAIL
    int track = -1;         // the track under the point (tracks and clips)
    int time = 0;           // the time under the point (view time, ms)
  };
  // Later children lie above earlier ones, so the last child whose rectangle holds the point wins.
  arrhit ArrHitTest(POINT pt);
  // The view time at client x and the client x of a time, by the layout's own rounding.
  int ArrTimeAt(int x) const;
  int ArrXAt(int t) const;
  // Moves the view start by `ms` within 0 .. length - visible span; QA_UPDATE when it moved.
  uint32_t ArrScroll(int ms);
  // Draws the view: ruler, tracks, clips with names and sound envelopes, the make range, the
  // locator and the time slider (arrangedraw.cpp).
  int ArrDraw(HDC hdc);
  // The view's mouse: select, move across time and tracks, trim either end, scrub the ruler,
  // zoom and scroll with the wheel (arrangemouse.cpp).
  uint32_t QAHandleArrOpts(HWND hwnd, uint32_t message, POINT pt, int keys);
  void SetViewStart(int t) { viewstart = t < 0 ? 0 : t; }
  // The drag: where it started and where the mouse is now (client x).
  void ArrSetDrag(int start_x, int now_x) {
    dragstartx = start_x;
    dragnowx = now_x;
  }
  int GetVisibleSpan() const { return visiblespan; }
  void SetVisibleSpan(int span) { visiblespan = span; }
  int GetViewStart() const { return viewstart; }
  int GetBandHeight() const { return bandheight; }
  void SetBandHeight(int h) { bandheight = h < 10 ? 10 : h > 512 ? 512 : h; }
  RECT GetArrangeArea() const { return arrarea; }
  void SetArrangeArea(RECT r) { arrarea = r; }
  RECT GetArrangeRect() const { return arrrect; }
  int GetMakeStart() const { return makestart; }
  int GetMakeEnd() const { return makeend; }
  void SetMakeRange(int from, int to) {
    makestart = from;
    makeend = to;
  }
  int GetDisplayState() const { return displaystate; }
  void SetDisplayState(int s) { displaystate = s & 0xFF; }

  // ---- Project files (projectfile.cpp) ----
  // Saves this clip as a project at `path` through a temporary file in the same folder that
  // is renamed over the target. False (the old file untouched) on any failure.
  bool ProjectSave(const char *path);
  // Loads the project at `path` into this clip; its folder is searched for missing media.
  bool ProjectLoad(const char *path);
  // The clip's own record, without its children: block, variables with their keys, effects.
  // Save is SaveOwn followed by each child's Save. 1 on success, 0 on failure.
  int SaveOwn(FILE *f);
  // Puts the clip back to a record SaveOwn wrote, keeping its children (and its open medium
  // when the record names the same one). False when the record cannot be read; the clip may
  // then be changed in part.
  bool LoadOwn(FILE *f);
  // A clip loaded whole from a saved record, ready to be inserted into this one (not yet
  // linked as a child). Null when the record cannot be read.
  clip *ClipLoadChild(FILE *f);
  // The project file this root was loaded from or saved to (empty for a new project).
  const char *GetProjectPath();

 private:
  // The plugin's information before it opens: the make length and the project's texts (each
  // only when present and at most 499 characters).
  void MakeTellPlugin(imgio_export *plugin, int length);
  // After a make: the made file goes to the desktop's opener when the preference is on.
  void MakeOpenResult(imgio_export *plugin);
  friend class clipsrc;
  bool CommandBody(const char *command, char *result);
  bool ArrangementCommand(const std::vector<std::string> &args, char *result, bool *handled);
  bool RootCommand(const std::vector<std::string> &args, char *result);
  void EndWorker();  // waits for the worker, posts quit and joins it
  void ClipClear();  // destroys children, effects (the first steps of Load and Reset)
  void ClipClearChildren();
  void ClipClearEffects();
  void LinkChild(clip *child);
  void CloseMedia();
  void FreeWorkSurfaces();
  void DeclareClipVars();
  void SyncEffectExtent();
  void ResetCompositionCache();
  bool LoadBody(FILE *f, int depth);
  // Opens the medium the block names again (loading); a missing one marks the clip.
  void ReopenSavedMedia();
  // Stores the picture size of an arrangement without making its surfaces yet.
  void SetPictureSize(int format_id);
  // Makes the work surfaces of an arrangement that has none yet; false when they cannot be.
  bool EnsureWorkSurfaces();
  void DrawEditMarks(clip *parent, KORSurface *current, effectVideo *fx);
  bool ReadVideoFrame();
  void FillAudioBlock(uint8_t *block, int s);
  // Hands each run of the source bytes of the `ms` from the audio time, within the blocks and in
  // order, to take(bytes, count); false where the clip's sound is not 8 or 16-bit mono or stereo.
  template <class Take>
  bool ForEachSourceRun(int ms, Take take);
  bool MissingFile(const char *file, std::string &use);
  void PlayArrangement();
  void PlayMedia();

  clip *parentclip = nullptr;
  clipsrc *source = nullptr;
  KORSurface *frame = nullptr;  // current frame surface
  bool ownsframe = false;       // a still or a generator's picture; readers own theirs
  mmstream *stream = nullptr;
  roa *avi = nullptr;
  rwav *wav = nullptr;
  KORSurface *worksurfaces[CLIP_WORK_SURFACES] = {};
  clip *audiomaster = nullptr;
  clip *currentchild = nullptr;
  int32_t childcount = 0;
  clip *children[CLIP_MAX_CHILDREN] = {};
  RECT outputrect{};
  uint8_t *workbuffers[CLIP_AUDIO_BLOCKS] = {};
  int16_t *processingbuffer = nullptr;
  int16_t *processing2 = nullptr;
  int16_t *processing3 = nullptr;
  // The source samples of a span that outgrow a work buffer (a high rate read at a low frame
  // rate); grown once to the largest span asked for, then reused.
  std::vector<uint8_t> widesource;
  int32_t audioeffectcount = 0;
  int32_t currentaudioeffect = -1;
  effectAudio *audioeffects[CLIP_MAX_EFFECTS] = {};
  int32_t videoeffectcount = 0;
  int32_t currentvideoeffect = -1;
  effectVideo *videoeffects[CLIP_MAX_EFFECTS] = {};
  bool arrangement = false;
  int32_t track = 0;
  bool audiomuted = false;
  bool videomuted = false;
  int32_t videoformat = kDefaultFormat;
  int32_t fpsoption = kDefaultFps;
  int32_t fps = 15;
  int32_t trackcount = 0;
  int32_t bandheight = 40;
  int32_t visiblespan = 0;
  RECT arrrect{};

  // Arrangement view.
  int32_t viewstart = 0;
  int32_t rememberedspan = 0;
  int32_t rememberedstart = 0;
  RECT arrarea{};
  int32_t dragstartx = 0;
  int32_t dragnowx = 0;
  int32_t gaptrack = -1;  // the time gap of the last deletion
  int32_t gapstart = 0;
  int32_t gaplength = 0;
  int32_t makestart = 0;
  int32_t makeend = 0;
  int makefirst = 0;  // the frames made, of the make range's frames
  int makelast = -1;
  int32_t displaystate = 0;
  int32_t locator = -1;

  // The editing window (root): panes, the drag in progress, the tip and the help topic.
  RECT previewrect{};
  RECT editorrect{};
  UIItemTextRC editortitle;  // what the editor shows: the clip, and the effect when it is one
  RECT rulerrect{};
  RECT trackheadrect{};
  int32_t edittarget = EDIT_CLIP;
  enum : int { DRAG_NONE, DRAG_MOVE, DRAG_HEAD, DRAG_TAIL, DRAG_SCRUB, DRAG_EDITOR };
  int32_t dragmode = DRAG_NONE;
  clip *dragclip = nullptr;
  int32_t dragpos = 0, dragsize = 0, dragoffset = 0, dragtrack = 0;
  bool dragchanged = false;
  std::string tiptext;
  RECT tiprect{};
  int32_t helptopic = 0;
  // Starts a step of the edit log about `c` (null: no clip changes yet); EndEdit closes it,
  // dropping it when nothing changed.
  void BeginEdit(const char *what, clip *c);
  void EndEdit(bool changed);
  uint32_t EditorAction(HWND hwnd, uint32_t message, POINT pt, int keys);
  uint32_t EffectCommand(int command);

  // Collected state.
  bool statevideo = false;
  bool stateaudio = false;
  bool statevideostream = false;
  bool stateaudiostream = false;
  bool statemakeable = false;
  bool mediamissing = false;

  // Composition cache: the source time of the frame last read.
  int32_t lastreadtime = INT32_MIN;
  // The pictures the "Extra Output" effects took from the chain this frame, one per effect in
  // chain order, kept from frame to frame so that none is allocated per frame.
  struct surface_deleter {
    void operator()(KORSurface *s) const;
  };
  std::vector<std::unique_ptr<KORSurface, surface_deleter>> extrapictures;
  // A copy of `current` in extra picture k (made or resized when needed); null on failure.
  KORSurface *KeepExtraPicture(int k, KORSurface *current);
  // A chain of pointwise effects runs on the picture already scaled to its place on the parent,
  // kept here from frame to frame (grown when too small).
  std::unique_ptr<KORSurface, surface_deleter> placedpicture;
  // The effect chain and the scaling onto the parent the other way round, which gives the same
  // pixels when every effect that runs is pointwise over the whole picture; -1, with nothing
  // done, where that does not hold or the scalings cannot be fused.
  int CompositePointwiseChain(KORSurface *src, RECT prs, frect destination, clip *parent, bool blend,
                              bool listening);
  // True when this child is sure to cover the whole of the parent's destination with alpha 255
  // this frame, so that nothing drawn before it shows.
  bool HidesWhatLiesBelow(const clip *parent);
  // True when every video effect that runs this frame on a w x h picture keeps an opaque
  // picture opaque.
  bool EffectsKeepOpaque(int w, int h);

  // Audio blocks.
  int32_t blocksize = 0;
  int32_t audiotime = 0;
  int32_t firstblocktime = 0;
  int32_t currentblockcount = 0;
  uint8_t *currentblocks[CLIP_AUDIO_BLOCKS] = {};

  // Worker of a root; the latest job wins, no queue, no mutex.
  clipworker *worker = nullptr;
  imgio_export *makeplugin = nullptr;
  bool makehasaudio = false;
  bool makehasvideo = false;
  alignas(4) WAVEFORMATEX outputformat{};  // its 32-bit fields aligned for callers that bind them
  projecttexts texts;
  pump_fn pumpfn;
  progress_fn progressfn;
  // Above zero while the interface thread changes the tree: the worker starts no job then.
  frames_fn makeframes;
  sounds_fn makesounds;
  std::atomic<int32_t> criticalcount{0};
  std::atomic<int32_t> busystate{0};  // 1 making, 2 playing
  playqueue *playout = nullptr;
  editlog *edits = nullptr;
  bool playmedia = false;  // the play job plays the current child's medium
  redraw_fn redrawfn;
  std::atomic<bool> stoppending{false};
  message_fn messagefn;
  std::string projectpath;

  clipData block{};
};

#undef VEMO_CLIP_TV_DECLARE

// The name of the undo step an object command (its first word) makes ("Move" for "Place");
// null for a command that changes nothing in the project (saving, rendering, queries).
const char *EditStepName(const std::string &verb);
// Sends a command to any object of a clip tree (a clip, an effect, a variable) as one undo
// step of the clip that owns it, when its root has an edit log.
bool EditCommand(UIItem *object, const char *command, char *result);
