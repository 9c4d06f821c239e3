#pragma once

namespace vorn::testing {

/// Missing memory on request: while this lives, the `nth` allocation from now (1: the next) that its thread
/// makes with operator new throws std::bad_alloc, once. For test programs with FailingAllocation.cpp among
/// their sources, which replaces the allocator of the whole program. One at a time on each thread.
class FailingAllocation {
 public:
  explicit FailingAllocation(int nth) noexcept;
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  [[nodiscard]] bool HasFailed() const noexcept;
};

/// How often the calling thread has asked operator new for memory so far, in such a program. This counts
/// work, and a busy machine does not change it.
[[nodiscard]] long AllocationsMade() noexcept;

}  // namespace vorn::testing
