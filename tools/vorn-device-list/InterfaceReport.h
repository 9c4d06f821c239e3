#pragma once

#include <optional>
#include <vector>

#include "platform/AVBCapability.h"
#include "platform/ChildProcess.h"
#include "platform/NetworkServices.h"
#include "virtualentity/AVBTool.h"
#include "vorn-device-list/Options.h"

namespace vorn::devicelisttool {

/// A network interface of this computer: its user-visible name, whether it can
/// carry AVB or why not, and whether the virtual entity is enabled on it.
struct Interface {
  enum class Entity { kEnabled, kNotEnabled, kUnknown };

  NetworkService service;
  AVBCapability::Answer capability = AVBCapability::Answer::kNoSuchInterface;
  Entity entity = Entity::kUnknown;
};

using Interfaces = std::vector<Interface>;

/// Asks the system. If the tool is missing, or its answer is not usable, the entities are unknown. Empty
/// optional if the network services cannot be listed. Any thread. Blocks as long as the services and the tool
/// take, but at most the tool's patience for the tool.
[[nodiscard]] std::optional<Interfaces> CollectInterfaces(NetworkServices& services,
                                                          AVBCapability& capability,
                                                          ChildProcessLauncher& launcher,
                                                          const AVBTool& tool = {});

/// Collects the interfaces and writes them as the options say: as a table, JSON or CSV. Returns the exit
/// status. If it is not kListed, the console gives the reason.
[[nodiscard]] int PrintInterfaces(const Options& options, NetworkServices& services,
                                  AVBCapability& capability, ChildProcessLauncher& launcher,
                                  const AVBTool& tool = {});

}  // namespace vorn::devicelisttool
