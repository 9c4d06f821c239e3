#pragma once

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace vorn::testing {

/// While it lives, new threads ask for more stack than any machine has, so starting one fails.
class NoThreadsLeft {
 public:
  NoThreadsLeft() {
    pthread_getattr_default_np(&fBefore);
    pthread_attr_t huge;
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, std::size_t{1} << 48);
    pthread_setattr_default_np(&huge);
    pthread_attr_destroy(&huge);
  }
  ~NoThreadsLeft() {
    pthread_setattr_default_np(&fBefore);
    pthread_attr_destroy(&fBefore);
  }
  NoThreadsLeft(const NoThreadsLeft&) = delete;
  NoThreadsLeft& operator=(const NoThreadsLeft&) = delete;

 private:
  pthread_attr_t fBefore{};
};

/// The signals that the calling thread blocks, real-time signals aside.
[[nodiscard]] inline std::vector<int> BlockedSignals() {
  sigset_t mask;
  ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  std::vector<int> blocked;
  for (int signal = 1; signal < SIGRTMIN; ++signal) {
    if (::sigismember(&mask, signal) == 1) blocked.push_back(signal);
  }
  return blocked;
}

/// The calling thread, as the kernel numbers it.
[[nodiscard]] inline pid_t OwnThread() {
  return ::gettid();
}

/// How many threads this process has.
[[nodiscard]] inline std::size_t CountThreads() {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

/// Whether that thread of this process waits for something: a descriptor, a
/// lock, another thread.
[[nodiscard]] inline bool IsWaiting(pid_t thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string line;
  if (!std::getline(file, line)) return false;
  const auto state = line.rfind(") ");
  return state != std::string::npos && line[state + 2] == 'S';
}

}  // namespace vorn::testing
