#pragma once

namespace vorn {

/// Reports the current exception on the console. Allocates no memory.
void TellFailedJob() noexcept;

/// Calls the job. The console reports its exceptions, and they go no further, because no exception may pass
/// through a thread's first function or an event loop.
template <typename Job>
void RunGuarded(const Job& job) noexcept {
  try {
    job();
  } catch (...) {
    TellFailedJob();
  }
}

}  // namespace vorn
