#pragma once

#include <cstdint>
#include <functional>
#include <memory>

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

}  // namespace vorn
