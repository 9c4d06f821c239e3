#pragma once

#include <vector>

#include "foundation/Optional.h"
#include "platform/NetworkServices.h"
#include "platform/linux/network/SystemBus.h"

namespace vorn {

/// systemd-networkd's links in its order, without names: it knows none but
/// their interfaces'. Empty optional where it does not run or does not answer.
optional<std::vector<NetworkService>> CopyNetworkdServices(SystemBus& bus);

}  // namespace vorn
