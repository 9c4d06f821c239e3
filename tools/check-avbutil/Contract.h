#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/ChildProcess.h"
#include "virtualentity/AVBTool.h"

namespace vorn::checkavbutil {

/// Checks whether an AVB tool keeps the contract that docs/packaging.md gives. It runs the tool with the
/// application's own commands and reads its answers with the application's own parser.
///
/// One thread. Each call blocks while the tool runs, a listing no longer than the tool's patience.
class Contract {
 public:
  /// Takes one line for each thing that was checked.
  using Report = std::function<void(bool isKept, const std::string& line)>;

  /// The tool's environment must have a PATH whose first avbutil is the tool.
  Contract(ChildProcessLauncher& launcher, AVBTool tool, Report report);

  /// Runs the tool's listing. True if the application could use it. Changes nothing.
  bool CheckListing();

  /// Switches the entity on the interface over and back, and looks at the listing after each.
  bool CheckToggle(const std::string& interfaceName);

 private:
  using Names = std::vector<std::string>;

  bool Say(bool isKept, const std::string& line);
  bool CheckAnswer(const ChildOutput& answer);
  bool CheckNames(const Names& names);
  bool Switch(const std::string& interfaceName, bool enable);
  std::optional<Names> List();
  ChildOutput Run(const ChildProcessRequest& request);

  ChildProcessLauncher& fLauncher;
  const AVBTool fTool;
  const Report fReport;
};

}  // namespace vorn::checkavbutil
