// vemowin: the application window context shared by every object of a window: the main window
// handle, the program's folder and the host's dialog interface.
#pragma once

#include "core/dialogs.h"
#include "core/platform.h"

class vemowin {
 public:
  // `ui` is the host's dialog interface (not owned); null keeps the headless one. It is
  // installed process-wide, since the engine's static helpers show boxes too.
  explicit vemowin(dialogs *ui = nullptr, HWND main_window = nullptr);
  ~vemowin();
  vemowin(const vemowin &) = delete;
  vemowin &operator=(const vemowin &) = delete;

  HWND GetWindow() const { return window; }
  void SetWindow(HWND w) { window = w; }
  dialogs &UI() const { return Dialogs(); }

 private:
  HWND window = nullptr;
  dialogs *installed = nullptr;
};
