#include "platform/linux/network/NetworkServicesLinux.h"

#include <chrono>
#include <utility>

#include "platform/linux/network/NetworkManagerServices.h"
#include "platform/linux/network/NetworkdServices.h"
#include "platform/linux/network/SystemBus.h"

namespace vorn {
namespace {

// For all questions to the bus together: a daemon that hangs counts as absent.
constexpr std::chrono::seconds kBusPatience{3};

optional<std::vector<NetworkService>> CopyDaemonsServices(const std::string& address) {
  const auto bus = SystemBus::Connect(address.empty() ? SystemBus::DefaultAddress() : address,
                                      std::chrono::steady_clock::now() + kBusPatience);
  if (!bus) return {};
  auto services = CopyNetworkManagerServices(*bus);
  return services ? std::move(services) : CopyNetworkdServices(*bus);
}

optional<std::vector<NetworkService>> CopyKernelServices(const KernelLinks& links) {
  const auto names = links.NamesByIndex();
  if (!names) return {};
  std::vector<NetworkService> services;
  for (const auto& name : *names) services.push_back({{}, name});
  return services;
}

}  // namespace

NetworkServicesLinux::NetworkServicesLinux(Surroundings surroundings)
    : fSurroundings(std::move(surroundings)) {}

optional<std::vector<NetworkService>> NetworkServicesLinux::CopyAll() {
  auto services = CopyDaemonsServices(fSurroundings.busAddress);
  if (!services) services = CopyKernelServices(fSurroundings.links);
  if (!services) return {};
  std::erase_if(*services, [this](const NetworkService& service) {
    return fSurroundings.isHardware ? !fSurroundings.isHardware(service.interfaceName)
                                    : !fSurroundings.links.HasHardware(service.interfaceName);
  });
  for (auto& service : *services) {
    if (service.name.empty()) service.name = fSurroundings.links.HardwareDescription(service.interfaceName);
    if (service.name.empty()) service.name = service.interfaceName;
  }
  return services;
}

}  // namespace vorn
