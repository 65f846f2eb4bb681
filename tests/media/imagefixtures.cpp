// Image files written by the tests themselves.
#include "imagefixtures.h"

#include <cstdio>
#include <cstring>

#include <jpeglib.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
}

void put16(bytes &b, uint32_t v) {
  b.push_back(uint8_t(v));
  b.push_back(uint8_t(v >> 8));
}
void put32(bytes &b, uint32_t v) {
  for (int i = 0; i < 4; ++i) b.push_back(uint8_t(v >> (8 * i)));
}

bytes make_bmp(const bmp_layout &s) {
  bytes info;
  const bool bitfields_after = s.header == 40 && (s.compression == 3 || s.compression == 6);
  if (s.header == 12) {
    put32(info, 12);
    put16(info, uint32_t(s.width));
    put16(info, uint32_t(s.height));
    put16(info, 1);
    put16(info, uint32_t(s.bpp));
  } else {
    put32(info, s.header);
    put32(info, uint32_t(s.width));
    put32(info, uint32_t(s.height));
    put16(info, 1);
    put16(info, uint32_t(s.bpp));
    put32(info, s.compression);
    put32(info, uint32_t(s.pixels.size()));
    put32(info, 2835);
    put32(info, 2835);
    put32(info, s.colours_used);
    put32(info, 0);
    if (s.header > 40) {
      for (uint32_t m : s.masks) put32(info, m);
      while (info.size() < s.header) info.push_back(0);
    }
  }
  if (bitfields_after)
    for (int i = 0; i < (s.compression == 6 ? 4 : 3); ++i) put32(info, s.masks[i]);
  for (uint32_t c : s.palette) {
    info.push_back(uint8_t(c));
    info.push_back(uint8_t(c >> 8));
    info.push_back(uint8_t(c >> 16));
    if (s.header != 12) info.push_back(0);
  }
  bytes out;
  if (s.file_header) {
    out = {'B', 'M'};
    put32(out, uint32_t(14 + info.size() + s.pixels.size()));
    put32(out, 0);
    put32(out, uint32_t(14 + info.size()));
  }
  out.insert(out.end(), info.begin(), info.end());
  out.insert(out.end(), s.pixels.begin(), s.pixels.end());
  return out;
}

bytes make_ico(const std::vector<bytes> &images, int type) {
  bytes out;
  put16(out, 0);
  put16(out, uint32_t(type));
  put16(out, uint32_t(images.size()));
  uint32_t offset = uint32_t(6 + 16 * images.size());
  for (const bytes &img : images) {
    for (int i = 0; i < 4; ++i) out.push_back(0);  // sizes in the directory are not trusted anyway
    put16(out, 1);
    put16(out, 32);
    put32(out, uint32_t(img.size()));
    put32(out, offset);
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
  c.image_width = JDIMENSION(w);
  c.image_height = JDIMENSION(h);
  c.input_components = grey ? 1 : 3;
  c.in_color_space = grey ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_set_defaults(&c);
  jpeg_set_quality(&c, quality, TRUE);
  jpeg_start_compress(&c, TRUE);
  std::vector<uint8_t> row(size_t(w) * 3);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const pix32 p = pixels[size_t(y) * w + x];
      if (grey) {
        row[size_t(x)] = p.g;
      } else {
        row[3 * size_t(x)] = p.r;
        row[3 * size_t(x) + 1] = p.g;
        row[3 * size_t(x) + 2] = p.b;
      }
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

bytes encode(AVCodecID id, AVFrame *frame) {
  bytes out;
  const AVCodec *codec = avcodec_find_encoder(id);
  if (!codec) return out;
  AVCodecContext *ctx = avcodec_alloc_context3(codec);
  ctx->width = frame->width;
  ctx->height = frame->height;
  ctx->pix_fmt = AVPixelFormat(frame->format);
  ctx->time_base = AVRational{1, 25};
  AVPacket *pkt = av_packet_alloc();
  if (avcodec_open2(ctx, codec, nullptr) >= 0 && avcodec_send_frame(ctx, frame) >= 0) {
    avcodec_send_frame(ctx, nullptr);
    while (avcodec_receive_packet(ctx, pkt) >= 0) {
      out.insert(out.end(), pkt->data, pkt->data + pkt->size);
      av_packet_unref(pkt);
    }
  }
  av_packet_free(&pkt);
  avcodec_free_context(&ctx);
  return out;
}

}  // namespace

bytes make_png(int w, int h, const std::vector<pix32> &pixels, bool alpha) {
  AVFrame *f = av_frame_alloc();
  f->width = w;
  f->height = h;
  f->format = alpha ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24;
  av_frame_get_buffer(f, 0);
  for (int y = 0; y < h; ++y) {
    uint8_t *row = f->data[0] + y * f->linesize[0];
    for (int x = 0; x < w; ++x) {
      const pix32 p = pixels[size_t(y) * w + x];
      uint8_t *o = row + x * (alpha ? 4 : 3);
      o[0] = p.r;
      o[1] = p.g;
      o[2] = p.b;
      if (alpha) o[3] = p.a;
    }
  }
  bytes out = encode(AV_CODEC_ID_PNG, f);
  av_frame_free(&f);
  return out;
}

bytes make_gif(int w, int h, const std::vector<uint8_t> &indices, const std::vector<uint32_t> &palette,
               int transparent) {
  AVFrame *f = av_frame_alloc();
  f->width = w;
  f->height = h;
  f->format = AV_PIX_FMT_PAL8;
  av_frame_get_buffer(f, 0);
  for (int y = 0; y < h; ++y)
    std::memcpy(f->data[0] + y * f->linesize[0], indices.data() + size_t(y) * w, size_t(w));
  uint32_t *pal = reinterpret_cast<uint32_t *>(f->data[1]);
  for (int i = 0; i < 256; ++i) {
    const uint32_t c = i < int(palette.size()) ? palette[size_t(i)] : 0;
    pal[i] = (i == transparent ? 0u : 0xFF000000u) | c;
  }
  bytes out = encode(AV_CODEC_ID_GIF, f);
  av_frame_free(&f);
  if (!out.empty()) out.push_back(0x3B);  // the encoder leaves the trailer to the muxer
  return out;
}

bytes make_wmf(int w, int h) {
  bytes records;
  auto record = [&](uint32_t function, std::initializer_list<uint16_t> params) {
    put32(records, uint32_t(3 + params.size()));
    put16(records, function);
    for (uint16_t p : params) put16(records, p);
  };
  record(0x020B, {0, 0});                            // window origin (y, x)
  record(0x020C, {uint16_t(h), uint16_t(w)});        // window extent (y, x)
  record(0x02FC, {0, 0x00FF, 0x0000, 0});            // solid brush, COLORREF red
  record(0x012D, {0});                               // select it
  record(0x02FA, {5, 0, 0, 0, 0});                   // null pen
  record(0x012D, {1});                               // select it
  record(0x041B, {uint16_t(h), uint16_t(w), 0, 0});  // rectangle (bottom, right, top, left)
  record(0x0000, {});                                // end
  bytes out;
  put32(out, 0x9AC6CDD7);
  put16(out, 0);
  put16(out, 0);
  put16(out, 0);
  put16(out, uint32_t(w));
  put16(out, uint32_t(h));
  put16(out, 96);
  put32(out, 0);
  uint16_t check = 0;
  for (size_t i = 0; i < 20; i += 2) check ^= uint16_t(out[i] | (out[i + 1] << 8));
  put16(out, check);
  put16(out, 1);
  put16(out, 9);
  put16(out, 0x0300);
  put32(out, uint32_t((18 + records.size()) / 2));
  put16(out, 2);
  put32(out, 8);
  put16(out, 0);
  out.insert(out.end(), records.begin(), records.end());
  return out;
}
