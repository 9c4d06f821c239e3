#pragma once

#include <sys/resource.h>

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
