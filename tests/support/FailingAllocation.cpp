#include "tests/support/FailingAllocation.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local long tMade = 0;
thread_local int tUntilFailure = 0;  // the allocation that counts it down to 0 fails

void* Allocate(std::size_t size) {
  ++tMade;
  if (tUntilFailure > 0 && --tUntilFailure == 0) throw std::bad_alloc();
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return Allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace vorn::testing {

FailingAllocation::FailingAllocation(int nth) noexcept {
  tUntilFailure = nth;
}

FailingAllocation::~FailingAllocation() {
  tUntilFailure = 0;
}

long AllocationsMade() noexcept {
  return tMade;
}

bool FailingAllocation::HasFailed() const noexcept {
  return tUntilFailure == 0;
}

}  // namespace vorn::testing
