#pragma once

#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <system_error>

/// How many descriptors this process has open, without the one for looking.
inline std::ptrdiff_t CountOpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

namespace vorn::testing {

/// How many descriptors of this process are open on that file.
inline std::ptrdiff_t CountDescriptorsOf(const std::filesystem::path& file) {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return std::count_if(begin(descriptors), end(descriptors), [&](const auto& descriptor) {
    std::error_code closed;
    return std::filesystem::equivalent(descriptor.path(), file, closed);
  });
}

/// While it lives, this process can open no further descriptor. Those that are open stay.
class NoDescriptorsLeft {
 public:
  NoDescriptorsLeft() {
    // The sanitizer needs descriptors when it sees such an object for the first time.
    static_cast<void>(std::system_error(EMFILE, std::generic_category()));
    ::getrlimit(RLIMIT_NOFILE, &fBefore);
    const rlimit none{0, fBefore.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptorsLeft() { ::setrlimit(RLIMIT_NOFILE, &fBefore); }
  NoDescriptorsLeft(const NoDescriptorsLeft&) = delete;
  NoDescriptorsLeft& operator=(const NoDescriptorsLeft&) = delete;

 private:
  rlimit fBefore{};
};

}  // namespace vorn::testing
