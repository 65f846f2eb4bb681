// The editing window's dialogs: message boxes, questions, choices and file names drawn in the
// window itself over the dimmed editor, each in its own small event loop. While one is up the
// window's title carries its caption, so a person or a script sees what is asked.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/dialogs.h"

struct KORSurface;

// What the dialogs need of the window: a repaint with something drawn over the editor, and a
// note in the title.
class dialoghost {
 public:
  virtual ~dialoghost() = default;
  virtual void PaintWith(const std::function<void(HDC hdc, RECT client)> &overlay) = 0;
  virtual void SetTitleNote(const std::string &note) = 0;
};

class windowdialogs : public dialogs {
 public:
  explicit windowdialogs(dialoghost *host) : host(host) {}

  int MessageBox(HWND owner, const char *text, const char *caption, boxbuttons buttons,
                 boxicon icon) override;
  int AskYesNoCancel(HWND owner, const char *text, const char *caption, boxicon icon,
                     int defaultanswer) override;
  // A path typed into one line (the current text offered), Enter to take it.
  bool FileDialog(HWND owner, bool save, const char *title, const char *filter, std::string &path) override;
  int Choose(HWND owner, const char *title, const std::vector<std::string> &entries) override;
  // One line of text typed into a field; false when cancelled or empty.
  bool AskText(HWND owner, const char *title, const char *prompt, std::string &text) override;
  // Swatches to click (or step through with the arrows) beside the colour offered; Enter, OK or
  // a double click takes the one chosen.
  bool ChooseColor(HWND owner, const char *title, COLORREF &colour) override;
  // Set when the window was closed while a dialog was up.
  bool QuitAsked() const { return quitasked; }

 private:
  struct button {
    const char *text;
    int answer;
  };
  int Box(const char *text, const char *caption, const std::vector<button> &buttons, int defaultanswer,
          int cancel);
  dialoghost *host;
  bool quitasked = false;
};
