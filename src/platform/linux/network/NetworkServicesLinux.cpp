#include "platform/linux/network/NetworkServicesLinux.h"

#include <chrono>
#include <utility>

#include "foundation/Clock.h"
#include "foundation/bus/SystemBus.h"

namespace vorn {
namespace {

const std::string kNetworkManager = "org.freedesktop.NetworkManager";
const std::string kNetworkd = "org.freedesktop.network1";

// For all questions to the bus together: a hung service counts as absent.
constexpr std::chrono::seconds kBusPatience{3};

SystemBus::Object ObjectAt(const std::string& path, const char* interface) {
  return {kNetworkManager, path, kNetworkManager + interface};
}

// The values of these two keys in an a{sa{sv}}.
std::optional<std::string> FindSetting(DBusMessage* settings, const std::string& group,
                                       const std::string& key) {
  DBusMessageIter outer;
  if (!::dbus_message_iter_init(settings, &outer)) return {};
  for (const std::string& wanted : {group, key}) {
    if (::dbus_message_iter_get_arg_type(&outer) != DBUS_TYPE_ARRAY) return {};
    DBusMessageIter entry;
    ::dbus_message_iter_recurse(&outer, &entry);
    bool found = false;
    for (; !found && ::dbus_message_iter_get_arg_type(&entry) == DBUS_TYPE_DICT_ENTRY;
         ::dbus_message_iter_next(&entry)) {
      DBusMessageIter pair;
      ::dbus_message_iter_recurse(&entry, &pair);
      const auto name = SystemBus::ReadText(pair);
      found = name && *name == wanted && ::dbus_message_iter_next(&pair);
      if (found) outer = pair;
    }
    if (!found) return {};
  }
  return SystemBus::ReadText(outer);
}

std::optional<std::string> ActiveConnectionName(SystemBus& bus, const SystemBus::Object& device) {
  const auto path = bus.GetText(device, "ActiveConnection");
  if (!path || *path == "/") return {};
  return bus.GetText(ObjectAt(*path, ".Connection.Active"), "Id");
}

std::optional<std::string> ProfileName(SystemBus& bus, const SystemBus::Object& device) {
  const auto profiles = bus.GetPaths(device, "AvailableConnections");
  if (!profiles || profiles->empty()) return {};
  const auto settings = bus.Call(ObjectAt(profiles->front(), ".Settings.Connection"), "GetSettings");
  if (!settings) return {};
  return FindSetting(settings.get(), "connection", "id");
}

// Empty if there is no profile.
std::string UserVisibleName(SystemBus& bus, const SystemBus::Object& device) {
  if (const auto name = ActiveConnectionName(bus, device)) return *name;
  if (const auto name = ProfileName(bus, device)) return *name;
  return {};
}

// NetworkManager's devices in its order. Each has the name of its active connection, otherwise of the first
// profile that fits it, otherwise no name. Empty optional if NetworkManager does not run or does not answer
// in time; that is no fault and is quick.
std::optional<std::vector<NetworkService>> CopyNetworkManagerServices(SystemBus& bus) {
  if (!bus.HasOwner(kNetworkManager)) return {};
  const auto answer = bus.Call(ObjectAt("/org/freedesktop/NetworkManager", ""), "GetDevices");
  DBusMessageIter devices;
  if (!answer || !::dbus_message_iter_init(answer.get(), &devices)) return {};

  std::vector<NetworkService> services;
  for (const auto& path : SystemBus::ReadTexts(devices)) {
    const auto device = ObjectAt(path, ".Device");
    const auto interface = bus.GetText(device, "Interface");
    if (!interface) continue;  // the device went away between two questions
    services.push_back({UserVisibleName(bus, device), *interface});
  }
  if (bus.IsOutOfTime()) return {};
  return services;
}

// The name in one (index, name, path).
std::optional<std::string> LinkName(DBusMessageIter& link) {
  if (::dbus_message_iter_get_arg_type(&link) != DBUS_TYPE_STRUCT) return {};
  DBusMessageIter field;
  ::dbus_message_iter_recurse(&link, &field);
  if (!::dbus_message_iter_next(&field)) return {};
  return SystemBus::ReadText(field);
}

// systemd-networkd's links in its order, without names, because it only knows their interfaces' names. Empty
// optional if it does not run or does not answer.
std::optional<std::vector<NetworkService>> CopyNetworkdServices(SystemBus& bus) {
  if (!bus.HasOwner(kNetworkd)) return {};
  const auto answer = bus.Call({kNetworkd, "/org/freedesktop/network1", kNetworkd + ".Manager"}, "ListLinks");
  DBusMessageIter links;
  if (!answer || !::dbus_message_iter_init(answer.get(), &links) ||
      ::dbus_message_iter_get_arg_type(&links) != DBUS_TYPE_ARRAY) {
    return {};
  }
  std::vector<NetworkService> services;
  DBusMessageIter link;
  for (::dbus_message_iter_recurse(&links, &link);
       ::dbus_message_iter_get_arg_type(&link) != DBUS_TYPE_INVALID &&
       services.size() < SystemBus::kMaximumItems;
       ::dbus_message_iter_next(&link)) {
    if (const auto name = LinkName(link)) services.push_back({{}, *name});
  }
  return services;
}

std::optional<std::vector<NetworkService>> CopyDaemonsServices(const std::string& address) {
  const auto bus = SystemBus::Connect(address.empty() ? SystemBus::DefaultAddress() : address,
                                      Clock::now() + kBusPatience);
  if (!bus) return {};
  auto services = CopyNetworkManagerServices(*bus);
  return services ? std::move(services) : CopyNetworkdServices(*bus);
}

std::optional<std::vector<NetworkService>> CopyKernelServices(const KernelLinks& links) {
  const auto names = links.NamesByIndex();
  if (!names) return {};
  std::vector<NetworkService> services;
  for (const auto& name : *names) services.push_back({{}, name});
  return services;
}

}  // namespace

NetworkServicesLinux::NetworkServicesLinux(Surroundings surroundings)
    : fSurroundings(std::move(surroundings)) {}

std::optional<std::vector<NetworkService>> NetworkServicesLinux::CopyAll() {
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
