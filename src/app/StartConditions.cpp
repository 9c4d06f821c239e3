#include "app/StartConditions.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "app/Identity.h"
#include "foundation/FileDescriptor.h"

namespace vorn::app {
namespace {

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

std::string Take(const char* variable) {
  std::string taken = Variable(variable);
  ::unsetenv(variable);
  return taken;
}

// Later tokens come while other threads read the environment. The C library moves its table of variables only
// to make it longer than ever before.
void MakeRoomForActivationToken() {
  ::setenv(kActivationTokenVariable, "", 1);
  ::unsetenv(kActivationTokenVariable);
}

bool CompositorAnswers() {
  if (!Variable("WAYLAND_SOCKET").empty()) return true;  // a connection that another program made for us
  std::string path = Variable("WAYLAND_DISPLAY");
  if (path.empty()) return false;
  if (path.front() != '/') path = Variable("XDG_RUNTIME_DIR") + "/" + path;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  return socket && ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

/// Whether the user has chosen a platform that needs no server.
bool DrawsIntoMemory() {
  const std::string platform = Variable("QT_QPA_PLATFORM");
  return !platform.empty() && platform.find("xcb") == std::string::npos &&
         platform.find("wayland") == std::string::npos;
}

}  // namespace

StartReason TakeStartReason() {
  StartReason reason;
  reason.atLogin = !Take(Identity::kAtLoginVariable).empty();
  reason.byBus = Take("DBUS_STARTER_BUS_TYPE") == "session";
  Take("DBUS_STARTER_ADDRESS");
  reason.activationToken = Take(kActivationTokenVariable);
  const std::string startupId = Take("DESKTOP_STARTUP_ID");
  if (reason.activationToken.empty()) reason.activationToken = startupId;
  MakeRoomForActivationToken();
  return reason;
}

Display::Display() : fAnswers(DrawsIntoMemory() || CompositorAnswers() || XServerAnswers()) {}

bool Display::XServerAnswers() {
  if (Variable("DISPLAY").empty()) return false;
  fXServer.reset(::xcb_connect(nullptr, nullptr));
  return ::xcb_connection_has_error(fXServer.get()) == 0;
}

void Display::Disconnect::operator()(xcb_connection_t* connection) const noexcept {
  ::xcb_disconnect(connection);
}

}  // namespace vorn::app
