#pragma once

#include <string>

namespace vorn::app {

/// Where the toolkit looks for the right to give its next window the focus.
inline constexpr char kActivationTokenVariable[] = "XDG_ACTIVATION_TOKEN";

/// How the process came to be, as its environment tells.
struct StartReason {
  bool atLogin = false;         ///< by the login launcher: nobody waits for something to appear
  bool byBus = false;           ///< by the session bus, which has a message waiting for us
  std::string activationToken;  ///< the right to take the focus, given to us by who asked; may be empty
};

/// Reads the reason and takes its marks out of the environment, so that no
/// program that we start inherits them; leaves room there for a later token, so
/// that setting one does not move the table under other threads. Main thread, before other threads.
[[nodiscard]] StartReason TakeStartReason();

}  // namespace vorn::app
