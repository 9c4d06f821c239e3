#include "foundation/StandardOutput.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "foundation/Console.h"

namespace vorn {
namespace {

void WaitUntilWritable() {
  pollfd output{STDOUT_FILENO, POLLOUT, 0};
  ::poll(&output, 1, -1);
}

}  // namespace

void OccupyClosedStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(descriptor, F_GETFD) >= 0) continue;
    // The lowest free number, and so this one. The wrong way round: it is to
    // stay as unusable as it was.
    if (::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) != descriptor) return;
  }
}

OutputResult WriteToStandardOutput(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      WaitUntilWritable();
    } else if (errno == EPIPE) {
      return OutputResult::kNobodyReads;
    } else if (errno != EINTR) {
      WriteToConsole(std::string("cannot write to standard output: ") + std::strerror(errno));
      return OutputResult::kFailed;
    }
  }
  return OutputResult::kWritten;
}

}  // namespace vorn
