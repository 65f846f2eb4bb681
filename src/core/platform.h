// Platform stand-ins: the small value types and handles the engine's interfaces are written in.
//
// Rectangles and points are int32 records; right and bottom are exclusive. Result words of
// editing and input operations are 32-bit (uint32_t) everywhere, as are flags and file fields.
// Host windows are opaque handles (null when headless); device contexts are our software
// drawing context; icons are small owned images.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// RECT and HWND are shared with plugin libraries, so they are declared with the plugin interface.
// HWND is the host's window: the engine never looks inside and hands it back to the host's
// dialog interface (see dialogs.h); null means there is no window (batch use).
#include "media/plugin_abi.h"

struct POINT {
  int32_t x = 0;
  int32_t y = 0;
};

struct SIZE {
  int32_t cx = 0;
  int32_t cy = 0;
};

// A colour as 0x00BBGGRR: red in bits 0-7, green in 8-15, blue in 16-23.
using COLORREF = uint32_t;
constexpr COLORREF RGB(uint8_t r, uint8_t g, uint8_t b) {
  return COLORREF(r) | (COLORREF(g) << 8) | (COLORREF(b) << 16);
}

// The software drawing context on a surface (defined with the surfaces).
class dc;
using HDC = dc *;

// A menu handle: a tree of labelled numbers (intarraytree.h) that a pop-up offers.
class intarraytree;
using HMENU = const intarraytree *;

// A small image used as an icon: 32-bit pixels, blue, green, red, alpha in memory order, top row
// first. `name` is a freedesktop icon name when the icon stands for a themed icon (a file type
// or a stock symbol); the pixels are then empty.
struct icon {
  std::string name;
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint32_t> pixels;
};
using HICON = icon *;
inline void DestroyIcon(HICON h) { delete h; }

// Input messages routed through QueryAction, with the numbers the host's event layer uses.
enum : uint32_t {
  WM_MOUSEMOVE = 0x0200,
  WM_LBUTTONDOWN = 0x0201,
  WM_LBUTTONUP = 0x0202,
  WM_LBUTTONDBLCLK = 0x0203,
  WM_RBUTTONDOWN = 0x0204,
  WM_RBUTTONUP = 0x0205,
  WM_MBUTTONDOWN = 0x0207,
  WM_MBUTTONUP = 0x0208,
  WM_MOUSEWHEEL = 0x020A,
  WM_KEYDOWN = 0x0100,
  WM_KEYUP = 0x0101,
  WM_CHAR = 0x0102,
};

// Keys that WM_KEYDOWN carries in its keys word (other keys carry the host's own key code).
enum : int32_t {
  VK_BACK = 0x08,
  VK_RETURN = 0x0D,
  VK_ESCAPE = 0x1B,
};

// Key and button state bits passed with mouse messages.
enum : int32_t {
  MK_LBUTTON = 0x0001,
  MK_RBUTTON = 0x0002,
  MK_SHIFT = 0x0004,
  MK_CONTROL = 0x0008,
  MK_MBUTTON = 0x0010,
};

// The system's path separator, for the algorithms that split or join paths.
constexpr char PATH_SEPARATOR = '/';
