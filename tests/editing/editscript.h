// A generated project and random object commands, shared by the editing tests and benchmark.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "effects/effect.h"
#include "engine/clip.h"
#include "engine/editlog.h"
#include "engine/editrecord.h"
#include "engine/project.h"

namespace editscript {

// `arrangements` sub-arrangements side by side on the root's tracks, each holding `clips`
// generated clips (text and gradient in turn) on 4 tracks of its own, 2 s each with a key or
// two: 4 x 500 is the 2 000 clips on 16 tracks of the speed goal.
inline void Generate(vemoproject &p, int arrangements, int clips, int length_ms = 600000) {
  p.New(80, clip::kDefaultFps, length_ms);
  clip *root = p.Root();
  for (int a = 0; a < arrangements; ++a) {
    clip *sub = ClipAddArrangement(root, 0, length_ms, a);
    sub->SetName(("a" + std::to_string(a)).c_str());
    for (int c = 0; c < clips; ++c) {
      const int track = c % 4, start = (c / 4) * 2000;
      clip *k = ClipAddGenerator(sub, c % 2 ? CLIP_SRC_GRADIENT : CLIP_SRC_TEXT, start, 2000, track);
      k->SetName(("c" + std::to_string(c)).c_str());
      if (c % 2 == 0) k->ClipSetText(("clip " + std::to_string(c)).c_str());
      if (timefloat *v = k->FindTimeFloat(clipvar::IDS_DST_L)) {
        v->SetValue(0, 0.1 * (c % 5));
        v->SetValue(1000, 0.05);
        v->Commit();
      }
    }
  }
}

// A repetition count: the variable's value if set, else `plain` (`sanitized` under ASan: slower).
inline long Count(const char *variable, long plain, long sanitized) {
  if (const char *n = std::getenv(variable)) return std::atol(n);
#if defined(__SANITIZE_ADDRESS__)
  (void)plain;
  return sanitized;
#else
  (void)sanitized;
  return plain;
#endif
}

inline std::string Bytes(clip *root) {
  std::string out;
  editrecord::TreeBytes(root, out);
  return out;
}

// Random edits of a tree: commands on random clips, undos and redos.
class driver {
 public:
  driver(clip *root, uint32_t seed) : root_(root), rng_(seed) {
    size_t count = 0;
    const effecttype *types = EffectTypes(&count);
    for (size_t i = 0; i < count; ++i)
      if (types[i].kind == effectkind::video && types[i].create) videotypes_.push_back(types[i].type);
  }

  // One edit: a command (about 60 %), an undo or a redo. Returns what it sent.
  std::string Step() {
    const int r = Pick(100);
    if (r < 25) return Send(root_, "Undo");
    if (r < 40) return Send(root_, "Redo");
    return Command();
  }

  // One random command on a random clip of a sub-arrangement.
  std::string Command() {
    clip *sub = root_->GetChild(Pick(root_->GetChildCount()));
    if (!sub) return "";
    clip *c = sub->GetChild(Pick(sub->GetChildCount()));
    const int kind = Pick(12);
    char text[160];
    if (!c || kind == 0) {
      std::snprintf(text, sizeof text, "%s %s_%u %d %s 2", Pick(2) ? "AddText" : "AddGradient", "n",
                    unsigned(rng_()), Pick(4), Sec(Pick(600000)).c_str());
      return Send(sub, text);
    }
    switch (kind) {
      case 1:
        std::snprintf(text, sizeof text, "Place %s %s %d", Sec(Pick(600000)).c_str(),
                      Sec(1 + Pick(4000)).c_str(), Pick(4));
        return Send(c, text);
      case 2:
        return Send(c, "SetOffset " + Sec(Pick(c->GetOffset() + c->GetSize())));
      case 3:
        return Send(c->UIItemResolve("IDS_DST_L"),
                    "SetKey " + Sec(Pick(4) * 500) + " 0." + std::to_string(Pick(10)));
      case 4:
        return Send(c->UIItemResolve("IDS_DST_L"), "KillKey " + Sec(Pick(4) * 500));
      case 5:
        if (videotypes_.empty()) return "";
        return Send(c, "AddEffect " + std::to_string(videotypes_[size_t(Pick(int(videotypes_.size())))]));
      case 6:
        return Send(c, "RemoveEffect fx1");
      case 7:
        return Send(sub, std::string("Delete ") + c->GetName());
      case 8:
        return Send(c, "Rename r_" + std::to_string(rng_()));
      case 9:
        return Send(c, std::string("MuteVideo ") + (Pick(2) ? "1" : "0"));
      case 10:
        return Send(c, "Split " + Sec(c->GetPosition() + 1 + Pick(c->GetSize() > 2 ? c->GetSize() - 2 : 1)));
      default:
        return Send(c->GetVideoEffectCount() ? c->UIItemResolve("fx1") : c, "SetTime 0.5");
    }
  }

  int Pick(int n) { return n > 0 ? int(rng_() % uint32_t(n)) : 0; }

 private:
  static std::string Sec(int ms) {
    char s[32];
    std::snprintf(s, sizeof s, "%d.%03d", ms / 1000, ms % 1000);
    return s;
  }
  std::string Send(UIItem *object, const std::string &command) {
    char result[UIITEM_RESULT_SIZE] = "";
    if (object) EditCommand(object, command.c_str(), result);
    return command;
  }

  clip *root_;
  std::mt19937 rng_;
  std::vector<int> videotypes_;
};

}  // namespace editscript
