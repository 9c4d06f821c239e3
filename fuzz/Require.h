#pragma once

#include <cstdio>
#include <cstdlib>

namespace vorn::fuzzing {

/// Ends the process, which the fuzzer takes for a find, when a property that
/// holds for every input does not hold for this one.
inline void Require(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", property);
  std::abort();
}

}  // namespace vorn::fuzzing
