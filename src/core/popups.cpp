// Pop-up choices built from number lists, resource string IDs and name tables.
#include <cstring>
#include <string>
#include <vector>

#include "core/dialogs.h"
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
