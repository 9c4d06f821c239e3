#include "foundation/ProcessSetup.h"

#include <sys/resource.h>
#include <unistd.h>

#include <system_error>

namespace vorn {

void RaiseDescriptorLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

void EndProcessAfter(std::chrono::milliseconds limit, int exitCode) {
  try {
    std::thread([limit, exitCode] {
      std::this_thread::sleep_for(limit);
      ::_exit(exitCode);
    }).detach();
  } catch (const std::system_error&) {
    // Without a thread to spare, the teardown takes the time that it takes.
  }
}

}  // namespace vorn
