// Test fixtures: media files encoded and muxed by FFmpeg from known frames and samples.
#include "support/mediafile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>

#include "media/surface.h"
#include "support/wavfile.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace fixtures {

namespace {

// Six levels per channel; colour k of the 216 is (k % 6, k / 6 % 6, k / 36) in levels. Frame i
// takes colour i * 97 mod 216, which scatters neighbours over the cube.
constexpr int kLevel = 51;

// The frame among 0 .. count-1 whose colour is nearest to p; -1 when even that is more than 24 away.
int FrameOfColour(pix32 p, int count) {
  int best = -1, best_diff = 256;
  for (int i = 0; i < count && i < 216; ++i) {
    const pix32 c = FrameColour(i);
    const int d = std::max({std::abs(c.r - p.r), std::abs(c.g - p.g), std::abs(c.b - p.b)});
    if (d < best_diff) best = i, best_diff = d;
  }
  return best_diff <= 24 ? best : -1;
}

// Owns everything the writer opens.
struct writer {
  AVFormatContext *oc = nullptr;
  AVCodecContext *venc = nullptr, *aenc = nullptr;
  AVStream *vst = nullptr, *ast = nullptr;
  AVFrame *vframe = nullptr, *aframe = nullptr;
  AVPacket *pkt = nullptr;
  SwsContext *sws = nullptr;
  std::vector<uint8_t> bgra;

  ~writer() {
    sws_freeContext(sws);
    av_packet_free(&pkt);
    av_frame_free(&vframe), av_frame_free(&aframe);
    avcodec_free_context(&venc), avcodec_free_context(&aenc);
    if (oc && !(oc->oformat->flags & AVFMT_NOFILE)) avio_closep(&oc->pb);
    avformat_free_context(oc);
  }

  // Sends a frame (null: the end) and writes every packet that comes out.
  bool Encode(AVCodecContext *enc, AVStream *st, AVFrame *f) {
    if (avcodec_send_frame(enc, f) < 0) return false;
    for (;;) {
      const int rc = avcodec_receive_packet(enc, pkt);
      if (rc == AVERROR(EAGAIN) || rc == AVERROR_EOF) return true;
      if (rc < 0) return false;
      av_packet_rescale_ts(pkt, enc->time_base, st->time_base);
      pkt->stream_index = st->index;
      if (av_interleaved_write_frame(oc, pkt) < 0) return false;
    }
  }

  // A stream with its encoder, set up by `configure` before it opens; what failed, or null.
  template <typename F>
  const char *AddStream(const std::string &name, AVCodecContext *&enc, AVStream *&st, F configure) {
    const AVCodec *codec = avcodec_find_encoder_by_name(name.c_str());
    if (!codec) return "no such encoder";
    st = avformat_new_stream(oc, nullptr), enc = avcodec_alloc_context3(codec);
    if (!st || !enc) return "out of memory";
    if (!configure(codec, enc)) return "no pixel format";
    if (oc->oformat->flags & AVFMT_GLOBALHEADER) enc->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (avcodec_open2(enc, codec, nullptr) < 0) return "the encoder does not open";
    if (avcodec_parameters_from_context(st->codecpar, enc) < 0) return "parameters";
    st->time_base = enc->time_base;
    return nullptr;
  }
};

const char *OpenVideo(writer &w, const media_recipe &s) {
  const char *why = w.AddStream(s.video_codec, w.venc, w.vst, [&](const AVCodec *codec, AVCodecContext *e) {
    e->width = s.width, e->height = s.height;
    e->framerate = AVRational{s.rate_num, s.rate_den};
    e->time_base = s.tb_den ? AVRational{s.tb_num, s.tb_den} : AVRational{s.rate_den, s.rate_num};
    e->gop_size = s.gop, e->max_b_frames = s.max_b_frames;
    e->pix_fmt = !s.pix_fmt.empty() ? av_get_pix_fmt(s.pix_fmt.c_str())
                 : codec->pix_fmts  ? codec->pix_fmts[0]
                                    : AV_PIX_FMT_NONE;
    // Near-lossless (flat frames stay within a few steps): quantiser 2, or H.264 at constant quality 12.
    const bool x264 = s.video_codec == "libx264";
    e->flags |= x264 ? 0 : AV_CODEC_FLAG_QSCALE, e->global_quality = FF_QP2LAMBDA * 2;
    if (x264) av_opt_set(e->priv_data, "crf", "12", 0), av_opt_set(e->priv_data, "preset", "veryfast", 0);
    return e->pix_fmt != AV_PIX_FMT_NONE;
  });
  if (why) return why;
  w.vst->avg_frame_rate = w.venc->framerate;
  const AVPixelFormat pf = w.venc->pix_fmt;
  if (!(w.vframe = av_frame_alloc())) return "out of memory";
  w.vframe->format = pf, w.vframe->width = s.width, w.vframe->height = s.height;
  if (av_frame_get_buffer(w.vframe, 0) < 0) return "frame buffer";
  w.bgra.resize(size_t(s.width) * s.height * 4);
  if (pf == AV_PIX_FMT_PAL8) return nullptr;
  w.sws = sws_getContext(s.width, s.height, AV_PIX_FMT_BGRA, s.width, s.height, pf, SWS_POINT, nullptr,
                         nullptr, nullptr);
  return w.sws ? nullptr : "no converter";
}

const char *OpenAudio(writer &w, const media_recipe &s) {
  const char *why = w.AddStream(s.audio_codec, w.aenc, w.ast, [&](const AVCodec *codec, AVCodecContext *e) {
    e->sample_fmt = codec->sample_fmts ? codec->sample_fmts[0] : AV_SAMPLE_FMT_S16;
    e->sample_rate = s.audio_rate, e->time_base = AVRational{1, s.audio_rate};
    av_channel_layout_default(&e->ch_layout, s.audio_channels);
    return true;
  });
  return why ? why : (w.aframe = av_frame_alloc()) ? nullptr : "out of memory";
}

void FillPicture(writer &w, const media_recipe &s, int i) {
  AVFrame *f = w.vframe;
  av_frame_make_writable(f);
  if (f->format == AV_PIX_FMT_PAL8) {
    // One palette entry carries the frame's colour; every pixel points at it.
    auto *pal = reinterpret_cast<uint32_t *>(f->data[1]);
    std::fill(pal, pal + 256, 0xFF000000u);
    pal[0] |= FrameColour(i).word();  // 0xAARRGGBB, alpha 0
    for (int y = 0; y < s.height; ++y) std::memset(f->data[0] + size_t(y) * f->linesize[0], 0, s.width);
    return;
  }
  uint8_t *p = w.bgra.data();
  for (int y = 0; y < s.height; ++y)
    for (int x = 0; x < s.width; ++x, p += 4) {
      const pix32 c = s.gradient ? GradientPixel(i, x, y) : FrameColour(i);
      p[0] = c.b, p[1] = c.g, p[2] = c.r, p[3] = s.alpha;
    }
  const uint8_t *src[1] = {w.bgra.data()};
  const int stride[1] = {s.width * 4};
  sws_scale(w.sws, src, stride, 0, s.height, f->data, f->linesize);
}

bool WriteAudioFrame(writer &w, const media_recipe &s, int64_t first, int n) {
  AVFrame *f = w.aframe;
  av_frame_unref(f);
  f->format = w.aenc->sample_fmt, f->sample_rate = s.audio_rate, f->nb_samples = n;
  av_channel_layout_copy(&f->ch_layout, &w.aenc->ch_layout);
  if (av_frame_get_buffer(f, 0) < 0) return false;
  const int ch = s.audio_channels;
  for (int k = 0; k < n; ++k)
    for (int c = 0; c < ch; ++c) {
      const int64_t pos = first + k;
      if (f->format == AV_SAMPLE_FMT_S16)
        reinterpret_cast<int16_t *>(f->data[0])[k * ch + c] = Sample16(pos, c);
      else if (f->format == AV_SAMPLE_FMT_U8)
        f->data[0][k * ch + c] = Sample8(pos, c);
      else  // pcm_s24le takes 32-bit samples
        reinterpret_cast<int32_t *>(f->data[0])[k * ch + c] = int32_t(uint32_t(Sample24(pos, c)) << 8);
    }
  f->pts = first + s.audio_start;
  return w.Encode(w.aenc, w.ast, f);
}

// Writes the medium; what failed, or null.
const char *WriteMedia(const std::string &path, const media_recipe &s) {
  if (av_log_get_level() == AV_LOG_INFO) av_log_set_level(AV_LOG_QUIET);
  writer w;
  const char *why = nullptr;
  if (avformat_alloc_output_context2(&w.oc, nullptr, s.format.c_str(), path.c_str()) < 0 || !w.oc)
    return "no such muxer";
  // A picture file is written under its own name, never as a numbered sequence.
  if (s.format == "image2") av_opt_set(w.oc->priv_data, "update", "1", 0);
  if ((!s.video_codec.empty() && (why = OpenVideo(w, s))) ||
      (!s.audio_codec.empty() && (why = OpenAudio(w, s))))
    return why;
  if (!(w.pkt = av_packet_alloc())) return "out of memory";
  if (!(w.oc->oformat->flags & AVFMT_NOFILE) && avio_open(&w.oc->pb, path.c_str(), AVIO_FLAG_WRITE) < 0)
    return "the file cannot be created";
  if (avformat_write_header(w.oc, nullptr) < 0) return "header";

  const int64_t vframes = w.venc ? s.frames : 0, asamples = w.aenc ? s.audio_samples : 0;
  for (int64_t vi = 0, ai = 0; vi < vframes || ai < asamples;) {
    const int64_t vpts = vi < vframes ? (s.pts.empty() ? vi : s.pts[size_t(vi)]) + s.video_start : 0;
    // Whichever stream is behind in time goes next, so the muxer interleaves them.
    if (vi < vframes && (ai >= asamples || av_compare_ts(vpts, w.venc->time_base, ai + s.audio_start,
                                                         w.aenc->time_base) <= 0)) {
      FillPicture(w, s, int(vi++));
      w.vframe->pts = vpts;
      if (!w.Encode(w.venc, w.vst, w.vframe)) return "video encoding";
    } else {
      const int n = int(std::min<int64_t>(1024, asamples - ai));  // PCM takes any frame size
      if (!WriteAudioFrame(w, s, ai, n)) return "audio encoding";
      ai += n;
    }
  }
  if ((w.venc && !w.Encode(w.venc, w.vst, nullptr)) || (w.aenc && !w.Encode(w.aenc, w.ast, nullptr)))
    return "flush";
  return av_write_trailer(w.oc) >= 0 ? nullptr : "trailer";
}

}  // namespace

pix32 FrameColour(int i) {
  const int k = ((i % 216) + 216) % 216 * 97 % 216;
  return pix32(uint8_t(k % 6 * kLevel), uint8_t(k / 6 % 6 * kLevel), uint8_t(k / 36 * kLevel));
}

pix32 GradientPixel(int i, int x, int y) {
  return pix32(uint8_t(x * 4 + i), uint8_t(y * 5), uint8_t(i * 9 + x));
}

int16_t Sample16(int64_t n, int c) { return int16_t(uint16_t(n * 7 + c * 13331 + (n >> 8) * 3)); }
uint8_t Sample8(int64_t n, int c) { return uint8_t(n * 3 + c * 101 + (n >> 8)); }
int32_t Sample24(int64_t n, int c) {
  const uint32_t v = uint32_t(n * 977 + c * 3000001 + (n >> 8) * 5) & 0xFFFFFF;
  return v & 0x800000 ? int32_t(v) - 0x1000000 : int32_t(v);
}
float SampleSine(int64_t n, int c, int rate) {
  return float(0.5 * std::sin(2.0 * M_PI * 440.0 * double(n) / rate + c));
}

int ShownFrame(KORSurface *s, int count) {
  surf sf;
  if (!surface::SurfaceDataLock(s, &sf)) return -1;
  bool clear = true;
  for (int y = 0; y < sf.height; ++y)
    for (int x = 0; x < sf.width; ++x) clear &= sf.bits[size_t(y) * sf.pitch + x].a == 0;
  // Corners and centre must agree.
  const int xs[] = {0, sf.width - 1, sf.width / 2, 0, sf.width - 1};
  const int ys[] = {0, 0, sf.height / 2, sf.height - 1, sf.height - 1};
  const int frame = FrameOfColour(sf.bits[0], count);
  for (int k = 1; k < 5; ++k)
    clear &= FrameOfColour(sf.bits[size_t(ys[k]) * sf.pitch + xs[k]], count) == frame;
  surface::SurfaceDataUnlock(&sf);
  return clear ? frame : -1;
}

int GradientMismatches(KORSurface *s, int i, int tolerance, uint8_t alpha) {
  surf sf;
  if (!surface::SurfaceDataLock(s, &sf)) return -1;
  int wrong = 0;
  for (int y = 0; y < sf.height; ++y)
    for (int x = 0; x < sf.width; ++x) {
      const pix32 got = sf.bits[size_t(y) * sf.pitch + x], want = GradientPixel(i, x, y);
      wrong += got.a != alpha || std::max({std::abs(got.r - want.r), std::abs(got.g - want.g),
                                           std::abs(got.b - want.b)}) > tolerance;
    }
  surface::SurfaceDataUnlock(&sf);
  return wrong;
}

int64_t SoundMismatches(const uint8_t *pcm, int rate, int64_t first, int64_t end) {
  if (!pcm) return -1;
  int64_t wrong = 0;
  for (int64_t n = 0; n < rate; ++n)
    for (int c = 0; c < 2; ++c)
      wrong += SampleAt(pcm, n, 2, c) != (first + n < end ? Sample16(first + n, c) : 0);
  return wrong;
}

bool HaveEncoder(const char *name) { return avcodec_find_encoder_by_name(name) != nullptr; }

std::string WriteTempMedia(const std::string &name, const media_recipe &recipe) {
  static temp_dir dir;
  const std::string path = dir.file(name);
  if (const char *why = WriteMedia(path, recipe)) ADD_FAILURE() << "cannot write " << name << ": " << why;
  return path;
}

std::vector<uint8_t> ReadFileBytes(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

avi_handle OpenAVI(const std::string &p) { return avi_handle(mediareaders::AVIReadOpen(p.c_str())); }
stream_handle OpenStream(const std::string &p) {
  return stream_handle(mediareaders::StreamOpenRead(p.c_str()));
}
wave_handle OpenWave(const std::string &p) { return wave_handle(mediareaders::WaveFileReadOpen(p.c_str())); }

uint32_t NextRandom(uint32_t &state) { return (state = state * 1664525u + 1013904223u) >> 8; }

}  // namespace fixtures
