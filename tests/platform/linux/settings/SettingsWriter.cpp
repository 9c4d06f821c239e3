// Another process with the same settings file.
//
// settings-writer PATH PREFIX COUNT stores the arrays PREFIX0, PREFIX1, ... one by one and prints each number
// when its entry is saved.
//
// settings-writer PATH takes the lock of the file and stops itself, like a process that is stopped while it
// saves. It exits when it is continued.

#include <fcntl.h>
#include <sys/file.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "foundation/FileDescriptor.h"
#include "platform/linux/settings/IniUserDefaults.h"

namespace {

int StopWithLock(const std::string& path) {
  const vorn::FileDescriptor lock(::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!lock || ::flock(lock.Get(), LOCK_EX) != 0) return 1;
  return std::raise(SIGSTOP) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2) return StopWithLock(argv[1]);
  if (argc != 4) return 2;
  vorn::IniUserDefaults defaults(argv[1]);
  const std::string prefix = argv[2];
  const int count = std::atoi(argv[3]);
  for (int i = 0; i < count; ++i) {
    // Without a run loop each change is saved at once.
    defaults.SetStringArray(prefix + std::to_string(i), {"1.0.0+" + std::to_string(i), "1.1.0+2"});
    while (!defaults.Synchronize()) {
    }
    std::printf("%d\n", i);
    std::fflush(stdout);
  }
  return 0;
}
