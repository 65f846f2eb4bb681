// Pop-up choices built from menus, number lists, resource string IDs and name tables, and the
// colour chooser.
#include <cstring>
#include <string>
#include <vector>

#include "core/dialogs.h"
#include "core/intarraytree.h"
#include "core/vemo.h"

namespace {

int Pick(HWND hwnd, const char *title, const std::vector<std::string> &entries,
         const std::vector<int> &answers) {
  if (entries.empty()) return 0;
  const int chosen = Dialogs().Choose(hwnd, title ? title : "", entries);
  return chosen >= 1 && chosen <= int(answers.size()) ? answers[size_t(chosen - 1)] : 0;
}

}  // namespace

int vemo::PopNonZeroInts(HWND hwnd, const int *values, const char *title) {
  std::vector<std::string> entries;
  std::vector<int> answers;
  for (; values && *values; ++values) {
    entries.push_back(std::to_string(*values));
    answers.push_back(*values);
  }
  return Pick(hwnd, title, entries, answers);
}

int vemo::PopResStrings(HWND hwnd, const int *ids, const char *title) {
  std::vector<std::string> entries;
  std::vector<int> answers;
  for (; ids && *ids; ++ids) {
    entries.emplace_back(GetStringPtr(*ids));
    answers.push_back(*ids);
  }
  return Pick(hwnd, title, entries, answers);
}

int vemo::PopArrayNameIndex(HWND hwnd, const char *table, int stride, int count, const char *title) {
  std::vector<std::string> entries;
  std::vector<int> answers;
  for (int i = 0; table && stride > 0 && i < count; ++i) {
    const char *row = table + size_t(i) * size_t(stride);
    entries.emplace_back(row, strnlen(row, size_t(stride)));
    answers.push_back(i + 1);
  }
  return Pick(hwnd, title, entries, answers);
}

int vemo::PopArrayNamePtrIndex(HWND hwnd, const char *const *names, int count, const char *title) {
  std::vector<std::string> entries;
  std::vector<int> answers;
  for (int i = 0; names && i < count; ++i) {
    entries.emplace_back(names[i] ? names[i] : "");
    answers.push_back(i + 1);
  }
  return Pick(hwnd, title, entries, answers);
}

int vemo::PopAMenu(HWND hwnd, HMENU menu, const char *title) { return menu ? menu->Pop(hwnd, title) : 0; }

int vemo::PopAMenu(HWND hwnd, const std::vector<std::pair<std::string, int>> &items, const char *title) {
  std::vector<std::string> entries;
  std::vector<int> answers;
  for (const auto &[text, number] : items) {
    if (!number) continue;
    entries.push_back(text);
    answers.push_back(number);
  }
  return Pick(hwnd, title, entries, answers);
}

bool vemo::SelectColor(HWND hwnd, COLORREF *colour, const char *title) {
  if (!colour) return false;
  COLORREF c = *colour & 0xFFFFFF;
  if (!Dialogs().ChooseColor(hwnd, title ? title : "", c)) return false;
  *colour = c;
  return true;
}

bool vemo::SelectColor(HWND hwnd, pix32 *colour, const char *title) {
  if (!colour) return false;
  COLORREF c = ToColorRef(*colour);
  if (!SelectColor(hwnd, &c, title)) return false;
  const uint8_t alpha = colour->a;
  *colour = FromColorRef(c);
  colour->a = alpha;
  return true;
}
