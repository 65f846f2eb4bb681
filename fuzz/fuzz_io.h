// What the fuzz targets share: the fuzz bytes as a file (an open one, or a named one for readers
// that take a path), the bytes an object's Save writes, and small decodes. Files live in memory (a memfd, or
// /dev/shm for named ones): a target makes one or two per input, and creating and deleting them
// on a disk's file system cost more than most parsers take.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "media/ffinput.h"

namespace fuzzio {

// Pictures of a megapixel at most and no decoder threads, for the targets that decode video:
// every header is still parsed, but the huge pictures damaged headers claim no longer take the
// run's time.
inline void SmallDecodes() {
  static const bool once = (ffinput::LimitDecoding(int64_t(1) << 20, 1), true);
  (void)once;
}

// An empty read-write file in memory, gone when closed; null when none can be made.
inline FILE *ScratchFile() {
  const int fd = memfd_create("lv-fuzz", MFD_CLOEXEC);
  if (fd < 0) return std::tmpfile();
  FILE *f = fdopen(fd, "w+b");
  if (!f) close(fd);
  return f;
}

// A scratch folder for files that need a name: in memory where the system has one.
inline const char *ScratchDir() { return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp"; }

// A temporary file holding the bytes, positioned at its start; null when none can be made.
inline FILE *BytesAsFile(const uint8_t *data, size_t size) {
  FILE *f = ScratchFile();
  if (!f) return nullptr;
  if (size) std::fwrite(data, 1, size, f);
  std::rewind(f);
  return f;
}

// The bytes in a named file in the scratch folder, removed again when this goes out of scope.
class named_file {
 public:
  named_file(const char *stem, const uint8_t *data, size_t size) {
    std::string pattern = std::string(ScratchDir()) + "/lv-fuzz-" + stem + "-XXXXXX";
    const int fd = mkstemp(pattern.data());
    if (fd < 0) return;
    path_ = pattern;
    FILE *f = fdopen(fd, "wb");
    if (!f) {
      close(fd);
      return;
    }
    if (size) std::fwrite(data, 1, size, f);
    std::fclose(f);
  }
  ~named_file() {
    if (!path_.empty()) unlink(path_.c_str());
  }
  named_file(const named_file &) = delete;
  named_file &operator=(const named_file &) = delete;
  // Empty when the file could not be made.
  const std::string &path() const { return path_; }

 private:
  std::string path_;
};

// What obj.Save writes; its result goes to *ok.
template <class Saver>
std::vector<uint8_t> SavedBytes(Saver &obj, int *ok) {
  std::vector<uint8_t> out;
  FILE *f = ScratchFile();
  if (!f) return out;
  *ok = obj.Save(f);
  const long n = std::ftell(f);
  std::rewind(f);
  out.resize(n > 0 ? size_t(n) : 0);
  if (!out.empty() && std::fread(out.data(), 1, out.size(), f) != out.size()) out.clear();
  std::fclose(f);
  return out;
}

}  // namespace fuzzio
