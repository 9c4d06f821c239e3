#pragma once

#include <dbus/dbus.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "foundation/FileDescriptor.h"

namespace vorn::testing {

/// A way to a real bus on which answers name no sender. Some versions of the toolkit name the sender of an
/// answer, and others leave it empty. On this bus it is always empty.
class SenderlessBus {
 public:
  /// `bus`: the socket of the real bus. `socket`: where ours is made.
  SenderlessBus(std::filesystem::path bus, const std::filesystem::path& socket)
      : fBus(std::move(bus)), fAddress("unix:path=" + socket.string()) {
    const auto name = SocketName(socket);
    ::bind(fListener.Get(), reinterpret_cast<const sockaddr*>(&name), sizeof name);
    ::listen(fListener.Get(), 16);
    fThread = std::thread([this] { Serve(); });
  }
  ~SenderlessBus() {
    fStop.Set();
    fThread.join();
  }
  SenderlessBus(const SenderlessBus&) = delete;
  SenderlessBus& operator=(const SenderlessBus&) = delete;

  [[nodiscard]] const std::string& Address() const { return fAddress; }

 private:
  /// One program's connection, and our connection to the bus for it.
  struct Road {
    FileDescriptor program;
    FileDescriptor bus;
    std::string said{};      ///< from the program, until it has logged in
    std::string answered{};  ///< from the bus, not yet passed on
    bool hasLoggedIn = false;
  };

  static sockaddr_un SocketName(const std::filesystem::path& path) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::strncpy(name.sun_path, path.c_str(), sizeof name.sun_path - 1);
    return name;
  }

  void Serve() {
    std::vector<Road> roads;
    for (;;) {
      std::vector<pollfd> waiting{{fStop.Descriptor(), POLLIN, 0}, {fListener.Get(), POLLIN, 0}};
      for (const auto& road : roads) {
        waiting.push_back({road.program.Get(), POLLIN, 0});
        waiting.push_back({road.bus.Get(), POLLIN, 0});
      }
      if (::poll(waiting.data(), waiting.size(), -1) < 0) continue;
      if (waiting[0].revents != 0) return;
      for (std::size_t i = roads.size(); i-- > 0;) {
        bool isOpen = waiting[2 * i + 2].revents == 0 || PassToBus(roads[i]);
        isOpen = isOpen && (waiting[2 * i + 3].revents == 0 || PassToProgram(roads[i]));
        if (!isOpen) roads.erase(roads.begin() + static_cast<std::ptrdiff_t>(i));
      }
      if (waiting[1].revents != 0) roads.push_back(NewRoad());
    }
  }

  Road NewRoad() const {
    FileDescriptor program(::accept(fListener.Get(), nullptr, nullptr));
    FileDescriptor bus(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const auto name = SocketName(fBus);
    ::connect(bus.Get(), reinterpret_cast<const sockaddr*>(&name), sizeof name);
    return {std::move(program), std::move(bus)};
  }

  static bool Send(const FileDescriptor& to, const char* data, std::size_t size) {
    return ::send(to.Get(), data, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
  }

  static bool PassToBus(Road& road) {
    char buffer[65536];
    const auto count = ::read(road.program.Get(), buffer, sizeof buffer);
    if (count <= 0) return false;
    if (!road.hasLoggedIn) {
      road.said.append(buffer, static_cast<std::size_t>(count));
      road.hasLoggedIn = road.said.find("BEGIN\r\n") != std::string::npos;
    }
    return Send(road.bus, buffer, static_cast<std::size_t>(count));
  }

  static bool PassToProgram(Road& road) {
    char buffer[65536];
    const auto count = ::read(road.bus.Get(), buffer, sizeof buffer);
    if (count <= 0) return false;
    if (!road.hasLoggedIn) return Send(road.program, buffer, static_cast<std::size_t>(count));
    road.answered.append(buffer, static_cast<std::size_t>(count));
    for (;;) {
      const auto& bytes = road.answered;
      const int size = ::dbus_message_demarshal_bytes_needed(bytes.data(), static_cast<int>(bytes.size()));
      if (size < 0) return false;
      if (size == 0 || static_cast<std::size_t>(size) > bytes.size()) return true;
      if (!PassMessage(road, size)) return false;
      road.answered.erase(0, static_cast<std::size_t>(size));
    }
  }

  static bool PassMessage(const Road& road, int size) {
    DBusMessage* message = ::dbus_message_demarshal(road.answered.data(), size, nullptr);
    if (!message) return false;
    const int type = ::dbus_message_get_type(message);
    if (type == DBUS_MESSAGE_TYPE_METHOD_RETURN || type == DBUS_MESSAGE_TYPE_ERROR) {
      ::dbus_message_set_sender(message, nullptr);
    }
    char* data = nullptr;
    int length = 0;
    bool isSent = ::dbus_message_marshal(message, &data, &length) != 0;
    isSent = isSent && Send(road.program, data, static_cast<std::size_t>(length));
    ::dbus_free(data);
    ::dbus_message_unref(message);
    return isSent;
  }

  const std::filesystem::path fBus;
  const std::string fAddress;
  const Wakeup fStop;
  FileDescriptor fListener{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
  std::thread fThread;
};

}  // namespace vorn::testing
