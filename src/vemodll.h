// The engine's umbrella header: every public header of libvemo. A host needs only
//   #include "vemodll.h"   with -Isrc and -lvemo in the tree, or, installed,
//   $(pkg-config --cflags --libs vemo)   (headers under include/lumivaxel/).
#pragma once

// Core object model
#include "core/byteorder.h"
#include "core/clock.h"
#include "core/commandline.h"
#include "core/download.h"
#include "core/dialogs.h"
#include "core/frect.h"
#include "core/icons.h"
#include "core/intarray.h"
#include "core/intarraytree.h"
#include "core/platform.h"
#include "core/poligon.h"
#include "core/randint.h"
#include "core/settings.h"
#include "core/trap.h"
#include "core/uiitem.h"
#include "core/uiitems.h"
#include "core/uipalette.h"
#include "core/vemo.h"
#include "core/vemowin.h"

// Time and animation
#include "time/declared_vars.h"
#include "time/mtime.h"
#include "time/tfcboard.h"
#include "time/timefloat.h"
#include "time/timefloatmgr.h"
#include "time/vemotime.h"

// Surfaces and media
#include "media/pix32.h"
#include "media/pixelator.h"
#include "media/dc.h"
#include "media/imagecodecs.h"
#include "media/surface.h"
#include "media/mediareaders.h"
#include "media/riff.h"
#include "media/wavcfg.h"
#include "media/waveformat.h"
#include "media/plugin_abi.h"
#include "media/plugins.h"

// Effects
#include "effects/adjusteffects.h"
#include "effects/adjusters.h"
#include "effects/audioeffects.h"
#include "effects/effect.h"
#include "effects/geometric.h"
#include "effects/interlace.h"
#include "effects/keyeffects.h"
#include "effects/keys.h"
#include "effects/levels.h"
#include "effects/matrixeffects.h"
#include "effects/patterns.h"
#include "effects/plugineffects.h"

// Clip engine
#include "engine/clipblock.h"
#include "engine/clip.h"
#include "engine/clipsource.h"
#include "engine/editcommands.h"
#include "engine/joining.h"
#include "engine/project.h"
#include "engine/worker.h"

// Macros
#include "macro/macro.h"
