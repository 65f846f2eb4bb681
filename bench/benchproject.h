// The four-layer 720 x 576 benchmark project shared by the composition and making benchmarks:
// its media made in /tmp, the project built from them, and the ffmpeg command line doing the
// same layering.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "effects/effect.h"
#include "engine/project.h"
#include "media/surface.h"
#include "time/timefloat.h"

namespace benchproject {

inline constexpr int kWidth = 720;
constexpr int kHeight = 576;
constexpr int kFrames = 250;
inline const std::string kVideo = "/tmp/lv-bench-compose-720x576.avi";
inline const std::string kPicture1 = "/tmp/lv-bench-compose-pip1.bmp";
inline const std::string kPicture2 = "/tmp/lv-bench-compose-pip2.bmp";

inline void Paint(AVFrame *f, int i) {
  for (int y = 0; y < kHeight; ++y) {
    uint8_t *row = f->data[0] + size_t(y) * f->linesize[0];
    for (int x = 0; x < kWidth; ++x) row[x] = uint8_t((x + y + 4 * i) * 3 / 2 + ((x * 7 ^ y * 13) & 15));
  }
  for (int p = 1; p < 3; ++p)
    for (int y = 0; y < kHeight; ++y) {
      uint8_t *row = f->data[p] + size_t(y) * f->linesize[p];
      for (int x = 0; x < kWidth / 2; ++x) row[x] = uint8_t(p == 1 ? x / 3 + i : y / 3 + 2 * i);
    }
}

// A 250-frame MJPEG AVI of moving bands over fine texture: pictures a JPEG coder has real work on.
inline bool MakeVideo(const std::string &path = kVideo) {
  AVFormatContext *oc = nullptr;
  if (avformat_alloc_output_context2(&oc, nullptr, "avi", path.c_str()) < 0) return false;
  const AVCodec *codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
  AVStream *st = avformat_new_stream(oc, nullptr);
  AVCodecContext *enc = codec ? avcodec_alloc_context3(codec) : nullptr;
  AVFrame *f = av_frame_alloc();
  AVPacket *pkt = av_packet_alloc();
  bool ok = st && enc && f && pkt;
  if (ok) {
    enc->width = kWidth;
    enc->height = kHeight;
    enc->time_base = AVRational{1, 25};
    enc->framerate = AVRational{25, 1};
    enc->pix_fmt = AV_PIX_FMT_YUVJ422P;
    enc->flags |= AV_CODEC_FLAG_QSCALE;
    enc->global_quality = FF_QP2LAMBDA * 3;
    ok = avcodec_open2(enc, codec, nullptr) >= 0 && avcodec_parameters_from_context(st->codecpar, enc) >= 0;
  }
  if (ok) {
    st->time_base = enc->time_base;
    f->format = enc->pix_fmt;
    f->width = kWidth;
    f->height = kHeight;
    ok = av_frame_get_buffer(f, 0) >= 0 && avio_open(&oc->pb, path.c_str(), AVIO_FLAG_WRITE) >= 0 &&
         avformat_write_header(oc, nullptr) >= 0;
  }
  auto drain = [&] {
    while (avcodec_receive_packet(enc, pkt) == 0) {
      av_packet_rescale_ts(pkt, enc->time_base, st->time_base);
      pkt->stream_index = st->index;
      if (av_interleaved_write_frame(oc, pkt) < 0) ok = false;
    }
  };
  for (int i = 0; ok && i < kFrames; ++i) {
    av_frame_make_writable(f);
    Paint(f, i);
    f->pts = i;
    ok = avcodec_send_frame(enc, f) >= 0;
    drain();
  }
  if (ok) {
    avcodec_send_frame(enc, nullptr);
    drain();
    ok = av_write_trailer(oc) >= 0;
  }
  if (oc && oc->pb) avio_closep(&oc->pb);
  av_packet_free(&pkt);
  av_frame_free(&f);
  avcodec_free_context(&enc);
  avformat_free_context(oc);
  return ok;
}

// A 24-bit picture; the second one has a green ground for its key.
inline bool MakePicture(const std::string &path, int w, int h, bool green_ground) {
  KORSurface *s = surface::SurfaceCreate(w, h);
  surf lk;
  if (!s || !surface::SurfaceDataLock(s, &lk)) return false;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const bool inside = (x - w / 2) * (x - w / 2) + (y - h / 2) * (y - h / 2) < (h / 3) * (h / 3);
      lk.bits[size_t(y) * lk.pitch + x] =
          green_ground && !inside ? pix32(0, 255, 0)
                                  : pix32(uint8_t(x * 255 / w), uint8_t(y * 255 / h), uint8_t(128 + x - y));
    }
  surface::SurfaceDataUnlock(&lk);
  const bool ok = surface::SurfaceSave(s, path.c_str());
  surface::SurfaceDelete(s);
  return ok;
}

inline void Key(vemotime *o, int id, int t, double v) {
  if (timefloat *tf = o->FindTimeFloat(id)) {
    tf->SetValue(t, v);
    tf->Commit();
  }
}

inline void Rect(vemotime *o, double l, double t, double r, double b) {
  Key(o, clipvar::IDS_DST_L, 0, l);
  Key(o, clipvar::IDS_DST_T, 0, t);
  Key(o, clipvar::IDS_DST_R, 0, r);
  Key(o, clipvar::IDS_DST_B, 0, b);
}

// The four layers, track 0 on top.
inline bool Build(vemoproject &p) {
  if (!p.New(320, 135, kFrames * 40)) return false;
  clip *root = p.Root();
  clip *video = p.AddMedia(root, kVideo.c_str(), 0, 3);
  clip *pip1 = p.AddMedia(root, kPicture1.c_str(), 0, 2, kFrames * 40);
  clip *pip2 = p.AddMedia(root, kPicture2.c_str(), 0, 1, kFrames * 40);
  clip *text = p.AddGenerator(root, CLIP_SRC_TEXT, 0, kFrames * 40, 0);
  if (!video || !pip1 || !pip2 || !text) return false;
  Rect(pip1, 0.05, 0.05, 0.55, 0.55);
  Key(pip1, clipvar::IDS_START_OPACITY, 0, 0.7);
  Rect(pip2, 0.6, 0.5, 0.95, 0.85);
  effectVideo *key = pip2->VideoEffectAdd(29);  // chroma key on the green ground
  if (!key) return false;
  Key(key, fxid::IDS_RED, 0, 0.0);
  Key(key, fxid::IDS_GREEN, 0, 1.0);
  Key(key, fxid::IDS_BLUE, 0, 0.0);
  effectVideo *fade = pip2->VideoEffectAdd(103);
  if (!fade) return false;
  Key(fade, fxid::IDS_OPACITY, 0, -0.5);
  text->ClipSetText("Lumi-Vaxel");
  Key(text, clipvar::IDS_STR_FONTSIZE, 0, 30);
  return true;
}

// Frames per second of a command that handles kFrames frames: the best of three runs, timed
// with a steady clock, start-up included; 0 when the command fails.
inline double BestFramesPerSecond(const std::string &cmd) {
  double best = 0;
  for (int run = 0; run < 3; ++run) {
    const auto t0 = std::chrono::steady_clock::now();
    if (std::system(cmd.c_str()) != 0) return 0;
    const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    best = std::max(best, kFrames / s);
  }
  return best;
}

// Frames per second of the ffmpeg command line doing the same layering, written to `output`
// (such as "-f null -"); best of three runs, 0 when it fails.
inline double TimeCommandLine(const std::string &output) {
  const std::string graph =
      "[1]scale=360:288,format=rgba,colorchannelmixer=aa=0.7[p1];"
      "[2]scale=252:202,format=rgba,chromakey=0x00ff00:0.1,colorchannelmixer=aa=0.5[p2];"
      "[0][p1]overlay=36:29[v1];[v1][p2]overlay=432:288,"
      "drawtext=text=Lumi-Vaxel:fontsize=72:fontcolor=white:shadowx=8:shadowy=8:x=(w-tw)/2:y=(h-th)/2[out]";
  const std::string cmd = "ffmpeg -nostdin -v quiet -i " + kVideo + " -loop 1 -i " + kPicture1 +
                          " -loop 1 -i " + kPicture2 + " -filter_complex \"" + graph +
                          "\" -map \"[out]\" -frames:v " + std::to_string(kFrames) +
                          " " + output + " > /dev/null 2>&1";
  return BestFramesPerSecond(cmd);
}

// Writes the media; false when /tmp cannot take them.
inline bool MakeMedia() {
  return MakeVideo() && MakePicture(kPicture1, 320, 240, false) && MakePicture(kPicture2, 256, 200, true);
}
inline void RemoveMedia() {
  for (const std::string &f : {kVideo, kPicture1, kPicture2}) std::remove(f.c_str());
}

}  // namespace benchproject
