#include "app/StartReason.h"

#include <cstdlib>

#include "app/Identity.h"

namespace vorn::app {
namespace {

std::string Take(const char* variable) {
  const char* value = std::getenv(variable);
  std::string taken = value ? value : "";
  ::unsetenv(variable);
  return taken;
}

bool IsSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value && *value != '\0';
}

}  // namespace

StartReason TakeStartReason() {
  StartReason reason;
  reason.atLogin = !Take(Identity::kAtLoginVariable).empty();
  reason.byBus = Take("DBUS_STARTER_BUS_TYPE") == "session";
  Take("DBUS_STARTER_ADDRESS");
  reason.activationToken = Take("XDG_ACTIVATION_TOKEN");
  const std::string startupId = Take("DESKTOP_STARTUP_ID");
  if (reason.activationToken.empty()) reason.activationToken = startupId;
  return reason;
}

bool HasDisplay() {
  return IsSet("DISPLAY") || IsSet("WAYLAND_DISPLAY") || IsSet("QT_QPA_PLATFORM");
}

}  // namespace vorn::app
