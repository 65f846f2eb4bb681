// The PCM sound format record (the 18-byte wave format structure files and plugins exchange)
// and the engine's internal sound format: 44 100 Hz, 16-bit signed, two channels.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)
struct WAVEFORMATEX {
  uint16_t wFormatTag;       // 1 = PCM
  uint16_t nChannels;
  uint32_t nSamplesPerSec;
  uint32_t nAvgBytesPerSec;
  uint16_t nBlockAlign;      // bytes of one frame (all channels)
  uint16_t wBitsPerSample;
  uint16_t cbSize;
};
#pragma pack(pop)

static_assert(sizeof(WAVEFORMATEX) == 18);
static_assert(offsetof(WAVEFORMATEX, nSamplesPerSec) == 4);
static_assert(offsetof(WAVEFORMATEX, nAvgBytesPerSec) == 8);
static_assert(offsetof(WAVEFORMATEX, nBlockAlign) == 12);
static_assert(offsetof(WAVEFORMATEX, wBitsPerSample) == 14);
static_assert(offsetof(WAVEFORMATEX, cbSize) == 16);

constexpr uint16_t WAVE_FORMAT_PCM = 1;

// The internal format: one second is 176 400 bytes.
constexpr int INTERNAL_RATE = 44100;
constexpr int INTERNAL_BYTES_PER_FRAME = 4;
constexpr int INTERNAL_BYTES_PER_SECOND = INTERNAL_RATE * INTERNAL_BYTES_PER_FRAME;

// The format check every reader applies: PCM, 8 or 16 bits, 1 or 2 channels, any rate.
inline bool IsAcceptedPCM(const WAVEFORMATEX &f) {
  return f.wFormatTag == WAVE_FORMAT_PCM && (f.wBitsPerSample == 8 || f.wBitsPerSample == 16) &&
         (f.nChannels == 1 || f.nChannels == 2);
}

// The byte that is silence for a sample width: 128 for 8-bit, 0 otherwise.
inline uint8_t SilenceByte(uint16_t bits_per_sample) { return bits_per_sample == 8 ? 0x80 : 0x00; }
