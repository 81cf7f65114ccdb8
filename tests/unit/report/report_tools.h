// What the tests of the two reports share.
#ifndef NUVEK_TESTS_UNIT_CORE_REPORT_TOOLS_H
#define NUVEK_TESTS_UNIT_CORE_REPORT_TOOLS_H

#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/world.h"

// The lines that `operation` logged, each as "LEVEL message".
inline std::vector<std::string> lines_of(const std::string& operation, const std::vector<std::string>& lines) {
  std::vector<std::string> result;
  for (const std::string& line : lines) {
    for (const char* level : {"DEBUG ", "ERROR "}) {
      const std::string start = level + operation + " ";
      if (line.rfind(start, 0) == 0) result.push_back(level + line.substr(start.size()));
    }
  }
  return result;
}

#endif
