// Helpers of the macro tests: running clauses given as text and reading what they left.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>

#include "macro/macro.h"
#include "support/mediafile.h"

namespace macrotest {

struct outcome {
  bool ok = false;
  std::string value;  // the return value
  std::string error;  // the first failure, "clause N (...): text"
};

inline outcome RunText(UIItem *root, const std::string &clauses, const char *arguments = "") {
  outcome o;
  std::unique_ptr<macro> m(macro::FromText(root, clauses.c_str()));
  if (!m || !m->IsReady()) return o;
  o.ok = m->Run(arguments, o.value);
  o.error = m->LastError();
  return o;
}

// Runs the clauses and expects them to fail with a message that contains `says`.
inline void ExpectFailure(UIItem *root, const std::string &clauses, const std::string &says) {
  const outcome o = RunText(root, clauses);
  EXPECT_FALSE(o.ok) << clauses;
  EXPECT_NE(o.error.find(says), std::string::npos) << clauses << "\n" << o.error;
}

inline void WriteText(const std::string &path, const std::string &text) {
  std::ofstream(path, std::ios::binary) << text;
}

}  // namespace macrotest
