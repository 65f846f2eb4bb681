// Image files written by the tests themselves.
#include "imagefixtures.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>

#include <jpeglib.h>

#include "support/wavfile.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
}

using fixtures::put16;
using fixtures::put32;

bytes make_bmp(const bmp_layout &s) {
  bytes info;
  put32(info, s.header);
  if (s.header == 12) {
    for (uint32_t v : {uint32_t(s.width), uint32_t(s.height), 1u, uint32_t(s.bpp)}) put16(info, v);
  } else {
    for (uint32_t v : {uint32_t(s.width), uint32_t(s.height)}) put32(info, v);
    put16(info, 1), put16(info, uint32_t(s.bpp));
    for (uint32_t v : {s.compression, uint32_t(s.pixels.size()), 2835u, 2835u, s.colours_used, 0u})
      put32(info, v);
    if (s.header > 40)
      for (uint32_t m : s.masks) put32(info, m);
    info.resize(std::max<size_t>(info.size(), s.header), 0);
  }
  // Bit fields after a 40-byte header: three masks, or four for compression 6.
  if (s.header == 40 && (s.compression == 3 || s.compression == 6))
    for (int i = 0; i < (s.compression == 6 ? 4 : 3); ++i) put32(info, s.masks[i]);
  for (uint32_t c : s.palette) {
    info.insert(info.end(), {uint8_t(c), uint8_t(c >> 8), uint8_t(c >> 16)});
    if (s.header != 12) info.push_back(0);
  }
  bytes out;
  if (s.file_header) {
    out = {'B', 'M'};
    for (uint32_t v : {uint32_t(14 + info.size() + s.pixels.size()), 0u, uint32_t(14 + info.size())})
      put32(out, v);
  }
  out.insert(out.end(), info.begin(), info.end());
  out.insert(out.end(), s.pixels.begin(), s.pixels.end());
  return out;
}

bytes make_ico(const std::vector<bytes> &images, int type) {
  bytes out;
  for (uint32_t v : {0u, uint32_t(type), uint32_t(images.size())}) put16(out, v);
  uint32_t offset = uint32_t(6 + 16 * images.size());
  for (const bytes &img : images) {
    put32(out, 0), put16(out, 1), put16(out, 32);  // sizes in the directory are not trusted anyway
    put32(out, uint32_t(img.size())), put32(out, offset);
    offset += uint32_t(img.size());
  }
  for (const bytes &img : images) out.insert(out.end(), img.begin(), img.end());
  return out;
}

bytes make_jpeg(int w, int h, const std::vector<pix32> &pixels, int quality, bool grey) {
  jpeg_compress_struct c;
  jpeg_error_mgr err;
  c.err = jpeg_std_error(&err);
  jpeg_create_compress(&c);
  unsigned char *mem = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&c, &mem, &size);
  c.image_width = JDIMENSION(w), c.image_height = JDIMENSION(h);
  c.input_components = grey ? 1 : 3, c.in_color_space = grey ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_set_defaults(&c);
  jpeg_set_quality(&c, quality, TRUE);
  jpeg_start_compress(&c, TRUE);
  std::vector<uint8_t> row;
  for (int y = 0; y < h; ++y) {
    row.clear();
    for (int x = 0; x < w; ++x) {
      const pix32 p = pixels[size_t(y) * w + x];
      const uint8_t rgb[3] = {p.r, p.g, p.b};
      row.insert(row.end(), rgb + grey, rgb + (grey ? 2 : 3));  // grey: green alone
    }
    JSAMPROW r = row.data();
    jpeg_write_scanlines(&c, &r, 1);
  }
  jpeg_finish_compress(&c);
  jpeg_destroy_compress(&c);
  bytes out(mem, mem + size);
  std::free(mem);
  return out;
}

namespace {

// One picture of the given pixel format, filled by `fill`, through FFmpeg's encoder.
bytes encode(AVCodecID id, int w, int h, AVPixelFormat format, const std::function<void(AVFrame *)> &fill) {
  bytes out;
  AVFrame *frame = av_frame_alloc();
  frame->width = w, frame->height = h, frame->format = format;
  av_frame_get_buffer(frame, 0);
  fill(frame);
  const AVCodec *codec = avcodec_find_encoder(id);
  AVCodecContext *ctx = codec ? avcodec_alloc_context3(codec) : nullptr;
  AVPacket *pkt = av_packet_alloc();
  if (ctx) ctx->width = w, ctx->height = h, ctx->pix_fmt = format, ctx->time_base = AVRational{1, 25};
  if (ctx && avcodec_open2(ctx, codec, nullptr) >= 0 && avcodec_send_frame(ctx, frame) >= 0) {
    avcodec_send_frame(ctx, nullptr);
    while (avcodec_receive_packet(ctx, pkt) >= 0) {
      out.insert(out.end(), pkt->data, pkt->data + pkt->size);
      av_packet_unref(pkt);
    }
  }
  av_packet_free(&pkt);
  avcodec_free_context(&ctx);
  av_frame_free(&frame);
  return out;
}

}  // namespace

bytes make_png(int w, int h, const std::vector<pix32> &pixels, bool alpha) {
  return encode(AV_CODEC_ID_PNG, w, h, alpha ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24, [&](AVFrame *f) {
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const pix32 p = pixels[size_t(y) * w + x];
        uint8_t *o = f->data[0] + y * f->linesize[0] + x * (alpha ? 4 : 3);
        o[0] = p.r, o[1] = p.g, o[2] = p.b;
        if (alpha) o[3] = p.a;
      }
  });
}

bytes make_gif(int w, int h, const std::vector<uint8_t> &indices, const std::vector<uint32_t> &palette,
               int transparent) {
  bytes out = encode(AV_CODEC_ID_GIF, w, h, AV_PIX_FMT_PAL8, [&](AVFrame *f) {
    for (int y = 0; y < h; ++y)
      std::memcpy(f->data[0] + y * f->linesize[0], indices.data() + size_t(y) * w, size_t(w));
    auto *pal = reinterpret_cast<uint32_t *>(f->data[1]);
    for (int i = 0; i < 256; ++i)
      pal[i] = (i == transparent ? 0u : 0xFF000000u) | (i < int(palette.size()) ? palette[size_t(i)] : 0);
  });
  if (!out.empty()) out.push_back(0x3B);  // the encoder leaves the trailer to the muxer
  return out;
}

bytes make_wmf(int w, int h, int pen, int units) {
  bytes records;
  auto record = [&](uint32_t function, std::initializer_list<uint16_t> params) {
    put32(records, uint32_t(3 + params.size()));
    put16(records, function);
    for (uint16_t p : params) put16(records, p);
  };
  const auto x = uint16_t(w / units), y = uint16_t(h / units);
  record(0x020B, {0, 0});                  // window origin (y, x)
  record(0x020C, {y, x});                  // window extent (y, x)
  record(0x02FC, {0, 0x00FF, 0x0000, 0});  // solid brush, COLORREF red
  record(0x012D, {0});                     // select it
  if (pen < 0)
    record(0x02FA, {5, 0, 0, 0, 0});  // null pen
  else
    record(0x02FA, {0, uint16_t(pen), 0, 0, 0});  // solid black pen
  record(0x012D, {1});                            // select it
  record(0x041B, {y, x, 0, 0});                   // rectangle (bottom, right, top, left)
  record(0x0000, {});                             // end
  bytes out;
  put32(out, 0x9AC6CDD7);  // the placeable header: key, handle, bounds, 96 units per inch
  for (uint32_t v : {0u, 0u, 0u, uint32_t(w), uint32_t(h), 96u, 0u, 0u}) put16(out, v);
  uint16_t check = 0;
  for (size_t i = 0; i < 20; i += 2) check ^= uint16_t(out[i] | (out[i + 1] << 8));
  put16(out, check);
  // The metafile header: type, size in words, version, file size, objects, largest record.
  for (uint32_t v : {1u, 9u, 0x0300u}) put16(out, v);
  put32(out, uint32_t((18 + records.size()) / 2)), put16(out, 2), put32(out, 8), put16(out, 0);
  out.insert(out.end(), records.begin(), records.end());
  return out;
}
