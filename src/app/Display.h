#pragma once

#include <memory>

struct xcb_connection_t;

namespace vorn::app {

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
