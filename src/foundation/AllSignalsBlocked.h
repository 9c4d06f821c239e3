#pragma once

#include <pthread.h>
#include <signal.h>

namespace vorn {

/// While it lives, the calling thread takes no signals, and a thread that it
/// starts begins so too: signals are the business of the program's own
/// threads. To be destroyed on the thread that made it.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() noexcept {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &fBefore);
  }
  ~AllSignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &fBefore, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t fBefore{};
};

}  // namespace vorn
