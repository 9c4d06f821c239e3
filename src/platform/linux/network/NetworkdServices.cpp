#include "platform/linux/network/NetworkdServices.h"

#include <string>

namespace vorn {
namespace {

const std::string kService = "org.freedesktop.network1";

// The name in one (index, name, path).
optional<std::string> LinkName(DBusMessageIter& link) {
  if (::dbus_message_iter_get_arg_type(&link) != DBUS_TYPE_STRUCT) return {};
  DBusMessageIter field;
  ::dbus_message_iter_recurse(&link, &field);
  if (!::dbus_message_iter_next(&field)) return {};
  return SystemBus::ReadText(field);
}

}  // namespace

optional<std::vector<NetworkService>> CopyNetworkdServices(SystemBus& bus) {
  if (!bus.HasOwner(kService)) return {};
  const auto answer = bus.Call({kService, "/org/freedesktop/network1", kService + ".Manager"}, "ListLinks");
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

}  // namespace vorn
