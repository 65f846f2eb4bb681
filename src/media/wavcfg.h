// Output sound formats (wavtype) and the format descriptor wavcfg with its selection. The
// converters between the internal format and the others are pixelator statics.
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
  // Lets the user choose a format through the host's dialogs: a list from 8 down to 1 that
  // opens on the current type. OK stores the chosen type (8 when none is chosen), re-initialises
  // the format and returns 1; Cancel returns 0.
  int Dowavcfg(HWND parent);
  // Back to 16-bit stereo 44.1 kHz.
  void Reset();

  wavtype GetType() const { return type; }
  const WAVEFORMATEX &GetFormat() const { return wfx; }
  int IsValid() const { return valid; }
  uint8_t *GetBuffer() { return buffer; }

  // The same converter as pixelator::From44100_16_2.
  static int From44100_16_2(const void *in, const WAVEFORMATEX *target, int inBytes, void *out);

 private:
  wavtype type = WT_16_STEREO_44;
  int32_t valid = 0;
  uint8_t *buffer = nullptr;
  WAVEFORMATEX wfx{};
};
