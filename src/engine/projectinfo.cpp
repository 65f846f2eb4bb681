// The clip tree as text for printing: clips, tracks, times, media, effects and animated
// variables with their keys.
#include <cstdio>
#include <string>

#include "effects/effect.h"
#include "engine/clipsource.h"
#include "engine/project.h"

namespace {

// An effect's shown name; a type this build cannot make was kept as its record's bytes.
std::string Shown(int type) {
  const char *name = EffectName(type);
  return *name ? name : "(unknown type, kept unchanged)";
}

std::string Seconds(int ms) {
  char b[32];
  std::snprintf(b, sizeof b, "%.3f", ms / 1000.0);
  return b;
}

// Every variable of the manager that has keys: "NAME: t=v, t=v".
void Keys(std::string &out, timefloatmgr &mgr, const std::string &indent) {
  for (int i = 0; i < mgr.GetCount(); ++i) {
    const timefloat *tf = mgr.GetTimeFloatByIndex(i);
    if (!tf->HasValues()) continue;
    out += indent + tf->GetName() + ":";
    const tfKey *k = tf->Keys();
    for (int j = 0; j < tf->HasValues(); ++j) {
      char b[64];
      std::snprintf(b, sizeof b, "%s %s=%g", j ? "," : "", Seconds(k[j].time).c_str(), k[j].value);
      out += b;
    }
    out += "\n";
  }
}

const char *Kind(clip *c) {
  if (c->IsArrangement()) return "arrangement";
  if (clipsrc *s = c->GetClipSource()) return s->Type() == CLIP_SRC_TEXT ? "text" : "gradient";
  if (c->GetFileName()[0]) return "media";
  return "clip";
}

}  // namespace

void ClipWalk(clip *c, const std::function<void(clip *, int)> &fn, int depth) {
  if (!c) return;
  fn(c, depth);
  for (int i = 0; i < c->GetChildCount(); ++i) ClipWalk(c->GetChild(i), fn, depth + 1);
}

std::string DescribeClip(clip *top) {
  std::string out;
  ClipWalk(top, [&](clip *c, int depth) {
    const std::string indent(size_t(depth) * 2, ' ');
    out += indent;
    if (c->GetParentClip()) out += "track " + std::to_string(c->GetTrack()) + ": ";
    out += Kind(c);
    out += " \"" + std::string(c->GetName()) + "\"";
    out += " at " + Seconds(c->GetPosition()) + " s for " + Seconds(c->GetSize()) + " s";
    if (c->GetOffset()) out += ", offset " + Seconds(c->GetOffset()) + " s";
    if (c->IsArrangement()) {
      const RECT r = c->GetSurfaceRectangle();
      out += ", " + std::to_string(r.right) + " x " + std::to_string(r.bottom);
      if (!c->GetParentClip()) out += ", " + std::to_string(c->GetFps()) + " fps";
      {
        const int n = c->ClipTrackCount();
        out += ", " + std::to_string(n) + (n == 1 ? " track" : " tracks");
      }
    }
    if (c->GetFileName()[0]) out += ", file " + std::string(c->GetFileName());
    if (c->GetClipSource() && c->GetClipSource()->Type() == CLIP_SRC_TEXT)
      out += ", text \"" + std::string(c->ClipGetText()) + "\"";
    if (!c->IsArrangement() && c->GetFileName()[0]) {
      if (c->CheckVideoStream()) out += ", video";
      if (c->CheckAudioStream()) out += ", audio";
    }
    if (c->IsMediaMissing()) out += ", MISSING";
    if (c->GetVideoMute()) out += ", video muted";
    if (c->GetAudioMute()) out += ", audio muted";
    if (c->GetParentClip() && c->GetParentClip()->GetAudioMaster() == c) out += ", audio master";
    out += "\n";
    const std::string inner = indent + "    ";
    Keys(out, c->GetTimeFloatMgr(), inner);
    for (int i = 0; i < c->GetVideoEffectCount(); ++i) {
      effectVideo *fx = c->GetVideoEffect(i);
      out += indent + "  video effect " + std::to_string(i + 1) + ": " + std::to_string(fx->GetID()) + " " +
             Shown(fx->GetID()) + "\n";
      Keys(out, fx->GetTimeFloatMgr(), inner + "  ");
    }
    for (int i = 0; i < c->GetAudioEffectCount(); ++i) {
      effectAudio *fx = c->GetAudioEffect(i);
      out += indent + "  audio effect " + std::to_string(i + 1) + ": " + std::to_string(fx->GetID()) + " " +
             Shown(fx->GetID()) + "\n";
      Keys(out, fx->GetTimeFloatMgr(), inner + "  ");
    }
  });
  return out;
}
