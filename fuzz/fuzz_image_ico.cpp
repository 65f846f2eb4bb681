// Fuzz target: the ICO and CUR decoder on arbitrary bytes.
#include <cstddef>
#include <cstdint>

#include "media/imagecodecs.h"
#include "media/surface.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool quiet = (SetImageDecoderLogging(false), true);
  (void)quiet;
  surface::SurfaceDelete(DecodeICO(data, size));
  return 0;
}
