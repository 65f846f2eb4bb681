// The PCM sound format record (the 18-byte wave format structure files and plugins exchange)
// and the engine's internal sound format: 44 100 Hz, 16-bit signed, two channels.
#pragma once

#include <cstddef>
#include <cstdint>

// WAVEFORMATEX, WAVE_FORMAT_PCM and the internal format's constants (INTERNAL_RATE,
// INTERNAL_BYTES_PER_FRAME, INTERNAL_BYTES_PER_SECOND) are shared with plugin libraries and
// declared with the plugin interface.
#include "media/plugin_abi.h"

// The format check every reader applies: PCM, 8 or 16 bits, 1 or 2 channels, any rate.
inline bool IsAcceptedPCM(const WAVEFORMATEX &f) {
  return f.wFormatTag == WAVE_FORMAT_PCM && (f.wBitsPerSample == 8 || f.wBitsPerSample == 16) &&
         (f.nChannels == 1 || f.nChannels == 2);
}

// The byte that is silence for a sample width: 128 for 8-bit, 0 otherwise.
inline uint8_t SilenceByte(uint16_t bits_per_sample) { return bits_per_sample == 8 ? 0x80 : 0x00; }
