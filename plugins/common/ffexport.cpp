// A file writer on FFmpeg's encoders and muxers: stream set-up, picture and sound conversion,
// and a close that finishes the file on every path.
#include "ffexport.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define FFEXPORT_X86 1
#endif
}

namespace {

constexpr int kMaxSide = 16384;
constexpr double kMaxRate = 1000.0;

const AVCodec *FirstEncoder(const ffvideocodec &c) {
  for (const char *name : c.encoders)
    if (const AVCodec *codec = avcodec_find_encoder_by_name(name)) return codec;
  return nullptr;
}

// A whole number in [lo, hi] from the text; false for anything else.
bool ParseInt(const char *text, int lo, int hi, int *out) {
  if (!text || !text[0]) return false;
  char *end = nullptr;
  errno = 0;
  const long v = std::strtol(text, &end, 10);
  if (errno || *end || v < lo || v > hi) return false;
  *out = int(v);
  return true;
}

std::string AvError(int rc) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(rc, text, sizeof text);
  return text;
}

}  // namespace

ffexport::ffexport(ffexportformat f) : format(std::move(f)) {
  SetDescription(format.description);
  SetFileTypes(format.filetypes);
  SetExtension(format.extension);
  // The host passes its thread count on; the picture formats list it with their own options.
  std::string options = format.options ? format.options : "";
  if (!format.videocodecs.empty()) options += " threads=1..256";
  SetOptionsText(options.c_str());
  // The default coding is the first whose encoder this FFmpeg has.
  for (size_t i = 0; i < format.videocodecs.size(); ++i)
    if (FirstEncoder(format.videocodecs[i])) {
      codec = int(i);
      break;
    }
  if (av_log_get_level() == AV_LOG_INFO) av_log_set_level(AV_LOG_QUIET);
}

ffexport::~ffexport() { Close(); }

bool ffexport::Fail(const std::string &why) {
  // The first failure is the cause; what fails after it (finishing, closing) only follows.
  if (lasterror.empty()) lasterror = why;
  return false;
}

const char *ffexport::VideoEncoderName() const {
  if (!encodername.empty()) return encodername.c_str();
  if (format.videocodecs.empty()) return "";
  const AVCodec *c = FirstEncoder(format.videocodecs[size_t(codec)]);
  return c ? c->name : "";
}

bool ffexport::CanEncode(bool audio, bool video) {
  if (!audio && !video) return false;
  if (video && (format.videocodecs.empty() || !FirstEncoder(format.videocodecs[size_t(codec)]))) return false;
  if (audio && (!format.audioencoder || !avcodec_find_encoder_by_name(format.audioencoder))) return false;
  return true;
}

int ffexport::SetOption(const char *name, const char *value) {
  if (!name || !value) return 0;
  if (strcasecmp(name, "codec") == 0) {
    for (size_t i = 0; i < format.videocodecs.size(); ++i)
      if (strcasecmp(value, format.videocodecs[i].option) == 0 && FirstEncoder(format.videocodecs[i])) {
        codec = int(i);
        return 1;
      }
    return 0;
  }
  // Quality settings are taken only by formats with an encoder that reads them.
  auto uses = [this](const char *encoder) {
    for (const ffvideocodec &c : format.videocodecs)
      for (const char *e : c.encoders)
        if (std::strcmp(e, encoder) == 0) return true;
    return false;
  };
  if (strcasecmp(name, "qscale") == 0 && (uses("mjpeg") || uses("mpeg4")))
    return ParseInt(value, 1, 31, &qscale) ? 1 : 0;
  if (strcasecmp(name, "crf") == 0 && uses("libx264")) return ParseInt(value, 0, 51, &crf) ? 1 : 0;
  if (strcasecmp(name, "threads") == 0 && !format.videocodecs.empty())
    return ParseInt(value, 1, 256, &threads) ? 1 : 0;
  if (strcasecmp(name, "abitrate") == 0 && format.audioencoder &&
      std::strcmp(format.audioencoder, "aac") == 0)
    return ParseInt(value, 32, 512, &abitrate) ? 1 : 0;
  return 0;
}

int ffexport::GetLastError(char *buffer, int size) {
  if (lasterror.empty() || !buffer || size < 1) return 0;
  const size_t n = std::min(lasterror.size(), size_t(size - 1));
  std::memcpy(buffer, lasterror.data(), n);
  buffer[n] = 0;
  return 1;
}

// ---- Opening ----

namespace {

int WriteAll(void *opaque, uint8_t *buf, int n) {
  const int fd = *static_cast<int *>(opaque);
  for (int done = 0; done < n;) {
    const ssize_t w = write(fd, buf + done, size_t(n - done));
    if (w < 0 && errno == EINTR) continue;
    if (w <= 0) return AVERROR(w < 0 ? errno : EIO);
    done += int(w);
  }
  return n;
}

int64_t Seek(void *opaque, int64_t offset, int whence) {
  const int fd = *static_cast<int *>(opaque);
  if (whence == AVSEEK_SIZE) {
    struct stat st;
    return fstat(fd, &st) == 0 ? int64_t(st.st_size) : AVERROR(errno);
  }
  const off_t at = lseek(fd, off_t(offset), whence & ~AVSEEK_FORCE);
  return at < 0 ? AVERROR(errno) : int64_t(at);
}

// The old file of that name, no longer under it, open for its pages to be freed by closing it;
// -1 (left to be truncated) for anything but a plain file of ours of at least 16 MiB, with one
// name, that is still the one looked at when it is unlinked. *mode gets its permissions.
int DetachOldFile(const char *file, mode_t *mode) {
  constexpr off_t kLarge = off_t(16) << 20;
  struct stat seen, opened;
  if (lstat(file, &seen) != 0 || !S_ISREG(seen.st_mode) || seen.st_nlink != 1 || seen.st_uid != geteuid() ||
      seen.st_size < kLarge)
    return -1;
  const int old = open(file, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (old < 0) return -1;
  if (fstat(old, &opened) != 0 || opened.st_ino != seen.st_ino || opened.st_dev != seen.st_dev ||
      unlink(file) != 0) {
    close(old);
    return -1;
  }
  *mode = seen.st_mode & 07777;
  return old;
}

}  // namespace

bool ffexport::OpenFile(const char *file) {
  constexpr int kBufferSize = 1 << 16;  // for the muxer's small writes
  mode_t mode = 0;
  if (const int old = DetachOldFile(file, &mode); old >= 0) {
    fd = open(file, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd >= 0) fchmod(fd, mode);
    try {
      releaser = std::thread([old] { close(old); });
    } catch (const std::system_error &) {
      close(old);
    }
  }
  if (fd < 0) fd = open(file, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) return Fail(std::string("cannot create ") + file + ": " + std::strerror(errno));
  uint8_t *buffer = static_cast<uint8_t *>(av_malloc(kBufferSize));
  oc->pb = buffer ? avio_alloc_context(buffer, kBufferSize, 1, &fd, nullptr, WriteAll, Seek) : nullptr;
  if (!oc->pb) {
    av_free(buffer);
    close(fd);
    fd = -1;
    unlink(file);
    return Fail("out of memory");
  }
  oc->pb->direct = 1;
  oc->flags |= AVFMT_FLAG_CUSTOM_IO;
  return true;
}

bool ffexport::CloseFile() {
  bool ok = true;
  if (oc && oc->pb) {
    avio_flush(oc->pb);
    ok = oc->pb->error == 0;
    av_freep(&oc->pb->buffer);
    avio_context_free(&oc->pb);
  }
  if (fd >= 0 && close(fd) != 0) ok = false;
  fd = -1;
  if (releaser.joinable()) releaser.join();
  return ok;
}

int ffexport::Open(HWND) {
  Close();
  lasterror.clear();
  failed = false;
  char file[kTextSize];
  if (!GetFileName(file, sizeof file)) return Fail("no output file name"), 0;
  int hv = 0, ha = 0;
  GetHasVideo(&hv);
  GetHasAudio(&ha);
  const bool video = hv != 0, audio = ha != 0;
  if (!video && !audio) return Fail("neither pictures nor sound to write"), 0;
  if (video && format.videocodecs.empty()) return Fail("this format holds no pictures"), 0;
  if (audio && !format.audioencoder) return Fail("this format holds no sound"), 0;
  int w = 0, h = 0;
  double rate = 0.0;
  if (video) {
    GetWidth(&w);
    GetHeight(&h);
    GetFramesPerSecond(&rate);
    if (w < 1 || h < 1 || w > kMaxSide || h > kMaxSide) return Fail("picture size out of range"), 0;
    if (!(rate > 0.0 && rate <= kMaxRate)) return Fail("frame rate out of range"), 0;
  }

  if (avformat_alloc_output_context2(&oc, nullptr, format.muxer, file) < 0 || !oc) {
    oc = nullptr;
    return Fail(std::string("no muxer ") + format.muxer), 0;
  }
  // The descriptive items go into the container's tags.
  const struct {
    int (imgio::*get)(char *, int) const;
    const char *tag;
  } tags[] = {{&imgio::GetTitle, "title"},
              {&imgio::GetAuthor, "artist"},
              {&imgio::GetCopyright, "copyright"},
              {&imgio::GetComment, "comment"},
              {&imgio::GetTool, "encoder"}};
  for (const auto &t : tags) {
    char text[kTextSize];
    if ((this->*t.get)(text, sizeof text)) av_dict_set(&oc->metadata, t.tag, text, 0);
  }

  bool ok = (!video || OpenVideo(w, h, rate)) && (!audio || OpenAudio());
  if (ok && !(pkt = av_packet_alloc())) ok = Fail("out of memory");
  bool created = false;
  if (ok && !(oc->oformat->flags & AVFMT_NOFILE)) {
    ok = created = OpenFile(file);
  }
  if (ok) {
    const int rc = avformat_write_header(oc, nullptr);
    if (rc < 0) ok = Fail("cannot start the file: " + AvError(rc));
  }
  if (!ok) {
    Free();
    // A file without its header is no file of this format: it is not left behind.
    if (created) unlink(file);
    return 0;
  }
  headerwritten = true;
  lastindex = -1;
  audiopos = 0;
  pending.clear();
  return 1;
}

bool ffexport::OpenVideo(int w, int h, double rate) {
  const ffvideocodec &c = format.videocodecs[size_t(codec)];
  const AVCodec *enc = FirstEncoder(c);
  if (!enc) return Fail(std::string("no encoder for ") + c.option);
  encodername = enc->name;
  const bool yuv420 = c.pixfmt == AV_PIX_FMT_YUV420P;
  // 4:2:0 pictures are converted at even sides, so the chroma of an odd last column or row comes
  // from that column or row alone; the codec then takes the odd size or, if it needs even sides,
  // the padded one.
  convwidth = yuv420 ? (w + 1) & ~1 : w;
  convheight = yuv420 ? (h + 1) & ~1 : h;
  const int ew = c.evensides ? convwidth : w;
  const int eh = c.evensides ? convheight : h;
  const AVRational fr = av_d2q(rate, 65535);
  if (fr.num <= 0 || fr.den <= 0) return Fail("frame rate out of range");

  vst = avformat_new_stream(oc, nullptr);
  venc = avcodec_alloc_context3(enc);
  if (!vst || !venc) return Fail("out of memory");
  venc->width = ew;
  venc->height = eh;
  venc->framerate = fr;
  venc->time_base = av_inv_q(fr);
  venc->pix_fmt = c.pixfmt;
  venc->sample_aspect_ratio = AVRational{1, 1};
  const std::string name = enc->name;
  if (yuv420) {
    venc->colorspace = AVCOL_SPC_SMPTE170M;
    venc->color_primaries = AVCOL_PRI_SMPTE170M;
    venc->color_trc = AVCOL_TRC_SMPTE170M;
    // Motion JPEG codes the full range of levels; the video codecs the studio range.
    venc->color_range = name == "mjpeg" ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  }
  if (name == "mjpeg" || name == "mpeg4") {
    venc->flags |= AV_CODEC_FLAG_QSCALE;
    venc->global_quality = FF_QP2LAMBDA * qscale;
    venc->gop_size = 12;
  } else if (name == "libx264") {
    av_opt_set(venc->priv_data, "preset", "veryfast", 0);
    av_opt_set_double(venc->priv_data, "crf", crf, 0);
  }
  // Each Motion JPEG picture is coded on its own at a fixed quantiser: pictures coded side by
  // side come out as they do one after the other. (Slices would change the bytes.)
  if (name == "mjpeg" && threads > 1) {
    venc->thread_count = threads;
    venc->thread_type = FF_THREAD_FRAME;
  }
  if (oc->oformat->flags & AVFMT_GLOBALHEADER) venc->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  int rc = avcodec_open2(venc, enc, nullptr);
  if (rc < 0) return Fail("cannot start " + name + ": " + AvError(rc));
  if (avcodec_parameters_from_context(vst->codecpar, venc) < 0) return Fail("out of memory");
  vst->time_base = venc->time_base;
  vst->avg_frame_rate = fr;
  vst->r_frame_rate = fr;

  vframe = av_frame_alloc();
  if (!vframe) return Fail("out of memory");
  vframe->format = c.pixfmt;
  vframe->width = convwidth;
  vframe->height = convheight;
  if (av_frame_get_buffer(vframe, 0) < 0) return Fail("out of memory");
  width = w;
  height = h;
  rawbgr24 = name == "rawvideo" && c.pixfmt == AV_PIX_FMT_BGR24 && convwidth == w && convheight == h;
  return true;
}

bool ffexport::OpenAudio() {
  const AVCodec *enc = avcodec_find_encoder_by_name(format.audioencoder);
  if (!enc) return Fail(std::string("no encoder ") + format.audioencoder);
  ast = avformat_new_stream(oc, nullptr);
  aenc = avcodec_alloc_context3(enc);
  if (!ast || !aenc) return Fail("out of memory");
  aenc->sample_fmt = enc->sample_fmts ? enc->sample_fmts[0] : AV_SAMPLE_FMT_S16;
  aenc->sample_rate = INTERNAL_RATE;
  av_channel_layout_default(&aenc->ch_layout, 2);
  aenc->time_base = AVRational{1, INTERNAL_RATE};
  aenc->bit_rate = int64_t(abitrate) * 1000;
  if (oc->oformat->flags & AVFMT_GLOBALHEADER) aenc->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  const int rc = avcodec_open2(aenc, enc, nullptr);
  if (rc < 0) return Fail(std::string("cannot start ") + enc->name + ": " + AvError(rc));
  if (avcodec_parameters_from_context(ast->codecpar, aenc) < 0) return Fail("out of memory");
  ast->time_base = aenc->time_base;
  aframe = av_frame_alloc();
  if (!aframe) return Fail("out of memory");
  return true;
}

// ---- Writing ----

bool ffexport::Encode(AVCodecContext *enc, AVStream *st, AVFrame *f) {
  int rc = avcodec_send_frame(enc, f);
  if (rc < 0 && rc != AVERROR_EOF) return Fail("encoding failed: " + AvError(rc));
  for (;;) {
    rc = avcodec_receive_packet(enc, pkt);
    if (rc == AVERROR(EAGAIN) || rc == AVERROR_EOF) return true;
    if (rc < 0) return Fail("encoding failed: " + AvError(rc));
    if (!WritePacket(enc->time_base, st)) return false;
  }
}

bool ffexport::WritePacket(AVRational timebase, AVStream *st) {
  av_packet_rescale_ts(pkt, timebase, st->time_base);
  pkt->stream_index = st->index;
  const int rc = av_interleaved_write_frame(oc, pkt);
  return rc < 0 ? Fail("writing failed: " + AvError(rc)) : true;
}

namespace {

// Pixels as words (blue, green, red, alpha in memory order) to three bytes each. The plain loop
// stores each whole word three bytes after the one before, whose alpha it overwrites, and the
// last pixel byte by byte so nothing is written past the row.
void bgr24_plain(const pix32 *in, uint8_t *out, int n) {
  if (n <= 0) return;
  for (int x = 0; x < n - 1; ++x) std::memcpy(out + 3 * x, in + x, 4);
  uint8_t *last = out + 3 * (n - 1);
  last[0] = in[n - 1].b;
  last[1] = in[n - 1].g;
  last[2] = in[n - 1].r;
}

#if FFEXPORT_X86
// Four pixels to twelve bytes per shuffle; each 16-byte store runs four bytes into the next
// pixels' place, so the vector loop stops while six pixels are left and the plain loop ends.
__attribute__((target("ssse3"))) int bgr24_ssse3(const pix32 *in, uint8_t *out, int n) {
  const __m128i order = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  int x = 0;
  for (; x + 6 <= n; x += 4) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + x));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 3 * x), _mm_shuffle_epi8(v, order));
  }
  return x;
}

// Sixteen pixels to forty-eight bytes per byte permute across the register; the last step's
// load and store are masked to the pixels that are left, so nothing is read or written past
// the row and no plain loop ends it.
__attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi"))) void bgr24_avx512(const pix32 *in,
                                                                                  uint8_t *out, int n) {
  alignas(64) static constexpr uint8_t kOrder[64] = {
      0,  1,  2,  4,  5,  6,  8,  9,  10, 12, 13, 14, 16, 17, 18, 20, 21, 22, 24, 25, 26, 28,
      29, 30, 32, 33, 34, 36, 37, 38, 40, 41, 42, 44, 45, 46, 48, 49, 50, 52, 53, 54, 56, 57,
      58, 60, 61, 62, 0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0};
  const __m512i order = _mm512_load_si512(kOrder);
  for (int x = 0; x < n; x += 16) {
    const int m = std::min(16, n - x);
    const __m512i v = _mm512_maskz_loadu_epi32(__mmask16((1u << m) - 1), in + x);
    _mm512_mask_storeu_epi8(out + 3 * x, __mmask64((uint64_t(1) << (3 * m)) - 1),
                            _mm512_maskz_permutexvar_epi8(~__mmask64(0), order, v));
  }
}

const bool kHasSsse3 = [] {
  __builtin_cpu_init();
  return __builtin_cpu_supports("ssse3") != 0;
}();
const bool kHasAvx512 = [] {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi");
}();
#endif

void bgr24_row(const pix32 *in, uint8_t *out, int n) {
  int done = 0;
#if FFEXPORT_X86
  if (kHasAvx512) return bgr24_avx512(in, out, n);
  if (kHasSsse3) done = bgr24_ssse3(in, out, n);
#endif
  bgr24_plain(in + done, out + 3 * done, n - done);
}

}  // namespace

bool ffexport::FillVideoFrame(const surf32 *frame) {
  // The frame is converted at the conversion size and handed on at the coded size.
  vframe->width = convwidth;
  vframe->height = convheight;
  if (av_frame_make_writable(vframe) < 0) return Fail("out of memory");
  vframe->width = venc->width;
  vframe->height = venc->height;
  const int ew = convwidth, eh = convheight;
  const pix32 *src = frame->bits;
  int srcw = frame->width, srch = frame->height, pitch = frame->pitch;
  // A frame of the stream's size is padded to the conversion size by repeating its last column
  // or row.
  if (srcw == width && srch == height && (ew != width || eh != height)) {
    staging.resize(size_t(ew) * eh);
    for (int y = 0; y < eh; ++y) {
      const pix32 *row = frame->bits + size_t(std::min(y, srch - 1)) * frame->pitch;
      pix32 *out = staging.data() + size_t(y) * ew;
      std::copy(row, row + srcw, out);
      std::fill(out + srcw, out + ew, row[srcw - 1]);
    }
    src = staging.data();
    srcw = ew;
    srch = eh;
    pitch = ew;
  }
  if (vframe->format == AV_PIX_FMT_BGR24 && srcw == ew && srch == eh) {
    for (int y = 0; y < eh; ++y)
      bgr24_row(src + size_t(y) * pitch, vframe->data[0] + size_t(y) * vframe->linesize[0], ew);
    return true;
  }
  // The converter is made once per source size, with BT.601 coefficients and the codec's range.
  // Its threads share each picture's rows, which gives the same bytes for any count.
  if (!sws || srcw != swswidth || srch != swsheight) {
    sws_freeContext(sws);
    sws = sws_alloc_context();
    if (!sws) return Fail("no picture converter");
    av_opt_set_int(sws, "srcw", srcw, 0);
    av_opt_set_int(sws, "srch", srch, 0);
    av_opt_set_int(sws, "src_format", AV_PIX_FMT_BGRA, 0);
    av_opt_set_int(sws, "dstw", ew, 0);
    av_opt_set_int(sws, "dsth", eh, 0);
    av_opt_set_int(sws, "dst_format", vframe->format, 0);
    av_opt_set_int(sws, "sws_flags", SWS_BICUBIC | SWS_ACCURATE_RND, 0);
    av_opt_set_int(sws, "threads", threads, 0);
    if (sws_init_context(sws, nullptr, nullptr) < 0) {
      sws_freeContext(sws);
      sws = nullptr;
      return Fail("no picture converter");
    }
    swswidth = srcw;
    swsheight = srch;
    const int full = venc->color_range == AVCOL_RANGE_JPEG ? 1 : 0;
    const int *coefs = sws_getCoefficients(SWS_CS_ITU601);
    sws_setColorspaceDetails(sws, coefs, 1, coefs, full, 0, 1 << 16, 1 << 16);
  }
  // The frame API is the one that threads. The surface's pixels are lent to it in a buffer that
  // frees nothing (a frame without a buffer would be copied), and the picture is written at the
  // conversion size into the encoder's frame.
  AVFrame *in = av_frame_alloc(), *out = av_frame_alloc();
  bool ok = in && out && av_frame_ref(out, vframe) >= 0;
  if (ok) {
    in->format = AV_PIX_FMT_BGRA;
    in->width = srcw;
    in->height = srch;
    in->data[0] = reinterpret_cast<uint8_t *>(const_cast<pix32 *>(src));
    in->linesize[0] = pitch * 4;
    in->buf[0] = av_buffer_create(
        in->data[0], size_t(pitch) * 4 * size_t(srch), [](void *, uint8_t *) {}, nullptr,
        AV_BUFFER_FLAG_READONLY);
    out->width = ew;
    out->height = eh;
    ok = in->buf[0] && sws_scale_frame(sws, out, in) >= 0;
  }
  av_frame_free(&in);
  av_frame_free(&out);
  return ok || Fail("the picture could not be converted");
}

int ffexport::PutVideo(int index, surf32 *frame) {
  if (!venc || !headerwritten) return Fail("no picture stream is open"), 0;
  if (!frame || !frame->bits || frame->width < 1 || frame->height < 1 || frame->pitch < frame->width)
    return Fail("not a frame"), 0;
  if (index <= lastindex) return Fail("frames must come in order"), 0;
  // A segment's first frame has the index it has in the whole make; its file starts at 0.
  if (lastindex < 0) firstindex = index;
  if (rawbgr24 && frame->width == venc->width && frame->height == venc->height) {
    // Raw pictures go straight into the packet, rows packed as the raw encoder packs them, so
    // the frame is not filled and then copied once more.
    const int w = venc->width, h = venc->height;
    if (av_new_packet(pkt, w * 3 * h) < 0) return Fail("out of memory"), 0;
    for (int y = 0; y < h; ++y)
      bgr24_row(frame->bits + size_t(y) * frame->pitch, pkt->data + size_t(y) * w * 3, w);
    pkt->pts = pkt->dts = index - firstindex;
    pkt->flags |= AV_PKT_FLAG_KEY;
    lastindex = index;
    if (!WritePacket(venc->time_base, vst)) {
      failed = true;
      return 0;
    }
    return 1;
  }
  if (!FillVideoFrame(frame)) return 0;
  vframe->pts = index - firstindex;
  lastindex = index;
  if (!Encode(venc, vst, vframe)) {
    failed = true;
    return 0;
  }
  return 1;
}

// Encodes `frames` sample frames of which the first `have` are at `in`; the rest (the last block
// of a fixed-size encoder) is silence.
bool ffexport::EncodeSamples(const int16_t *in, int have, int frames) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  // Sixteen-bit little-endian PCM needs no coding: the samples are the packet, which the encoder
  // would fill by copying them from a frame they were first copied into.
  if (aenc->codec_id == AV_CODEC_ID_PCM_S16LE) {
    av_packet_unref(pkt);
    if (av_new_packet(pkt, frames * INTERNAL_BYTES_PER_FRAME) < 0) return Fail("out of memory");
    std::memcpy(pkt->data, in, size_t(have) * INTERNAL_BYTES_PER_FRAME);
    std::memset(pkt->data + size_t(have) * INTERNAL_BYTES_PER_FRAME, 0,
                size_t(frames - have) * INTERNAL_BYTES_PER_FRAME);
    pkt->pts = pkt->dts = audiopos;
    pkt->duration = frames;
    pkt->flags |= AV_PKT_FLAG_KEY;
    audiopos += frames;
    return WritePacket(aenc->time_base, ast);
  }
#endif
  av_frame_unref(aframe);
  aframe->format = aenc->sample_fmt;
  aframe->sample_rate = aenc->sample_rate;
  if (av_channel_layout_copy(&aframe->ch_layout, &aenc->ch_layout) < 0) return Fail("out of memory");
  aframe->nb_samples = frames;
  if (av_frame_get_buffer(aframe, 0) < 0) return Fail("out of memory");
  switch (aenc->sample_fmt) {
    case AV_SAMPLE_FMT_S16: {
      auto *out = reinterpret_cast<int16_t *>(aframe->data[0]);
      std::copy(in, in + size_t(have) * 2, out);
      std::fill(out + size_t(have) * 2, out + size_t(frames) * 2, int16_t(0));
      break;
    }
    case AV_SAMPLE_FMT_FLTP: {
      auto *left = reinterpret_cast<float *>(aframe->data[0]);
      auto *right = reinterpret_cast<float *>(aframe->data[1]);
      for (int i = 0; i < frames; ++i) {
        left[i] = i < have ? float(in[2 * i]) * (1.0f / 32768.0f) : 0.0f;
        right[i] = i < have ? float(in[2 * i + 1]) * (1.0f / 32768.0f) : 0.0f;
      }
      break;
    }
    default:
      return Fail("unexpected sound encoder format");
  }
  aframe->pts = audiopos;
  audiopos += frames;
  return Encode(aenc, ast, aframe);
}

// Encodes the first `frames` sample frames of the pending sound.
bool ffexport::EncodeAudioBlock(int frames) {
  const int have = std::min(frames, int(pending.size() / 2));
  const bool ok = EncodeSamples(pending.data(), have, frames);
  pending.erase(pending.begin(), pending.begin() + ptrdiff_t(have) * 2);
  return ok;
}

int ffexport::PutAudio(int, short *samples, int bytes) {
  if (!aenc || !headerwritten) return Fail("no sound stream is open"), 0;
  if (!samples || bytes < 0) return Fail("no sound"), 0;
  const int frames = bytes / INTERNAL_BYTES_PER_FRAME;
  const bool fixed = aenc->frame_size > 0 && !(aenc->codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE);
  bool ok = true;
  if (!fixed) {
    // Any size goes: the frame's sound is encoded as it comes, nothing waits.
    if (frames > 0) ok = EncodeSamples(samples, frames, frames);
  } else {
    pending.insert(pending.end(), samples, samples + size_t(frames) * 2);
    while (ok && int(pending.size() / 2) >= aenc->frame_size) ok = EncodeAudioBlock(aenc->frame_size);
  }
  if (!ok) {
    failed = true;
    return 0;
  }
  return 1;
}

// ---- Closing ----

int ffexport::Close() {
  if (!oc) return 1;
  bool ok = !failed;
  if (headerwritten) {
    if (aenc) {
      if (!pending.empty()) {
        int n = int(pending.size() / 2);
        if (aenc->frame_size > 0 && !(aenc->codec->capabilities & AV_CODEC_CAP_SMALL_LAST_FRAME))
          n = aenc->frame_size;
        if (!EncodeAudioBlock(n)) ok = false;
      }
      if (!Encode(aenc, ast, nullptr)) ok = false;
    }
    if (venc && !Encode(venc, vst, nullptr)) ok = false;
    const int rc = av_write_trailer(oc);
    if (rc < 0) ok = Fail("cannot finish the file: " + AvError(rc));
  }
  if (!CloseFile()) ok = Fail("cannot close the file");
  Free();
  return ok ? 1 : 0;
}

void ffexport::Free() {
  sws_freeContext(sws);
  sws = nullptr;
  swswidth = swsheight = 0;
  av_packet_free(&pkt);
  av_frame_free(&vframe);
  av_frame_free(&aframe);
  avcodec_free_context(&venc);
  avcodec_free_context(&aenc);
  CloseFile();
  if (oc) avformat_free_context(oc);
  oc = nullptr;
  vst = ast = nullptr;
  headerwritten = false;
  rawbgr24 = false;
  encodername.clear();
  staging.clear();
  pending.clear();
}
