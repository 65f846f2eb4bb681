// Output sound formats (wavtype), the format descriptor wavcfg with its selection, and the two
// converters between the internal format (44.1 kHz, 16-bit, stereo) and the others.
#pragma once

#include <cstdint>

#include "core/platform.h"
#include "media/waveformat.h"

// Stored in preferences and projects: the numbers must not change.
enum wavtype : int {
  WT_8_MONO_11 = 1,
  WT_8_STEREO_11 = 2,
  WT_8_MONO_22 = 3,
  WT_8_STEREO_22 = 4,
  WT_16_MONO_22 = 5,
  WT_16_STEREO_22 = 6,
  WT_16_MONO_44 = 7,
  WT_16_STEREO_44 = 8,
};

struct wavtype_info {
  wavtype type;
  const char *text;
  int bits;
  int channels;
  int rate;
};

// The eight formats in their numeric order (index = type - 1).
extern const wavtype_info WAVTYPE_TABLE[8];

class wavcfg {
 public:
  static constexpr int kBufferSize = 262144;

  wavcfg();
  virtual ~wavcfg();
  wavcfg(const wavcfg &) = delete;
  wavcfg &operator=(const wavcfg &) = delete;

  // Fills the format record for t (values outside 2..8 give 8-bit mono 11 025 Hz); true.
  bool InitWFX(wavtype t);
  // Lets the user choose a format (listed from 8 down to 1) through the host's dialogs; on a
  // choice the format is re-initialised and 1 returned, else 0.
  int Dowavcfg(HWND parent);
  // Back to 16-bit stereo 44.1 kHz.
  void Reset();

  wavtype GetType() const { return type; }
  const WAVEFORMATEX &GetFormat() const { return wfx; }
  int IsValid() const { return valid; }
  uint8_t *GetBuffer() { return buffer; }

  // Internal sound to `target`'s format, nearest earlier frame, no filtering. Returns the bytes
  // written: (inBytes / 4) * rate / 44100 frames of the target's block size.
  static int From44100_16_2(const uint8_t *in, const WAVEFORMATEX *target, int inBytes, uint8_t *out);
  // Any accepted PCM to the internal format, stretched to fill exactly outBytes (whole frames).
  // Returns 1. A source with no whole frame, or not 8/16-bit, gives silence.
  static int To44100_16_2(const uint8_t *in, const WAVEFORMATEX *source, int inBytes, uint8_t *out,
                          int outBytes);

 private:
  wavtype type = WT_16_STEREO_44;
  int32_t valid = 0;
  uint8_t *buffer = nullptr;
  WAVEFORMATEX wfx{};
};
