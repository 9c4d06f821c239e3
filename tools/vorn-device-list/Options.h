#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "foundation/Optional.h"

namespace vorn::devicelisttool {

/// What the command line asks for.
struct Options {
  enum class Action { kList, kInterfaces, kHelp, kVersion };

  Action action = Action::kList;
  bool watch = false;        ///< go on until interrupted
  bool json = false;         ///< one JSON object a line instead of a table
  bool showSwitches = true;  ///< list switches too
  /// How long to look before printing; with `watch`, before saying that nothing was found.
  std::chrono::milliseconds wait{5000};
};

struct ParsedOptions {
  Options options;
  optional<std::string> error;  ///< what is wrong with the command line, in words
};

/// Reads the arguments after the program's name, as getopt_long does: unique
/// abbreviations count, and "--" ends the options. One thread at a time.
[[nodiscard]] ParsedOptions ParseOptions(const std::vector<std::string>& arguments);

/// The text of --help.
[[nodiscard]] std::string HelpText();

}  // namespace vorn::devicelisttool
