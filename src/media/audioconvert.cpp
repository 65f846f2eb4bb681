// The converters between the internal sound format (44.1 kHz, 16-bit, stereo) and the others.
#include <cstring>

#include "core/byteorder.h"
#include "media/pixelator.h"
#include "media/waveformat.h"

namespace {

int16_t ReadS16(const uint8_t *p) { return static_cast<int16_t>(byteorder::le16(p)); }

void WriteS16(uint8_t *p, int v) { byteorder::put_le16(p, static_cast<uint16_t>(static_cast<int16_t>(v))); }

uint8_t To8Bit(int sample) {
  const int v = sample / 256 + 128;  // truncation toward zero: -1 becomes 128
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

// 8-bit samples widen through this table: (v - 128) * 255, so 0 -> -32640 and 255 -> 32385.
struct widening_table {
  int16_t value[256];
  constexpr widening_table() : value() {
    for (int v = 0; v < 256; ++v) value[v] = static_cast<int16_t>((v - 128) * 255);
  }
};
constexpr widening_table kWiden;

}  // namespace

int pixelator::From44100_16_2(const void *input, const WAVEFORMATEX *target, int inBytes, void *output) {
  const uint8_t *in = static_cast<const uint8_t *>(input);
  uint8_t *out = static_cast<uint8_t *>(output);
  if (!in || !out || !target || inBytes <= 0 || target->nSamplesPerSec == 0) return 0;
  const int64_t rate = target->nSamplesPerSec;
  const int bits = target->wBitsPerSample, channels = target->nChannels;
  if ((bits != 8 && bits != 16) || (channels != 1 && channels != 2)) return 0;
  const int64_t in_frames = inBytes / 4;
  const int64_t out_frames = in_frames * rate / INTERNAL_RATE;
  uint8_t *o = out;
  for (int64_t i = 0; i < out_frames; ++i) {
    const uint64_t j = static_cast<uint64_t>(i) * INTERNAL_RATE / static_cast<uint64_t>(rate);
    const int L = ReadS16(in + j * 4), R = ReadS16(in + j * 4 + 2);
    if (bits == 16) {
      if (channels == 2) {
        WriteS16(o, L);
        WriteS16(o + 2, R);
        o += 4;
      } else {
        WriteS16(o, (L + R) / 2);
        o += 2;
      }
    } else if (channels == 2) {
      *o++ = To8Bit(L);
      *o++ = To8Bit(R);
    } else {
      *o++ = To8Bit((L + R) / 2);
    }
  }
  return static_cast<int>(o - out);
}

int pixelator::To44100_16_2(const void *input, const WAVEFORMATEX *source, int inBytes, void *output,
                            int outBytes) {
  const uint8_t *in = static_cast<const uint8_t *>(input);
  uint8_t *out = static_cast<uint8_t *>(output);
  if (!out || outBytes <= 0) return 1;
  const int64_t out_frames = outBytes / 4;
  const int bits = source ? source->wBitsPerSample : 0;
  const int channels = source ? source->nChannels : 0;
  const int align = source ? source->nBlockAlign : 0;
  const int64_t in_frames = (align > 0 && in && inBytes > 0) ? inBytes / align : 0;
  const int sample_bytes = bits / 8;
  if (in_frames == 0 || (bits != 8 && bits != 16) || (channels != 1 && channels != 2) ||
      align < sample_bytes * channels) {
    std::memset(out, 0, static_cast<size_t>(out_frames) * 4);
    return 1;
  }
  for (int64_t i = 0; i < out_frames; ++i) {
    const int64_t j = i * in_frames / out_frames;
    const uint8_t *frame = in + j * align;
    int L, R;
    if (bits == 8) {
      L = kWiden.value[frame[0]];
      R = channels == 2 ? kWiden.value[frame[1]] : L;
    } else {
      L = ReadS16(frame);
      R = channels == 2 ? ReadS16(frame + 2) : L;
    }
    WriteS16(out + i * 4, L);
    WriteS16(out + i * 4 + 2, R);
  }
  return 1;
}
