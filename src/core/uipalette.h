// The colours and sizes of the editing window, shared by every object that draws itself there.
#pragma once

#include "core/platform.h"

namespace ui {
constexpr COLORREF kWindow = RGB(37, 39, 43);  // pane backgrounds
constexpr COLORREF kPanel = RGB(48, 51, 56);   // headers, ruler, menu bar
constexpr COLORREF kTrackA = RGB(42, 44, 49);  // alternate track stripes
constexpr COLORREF kTrackB = RGB(46, 49, 54);
constexpr COLORREF kLine = RGB(70, 74, 81);  // separators, grid
constexpr COLORREF kText = RGB(222, 224, 228);
constexpr COLORREF kTextDim = RGB(150, 155, 163);
constexpr COLORREF kAccent = RGB(86, 156, 214);  // selection
constexpr COLORREF kCursor = RGB(235, 87, 74);   // the time slider
constexpr COLORREF kMake = RGB(96, 170, 110);    // the make range
constexpr COLORREF kLocator = RGB(230, 190, 80);
constexpr COLORREF kClip = RGB(74, 96, 128);  // a clip's body
constexpr COLORREF kClipSelected = RGB(92, 126, 176);
constexpr COLORREF kArrangement = RGB(104, 86, 132);
constexpr COLORREF kSound = RGB(70, 120, 100);
constexpr COLORREF kEnvelope = RGB(170, 230, 190);
constexpr COLORREF kKeyCommitted = RGB(235, 235, 235);
constexpr COLORREF kKeyModified = RGB(240, 200, 80);
constexpr COLORREF kKeyAdded = RGB(120, 220, 120);
constexpr int kFont = 13;       // text height of labels
constexpr int kRowHeight = 20;  // one row of a list or menu
}  // namespace ui
