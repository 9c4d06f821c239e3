#pragma once

namespace vorn {

/// Logs the exception that is being handled as the error of a job. Needs no
/// memory of its own.
void LogFailedJob() noexcept;

/// Calls the job; what it throws is logged as an error and goes no further, as
/// no exception may pass through a thread's first function or an event loop.
template <typename Job>
void RunGuarded(const Job& job) noexcept {
  try {
    job();
  } catch (...) {
    LogFailedJob();
  }
}

}  // namespace vorn
