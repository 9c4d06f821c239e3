#pragma once

#include <cstddef>

namespace vorn::bench {

/// What the kernel says of this process.
struct ProcessFigures {
  std::size_t threads = 0;
  std::size_t residentKiB = 0;
  std::size_t descriptors = 0;
  std::size_t sockets = 0;        ///< of the descriptors
  double processorSeconds = 0.0;  ///< of all threads, so far

  static ProcessFigures Read();
};

}  // namespace vorn::bench
