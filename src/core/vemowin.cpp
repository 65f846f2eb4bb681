// The application window context.
#include "core/vemowin.h"

vemowin::vemowin(dialogs *ui, HWND main_window) : window(main_window), installed(ui) {
  if (ui) SetDialogs(ui);
}

vemowin::~vemowin() {
  if (installed && &Dialogs() == installed) SetDialogs(nullptr);
}
