// The software drawing context: clipping, lines, fills, copies and text on 32-bit pixels.
#include "media/dc.h"

dc::dc(pix32 *b, int w, int h, int p) : bits(b), width(w), height(h), pitch(p) {}

dc::~dc() = default;
