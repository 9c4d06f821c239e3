#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vorn {

/// What to run. No shell is involved unless it is the program itself.
struct ChildProcessRequest {
  enum class Streams {
    kCollect,  ///< standard output and standard error are collected, each apart
    kDiscard,  ///< standard output goes nowhere, so the child needs no reader; standard error stays ours
  };

  std::string program;                             ///< a path, not looked up anywhere
  std::vector<std::string> arguments;              ///< without the program's own name
  std::map<std::string, std::string> environment;  ///< set in the child on top of our own
  Streams streams = Streams::kCollect;
};

/// What a child wrote until it was no longer listened to.
struct ChildOutput {
  std::string output;     ///< standard output, at most ChildProcess::kMaximumOutput bytes
  std::string error;      ///< standard error, bounded likewise
  bool timedOut = false;  ///< the child was still running at the deadline
  bool cut = false;       ///< there was more than the bound: what is here is not the whole answer
};

/// A child that was launched, in a session and process group of its own, with
/// its standard input empty and no descriptor of ours but the standard ones.
///
/// One thread collects or waits; any other may call Terminate or Release.
/// Destruction ends a child that still runs and was not released, with its whole
/// group, and leaves no zombie; it blocks for about 100 ms where the child does
/// not end by itself.
class ChildProcess {
 public:
  static constexpr std::size_t kMaximumOutput = std::size_t{1024} * 1024;

  ChildProcess() = default;
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  virtual ~ChildProcess() = default;

  /// Blocks until the child has ended and its streams have come to their ends,
  /// at the latest until the deadline. What is left then is terminated: the
  /// child, or, where it is gone already, those it left behind holding a
  /// stream. A child that writes beyond the bound is terminated at once.
  virtual ChildOutput CollectUntil(std::chrono::steady_clock::time_point deadline) = 0;

  /// Makes the collection in progress, or the next one, end the child's group
  /// and return. Does not block.
  virtual void Terminate() = 0;

  /// Blocks until the child has ended, however long that takes, or until
  /// Release. Reads nothing. Whom the child left behind is not touched.
  virtual void AwaitEnd() = 0;

  /// Leaves the child to finish by itself: the wait in progress, or the next
  /// one, returns. Does not block. While this program lives, a released child
  /// is reaped at the first launch after its end.
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

  /// Starts the program and returns at once; null when it could not be started.
  [[nodiscard]] virtual std::unique_ptr<ChildProcess> Launch(const ChildProcessRequest& request) = 0;
};

}  // namespace vorn
