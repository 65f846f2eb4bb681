// The headless dialog implementation and the process-wide dialog interface.
#include "core/dialogs.h"

#include <cstdio>

namespace {

headless_dialogs g_headless;
dialogs *g_current = &g_headless;

const char *IconWord(boxicon icon) {
  switch (icon) {
    case boxicon::question: return "question";
    case boxicon::exclamation: return "warning";
    case boxicon::information: return "info";
    case boxicon::none: break;
  }
  return "message";
}

}  // namespace

int headless_dialogs::MessageBox(HWND, const char *text, const char *caption, boxbuttons buttons,
                                 boxicon icon) {
  int answer = IDOK;
  switch (buttons) {
    case boxbuttons::ok: answer = IDOK; break;
    case boxbuttons::okcancel: answer = answer_yes ? IDOK : IDCANCEL; break;
    case boxbuttons::yesno:
    case boxbuttons::yesnocancel: answer = answer_yes ? IDYES : IDNO; break;
  }
  Report(text, caption, icon, buttons == boxbuttons::ok ? nullptr : answer == IDOK || answer == IDYES ? "yes" : "no");
  return answer;
}

void headless_dialogs::Report(const char *text, const char *caption, boxicon icon, const char *answer) {
  last_text = text ? text : "";
  last_caption = caption ? caption : "";
  last_icon = icon;
  ++boxes_shown;
  if (quiet) return;
  std::fprintf(stderr, "lumivaxel: %s: %s%s%s", IconWord(icon), last_caption.c_str(),
               last_caption.empty() || last_text.empty() ? "" : ": ", last_text.c_str());
  if (answer) std::fprintf(stderr, " [answered %s]", answer);
  std::fputc('\n', stderr);
}

bool headless_dialogs::FileDialog(HWND, bool, const char *, const char *, std::string &path) {
  if (file_answer.empty()) return false;
  path = file_answer;
  return true;
}

int headless_dialogs::Choose(HWND, const char *, const std::vector<std::string> &entries) {
  if (choice_answer < 1 || choice_answer > static_cast<int>(entries.size())) return 0;
  return choice_answer;
}

bool dialogs::AskText(HWND, const char *, const char *, std::string &) { return false; }

bool headless_dialogs::AskText(HWND, const char *, const char *, std::string &text) {
  if (text_answer.empty()) return false;
  text = text_answer;
  return true;
}

bool dialogs::ChooseColor(HWND, const char *, COLORREF &) { return false; }

bool headless_dialogs::ChooseColor(HWND, const char *, COLORREF &colour) {
  if (colour_answer < 0) return false;
  colour = COLORREF(colour_answer) & 0xFFFFFF;
  return true;
}

int dialogs::AskYesNoCancel(HWND owner, const char *text, const char *caption, boxicon icon, int) {
  return MessageBox(owner, text, caption, boxbuttons::yesnocancel, icon);
}

bool dialogs::ChooseFromList(HWND owner, const char *title, const std::vector<std::string> &entries, int,
                             int *chosen) {
  const int c = Choose(owner, title, entries);
  if (c < 1) return false;
  if (chosen) *chosen = c;
  return true;
}

int headless_dialogs::AskYesNoCancel(HWND, const char *text, const char *caption, boxicon icon,
                                     int defaultanswer) {
  last_default = defaultanswer;
  const int answer = answer_yes ? IDYES : defaultanswer == IDNO ? IDNO : IDCANCEL;
  Report(text, caption, icon, answer == IDYES ? "yes" : answer == IDNO ? "no" : "cancel");
  return answer;
}

bool headless_dialogs::ChooseFromList(HWND, const char *, const std::vector<std::string> &entries, int selected,
                                      int *chosen) {
  last_selected = selected;
  const int n = static_cast<int>(entries.size());
  int c = 0;
  if (choice_answer >= 1 && choice_answer <= n)
    c = choice_answer;
  else if (answer_yes)
    c = selected >= 1 && selected <= n ? selected : 0;
  else
    return false;
  if (chosen) *chosen = c;
  return true;
}

dialogs &Dialogs() { return *g_current; }

void SetDialogs(dialogs *d) { g_current = d ? d : &g_headless; }

headless_dialogs &HeadlessDialogs() { return g_headless; }
