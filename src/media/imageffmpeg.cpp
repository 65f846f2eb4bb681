// PNG and GIF pictures through FFmpeg's image decoders.
#include <cstring>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/imgutils.h>
#include <libavutil/log.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include "media/imagebytes.h"
#include "media/imagecodecs.h"
#include "media/kernels.h"
#include "media/surface.h"

using namespace imagebytes;

namespace {

// The chunks of a PNG file must run up to IEND inside the data: a cut file is refused here
// rather than half decoded.
bool png_complete(const uint8_t *d, size_t size) {
  static const uint8_t sig[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
  if (size < 8 || std::memcmp(d, sig, 8) != 0) return false;
  size_t at = 8;
  while (fits(size, at, 12)) {
    const uint32_t len = be32(d + at);
    if (!fits(size, at + 12, len)) return false;
    if (std::memcmp(d + at + 4, "IEND", 4) == 0) return true;
    at += 12 + size_t(len);
  }
  return false;
}

// Skips GIF data sub-blocks from `at`; the offset after the terminator, or 0 when cut.
size_t gif_skip_blocks(const uint8_t *d, size_t size, size_t at) {
  while (at < size) {
    const size_t n = d[at];
    if (n == 0) return at + 1;
    if (!fits(size, at + 1, n)) return 0;
    at += 1 + n;
  }
  return 0;
}

// The GIF's blocks must run through to its trailer inside the data.
bool gif_complete(const uint8_t *d, size_t size) {
  if (size < 13 || (std::memcmp(d, "GIF87a", 6) != 0 && std::memcmp(d, "GIF89a", 6) != 0)) return false;
  size_t at = 13;
  if (d[10] & 0x80) at += size_t(3) << ((d[10] & 7) + 1);
  while (at < size) {
    const uint8_t kind = d[at];
    if (kind == 0x21) {  // extension: label, then sub-blocks
      if (!fits(size, at, 2)) return false;
      at = gif_skip_blocks(d, size, at + 2);
      if (!at) return false;
    } else if (kind == 0x2C) {  // image descriptor, optional local table, LZW size, sub-blocks
      if (!fits(size, at, 10)) return false;
      const uint8_t flags = d[at + 9];
      at += 10;
      if (flags & 0x80) at += size_t(3) << ((flags & 7) + 1);
      if (!fits(size, at, 1)) return false;
      at = gif_skip_blocks(d, size, at + 1);
      if (!at) return false;
    } else {
      return kind == 0x3B;  // the trailer, or garbage
    }
  }
  return false;
}

// Copies a decoded frame into a new surface. Alpha is kept only when the picture has some:
// an alpha channel, or a palette with a transparent entry. With `transparency_only` an alpha
// channel counts only when some pixel is not opaque (a decoder that always delivers alpha).
KORSurface *frame_to_surface(const AVFrame *f, bool transparency_only) {
  if (!size_ok(f->width, f->height)) return nullptr;
  const AVPixFmtDescriptor *desc = av_pix_fmt_desc_get(AVPixelFormat(f->format));
  if (!desc) return nullptr;
  KORSurface *s = surface::SurfaceCreate(f->width, f->height);
  if (!s) return nullptr;
  surf out;
  if (!surface::SurfaceDataLock(s, &out)) {
    surface::SurfaceDelete(s);
    return nullptr;
  }
  bool ok = true;
  if (f->format == AV_PIX_FMT_PAL8) {
    const uint32_t *pal = reinterpret_cast<const uint32_t *>(f->data[1]);  // 0xAARRGGBB words
    // Only entries the picture uses count: unused ones of a short table read as transparent.
    bool used[256] = {};
    for (int y = 0; y < f->height; ++y) {
      const uint8_t *src = f->data[0] + ptrdiff_t(y) * f->linesize[0];
      for (int x = 0; x < f->width; ++x) used[src[x]] = true;
    }
    bool transparent = false;
    for (int i = 0; i < 256; ++i) transparent |= used[i] && (pal[i] >> 24) != 0xFF;
    for (int y = 0; y < f->height; ++y) {
      const uint8_t *src = f->data[0] + ptrdiff_t(y) * f->linesize[0];
      pix32 *o = out.bits + size_t(out.pitch) * size_t(y);
      for (int x = 0; x < f->width; ++x) {
        const uint32_t w = pal[src[x]];
        o[x] = pix32::from_word(transparent ? w : (w & 0x00FFFFFF));
      }
    }
  } else {
    const bool alpha = (desc->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    SwsContext *sws = sws_getContext(f->width, f->height, AVPixelFormat(f->format), f->width, f->height,
                                     AV_PIX_FMT_BGRA, SWS_POINT, nullptr, nullptr, nullptr);
    if (!sws) {
      ok = false;
    } else {
      uint8_t *dst[4] = {reinterpret_cast<uint8_t *>(out.bits), nullptr, nullptr, nullptr};
      int dstride[4] = {out.pitch * 4, 0, 0, 0};
      ok = sws_scale(sws, f->data, f->linesize, 0, f->height, dst, dstride) == f->height;
      sws_freeContext(sws);
      bool keep = alpha;
      if (ok && keep && transparency_only) {
        keep = false;
        for (int y = 0; y < f->height && !keep; ++y) {
          const pix32 *o = out.bits + size_t(out.pitch) * size_t(y);
          for (int x = 0; x < f->width; ++x) keep |= o[x].a != 255;
        }
      }
      if (ok && !keep)
        for (int y = 0; y < f->height; ++y)
          kernels::alpha_set_row(out.bits + size_t(out.pitch) * size_t(y), f->width, 0);
    }
  }
  surface::SurfaceDataUnlock(&out);
  if (!ok) {
    surface::SurfaceDelete(s);
    return nullptr;
  }
  return s;
}

// Decodes the first picture of `data` with the decoder for `id`.
KORSurface *decode_with(AVCodecID id, const uint8_t *data, size_t size) {
  if (!data || size == 0 || size > IMAGE_MAX_FILE_BYTES) return nullptr;
  const AVCodec *codec = avcodec_find_decoder(id);
  if (!codec) return nullptr;
  AVCodecContext *ctx = avcodec_alloc_context3(codec);
  AVPacket *pkt = av_packet_alloc();
  AVFrame *frame = av_frame_alloc();
  KORSurface *result = nullptr;
  if (ctx && pkt && frame) {
    ctx->max_pixels = IMAGE_MAX_PIXELS;
    ctx->thread_count = 1;
    // The decoder may read a little past the packet: give it padded bytes of its own.
    if (avcodec_open2(ctx, codec, nullptr) >= 0 && av_new_packet(pkt, int(size)) >= 0) {
      std::memcpy(pkt->data, data, size);
      if (avcodec_send_packet(ctx, pkt) >= 0) {
        avcodec_send_packet(ctx, nullptr);
        if (avcodec_receive_frame(ctx, frame) >= 0 && !(frame->flags & AV_FRAME_FLAG_CORRUPT) &&
            !frame->decode_error_flags)
          result = frame_to_surface(frame, id == AV_CODEC_ID_GIF);
      }
    }
  }
  av_frame_free(&frame);
  av_packet_free(&pkt);
  avcodec_free_context(&ctx);
  return result;
}

}  // namespace

KORSurface *DecodePNG(const uint8_t *data, size_t size) {
  if (!data || !png_complete(data, size)) return nullptr;
  return decode_with(AV_CODEC_ID_PNG, data, size);
}

KORSurface *DecodeGIF(const uint8_t *data, size_t size) {
  if (!data || !gif_complete(data, size)) return nullptr;
  return decode_with(AV_CODEC_ID_GIF, data, size);
}

void SetImageDecoderLogging(bool on) { av_log_set_level(on ? AV_LOG_INFO : AV_LOG_QUIET); }
