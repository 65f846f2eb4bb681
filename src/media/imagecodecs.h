// Image decoders: each turns the bytes of one image file into a new surface, or null.
//
// Common principles of the decoders:
// - Input is untrusted: truncated or corrupt data, or a picture larger than the caps below,
//   gives null; nothing is read outside [data, data + size).
// - The result is a surface of the picture's size, rows top-down, owned by the caller
//   (surface::SurfaceDelete). Pictures without an alpha channel arrive with alpha 0; pictures
//   with one (PNG or GIF transparency, 32-bit BMP with an alpha mask, icons) keep it.
// - surface::SurfaceLoad picks the decoder by the file's extension and reads the file; these
//   entry points take memory so the fuzz targets and tests reach them directly.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/platform.h"

struct KORSurface;

// Largest accepted picture: each side, and the pixel count.
constexpr int IMAGE_MAX_SIDE = 16384;
constexpr int64_t IMAGE_MAX_PIXELS = int64_t(1) << 26;
// Largest image file read into memory.
constexpr size_t IMAGE_MAX_FILE_BYTES = size_t(256) << 20;

// A BMP file ("BM" header) or a packed DIB (info header first); 1, 4, 8, 16, 24 and 32 bits,
// palettes, bit fields, RLE4 and RLE8, bottom-up and top-down.
KORSurface *DecodeBMP(const uint8_t *data, size_t size);
// An ICO or CUR file: the largest image it holds (by area, then colour depth), DIB or PNG.
KORSurface *DecodeICO(const uint8_t *data, size_t size);
// A JPEG file (baseline or progressive; grey, colour or CMYK).
KORSurface *DecodeJPEG(const uint8_t *data, size_t size);
// A PNG file.
KORSurface *DecodePNG(const uint8_t *data, size_t size);
// The first frame of a GIF file.
KORSurface *DecodeGIF(const uint8_t *data, size_t size);
// A Windows metafile (placeable or plain), rendered at its natural size; null without WMF
// support in this build.
KORSurface *DecodeWMF(const uint8_t *data, size_t size);

// True for an enhanced metafile: a header record (type 1) carrying the " EMF" signature at
// byte 40. There is no renderer for these here; loading one fails as an unsupported format.
bool IsEnhancedMetafile(const uint8_t *data, size_t size);
// Why the last surface::SurfaceLoad on this thread gave null, when it can say more than that
// the file is missing or damaged: "unsupported picture format". Empty otherwise.
const char *SurfaceLoadFailure();

// Whether the decoders built on the media libraries report problems on stderr (on by default;
// the fuzz targets turn it off).
void SetImageDecoderLogging(bool on);

// The icon file reader installed for vemo::IconLoadByFileName: the largest image of an .ico or
// .cur file as an icon, or null.
HICON IconFromFile(const char *path);
