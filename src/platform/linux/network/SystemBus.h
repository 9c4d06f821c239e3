#pragma once

#include <dbus/dbus.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "foundation/Optional.h"

namespace vorn {

/// A private connection to the system's message bus for a few questions. One thread makes it, asks and closes
/// it, without any event loop. Starts no service.
///
/// Every call waits at most a second, and all of them together until the connection's deadline. A question
/// that fails, is refused or gets an unexpected answer gives an empty optional.
class SystemBus {
 public:
  struct Freer {
    void operator()(DBusMessage* message) const { ::dbus_message_unref(message); }
    void operator()(DBusConnection* connection) const;
  };
  using Message = std::unique_ptr<DBusMessage, Freer>;

  /// The object that a question goes to.
  struct Object {
    std::string service;
    std::string path;
    std::string interface;
  };

  /// The address in the environment, otherwise the usual one.
  static std::string DefaultAddress();

  /// Null if there is no bus, or if it does not accept us before the deadline.
  static std::unique_ptr<SystemBus> Connect(const std::string& address,
                                            std::chrono::steady_clock::time_point deadline);

  /// Whether the deadline has passed, so that answers may be missing.
  [[nodiscard]] bool IsOutOfTime() const { return std::chrono::steady_clock::now() >= fDeadline; }

  [[nodiscard]] bool HasOwner(const std::string& service);

  /// Calls a method without arguments; null if it fails.
  [[nodiscard]] Message Call(const Object& object, const char* method);

  [[nodiscard]] optional<std::string> GetText(const Object& object, const char* property);
  [[nodiscard]] optional<std::vector<std::string>> GetPaths(const Object& object, const char* property);

  /// The texts (strings, paths) of an array, at most `kMaximumItems`.
  static std::vector<std::string> ReadTexts(DBusMessageIter array);

  /// The text at a message's iterator, directly or in a variant.
  static optional<std::string> ReadText(DBusMessageIter value);

  /// Limits what a strange service can make us ask and keep.
  static constexpr std::size_t kMaximumItems = 256;

 private:
  using Connection = std::unique_ptr<DBusConnection, Freer>;

  SystemBus(Connection connection, std::chrono::steady_clock::time_point deadline);

  [[nodiscard]] Message Ask(Message question);
  [[nodiscard]] Message GetProperty(const Object& object, const char* property);

  Connection fConnection;
  const std::chrono::steady_clock::time_point fDeadline;
};

}  // namespace vorn
