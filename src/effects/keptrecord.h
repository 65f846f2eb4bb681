// Effects of a type this build cannot make, kept as the bytes of their record: a project that
// holds one loads, and saves it back unchanged, instead of losing it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <utility>
#include <vector>

#include "effects/effect.h"

// The record from `start` to `end` of f (the span a record reader just stepped over), read
// again; f is left at `end`. False when the span cannot be read back.
bool ReadKeptRecord(FILE *f, long start, long end, std::vector<uint8_t> &bytes);

// A kept effect: its ID is its type, Save writes the kept bytes, and it never runs (no switch
// is declared, so it is never active, and Process does nothing).
template <class Base>
class effectKept : public Base {
 public:
  effectKept(int type, std::vector<uint8_t> bytes) : record(std::move(bytes)) { this->SetID(type); }
  int Save(FILE *f) override {
    if (!f) return 0;
    return record.empty() || std::fwrite(record.data(), 1, record.size(), f) == record.size() ? 1 : 0;
  }
  // A kept record is not read again: its bytes are all it has.
  int Load(FILE *) override { return 0; }
  const std::vector<uint8_t> &Record() const { return record; }

 private:
  std::vector<uint8_t> record;
};

using effectKeptVideo = effectKept<effectVideo>;
using effectKeptAudio = effectKept<effectAudio>;
