#pragma once

#include <memory>
#include <string>

struct xcb_connection_t;

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

/// What there is to draw on: the X server or the Wayland compositor that the
/// environment names, if it answers. The toolkit aborts the process where none
/// does, also for an address left over from a session that has ended.
///
/// To be kept until the toolkit has its own connection: an X server that loses
/// its last one starts anew. Main thread; made in the time that a server's
/// greeting takes.
class Display {
 public:
  Display();

  /// Whether the toolkit will find something.
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
