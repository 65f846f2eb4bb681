// The video half of the FFmpeg decoding: frame-accurate access by time, straight-on decoding for
// sequential reads, seeking to key frames for jumps, conversion into a surface.
#include <algorithm>
#include <climits>
#include <cstring>
#include <map>
#include <string>
#include <utility>

#include "media/ffdecoder.h"
#include "media/ffinput.h"
#include "media/kernels.h"
#include "media/surface.h"

extern "C" {
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

// Time is counted in "index units": frames at the stream's constant frame rate, or ticks of its
// time base when the rate is not constant. Target index t for ms = floor(ms * rate / 1000); a
// decoded frame's index is its presentation time (from the stream's start) in units, rounded
// to the nearest, so timestamps that the container stored rounded (whole milliseconds for a
// 29.97 fps stream) still land on their frame.
struct ffvideo {
  std::string path;
  ffdecoder::container kind = ffdecoder::container::any;
  AVFormatContext *fmt = nullptr;
  AVCodecContext *dec = nullptr;
  AVStream *st = nullptr;
  int stream = -1;
  AVPacket *pkt = nullptr;
  AVFrame *cur = nullptr;    // the frame shown for the latest target
  AVFrame *next = nullptr;   // the frame after it, decoded already, waiting for a later target
  AVFrame *spare = nullptr;  // always empty between calls
  int64_t cur_idx = 0;
  int64_t next_idx = 0;
  bool have_cur = false;
  bool have_next = false;

  bool pkt_pending = false;  // pkt holds the key frame found by a seek, not yet sent
  bool flushing = false;     // the demuxer is exhausted and the decoder told so
  bool eof = false;          // the decoder gave its last frame
  bool started = false;      // a frame was decoded since the open or the last seek
  bool at_origin = true;     // decoding runs from the start of the file
  int read_errors = 0;       // demuxer errors in a row
  // After a seek, frames that come out before the key frame landed on belong to the previous
  // group of pictures (open GOPs) and decode from missing references: they are dropped, and
  // so is anything that comes later but would be shown before the key frame.
  bool await_key = false;
  int awaited = 0;
  int64_t floor_idx = INT64_MIN;
  int64_t read_idx = INT64_MIN;     // the latest frame index the demuxer handed over
  int64_t last_idx = -1;            // the latest decoded frame's index
  int64_t landed = AV_NOPTS_VALUE;  // the key packet's index where the latest seek landed
  int64_t first_idx = INT64_MIN;    // the file's first picture, once met after time 0

  AVRational rate{25, 1};  // index units per second
  AVRational unit{1, 25};  // one index unit in seconds
  int64_t start_pts = 0;
  bool still = false;
  bool intra = false;  // every frame decodes on its own: skipping frames by seeking costs nothing

  // Program streams and bare elementary streams: their time stamps are right when decoding
  // runs on from the start, but after a seek the parser pins them on the wrong pictures until
  // it is back in step. There a seek near ground already covered goes to the byte position of
  // a key frame met earlier (checkpoints, by frame index) and counts the frames from it; a long
  // jump into new ground seeks by time a second early, and key frames are only remembered
  // once that second has passed.
  bool counted = false;
  bool counting = false;
  // Bare elementary streams carry no time of their own: the parser makes time stamps up from
  // decoding order, a frame late after B-frames. From the start of the file their frames are
  // counted instead.
  bool elementary = false;
  // Files that keep only decoding times (AVI) leave the decoder to guess presentation times,
  // which puts every picture of a stream with B-frames its reorder delay late: that delay, in
  // index units, taken off every decoded frame's time stamp.
  int64_t reorder_shift = 0;
  int64_t trust_from = INT64_MIN;
  std::map<int64_t, int64_t> checkpoints;

  // What the destination surface holds, so reading the same frame twice costs nothing.
  const KORSurface *shown_on = nullptr;
  int64_t shown_idx = 0;
  bool shown = false;

  // The converter and the source parameters it was made for.
  SwsContext *sws = nullptr;
  int sws_w = 0, sws_h = 0, sws_dw = 0, sws_dh = 0;
  int sws_fmt = AV_PIX_FMT_NONE;
  int sws_full = -1;
  int sws_space = -1;

  ffdecoder::video_stats stats;
};

namespace {

bool ValidQ(AVRational q) { return q.num > 0 && q.den > 0; }

int64_t SatAdd(int64_t a, int64_t b) {
  int64_t r;
  if (__builtin_add_overflow(a, b, &r)) return b > 0 ? INT64_MAX : INT64_MIN + 1;
  return r;
}

// Index of a time stamp of the stream; AV_NOPTS_VALUE when it has none or it is absurd.
int64_t IndexOfTs(const ffvideo *v, int64_t ts) {
  if (ts == AV_NOPTS_VALUE) return AV_NOPTS_VALUE;
  int64_t rel;
  if (__builtin_sub_overflow(ts, v->start_pts, &rel)) return AV_NOPTS_VALUE;
  const auto rnd = static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX);
  return av_rescale_q_rnd(rel, v->st->time_base, v->unit, rnd);
}

// The time stamp at which index t begins.
int64_t TsOfIndex(const ffvideo *v, int64_t t) {
  return SatAdd(v->start_pts, av_rescale_q_rnd(t, v->unit, v->st->time_base, AV_ROUND_NEAR_INF));
}

// Index units in `num / den` seconds, at least 1.
int64_t UnitsIn(const ffvideo *v, int64_t num, int64_t den) {
  return std::max<int64_t>(1, av_rescale(num, v->rate.num, den * v->rate.den));
}

// Index units the frame stays on screen (1 when the container does not say).
int64_t SpanOf(const ffvideo *v, const AVFrame *f) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 2, 100)
  const int64_t d = f->duration;
#else
  const int64_t d = f->pkt_duration;
#endif
  if (d <= 0) return 1;
  return std::max<int64_t>(1, av_rescale_q(d, v->st->time_base, v->unit));
}

void ResetPosition(ffvideo *v) {
  av_frame_unref(v->cur);
  av_frame_unref(v->next);
  av_frame_unref(v->spare);
  av_packet_unref(v->pkt);
  v->have_cur = v->have_next = false;
  v->pkt_pending = v->flushing = v->eof = v->started = false;
  v->read_errors = 0;
  v->await_key = false;
  v->awaited = 0;
  v->floor_idx = INT64_MIN;
  v->read_idx = INT64_MIN;
}

// The next frame in presentation order into out. False at the end of the stream.
bool DecodeOne(ffvideo *v, AVFrame *out, int64_t *idx) {
  while (!v->eof) {
    int rc = avcodec_receive_frame(v->dec, out);
    if (rc == 0) {
      ++v->stats.decoded;
      v->started = true;
      int64_t i;
      if (v->counting) {
        i = SatAdd(v->last_idx, 1);
      } else {
        int64_t ts = out->best_effort_timestamp;
        if (ts == AV_NOPTS_VALUE) ts = out->pts;
        i = IndexOfTs(v, ts);
        if (i == AV_NOPTS_VALUE || i == INT64_MIN || i == INT64_MAX)
          i = SatAdd(v->last_idx, 1);
        else
          i = SatAdd(i, -v->reorder_shift);
      }
      const bool key = out->key_frame || out->pict_type == AV_PICTURE_TYPE_I;
      if (v->await_key) {
        // A decoder that never marks key frames is not waited on for ever.
        if (key || ++v->awaited > 32) {
          v->await_key = false;
          v->floor_idx = std::max(v->floor_idx, i);
        } else {
          av_frame_unref(out);
          continue;
        }
      }
      if (i < v->floor_idx) {
        av_frame_unref(out);
        continue;
      }
      v->last_idx = i;
#if LIBAVUTIL_VERSION_MAJOR < 59
      if (key && v->counted && i >= v->trust_from && out->pkt_pos >= 0) v->checkpoints[i] = out->pkt_pos;
#endif
      *idx = i;
      return true;
    }
    if (rc != AVERROR(EAGAIN) || v->flushing) {
      v->eof = true;  // the end, or a decoder that cannot go on
      break;
    }
    if (!v->pkt_pending) {
      rc = av_read_frame(v->fmt, v->pkt);
      if (rc < 0) {
        // A damaged chunk is skipped; the end of the file, or errors that do not clear, end it.
        if (rc != AVERROR_EOF && !avio_feof(v->fmt->pb) && ++v->read_errors < 16) continue;
        v->flushing = true;
        avcodec_send_packet(v->dec, nullptr);
        continue;
      }
      v->read_errors = 0;
      if (v->pkt->stream_index != v->stream) {
        av_packet_unref(v->pkt);
        continue;
      }
      const int64_t pi = IndexOfTs(v, v->pkt->pts != AV_NOPTS_VALUE ? v->pkt->pts : v->pkt->dts);
      if (pi != AV_NOPTS_VALUE) v->read_idx = std::max(v->read_idx, pi);
    }
    v->pkt_pending = false;
    // A packet the decoder refuses is damaged: skip it and go on with the next.
    avcodec_send_packet(v->dec, v->pkt);
    av_packet_unref(v->pkt);
  }
  av_frame_unref(out);
  return false;
}

// Reads up to the first key frame of the stream and keeps it pending; its index in *idx.
bool ReadKeyPacket(ffvideo *v, int64_t *idx) {
  int errors = 0;
  for (;;) {
    const int rc = av_read_frame(v->fmt, v->pkt);
    if (rc < 0) {
      if (rc != AVERROR_EOF && !avio_feof(v->fmt->pb) && ++errors < 16) continue;
      return false;
    }
    errors = 0;
    if (v->pkt->stream_index == v->stream && (v->pkt->flags & AV_PKT_FLAG_KEY)) {
      *idx = IndexOfTs(v, v->pkt->pts != AV_NOPTS_VALUE ? v->pkt->pts : v->pkt->dts);
      v->pkt_pending = true;
      if (*idx != AV_NOPTS_VALUE) v->read_idx = *idx;
      return true;
    }
    av_packet_unref(v->pkt);
  }
}

// Back to the first frame of the file. False when the file cannot be opened again.
bool Rewind(ffvideo *v) {
  ResetPosition(v);
  avcodec_flush_buffers(v->dec);
  v->started = true;
  v->at_origin = false;
  v->counting = v->elementary;
  v->trust_from = INT64_MIN;
  if (!ffinput::Reopen(&v->fmt, v->path.c_str(), v->kind, v->stream)) return false;
  v->st = v->fmt->streams[v->stream];
  v->started = false;
  v->at_origin = true;
  v->last_idx = -1;
  return true;
}

// The checkpoint at or before t, if any.
const std::pair<const int64_t, int64_t> *CheckpointFor(const ffvideo *v, int64_t t) {
  auto it = v->checkpoints.upper_bound(t);
  if (it == v->checkpoints.begin()) return nullptr;
  return &*--it;
}

// To a checkpoint: the key frame's packet by its byte position; that frame is the
// checkpoint's index and the frames after it follow one by one.
bool SeekToCheckpoint(ffvideo *v, int64_t idx, int64_t pos) {
  ResetPosition(v);
  v->at_origin = false;
  v->started = true;
  int64_t ignored = 0;
  if (av_seek_frame(v->fmt, v->stream, pos, AVSEEK_FLAG_BYTE) < 0) return Rewind(v);
  avcodec_flush_buffers(v->dec);
  if (!ReadKeyPacket(v, &ignored)) return Rewind(v);
  v->counting = true;
  v->trust_from = INT64_MIN;
  v->last_idx = idx - 1;
  v->read_idx = idx;
  v->await_key = true;
  v->started = false;
  return true;
}

// Positions decoding so that the frame at t comes out of the decoder: at the latest key frame
// at or before t, stepping further back when the demuxer lands late, and at the start of the
// file as the last resort.
bool Seek(ffvideo *v, int64_t t) {
  ++v->stats.seeks;
  t = std::max<int64_t>(t, 0);
  if (v->counted) {
    // Within ten seconds of known ground: exactly, from a checkpoint or from the start.
    const int64_t reach = UnitsIn(v, 10, 1);
    const auto *cp = CheckpointFor(v, t);
    if (cp && t - cp->first <= reach) return SeekToCheckpoint(v, cp->first, cp->second);
    if (!cp && t <= reach) return Rewind(v);
  }
  // Without an index the demuxer finds its place by searching time stamps, and in program
  // streams (several pictures in one packet) the stamps of the first pictures after the place
  // found can be off until the parser is back in step: land a second early.
  const bool searched = avformat_index_get_entries_count(v->st) == 0;
  const int64_t target = TsOfIndex(v, searched ? std::max<int64_t>(0, t - UnitsIn(v, 1, 1)) : t);
  const int64_t second = std::max<int64_t>(1, av_rescale_q(1, AVRational{1, 1}, v->st->time_base));
  int64_t seek_ts = target;
  for (int attempt = 0; attempt < 4; ++attempt) {
    ResetPosition(v);
    v->at_origin = false;
    v->started = true;  // a failed seek leaves no usable position: the next read seeks again
    if (av_seek_frame(v->fmt, v->stream, seek_ts, AVSEEK_FLAG_BACKWARD) < 0) break;
    avcodec_flush_buffers(v->dec);
    int64_t key = 0;
    if (!ReadKeyPacket(v, &key)) break;
    if (key == AV_NOPTS_VALUE || key <= t) {
      // The key packet's time is a lower bound of its frame's (a decoding time stamp when the
      // container gives no presentation time).
      v->floor_idx = key == AV_NOPTS_VALUE ? INT64_MIN : key;
      v->landed = key;
      if (key != AV_NOPTS_VALUE && key > INT64_MIN) v->last_idx = key - 1;
      v->await_key = true;
      v->started = false;
      v->counting = false;
      v->trust_from = key == AV_NOPTS_VALUE ? INT64_MAX : SatAdd(key, UnitsIn(v, 1, 1));
      return true;
    }
    // Landed on a key frame that is shown after t (an index of decoding times puts it before
    // t when frames are reordered): the key frame before it is the one, when the demuxer can
    // find it by that frame's decoding time; else step back by seconds.
    const int64_t landed = v->pkt->dts != AV_NOPTS_VALUE ? v->pkt->dts : v->pkt->pts;
    seek_ts = SatAdd(target, -(second << attempt));
    if (attempt == 0 && landed != AV_NOPTS_VALUE && landed > INT64_MIN && landed - 1 < target)
      seek_ts = landed - 1;
  }
  return Rewind(v);
}

// Whether jumping ahead to t is cheaper by seeking than by decoding every frame in between: when
// the key frame before t lies beyond what was read by more than a tenth of a second, so a read
// never costs more than decoding from that key frame (plus those few frames), while reads in
// order, and the making of a project at a lower frame rate, go straight on. Right after the
// open, decoding stands before the first frame.
bool SeekPaysOff(const ffvideo *v, int64_t t) {
  int64_t pos = v->read_idx;
  if (v->have_cur) pos = std::max(pos, v->cur_idx);
  if (pos == INT64_MIN && v->at_origin) pos = -1;
  if (pos == INT64_MIN || t <= pos) return false;
  const int64_t near = SatAdd(pos, UnitsIn(v, 1, 10));
  // A search through a file without an index lands a second early: worth it past two.
  const int64_t far = UnitsIn(v, 2, 1);
  if (v->counted) {
    // A key frame met before lies ahead: exactly there. New ground is searched, and only
    // beyond the ten seconds within which Seek goes back to known ground instead.
    const auto *cp = CheckpointFor(v, t);
    return (cp && cp->first > near) || t - pos > UnitsIn(v, 10, 1);
  }
  const int entries = avformat_index_get_entries_count(v->st);
  if (entries > 0) {
    const int64_t ts = TsOfIndex(v, t);
    const AVIndexEntry *e = avformat_index_get_entry_from_timestamp(v->st, ts, AVSEEK_FLAG_BACKWARD);
    const int64_t key = e ? IndexOfTs(v, e->timestamp) : AV_NOPTS_VALUE;
    if (key != AV_NOPTS_VALUE && key > near) return true;
    // Frames that stand alone are not read and decoded only to be passed over (the composers
    // of a parallel make each take every n-th frame): a key frame past the next one is sought.
    if (v->intra && key != AV_NOPTS_VALUE && key > SatAdd(pos, 1)) return true;
    // An index that reaches t names the key frame before it: decoding on is cheaper.
    if (avformat_index_get_entry(v->st, entries - 1)->timestamp >= ts) return false;
    // One that is still being built as the file is read (or is read at the first seek) does
    // not: a seek finds the key frame, which pays off past a second.
    return t - pos > UnitsIn(v, 1, 1);
  }
  return t - pos > far;
}

// Whether the last frame of the stream is still on screen at t.
bool LastCovers(const ffvideo *v, int64_t t) {
  if (!v->have_cur || t < v->cur_idx) return false;
  return v->still || t - v->cur_idx < SpanOf(v, v->cur);
}

// Leaves in cur the frame shown at index t. False when there is none.
bool Locate(ffvideo *v, int64_t t) {
  if (v->have_cur && t == v->cur_idx) return true;
  const bool forward = v->have_cur ? t > v->cur_idx : (!v->started || v->at_origin);
  bool seeked = false;
  if (!forward) {
    if (!Seek(v, t)) return false;
    seeked = true;
  } else if (v->have_cur && v->have_next && t < v->next_idx) {
    return true;
  } else if (v->eof) {
    return LastCovers(v, t);
  } else if (SeekPaysOff(v, t)) {
    if (!Seek(v, t)) return false;
    seeked = true;
  }
  for (int retry = 0;;) {
    int64_t i = 0;
    if (v->have_next) {
      std::swap(v->spare, v->next);
      v->have_next = false;
      i = v->next_idx;
    } else if (!DecodeOne(v, v->spare, &i)) {
      return LastCovers(v, t);
    }
    if (i <= t) {
      std::swap(v->cur, v->spare);
      av_frame_unref(v->spare);
      v->cur_idx = i;
      v->have_cur = true;
      if (i == t) return true;
    } else if (!v->have_cur && v->at_origin) {
      // Nothing comes before the file's first picture (a stream that starts after the
      // medium's time 0): it shows from time 0.
      std::swap(v->cur, v->spare);
      av_frame_unref(v->spare);
      v->cur_idx = v->first_idx = i;
      v->have_cur = true;
      return true;
    } else if (!v->have_cur && seeked && !v->at_origin && retry < 3) {
      // The key frame's packet looked earlier than its picture is: start further back.
      av_frame_unref(v->spare);
      // First just before the key frame landed on (the one before it is the one wanted), then
      // by seconds.
      int64_t earlier = SatAdd(t, -UnitsIn(v, int64_t(1) << retry, 1));
      if (retry == 0 && v->landed != AV_NOPTS_VALUE && v->landed > 0 && v->landed <= t)
        earlier = v->landed - 1;
      if (!(earlier > 0 ? Seek(v, earlier) : Rewind(v))) return false;
      ++retry;
    } else {
      std::swap(v->next, v->spare);
      v->next_idx = i;
      v->have_next = true;
      return v->have_cur;
    }
  }
}

// The full-range twin of the deprecated "J" formats, which converters treat as full range.
AVPixelFormat Unjpeg(AVPixelFormat f, bool *full) {
  switch (f) {
    case AV_PIX_FMT_YUVJ420P:
      *full = true;
      return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
      *full = true;
      return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P:
      *full = true;
      return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P:
      *full = true;
      return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P:
      *full = true;
      return AV_PIX_FMT_YUV411P;
    default:
      return f;
  }
}

void Shown(ffvideo *v, KORSurface *dst) {
  ++v->stats.converted;
  v->shown = true;
  v->shown_on = dst;
  v->shown_idx = v->cur_idx;
}

// Uncompressed 24-bit pictures of the surface's size need no converter: each row's pixels
// become words with alpha 0 in one pass.
bool ShowBgr24(ffvideo *v, const AVFrame *f, KORSurface *dst) {
  surf s;
  if (!surface::SurfaceDataLock(dst, &s)) return false;
  for (int y = 0; y < f->height; ++y)
    kernels::bgr24_row(f->data[0] + ptrdiff_t(y) * f->linesize[0], s.bits + size_t(y) * s.pitch, f->width);
  surface::SurfaceDataUnlock(&s);
  Shown(v, dst);
  return true;
}

// Converts cur into dst: BGRA rows at the surface's pitch, alpha then cleared.
bool Show(ffvideo *v, KORSurface *dst) {
  if (v->shown && v->shown_on == dst && v->shown_idx == v->cur_idx) return true;
  const AVFrame *f = v->cur;
  if (f->width <= 0 || f->height <= 0 || f->format < 0) return false;
  // A damaged stream can leave numbers in the colour fields that name no enumerator: they are
  // read as plain integers, never as the enumerations.
  int range = 0, space = 0;
  std::memcpy(&range, &f->color_range, sizeof range);
  std::memcpy(&space, &f->colorspace, sizeof space);
  bool full = range == AVCOL_RANGE_JPEG;
  const AVPixelFormat src = Unjpeg(static_cast<AVPixelFormat>(f->format), &full);
  if (src == AV_PIX_FMT_BGR24 && f->width == dst->width && f->height == dst->height)
    return ShowBgr24(v, f, dst);
  if (!v->sws || v->sws_w != f->width || v->sws_h != f->height || v->sws_fmt != src ||
      v->sws_dw != dst->width || v->sws_dh != dst->height || v->sws_full != int(full) ||
      v->sws_space != space) {
    sws_freeContext(v->sws);
    // Accurate rounding also keeps the converter off its fast planar-to-RGB path, which leaves
    // the last columns unwritten, or writes past the last row, when the width is not a multiple
    // of 16.
    v->sws = sws_getContext(f->width, f->height, src, dst->width, dst->height, AV_PIX_FMT_BGRA,
                            SWS_BILINEAR | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
    if (!v->sws) return false;
    const AVPixFmtDescriptor *d = av_pix_fmt_desc_get(src);
    if (d && !(d->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) && d->nb_components >= 3) {
      int cs = SWS_CS_DEFAULT;  // BT.601, what untagged standard-definition video uses
      if (space == AVCOL_SPC_BT709) cs = SWS_CS_ITU709;
      if (space == AVCOL_SPC_BT2020_NCL || space == AVCOL_SPC_BT2020_CL) cs = SWS_CS_BT2020;
      sws_setColorspaceDetails(v->sws, sws_getCoefficients(cs), full ? 1 : 0,
                               sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
    }
    v->sws_w = f->width;
    v->sws_h = f->height;
    v->sws_fmt = src;
    v->sws_dw = dst->width;
    v->sws_dh = dst->height;
    v->sws_full = full;
    v->sws_space = space;
  }
  surf s;
  if (!surface::SurfaceDataLock(dst, &s)) return false;
  v->shown = false;  // until the conversion is through, the surface holds no whole frame
  uint8_t *planes[4] = {reinterpret_cast<uint8_t *>(s.bits), nullptr, nullptr, nullptr};
  int strides[4] = {s.pitch * int(sizeof(pix32)), 0, 0, 0};
  // Video has no opacity of its own: alpha 0, as pictures without an alpha channel arrive.
  // The picture is converted in bands of source rows and each band's alpha cleared while its
  // rows are still in the cache.
  constexpr int kBand = 16;  // a multiple of every vertical chroma subsampling
  int rows = 0;
  const AVPixFmtDescriptor *d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(f->format));
  if (!d) {
    surface::SurfaceDataUnlock(&s);
    return false;
  }
  // Banding a picture shrunk many times over, in either direction, makes the converter read
  // outside its buffers (16 x 4112 and 4128 x 32 frames shown at 16 x 16 and 32 x 32 did):
  // such a picture goes through in one piece.
  const int band_rows = f->height > 4 * dst->height || f->width > 4 * dst->width ? f->height : kBand;
  for (int y = 0; y < f->height; y += band_rows) {
    // The converter takes pointers to the band's first row of each plane; chroma planes of
    // subsampled formats are fewer rows, the palette of paletted ones is not rows at all.
    const uint8_t *band[4] = {};
    for (int p = 0; p < 4 && f->data[p]; ++p) {
      const bool palette = (d->flags & AV_PIX_FMT_FLAG_PAL) && p == 1;
      const bool chroma = !(d->flags & AV_PIX_FMT_FLAG_RGB) && (p == 1 || p == 2);
      const int row = palette ? 0 : chroma ? (y >> d->log2_chroma_h) : y;
      band[p] = f->data[p] + ptrdiff_t(row) * f->linesize[p];
    }
    const int n =
        sws_scale(v->sws, band, f->linesize, y, std::min(band_rows, f->height - y), planes, strides);
    if (n <= 0) continue;
    const int end = std::min(rows + n, s.height);
    for (; rows < end; ++rows) kernels::alpha_set_row(s.bits + size_t(rows) * s.pitch, s.pitch, 0);
  }
  surface::SurfaceDataUnlock(&s);
  if (rows <= 0) return false;
  Shown(v, dst);
  return true;
}

// The first picture decoded from the start of an AVI file is its time 0; a later time stamp,
// up to the decoder's reorder delay, is that delay (a guess from decoding times). The picture
// waits as the next frame. False when the file cannot be rewound.
bool FindReorderShift(ffvideo *v) {
  int64_t i = 0;
  if (!DecodeOne(v, v->next, &i)) return Rewind(v);
  if (i > 0 && i <= v->dec->has_b_frames) v->reorder_shift = i;
  v->next_idx = i - v->reorder_shift;
  v->last_idx = v->next_idx;
  v->have_next = true;
  return true;
}

bool IsCountedDemuxer(const char *name) {
  static const char *const names[] = {"mpeg", "mpegvideo", "h264", "hevc", "m4v",
                                      "vc1",  "cavsvideo", "h261", "h263"};
  for (const char *n : names)
    if (name && std::strcmp(name, n) == 0) return true;
  return false;
}

bool IsPictureDemuxer(const char *name) {
  if (!name) return false;
  const size_t n = std::strlen(name);
  return std::strcmp(name, "image2") == 0 || (n > 5 && std::strcmp(name + n - 5, "_pipe") == 0);
}

}  // namespace

namespace ffdecoder {

ffvideo *VideoOpen(const char *path, container c, video_info *info, bool *has_sound) {
  AVFormatContext *fmt = ffinput::OpenInput(path, c);
  if (has_sound) *has_sound = fmt && ffinput::FindStream(fmt, AVMEDIA_TYPE_AUDIO) >= 0;
  if (!fmt) return nullptr;
  ffvideo *v = new ffvideo;
  v->path = path;
  v->kind = c;
  v->fmt = fmt;
  v->stream = ffinput::FindStream(fmt, AVMEDIA_TYPE_VIDEO);
  if (v->stream < 0) {
    VideoClose(v);
    return nullptr;
  }
  v->st = fmt->streams[v->stream];
  const AVCodecParameters *par = v->st->codecpar;
  if (par->width <= 0 || par->height <= 0 || !ValidQ(v->st->time_base)) {
    VideoClose(v);
    return nullptr;
  }
  v->dec = ffinput::OpenDecoder(v->st);
  v->pkt = av_packet_alloc();
  v->cur = av_frame_alloc();
  v->next = av_frame_alloc();
  v->spare = av_frame_alloc();
  if (!v->dec || !v->pkt || !v->cur || !v->next || !v->spare) {
    VideoClose(v);
    return nullptr;
  }
  ffinput::KeepOnly(fmt, v->stream);

  // A constant frame rate counts in frames; otherwise in ticks of the time base, which every
  // time stamp of the stream is a whole number of.
  const AVRational r = v->st->r_frame_rate, a = v->st->avg_frame_rate, tb = v->st->time_base;
  if (ValidQ(r) && ValidQ(a) && av_cmp_q(r, a) == 0)
    v->rate = r;
  else
    v->rate = AVRational{tb.den, tb.num};
  v->unit = AVRational{v->rate.den, v->rate.num};
  v->start_pts = ffinput::OriginTs(fmt, v->st);
  v->still = c == container::any && IsPictureDemuxer(fmt->iformat->name);
  const AVCodecDescriptor *desc = avcodec_descriptor_get(par->codec_id);
  v->intra = desc && (desc->props & AV_CODEC_PROP_INTRA_ONLY);
  v->counted = IsCountedDemuxer(fmt->iformat->name);
  v->elementary = v->counted && std::strcmp(fmt->iformat->name, "mpeg") != 0 && av_cmp_q(v->rate, r) == 0;
  v->counting = v->elementary;

  if (info) {
    *info = video_info{};
    info->width = par->width;
    info->height = par->height;
    const AVRational shown = ValidQ(r) ? r : ValidQ(a) ? a : AVRational{0, 0};
    info->rate_num = shown.num;
    info->rate_den = shown.den;
    info->length_ms = ffinput::StreamLengthMs(v->st);
    if (info->length_ms >= 0) info->length_ms += ffinput::StartOffsetMs(fmt, v->st);
    info->container_ms = ffinput::ContainerLengthMs(fmt);
    if (ffinput::LengthIsEstimate(fmt))
      info->length_ms = info->container_ms = ffinput::MeasureLengthMs(path, c, v->stream, v->elementary);
    info->still = v->still;
  }
  if (c == container::avi && !FindReorderShift(v)) {
    VideoClose(v);
    return nullptr;
  }
  return v;
}

bool VideoRead(ffvideo *v, int64_t ms, KORSurface *dst) {
  if (!v || !dst || ms < 0 || !v->fmt) return false;  // no demuxer: the file went away
  const int64_t t =
      std::max(v->first_idx, av_rescale_rnd(ms, v->rate.num, int64_t(v->rate.den) * 1000, AV_ROUND_DOWN));
  if (!Locate(v, t)) return false;
  return Show(v, dst);
}

video_stats VideoStats(const ffvideo *v) { return v ? v->stats : video_stats{}; }

void VideoClose(ffvideo *v) {
  if (!v) return;
  sws_freeContext(v->sws);
  av_frame_free(&v->cur);
  av_frame_free(&v->next);
  av_frame_free(&v->spare);
  av_packet_free(&v->pkt);
  avcodec_free_context(&v->dec);
  avformat_close_input(&v->fmt);
  delete v;
}

}  // namespace ffdecoder
