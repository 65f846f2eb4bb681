// clip: the record, the tree and its tracks, kinds and formats, variables, the clip time mapper,
// effects of a clip, the small queries and the critical section.
#include "engine/clip.h"
#include "engine/editlog.h"

#include <strings.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "core/dialogs.h"
#include "core/vemowin.h"
#include "effects/effect.h"
#include "engine/clipsource.h"
#include "engine/editlog.h"
#include "time/declared_vars.h"

namespace {

template <size_t N>
bool CopyString(char (&dst)[N], const char *src) {
  if (!src) src = "";
  std::strncpy(dst, src, N - 1);
  dst[N - 1] = 0;
  return std::strlen(src) < N;
}

constexpr const char *kDefaultFont = "DejaVu Sans";

}  // namespace

// ---- Tables ----

const clipformat clip::VIDEO_FORMAT_TABLE[13] = {
    {80, 160, 120},  {488, 176, 120}, {489, 176, 144}, {81, 240, 180}, {82, 320, 240},
    {639, 352, 240}, {640, 352, 288}, {83, 400, 300},  {84, 480, 360}, {85, 640, 480},
    {86, 800, 600},  {321, 720, 480}, {320, 720, 576},
};
const int clip::CLIP_VIDEO_FORMATS[14] = {80, 488, 489, 81, 82, 639, 640, 83, 84, 85, 86, 321, 320, 0};

const clipfps clip::FPS_TABLE[9] = {
    {128, 1}, {129, 2}, {132, 5}, {133, 10}, {134, 15}, {137, 20}, {135, 25}, {638, 24}, {136, 30},
};
const int clip::CLIP_FPS_OPTIONS[10] = {128, 129, 132, 133, 134, 137, 135, 638, 136, 0};

clipformat clip::FormatOf(int id) {
  for (const clipformat &f : VIDEO_FORMAT_TABLE)
    if (f.id == id) return f;
  return clipformat{kDefaultFormat, 320, 240};
}

clipfps clip::FpsOf(int id) {
  for (const clipfps &f : FPS_TABLE)
    if (f.id == id) return f;
  return clipfps{kDefaultFps, 15};
}

// ---- Lifecycle ----

clip::clip(vemowin *context) {
  null();
  wincontext = context;
  DeclareClipVars();
}

clip::clip(vemowin *context, HWND hwnd) {
  null();
  wincontext = context;
  window = hwnd;
  DeclareClipVars();
  arrangement = true;
  ChangeVideoFormat(kDefaultFormat);
  ChangeVideoFps(kDefaultFps);
  if (window) StartWorker();
}

clip::~clip() {
  EndWorker();
  delete source;
  source = nullptr;
  ClipClear();
  for (uint8_t *&b : workbuffers) {
    std::free(b);
    b = nullptr;
  }
  std::free(processingbuffer);
  CloseMedia();
  FreeWorkSurfaces();
}

void clip::null() {
  parentclip = nullptr;
  source = nullptr;
  frame = nullptr;
  ownsframe = false;
  stream = nullptr;
  avi = nullptr;
  wav = nullptr;
  for (KORSurface *&s : worksurfaces) s = nullptr;
  audiomaster = nullptr;
  currentchild = nullptr;
  childcount = 0;
  for (clip *&c : children) c = nullptr;
  outputrect = RECT{0, 0, 320, 240};
  for (uint8_t *&b : workbuffers) b = nullptr;
  processingbuffer = processing2 = processing3 = nullptr;
  audioeffectcount = videoeffectcount = 0;
  currentaudioeffect = currentvideoeffect = -1;
  for (effectAudio *&e : audioeffects) e = nullptr;
  for (effectVideo *&e : videoeffects) e = nullptr;
  arrangement = false;
  track = 0;
  audiomuted = videomuted = false;
  videoformat = kDefaultFormat;
  fpsoption = kDefaultFps;
  fps = 15;
  trackcount = 0;
  bandheight = 40;
  visiblespan = 0;
  arrrect = RECT{};
  viewstart = rememberedspan = rememberedstart = 0;
  arrarea = RECT{};
  dragstartx = dragnowx = 0;
  gaptrack = -1;
  gapstart = gaplength = 0;
  makestart = makeend = 0;
  displaystate = 0;
  statevideo = stateaudio = statevideostream = stateaudiostream = statemakeable = false;
  mediamissing = false;
  lastreadtime = INT32_MIN;
  blocksize = 0;
  audiotime = firstblocktime = currentblockcount = 0;
  for (uint8_t *&b : currentblocks) b = nullptr;
  worker = nullptr;
  makeplugin = nullptr;
  makehasaudio = makehasvideo = false;
  makefirst = 0;
  makelast = -1;
  criticalcount = 0;
  busystate = 0;
  stoppending = false;
  SizedDataInit(&block, sizeof block);
  block.audiomaster = -1;
}

void clip::ClipClearChildren() {
  for (int i = 0; i < childcount; ++i) {
    delete children[i];
    children[i] = nullptr;
  }
  childcount = 0;
  currentchild = nullptr;
  audiomaster = nullptr;
}

void clip::ClipClear() {
  ClipClearChildren();
  ClipClearEffects();
}

void clip::ClipClearEffects() {
  for (int i = 0; i < videoeffectcount; ++i) {
    delete videoeffects[i];
    videoeffects[i] = nullptr;
  }
  videoeffectcount = 0;
  currentvideoeffect = -1;
  for (int i = 0; i < audioeffectcount; ++i) {
    delete audioeffects[i];
    audioeffects[i] = nullptr;
  }
  audioeffectcount = 0;
  currentaudioeffect = -1;
}

void clip::CloseMedia() {
  mediareaders::StreamCloseRead(stream);
  stream = nullptr;
  mediareaders::AVIReadClose(avi);
  avi = nullptr;
  mediareaders::WaveFileReadClose(wav);
  wav = nullptr;
  // A reader's frame surface went with its reader; a still or a generator's picture is ours.
  if (ownsframe) surface::SurfaceDelete(frame);
  if (!arrangement) frame = nullptr;
  ownsframe = false;
  ResetCompositionCache();
}

void clip::FreeWorkSurfaces() {
  for (KORSurface *&s : worksurfaces) {
    if (frame == s) frame = nullptr;
    surface::SurfaceDelete(s);
    s = nullptr;
  }
}

void clip::ResetCompositionCache() { lastreadtime = INT32_MIN; }

uint32_t clip::Reset() {
  ClipCriticalStart();
  delete source;
  source = nullptr;
  ClipClear();
  for (uint8_t *&b : workbuffers) {
    std::free(b);
    b = nullptr;
  }
  std::free(processingbuffer);
  processingbuffer = processing2 = processing3 = nullptr;
  blocksize = 0;
  currentblockcount = 0;
  // Readers and their surfaces; an arrangement's current frame surface is one of its work
  // surfaces and is only forgotten.
  CloseMedia();
  if (arrangement) frame = nullptr;
  FreeWorkSurfaces();
  // The record starts afresh too: a new project writes zeros where the old file had its own.
  SizedDataInit(&block, sizeof block);
  block.audiomaster = -1;
  audiomuted = videomuted = false;
  makestart = makeend = 0;
  displaystate = 0;
  UISetName("");
  mediamissing = false;
  if (!parentclip) projectpath.clear();
  const uint32_t r = vemotime::Reset();
  ClipCriticalEnd();
  return r | QA_UPDATE;
}

// ---- Record ----

bool clip::SetName(const char *n) {
  const bool whole = CopyString(block.name, n);
  UISetName(block.name);
  return whole;
}

bool clip::SetFileName(const char *path) { return CopyString(block.filename, path); }

bool clip::ClipSetText(const char *text) {
  const bool whole = CopyString(block.text, text);
  if (source) source->Invalidate();
  return whole;
}

const char *clip::GetFont() const { return block.fontname[0] ? block.fontname : kDefaultFont; }

bool clip::ClipSetFont(const char *family) {
  const bool whole = CopyString(block.fontname, family);
  if (source) source->Invalidate();
  return whole;
}

// ---- Time ----

uint32_t clip::SetCurrentTime(int t) {
  vemotime::SetCurrentTime(t);
  for (int i = 0; i < childcount; ++i) children[i]->SetCurrentTime(currenttime);
  // Effects span their clip: position 0, so their time is the clip's local time.
  for (int i = 0; i < videoeffectcount; ++i) videoeffects[i]->SetCurrentTime(currenttime);
  for (int i = 0; i < audioeffectcount; ++i) audioeffects[i]->SetCurrentTime(currenttime);
  return QA_UPDATE;
}

uint32_t clip::SetPosition(int p) { return vemotime::SetPosition(p); }

uint32_t clip::SetSize(int s) {
  const uint32_t r = vemotime::SetSize(s);
  SyncEffectExtent();
  return r;
}

uint32_t clip::SetOffset(int o) {
  const uint32_t r = vemotime::SetOffset(o);
  SyncEffectExtent();
  return r;
}

void clip::SyncEffectExtent() {
  for (int i = 0; i < videoeffectcount; ++i) videoeffects[i]->SetPoSiz(0, size);
  for (int i = 0; i < audioeffectcount; ++i) audioeffects[i]->SetPoSiz(0, size);
}

uint32_t clip::Commit() {
  uint32_t r = vemotime::Commit();
  for (int i = 0; i < videoeffectcount; ++i) r |= videoeffects[i]->Commit();
  for (int i = 0; i < audioeffectcount; ++i) r |= audioeffects[i]->Commit();
  for (int i = 0; i < childcount; ++i) r |= children[i]->Commit();
  return r;
}

uint32_t clip::Revert() {
  uint32_t r = vemotime::Revert();
  for (int i = 0; i < videoeffectcount; ++i) r |= videoeffects[i]->Revert();
  for (int i = 0; i < audioeffectcount; ++i) r |= audioeffects[i]->Revert();
  for (int i = 0; i < childcount; ++i) r |= children[i]->Revert();
  return r;
}

// ---- Tree and tracks ----

clip *clip::GetRootClip() {
  clip *c = this;
  while (c->parentclip) c = c->parentclip;
  return c;
}

void clip::LinkChild(clip *child) {
  SetChild(*child);
  child->parentclip = this;
  children[childcount++] = child;
  SelectCurrent(child);
  PropagateMTimeParms();
}

bool clip::ClipInsertChild(clip *child) {
  if (!child || childcount >= CLIP_MAX_CHILDREN) return false;
  LinkChild(child);
  if (editlog *log = GetEditLog()) log->Inserted(child);
  return true;
}

bool clip::ClipInsertChildAt(clip *child, int index) {
  if (!child || childcount >= CLIP_MAX_CHILDREN) return false;
  LinkChild(child);
  if (index < 0) index = 0;
  for (int j = childcount - 1; j > index; --j) children[j] = children[j - 1];
  if (index < childcount) children[index] = child;
  if (editlog *log = GetEditLog()) log->Inserted(child);
  return true;
}

uint32_t clip::ChildDelete(clip *child) {
  for (int i = 0; i < childcount; ++i)
    if (children[i] == child)
      if (editlog *log = GetEditLog()) log->Removing(child);
  if (audiomaster == child) audiomaster = nullptr;
  for (int i = 0; i < childcount; ++i) {
    if (children[i] != child) continue;
    gaptrack = child->track;
    gapstart = child->GetPosition();
    gaplength = child->GetSize();
    delete child;
    for (int j = i; j + 1 < childcount; ++j) children[j] = children[j + 1];
    children[--childcount] = nullptr;
    break;
  }
  currentchild = childcount > 0 ? children[0] : nullptr;
  return QA_UPDATE;
}

uint32_t clip::ArrangeChildDelete() {
  if (!currentchild) return 0;
  std::string text = "Are You Sure? Do you really want to delete:\n";
  text += currentchild->GetName();
  if (Dialogs().MessageBox(GetWindow(), text.c_str(), "Question", boxbuttons::yesno, boxicon::question) !=
      IDYES)
    return 0;
  // The gap closes and the tracks compress, so every sibling may move: all are in the step.
  editstep step(this, "Delete");
  // (ChildDelete records the removal itself.)
  if (editlog *log = GetEditLog())
    for (int i = 0; i < childcount; ++i)
      if (children[i] != currentchild) log->Changing(children[i]);
  ClipCriticalStart();
  uint32_t r = ChildDelete(currentchild);
  r |= ArrMakeSpace();
  ClipCompressTracks();
  ClipCriticalEnd();
  return r | QA_CHANGED;
}

int clip::ClipTrackCount() {
  int highest = -1;
  for (int i = 0; i < childcount; ++i)
    if (children[i]->track > highest) highest = children[i]->track;
  // The highest track number an int holds counts as the last one.
  trackcount = highest == INT32_MAX ? INT32_MAX : highest + 1;
  return trackcount;
}

int clip::ClipTrackFree(int t) {
  editlog *log = GetEditLog();
  for (int i = 0; i < childcount; ++i)
    if (children[i]->track >= t && children[i]->track < INT32_MAX) {
      if (log) log->Changing(children[i]);
      ++children[i]->track;
    }
  return ClipTrackCount();
}

bool clip::ClipChildTrackCheck(clip *child, int t) {
  if (!child) return false;
  const int64_t s1 = child->GetPosition(), e1 = s1 + child->GetSize();
  for (int i = 0; i < childcount; ++i) {
    clip *c = children[i];
    if (c == child || c->track != t) continue;
    const int64_t s2 = c->GetPosition(), e2 = s2 + c->GetSize();
    if (std::max(s1, s2) < std::min(e1, e2)) return false;
  }
  // Always true in practice: the band height never falls below 10.
  return bandheight >= 1;
}

int clip::ClipCompressTracks() {
  ArrLayout(arrarea);
  for (bool moved = true; moved;) {
    moved = false;
    for (int i = 0; i < childcount; ++i) {
      clip *c = children[i];
      if (c->track <= 0) continue;
      bool blocked = false;
      for (int j = 0; j < childcount && !blocked; ++j) {
        const clip *o = children[j];
        if (o == c || o->track != c->track - 1) continue;
        blocked = std::min(o->arrrect.right, c->arrrect.right) > std::max(o->arrrect.left, c->arrrect.left);
      }
      if (!blocked && c->arrrect.bottom - c->arrrect.top > 0) {
        if (editlog *log = GetEditLog()) log->Changing(c);
        --c->track;
        ArrLayout(arrarea);
        moved = true;
      }
    }
  }
  return 0;
}

void clip::PropagateMTimeParms() {
  for (int i = 0; i < childcount; ++i) {
    clip *c = children[i];
    c->mt = mt;
    c->mt.SetParent(c);
    c->PropagateMTimeParms();
  }
}

bool clip::SetAudioMaster(clip *child) {
  if (!child) {
    audiomaster = nullptr;
    return true;
  }
  for (int i = 0; i < childcount; ++i)
    if (children[i] == child) {
      audiomaster = child;
      return true;
    }
  return false;
}

// ---- Kinds, sources and format ----

bool clip::check_clip_src_type(int id) {
  static constexpr int kTypes[] = {CLIP_SRC_TEXT, CLIP_SRC_GRADIENT, 0};
  for (int i = 0; kTypes[i]; ++i)
    if (kTypes[i] == id) return true;
  return false;
}

bool clip::AddClipSource(int id) {
  if (source) return false;
  clipsrc *s = clipsrc::Create(id, this);
  if (!s) return false;
  // The picture is the parent's size, the project's picture.
  const RECT r = parentclip ? parentclip->outputrect : outputrect;
  source = s;
  s->width = r.right - r.left;
  s->height = r.bottom - r.top;
  // Generated pictures carry their own alpha; a fresh generator keeps it (pre-effect opacity
  // 0). A load replaces this key with the saved curve.
  TV_IDS_START_OPACITY();
  if (timefloat *tf = FindTimeFloat(clipvar::IDS_START_OPACITY)) {
    tf->Reset();
    tf->SetValue(0, 0.0);
    tf->Commit();
  }
  if (!s->Setup()) {
    source = nullptr;
    delete s;
    return false;
  }
  KORSurface *pic = surface::SurfaceCreate(s->width, s->height);
  if (!pic) {
    source = nullptr;
    delete s;
    return false;
  }
  if (ownsframe) surface::SurfaceDelete(frame);
  frame = pic;
  ownsframe = true;
  block.sourcetype = id;
  ResetCompositionCache();
  return true;
}

bool clip::MakeArrangement(int format_id) {
  if (source || stream || avi || wav || (frame && !arrangement)) return false;
  arrangement = true;
  return ChangeVideoFormat(format_id);
}

bool clip::ChangeVideoFormat(int id) {
  if (!arrangement) return true;
  const clipformat f = FormatOf(id);
  for (KORSurface *&slot : worksurfaces) {
    // A surface of the right size already serves: its pixels never outlive a composition.
    if (slot && slot->width == f.width && slot->height == f.height) continue;
    KORSurface *s = surface::SurfaceCreate(f.width, f.height);
    if (!s) return false;
    if (&slot == &worksurfaces[CLIP_SURFACE_DESTINATION])
      surface::SurfacePrefault(s);  // drawn on every frame
    if (frame == slot) frame = nullptr;
    surface::SurfaceDelete(slot);
    slot = s;
  }
  videoformat = id;
  outputrect = RECT{0, 0, f.width, f.height};
  if (!window) {
    frame = worksurfaces[CLIP_SURFACE_OUTPUT];
    ownsframe = false;
  }
  return true;
}

void clip::SetPictureSize(int id) {
  FreeWorkSurfaces();
  const clipformat f = FormatOf(id);
  videoformat = id;
  outputrect = RECT{0, 0, f.width, f.height};
}

KORSurface *clip::ExchangeDestinationSurface(KORSurface *s) {
  KORSurface *&dst = worksurfaces[CLIP_SURFACE_DESTINATION];
  const RECT a = surface::SurfaceGetRect(dst), b = surface::SurfaceGetRect(s);
  if (!dst || !s || a.right != b.right || a.bottom != b.bottom) return nullptr;
  std::swap(dst, s);
  return s;
}

bool clip::EnsureWorkSurfaces() {
  if (!arrangement) return false;
  for (KORSurface *s : worksurfaces)
    if (!s) return ChangeVideoFormat(videoformat);
  return true;
}

bool clip::ChangeVideoFps(int id) {
  const clipfps f = FpsOf(id);
  fpsoption = f.id;
  fps = f.fps;
  return true;
}

bool clip::CheckVideo() {
  if (videomuted) return false;
  if (!arrangement) return frame != nullptr;
  for (int i = 0; i < childcount; ++i)
    if (children[i]->CheckVideo()) return true;
  return false;
}

bool clip::CheckAudio() {
  if (audiomuted) return false;
  if (!arrangement) return CheckAudioStream();
  for (int i = 0; i < childcount; ++i)
    if (children[i]->CheckAudio()) return true;
  return false;
}

bool clip::CheckVideoStream() {
  if (!arrangement) return frame != nullptr;
  for (int i = 0; i < childcount; ++i)
    if (children[i]->CheckVideoStream()) return true;
  return false;
}

bool clip::CheckAudioStream() {
  if (!arrangement)
    return (stream && stream->audiovalid) || (avi && avi->audiovalid) ||
           (wav && wav->valid && wav->datasize > 0);
  for (int i = 0; i < childcount; ++i)
    if (children[i]->CheckAudioStream()) return true;
  return false;
}

void clip::ClipCollectState() {
  stateaudio = CheckAudio();
  statevideo = CheckVideo();
  stateaudiostream = CheckAudioStream();
  statevideostream = CheckVideoStream();
  // An arrangement with a window of its own is made from the main menu, not its own.
  statemakeable = !(arrangement && window);
}

HWND clip::GetWindow() { return GetRootClip()->window; }

// ---- Clip time mapper ----

int clip::MediaDuration() const {
  if (stream) return stream->duration;
  if (avi) return avi->duration;
  return 0;
}

int clip::CTMGetValue(int t) {
  if ((!stream && !avi) || !frame) return t;
  const timefloat *tf = FindTimeFloat(clipvar::IDS_CLIPTIMEMAPPER);
  if (!tf) return t;
  const double v = tf->GetValue(t);
  const double mapped = double(MediaDuration()) * v;
  if (!(mapped > double(INT32_MIN) && mapped < double(INT32_MAX))) return mapped > 0 ? INT32_MAX : INT32_MIN;
  return int(mapped);
}

uint32_t clip::CTMReset() {
  timefloat *tf = FindTimeFloat(clipvar::IDS_CLIPTIMEMAPPER);
  if (!tf) return 0;
  tf->Reset();
  tf->SetValue(0, 0.0);
  tf->SetValue(MediaDuration(), 1.0);
  tf->Commit();
  return QA_CHANGED;
}

// ---- Effects ----

effectVideo *clip::VideoEffectAdd(int type) {
  if (videoeffectcount >= CLIP_MAX_EFFECTS) return nullptr;
  effectVideo *e = effectVideo::EffectNew(type, this, wincontext, surfaces);
  if (!e) return nullptr;
  e->SetPoSiz(0, size);
  e->SetCurrentTime(currenttime);
  currentvideoeffect = videoeffectcount;
  videoeffects[videoeffectcount++] = e;
  return e;
}

effectAudio *clip::AudioEffectAdd(int type) {
  if (audioeffectcount >= CLIP_MAX_EFFECTS) return nullptr;
  effectAudio *e = effectAudio::EffectNew(type, this, wincontext, surfaces);
  if (!e) return nullptr;
  e->SetPoSiz(0, size);
  e->SetCurrentTime(currenttime);
  currentaudioeffect = audioeffectcount;
  audioeffects[audioeffectcount++] = e;
  return e;
}

bool clip::VideoEffectDelete(int i) {
  if (i < 0 || i >= videoeffectcount) return false;
  delete videoeffects[i];
  for (int j = i; j + 1 < videoeffectcount; ++j) videoeffects[j] = videoeffects[j + 1];
  videoeffects[--videoeffectcount] = nullptr;
  if (currentvideoeffect >= videoeffectcount) currentvideoeffect = videoeffectcount - 1;
  return true;
}

bool clip::AudioEffectDelete(int i) {
  if (i < 0 || i >= audioeffectcount) return false;
  delete audioeffects[i];
  for (int j = i; j + 1 < audioeffectcount; ++j) audioeffects[j] = audioeffects[j + 1];
  audioeffects[--audioeffectcount] = nullptr;
  if (currentaudioeffect >= audioeffectcount) currentaudioeffect = audioeffectcount - 1;
  return true;
}

bool clip::ExtraOutputs() {
  if (arrangement) return false;
  for (int i = 0; i < videoeffectcount; ++i)
    if (videoeffects[i]->GetID() == 182) return true;
  return false;
}

bool clip::HasOpacity() {
  if (FindTimeFloat(clipvar::IDS_START_OPACITY)) return true;
  for (int i = 0; i < videoeffectcount; ++i)
    if (videoeffects[i]->GetID() == 103) return true;
  return false;
}

bool clip::HasVolume() {
  for (int i = 0; i < audioeffectcount; ++i)
    if (audioeffects[i]->GetID() == 142) return true;
  return false;
}

// ---- Variables ----

// Each row is looked up in the table once; declaring is frequent (every clip, every load).
#define VEMO_CLIP_TV_DEFINE(key, number)                         \
  int clip::TV_##key() {                                         \
    static const tfdecl *const row = FindDeclaredVariable(#key); \
    return row ? DeclareVariable(tfmgr, *row) : 0;               \
  }
VEMO_CLIP_VARIABLES(VEMO_CLIP_TV_DEFINE)
#undef VEMO_CLIP_TV_DEFINE

void clip::DeclareClipVars() {
  ClipAddVarsSrcDstRect();
  TV_IDS_CLIP_VARS();
  TV_IDS_CLIPTIMEMAPPER();
}

bool clip::ClipAddVarsSrcDstRect() {
  // The declarations of RectCreateSource and RectCreateDestination, with the rows found once.
  static const char *const kNames[] = {"IDS_SRC_RECT", "IDS_SRC_L", "IDS_SRC_T", "IDS_SRC_R", "IDS_SRC_B",
                                       "IDS_DST_RECT", "IDS_DST_L", "IDS_DST_T", "IDS_DST_R", "IDS_DST_B"};
  static const auto rows = [] {
    std::array<const tfdecl *, std::size(kNames)> r{};
    for (size_t i = 0; i < r.size(); ++i) r[i] = FindDeclaredVariable(kNames[i]);
    return r;
  }();
  for (const tfdecl *row : rows)
    if (row) DeclareVariable(tfmgr, *row);
  return true;
}

bool clip::ClipAddVarsColor() {
  TV_IDS_COLOR_FG();
  TV_IDS_COLOR_FG_R();
  TV_IDS_COLOR_FG_G();
  TV_IDS_COLOR_FG_B();
  TV_IDS_COLOR_FG_A();
  TV_IDS_COLOR_BG();
  TV_IDS_COLOR_BG_R();
  TV_IDS_COLOR_BG_G();
  TV_IDS_COLOR_BG_B();
  TV_IDS_COLOR_BG_A();
  return true;
}

bool clip::ClipAddVarsFont() {
  TV_IDS_STR_FONTVARS();
  TV_IDS_STR_FONTSIZE();
  TV_IDS_STR_FONTWEIGHT();
  TV_IDS_STR_ITALIC();
  TV_IDS_STR_UNDERLINE();
  return true;
}

bool clip::ClipAddVarsShadow() {
  TV_IDS_STR_SHADOWVARS();
  TV_IDS_STR_SDIST();
  TV_IDS_STR_SANG();
  TV_IDS_STR_SINS();
  return true;
}

bool clip::ClipAddVarsGradient() {
  TV_IDS_COLOR_LT();
  TV_IDS_COLOR_LT_R();
  TV_IDS_COLOR_LT_G();
  TV_IDS_COLOR_LT_B();
  TV_IDS_COLOR_LT_A();
  TV_IDS_COLOR_RT();
  TV_IDS_COLOR_RT_R();
  TV_IDS_COLOR_RT_G();
  TV_IDS_COLOR_RT_B();
  TV_IDS_COLOR_RT_A();
  TV_IDS_COLOR_LB();
  TV_IDS_COLOR_LB_R();
  TV_IDS_COLOR_LB_G();
  TV_IDS_COLOR_LB_B();
  TV_IDS_COLOR_LB_A();
  TV_IDS_COLOR_RB();
  TV_IDS_COLOR_RB_R();
  TV_IDS_COLOR_RB_G();
  TV_IDS_COLOR_RB_B();
  TV_IDS_COLOR_RB_A();
  return true;
}

// ---- Worker and critical section ----

bool clip::ProcessingMessage(const char *text) {
  clip *root = GetRootClip();
  if (!root->messagefn) return false;
  root->messagefn(text ? text : "");
  return true;
}
