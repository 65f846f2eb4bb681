// Writing a composed picture to a file: BMP through the engine's own 24-bit writer, PNG
// through FFmpeg's encoder. Both drop alpha, as a made frame does.
#pragma once

#include <string>

struct KORSurface;

// Chooses the format by the extension of `path` (".bmp" or ".png", any case); false with a
// reason in *error when the extension is neither or the file cannot be written.
bool WritePicture(KORSurface *picture, const std::string &path, std::string *error);
