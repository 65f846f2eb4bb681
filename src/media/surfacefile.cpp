// Surface files: loading images by extension, saving 24-bit BMP files, the clipboard chunk.
#include "media/surface.h"

KORSurface *surface::SurfaceLoad(const char *) { return nullptr; }
