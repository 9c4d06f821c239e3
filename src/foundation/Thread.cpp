#include "foundation/Thread.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <system_error>
#include <utility>

namespace vorn {
namespace {

// What the kernel has room for, with a zero at its end.
using Name = std::array<char, 16>;

Name ShownName(const char* name) {
  Name shown{};
  std::strncpy(shown.data(), name, shown.size() - 1);
  return shown;
}

// A new thread has the blocked signals of the thread that starts it.
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

}  // namespace

std::thread StartThread(const char* name, std::function<void()> body) {
  const AllSignalsBlocked blocked;
  try {
    return std::thread([shown = ShownName(name), run = std::move(body)] {
      ::pthread_setname_np(::pthread_self(), shown.data());
      run();
    });
  } catch (const std::system_error& error) {
    throw std::system_error(error.code(), "thread constructor failed");
  }
}

void StoppableThread::Start(const char* name, std::function<void()> body) {
  fThread = StartThread(name, std::move(body));
}

void StoppableThread::RequestStop() noexcept {
  fMustStop = true;
  fStop.Set();
}

void StoppableThread::Stop() {
  RequestStop();
  if (fThread.joinable()) fThread.join();
}

bool StoppableThread::Pause(std::chrono::milliseconds time) const noexcept {
  using Rep = std::chrono::milliseconds::rep;
  const auto limit = std::clamp<Rep>(time.count(), 0, std::numeric_limits<int>::max());
  pollfd stop{StopDescriptor(), POLLIN, 0};
  ::poll(&stop, 1, static_cast<int>(limit));
  return !MustStop();
}

void StoppableThread::AwaitStop() const noexcept {
  pollfd stop{StopDescriptor(), POLLIN, 0};
  while (!MustStop()) ::poll(&stop, 1, -1);
}

}  // namespace vorn
