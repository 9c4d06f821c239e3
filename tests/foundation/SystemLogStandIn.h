#pragma once

#include <string>
#include <vector>

namespace vorn::testing {

struct SystemLogEntry {
  int priority = 0;
  std::string text;
};

/// What the program has sent to the system log, in order. The real system log gets nothing.
std::vector<SystemLogEntry>& SystemLogEntries();

}  // namespace vorn::testing
