// Media reader speed: 250 sequential frames of a 720 x 576 MJPEG AVI through the AVI reader
// (decode, convert into the frame surface), side by side with the ffmpeg command line decoding
// the same file to nowhere. The file is made at start-up in /tmp.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "media/mediareaders.h"

namespace {

constexpr int kWidth = 720;
constexpr int kHeight = 576;
constexpr int kFrames = 250;
const std::string kPath = "/tmp/lv-bench-readers-720x576-mjpeg.avi";

double g_cli_fps = 0;  // frames per second of the command line, measured before the benchmarks

// Moving diagonal bands over fine texture: pictures a JPEG coder has real work on.
void Paint(AVFrame *f, int i) {
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

bool MakeFile() {
  AVFormatContext *oc = nullptr;
  if (avformat_alloc_output_context2(&oc, nullptr, "avi", kPath.c_str()) < 0) return false;
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
    ok = av_frame_get_buffer(f, 0) >= 0 && avio_open(&oc->pb, kPath.c_str(), AVIO_FLAG_WRITE) >= 0 &&
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

// The command line decoding every frame to the null muxer; the best of three runs.
double TimeCommandLine() {
  const std::string cmd = "ffmpeg -nostdin -v quiet -i " + kPath + " -f null - > /dev/null 2>&1";
  double best = 0;
  for (int run = 0; run < 3; ++run) {
    const auto t0 = std::chrono::steady_clock::now();
    if (std::system(cmd.c_str()) != 0) return 0;
    const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    best = std::max(best, kFrames / s);
  }
  return best;
}

// Opens the file, reads its 250 frames in order at 25 fps, closes it.
void BM_AVIReadSequential720x576MJPEG(benchmark::State &state) {
  double seconds = 0;
  int64_t frames = 0;
  for (auto _ : state) {
    const auto t0 = std::chrono::steady_clock::now();
    roa *r = mediareaders::AVIReadOpen(kPath.c_str());
    if (!r) {
      state.SkipWithError("the benchmark file does not open");
      return;
    }
    for (int i = 0; i < kFrames; ++i) {
      if (!mediareaders::AVIRead(r, i * 40)) {
        state.SkipWithError("a frame did not read");
        break;
      }
    }
    mediareaders::AVIReadClose(r);
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    frames += kFrames;
  }
  const double fps = seconds > 0 ? frames / seconds : 0;
  state.counters["fps"] = fps;
  state.counters["ffmpeg_cli_fps"] = g_cli_fps;
  state.counters["ratio_vs_cli"] = g_cli_fps > 0 ? fps / g_cli_fps : 0;
}
BENCHMARK(BM_AVIReadSequential720x576MJPEG)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// The same frame asked for again: no decoding, no conversion.
void BM_AVIReadSameFrame(benchmark::State &state) {
  roa *r = mediareaders::AVIReadOpen(kPath.c_str());
  if (!r || !mediareaders::AVIRead(r, 400)) {
    state.SkipWithError("the benchmark file does not open");
    mediareaders::AVIReadClose(r);
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(mediareaders::AVIRead(r, 400));
  mediareaders::AVIReadClose(r);
}
BENCHMARK(BM_AVIReadSameFrame);

// Scattered reads: every read seeks (each MJPEG frame is a key frame).
void BM_AVIReadScattered(benchmark::State &state) {
  roa *r = mediareaders::AVIReadOpen(kPath.c_str());
  if (!r) {
    state.SkipWithError("the benchmark file does not open");
    return;
  }
  uint32_t lcg = 1;
  for (auto _ : state) {
    lcg = lcg * 1664525u + 1013904223u;
    benchmark::DoNotOptimize(mediareaders::AVIRead(r, int((lcg >> 8) % kFrames) * 40));
  }
  state.SetItemsProcessed(state.iterations());
  mediareaders::AVIReadClose(r);
}
BENCHMARK(BM_AVIReadScattered)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv) {
  if (!MakeFile()) {
    std::fprintf(stderr, "cannot write %s\n", kPath.c_str());
    return 1;
  }
  g_cli_fps = TimeCommandLine();
  std::printf("ffmpeg -i %s -f null -: %.1f frames/s (best of 3)\n", kPath.c_str(), g_cli_fps);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::remove(kPath.c_str());
  return 0;
}
