#include "platform/linux/processes/ChildProcessLauncherLinux.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include "foundation/FileDescriptor.h"
#include "platform/linux/processes/ChildProcessLinux.h"

namespace vorn {
namespace {

struct Pipe {
  FileDescriptor ours;
  FileDescriptor childs;

  explicit operator bool() const { return ours && childs; }
};

// Beyond the standard numbers, which the child's own streams take.
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

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> Environment(const std::map<std::string, std::string>& changes) {
  std::vector<std::string> variables;
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (!changes.contains(text.substr(0, text.find('=')))) variables.push_back(text);
  }
  for (const auto& [name, value] : changes) variables.push_back(name + "=" + value);
  return variables;
}

// What the child does between being made and becoming the program.
class SpawnPlan {
 public:
  SpawnPlan() {
    ::posix_spawn_file_actions_init(&fActions);
    ::posix_spawnattr_init(&fAttributes);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    ::posix_spawnattr_setsigmask(&fAttributes, &none);
    ::posix_spawnattr_setsigdefault(&fAttributes, &all);
    ::posix_spawnattr_setflags(&fAttributes,
                               POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;
  ~SpawnPlan() {
    ::posix_spawn_file_actions_destroy(&fActions);
    ::posix_spawnattr_destroy(&fAttributes);
  }

  /// Standard output goes nowhere, and standard error stays ours, where there is no pipe for it.
  [[nodiscard]] bool SetStreams(const Pipe& output, const Pipe& error) {
    return Open(STDIN_FILENO, O_RDONLY) &&
           (output ? Put(output, STDOUT_FILENO) : Open(STDOUT_FILENO, O_WRONLY)) &&
           (!error || Put(error, STDERR_FILENO)) &&
           ::posix_spawn_file_actions_addclosefrom_np(&fActions, STDERR_FILENO + 1) == 0;
  }

  [[nodiscard]] pid_t Spawn(const ChildProcessRequest& request) const {
    std::vector<std::string> words{request.program};
    words.insert(words.end(), request.arguments.begin(), request.arguments.end());
    std::vector<std::string> variables = Environment(request.environment);
    pid_t child = -1;
    const int result = ::posix_spawn(&child, request.program.c_str(), &fActions, &fAttributes,
                                     Pointers(words).data(), Pointers(variables).data());
    return result == 0 ? child : -1;
  }

 private:
  [[nodiscard]] bool Open(int descriptor, int direction) {
    return ::posix_spawn_file_actions_addopen(&fActions, descriptor, "/dev/null", direction, 0) == 0;
  }
  [[nodiscard]] bool Put(const Pipe& pipe, int descriptor) {
    return ::posix_spawn_file_actions_adddup2(&fActions, pipe.childs.Get(), descriptor) == 0;
  }

  posix_spawn_file_actions_t fActions{};
  posix_spawnattr_t fAttributes{};
};

}  // namespace

bool ChildProcessLauncherLinux::IsExecutableFile(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

std::unique_ptr<ChildProcess> ChildProcessLauncherLinux::Launch(const ChildProcessRequest& request) {
  fReaper.Sweep();
  const bool collected = request.streams == ChildProcessRequest::Streams::kCollect;
  Pipe output = collected ? OpenPipe() : Pipe{};
  Pipe error = collected ? OpenPipe() : Pipe{};
  FileDescriptor wakeup(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if ((collected && (!output || !error)) || !wakeup) return nullptr;

  SpawnPlan plan;
  if (!plan.SetStreams(output, error)) return nullptr;
  const pid_t child = plan.Spawn(request);
  if (child < 0) return nullptr;
  return std::make_unique<ChildProcessLinux>(child, std::move(output.ours), std::move(error.ours),
                                             std::move(wakeup), fReaper);
}

}  // namespace vorn
