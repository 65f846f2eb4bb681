// Audio mixing: the one-second block cache of each clip, reading source samples from it, and
// adding every audible clip's sound, converted and through its effects, into one output.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "effects/effect.h"
#include "engine/clip.h"
#include "media/pixelator.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

int32_t &BlockTime(uint8_t *block) { return *reinterpret_cast<int32_t *>(block); }
uint8_t *BlockData(uint8_t *block) { return block + CLIP_AUDIO_DATA_OFFSET; }

void Message(clip *c, const char *b, const char *d) {
  char text[900];
  std::snprintf(text, sizeof text, "%s: %s %s", "Processing", b, d);
  c->ProcessingMessage(text);
}

bool IsInternal(const WAVEFORMATEX &f) {
  return f.nSamplesPerSec == INTERNAL_RATE && f.wBitsPerSample == 16 && f.nChannels == 2 &&
         f.nBlockAlign == INTERNAL_BYTES_PER_FRAME;
}

}  // namespace

bool clip::AudioBufferAllocate(int sz) {
  for (uint8_t *&b : workbuffers) {
    std::free(b);
    b = nullptr;
  }
  currentblockcount = 0;
  blocksize = 0;
  if (sz <= 0) return false;
  for (uint8_t *&b : workbuffers) {
    b = static_cast<uint8_t *>(std::malloc(size_t(sz) + CLIP_AUDIO_HEADER));
    if (!b) return false;
    std::memset(b, 0, CLIP_AUDIO_DATA_OFFSET);
    BlockTime(b) = CLIP_AUDIO_EMPTY;
  }
  blocksize = sz;
  return true;
}

int clip::ClipTime2AudioBlockTime(int t) {
  // Towards minus infinity: -1 belongs to the second that starts at -1000.
  const int64_t v = t;
  const int64_t q = v >= 0 ? v / 1000 : -((-v + 999) / 1000);
  // Below the lowest whole second an int holds, that second.
  return int(std::max<int64_t>(q * 1000, -2147483000));
}

const WAVEFORMATEX *clip::AudioFormat() const {
  if (stream && stream->audiovalid) return &stream->wfx;
  if (avi && avi->audiovalid) return &avi->wfx;
  if (wav) return &wav->wfx;
  return nullptr;
}

bool clip::ClipGetAudioEnveloppe(clip *c, timefloat *curve) {
  if (!c || !curve) return false;
  for (int i = 0; i < c->audioeffectcount; ++i) {
    effectAudio *fx = c->audioeffects[i];
    if (fx->GetID() != 142) continue;
    const timefloat *volume = fx->FindTimeFloat(fxid::IDS_VOLUME);
    if (!volume) return false;
    curve->Set(volume);
    return true;
  }
  return false;
}

int16_t *clip::ClipAllocAudioProcessingBuffer(int16_t **second, int16_t **third) {
  std::free(processingbuffer);
  processingbuffer = processing2 = processing3 = nullptr;
  auto *p = static_cast<uint8_t *>(std::calloc(3, CLIP_AUDIO_WORK_BYTES));
  if (p) {
    processingbuffer = reinterpret_cast<int16_t *>(p);
    processing2 = reinterpret_cast<int16_t *>(p + CLIP_AUDIO_WORK_BYTES);
    processing3 = reinterpret_cast<int16_t *>(p + 2 * CLIP_AUDIO_WORK_BYTES);
  }
  if (second) *second = processing2;
  if (third) *third = processing3;
  return processingbuffer;
}

void clip::FillAudioBlock(uint8_t *blk, int s) {
  const WAVEFORMATEX *f = AudioFormat();
  const int n = f ? std::min<int>(blocksize, int(f->nAvgBytesPerSec)) : 0;
  const uint8_t *src = nullptr;
  if (s >= 0) {
    if (stream && stream->audiovalid)
      src = mediareaders::StreamReadAudioSample(stream, s);
    else if (avi && avi->audiovalid)
      src = mediareaders::AVIReadAudioSecond(avi, s);
    else if (wav && n > 0) {
      // A wave file is read straight into the block; its reader silences what it does not fill.
      mediareaders::WaveFileReadInto(wav, s, BlockData(blk), size_t(n));
      if (n < blocksize)
        std::memset(BlockData(blk) + n, SilenceByte(f->wBitsPerSample), size_t(blocksize - n));
      BlockTime(blk) = s;
      return;
    }
  }
  if (src && n > 0) {
    std::memcpy(BlockData(blk), src, size_t(n));
    if (n < blocksize) std::memset(BlockData(blk) + n, SilenceByte(f->wBitsPerSample), size_t(blocksize - n));
  } else {
    std::memset(BlockData(blk), SilenceByte(f ? f->wBitsPerSample : 16), size_t(blocksize));
  }
  BlockTime(blk) = s;
}

bool clip::ClipAudioUpdate(uint32_t flags) {
  if (arrangement) {
    if (parentclip && !ClipIsActive()) return true;
    const bool listening = GetRootClip()->messagefn != nullptr;
    for (int i = 0; i < childcount; ++i) {
      clip *c = children[i];
      if (audiomaster ? c != audiomaster : !c->CheckAudio()) continue;
      if (listening) Message(this, "Reading Audio", c->GetName());
      c->ClipAudioUpdate(flags);
    }
    return true;
  }
  if (!ClipIsActive()) return true;
  if (!workbuffers[0] || blocksize <= 0) return false;
  audiotime = currenttime;
  firstblocktime = ClipTime2AudioBlockTime(audiotime);
  currentblockcount = 0;
  const int64_t end = int64_t(firstblocktime) + CLIP_AUDIO_WINDOW;
  for (int64_t s64 = firstblocktime; s64 < end; s64 += 1000) {
    if (s64 > INT32_MAX) break;
    const int s = int(s64);
    uint8_t *use = nullptr;
    for (uint8_t *b : workbuffers)
      if (BlockTime(b) == s) {
        use = b;
        break;
      }
    if (!use) {
      for (uint8_t *b : workbuffers)
        if (BlockTime(b) == CLIP_AUDIO_EMPTY) {
          use = b;
          break;
        }
    }
    if (!use) {
      for (uint8_t *b : workbuffers) {
        const int64_t bt = BlockTime(b);
        if (bt < firstblocktime || bt >= end) {
          use = b;
          break;
        }
      }
    }
    if (!use) return false;
    if (BlockTime(use) != s) FillAudioBlock(use, s);
    currentblocks[currentblockcount++] = use;
  }
  return true;
}

template <class Take>
bool clip::ForEachSourceRun(int ms, Take take) {
  const WAVEFORMATEX *f = AudioFormat();
  if (!f || (f->wBitsPerSample != 8 && f->wBitsPerSample != 16) || (f->nChannels != 1 && f->nChannels != 2))
    return false;
  if (ms < 0) return true;
  const int64_t sps = f->nSamplesPerSec;
  const int64_t align = int64_t(f->nChannels) * f->wBitsPerSample / 8;
  const int64_t a = int64_t(audiotime) - firstblocktime;
  const int64_t b = a + ms;
  const int64_t fb = a / 1000, first = sps * (a % 1000) / 1000;
  const int64_t lb = b / 1000, last = sps * (b % 1000) / 1000;
  if (fb < 0 || fb >= currentblockcount || lb < 0 || lb >= currentblockcount) return true;
  // A block holds one second: never read past it, whatever the format claims.
  const int64_t perblock = std::min<int64_t>(sps, blocksize / std::max<int64_t>(align, 1));
  for (int64_t k = fb; k <= lb; ++k) {
    const int64_t from = std::min(k == fb ? first : 0, perblock);
    const int64_t to = std::min(k == lb ? last : sps, perblock);
    if (to > from) take(BlockData(currentblocks[k]) + from * align, size_t((to - from) * align));
  }
  return true;
}

bool clip::ClipAudioGetData(void *out, int ms, int *bytes) {
  if (bytes) *bytes = 0;
  auto *dst = static_cast<uint8_t *>(out);
  size_t written = 0;
  if (!ForEachSourceRun(out ? ms : -1, [&](const uint8_t *run, size_t n) {
        std::memcpy(dst + written, run, n);
        written += n;
      }))
    return false;
  if (bytes) *bytes = int(written);
  return true;
}

// Sixteen-bit wrap-around: loud overlapping clips wrap instead of clipping. Eight samples per
// step (the plain loop is not vectorised: out and in might overlap).
static void AddWrapped(int16_t *out, const int16_t *in, int n) {
  int i = 0;
#if defined(__SSE2__)
  for (; i + 8 <= n; i += 8) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(out + i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + i));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i), _mm_add_epi16(a, b));
  }
#endif
  for (; i < n; ++i) out[i] = int16_t(uint16_t(out[i]) + uint16_t(in[i]));
}

void clip::MixMadeSound(int16_t *out, int16_t *work1, int16_t *work2, int ms, int bytes) {
  std::memset(out, 0, size_t(bytes));
  ClipAudioUpdate(CLIP_COMPOSE_MAKE);
  ClipAudioGet44100(out, work1, work2, ms, bytes);
}

int clip::ClipAudioGet44100(int16_t *out, int16_t *work1, int16_t *work2, int ms, int bytes) {
  if (!out || bytes < 0 || bytes > CLIP_AUDIO_WORK_BYTES) return 0;
  if (parentclip && !ClipIsActive()) return 0;
  if (arrangement) {
    for (int i = 0; i < childcount; ++i) {
      clip *c = children[i];
      if (audiomaster ? c != audiomaster : !c->CheckAudio()) continue;
      c->ClipAudioGet44100(out, work1, work2, ms, bytes);
    }
    return 1;
  }
  if (!work1 || !work2) return 0;
  const WAVEFORMATEX *f = AudioFormat();
  if (!f) return 0;
  // A span is at most the two seconds a work buffer holds in the internal format.
  if (ms < 0 || int64_t(ms) * 176400 / 1000 > CLIP_AUDIO_WORK_BYTES) return 0;
  // The source samples of the span go to the first work buffer, or, when they outgrow it (a
  // high rate read at a low frame rate), to the clip's own wider buffer; either way they are
  // converted into the second.
  const int64_t need = (int64_t(ms) * f->nSamplesPerSec / 1000 + 2) * std::max<int>(f->nBlockAlign, 4);
  uint8_t *src = reinterpret_cast<uint8_t *>(work1);
  if (need > CLIP_AUDIO_WORK_BYTES) {
    if (widesource.size() < size_t(need)) widesource.resize(size_t(need));
    src = widesource.data();
  }
  const bool processed = std::any_of(audioeffects, audioeffects + audioeffectcount,
                                     [](effectAudio *fx) { return fx->IsActive(); });
  if (IsInternal(*f) && src == reinterpret_cast<uint8_t *>(work1) && !processed) {
    // Nothing converts or changes the samples: they are added from the blocks where they lie
    // (what the span lacks would add zeros).
    int at = 0;
    const int samples = bytes / 2;
    return ForEachSourceRun(ms,
                            [&](const uint8_t *run, size_t n) {
                              const int take = std::min(int(n / 2), samples - at);
                              AddWrapped(out + at, reinterpret_cast<const int16_t *>(run), take);
                              at += take;
                            })
               ? 1
               : 0;
  }
  int got = 0;
  if (!ClipAudioGetData(src, ms, &got)) return 0;
  int16_t *res = work1;
  if (IsInternal(*f) && src == reinterpret_cast<uint8_t *>(work1)) {
    if (got < bytes) std::memset(src + got, 0, size_t(bytes - got));
  } else {
    pixelator::To44100_16_2(src, f, got, work2, bytes);
    res = work2;
  }
  const bool listening = GetRootClip()->messagefn != nullptr;
  for (int i = 0; i < audioeffectcount; ++i) {
    effectAudio *fx = audioeffects[i];
    if (!fx->IsActive()) continue;
    if (listening) Message(this, EffectName(fx->GetID()), GetName());
    int16_t *other = res == work1 ? work2 : work1;
    if (fx->Process(res, other, bytes)) res = other;
  }
  AddWrapped(out, res, bytes / 2);
  return 1;
}
