#pragma once

#include <cstdio>
#include <cstdlib>

namespace vorn::fuzzing {

/// Ends the process if a property that must be true for every input is false for this one. The fuzzer counts
/// this as a find.
inline void Require(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", property);
  std::abort();
}

}  // namespace vorn::fuzzing
