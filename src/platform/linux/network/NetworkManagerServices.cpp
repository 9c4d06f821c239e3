#include "platform/linux/network/NetworkManagerServices.h"

#include <string>

namespace vorn {
namespace {

const std::string kService = "org.freedesktop.NetworkManager";

SystemBus::Object ObjectAt(const std::string& path, const char* interface) {
  return {kService, path, kService + interface};
}

// What a{sa{sv}} holds under these two keys.
optional<std::string> FindSetting(DBusMessage* settings, const std::string& group, const std::string& key) {
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

optional<std::string> ActiveConnectionName(SystemBus& bus, const SystemBus::Object& device) {
  const auto path = bus.GetText(device, "ActiveConnection");
  if (!path || *path == "/") return {};
  return bus.GetText(ObjectAt(*path, ".Connection.Active"), "Id");
}

optional<std::string> ProfileName(SystemBus& bus, const SystemBus::Object& device) {
  const auto profiles = bus.GetPaths(device, "AvailableConnections");
  if (!profiles || profiles->empty()) return {};
  const auto settings = bus.Call(ObjectAt(profiles->front(), ".Settings.Connection"), "GetSettings");
  if (!settings) return {};
  return FindSetting(settings.get(), "connection", "id");
}

// Empty where there is no profile.
std::string UserVisibleName(SystemBus& bus, const SystemBus::Object& device) {
  if (const auto name = ActiveConnectionName(bus, device)) return *name;
  if (const auto name = ProfileName(bus, device)) return *name;
  return {};
}

}  // namespace

optional<std::vector<NetworkService>> CopyNetworkManagerServices(SystemBus& bus) {
  if (!bus.HasOwner(kService)) return {};
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

}  // namespace vorn
