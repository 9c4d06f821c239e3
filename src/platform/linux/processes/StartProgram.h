#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "foundation/FileDescriptor.h"

namespace vorn {

/// How a program is started. In every case the child leads a separate session, so it goes on when we or our
/// terminal end. It has no blocked or ignored signals, it reads from /dev/null, and it gets none of our
/// descriptors except the standard ones.
struct ProgramStart {
  /// Where an output of the child goes: one of these, or the number of a descriptor of ours above the
  /// standard ones.
  enum Output : int {
    kNowhere = -1,  ///< to /dev/null
    kToOurs = -2,   ///< to where ours goes
  };

  std::vector<std::string> words;        ///< the program and its arguments, without a shell
  std::vector<std::string> environment;  ///< the whole of it, as NAME=value
  bool onSearchPath = false;             ///< a program without "/" is looked up in PATH
  int output = kNowhere;                 ///< standard output
  int error = kNowhere;                  ///< standard error
  std::filesystem::path folder;          ///< where the child works; empty: where we do
};

/// Starts the program. Returns 0 and puts its process into `child`; otherwise returns the number of the
/// error. Blocks for some milliseconds, until the child has become the program. Reads PATH if `onSearchPath`.
/// Any thread.
[[nodiscard]] int StartProgram(const ProgramStart& start, pid_t& child);

/// A descriptor of the process that becomes readable when the process ends. None if the kernel has no such
/// descriptors. Any thread.
[[nodiscard]] FileDescriptor OpenProcess(pid_t process);

/// Our environment with these changes: each variable gets the new value, or is left out if there is no value.
/// Call it only while no other thread changes the environment.
[[nodiscard]] std::vector<std::string> ChangedEnvironment(
    const std::map<std::string, std::optional<std::string>>& changes);

}  // namespace vorn
