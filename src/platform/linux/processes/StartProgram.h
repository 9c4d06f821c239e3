#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "foundation/FileDescriptor.h"

namespace vorn {

/// How a program is started. Whatever is said here, the child leads a session
/// of its own, so that neither our end nor that of a terminal reaches it. It
/// has no blocked or ignored signal, /dev/null to read from, and no descriptor
/// of ours but the standard ones.
struct ProgramStart {
  /// Where an output of the child goes, unless it goes to a descriptor of ours,
  /// which must lie beyond the standard ones.
  enum Output : int {
    kNowhere = -1,  ///< to /dev/null
    kToOurs = -2,   ///< to where ours goes
  };

  std::vector<std::string> words;        ///< the program and its arguments; no shell reads them
  std::vector<std::string> environment;  ///< the whole of it, as NAME=value
  bool onSearchPath = false;             ///< a program without "/" is looked up in PATH
  int output = kNowhere;                 ///< standard output
  int error = kNowhere;                  ///< standard error
  std::filesystem::path folder;          ///< where the child works; empty: where we do
};

/// Starts the program. 0, and its process in `child`; else the number of the
/// error. Blocks until the child has replaced itself by the program, which
/// takes some milliseconds. Reads the environment (PATH) where it is to look
/// the program up. Any thread.
[[nodiscard]] int StartProgram(const ProgramStart& start, pid_t& child);

/// A descriptor of the process, readable once that has ended. None where the
/// kernel has no such descriptors. Any thread.
[[nodiscard]] FileDescriptor OpenProcess(pid_t process);

/// Our environment, with the variables of `changes` set to the value that
/// stands there, or left out where there is none. While no other thread changes
/// the environment.
[[nodiscard]] std::vector<std::string> ChangedEnvironment(
    const std::map<std::string, std::optional<std::string>>& changes);

}  // namespace vorn
