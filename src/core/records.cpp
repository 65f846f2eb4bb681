// Size-prefixed records: the only way persistent structures reach a file.
#include <cstring>

#include "core/vemo.h"

int vemo::SizedDataInit(void *record, uint32_t size) {
  std::memset(record, 0, size);
  std::memcpy(record, &size, sizeof size);
  return 0;
}

int vemo::SizedDataWrite(FILE *f, void *record, uint32_t size) {
  std::memcpy(record, &size, sizeof size);
  return static_cast<int>(std::fwrite(record, size, 1, f));
}

int vemo::SizedDataRead(FILE *f, void *record, uint32_t size) {
  std::memset(record, 0, size);
  uint32_t stored = 0;
  if (std::fread(&stored, sizeof stored, 1, f) != 1) return 0;
  // A record from a newer writer is refused with only its size consumed.
  if (stored > size) return 0;
  std::memcpy(record, &stored, sizeof stored);
  // A stored size of 4 reads zero bytes, which counts as nothing read. Sizes below 4 would
  // underflow; writers never produce them, and they are refused here rather than read wild.
  if (stored <= sizeof stored) return 0;
  const size_t body = stored - sizeof stored;
  return std::fread(static_cast<char *>(record) + sizeof stored, body, 1, f) == 1 ? 1 : 0;
}
