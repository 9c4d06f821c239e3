#pragma once

#include <string>
#include <vector>

#include "foundation/Optional.h"

namespace vorn {

/// One way into the network, under the name that its user knows it by.
struct NetworkService {
  std::string name;           ///< user-visible, any text
  std::string interfaceName;  ///< the kernel's; empty when the service has no interface
};

/// The workstation's network services.
class NetworkServices {
 public:
  NetworkServices() = default;
  NetworkServices(const NetworkServices&) = delete;
  NetworkServices& operator=(const NetworkServices&) = delete;
  virtual ~NetworkServices() = default;

  /// Every service, in the system's own order: wired and wireless, connected
  /// or not, but neither the loopback nor links without hardware of their own
  /// (bridges, tunnels). Empty optional when the system could not be asked.
  /// Any thread; blocks briefly, a few seconds at worst when a system service
  /// hangs.
  virtual optional<std::vector<NetworkService>> CopyAll() = 0;
};

}  // namespace vorn
