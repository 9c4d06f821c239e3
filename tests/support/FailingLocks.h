#pragma once

namespace vorn::testing {

/// A file system without locks: while this lives, flock fails with `error`. For test programs with
/// FailingLocks.cpp among their sources, which replaces flock in the whole program. One at a time.
class FailingLocks {
 public:
  explicit FailingLocks(int error) noexcept;
  ~FailingLocks();
  FailingLocks(const FailingLocks&) = delete;
  FailingLocks& operator=(const FailingLocks&) = delete;
};

}  // namespace vorn::testing
