// The sound half of the FFmpeg decoding: one audio stream as PCM, sample-accurate runs of
// sample frames, straight on for consecutive reads, seeking for jumps.
#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "media/ffdecoder.h"
#include "media/ffinput.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

// Decoded sound waits in `pend`, converted to the output format, as the frames from sample
// frame `pend_start` on. Reads take what they need and drop what lies before them, so the next
// second continues where the last ended without touching the demuxer again.
struct ffaudio {
  std::string path;
  ffdecoder::container kind = ffdecoder::container::any;
  AVFormatContext *fmt = nullptr;
  AVCodecContext *dec = nullptr;
  AVStream *st = nullptr;
  int stream = -1;
  AVPacket *pkt = nullptr;
  AVFrame *frame = nullptr;
  int64_t start_pts = 0;

  // Output format.
  AVSampleFormat out_fmt = AV_SAMPLE_FMT_S16;
  AVChannelLayout out_layout{};
  int out_rate = 0;
  int bpf = 0;  // bytes per sample frame
  uint8_t silence = 0;

  // The converter and the input it was made for.
  SwrContext *swr = nullptr;
  int swr_fmt = -1;
  int swr_rate = 0;
  AVChannelLayout swr_layout{};
  std::vector<uint8_t> conv;

  std::vector<uint8_t> pend;
  int64_t pend_start = 0;
  // The earliest sample frame a read can get without seeking. At the start of the file that
  // is everything: what lies before the first decoded sound is silence, not missing.
  int64_t served_from = INT64_MIN;
  bool fresh = true;  // no sound decoded since the open or the last seek
  bool flushing = false;
  bool eof = false;
  int read_errors = 0;
};

namespace {

int64_t PendFrames(const ffaudio *a) { return int64_t(a->pend.size()) / a->bpf; }
int64_t PendEnd(const ffaudio *a) { return a->pend_start + PendFrames(a); }

void ResetPosition(ffaudio *a) {
  av_packet_unref(a->pkt);
  av_frame_unref(a->frame);
  a->pend.clear();
  a->pend_start = 0;
  a->fresh = true;
  a->flushing = a->eof = false;
  a->read_errors = 0;
  // The converter holds no sound between calls when rates match, but a resampling one does.
  swr_free(&a->swr);
  a->swr_fmt = -1;
}

// The sample frame at which a decoded frame starts; AV_NOPTS_VALUE when it carries no time.
int64_t PositionOf(const ffaudio *a, const AVFrame *f) {
  int64_t ts = f->best_effort_timestamp;
  if (ts == AV_NOPTS_VALUE) ts = f->pts;
  if (ts == AV_NOPTS_VALUE) return AV_NOPTS_VALUE;
  int64_t rel;
  if (__builtin_sub_overflow(ts, a->start_pts, &rel)) return AV_NOPTS_VALUE;
  const auto rnd = static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX);
  const int64_t pos = av_rescale_q_rnd(rel, a->st->time_base, AVRational{1, a->out_rate}, rnd);
  return pos == INT64_MIN || pos == INT64_MAX ? AV_NOPTS_VALUE : pos;
}

// Converts the decoded frame into the output format at the end of conv; the frames written.
int Convert(ffaudio *a, const AVFrame *f) {
  AVChannelLayout in{};
  if (f->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC || av_channel_layout_check(&f->ch_layout) == 0)
    av_channel_layout_default(&in, f->ch_layout.nb_channels);
  else if (av_channel_layout_copy(&in, &f->ch_layout) < 0)
    return 0;
  if (in.nb_channels <= 0 || f->sample_rate <= 0 || f->nb_samples <= 0) {
    av_channel_layout_uninit(&in);
    return 0;
  }
  if (!a->swr || a->swr_fmt != f->format || a->swr_rate != f->sample_rate ||
      av_channel_layout_compare(&a->swr_layout, &in) != 0) {
    swr_free(&a->swr);
    if (swr_alloc_set_opts2(&a->swr, &a->out_layout, a->out_fmt, a->out_rate, &in,
                            static_cast<AVSampleFormat>(f->format), f->sample_rate, 0, nullptr) < 0 ||
        swr_init(a->swr) < 0) {
      swr_free(&a->swr);
      av_channel_layout_uninit(&in);
      return 0;
    }
    a->swr_fmt = f->format;
    a->swr_rate = f->sample_rate;
    av_channel_layout_uninit(&a->swr_layout);
    av_channel_layout_copy(&a->swr_layout, &in);
  }
  av_channel_layout_uninit(&in);
  const int room = swr_get_out_samples(a->swr, f->nb_samples);
  if (room <= 0) return 0;
  a->conv.resize(size_t(room) * a->bpf);
  uint8_t *out[1] = {a->conv.data()};
  const int n = swr_convert(a->swr, out, room, const_cast<const uint8_t **>(f->extended_data), f->nb_samples);
  return std::max(n, 0);
}

// Puts n converted frames from conv at sample frame pos (AV_NOPTS_VALUE: right after what is
// there), bridging small gaps with silence and cutting overlaps.
void Append(ffaudio *a, int64_t pos, int n) {
  const uint8_t *src = a->conv.data();
  if (a->fresh) {
    a->pend_start = pos != AV_NOPTS_VALUE ? pos : PendEnd(a);
    a->fresh = false;
  } else if (pos != AV_NOPTS_VALUE) {
    // Time stamps stored rounded (whole milliseconds) wander a little: within a hundredth of
    // a second the sound is taken as continuous.
    const int64_t tolerance = std::max(1, a->out_rate / 100);
    const int64_t expected = PendEnd(a);
    if (pos > expected + tolerance && pos - expected <= int64_t(a->out_rate) * 10) {
      a->pend.insert(a->pend.end(), size_t(pos - expected) * a->bpf, a->silence);
    } else if (pos < expected - tolerance) {
      const int64_t skip = std::min<int64_t>(expected - pos, n);
      src += skip * a->bpf;
      n -= static_cast<int>(skip);
    }
  }
  if (n > 0) a->pend.insert(a->pend.end(), src, src + size_t(n) * a->bpf);
}

// Decodes one more frame into pend. False at the end of the stream.
bool DecodeMore(ffaudio *a) {
  while (!a->eof) {
    int rc = avcodec_receive_frame(a->dec, a->frame);
    if (rc == 0) {
      const int64_t pos = PositionOf(a, a->frame);
      const int n = Convert(a, a->frame);
      av_frame_unref(a->frame);
      if (n > 0) Append(a, pos, n);
      return true;
    }
    if (rc != AVERROR(EAGAIN) || a->flushing) {
      a->eof = true;
      break;
    }
    rc = av_read_frame(a->fmt, a->pkt);
    if (rc < 0) {
      if (rc != AVERROR_EOF && !avio_feof(a->fmt->pb) && ++a->read_errors < 16) continue;
      a->flushing = true;
      avcodec_send_packet(a->dec, nullptr);
      continue;
    }
    a->read_errors = 0;
    if (a->pkt->stream_index == a->stream) avcodec_send_packet(a->dec, a->pkt);
    av_packet_unref(a->pkt);
  }
  return false;
}

// Drops what lies before sample frame `from`.
void Trim(ffaudio *a, int64_t from) {
  if (from <= a->pend_start) return;
  const int64_t drop = std::min(from - a->pend_start, PendFrames(a));
  a->pend.erase(a->pend.begin(), a->pend.begin() + drop * a->bpf);
  a->pend_start += drop;
  a->served_from = a->pend_start;
}

// Positions decoding so that sound from sample frame s on comes next: at the latest point the
// demuxer can seek to before s, stepping back when it lands late, at the start as a last resort.
bool Seek(ffaudio *a, int64_t s) {
  const AVRational tb = a->st->time_base;
  int64_t target;
  if (__builtin_add_overflow(a->start_pts, av_rescale_q_rnd(s, AVRational{1, a->out_rate}, tb, AV_ROUND_DOWN),
                             &target))
    target = INT64_MAX;
  const int64_t second = std::max<int64_t>(1, av_rescale_q(1, AVRational{1, 1}, tb));
  int64_t seek_ts = target;
  for (int attempt = 0; attempt < 4; ++attempt) {
    ResetPosition(a);
    if (av_seek_frame(a->fmt, a->stream, seek_ts, AVSEEK_FLAG_BACKWARD) < 0) break;
    avcodec_flush_buffers(a->dec);
    if (!DecodeMore(a)) break;
    if (a->fresh || a->pend_start <= s) {
      a->served_from = a->fresh ? s : a->pend_start;
      return true;
    }
    if (__builtin_sub_overflow(target, second << attempt, &seek_ts)) seek_ts = INT64_MIN + 1;
  }
  // Back to the start, exactly.
  ResetPosition(a);
  avcodec_flush_buffers(a->dec);
  if (!ffinput::Reopen(&a->fmt, a->path.c_str(), a->kind, a->stream)) {
    a->served_from = INT64_MAX;  // nothing can be read any more
    a->eof = true;
    return false;
  }
  a->st = a->fmt->streams[a->stream];
  a->served_from = INT64_MIN;
  return true;
}

}  // namespace

namespace ffdecoder {

ffaudio *AudioOpen(const char *path, container c, audio_info *info) {
  AVFormatContext *fmt = ffinput::OpenInput(path, c);
  if (!fmt) return nullptr;
  ffaudio *a = new ffaudio;
  a->path = path;
  a->kind = c;
  a->fmt = fmt;
  a->stream = ffinput::FindStream(fmt, AVMEDIA_TYPE_AUDIO);
  if (a->stream < 0) {
    AudioClose(a);
    return nullptr;
  }
  a->st = fmt->streams[a->stream];
  const AVStream *st = a->st;
  a->dec = ffinput::OpenDecoder(st);
  a->pkt = av_packet_alloc();
  a->frame = av_frame_alloc();
  const int channels = a->dec ? a->dec->ch_layout.nb_channels : 0;
  const int rate = a->dec ? a->dec->sample_rate : 0;
  // Beyond 384 kHz a rate is a corrupt header; one second of it must stay a sane allocation.
  if (!a->pkt || !a->frame || channels < 1 || rate < 1 || rate > 384000 || st->time_base.num <= 0 ||
      st->time_base.den <= 0) {
    AudioClose(a);
    return nullptr;
  }
  ffinput::KeepOnly(fmt, a->stream);
  a->start_pts = ffinput::OriginTs(fmt, st);

  // 8- and 16-bit PCM in one or two channels passes as it is; anything else becomes 16-bit,
  // mono staying mono and everything else mixed to stereo, at the stream's own rate.
  const AVCodecID id = st->codecpar->codec_id;
  const bool plain = (id == AV_CODEC_ID_PCM_U8 || id == AV_CODEC_ID_PCM_S16LE) && channels <= 2;
  const int out_channels = channels == 1 ? 1 : 2;
  const int bits = plain && id == AV_CODEC_ID_PCM_U8 ? 8 : 16;
  a->out_fmt = bits == 8 ? AV_SAMPLE_FMT_U8 : AV_SAMPLE_FMT_S16;
  av_channel_layout_default(&a->out_layout, out_channels);
  a->out_rate = rate;
  a->bpf = out_channels * bits / 8;
  a->silence = SilenceByte(static_cast<uint16_t>(bits));

  if (info) {
    *info = audio_info{};
    WAVEFORMATEX &w = info->wfx;
    w.wFormatTag = WAVE_FORMAT_PCM;
    w.nChannels = static_cast<uint16_t>(out_channels);
    w.nSamplesPerSec = static_cast<uint32_t>(rate);
    w.wBitsPerSample = static_cast<uint16_t>(bits);
    w.nBlockAlign = static_cast<uint16_t>(a->bpf);
    w.nAvgBytesPerSec = static_cast<uint32_t>(rate) * static_cast<uint32_t>(a->bpf);
    w.cbSize = 0;
    info->converted = !plain;
    info->length_ms = ffinput::StreamLengthMs(st);
    if (info->length_ms >= 0) info->length_ms += ffinput::StartOffsetMs(fmt, st);
    info->container_ms = ffinput::ContainerLengthMs(fmt);
    if (ffinput::LengthIsEstimate(fmt))
      info->length_ms = info->container_ms = ffinput::MeasureLengthMs(path, c, a->stream, false);
  }
  return a;
}

int64_t AudioRead(ffaudio *a, int64_t start, int64_t count, uint8_t *out) {
  if (!a || !out || count <= 0) return 0;
  std::memset(out, a->silence, size_t(count) * a->bpf);
  if (start < 0 || start > INT64_MAX - count || !a->fmt) return 0;  // no demuxer: the file went away
  const int64_t end = start + count;

  // Behind what is kept, or more than two seconds beyond it: seek. Otherwise decode on.
  if (start < a->served_from || (!a->eof && start - PendEnd(a) > int64_t(a->out_rate) * 2)) {
    if (!Seek(a, start)) return 0;
  }
  while (PendEnd(a) < end && DecodeMore(a)) {
    // Sound decoded on the way to a later start is not kept.
    if (PendEnd(a) <= start) Trim(a, start);
  }
  const int64_t from = std::max(start, a->pend_start);
  const int64_t to = std::min(end, PendEnd(a));
  int64_t delivered = 0;
  if (to > from) {
    std::memcpy(out + (from - start) * a->bpf, a->pend.data() + (from - a->pend_start) * a->bpf,
                size_t(to - from) * a->bpf);
    delivered = to - from;
  }
  Trim(a, start);
  return delivered;
}

void AudioClose(ffaudio *a) {
  if (!a) return;
  swr_free(&a->swr);
  av_channel_layout_uninit(&a->swr_layout);
  av_channel_layout_uninit(&a->out_layout);
  av_frame_free(&a->frame);
  av_packet_free(&a->pkt);
  avcodec_free_context(&a->dec);
  avformat_close_input(&a->fmt);
  delete a;
}

}  // namespace ffdecoder
