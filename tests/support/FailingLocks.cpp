#include "tests/support/FailingLocks.h"

#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<int> gError{0};

}  // namespace

extern "C" int flock(int descriptor, int operation) noexcept {
  if (gError == 0) return static_cast<int>(::syscall(SYS_flock, descriptor, operation));
  errno = gError;
  return -1;
}

namespace vorn::testing {

FailingLocks::FailingLocks(int error) noexcept {
  gError = error;
}

FailingLocks::~FailingLocks() {
  gError = 0;
}

}  // namespace vorn::testing
