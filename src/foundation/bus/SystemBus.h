#pragma once

#include <dbus/dbus.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Clock.h"

namespace vorn {

/// A private connection to the system's message bus, without any event loop. One thread makes, uses and
/// closes it. It starts no service. It never waits for long, even if a service or the bus itself hangs.
///
/// A question waits for its answer: at most a second, and all questions together until the connection's
/// deadline. A question that fails, is refused or gets an unexpected answer gives an empty optional. Send and
/// Next do not wait: they are for an owner that serves the connection as long as it lasts.
class SystemBus {
 public:
  struct Freer {
    void operator()(DBusMessage* message) const { ::dbus_message_unref(message); }
    void operator()(DBusConnection* connection) const;
  };
  using Message = std::unique_ptr<DBusMessage, Freer>;

  /// The object that a call goes to.
  struct Object {
    std::string service;
    std::string path;
    std::string interface;
  };

  /// The address in the environment, otherwise the usual one.
  static std::string DefaultAddress();

  /// Null if there is no bus, or if it does not accept us before the deadline.
  static std::unique_ptr<SystemBus> Connect(const std::string& address, Clock::time_point deadline);

  /// Sends a call without arguments, or with one text, and does not wait for its answer. Returns the number
  /// that the answer refers to; 0 if nothing was sent.
  std::uint32_t Send(const Object& object, const char* method, const char* text = nullptr);

  /// Asks the bus for the signals that fit the rule. Does not wait.
  void AddMatch(const char* rule);

  /// The next message that has come; null if there is none now or the bus is lost. Does not wait.
  [[nodiscard]] Message Next();

  [[nodiscard]] bool IsConnected() const;

  /// Waits until a message comes or the other descriptor is readable, at most for this time. A negative time
  /// is no limit.
  void Await(int otherDescriptor, std::chrono::milliseconds time) const;

  /// The bus itself: the object that knows who owns a name.
  static const Object& Itself();

  /// Whether the deadline has passed, so that answers may be missing.
  [[nodiscard]] bool IsOutOfTime() const { return Clock::now() >= fDeadline; }

  [[nodiscard]] bool HasOwner(const std::string& service);

  /// Calls a method without arguments; null if it fails.
  [[nodiscard]] Message Call(const Object& object, const char* method);

  [[nodiscard]] std::optional<std::string> GetText(const Object& object, const char* property);
  [[nodiscard]] std::optional<std::vector<std::string>> GetPaths(const Object& object, const char* property);

  /// The texts (strings, paths) of an array, at most `kMaximumItems`.
  static std::vector<std::string> ReadTexts(DBusMessageIter array);

  /// The text at a message's iterator, directly or in a variant.
  static std::optional<std::string> ReadText(DBusMessageIter value);

  /// Limits what a strange service can make us ask and keep.
  static constexpr std::size_t kMaximumItems = 256;

 private:
  using Connection = std::unique_ptr<DBusConnection, Freer>;

  SystemBus(Connection connection, Clock::time_point deadline);

  [[nodiscard]] Message Ask(Message question);
  [[nodiscard]] Message GetProperty(const Object& object, const char* property);

  Connection fConnection;
  const Clock::time_point fDeadline;
};

}  // namespace vorn
