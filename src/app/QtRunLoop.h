#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <functional>
#include <map>
#include <memory>

#include "foundation/RunLoop.h"

namespace vorn::app {

/// The toolkit's event loop as a run loop of the core. So it serves the timers and descriptors of the main
/// thread, also in open menus and modal dialogs.
///
/// Make and use it on the thread of the application object. Destroy it, and everything that it watches,
/// before that object. Exceptions of handlers are logged and end there, because none may pass through the
/// toolkit.
class QtRunLoop final : public vorn::RunLoop {
 public:
  QtRunLoop() = default;

  SourceId AddSource(int descriptor, std::function<void()> handler) override;
  void RemoveSource(SourceId source) override;

 private:
  QObject fRetired;  ///< parent of ended notifiers that may still be on the stack
  std::map<SourceId, std::unique_ptr<QSocketNotifier>> fSources;
  SourceId fNextId = 1;
};

/// Turns SIGTERM, SIGINT and SIGHUP into a call on the main thread. If the first one has no effect, a second
/// one of the three ends the process by its default action. SIGHUP stays ignored if it is ignored at the
/// start. One object at a time; main thread; make it after the application object and destroy it before that.
/// Programs that we start are not affected.
class TerminationSignals {
 public:
  /// Throws std::system_error if no descriptor is left.
  explicit TerminationSignals(std::function<void()> onTerminate);
  ~TerminationSignals();
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;

 private:
  QSocketNotifier fNotifier;
};

}  // namespace vorn::app
