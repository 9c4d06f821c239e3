#include "foundation/bus/SystemBus.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <utility>

#include "foundation/Clock.h"

namespace vorn {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kCallTimeout{1000};
constexpr long kMaximumMessage = 1024L * 1024;

// A call with these texts as its arguments; null without the memory for it.
template <typename... Texts>
SystemBus::Message NewCall(const SystemBus::Object& object, const char* interface, const char* method,
                           const Texts*... texts) {
  SystemBus::Message message(
      ::dbus_message_new_method_call(object.service.c_str(), object.path.c_str(), interface, method));
  if (!message) return nullptr;
  ::dbus_message_set_auto_start(message.get(), FALSE);
  DBusMessageIter arguments;
  ::dbus_message_iter_init_append(message.get(), &arguments);
  const bool isWhole = (... && ::dbus_message_iter_append_basic(&arguments, DBUS_TYPE_STRING,
                                                                static_cast<const void*>(&texts)));
  return isWhole ? std::move(message) : nullptr;
}

// Whether the bus lets us in before the deadline. The library would wait for that without limit.
bool IsLetIn(DBusConnection* connection, Clock::time_point deadline) {
  while (::dbus_connection_get_is_authenticated(connection) == FALSE) {
    const auto left = std::chrono::floor<milliseconds>(deadline - Clock::now());
    if (left <= milliseconds(0)) return false;
    if (::dbus_connection_read_write(connection, static_cast<int>(left.count())) == FALSE) return false;
  }
  return true;
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
  if (!connection || !IsLetIn(connection.get(), deadline)) return nullptr;
  ::dbus_connection_set_exit_on_disconnect(connection.get(), FALSE);
  ::dbus_connection_set_max_message_size(connection.get(), kMaximumMessage);
  std::unique_ptr<SystemBus> bus(new SystemBus(std::move(connection), deadline));
  // Sends our Hello by hand, because the library's own way may wait half a minute.
  return bus->Call(Itself(), "Hello") ? std::move(bus) : nullptr;
}

SystemBus::SystemBus(Connection connection, Clock::time_point deadline)
    : fConnection(std::move(connection)), fDeadline(deadline) {}

const SystemBus::Object& SystemBus::Itself() {
  static const Object itself{DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS};
  return itself;
}

std::uint32_t SystemBus::Send(const Object& object, const char* method, const char* text) {
  const char* interface = object.interface.c_str();
  const Message call = text ? NewCall(object, interface, method, text) : NewCall(object, interface, method);
  dbus_uint32_t serial = 0;
  if (!call || ::dbus_connection_send(fConnection.get(), call.get(), &serial) == FALSE) return 0;
  ::dbus_connection_flush(fConnection.get());
  return serial;
}

void SystemBus::AddMatch(const char* rule) {
  ::dbus_bus_add_match(fConnection.get(), rule, nullptr);  // without an error to fill, it does not wait
}

SystemBus::Message SystemBus::Next() {
  Message message(::dbus_connection_pop_message(fConnection.get()));
  if (message) return message;
  ::dbus_connection_read_write(fConnection.get(), 0);
  return Message(::dbus_connection_pop_message(fConnection.get()));
}

bool SystemBus::IsConnected() const {
  return ::dbus_connection_get_is_connected(fConnection.get()) != FALSE;
}

void SystemBus::Await(int otherDescriptor, milliseconds time) const {
  // Sending may have read messages, which the descriptor no longer shows.
  if (::dbus_connection_get_dispatch_status(fConnection.get()) == DBUS_DISPATCH_DATA_REMAINS) return;
  int descriptor = -1;
  if (::dbus_connection_get_unix_fd(fConnection.get(), &descriptor) == FALSE) return;
  std::array<pollfd, 2> descriptors{{{descriptor, POLLIN, 0}, {otherDescriptor, POLLIN, 0}}};
  const auto limit = std::clamp<milliseconds::rep>(time.count(), -1, std::numeric_limits<int>::max());
  ::poll(descriptors.data(), descriptors.size(), static_cast<int>(limit));
}

bool SystemBus::HasOwner(const std::string& service) {
  const Object& bus = Itself();
  const Message answer = Ask(NewCall(bus, bus.interface.c_str(), "NameHasOwner", service.c_str()));
  dbus_bool_t owned = FALSE;
  return answer &&
         ::dbus_message_get_args(answer.get(), nullptr, DBUS_TYPE_BOOLEAN, &owned, DBUS_TYPE_INVALID) &&
         owned;
}

SystemBus::Message SystemBus::Call(const Object& object, const char* method) {
  return Ask(NewCall(object, object.interface.c_str(), method));
}

std::optional<std::string> SystemBus::GetText(const Object& object, const char* property) {
  const Message answer = GetProperty(object, property);
  DBusMessageIter value;
  if (!answer || !::dbus_message_iter_init(answer.get(), &value)) return {};
  return ReadText(value);
}

std::optional<std::vector<std::string>> SystemBus::GetPaths(const Object& object, const char* property) {
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

std::optional<std::string> SystemBus::ReadText(DBusMessageIter value) {
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
  return Ask(NewCall(object, DBUS_INTERFACE_PROPERTIES, "Get", object.interface.c_str(), property));
}

}  // namespace vorn
