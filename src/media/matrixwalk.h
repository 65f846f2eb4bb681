// The neighbourhood walker's plain form: the walk exactly as pixelator::RunSingleMatrix
// describes it, record filled pixel by pixel and the kernel called for each. The fast paths
// of the blur and edge kernels must give the same bytes.
#pragma once

#include "media/pixelator.h"

namespace matrixwalk {

int Reference(surf32 *src, surf32 *dst, RECT r, int w, int h, matrixkernel kernel, void *extra,
              unsigned char level);

}  // namespace matrixwalk
