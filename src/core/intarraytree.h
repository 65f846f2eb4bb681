// intarraytree: a tree of labelled numbers for nested menus: branches hold a text and their
// children, leaves a text and the number a choice answers (such as a variable's ID).
#pragma once

#include <string>
#include <vector>

#include "core/platform.h"

class intarraytree {
 public:
  struct entry {
    std::string text;
    int value = 0;                   // the answer of a leaf; 0 for a branch
    intarraytree *branch = nullptr;  // owned; null for a leaf
  };

  intarraytree() = default;
  ~intarraytree();
  intarraytree(const intarraytree &) = delete;
  intarraytree &operator=(const intarraytree &) = delete;

  // Appends a leaf; false when `value` is 0 (0 stands for no choice).
  bool Add(int value, const char *text);
  // Appends a branch and returns it (owned by this tree).
  intarraytree *AddBranch(const char *text);
  void Reset();
  const std::vector<entry> &Entries() const { return entries; }
  // The leaves in order, each with its path ("Group > Name") and value.
  void ToPopMenu(std::vector<std::string> *texts, std::vector<int> *values,
                 const std::string &prefix = "") const;
  // Offers the leaves through the host's dialogs; the chosen value, 0 for none.
  int Pop(HWND hwnd, const char *title) const;

 private:
  std::vector<entry> entries;
};
