// Sound format descriptors and the format choice.
#include "media/wavcfg.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/dialogs.h"
#include "media/pixelator.h"

const wavtype_info WAVTYPE_TABLE[8] = {
    {WT_8_MONO_11, "8 Bit / Mono / 11.025 kHz", 8, 1, 11025},
    {WT_8_STEREO_11, "8 Bit / Stereo / 11.025 kHz", 8, 2, 11025},
    {WT_8_MONO_22, "8 Bit / Mono / 22.05 kHz", 8, 1, 22050},
    {WT_8_STEREO_22, "8 Bit / Stereo / 22.05 kHz", 8, 2, 22050},
    {WT_16_MONO_22, "16 Bit / Mono / 22.05 kHz", 16, 1, 22050},
    {WT_16_STEREO_22, "16 Bit / Stereo / 22.05 kHz", 16, 2, 22050},
    {WT_16_MONO_44, "16 Bit / Mono / 44.1 kHz", 16, 1, 44100},
    {WT_16_STEREO_44, "16 Bit / Stereo / 44.1 kHz", 16, 2, 44100},
};

wavcfg::wavcfg() {
  buffer = static_cast<uint8_t *>(std::calloc(kBufferSize, 1));
  Reset();
  valid = buffer ? 1 : 0;
}

wavcfg::~wavcfg() { std::free(buffer); }

bool wavcfg::InitWFX(wavtype t) {
  const wavtype_info &info = (t >= 2 && t <= 8) ? WAVTYPE_TABLE[t - 1] : WAVTYPE_TABLE[0];
  wfx.wFormatTag = WAVE_FORMAT_PCM;
  wfx.nChannels = static_cast<uint16_t>(info.channels);
  wfx.nSamplesPerSec = static_cast<uint32_t>(info.rate);
  wfx.wBitsPerSample = static_cast<uint16_t>(info.bits);
  wfx.nBlockAlign = static_cast<uint16_t>(info.bits * info.channels / 8);
  wfx.nAvgBytesPerSec = wfx.nSamplesPerSec * wfx.nBlockAlign;
  // The extra-size member holds the record's own size, not 0. Files and plugins have always
  // received it this way, so it stays.
  wfx.cbSize = 18;
  return true;
}

void wavcfg::Reset() {
  InitWFX(WT_16_STEREO_44);
  type = WT_16_STEREO_44;
  valid = 1;
}

int wavcfg::Dowavcfg(HWND parent) {
  std::vector<std::string> entries;
  for (int t = 8; t >= 1; --t) entries.emplace_back(WAVTYPE_TABLE[t - 1].text);
  // Listed from 8 down, so type t is entry 9 - t; OK with nothing chosen means type 8.
  const int current = type >= 1 && type <= 8 ? 9 - type : 0;
  int chosen = 0;
  if (!Dialogs().ChooseFromList(parent, "Sound Format", entries, current, &chosen)) return 0;
  type = chosen >= 1 && chosen <= 8 ? static_cast<wavtype>(9 - chosen) : WT_16_STEREO_44;
  InitWFX(type);
  return 1;
}

int wavcfg::From44100_16_2(const void *in, const WAVEFORMATEX *target, int inBytes, void *out) {
  return pixelator::From44100_16_2(in, target, inBytes, out);
}
