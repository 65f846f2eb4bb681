// journalfile: the byte layout of PROJECT.vmp.journal, written and read in memory.
//
// Layout, little-endian:
//   header (52 bytes): "LVJN", version 1 (u32), the size (u64) and SHA-256 (32 bytes) of the
//                      saved project file this journal follows, CRC-32 of these 48 bytes (u32)
//   entries:           length of the payload (u32), CRC-32 of the payload (u32), payload
// A payload's first byte says what it is:
//   'S' a step: name length (u16), name, entry count (u32), then per entry: kind ('C', 'I',
//       'R'), flags (u8), path length (u16), the path's child indices (u16 each), then the
//       packed before-bytes and after-bytes, each as length (u32) and bytes
//   'B' the base: the number of steps (u32) of the history written above it that the saved
//       file holds; everything after it was done after the save
//   'U', 'R' an undo, a redo
// A journal starts with the history it carries, then 'B'; edits append to it. Reading stops
// at the first entry that is torn (the end of a write cut short) or damaged; what came before
// it stands.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/edithistory.h"

namespace journalfile {

constexpr size_t kHeaderSize = 52;
constexpr uint32_t kVersion = 1;

// What ties a journal to a saved file: its size and SHA-256.
struct basefile {
  uint64_t size = 0;
  uint8_t sha256[32] = {};
  bool operator==(const basefile &o) const;
};
// The size and hash of a file's bytes; false when it cannot be read.
bool Identify(const std::string &path, basefile &out);
basefile IdentifyBytes(const uint8_t *data, size_t size);

std::string Header(const basefile &base);
// An entry: length, checksum, payload.
std::string Entry(const std::string &payload);
std::string StepPayload(const editstepdata &s);
std::string BasePayload(uint32_t done);
std::string MovePayload(bool undo);

// A journal read back.
struct contents {
  bool header = false;  // a whole, known header
  basefile base;
  std::vector<editstepdata> history;  // the steps above 'B'
  bool based = false;                 // the 'B' entry was read
  size_t done = 0;                    // its count of steps the saved file holds
  struct event {
    uint8_t what;  // 'S', 'U' or 'R'
    editstepdata step;
  };
  std::vector<event> newer;  // what was done after the save, in order
  uint64_t goodbytes = 0;    // the end of the last entry that was read whole
  std::string problem;       // why reading stopped before the end ("" when it did not)
};
contents Parse(const uint8_t *data, size_t size);
// A step payload (after its 'S'); false when it is malformed.
bool ParseStep(const uint8_t *data, size_t size, editstepdata &out);

}  // namespace journalfile
