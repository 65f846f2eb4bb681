// The image sequence export plugin: one numbered PNG or BMP picture per frame, coded by FFmpeg.
//
// The pictures' names come from the output file name: a name holding a frame number pattern
// ("shot%04d.png") is filled with the frame's index; any other name gets "_" and six digits
// before its extension ("shot.png" -> "shot_000000.png", "shot_000001.png", ...). The format is
// BMP for a ".bmp" name and PNG otherwise, unless the option "format" says. Every picture is a
// complete file as soon as PutVideo returns, so a making that stops early leaves whole pictures.
#include <strings.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "media/plugin_abi.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
}

namespace {

class imagesequence : public imgio_export {
 public:
  imagesequence() {
    SetDescription("Image Sequence (numbered PNG or BMP pictures)");
    SetFileTypes("*.png;*.bmp");
    SetExtension(".png");
    SetOptionsText("format=png|bmp alpha=0|1 (alpha: PNG keeps the alpha channel)");
    if (av_log_get_level() == AV_LOG_INFO) av_log_set_level(AV_LOG_QUIET);
  }
  ~imagesequence() override { Close(); }

  int Open(HWND owner) override;
  int Close() override;
  int SetOption(const char *name, const char *value) override;
  int PutVideo(int index, surf32 *frame) override;
  bool CanEncode(bool audio, bool video) override {
    return video && !audio && avcodec_find_encoder(AV_CODEC_ID_PNG) && avcodec_find_encoder(AV_CODEC_ID_BMP);
  }
  int GetLastError(char *buffer, int size) override {
    if (lasterror.empty() || !buffer || size < 1) return 0;
    std::snprintf(buffer, size_t(size), "%s", lasterror.c_str());
    return 1;
  }

 private:
  bool Fail(const std::string &why) {
    lasterror = why;
    return false;
  }
  // Frees what Open made so far and fails with the reason; 0.
  int Refuse(const std::string &why) {
    Free();
    Fail(why);
    return 0;
  }
  std::string PictureName(int index) const;
  void Free();

  enum class kind { automatic, png, bmp };
  kind wanted = kind::automatic;
  bool keepalpha = false;
  bool failed = false;
  std::string lasterror;
  std::string pathname;  // the output name, the pattern of the pictures' names
  AVCodecContext *enc = nullptr;
  AVFrame *picture = nullptr;
  AVPacket *pkt = nullptr;
  int64_t lastindex = -1;
};

int imagesequence::SetOption(const char *name, const char *value) {
  if (!name || !value) return 0;
  if (strcasecmp(name, "format") == 0) {
    if (strcasecmp(value, "png") == 0)
      wanted = kind::png;
    else if (strcasecmp(value, "bmp") == 0)
      wanted = kind::bmp;
    else if (strcasecmp(value, "auto") == 0)
      wanted = kind::automatic;
    else
      return 0;
    return 1;
  }
  if (strcasecmp(name, "alpha") == 0) {
    if (std::strcmp(value, "0") != 0 && std::strcmp(value, "1") != 0) return 0;
    keepalpha = value[0] == '1';
    return 1;
  }
  return 0;
}

std::string imagesequence::PictureName(int index) const {
  char name[4096];
  if (av_get_frame_filename2(name, sizeof name, pathname.c_str(), index, 0) == 0) return name;
  const size_t slash = pathname.rfind('/');
  size_t dot = pathname.rfind('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) dot = pathname.size();
  std::snprintf(name, sizeof name, "%s_%06d%s", pathname.substr(0, dot).c_str(), index,
                pathname.substr(dot).c_str());
  return name;
}

int imagesequence::Open(HWND) {
  Close();
  lasterror.clear();
  failed = false;
  char file[kTextSize];
  int hv = 0, ha = 0, w = 0, h = 0;
  if (!GetFileName(file, sizeof file)) return Fail("no output file name"), 0;
  GetHasVideo(&hv);
  GetHasAudio(&ha);
  if (!hv) return Fail("no pictures to write"), 0;
  if (ha) return Fail("an image sequence holds no sound"), 0;
  GetWidth(&w);
  GetHeight(&h);
  if (w < 1 || h < 1 || w > 16384 || h > 16384) return Fail("picture size out of range"), 0;
  pathname = file;

  bool png = wanted == kind::png;
  if (wanted == kind::automatic) {
    const size_t n = pathname.size();
    png = !(n >= 4 && strcasecmp(pathname.c_str() + n - 4, ".bmp") == 0);
  }
  const AVCodec *codec = avcodec_find_encoder(png ? AV_CODEC_ID_PNG : AV_CODEC_ID_BMP);
  if (!codec) return Fail(png ? "no PNG encoder" : "no BMP encoder"), 0;
  enc = avcodec_alloc_context3(codec);
  picture = av_frame_alloc();
  pkt = av_packet_alloc();
  if (!enc || !picture || !pkt) return Refuse("out of memory");
  enc->width = w;
  enc->height = h;
  enc->time_base = AVRational{1, 25};
  enc->pix_fmt = !png ? AV_PIX_FMT_BGR24 : keepalpha ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24;
  if (avcodec_open2(enc, codec, nullptr) < 0) return Refuse("cannot start the picture encoder");
  picture->format = enc->pix_fmt;
  picture->width = w;
  picture->height = h;
  if (av_frame_get_buffer(picture, 0) < 0) return Refuse("out of memory");
  lastindex = -1;
  return 1;
}

int imagesequence::PutVideo(int index, surf32 *frame) {
  if (!enc) return Fail("no sequence is open"), 0;
  if (!frame || !frame->bits || frame->pitch < frame->width) return Fail("not a frame"), 0;
  if (frame->width != enc->width || frame->height != enc->height)
    return Fail("the frame's size differs from the sequence's"), 0;
  if (index < 0 || index <= lastindex) return Fail("frames must come in order"), 0;
  if (av_frame_make_writable(picture) < 0) return Fail("out of memory"), 0;
  const int channels = picture->format == AV_PIX_FMT_RGBA ? 4 : 3;
  const bool bgr = picture->format == AV_PIX_FMT_BGR24;
  for (int y = 0; y < frame->height; ++y) {
    const pix32 *in = frame->bits + size_t(y) * frame->pitch;
    uint8_t *out = picture->data[0] + size_t(y) * picture->linesize[0];
    for (int x = 0; x < frame->width; ++x, out += channels) {
      out[0] = bgr ? in[x].b : in[x].r;
      out[1] = in[x].g;
      out[2] = bgr ? in[x].r : in[x].b;
      if (channels == 4) out[3] = in[x].a;
    }
  }
  picture->pts = index;
  if (avcodec_send_frame(enc, picture) < 0 || avcodec_receive_packet(enc, pkt) < 0) {
    failed = true;
    return Fail("encoding failed"), 0;
  }
  const std::string name = PictureName(index);
  FILE *f = std::fopen(name.c_str(), "wb");
  bool ok = f && std::fwrite(pkt->data, 1, size_t(pkt->size), f) == size_t(pkt->size);
  if (f && std::fclose(f) != 0) ok = false;
  av_packet_unref(pkt);
  if (!ok) {
    // A picture cut short is no picture: it is not left behind.
    if (f) unlink(name.c_str());
    failed = true;
    return Fail("cannot write " + name), 0;
  }
  lastindex = index;
  return 1;
}

int imagesequence::Close() {
  if (!enc) return 1;
  Free();
  return failed ? 0 : 1;
}

void imagesequence::Free() {
  avcodec_free_context(&enc);
  av_frame_free(&picture);
  av_packet_free(&pkt);
}

}  // namespace

LUMIVAXEL_EXPORT_ENTRY() { return new (std::nothrow) imagesequence; }
