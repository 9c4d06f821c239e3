#pragma once

#include <string>
#include <vector>

namespace vorn::testing {

struct SystemLogEntry {
  int priority = 0;
  std::string text;
};

/// What the program that links the stand-in has sent to the system log, in
/// order. The real system log gets none of it.
std::vector<SystemLogEntry>& SystemLogEntries();

}  // namespace vorn::testing
