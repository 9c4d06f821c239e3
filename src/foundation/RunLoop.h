#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "foundation/FileDescriptor.h"

namespace vorn {

/// A thread's event loop. It watches timers and other descriptors. Each thread has at most one. A thread that
/// never set its own gets a PollRunLoop. A toolkit's main thread sets an adapter to the toolkit's loop before
/// anything asks for the current one.
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

  /// Calls `handler` on the loop's thread while `descriptor` is readable (level-triggered). The caller keeps
  /// the descriptor, and it must live longer than the source. Modal loops and open menus serve it too.
  virtual SourceId AddSource(int descriptor, std::function<void()> handler) = 0;

  /// Ends a source. Safe inside any handler, also its own. The handler is not called again.
  virtual void RemoveSource(SourceId source) = 0;
};

/// A run loop that waits in poll(): for worker threads and terminal programs.
class PollRunLoop final : public RunLoop {
 public:
  /// The calling thread's loop, which must be a PollRunLoop. It is one unless the thread set another kind.
  static std::shared_ptr<PollRunLoop> Current();

  /// Throws std::system_error if no descriptor is left.
  PollRunLoop() = default;

  SourceId AddSource(int descriptor, std::function<void()> handler) override;
  void RemoveSource(SourceId source) override;

  /// Serves sources until Stop. Exceptions of handlers reach the caller.
  void Run();

  /// Serves what is ready within `timeout`: one pass, or none if nothing came. A negative timeout waits
  /// without limit. Returns whether a handler ran.
  bool RunOnce(std::chrono::milliseconds timeout);

  /// Makes Run return after the current handler, or at once at its next call. Any thread.
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
