#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/NetworkServices.h"
#include "platform/linux/network/KernelLinks.h"

namespace vorn {

/// Network services as NetworkManager lists and names them. Without it, as systemd-networkd lists them.
/// Without both, the kernel's interfaces in the order of their indexes. A service without a name gets the
/// name of its hardware, otherwise of its interface.
class NetworkServicesLinux final : public NetworkServices {
 public:
  struct Surroundings {
    std::string busAddress;  ///< of the system's message bus; empty: the usual one
    KernelLinks links = KernelLinks();
    std::function<bool(const std::string& interfaceName)> isHardware;  ///< empty: as `links` says
  };

  NetworkServicesLinux() : NetworkServicesLinux(Surroundings{}) {}
  explicit NetworkServicesLinux(Surroundings surroundings);

  std::optional<std::vector<NetworkService>> CopyAll() override;

 private:
  const Surroundings fSurroundings;
};

}  // namespace vorn
