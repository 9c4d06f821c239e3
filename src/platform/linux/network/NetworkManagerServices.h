#pragma once

#include <vector>

#include "foundation/Optional.h"
#include "platform/NetworkServices.h"
#include "platform/linux/network/SystemBus.h"

namespace vorn {

/// NetworkManager's devices in its order, each under the name of the
/// connection that is active on it, else of the first profile that fits it,
/// else without a name. Empty optional where NetworkManager does
/// not run or does not answer in time; that is no fault and is quick.
optional<std::vector<NetworkService>> CopyNetworkManagerServices(SystemBus& bus);

}  // namespace vorn
