// tfcboard: the variable clipboard, one copied value per variable, so a value can be carried
// from one object or time to another.
#pragma once

#include <cstdint>

#include "time/timefloat.h"

// One copied value.
struct tfclip {
  uint32_t flag = 0;  // 1 when a value was copied
  double value = 0.0;
  bool Clear() {
    flag = 0;
    value = 0.0;
    return true;
  }
};
struct tfclip_id {
  tfclip clip;
  int32_t id = 0;
};
struct tfclip_name {
  tfclip clip;
  char name[64] = {};  // 63 characters and the terminating zero
};

// Holds one value per variable: by ID for variables that have one, else by name (without
// regard to case). Entries are never removed; copying a variable again overwrites its entry.
class tfcboard {
 public:
  static constexpr int kMaxEntries = 1024;

  bool Check(const timefloat *tf) const;  // an entry exists for the variable
  // Stores the variable's value at its current time; false when the table is full or the
  // variable has neither ID nor name.
  bool CopyFrom(const timefloat *tf);
  // Sets a key at the variable's current time with the stored value (a pending edit); true
  // when a key was set.
  bool PasteTo(timefloat *tf) const;
  int CountByID() const { return idcount; }
  int CountByName() const { return namecount; }

  // The process-wide clipboard.
  static tfcboard &Global();

 private:
  const tfclip *Find(const timefloat *tf) const;

  int32_t idcount = 0;
  int32_t namecount = 0;
  tfclip_id byid[kMaxEntries];
  tfclip_name byname[kMaxEntries];
};
