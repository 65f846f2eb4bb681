// The built-in sound effects: volume and pan, and the four-band compressor / expander.
//
// Common principles: blocks are interleaved stereo 16-bit frames, count / 4 of them for a count
// in bytes. The variables are read at the effect's current time and again every 441 frames
// (10 ms at 44 100 Hz), the time then 10 ms further on; the first re-read comes after frame 0,
// so frame 0 alone uses the block's start time. Each sample is read before its output slot is
// written, so input and output may be the same buffer.
#pragma once

#include "effects/effect.h"

class effectVolPan : public effectAudio {
 public:
  static constexpr int kType = 142;
  effectVolPan(clip *owner, vemowin *window, surface *surfaces);
  int Process(int16_t *in, int16_t *out, int count) override;
};

// Maps each sample's amplitude through four straight segments with corners at 8192, 16384,
// 24576 and 32767, whose output levels are the band variables times 32767.
class effectCompEx4 : public effectAudio {
 public:
  static constexpr int kType = 514;
  effectCompEx4(clip *owner, vemowin *window, surface *surfaces);
  int Process(int16_t *in, int16_t *out, int count) override;

 private:
  // Reads the four bands at the running time.
  void Recalc();
  int16_t MapAmplitude(int16_t x) const;

  double high = 1.0, mediumhigh = 0.75, mediumlow = 0.5, low = 0.25;
  int32_t runningtime = 0;
};
