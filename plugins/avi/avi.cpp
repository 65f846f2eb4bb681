// The AVI export plugin: Motion JPEG pictures (raw 24-bit BGR as an option) and PCM sound.
#include <new>

#include "ffexport.h"

LUMIVAXEL_EXPORT_ENTRY() {
  try {
    return new ffexport(ffexportformat{
        "AVI (Motion JPEG or raw video, PCM sound)",
        "*.avi",
        ".avi",
        "codec=mjpeg|raw qscale=1..31",
        "avi",
        {{"mjpeg", {"mjpeg"}, AV_PIX_FMT_YUV420P, false}, {"raw", {"rawvideo"}, AV_PIX_FMT_BGR24, false}},
        "pcm_s16le"});
  } catch (...) {
    return nullptr;
  }
}
