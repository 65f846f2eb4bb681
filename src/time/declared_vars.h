// The variables the system declares: one table row per declaration (name, ID, bounds, default,
// curve colours, kind), so every name, ID, range and default is written in one place.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/platform.h"

class timefloatmgr;

// Curve colours of the declarations: all-ones keeps the editor's default colour.
constexpr COLORREF TF_COLOR_DEFAULT = 0xFFFFFFFFu;
constexpr COLORREF TF_COLOR_RED = RGB(127, 0, 0);
constexpr COLORREF TF_COLOR_GREEN = RGB(0, 127, 0);
constexpr COLORREF TF_COLOR_BLUE = RGB(0, 0, 127);

// One declaration. Group headers (kind 7) carry no bounds: 0, 0, 0.
struct tfdecl {
  const char *name;  // the persisted key, e.g. "IDS_OPACITY"; its displayed text is the resource string of id
  int32_t id;
  double minimum;
  double maximum;
  double defaultvalue;
  COLORREF colour1;
  COLORREF colour2;
  uint32_t kind;
};

// The whole table, in the order the declarers use.
const tfdecl *DeclaredVariables(size_t *count);
// The first row of that name (compared without regard to case), or null.
const tfdecl *FindDeclaredVariable(const char *name);
// The row of that name and kind ("IDS_RED" exists as kind 0 and kind 3), or null.
const tfdecl *FindDeclaredVariable(const char *name, uint32_t kind);

// Declares a row into a manager with timefloatmgr::timefloatadd and returns its result (1);
// 0 when the name has no row.
int DeclareVariable(timefloatmgr &mgr, const tfdecl &row);
int DeclareVariable(timefloatmgr &mgr, const char *name);
int DeclareVariable(timefloatmgr &mgr, const char *name, uint32_t kind);
