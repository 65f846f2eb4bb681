// Fuzz target: arbitrary bytes as a segment file, joined alone and beside itself (an overlap),
// and the bytes as a segment comment.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "engine/joining.h"
#include "fuzz_io.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  makesegment s;
  ParseSegmentTag(std::string(reinterpret_cast<const char *>(data), size), &s);
  const fuzzio::named_file part("join", data, size);
  if (part.path().empty()) return 0;
  const std::string out = part.path() + "-joined.avi";
  std::string why;
  JoinSegments({part.path()}, out, &why);
  JoinSegments({part.path(), part.path()}, out, &why);
  unlink(out.c_str());
  return 0;
}
