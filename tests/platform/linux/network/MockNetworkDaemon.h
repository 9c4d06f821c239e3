#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <string>

#include "foundation/FileDescriptor.h"

/// mock_network_daemon.py, which runs as long as the object lives.
class MockNetworkDaemon {
 public:
  explicit MockNetworkDaemon(std::string scenario) {
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    if (::pipe2(input.data(), O_CLOEXEC) != 0 || ::pipe2(output.data(), O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    std::string python = "/usr/bin/python3";
    std::string script = VORN_TEST_FOLDER "/mock_network_daemon.py";
    std::array<char*, 4> arguments{python.data(), script.data(), scenario.data(), nullptr};
    if (::posix_spawn(&fProcess, python.c_str(), &actions, nullptr, arguments.data(), environ) != 0) {
      fProcess = -1;
    }
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(input[0]);
    ::close(output[1]);
    fInput = vorn::FileDescriptor(input[1]);
    ReadAddress(vorn::FileDescriptor(output[0]));
  }
  MockNetworkDaemon(const MockNetworkDaemon&) = delete;
  MockNetworkDaemon& operator=(const MockNetworkDaemon&) = delete;
  ~MockNetworkDaemon() {
    fInput.Reset();
    if (fProcess > 0) ::waitpid(fProcess, nullptr, 0);
  }

  /// Of the bus; empty when it could not be started.
  [[nodiscard]] const std::string& Address() const { return fAddress; }

 private:
  void ReadAddress(const vorn::FileDescriptor& output) {
    char c = 0;
    while (::read(output.Get(), &c, 1) == 1 && c != '\n') fAddress += c;
  }

  pid_t fProcess = -1;
  vorn::FileDescriptor fInput;
  std::string fAddress;
};
