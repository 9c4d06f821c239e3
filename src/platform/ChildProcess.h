#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "foundation/Clock.h"

namespace vorn {

/// The command to run. It runs without a shell, unless the program itself is one.
struct ChildProcessRequest {
  enum class Streams {
    kCollect,  ///< standard output and standard error are collected separately
    kDiscard,  ///< standard output is discarded, so the child needs no reader; standard error is ours
  };

  std::string program;                             ///< a path; no search path is used
  std::vector<std::string> arguments;              ///< without the program's own name
  std::map<std::string, std::string> environment;  ///< set in the child, added to our own
  Streams streams = Streams::kCollect;
};

/// What a child wrote while somebody read it.
struct ChildOutput {
  std::string output;     ///< standard output, at most ChildProcess::kMaximumOutput bytes
  std::string error;      ///< standard error, with the same bound
  bool timedOut = false;  ///< the child was still running at the deadline
  bool cut = false;       ///< there was more than the bound: this is not the whole answer
};

/// A launched child. It has a separate session and process group, an empty standard input, and no descriptor
/// of ours except the standard ones.
///
/// One thread collects or waits; any other thread may call Terminate or Release. The destructor ends a child
/// that still runs and was not released, with its whole group, and leaves no zombie. It blocks for about 100
/// ms if the child does not end by itself.
class ChildProcess {
 public:
  static constexpr std::size_t kMaximumOutput = std::size_t{1024} * 1024;

  ChildProcess() = default;
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  virtual ~ChildProcess() = default;

  /// Blocks until the child and its streams have ended, but at most until the deadline. Then it terminates
  /// what is left: the child, or, if the child has gone, its own children that hold a stream. A child that
  /// writes beyond the bound is terminated at once.
  virtual ChildOutput CollectUntil(Clock::time_point deadline) = 0;

  /// Makes the current or the next collection end the child's group and return. Does not block.
  virtual void Terminate() = 0;

  /// Blocks until the child has ended, however long that takes, or until Release. Reads nothing. Does not
  /// touch the child's own children.
  virtual void AwaitEnd() = 0;

  /// Lets the child finish by itself: the current or the next wait returns. Does not block. While this
  /// program lives, a released child is reaped at the first launch after its end.
  virtual void Release() = 0;
};

/// Starts children. Any thread.
class ChildProcessLauncher {
 public:
  ChildProcessLauncher() = default;
  ChildProcessLauncher(const ChildProcessLauncher&) = delete;
  ChildProcessLauncher& operator=(const ChildProcessLauncher&) = delete;
  virtual ~ChildProcessLauncher() = default;

  /// Whether the path is a file that this user may execute.
  [[nodiscard]] virtual bool IsExecutableFile(const std::string& path) = 0;

  /// Starts the program and returns at once; null if it could not be started.
  [[nodiscard]] virtual std::unique_ptr<ChildProcess> Launch(const ChildProcessRequest& request) = 0;
};

}  // namespace vorn
