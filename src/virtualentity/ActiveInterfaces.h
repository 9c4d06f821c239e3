#pragma once

#include <string>
#include <vector>

#include "foundation/Optional.h"
#include "platform/ChildProcess.h"
#include "virtualentity/AVBTool.h"

namespace vorn {

/// How the tool is asked on which interfaces the virtual entity is enabled: its
/// listing, without everything up to the heading line.
[[nodiscard]] ChildProcessRequest ActiveInterfacesRequest(const AVBTool& tool);

/// The interface names in the tool's answer, in its order, trimmed; a blank
/// line in between counts as an empty name. Empty optional when the answer is
/// not usable: late, complaining on standard error, too long, or no UTF-8 text.
optional<std::vector<std::string>> ReadActiveInterfaces(const ChildOutput& answer);

}  // namespace vorn
