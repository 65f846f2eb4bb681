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
  last_text = text ? text : "";
  last_caption = caption ? caption : "";
  last_icon = icon;
  ++boxes_shown;
  int answer = IDOK;
  switch (buttons) {
    case boxbuttons::ok: answer = IDOK; break;
    case boxbuttons::okcancel: answer = answer_yes ? IDOK : IDCANCEL; break;
    case boxbuttons::yesno:
    case boxbuttons::yesnocancel: answer = answer_yes ? IDYES : IDNO; break;
  }
  if (!quiet) {
    std::fprintf(stderr, "lumivaxel: %s: %s%s%s", IconWord(icon), last_caption.c_str(),
                 last_caption.empty() || last_text.empty() ? "" : ": ", last_text.c_str());
    if (buttons != boxbuttons::ok)
      std::fprintf(stderr, " [answered %s]", answer == IDOK || answer == IDYES ? "yes" : "no");
    std::fputc('\n', stderr);
  }
  return answer;
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

dialogs &Dialogs() { return *g_current; }

void SetDialogs(dialogs *d) { g_current = d ? d : &g_headless; }

headless_dialogs &HeadlessDialogs() { return g_headless; }
