// Fuzz target: the Windows metafile check and its rendering through libwmf on arbitrary bytes.
#include <cstddef>
#include <cstdint>

#include "media/imagecodecs.h"
#include "media/surface.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  surface::SurfaceDelete(DecodeWMF(data, size));
  return 0;
}
