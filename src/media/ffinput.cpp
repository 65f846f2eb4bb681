// Opening files for the FFmpeg decoders: demuxer, stream choice, decoder, lengths, rewinding.
#include "media/ffinput.h"

#include <algorithm>
#include <mutex>
#include <string>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

namespace ffinput {

namespace {

// No frame larger than this is decoded: far above any medium the engine composes, and it keeps a
// corrupt header from making the decoder allocate gigabytes.
constexpr int64_t kMaxPixels = int64_t(16384) * 8192;

// What LimitDecoding lowered them to; -1 for the decoder's own thread count.
int64_t max_pixels = kMaxPixels;
int decoder_threads = -1;

// Frame threads hold a decoded picture each. A codec whose every frame stands alone gains
// nothing from them in reading one frame, and a large picture of such a codec (a lossless
// 4096 x 4096 frame is 32 MiB) would cost that many times over: its threads are held to what
// fits in this many bytes of pictures, at least one.
constexpr int64_t kIntraThreadBytes = int64_t(32) << 20;

// 0 lets the decoder take as many threads as the machine has.
int FrameThreads(const AVStream *st) {
  const AVCodecDescriptor *d = avcodec_descriptor_get(st->codecpar->codec_id);
  const int w = st->codecpar->width, h = st->codecpar->height;
  if (!d || !(d->props & AV_CODEC_PROP_INTRA_ONLY) || st->codecpar->codec_type != AVMEDIA_TYPE_VIDEO || w <= 0 ||
      h <= 0)
    return 0;
  const auto fmt = static_cast<AVPixelFormat>(st->codecpar->format);
  int64_t bytes = fmt != AV_PIX_FMT_NONE ? av_image_get_buffer_size(fmt, w, h, 1) : -1;
  if (bytes <= 0) bytes = int64_t(w) * h * 4;
  const int64_t fit = kIntraThreadBytes / bytes;
  return fit >= 16 ? 0 : static_cast<int>(std::max<int64_t>(fit, 1));
}

}  // namespace

void LimitDecoding(int64_t pixels, int threads) {
  max_pixels = std::clamp<int64_t>(pixels, 1, kMaxPixels);
  decoder_threads = std::max(threads, 0);
}

void PrepareLibraries() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (av_log_get_level() == AV_LOG_INFO) av_log_set_level(AV_LOG_QUIET);
    // Four bytes a pixel at the decoders' limit, and room for a plane's padding.
    av_max_alloc(size_t(kMaxPixels) * 4 + (size_t(1) << 20));
  });
}

AVFormatContext *OpenInput(const char *path, ffdecoder::container c) {
  if (!path || !*path) return nullptr;
  PrepareLibraries();
  // The "file:" prefix makes a name with a colon a file name rather than a protocol, and the
  // white list keeps a crafted file from pulling in anything but local files.
  const std::string url = std::string("file:") + path;
  AVDictionary *opts = nullptr;
  av_dict_set(&opts, "protocol_whitelist", "file", 0);
  // A picture named "frame%03d.png" is that one file, not a numbered sequence.
  av_dict_set(&opts, "pattern_type", "none", 0);
  const AVInputFormat *forced = c == ffdecoder::container::avi ? av_find_input_format("avi") : nullptr;
  if (c == ffdecoder::container::avi && !forced) {
    av_dict_free(&opts);
    return nullptr;
  }
  AVFormatContext *fmt = nullptr;
  const int rc = avformat_open_input(&fmt, url.c_str(), forced, &opts);
  av_dict_free(&opts);
  if (rc < 0) return nullptr;
  if (avformat_find_stream_info(fmt, nullptr) < 0) {
    avformat_close_input(&fmt);
    return nullptr;
  }
  return fmt;
}

int FindStream(const AVFormatContext *fmt, AVMediaType kind) {
  for (unsigned i = 0; i < fmt->nb_streams; ++i) {
    const AVStream *st = fmt->streams[i];
    if (st->codecpar->codec_type != kind) continue;
    if (kind == AVMEDIA_TYPE_VIDEO && (st->disposition & AV_DISPOSITION_ATTACHED_PIC)) continue;
    return static_cast<int>(i);
  }
  return -1;
}

AVCodecContext *OpenDecoder(const AVStream *st) {
  const AVCodec *codec = avcodec_find_decoder(st->codecpar->codec_id);
  if (!codec) return nullptr;
  AVCodecContext *dec = avcodec_alloc_context3(codec);
  if (!dec) return nullptr;
  if (avcodec_parameters_to_context(dec, st->codecpar) < 0) {
    avcodec_free_context(&dec);
    return nullptr;
  }
  dec->pkt_timebase = st->time_base;
  dec->max_pixels = max_pixels;
  dec->thread_count = decoder_threads >= 0 ? decoder_threads : FrameThreads(st);
  if (avcodec_open2(dec, codec, nullptr) < 0) {
    avcodec_free_context(&dec);
    return nullptr;
  }
  return dec;
}

int64_t TicksToMs(int64_t duration, AVRational tb) {
  if (duration == AV_NOPTS_VALUE || duration < 0 || tb.num <= 0 || tb.den <= 0) return -1;
  const int64_t ms = av_rescale_rnd(duration, int64_t(tb.num) * 1000, tb.den, AV_ROUND_DOWN);
  return ms < 0 ? -1 : ms;
}

int64_t OriginTs(const AVFormatContext *fmt, const AVStream *st) {
  if (fmt->start_time != AV_NOPTS_VALUE) return av_rescale_q(fmt->start_time, AV_TIME_BASE_Q, st->time_base);
  return st->start_time != AV_NOPTS_VALUE ? st->start_time : 0;
}

int64_t StartOffsetMs(const AVFormatContext *fmt, const AVStream *st) {
  if (st->start_time == AV_NOPTS_VALUE) return 0;
  int64_t ticks;
  if (__builtin_sub_overflow(st->start_time, OriginTs(fmt, st), &ticks)) return 0;
  const int64_t ms = TicksToMs(ticks, st->time_base);
  return ms > 0 ? ms : 0;
}

int64_t StreamLengthMs(const AVStream *st) { return TicksToMs(st->duration, st->time_base); }

int64_t ContainerLengthMs(const AVFormatContext *fmt) {
  return TicksToMs(fmt->duration, AVRational{1, AV_TIME_BASE});
}

bool LengthIsEstimate(const AVFormatContext *fmt) {
  return fmt->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
}

int64_t MeasureLengthMs(const char *path, ffdecoder::container c, int stream, bool count_frames) {
  AVFormatContext *fmt = OpenInput(path, c);
  if (!fmt) return -1;
  if (unsigned(stream) >= fmt->nb_streams) {
    avformat_close_input(&fmt);
    return -1;
  }
  KeepOnly(fmt, stream);
  const AVStream *st = fmt->streams[stream];
  AVPacket *pkt = av_packet_alloc();
  int64_t count = 0, first = AV_NOPTS_VALUE, end = AV_NOPTS_VALUE;
  int errors = 0;
  while (pkt) {
    const int rc = av_read_frame(fmt, pkt);
    if (rc < 0) {
      if (rc != AVERROR_EOF && !avio_feof(fmt->pb) && ++errors < 16) continue;
      break;
    }
    errors = 0;
    if (pkt->stream_index == stream) {
      ++count;
      const int64_t ts = pkt->pts != AV_NOPTS_VALUE ? pkt->pts : pkt->dts;
      int64_t e;
      if (ts != AV_NOPTS_VALUE && !__builtin_add_overflow(ts, std::max<int64_t>(pkt->duration, 0), &e)) {
        if (first == AV_NOPTS_VALUE || ts < first) first = ts;
        if (end == AV_NOPTS_VALUE || e > end) end = e;
      }
    }
    av_packet_unref(pkt);
  }
  av_packet_free(&pkt);
  int64_t ms = -1;
  const AVRational rate = st->r_frame_rate;
  if (count_frames && rate.num > 0 && rate.den > 0)
    ms = av_rescale(count, int64_t(rate.den) * 1000, rate.num);
  else if (int64_t span; first != AV_NOPTS_VALUE && !__builtin_sub_overflow(end, first, &span))
    ms = TicksToMs(span, st->time_base);
  avformat_close_input(&fmt);
  return ms;
}

void KeepOnly(AVFormatContext *fmt, int stream) {
  for (unsigned i = 0; i < fmt->nb_streams; ++i)
    fmt->streams[i]->discard = int(i) == stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
}

bool Reopen(AVFormatContext **fmt, const char *path, ffdecoder::container c, int stream) {
  const AVCodecParameters *was = (*fmt)->streams[stream]->codecpar;
  const AVMediaType kind = was->codec_type;
  const AVCodecID id = was->codec_id;
  avformat_close_input(fmt);
  AVFormatContext *f = OpenInput(path, c);
  if (!f) return false;
  if (unsigned(stream) >= f->nb_streams || f->streams[stream]->codecpar->codec_type != kind ||
      f->streams[stream]->codecpar->codec_id != id) {
    avformat_close_input(&f);
    return false;
  }
  KeepOnly(f, stream);
  *fmt = f;
  return true;
}

}  // namespace ffinput
