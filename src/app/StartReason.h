#pragma once

#include <string>

namespace vorn::app {

/// How the process came to be, as its environment tells.
struct StartReason {
  bool atLogin = false;         ///< by the login launcher: nobody waits for something to appear
  bool byBus = false;           ///< by the session bus, which has a message waiting for us
  std::string activationToken;  ///< the right to take the focus, given to us by who asked; may be empty
};

/// Reads the reason and takes its marks out of the environment, so that no
/// program that we start inherits them. Main thread, before other threads.
[[nodiscard]] StartReason TakeStartReason();

/// Whether there is anything to draw on. Asked before an application object
/// with windows is made, which would abort the process without one.
[[nodiscard]] bool HasDisplay();

}  // namespace vorn::app
