#pragma once

#include <sys/types.h>

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "platform/UrlOpener.h"

namespace vorn {

/// Opens addresses through the desktop's own "xdg-open", found on the search
/// path and called with the address as its one argument, never through a
/// shell. The activation token travels in the child's environment; ours, and
/// what a start by D-Bus left in it, does not. The child leads a session of its
/// own and goes on when we end; while we run, the thread's run loop waits for
/// its end.
///
/// Blocks until the program has been started (some milliseconds), not for it.
class XdgUrlOpener final : public UrlOpener {
 public:
  XdgUrlOpener();
  ~XdgUrlOpener() override;

  /// Refuses, on the console, an address that is empty, leads with "-" or
  /// holds a control character.
  void Open(const std::string& url, const std::string& activationToken) override;

  /// Whether a page could not be opened since the latest call of Open; says
  /// so once. The console has the reason. A program that ends badly long
  /// after its start is a browser that had opened the page.
  [[nodiscard]] bool TakeFailure() { return std::exchange(fHasFailed, false); }

  /// Whether a program that was started may still end with a failure to open
  /// its page. False for each once it has ended, or has run for half a minute.
  [[nodiscard]] bool IsOpening();

 private:
  class Child;

  void TakeEnded();
  void OnEnded(pid_t process);
  void Fail(const std::string& reason);

  bool fHasFailed = false;
  std::map<pid_t, std::unique_ptr<Child>> fChildren;  ///< that have not ended yet
};

}  // namespace vorn
