#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "foundation/FileDescriptor.h"

namespace vorn::testing {

/// settings-writer in a separate process.
class Writer {
 public:
  /// It stores so many entries.
  Writer(const std::filesystem::path& path, const std::string& prefix, int count)
      : Writer({path, prefix, std::to_string(count)}) {}

  /// A process that is stopped while it has the lock of the file. The folder must exist.
  static Writer StoppedWithTheLock(const std::filesystem::path& path) {
    Writer writer({path});
    siginfo_t info{};
    ::waitid(P_PID, static_cast<id_t>(writer.fPid), &info, WSTOPPED | WEXITED | WNOWAIT);
    return writer;
  }

  Writer(Writer&& other) noexcept : fPid(std::exchange(other.fPid, -1)), fOutput(std::move(other.fOutput)) {}
  Writer& operator=(Writer&&) = delete;
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() { End(SIGKILL); }

  /// The printed numbers until the output ends or, with `lines`, until there are that many lines.
  std::vector<int> Read(std::size_t lines = SIZE_MAX) {
    std::vector<int> numbers;
    std::string line;
    char c = 0;
    while (numbers.size() < lines && ::read(fOutput.Get(), &c, 1) == 1) {
      if (c != '\n') {
        line += c;
        continue;
      }
      numbers.push_back(std::stoi(line));
      line.clear();
    }
    return numbers;
  }

  /// Sends the signal, unless it is 0, and waits for the end of the process.
  int End(int signal) {
    if (fPid <= 0) return -1;
    if (signal != 0) ::kill(fPid, signal);
    int status = -1;
    ::waitpid(fPid, &status, 0);
    fPid = -1;
    return status;
  }

 private:
  explicit Writer(std::vector<std::string> arguments) {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) return;
    fOutput = FileDescriptor(ends[0]);
    const FileDescriptor input(ends[1]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.Get(), STDOUT_FILENO);
    std::string program = VORN_SETTINGS_WRITER;
    std::vector<char*> argv{program.data()};
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    ::posix_spawn(&fPid, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
  }

  pid_t fPid = -1;
  FileDescriptor fOutput;
};

}  // namespace vorn::testing
