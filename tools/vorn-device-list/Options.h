#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace vorn::devicelisttool {

/// The form of the output.
enum class Form {
  kTable,        ///< for people
  kJson,         ///< one JSON object on each line
  kCSV,          ///< comma-separated values with a header line (RFC 4180)
  kOpenMetrics,  ///< gauges for Prometheus
};

/// The request on the command line.
struct Options {
  enum class Action { kList, kInterfaces, kHelp, kVersion };

  Action action = Action::kList;
  bool watch = false;        ///< continue until interrupted
  bool showSwitches = true;  ///< list switches too
  bool offline = false;      ///< do not ask the update server
  /// How long to look before printing; with `watch`, before saying that nothing was found.
  std::chrono::milliseconds wait{5000};
  Form form = Form::kTable;
  std::string output;  ///< the file that gets the output; empty: standard output
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
