// JPEG pictures through libjpeg-turbo, decoded straight into the surface's rows.
#include <csetjmp>
#include <cstdio>

#include <jerror.h>
#include <jpeglib.h>

#include "media/imagebytes.h"
#include "media/imagecodecs.h"
#include "media/surface.h"

namespace {

struct jpeg_failure {
  jpeg_error_mgr base;
  jmp_buf escape;
};

[[noreturn]] void on_error(j_common_ptr cinfo) {
  std::longjmp(reinterpret_cast<jpeg_failure *>(cinfo->err)->escape, 1);
}

// Warnings are silent, except running out of data: the library would pad the picture with
// grey, and a cut file is refused instead.
void on_message(j_common_ptr cinfo, int level) {
  if (level < 0 && cinfo->err->msg_code == JWRN_JPEG_EOF) on_error(cinfo);
}

void no_output(j_common_ptr) {}

// CMYK as the usual writers store it (inverted): each colour is its channel times K / 255.
void cmyk_row(const uint8_t *in, pix32 *out, int w) {
  for (int x = 0; x < w; ++x) {
    const int c = in[4 * x], m = in[4 * x + 1], y = in[4 * x + 2], k = in[4 * x + 3];
    out[x] =
        pix32(uint8_t((c * k + 127) / 255), uint8_t((m * k + 127) / 255), uint8_t((y * k + 127) / 255), 0);
  }
}

// Kept free of objects with destructors: the error path leaves by longjmp.
KORSurface *decode(const uint8_t *data, size_t size) {
  jpeg_decompress_struct cinfo;
  jpeg_failure err;
  KORSurface *volatile result = nullptr;
  uint8_t *volatile cmyk = nullptr;
  cinfo.err = jpeg_std_error(&err.base);
  err.base.error_exit = on_error;
  err.base.emit_message = on_message;
  err.base.output_message = no_output;
  if (setjmp(err.escape)) {
    jpeg_destroy_decompress(&cinfo);
    delete[] cmyk;
    surface::SurfaceDelete(result);
    return nullptr;
  }
  jpeg_create_decompress(&cinfo);
  jpeg_mem_src(&cinfo, data, static_cast<unsigned long>(size));
  jpeg_read_header(&cinfo, TRUE);
  if (!imagebytes::size_ok(cinfo.image_width, cinfo.image_height)) {
    jpeg_destroy_decompress(&cinfo);
    return nullptr;
  }
  const bool is_cmyk = cinfo.jpeg_color_space == JCS_CMYK || cinfo.jpeg_color_space == JCS_YCCK;
  cinfo.out_color_space = is_cmyk ? JCS_CMYK : JCS_EXT_BGRX;
  jpeg_start_decompress(&cinfo);
  const int w = int(cinfo.output_width), h = int(cinfo.output_height);
  result = surface::SurfaceCreate(w, h);
  surf out;
  if (!result || !surface::SurfaceDataLock(result, &out)) on_error(reinterpret_cast<j_common_ptr>(&cinfo));
  if (is_cmyk) cmyk = new uint8_t[size_t(w) * 4];
  while (cinfo.output_scanline < cinfo.output_height) {
    pix32 *row = out.bits + size_t(out.pitch) * cinfo.output_scanline;
    JSAMPROW target = is_cmyk ? cmyk : reinterpret_cast<JSAMPROW>(row);
    if (jpeg_read_scanlines(&cinfo, &target, 1) != 1) on_error(reinterpret_cast<j_common_ptr>(&cinfo));
    if (is_cmyk) {
      cmyk_row(cmyk, row, w);
    } else {
      for (int x = 0; x < w; ++x) row[x].a = 0;  // a picture without alpha arrives with alpha 0
    }
  }
  jpeg_finish_decompress(&cinfo);
  jpeg_destroy_decompress(&cinfo);
  delete[] cmyk;
  surface::SurfaceDataUnlock(&out);
  return result;
}

}  // namespace

KORSurface *DecodeJPEG(const uint8_t *data, size_t size) {
  if (!data || size < 4 || size > IMAGE_MAX_FILE_BYTES) return nullptr;
  return decode(data, size);
}
