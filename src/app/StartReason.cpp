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

// Later tokens come while other threads read the environment. The C library
// moves its table of variables only to make it longer than it ever was.
void MakeRoomForActivationToken() {
  ::setenv(kActivationTokenVariable, "", 1);
  ::unsetenv(kActivationTokenVariable);
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

}  // namespace vorn::app
