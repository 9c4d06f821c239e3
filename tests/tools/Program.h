#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "foundation/FileDescriptor.h"

namespace vorn::testing {

/// One run of a program with pipes for its outputs. Its end kills the program. Belongs to one thread.
class Program {
 public:
  struct Setup {
    std::vector<std::string> environment;  ///< "NAME=value", added to our own
    int output = -1;                       ///< instead of a pipe for standard output
    std::function<void()> beforeExec;      ///< in the child; async-signal-safe calls only
  };

  Program(const std::string& path, const std::vector<std::string>& arguments, const Setup& setup);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void Signal(int signal) const;

  /// Stops reading standard output for good.
  void CloseOutput() { fOutput.Reset(); }

  /// Waits for the text on standard error; false if it did not come.
  [[nodiscard]] bool WaitForErrorText(const std::string& text);

  /// Waits until the program is stuck in a write to standard output, or in a wait for it; false if that does
  /// not happen.
  [[nodiscard]] bool WaitUntilItsOutputIsStuck();

  /// Waits for the end and returns the exit status, or 1000 plus the number of the signal that ended it, or
  /// -1 if it did not end within a generous deadline.
  int Wait();

  /// All of it, after the end.
  [[nodiscard]] std::string Output();
  [[nodiscard]] std::string ErrorOutput();

 private:
  FileDescriptor fOutput;
  FileDescriptor fError;
  std::string fOutputText;
  std::string fErrorText;
  pid_t fProcess = -1;
};

}  // namespace vorn::testing
