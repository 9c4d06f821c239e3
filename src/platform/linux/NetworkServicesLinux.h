#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/NetworkServices.h"
#include "platform/linux/KernelLinks.h"

namespace vorn {

/// Network services by NetworkManager's names; where that does not run, by
/// systemd-networkd's; where neither does, the kernel's interfaces in the
/// order of their indexes under their own names.
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
