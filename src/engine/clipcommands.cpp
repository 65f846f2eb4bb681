// The clip's names and text commands: how the macro language finds children, effects and
// variables, and builds, changes, renders and makes arrangements.
//
// A refused command writes its reason into the result, returns false and changes nothing:
// every argument is checked before the first change.
#include <strings.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/commandline.h"
#include "effects/effect.h"
#include "engine/clip.h"
#include "engine/clipsource.h"
#include "engine/editlog.h"
#include "engine/project.h"
#include "media/plugins.h"
#include "media/surface.h"

namespace {

using words = std::vector<std::string>;

// Names compare without regard to case, and "_" matches a blank (macro words hold no blanks:
// "Chroma_Key", "Test_video").
bool SameName(const char *name, const std::string &asked) {
  const size_t n = std::strlen(name);
  if (n != asked.size() || n == 0) return false;
  for (size_t i = 0; i < n; ++i) {
    const char a = asked[i] == '_' ? ' ' : asked[i];
    const char b = name[i] == '_' ? ' ' : name[i];
    if (std::tolower(static_cast<unsigned char>(a)) != std::tolower(static_cast<unsigned char>(b)))
      return false;
  }
  return true;
}

bool ReadNumber(const std::string &text, double *v) {
  if (text.empty()) return false;
  char *end = nullptr;
  const double d = std::strtod(text.c_str(), &end);
  if (*end || !std::isfinite(d)) return false;
  *v = d;
  return true;
}

bool ReadInt(const std::string &text, int lo, int hi, int *v) {
  if (text.empty()) return false;
  char *end = nullptr;
  const long n = std::strtol(text.c_str(), &end, 10);
  if (*end || n < lo || n > hi) return false;
  *v = int(n);
  return true;
}

// Seconds as the engine reads them (single precision, truncated to ms); the whole word must
// be a number, where the engine would read "2x" as 2.
bool ReadSeconds(const std::string &text, int *ms) {
  double v = 0;
  return ReadNumber(text, &v) && vemo::StringToCliptime(text.c_str(), ms);
}

bool ReadSwitch(const std::string &text, bool *on) {
  if (text == "1" || strcasecmp(text.c_str(), "on") == 0)
    *on = true;
  else if (text == "0" || strcasecmp(text.c_str(), "off") == 0)
    *on = false;
  else
    return false;
  return true;
}

// "\n" in a typed text is a line break.
std::string Unescape(const std::string &text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == 'n') {
      out += '\n';
      ++i;
    } else {
      out += text[i];
    }
  }
  return out;
}

bool Answer(char *result, const std::string &text) {
  if (result) std::snprintf(result, UIITEM_RESULT_SIZE, "%s", text.c_str());
  return true;
}

bool Refuse(char *result, const std::string &why) {
  if (result) std::snprintf(result, UIITEM_RESULT_SIZE, "%s", why.c_str());
  return false;
}

// The effect type named by a number or a shown name; 0 when there is none.
int EffectTypeOf(const std::string &asked, effectkind *kind) {
  size_t count = 0;
  const effecttype *types = EffectTypes(&count);
  int number = 0;
  const bool numeric = ReadInt(asked, 1, 1 << 30, &number);
  for (size_t i = 0; i < count; ++i)
    if (numeric ? types[i].type == number : SameName(EffectName(types[i].type), asked)) {
      *kind = types[i].kind;
      return types[i].type;
    }
  return 0;
}

// A word for a list: quoted when it holds a blank.
std::string Listed(const char *name) {
  return std::strchr(name, ' ') ? "\"" + std::string(name) + "\"" : std::string(name);
}

}  // namespace

// ---- Names ----

// One step of a path: a child by name, "fxN"/"afxN", an effect by its shown name.
static UIItem *ResolveStep(clip *c, const std::string &n) {
  for (int i = 0; i < c->GetChildCount(); ++i)
    if (SameName(c->GetChild(i)->GetName(), n)) return c->GetChild(i);
  auto indexed = [&](const char *prefix, int count) -> int {
    const size_t len = std::strlen(prefix);
    if (n.size() <= len || strncasecmp(n.c_str(), prefix, len) != 0) return -1;
    int v = 0;
    return ReadInt(n.substr(len), 1, count, &v) && n[len] != '+' && n[len] != '-' ? v - 1 : -1;
  };
  if (int i = indexed("fx", c->GetVideoEffectCount()); i >= 0) return c->GetVideoEffect(i);
  if (int i = indexed("afx", c->GetAudioEffectCount()); i >= 0) return c->GetAudioEffect(i);
  for (int i = 0; i < c->GetVideoEffectCount(); ++i)
    if (SameName(EffectName(c->GetVideoEffect(i)->GetID()), n)) return c->GetVideoEffect(i);
  for (int i = 0; i < c->GetAudioEffectCount(); ++i)
    if (SameName(EffectName(c->GetAudioEffect(i)->GetID()), n)) return c->GetAudioEffect(i);
  return nullptr;
}

// A name below c: a step, a dotted path whose first part is a step (names may hold dots
// themselves, "poster.bmp", so every dot is tried from the left), or a timed-object name.
static UIItem *ResolveBelow(clip *c, const std::string &name) {
  if (UIItem *item = ResolveStep(c, name)) return item;
  for (size_t dot = name.find('.'); dot != std::string::npos && dot + 1 < name.size();
       dot = name.find('.', dot + 1))
    if (UIItem *step = ResolveStep(c, name.substr(0, dot)))
      if (UIItem *item = step->UIItemResolve(name.c_str() + dot + 1)) return item;
  return c->vemotime::UIItemResolve(name.c_str());
}

UIItem *clip::UIItemResolve(const char *n) {
  if (!n || !*n) return nullptr;
  const std::string name = n;
  // The root answers to its own name before its children do, so that a child of the same name
  // (sub-arrangements are called "Arrangement" too) is still reached as "Arrangement.Arrangement".
  if (!parentclip) {
    if (SameName(GetName(), name)) return this;
    const size_t own = std::strlen(GetName());
    if (name.size() > own + 1 && name[own] == '.' && SameName(GetName(), name.substr(0, own)))
      if (UIItem *item = ResolveBelow(this, name.substr(own + 1))) return item;
  }
  return ResolveBelow(this, name);
}

// ---- Commands ----

// The name of the undo step an object command makes; null for commands that are no edit
// (saving, loading, rendering, making, undoing itself).
const char *EditStepName(const std::string &verb) {
  static const char *const kNames[][2] = {
      {"Place", "Move"},          {"SetOffset", "Trim"},         {"AddEffect", "Add Effect"},
      {"RemoveEffect", "Delete Effect"}, {"AddMedia", "Import"}, {"AddText", "Add Text"},
      {"AddGradient", "Add Gradient"}, {"AddArrangement", "Add Arrangement"}, {"Delete", "Delete"},
      {"SetKey", "Set Key"},      {"SetValue", "Set Key"},       {"KillKey", "Delete Key"},
      {"Reset", "Delete Keys"},   {"SetFormat", "Picture Size"}, {"SetFps", "Frame Rate"},
      {"SetLength", "Length"},    {"SetText", "Text"},           {"SetFont", "Font"},
      {"MuteAudio", "Mute"},      {"MuteVideo", "Mute"},         {"AudioMaster", "Audio Master"},
      {"Rename", "Rename"},       {"Commit", "Commit"},          {"Revert", "Revert"},
      {"Split", "Split"},
  };
  for (const auto &n : kNames)
    if (verb == n[0]) return n[1];
  return nullptr;
}

bool clip::Command(const char *command, char *result) {
  const words a = SplitCommandLine(command, 64);
  editlog *log = GetEditLog();
  const char *step = a.empty() || !result ? nullptr : EditStepName(a[0]);
  if (!log || !step) return CommandBody(command, result);
  // Every command that may change the project is one undo step; one that changed nothing
  // (refused, or setting what was there) leaves no step.
  log->Begin(step);
  log->Changing(this);
  const bool ok = CommandBody(command, result);
  if (!ok) log->Cancel();
  log->End();
  return ok;
}

bool clip::CommandBody(const char *command, char *result) {
  const words a = SplitCommandLine(command, 64);
  if (a.empty() || !result) return vemotime::Command(command, result);
  const std::string &verb = a[0];
  const size_t n = a.size();
  int ms = 0, ms2 = 0, number = 0;
  bool on = false;

  if (verb == "GetType" && n == 1) return Answer(result, "clip");
  if (verb == "GetName" && n == 1) return Answer(result, GetName());
  if (verb == "Describe" && n == 1) {
    std::string text = DescribeClip(this);
    return Answer(result, text.substr(0, text.find('\n')));
  }
  if (verb == "Rename") {
    if (n != 2 || a[1].empty()) return Refuse(result, "usage: Rename NAME");
    if (parentclip)
      for (int i = 0; i < parentclip->GetChildCount(); ++i)
        if (parentclip->GetChild(i) != this && SameName(parentclip->GetChild(i)->GetName(), a[1]))
          return Refuse(result, "another clip is called " + a[1]);
    SetName(a[1].c_str());
    return Answer(result, GetName());
  }
  if (verb == "Place") {
    if (n < 3 || n > 4 || !ReadSeconds(a[1], &ms) || !ReadSeconds(a[2], &ms2) || ms2 <= 0 ||
        (n == 4 && !ReadInt(a[3], 0, CLIP_MAX_CHILDREN, &number)))
      return Refuse(result, "usage: Place START LENGTH [TRACK] (seconds, a length above 0, a track from 0)");
    SetPosition(ms);
    SetSize(ms2);
    if (n == 4) SetTrack(number);
    return Answer(result, "");
  }
  if (verb == "SetOffset") {
    if (n != 2 || !ReadSeconds(a[1], &ms) || ms < 0 || ms >= GetOffset() + GetSize())
      return Refuse(result, "usage: SetOffset SEC (from 0 to before the clip's end)");
    SetOffset(ms);
    return Answer(result, "");
  }
  if (verb == "Split") {
    // The clip ends at SEC and a copy of it goes on from there with its material, so the
    // picture and sound stay what they were.
    const int64_t start = GetPosition(), end = start + int64_t(GetSize());
    if (n != 2 || !ReadSeconds(a[1], &ms) || !parentclip || ms <= start || ms >= end)
      return Refuse(result, "usage: Split SEC (a time inside the clip, in its parent's time)");
    if (parentclip->GetChildCount() >= CLIP_MAX_CHILDREN) return Refuse(result, "the arrangement is full");
    std::string name;
    for (int k = 2; name.empty() || ResolveStep(parentclip, name); ++k) name = std::string(GetName()) + "_" + std::to_string(k);
    clip *copy = parentclip->ClipDuplicate(this);
    if (!copy) return Refuse(result, "the clip cannot be copied");
    const int cut = int(ms - start);
    copy->SetOffset(copy->GetOffset() + cut);
    copy->SetName(name.c_str());
    SetSize(cut);
    if (!parentclip->ClipInsertChild(copy)) {
      delete copy;
      return Refuse(result, "the arrangement is full");
    }
    return Answer(result, copy->GetName());
  }
  if (verb == "AddEffect") {
    effectkind kind = effectkind::video;
    const int type = n == 2 ? EffectTypeOf(a[1], &kind) : 0;
    if (!type)
      return Refuse(result, "usage: AddEffect TYPE|NAME (a known effect type; see docs/scripting.md)");
    const bool video = kind == effectkind::video;
    if ((video ? videoeffectcount : audioeffectcount) >= CLIP_MAX_EFFECTS)
      return Refuse(result, std::string("the ") + (video ? "video" : "audio") + " effect chain is full");
    if (video ? !VideoEffectAdd(type) : !AudioEffectAdd(type))
      return Refuse(result, "this build cannot make effect " + std::to_string(type) + " " + EffectName(type));
    return Answer(result,
                  (video ? "fx" : "afx") + std::to_string(video ? videoeffectcount : audioeffectcount));
  }
  if (verb == "RemoveEffect") {
    UIItem *fx = n == 2 ? ResolveStep(this, a[1]) : nullptr;
    for (int i = 0; fx && i < videoeffectcount; ++i)
      if (fx == videoeffects[i]) return VideoEffectDelete(i), Answer(result, "");
    for (int i = 0; fx && i < audioeffectcount; ++i)
      if (fx == audioeffects[i]) return AudioEffectDelete(i), Answer(result, "");
    return Refuse(result, "usage: RemoveEffect fxN|afxN|NAME (an effect of this clip)");
  }
  if (verb == "MuteAudio" || verb == "MuteVideo") {
    if (n != 2 || !ReadSwitch(a[1], &on)) return Refuse(result, "usage: " + verb + " 1|0");
    if (verb == "MuteAudio")
      SetAudioMute(on);
    else
      SetVideoMute(on);
    return Answer(result, "");
  }
  if (verb == "AudioMaster") {
    if (n != 2 || !ReadSwitch(a[1], &on)) return Refuse(result, "usage: AudioMaster 1|0");
    if (!parentclip) return Refuse(result, "the root has no parent to be heard alone in");
    if (editlog *log = GetEditLog()) log->Changing(parentclip);
    if (on)
      parentclip->SetAudioMaster(this);
    else if (parentclip->GetAudioMaster() == this)
      parentclip->SetAudioMaster(nullptr);
    return Answer(result, "");
  }
  if (verb == "SetText" || verb == "SetFont") {
    if (n != 2) return Refuse(result, "usage: " + verb + " TEXT (in double quotes when it holds blanks)");
    if (!source || source->Type() != CLIP_SRC_TEXT) return Refuse(result, "this clip is no text");
    if (verb == "SetText")
      ClipSetText(Unescape(a[1]).c_str());
    else
      ClipSetFont(a[1].c_str());
    return Answer(result, "");
  }
  if (verb == "Commit" && n == 1) return Commit(), Answer(result, "");
  if (verb == "Revert" && n == 1) return Revert(), Answer(result, "");
  if (IsArrangement()) {
    bool handled = false;
    const bool ok = ArrangementCommand(a, result, &handled);
    if (handled) return ok;
  }
  return vemotime::Command(command, result);
}

bool clip::ArrangementCommand(const std::vector<std::string> &a, char *result, bool *handled) {
  const std::string &verb = a[0];
  const size_t n = a.size();
  int ms = 0, ms2 = 0, track = 0;
  *handled = true;
  auto taken = [this](const std::string &name) {
    for (int i = 0; i < childcount; ++i)
      if (SameName(children[i]->GetName(), name)) return true;
    return false;
  };

  if (verb == "AddMedia" || verb == "AddText" || verb == "AddGradient" || verb == "AddArrangement") {
    const bool media = verb == "AddMedia";
    // AddMedia NAME FILE TRACK START [LENGTH]; the others NAME TRACK START LENGTH [TEXT].
    const size_t at = media ? 3 : 2;
    const bool shape = media ? n == 5 || n == 6 : n == 5 || (n == 6 && verb == "AddText");
    if (!shape || !ReadInt(a[at], 0, CLIP_MAX_CHILDREN, &track) || !ReadSeconds(a[at + 1], &ms) ||
        (n > at + 2 && !media && (!ReadSeconds(a[at + 2], &ms2) || ms2 <= 0)) ||
        (media && n == 6 && (!ReadSeconds(a[5], &ms2) || ms2 <= 0)))
      return Refuse(result, media ? "usage: AddMedia NAME FILE TRACK START [LENGTH] (seconds; a track from 0)"
                                  : "usage: " + verb + " NAME TRACK START LENGTH" +
                                        (verb == "AddText" ? " [TEXT]" : "") + " (seconds; a track from 0)");
    if (a[1].empty() || taken(a[1])) return Refuse(result, "a clip called " + a[1] + " is there already");
    if (childcount >= CLIP_MAX_CHILDREN) return Refuse(result, "the arrangement is full");
    clip *c =
        media ? ClipAddMedia(this, a[2].c_str(), ms, track, ms2)
        : verb == "AddArrangement"
            ? ClipAddArrangement(this, ms, ms2, track)
            : ClipAddGenerator(this, verb == "AddText" ? CLIP_SRC_TEXT : CLIP_SRC_GRADIENT, ms, ms2, track);
    if (!c) return Refuse(result, media ? "cannot import " + a[2] : "cannot make the clip");
    c->SetName(a[1].c_str());
    if (verb == "AddText" && n == 6) c->ClipSetText(Unescape(a[5]).c_str());
    return Answer(result, c->GetName());
  }
  if (verb == "Delete") {
    clip *c = nullptr;
    for (int i = 0; n == 2 && i < childcount; ++i)
      if (SameName(children[i]->GetName(), a[1])) c = children[i];
    if (!c) return Refuse(result, "usage: Delete NAME (a child of this arrangement)");
    ChildDelete(c);
    return Answer(result, "");
  }
  if (verb == "List" && n == 1) {
    std::string names;
    for (int i = 0; i < childcount; ++i) names += (i ? " " : "") + Listed(children[i]->GetName());
    return Answer(result, names);
  }
  if (verb == "SetFormat") {
    int w = 0, h = 0, id = 0;
    if (n == 3 && ReadInt(a[1], 1, 1 << 16, &w) && ReadInt(a[2], 1, 1 << 16, &h))
      for (const clipformat &f : VIDEO_FORMAT_TABLE)
        if (f.width == w && f.height == h) id = f.id;
    if (!id) {
      std::string sizes;
      for (const clipformat &f : VIDEO_FORMAT_TABLE)
        sizes += " " + std::to_string(f.width) + "x" + std::to_string(f.height);
      return Refuse(result, "usage: SetFormat WIDTH HEIGHT, one of" + sizes);
    }
    if (!ChangeVideoFormat(id)) return Refuse(result, "the picture surfaces cannot be made");
    return Answer(result, "");
  }
  if (verb == "SetFps") {
    int fpsasked = 0, id = 0;
    if (n == 2 && ReadInt(a[1], 1, 1000, &fpsasked))
      for (const clipfps &f : FPS_TABLE)
        if (f.fps == fpsasked) id = f.id;
    if (!id) {
      std::string rates;
      for (const clipfps &f : FPS_TABLE) rates += " " + std::to_string(f.fps);
      return Refuse(result, "usage: SetFps N, one of" + rates);
    }
    ChangeVideoFps(id);
    return Answer(result, "");
  }
  if (verb == "SetLength") {
    if (n != 2 || !ReadSeconds(a[1], &ms) || ms <= 0) return Refuse(result, "usage: SetLength SEC (above 0)");
    SetSize(ms);
    if (!parentclip) SetMakeRange(0, ms);
    return Answer(result, "");
  }
  if (verb == "Save") {
    if (n != 2) return Refuse(result, "usage: Save FILE.vmp");
    if (!ProjectSave(a[1].c_str())) return Refuse(result, "cannot save " + a[1]);
    return Answer(result, a[1]);
  }
  if (verb == "Undo" || verb == "Redo") {
    if (parentclip) return Refuse(result, verb + " works on the root arrangement only");
    editlog *log = GetEditLog();
    if (n != 1 || !log) return Refuse(result, "usage: " + verb + " (with the project's edit history)");
    const std::string name = verb == "Undo" ? log->UndoName() : log->RedoName();
    if (!(verb == "Undo" ? log->Undo() : log->Redo()))
      return Refuse(result, verb == "Undo" ? "there is nothing to undo" : "there is nothing to redo");
    return Answer(result, name);
  }
  if (verb == "Load" || verb == "Frame" || verb == "Make") {
    if (parentclip) return Refuse(result, verb + " works on the root arrangement only");
    return RootCommand(a, result);
  }
  *handled = false;
  return false;
}

bool clip::RootCommand(const std::vector<std::string> &a, char *result) {
  const std::string &verb = a[0];
  const size_t n = a.size();
  int ms = 0;
  if (verb == "Load") {
    if (n != 2) return Refuse(result, "usage: Load FILE.vmp");
    FILE *probe = std::fopen(a[1].c_str(), "rb");
    if (!probe) return Refuse(result, "no such project " + a[1]);
    std::fclose(probe);
    if (!ProjectLoad(a[1].c_str()) || !IsArrangement())
      return Refuse(result, a[1] + " is not a readable project");
    return Answer(result, GetName());
  }
  if (verb == "Frame") {
    if (n != 3 || !ReadSeconds(a[1], &ms) || a[2].size() < 5 ||
        strcasecmp(a[2].c_str() + a[2].size() - 4, ".bmp") != 0)
      return Refuse(result, "usage: Frame SEC FILE.bmp");
    SetCurrentTime(ms);
    if (!ClipVideoComposite(CLIP_COMPOSE_MAKE)) return Refuse(result, "the picture cannot be composed");
    if (!surface::SurfaceSave(GetDestinationSurface(), a[2].c_str()))
      return Refuse(result, "cannot write " + a[2]);
    return Answer(result, a[2]);
  }
  // Make FILE [format=NAME] [from=SEC] [to=SEC] [OPTION=VALUE ...]
  if (n < 2 || !surfaces)
    return Refuse(result, "usage: Make FILE [format=NAME] [from=SEC] [to=SEC] [OPTION=VALUE ...]");
  std::string format;
  int from = GetMakeStart();
  int to = GetMakeEnd() > GetMakeStart() ? GetMakeEnd() : GetSize();
  std::vector<std::pair<std::string, std::string>> options;
  for (size_t i = 2; i < n; ++i) {
    const size_t eq = a[i].find('=');
    if (eq == std::string::npos || eq == 0)
      return Refuse(result, "usage: Make FILE [format=NAME] [from=SEC] [to=SEC] [OPTION=VALUE ...]");
    const std::string key = a[i].substr(0, eq), value = a[i].substr(eq + 1);
    if (key == "format")
      format = value;
    else if (key == "from" && ReadSeconds(value, &from))
      continue;
    else if (key == "to" && ReadSeconds(value, &to))
      continue;
    else if (key == "from" || key == "to")
      return Refuse(result, key + " takes seconds");
    else
      options.emplace_back(key, value);
  }
  if (to <= from) return Refuse(result, "the range to make is empty");
  pluginlists &plugins = surfaces->Plugins();
  KORPlugin *plugin =
      format.empty() ? plugins.FindExportForFile(a[1].c_str()) : plugins.FindExport(format.c_str());
  if (!plugin || !plugin->object)
    return Refuse(result, format.empty() ? "no export plugin writes files like " + a[1]
                                         : "no export plugin called " + format);
  imgio_export *out = plugin->object;
  for (const auto &[key, value] : options)
    if (!out->SetOption(key.c_str(), value.c_str()))
      return Refuse(result, "the plugin does not take the option " + key + "=" + value +
                                " (it takes: " + out->GetOptionsText() + ")");
  if (!out->CanEncode(CheckAudio(), CheckVideo()))
    return Refuse(result, std::string(plugin->filename) + " cannot write what this project holds");
  const int oldstart = GetMakeStart(), oldend = GetMakeEnd();
  SetMakeRange(from, to);
  const int made = ClipMakeFile(out, a[1].c_str());
  SetMakeRange(oldstart, oldend);
  char file[imgio::kTextSize] = "";
  out->GetFileName(file, sizeof file);
  if (made != 1) {
    char why[imgio::kTextSize] = "";
    out->GetLastError(why, sizeof why);
    return Refuse(result, made == 128
                              ? std::string("stopped; the frames made so far are in ") + file
                              : "making " + a[1] + " failed" + (why[0] ? std::string(": ") + why : ""));
  }
  return Answer(result, file);
}

bool EditCommand(UIItem *object, const char *command, char *result) {
  if (!object) return false;
  if (dynamic_cast<clip *>(object)) return object->Command(command, result);
  // An effect or a variable belongs to the nearest clip above it.
  clip *owner = nullptr;
  for (vemo *v = object->GetParent(); v && !owner; v = v->GetParent()) owner = dynamic_cast<clip *>(v);
  editlog *log = owner ? owner->GetEditLog() : nullptr;
  const words a = SplitCommandLine(command, 64);
  const char *step = a.empty() || !result ? nullptr : EditStepName(a[0]);
  if (!log || !step) return object->Command(command, result);
  log->Begin(step);
  log->Changing(owner);
  const bool ok = object->Command(command, result);
  if (!ok) log->Cancel();
  log->End();
  return ok;
}
