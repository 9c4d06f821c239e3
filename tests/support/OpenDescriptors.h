#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>

/// How many descriptors this process has open, without the one for looking.
inline std::ptrdiff_t CountOpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}
