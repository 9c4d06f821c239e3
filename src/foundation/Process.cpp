#include "foundation/Process.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <exception>
#include <thread>

#include "foundation/Thread.h"

namespace vorn {

void OccupyClosedStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(descriptor, F_GETFD) >= 0) continue;
    // open() gives the lowest free number, which is the missing one. It gets the wrong direction, because it
    // must stay as unusable as before.
    if (::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) != descriptor) return;
  }
}

void RaiseDescriptorLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

void KeepHeapSmall() {
  constexpr int kKept =
      128 * 1024;  // the C library's own default, but it would raise it after a large answer
  ::mallopt(M_ARENA_MAX, 1);
  ::mallopt(M_TRIM_THRESHOLD, kKept);
  ::mallopt(M_MMAP_THRESHOLD, kKept);
}

void EndProcessAfter(std::chrono::milliseconds limit, int exitCode) noexcept {
  try {
    StartThread("end guard", [limit, exitCode] {
      std::this_thread::sleep_for(limit);
      ::_exit(exitCode);
    }).detach();
  } catch (const std::exception&) {  // neither a thread nor the memory for one
  }
}

}  // namespace vorn
