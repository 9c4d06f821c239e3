#pragma once

#include <sys/types.h>

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "platform/UrlOpener.h"

namespace vorn {

/// Opens addresses with the desktop's own "xdg-open", from the search path, with the address as its only
/// argument and never through a shell. The activation token goes into the child's environment. Our own token,
/// and the traces of a start by D-Bus, do not. The child leads a session and continues when we end. While we
/// run, the thread's run loop waits for its end.
///
/// Blocks until the program has started (some milliseconds), but does not wait for its end.
class XdgUrlOpener final : public UrlOpener {
 public:
  XdgUrlOpener();
  ~XdgUrlOpener() override;

  /// Refuses, on the console, an address that is empty, begins with "-" or contains a control character.
  void Open(const std::string& url, const std::string& activationToken) override;

  /// Whether a page could not be opened since the latest call of Open; says so once. The console has the
  /// reason. A program that fails long after its start is a browser that had opened the page.
  [[nodiscard]] bool TakeFailure() { return std::exchange(fHasFailed, false); }

  /// Whether a started program may still fail to open its page. False for each after it has ended, or has run
  /// for half a minute.
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
