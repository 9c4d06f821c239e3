#pragma once

#include <cstddef>

namespace vorn::bench {

/// The kernel's figures of this process.
struct ProcessFigures {
  std::size_t threads = 0;
  std::size_t residentKiB = 0;
  std::size_t descriptors = 0;
  std::size_t sockets = 0;        ///< the highest number of an open descriptor
  double processorSeconds = 0.0;  ///< of all threads, so far

  static ProcessFigures Read();
};

}  // namespace vorn::bench
