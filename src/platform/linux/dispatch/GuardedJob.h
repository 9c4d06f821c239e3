#pragma once

namespace vorn {

/// Tells the console of the exception that is being handled. Needs no memory of
/// its own.
void TellFailedJob() noexcept;

/// Calls the job; what it throws is told to the console and goes no further, as
/// no exception may pass through a thread's first function or an event loop.
template <typename Job>
void RunGuarded(const Job& job) noexcept {
  try {
    job();
  } catch (...) {
    TellFailedJob();
  }
}

}  // namespace vorn
