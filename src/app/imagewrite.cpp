// Writing composed pictures as BMP or PNG.
#include "app/imagewrite.h"

#include <strings.h>

#include <cstdio>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
}

#include "media/surface.h"

namespace {

bool EndsWith(const std::string &s, const char *ext) {
  const size_t n = std::char_traits<char>::length(ext);
  return s.size() > n && strcasecmp(s.c_str() + s.size() - n, ext) == 0;
}

bool WritePng(KORSurface *picture, const std::string &path, std::string *error) {
  const AVCodec *codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
  AVCodecContext *ctx = codec ? avcodec_alloc_context3(codec) : nullptr;
  AVFrame *frame = av_frame_alloc();
  AVPacket *packet = av_packet_alloc();
  bool ok = false;
  surf s;
  const bool locked = surface::SurfaceDataLock(picture, &s) != 0;
  if (ctx && frame && packet && locked) {
    ctx->width = picture->width;
    ctx->height = picture->height;
    ctx->pix_fmt = AV_PIX_FMT_RGB24;
    ctx->time_base = AVRational{1, 25};
    frame->format = AV_PIX_FMT_RGB24;
    frame->width = picture->width;
    frame->height = picture->height;
    if (avcodec_open2(ctx, codec, nullptr) == 0 && av_frame_get_buffer(frame, 0) == 0) {
      for (int y = 0; y < picture->height; ++y) {
        const pix32 *in = s.bits + size_t(s.pitch) * size_t(y);
        uint8_t *out = frame->data[0] + size_t(frame->linesize[0]) * size_t(y);
        for (int x = 0; x < picture->width; ++x) {
          out[3 * x] = in[x].r;
          out[3 * x + 1] = in[x].g;
          out[3 * x + 2] = in[x].b;
        }
      }
      if (avcodec_send_frame(ctx, frame) == 0 && avcodec_receive_packet(ctx, packet) == 0) {
        FILE *f = std::fopen(path.c_str(), "wb");
        if (f) {
          ok = std::fwrite(packet->data, 1, size_t(packet->size), f) == size_t(packet->size);
          ok = std::fclose(f) == 0 && ok;
        }
      }
    }
  }
  if (locked) surface::SurfaceDataUnlock(&s);
  av_packet_free(&packet);
  av_frame_free(&frame);
  avcodec_free_context(&ctx);
  if (!ok && error) *error = "cannot write " + path;
  return ok;
}

}  // namespace

bool WritePicture(KORSurface *picture, const std::string &path, std::string *error) {
  if (EndsWith(path, ".bmp")) {
    if (surface::SurfaceSave(picture, path.c_str())) return true;
    if (error) *error = "cannot write " + path;
    return false;
  }
  if (EndsWith(path, ".png")) return WritePng(picture, path, error);
  if (error) *error = "the picture file must end with .bmp or .png: " + path;
  return false;
}
