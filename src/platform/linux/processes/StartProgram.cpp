#include "platform/linux/processes/StartProgram.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vorn {
namespace {

// The null pointer after the last one is the kernel's mark for the end.
std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// What the child does before it becomes the program.
class SetUp {
 public:
  explicit SetUp(const ProgramStart& start) {
    ::posix_spawnattr_init(&fAttributes);
    ::posix_spawn_file_actions_init(&fActions);
    SetSignals();
    Open(STDIN_FILENO, O_RDONLY);
    Connect(STDOUT_FILENO, start.output);
    Connect(STDERR_FILENO, start.error);
    Note(::posix_spawn_file_actions_addclosefrom_np(&fActions, STDERR_FILENO + 1));
    if (!start.folder.empty()) {
      Note(::posix_spawn_file_actions_addchdir_np(&fActions, start.folder.c_str()));
    }
  }
  SetUp(const SetUp&) = delete;
  SetUp& operator=(const SetUp&) = delete;
  ~SetUp() {
    ::posix_spawn_file_actions_destroy(&fActions);
    ::posix_spawnattr_destroy(&fAttributes);
  }

  /// The error of the first step that failed; 0: none.
  [[nodiscard]] int Error() const { return fError; }

  [[nodiscard]] int Spawn(const ProgramStart& start, pid_t& child) const {
    std::vector<std::string> words = start.words;
    std::vector<std::string> variables = start.environment;
    const auto spawn = start.onSearchPath ? ::posix_spawnp : ::posix_spawn;
    return spawn(&child, words.front().c_str(), &fActions, &fAttributes, Pointers(words).data(),
                 Pointers(variables).data());
  }

 private:
  void SetSignals() {
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    ::posix_spawnattr_setsigmask(&fAttributes, &none);
    ::posix_spawnattr_setsigdefault(&fAttributes, &all);
    ::posix_spawnattr_setflags(&fAttributes,
                               POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }

  void Open(int number, int direction) {
    Note(::posix_spawn_file_actions_addopen(&fActions, number, "/dev/null", direction, 0));
  }

  void Connect(int number, int output) {
    if (output == ProgramStart::kToOurs) return;
    if (output == ProgramStart::kNowhere) {
      Open(number, O_WRONLY);
    } else {
      Note(::posix_spawn_file_actions_adddup2(&fActions, output, number));
    }
  }

  void Note(int error) {
    if (fError == 0) fError = error;
  }

  posix_spawn_file_actions_t fActions{};
  posix_spawnattr_t fAttributes{};
  int fError = 0;
};

}  // namespace

int StartProgram(const ProgramStart& start, pid_t& child) {
  const SetUp setUp(start);
  return setUp.Error() != 0 ? setUp.Error() : setUp.Spawn(start, child);
}

FileDescriptor OpenProcess(pid_t process) {
  return FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
}

std::vector<std::string> ChangedEnvironment(
    const std::map<std::string, std::optional<std::string>>& changes) {
  std::vector<std::string> variables;
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (!changes.contains(text.substr(0, text.find('=')))) variables.push_back(text);
  }
  for (const auto& [name, value] : changes) {
    if (value) variables.push_back(name + "=" + *value);
  }
  return variables;
}

}  // namespace vorn
