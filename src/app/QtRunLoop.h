#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <functional>
#include <map>
#include <memory>

#include "foundation/RunLoop.h"

namespace vorn::app {

/// The toolkit's event loop as a run loop of the core, so that timers and
/// descriptors of the main thread are served by it, in open menus and modal
/// dialogs too.
///
/// Made and used on the thread of the application object, and gone, with all
/// that was watched, before that object is. Exceptions of handlers are logged
/// and end there, since none may pass through the toolkit.
class QtRunLoop final : public vorn::RunLoop {
 public:
  QtRunLoop() = default;

  SourceId AddSource(int descriptor, std::function<void()> handler) override;
  void RemoveSource(SourceId source) override;

 private:
  QObject fRetired;  ///< parent of notifiers that ended while they may still be on the stack
  std::map<SourceId, std::unique_ptr<QSocketNotifier>> fSources;
  SourceId fNextId = 1;
};

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
