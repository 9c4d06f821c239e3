#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vorn {

/// What to run. No shell is involved unless it is the program itself.
struct ChildProcessRequest {
  enum class ErrorStream {
    kPipe,     ///< standard error is collected apart from standard output
    kInherit,  ///< standard error stays ours
  };

  std::string program;                             ///< a path, not looked up anywhere
  std::vector<std::string> arguments;              ///< without the program's own name
  std::map<std::string, std::string> environment;  ///< set in the child on top of our own
  ErrorStream errorStream = ErrorStream::kPipe;
};

/// What a child wrote until it was no longer listened to.
struct ChildOutput {
  std::string output;     ///< standard output, at most ChildProcess::kMaximumOutput bytes
  std::string error;      ///< standard error, bounded likewise; empty when inherited
  bool timedOut = false;  ///< the child was still running at the deadline
  bool cut = false;       ///< there was more than the bound: what is here is not the whole answer
};

/// A child that was launched, in a process group of its own, with its standard
/// input empty, standard output on a pipe, and no other descriptor of ours.
///
/// One thread collects; Terminate alone may be called by any other.
/// Destruction ends a child that still runs, with its whole group, and leaves
/// no zombie; it blocks for about 100 ms where the child does not end by itself.
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

  /// Blocks until the child has ended and its streams have come to their ends,
  /// however long that takes, or until Terminate. Output beyond the bound is
  /// read and dropped. Whom the child left behind is not touched.
  virtual ChildOutput CollectToEnd() = 0;

  /// Makes the collection in progress, or the next one, end the child's group
  /// and return. Does not block.
  virtual void Terminate() = 0;
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
