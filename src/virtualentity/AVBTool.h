#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/ChildProcess.h"

namespace vorn {

/// The place of the system's AVB command-line tool, and how long it may take.
struct AVBTool {
  std::string shell = "/bin/sh";                   ///< runs the listing's pipeline
  std::string path = "/usr/bin/avbutil";           ///< the command of a toggle; a listing uses the PATH
  std::map<std::string, std::string> environment;  ///< set for every run, added to our own environment
  std::chrono::milliseconds patience{1000};        ///< the time for a listing, which it always takes
};

/// The command that asks the tool on which interfaces the virtual entity is enabled: its listing, without
/// everything up to the heading line.
[[nodiscard]] ChildProcessRequest ActiveInterfacesRequest(const AVBTool& tool);

/// The interface names in the tool's answer, in its order, trimmed. A blank line in between counts as an
/// empty name. Empty optional if the answer is not usable: late, with text on standard error, too long, or no
/// UTF-8 text.
std::optional<std::vector<std::string>> ReadActiveInterfaces(const ChildOutput& answer);

/// The command that enables or disables the virtual entity on an interface.
[[nodiscard]] ChildProcessRequest ToggleRequest(const AVBTool& tool, const std::string& interfaceName,
                                                bool enable);

}  // namespace vorn
