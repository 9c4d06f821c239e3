#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace vorn::devicelisttool {

/// The request on the command line.
struct Options {
  enum class Action { kList, kInterfaces, kHelp, kVersion };

  Action action = Action::kList;
  bool watch = false;        ///< continue until interrupted
  bool json = false;         ///< one JSON object on each line instead of a table
  bool showSwitches = true;  ///< list switches too
  bool offline = false;      ///< do not ask the update server
  /// How long to look before printing; with `watch`, before saying that nothing was found.
  std::chrono::milliseconds wait{5000};
};

struct ParsedOptions {
  Options options;
  std::optional<std::string> error;  ///< the error in the command line, in words
};

/// Reads the arguments after the program's name, like getopt_long: unique abbreviations count, and "--" ends
/// the options. One thread at a time.
[[nodiscard]] ParsedOptions ParseOptions(const std::vector<std::string>& arguments);

/// The text of --help.
[[nodiscard]] std::string HelpText();

}  // namespace vorn::devicelisttool
