#pragma once

#include <sys/types.h>
#include <sys/wait.h>

#include <cerrno>
#include <fstream>
#include <string>

/// Whether the process runs; one that only waits to be reaped does not.
inline bool IsAlive(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string line;
  if (!std::getline(file, line)) return false;
  const auto state = line.rfind(") ");
  return state != std::string::npos && line[state + 2] != 'Z' && line[state + 2] != 'X';
}

/// Whether this process has a child, running or waiting to be reaped.
inline bool HasAnyChild() {
  return ::waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

/// Whether this process has a child that is stopped.
inline bool HasAStoppedChild() {
  siginfo_t info{};
  return ::waitid(P_ALL, 0, &info, WSTOPPED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
}
