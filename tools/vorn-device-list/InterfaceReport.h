#pragma once

#include <vector>

#include "foundation/Optional.h"
#include "platform/AVBCapability.h"
#include "platform/ChildProcess.h"
#include "platform/NetworkServices.h"
#include "virtualentity/AVBTool.h"

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

/// Asks the system. Where the tool is missing, or its answer is not usable, the
/// entities are unknown. Empty optional when the network services cannot be
/// listed. Any thread; blocks as long as the services and the tool take, the
/// tool at most for its patience.
[[nodiscard]] optional<Interfaces> CollectInterfaces(NetworkServices& services, AVBCapability& capability,
                                                     ChildProcessLauncher& launcher,
                                                     const AVBTool& tool = {});

/// Collects the interfaces and writes them to standard output, as a table or as
/// JSON. Returns the exit status; the console says why it is not kListed.
[[nodiscard]] int PrintInterfaces(bool json, NetworkServices& services, AVBCapability& capability,
                                  ChildProcessLauncher& launcher, const AVBTool& tool = {});

}  // namespace vorn::devicelisttool
