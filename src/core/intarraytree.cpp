// The tree of labelled numbers behind nested menus.
#include "core/intarraytree.h"

#include "core/dialogs.h"

intarraytree::~intarraytree() { Reset(); }

void intarraytree::Reset() {
  for (entry &e : entries) delete e.branch;
  entries.clear();
}

bool intarraytree::Add(int value, const char *text) {
  if (value == 0) return false;
  entries.push_back(entry{text ? text : "", value, nullptr});
  return true;
}

intarraytree *intarraytree::AddBranch(const char *text) {
  entries.push_back(entry{text ? text : "", 0, new intarraytree});
  return entries.back().branch;
}

void intarraytree::ToPopMenu(std::vector<std::string> *texts, std::vector<int> *values,
                             const std::string &prefix) const {
  for (const entry &e : entries) {
    if (e.branch) {
      e.branch->ToPopMenu(texts, values, prefix + e.text + " > ");
    } else {
      texts->push_back(prefix + e.text);
      values->push_back(e.value);
    }
  }
}

int intarraytree::Pop(HWND hwnd, const char *title) const {
  std::vector<std::string> texts;
  std::vector<int> values;
  ToPopMenu(&texts, &values);
  if (texts.empty()) return 0;
  const int chosen = Dialogs().Choose(hwnd, title ? title : "", texts);
  return chosen >= 1 && chosen <= int(values.size()) ? values[size_t(chosen - 1)] : 0;
}
