#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/NetworkServices.h"
#include "platform/linux/network/KernelLinks.h"

namespace vorn {

/// Network services as NetworkManager lists and names them; where that does not
/// run, as systemd-networkd lists them; where neither does, the kernel's
/// interfaces in the order of their indexes. What has no name is called by its
/// hardware, else by its interface's name.
class NetworkServicesLinux final : public NetworkServices {
 public:
  struct Surroundings {
    std::string busAddress;  ///< of the system's message bus; empty: the usual one
    KernelLinks links = KernelLinks();
    std::function<bool(const std::string& interfaceName)> isHardware;  ///< empty: as `links` says
  };

  NetworkServicesLinux() : NetworkServicesLinux(Surroundings{}) {}
  explicit NetworkServicesLinux(Surroundings surroundings);

  optional<std::vector<NetworkService>> CopyAll() override;

 private:
  const Surroundings fSurroundings;
};

}  // namespace vorn
