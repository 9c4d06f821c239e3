#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "foundation/FileDescriptor.h"

namespace vorn {

/// A thread's event loop: what timers and other descriptors are watched by.
/// Each thread has at most one. A thread that never set its own gets a
/// PollRunLoop; a toolkit's main thread sets an adapter to the toolkit's loop
/// before anything asks for the current one.
///
/// @threadsafety Everything here belongs to the loop's own thread.
class RunLoop {
 public:
  using SourceId = std::uint64_t;

  /// The calling thread's loop, made on first use.
  static std::shared_ptr<RunLoop> Current();

  /// Makes `loop` the calling thread's loop.
  static void SetCurrent(std::shared_ptr<RunLoop> loop);

  RunLoop() = default;
  RunLoop(const RunLoop&) = delete;
  RunLoop& operator=(const RunLoop&) = delete;
  virtual ~RunLoop() = default;

  /// Calls `handler` on the loop's thread whenever `descriptor` is readable, as
  /// long as it stays so (level-triggered). The descriptor stays the caller's
  /// and must outlive the source. Served in modal loops and open menus too.
  virtual SourceId AddSource(int descriptor, std::function<void()> handler) = 0;

  /// Ends a source. Safe from inside any handler, its own included; the handler
  /// is not called again.
  virtual void RemoveSource(SourceId source) = 0;
};

/// A run loop that waits in poll(): for worker threads and terminal programs.
class PollRunLoop final : public RunLoop {
 public:
  /// The calling thread's loop, which must be a PollRunLoop (it is unless the
  /// thread set another kind).
  static std::shared_ptr<PollRunLoop> Current();

  /// Throws std::system_error when no descriptor is left.
  PollRunLoop() = default;

  SourceId AddSource(int descriptor, std::function<void()> handler) override;
  void RemoveSource(SourceId source) override;

  /// Serves sources until Stop. Exceptions of handlers pass through.
  void Run();

  /// Serves what is ready within `timeout`: one pass, or none if nothing came.
  /// A negative timeout waits without limit. Returns whether a handler ran.
  bool RunOnce(std::chrono::milliseconds timeout);

  /// Makes Run return after the handler in progress, or at once when it is
  /// next called. Any thread.
  void Stop();

 private:
  struct Source {
    int descriptor;
    std::shared_ptr<std::function<void()>> handler;  // shared, so that a handler may remove its own source
  };

  const Wakeup fWakeup;
  std::atomic<bool> fStop{false};
  SourceId fNextId = 1;
  std::map<SourceId, Source> fSources;
};

}  // namespace vorn
