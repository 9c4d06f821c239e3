#include "app/ProcessSetup.h"

#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "devicelist/CurlTransfer.h"
#include "foundation/Log.h"

namespace vorn::app {
namespace {

// A little before the second is over, for the system's own part of the exit.
constexpr suseconds_t kLeaveMicroseconds = 900'000;

volatile std::sig_atomic_t gLeaveStatus = 0;

void HandleSignal(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  ::sigaction(signal, &action, nullptr);
}

void RaiseDescriptorLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

void PrepareProcess() {
  RaiseDescriptorLimit();
  // A handler, where ignoring would do for us, since programs that we start
  // inherit what is ignored.
  HandleSignal(SIGPIPE, [](int) {});
  ::setenv("AVAHI_COMPAT_NOWARN", "1", 1);
  Log::details::gFile = stderr;
  Log::details::s_use_color = ::isatty(STDERR_FILENO) == 1;
  DeviceList::InitHTTP();
}

void LeaveWithinASecond(int status) {
  gLeaveStatus = status;
  HandleSignal(SIGALRM, [](int) { ::_exit(gLeaveStatus); });
  itimerval timer{};
  timer.it_value.tv_usec = kLeaveMicroseconds;
  ::setitimer(ITIMER_REAL, &timer, nullptr);
}

}  // namespace vorn::app
