// tfcboard: the variable clipboard's two tables, by ID and by name.
#include "time/tfcboard.h"

#include <strings.h>

#include <cstring>

namespace {
// The name as the table holds it: at most 63 characters.
void Truncated(const char *name, char (&out)[64]) {
  const size_t n = strnlen(name, sizeof out - 1);
  std::memcpy(out, name, n);
  out[n] = 0;
}
}  // namespace

const tfclip *tfcboard::Find(const timefloat *tf) const {
  if (!tf) return nullptr;
  const tfData &h = tf->Header();
  if (h.id != 0) {
    for (int i = 0; i < idcount; ++i)
      if (byid[i].id == h.id) return &byid[i].clip;
    return nullptr;
  }
  if (h.name[0] == 0) return nullptr;
  char key[64];
  Truncated(h.name, key);
  for (int i = 0; i < namecount; ++i)
    if (strcasecmp(byname[i].name, key) == 0) return &byname[i].clip;
  return nullptr;
}

bool tfcboard::Check(const timefloat *tf) const { return Find(tf) != nullptr; }

bool tfcboard::CopyFrom(const timefloat *tf) {
  if (!tf) return false;
  const tfData &h = tf->Header();
  tfclip *clip = const_cast<tfclip *>(Find(tf));
  if (!clip) {
    if (h.id != 0) {
      if (idcount >= kMaxEntries) return false;
      byid[idcount].id = h.id;
      clip = &byid[idcount++].clip;
    } else if (h.name[0] != 0) {
      if (namecount >= kMaxEntries) return false;
      Truncated(h.name, byname[namecount].name);
      clip = &byname[namecount++].clip;
    } else {
      return false;
    }
  }
  clip->flag = 1;
  clip->value = tf->GetValue(tf->GetCurrentTime());
  return true;
}

bool tfcboard::PasteTo(timefloat *tf) const {
  const tfclip *clip = Find(tf);
  if (!clip) return false;
  return tf->SetValue(tf->GetCurrentTime(), clip->value) != 0;
}

tfcboard &tfcboard::Global() {
  static tfcboard board;
  return board;
}
