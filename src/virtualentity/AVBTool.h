#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "foundation/Optional.h"
#include "platform/ChildProcess.h"

namespace vorn {

/// Where the system's AVB command-line tool is, and how long it may take.
struct AVBTool {
  std::string shell = "/bin/sh";                   ///< runs the listing's pipeline
  std::string path = "/usr/bin/avbutil";           ///< what a toggle runs; a listing goes by the PATH
  std::map<std::string, std::string> environment;  ///< set for every run, on top of our own
  std::chrono::milliseconds patience{1000};        ///< what a listing is given, and always takes
};

/// How the tool is asked on which interfaces the virtual entity is enabled: its
/// listing, without everything up to the heading line.
[[nodiscard]] ChildProcessRequest ActiveInterfacesRequest(const AVBTool& tool);

/// The interface names in the tool's answer, in its order, trimmed; a blank
/// line in between counts as an empty name. Empty optional when the answer is
/// not usable: late, complaining on standard error, too long, or no UTF-8 text.
optional<std::vector<std::string>> ReadActiveInterfaces(const ChildOutput& answer);

/// How the tool is told to enable or to disable the virtual entity on an interface.
[[nodiscard]] ChildProcessRequest ToggleRequest(const AVBTool& tool, const std::string& interfaceName,
                                                bool enable);

}  // namespace vorn
