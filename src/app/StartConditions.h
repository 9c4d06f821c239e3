#pragma once

#include <memory>
#include <string>

struct xcb_connection_t;

namespace vorn::app {

/// Where the toolkit looks for the permission to give its next window the focus.
inline constexpr char kActivationTokenVariable[] = "XDG_ACTIVATION_TOKEN";

/// How the process was started, as its environment says.
struct StartReason {
  bool atLogin = false;         ///< by the login launcher: nobody waits for something to appear
  bool byBus = false;           ///< by the session bus, which has a message waiting for us
  std::string activationToken;  ///< permission to take the focus; may be empty
};

/// Reads the reason and removes its marks from the environment, so that no program that we start inherits
/// them. Leaves room there for a later token, so that setting one does not move the table under other
/// threads. Main thread, before other threads.
[[nodiscard]] StartReason TakeStartReason();

/// The display: the X server or the Wayland compositor that the environment names, if it answers. Without
/// one, the toolkit aborts the process, also if the address is left over from a session that has ended.
///
/// Keep it until the toolkit has its own connection, because an X server that loses its last connection
/// starts again. Main thread. Its construction takes the time of a server's greeting.
class Display {
 public:
  Display();

  /// Whether the toolkit will find a display.
  [[nodiscard]] bool Answers() const { return fAnswers; }

 private:
  struct Disconnect {
    void operator()(xcb_connection_t* connection) const noexcept;
  };
  [[nodiscard]] bool XServerAnswers();

  std::unique_ptr<xcb_connection_t, Disconnect> fXServer;
  bool fAnswers = false;
};

}  // namespace vorn::app
