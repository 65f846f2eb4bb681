// One pixel (pix32): blue, green, red, alpha bytes in memory order. The record is shared with
// plugin libraries, so it is declared with the plugin interface.
#pragma once

#include "media/plugin_abi.h"
