#include "platform/linux/network/SystemBus.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "foundation/Clock.h"

namespace vorn {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kCallTimeout{1000};
constexpr long kMaximumMessage = 1024L * 1024;

const SystemBus::Object kBus{DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS};

SystemBus::Message NewCall(const SystemBus::Object& object, const char* interface, const char* method) {
  SystemBus::Message message(
      ::dbus_message_new_method_call(object.service.c_str(), object.path.c_str(), interface, method));
  if (message) ::dbus_message_set_auto_start(message.get(), FALSE);
  return message;
}

}  // namespace

void SystemBus::Freer::operator()(DBusConnection* connection) const {
  ::dbus_connection_close(connection);
  ::dbus_connection_unref(connection);
}

std::string SystemBus::DefaultAddress() {
  const char* named = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
  return named != nullptr && *named != '\0' ? named : "unix:path=/run/dbus/system_bus_socket";
}

std::unique_ptr<SystemBus> SystemBus::Connect(const std::string& address, Clock::time_point deadline) {
  Connection connection(::dbus_connection_open_private(address.c_str(), nullptr));
  if (!connection) return nullptr;
  ::dbus_connection_set_exit_on_disconnect(connection.get(), FALSE);
  ::dbus_connection_set_max_message_size(connection.get(), kMaximumMessage);
  std::unique_ptr<SystemBus> bus(new SystemBus(std::move(connection), deadline));
  // Sends our Hello by hand, because the library's own way may wait half a minute.
  return bus->Call(kBus, "Hello") ? std::move(bus) : nullptr;
}

SystemBus::SystemBus(Connection connection, Clock::time_point deadline)
    : fConnection(std::move(connection)), fDeadline(deadline) {}

bool SystemBus::HasOwner(const std::string& service) {
  Message question = NewCall(kBus, kBus.interface.c_str(), "NameHasOwner");
  const char* name = service.c_str();
  if (!question || !::dbus_message_append_args(question.get(), DBUS_TYPE_STRING, &name, DBUS_TYPE_INVALID)) {
    return false;
  }
  const Message answer = Ask(std::move(question));
  dbus_bool_t owned = FALSE;
  return answer &&
         ::dbus_message_get_args(answer.get(), nullptr, DBUS_TYPE_BOOLEAN, &owned, DBUS_TYPE_INVALID) &&
         owned;
}

SystemBus::Message SystemBus::Call(const Object& object, const char* method) {
  return Ask(NewCall(object, object.interface.c_str(), method));
}

optional<std::string> SystemBus::GetText(const Object& object, const char* property) {
  const Message answer = GetProperty(object, property);
  DBusMessageIter value;
  if (!answer || !::dbus_message_iter_init(answer.get(), &value)) return {};
  return ReadText(value);
}

optional<std::vector<std::string>> SystemBus::GetPaths(const Object& object, const char* property) {
  const Message answer = GetProperty(object, property);
  DBusMessageIter variant;
  if (!answer || !::dbus_message_iter_init(answer.get(), &variant) ||
      ::dbus_message_iter_get_arg_type(&variant) != DBUS_TYPE_VARIANT) {
    return {};
  }
  DBusMessageIter array;
  ::dbus_message_iter_recurse(&variant, &array);
  if (::dbus_message_iter_get_arg_type(&array) != DBUS_TYPE_ARRAY) return {};
  return ReadTexts(array);
}

std::vector<std::string> SystemBus::ReadTexts(DBusMessageIter array) {
  std::vector<std::string> texts;
  if (::dbus_message_iter_get_arg_type(&array) != DBUS_TYPE_ARRAY) return texts;
  DBusMessageIter item;
  ::dbus_message_iter_recurse(&array, &item);
  while (::dbus_message_iter_get_arg_type(&item) != DBUS_TYPE_INVALID && texts.size() < kMaximumItems) {
    if (const auto text = ReadText(item)) texts.push_back(*text);
    ::dbus_message_iter_next(&item);
  }
  return texts;
}

optional<std::string> SystemBus::ReadText(DBusMessageIter value) {
  DBusMessageIter inner = value;
  if (::dbus_message_iter_get_arg_type(&value) == DBUS_TYPE_VARIANT) {
    ::dbus_message_iter_recurse(&value, &inner);
  }
  const int type = ::dbus_message_iter_get_arg_type(&inner);
  if (type != DBUS_TYPE_STRING && type != DBUS_TYPE_OBJECT_PATH) return {};
  const char* text = nullptr;
  ::dbus_message_iter_get_basic(&inner, &text);
  return std::string(text);
}

SystemBus::Message SystemBus::Ask(Message question) {
  const auto left = std::chrono::floor<milliseconds>(fDeadline - Clock::now());
  if (!question || left <= milliseconds(0)) return nullptr;
  const auto timeout = static_cast<int>(std::min(left, kCallTimeout).count());
  return Message(
      ::dbus_connection_send_with_reply_and_block(fConnection.get(), question.get(), timeout, nullptr));
}

SystemBus::Message SystemBus::GetProperty(const Object& object, const char* property) {
  Message question = NewCall(object, DBUS_INTERFACE_PROPERTIES, "Get");
  const char* interface = object.interface.c_str();
  if (!question || !::dbus_message_append_args(question.get(), DBUS_TYPE_STRING, &interface, DBUS_TYPE_STRING,
                                               &property, DBUS_TYPE_INVALID)) {
    return nullptr;
  }
  return Ask(std::move(question));
}

}  // namespace vorn
