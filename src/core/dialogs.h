// The host's interactive side: message boxes, file dialogs, choices (pop-up menus and lists),
// the cursor and the mouse capture. The engine asks through this interface only; the window
// context (vemowin) holds the host's implementation and installs it process-wide.
//
// A headless implementation is installed from the start: it writes every message to stderr,
// answers questions from its settings (default: the negative answer, so batch work never
// deletes or overwrites on its own) and never blocks on a terminal.
#pragma once

#include <string>
#include <vector>

#include "core/platform.h"

enum class boxicon { none, question, exclamation, information };
enum class boxbuttons { ok, okcancel, yesno, yesnocancel };

// Answers of a message box.
enum : int { IDOK = 1, IDCANCEL = 2, IDYES = 6, IDNO = 7 };

enum class cursorkind { arrow, wait };

class dialogs {
 public:
  virtual ~dialogs() = default;

  // Shows a modal box; returns IDOK, IDCANCEL, IDYES or IDNO.
  virtual int MessageBox(HWND owner, const char *text, const char *caption, boxbuttons buttons,
                         boxicon icon) = 0;
  // Asks for a file to open (save = false) or to write. `filter` lists patterns separated by
  // ';' ("*.vmp;*.avi"). On true, `path` holds the chosen file.
  virtual bool FileDialog(HWND owner, bool save, const char *title, const char *filter,
                          std::string &path) = 0;
  // Lets the user pick one entry (a pop-up menu or a list); returns its index + 1, 0 for none.
  virtual int Choose(HWND owner, const char *title, const std::vector<std::string> &entries) = 0;
  // The three-way question with Yes, No and Cancel; `defaultanswer` (IDYES, IDNO or IDCANCEL)
  // is the button that Enter presses. Returns IDYES, IDNO or IDCANCEL. By default a box with
  // those buttons.
  virtual int AskYesNoCancel(HWND owner, const char *text, const char *caption, boxicon icon, int defaultanswer);
  // A list with OK and Cancel that opens with entry `selected` (index + 1, 0 for none) chosen.
  // False for Cancel; on OK *chosen is the entry chosen then (index + 1), or 0 when none is.
  // By default Choose, where choosing nothing counts as Cancel.
  virtual bool ChooseFromList(HWND owner, const char *title, const std::vector<std::string> &entries,
                              int selected, int *chosen);

  // Asks for one line of text, `text` offered and on true holding the answer. By default
  // there is no way to type, so nothing is asked (false).
  virtual bool AskText(HWND owner, const char *title, const char *prompt, std::string &text);

  // Lets the user choose a colour, `colour` (0x00BBGGRR) offered and on true holding the
  // choice. By default there is no chooser, so nothing is asked (false).
  virtual bool ChooseColor(HWND owner, const char *title, COLORREF &colour);

  virtual void SetCursor(cursorkind) {}
  virtual void SetCapture(HWND) {}
  virtual void ReleaseCapture() {}
};

// The batch implementation. Its answers are settings, so tests and the command line decide.
class headless_dialogs : public dialogs {
 public:
  bool quiet = false;               // do not print boxes to stderr
  bool answer_yes = false;          // OK/Yes instead of Cancel/No
  std::string file_answer;          // the path a file dialog returns; empty cancels
  int choice_answer = 0;            // the entry Choose returns (index + 1), 0 for none
  std::string text_answer;          // the text AskText returns; empty cancels
  int64_t colour_answer = -1;       // the colour ChooseColor returns; -1 cancels
  // A list keeps the entry it opened with when answer_yes is set and choice_answer is 0.

  // What the engine did last, for callers that check it.
  std::string last_text;
  std::string last_caption;
  boxicon last_icon = boxicon::none;
  int boxes_shown = 0;
  int last_default = 0;   // the default button of the last three-way question
  int last_selected = 0;  // the entry the last list opened with
  cursorkind cursor = cursorkind::arrow;
  HWND capture = nullptr;
  bool captured = false;

  int MessageBox(HWND owner, const char *text, const char *caption, boxbuttons buttons,
                 boxicon icon) override;
  bool FileDialog(HWND owner, bool save, const char *title, const char *filter, std::string &path) override;
  int Choose(HWND owner, const char *title, const std::vector<std::string> &entries) override;
  // Yes with answer_yes; otherwise No only when No is the default, else Cancel, so that an
  // unattended run never takes a step it was not told to.
  int AskYesNoCancel(HWND owner, const char *text, const char *caption, boxicon icon, int defaultanswer) override;
  bool ChooseFromList(HWND owner, const char *title, const std::vector<std::string> &entries, int selected,
                      int *chosen) override;
  bool AskText(HWND owner, const char *title, const char *prompt, std::string &text) override;
  bool ChooseColor(HWND owner, const char *title, COLORREF &colour) override;
  void SetCursor(cursorkind c) override { cursor = c; }
  void SetCapture(HWND w) override {
    capture = w;
    captured = true;
  }
  void ReleaseCapture() override {
    capture = nullptr;
    captured = false;
  }

 private:
  // Records the box and prints it unless quiet; `answer` null for a box that asks nothing.
  void Report(const char *text, const char *caption, boxicon icon, const char *answer);
};

// The process-wide interface; never null (the headless one until a host installs its own).
dialogs &Dialogs();
// Installs `d` (not owned); null goes back to the built-in headless implementation.
void SetDialogs(dialogs *d);
// The built-in headless implementation, for batch hosts and tests that set its answers.
headless_dialogs &HeadlessDialogs();
