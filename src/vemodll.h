// The engine's umbrella header: every public header of libvemo. A host needs only
//   #include "vemodll.h"   with -Isrc and -lvemo.
#pragma once

// Core object model
#include "core/clock.h"
#include "core/commandline.h"
#include "core/dialogs.h"
#include "core/frect.h"
#include "core/icons.h"
#include "core/intarray.h"
#include "core/platform.h"
#include "core/randint.h"
#include "core/settings.h"
#include "core/trap.h"
#include "core/uiitem.h"
#include "core/uiitems.h"
#include "core/vemo.h"
#include "core/vemowin.h"

// Time and animation

// Surfaces and media
#include "media/pix32.h"
#include "media/pixelator.h"
#include "media/dc.h"
#include "media/surface.h"
#include "media/mediareaders.h"

// Effects

// Clip engine

// Macros
