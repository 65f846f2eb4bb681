// The two built-in logo pictures, drawn in code.
#pragma once

struct KORSurface;

// Logo 0 (the first, cached under -2) or 1 (the second, under -3): a new 300 x 293 surface, or
// null when it cannot be made.
KORSurface *MakeLogo(int which);
