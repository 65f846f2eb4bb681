// Splits a text command into arguments: words separated by blanks; a word in double quotes may
// hold blanks ("My Clip"); at most `max_args` arguments are kept, the rest is dropped.
#pragma once

#include <string>
#include <vector>

std::vector<std::string> SplitCommandLine(const char *line, size_t max_args = 64);
