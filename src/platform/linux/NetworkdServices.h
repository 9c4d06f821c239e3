#pragma once

#include <vector>

#include "foundation/Optional.h"
#include "platform/NetworkServices.h"
#include "platform/linux/SystemBus.h"

namespace vorn {

/// systemd-networkd's links in its order; it knows them by their interfaces'
/// names only. Empty optional where it does not run or does not answer.
optional<std::vector<NetworkService>> CopyNetworkdServices(SystemBus& bus);

}  // namespace vorn
