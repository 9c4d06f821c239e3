#pragma once

#include <QSocketNotifier>
#include <functional>

namespace vorn::app {

/// Turns SIGTERM, SIGINT and SIGHUP into a call on the main thread. A second
/// one of the three, should the first lead nowhere, ends the process by its
/// default action. SIGHUP stays ignored where it is from the start. One object at a time; main thread, made
/// after the application object and gone before it. Programs that we start are not affected.
class TerminationSignals {
 public:
  /// Throws std::system_error when no descriptor is left.
  explicit TerminationSignals(std::function<void()> onTerminate);
  ~TerminationSignals();
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;

 private:
  QSocketNotifier fNotifier;
};

}  // namespace vorn::app
