// Project files: a clip saved as its block, variables, effects and children, recursively;
// loading in the same order; atomic saving to a path; duplication through a temporary file.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "effects/effect.h"
#include "effects/keptrecord.h"
#include "effects/plugineffects.h"
#include "engine/clip.h"
#include "engine/clipsource.h"
#include "engine/editlog.h"

namespace {

template <size_t N>
void Terminate(char (&s)[N]) {
  s[N - 1] = 0;
}

// Makes and loads `count` effects of the types in `types`, in chain order, appending them to
// list[n]. An effect this build cannot make has its record read past and kept as bytes, so that
// saving writes it back unchanged. False when a record cannot be read.
template <class Effect, class Kept>
bool LoadEffects(FILE *f, clip *owner, vemowin *window, surface *surfaces, int length, const int32_t *types,
                 int count, Effect **list, int &n) {
  for (int i = 0; i < count; ++i) {
    Effect *e = Effect::EffectNew(types[i], owner, window, surfaces);
    if (!e) {
      const long start = std::ftell(f);
      {
        Effect skip;
        skip.initEffect(owner, window, surfaces);
        if (!skip.Load(f) || std::feof(f)) return false;
      }
      std::vector<uint8_t> bytes;
      if (!ReadKeptRecord(f, start, std::ftell(f), bytes)) continue;
      Kept *kept = new Kept(types[i], std::move(bytes));
      kept->SetPoSiz(0, length);
      list[n++] = kept;
      continue;
    }
    if (!e->Load(f) || std::feof(f)) {
      delete e;
      return false;
    }
    e->SetPoSiz(0, length);
    list[n++] = e;
  }
  return true;
}

}  // namespace

// ---- Saving ----

int clip::Save(FILE *f) {
  if (!SaveOwn(f)) return 0;
  for (int i = 0; i < childcount; ++i)
    if (!children[i]->Save(f)) return 0;
  return 1;
}

int clip::SaveOwn(FILE *f) {
  if (!f) return 0;
  block.start = GetPosition();
  block.length = GetSize();
  block.offset = offset;
  block.makestart = makestart;
  block.makeend = makeend;
  block.track = track;
  block.audiomuted = audiomuted ? 1 : 0;
  block.videomuted = videomuted ? 1 : 0;
  block.childcount = childcount;
  block.notarrangement = arrangement ? 0 : 1;
  block.videoeffectcount = videoeffectcount;
  block.audioeffectcount = audioeffectcount;
  for (int i = 0; i < CLIP_MAX_EFFECTS; ++i) {
    block.videoeffectids[i] = i < videoeffectcount ? videoeffects[i]->GetID() : 0;
    block.audioeffectids[i] = i < audioeffectcount ? audioeffects[i]->GetID() : 0;
  }
  block.medialength = avi ? avi->duration : 0;
  block.audiomaster = -1;
  for (int i = 0; i < childcount; ++i)
    if (children[i] == audiomaster) block.audiomaster = i;
  block.videoformat = videoformat;
  block.fpsoption = fpsoption;
  block.displaystate = (block.displaystate & ~0xFF) | (displaystate & 0xFF);
  if (source)
    block.sourcetype = source->Type();
  else
    block.sourcetype = arrangement && parentclip ? CLIP_SRC_ARRANGEMENT : CLIP_SRC_NONE;

  if (SizedDataWrite(f, &block, sizeof block) != 1) return 0;
  if (!tfSave(f)) return 0;
  for (int i = 0; i < videoeffectcount; ++i)
    if (!videoeffects[i]->Save(f)) return 0;
  for (int i = 0; i < audioeffectcount; ++i)
    if (!audioeffects[i]->Save(f)) return 0;
  return 1;
}

bool clip::ProjectSave(const char *path) {
  if (!path || !*path) return false;
  const std::string target = path;
  const size_t slash = target.rfind(PATH_SEPARATOR);
  const std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : target.substr(0, slash);
  std::string tmp = dir + (dir.back() == PATH_SEPARATOR ? "" : "/") + ".lvsave-XXXXXX";
  const int fd = mkstemp(tmp.data());
  if (fd < 0) return false;
  // The new file takes the old one's permissions, or the usual ones for a new file.
  struct stat st;
  mode_t mode;
  if (stat(path, &st) == 0) {
    mode = st.st_mode & 07777;
  } else {
    const mode_t mask = umask(0);
    umask(mask);
    mode = 0666 & ~mask;
  }
  fchmod(fd, mode);
  FILE *f = fdopen(fd, "wb");
  if (!f) {
    close(fd);
    unlink(tmp.c_str());
    return false;
  }
  bool ok = Save(f) == 1;
  ok = std::fflush(f) == 0 && ok;
  ok = fsync(fileno(f)) == 0 && ok;
  ok = std::fclose(f) == 0 && ok;
  if (!ok || std::rename(tmp.c_str(), path) != 0) {
    unlink(tmp.c_str());
    return false;
  }
  if (!parentclip) {
    projectpath = path;
    if (edits) edits->Saved(path);
  }
  SetClean();
  return true;
}

// ---- Loading ----

int clip::Load(FILE *f) {
  ClipCriticalStart();
  const bool ok = LoadBody(f, 0);
  ClipCriticalEnd();
  return ok ? 1 : 0;
}

bool clip::LoadBody(FILE *f, int depth) {
  if (!f || depth > CLIP_MAX_DEPTH) return false;
  // Empty the clip: children and effects, and whatever media or generator it had.
  ClipClear();
  delete source;
  source = nullptr;
  CloseMedia();
  mediamissing = false;

  {
    auto in = std::make_unique<clipData>();
    if (!SizedDataRead(f, in.get(), sizeof *in)) return false;
    block = *in;
  }
  block.size = CLIP_BLOCK_SIZE;
  Terminate(block.name);
  Terminate(block.filename);
  Terminate(block.text);
  Terminate(block.fontname);
  UISetName(block.name);
  if (block.childcount < 0 || block.childcount > CLIP_MAX_CHILDREN || block.videoeffectcount < 0 ||
      block.videoeffectcount > CLIP_MAX_EFFECTS || block.audioeffectcount < 0 ||
      block.audioeffectcount > CLIP_MAX_EFFECTS)
    return false;
  arrangement = block.notarrangement == 0;
  track = block.track < 0 ? 0 : block.track;
  audiomuted = block.audiomuted != 0;
  videomuted = block.videomuted != 0;
  makestart = block.makestart;
  makeend = block.makeend;
  displaystate = block.displaystate & 0xFF;
  videoformat = block.videoformat;
  ChangeVideoFps(block.fpsoption);
  if (block.textalign < 0 || block.textalign > 2) block.textalign = 0;

  const int type = block.sourcetype;
  bool media = false;
  if (type == CLIP_SRC_ARRANGEMENT) {
    // A sub-arrangement is one whatever its flag says (it is saved so the next time).
    arrangement = true;
  } else {
    if (!block.filename[0] && !check_clip_src_type(type)) {
      arrangement = true;
    } else if (block.filename[0] && !arrangement) {
      media = true;
      ReopenSavedMedia();
    }
  }

  DeclareClipVars();
  // A media clip keeps its pre-effect opacity also when its medium is missing, so its keys
  // survive the next save.
  if (media) TV_IDS_START_OPACITY();
  if (arrangement) {
    // The root's work surfaces are made now; a sub-arrangement's when it is first composed,
    // so a file of many small records cannot claim a project's worth of pictures each.
    if (parentclip) {
      SetPictureSize(block.videoformat);
    } else if (!ChangeVideoFormat(block.videoformat)) {
      return false;
    }
  } else if (check_clip_src_type(type)) {
    AddClipSource(type);
  }

  if (!tfLoad(f) || std::feof(f)) return false;
  // Length, start and offset as saved: the offset is restored without moving the clip.
  SetSize(block.length);
  SetPosition(block.start);
  offset = block.offset;

  // Plugin effects bind the library their records name instead of asking for one.
  effectloadscope loading_effects;
  if (!LoadEffects<effectVideo, effectKeptVideo>(f, this, wincontext, surfaces, size, block.videoeffectids,
                                                 block.videoeffectcount, videoeffects, videoeffectcount) ||
      !LoadEffects<effectAudio, effectKeptAudio>(f, this, wincontext, surfaces, size, block.audioeffectids,
                                                 block.audioeffectcount, audioeffects, audioeffectcount))
    return false;
  if (videoeffectcount) currentvideoeffect = 0;
  if (audioeffectcount) currentaudioeffect = 0;

  for (int i = 0; i < block.childcount; ++i) {
    clip *c = new clip(wincontext);
    if (!ClipInsertChild(c)) {
      delete c;
      return false;
    }
    if (!c->LoadBody(f, depth + 1)) return false;
    if (i == block.audiomaster) audiomaster = c;
  }
  currentchild = childcount ? children[0] : nullptr;

  if (!parentclip) {
    WaitForIdle();
    PropagateMTimeParms();
    if (arrangement && !ChangeVideoFormat(block.videoformat)) return false;
    ChangeVideoFps(block.fpsoption);
    ClipCollectState();
    // A damaged file can hold times whose sum leaves the int range: held at its ends.
    const int64_t t = int64_t(currenttime) + position - offset;
    SetCurrentTime(int(std::clamp<int64_t>(t, INT32_MIN, INT32_MAX)));
    SetClean();
  }
  return true;
}

void clip::ReopenSavedMedia() {
  // The import names the clip after its file; the saved name stands. A file that cannot be
  // opened keeps its name in the block, so the next save still names it.
  char name[CLIP_NAME_SIZE];
  std::memcpy(name, block.name, sizeof name);
  char file[CLIP_FILENAME_SIZE];
  std::memcpy(file, block.filename, sizeof file);
  if (!ClipImport(file)) {
    mediamissing = true;
    std::memcpy(block.filename, file, sizeof file);
  }
  std::memcpy(block.name, name, sizeof name);
  UISetName(block.name);
}

bool clip::ProjectLoad(const char *path) {
  if (!path || !*path) return false;
  FILE *f = std::fopen(path, "rb");
  if (!f) return false;
  if (!parentclip) projectpath = path;
  const bool ok = Load(f) == 1;
  std::fclose(f);
  if (ok && !parentclip && edits) edits->Loaded(path);
  return ok;
}

// ---- A clip's own record ----

bool clip::LoadOwn(FILE *f) {
  auto in = std::make_unique<clipData>();
  if (!f || !SizedDataRead(f, in.get(), sizeof *in)) return false;
  clipData &b = *in;
  b.size = CLIP_BLOCK_SIZE;
  Terminate(b.name);
  Terminate(b.filename);
  Terminate(b.text);
  Terminate(b.fontname);
  if (b.videoeffectcount < 0 || b.videoeffectcount > CLIP_MAX_EFFECTS || b.audioeffectcount < 0 ||
      b.audioeffectcount > CLIP_MAX_EFFECTS)
    return false;
  // A record never turns a root or a clip with children into anything but an arrangement.
  if (b.notarrangement != 0 && (!parentclip || childcount > 0)) return false;
  ClipCriticalStart();
  ClipClearEffects();
  // The medium or generator is opened again only when the record names another one: taking
  // back a move of a video clip must not reopen its file.
  const bool newsource = b.sourcetype != block.sourcetype || std::strcmp(b.filename, block.filename) != 0 ||
                         (b.notarrangement == 0) != arrangement;
  const bool newtext = std::strcmp(b.text, block.text) != 0 || std::strcmp(b.fontname, block.fontname) != 0 ||
                       b.textalign != block.textalign;
  if (newsource) {
    delete source;
    source = nullptr;
    CloseMedia();
    mediamissing = false;
  }
  block = b;
  UISetName(block.name);
  arrangement = block.notarrangement == 0;
  track = block.track < 0 ? 0 : block.track;
  audiomuted = block.audiomuted != 0;
  videomuted = block.videomuted != 0;
  makestart = block.makestart;
  makeend = block.makeend;
  displaystate = block.displaystate & 0xFF;
  ChangeVideoFps(block.fpsoption);
  if (block.textalign < 0 || block.textalign > 2) block.textalign = 0;
  if (newsource && block.sourcetype != CLIP_SRC_ARRANGEMENT) {
    if (block.filename[0] && !arrangement) {
      ReopenSavedMedia();
    } else if (check_clip_src_type(block.sourcetype)) {
      AddClipSource(block.sourcetype);
    }
  } else if (newtext && source) {
    source->Invalidate();
  }
  if (arrangement && block.videoformat != videoformat) {
    if (parentclip)
      SetPictureSize(block.videoformat);
    else
      ChangeVideoFormat(block.videoformat);
  }
  videoformat = block.videoformat;

  bool ok = tfLoadExact(f) != 0;
  SetSize(block.length);
  SetPosition(block.start);
  offset = block.offset;
  if (ok) {
    effectloadscope loading_effects;
    ok = LoadEffects<effectVideo, effectKeptVideo>(f, this, wincontext, surfaces, size, block.videoeffectids,
                                                   block.videoeffectcount, videoeffects, videoeffectcount) &&
         LoadEffects<effectAudio, effectKeptAudio>(f, this, wincontext, surfaces, size, block.audioeffectids,
                                                   block.audioeffectcount, audioeffects, audioeffectcount);
  }
  if (videoeffectcount) currentvideoeffect = 0;
  if (audioeffectcount) currentaudioeffect = 0;
  audiomaster = block.audiomaster >= 0 && block.audiomaster < childcount ? children[block.audiomaster] : nullptr;
  ResetCompositionCache();
  ClipCriticalEnd();
  return ok;
}

const char *clip::GetProjectPath() { return GetRootClip()->projectpath.c_str(); }

// ---- Duplication ----

clip *clip::ClipLoadChild(FILE *f) {
  if (!f) return nullptr;
  clip *c = new clip(wincontext);
  c->SetParent(this);
  c->parentclip = this;
  c->surfaces = surfaces;
  if (c->Load(f) != 1) {
    delete c;
    return nullptr;
  }
  return c;
}

clip *clip::ClipDuplicate(clip *src) {
  if (!src) return nullptr;
  BusyStart();
  // The copy travels through memory: saved into a growing buffer, loaded back from it.
  clip *c = nullptr;
  char *bytes = nullptr;
  size_t length = 0;
  if (FILE *out = open_memstream(&bytes, &length)) {
    const bool saved = src->Save(out) == 1;
    if (std::fclose(out) == 0 && saved && length > 0)
      if (FILE *in = fmemopen(bytes, length, "rb")) {
        c = ClipLoadChild(in);
        std::fclose(in);
      }
  }
  std::free(bytes);
  BusyEnd();
  return c;
}
