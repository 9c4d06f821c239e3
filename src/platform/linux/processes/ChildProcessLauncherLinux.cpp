#include "platform/linux/processes/ChildProcessLauncherLinux.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <system_error>
#include <utility>

#include "foundation/FileDescriptor.h"
#include "platform/linux/files/WholeFile.h"
#include "platform/linux/processes/StartProgram.h"

namespace vorn {
namespace {

struct Pipe {
  FileDescriptor ours;
  FileDescriptor childs;

  explicit operator bool() const { return ours && childs; }
};

// Above the standard numbers, which the child's own streams take.
FileDescriptor MovedUp(int descriptor) {
  if (descriptor > STDERR_FILENO) return FileDescriptor(descriptor);
  const FileDescriptor low(descriptor);
  return FileDescriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

Pipe OpenPipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return {};
  Pipe pipe{MovedUp(ends[0]), MovedUp(ends[1])};
  if (pipe) ::fcntl(pipe.ours.Get(), F_SETFL, O_NONBLOCK);
  return pipe;
}

// None if no descriptor is left.
std::optional<Wakeup> MakeWakeup() {
  try {
    return Wakeup();
  } catch (const std::system_error&) {
    return {};
  }
}

ProgramStart StartOf(const ChildProcessRequest& request) {
  ProgramStart start;
  start.words = {request.program};
  start.words.insert(start.words.end(), request.arguments.begin(), request.arguments.end());
  start.environment = ChangedEnvironment({request.environment.begin(), request.environment.end()});
  return start;
}

}  // namespace

bool ChildProcessLauncherLinux::IsExecutableFile(const std::string& path) {
  return vorn::IsExecutableFile(path);
}

std::unique_ptr<ChildProcess> ChildProcessLauncherLinux::Launch(const ChildProcessRequest& request) {
  fReaper.Sweep();
  ProgramStart start = StartOf(request);
  Pipe output;
  Pipe error;
  if (request.streams == ChildProcessRequest::Streams::kCollect) {
    output = OpenPipe();
    error = OpenPipe();
    if (!output || !error) return nullptr;
    start.output = output.childs.Get();
    start.error = error.childs.Get();
  } else {
    start.error = ProgramStart::kToOurs;
  }
  auto wakeup = MakeWakeup();
  pid_t child = -1;
  if (!wakeup || StartProgram(start, child) != 0) return nullptr;
  return std::make_unique<ChildProcessLinux>(child, std::move(output.ours), std::move(error.ours),
                                             std::move(*wakeup), fReaper);
}

}  // namespace vorn
