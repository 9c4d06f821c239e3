#pragma once

namespace vorn::testing {

/// Memory that runs out at will: while this lives, the `nth` allocation from
/// now (1: the next) that its thread makes by operator new throws
/// std::bad_alloc, once. For test programs that have FailingAllocation.cpp
/// among their sources, which replaces the allocator of the whole program. One
/// at a time on each thread.
class FailingAllocation {
 public:
  explicit FailingAllocation(int nth) noexcept;
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  [[nodiscard]] bool HasFailed() const noexcept;
};

/// How often the calling thread has asked operator new for memory so far, in
/// such a program: a count of work that no machine's load changes.
[[nodiscard]] long AllocationsMade() noexcept;

}  // namespace vorn::testing
