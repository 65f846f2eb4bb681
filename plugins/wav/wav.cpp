// The WAV export plugin: the sound alone, as 16-bit stereo PCM at 44.1 kHz.
#include <new>

#include "ffexport.h"

LUMIVAXEL_EXPORT_ENTRY() {
  try {
    return new ffexport(ffexportformat{"WAV (PCM sound)", "*.wav", ".wav", "", "wav", {}, "pcm_s16le"});
  } catch (...) {
    return nullptr;
  }
}
