// A small reader of RIFF chunk trees over a FILE*, in the manner of the multimedia file
// services: descend into a chunk (finding it by id), ascend past it. Chunks are padded to an
// even size; sizes that run past the end of their parent or the file are cut to what exists.
#pragma once

#include <cstdint>
#include <cstdio>

// Four-character code as it reads from a little-endian file.
constexpr uint32_t FourCC(char a, char b, char c, char d) {
  return uint32_t(uint8_t(a)) | (uint32_t(uint8_t(b)) << 8) | (uint32_t(uint8_t(c)) << 16) |
         (uint32_t(uint8_t(d)) << 24);
}

struct MMCKINFO {
  uint32_t ckid = 0;          // chunk id
  uint32_t cksize = 0;        // data size as stored
  uint32_t fccType = 0;       // form type of RIFF and LIST chunks
  uint32_t dwDataOffset = 0;  // file offset of the chunk's data (after id, size and form type)
  uint32_t dwFlags = 0;
};

namespace riff {

// The size of the file, or -1.
int64_t FileSize(FILE *f);

// Finds, from the current position up to `end` (file offset), the first chunk with id `ckid`
// (and, when `form` is nonzero, that form type) and positions the file at its data. Other
// chunks are skipped with their pad byte. False when none is found or the file is cut.
bool Descend(FILE *f, MMCKINFO &ck, uint32_t ckid, uint32_t form, int64_t end);

// Positions the file just past the chunk (pad byte included).
bool Ascend(FILE *f, const MMCKINFO &ck);

}  // namespace riff
