#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vorn {

/// One connection to the network, with the name that its user knows.
struct NetworkService {
  std::string name;           ///< user-visible, any text
  std::string interfaceName;  ///< the kernel's; empty if the service has no interface
};

/// The workstation's network services.
class NetworkServices {
 public:
  NetworkServices() = default;
  NetworkServices(const NetworkServices&) = delete;
  NetworkServices& operator=(const NetworkServices&) = delete;
  virtual ~NetworkServices() = default;

  /// Every service, in the system's own order: wired and wireless, connected or not, but neither the loopback
  /// nor links without their own hardware (bridges, tunnels). Empty optional if the system could not be
  /// asked. Any thread. Blocks for a short time, and for a few seconds if a system service hangs.
  virtual std::optional<std::vector<NetworkService>> CopyAll() = 0;
};

}  // namespace vorn
