#pragma once

#include <cstddef>

namespace vorn::bench {

/// The kernel's figures of this process.
struct ProcessFigures {
  std::size_t threads = 0;
  std::size_t residentKiB = 0;
  std::size_t descriptors = 0;    ///< how many are open
  std::size_t sockets = 0;        ///< how many of them are sockets
  double processorSeconds = 0.0;  ///< of all threads, so far

  static ProcessFigures Read();
};

}  // namespace vorn::bench
