#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>

#include "foundation/FileDescriptor.h"
#include "foundation/RunLoop.h"

namespace vorn {

/// A run loop that waits in poll(): for worker threads and terminal programs.
class PollRunLoop final : public RunLoop {
 public:
  /// The calling thread's loop, which must be a PollRunLoop (it is unless the
  /// thread set another kind).
  static std::shared_ptr<PollRunLoop> Current();

  /// Throws std::system_error when no descriptor is left.
  PollRunLoop();

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

  FileDescriptor fWakeup;
  std::atomic<bool> fStop{false};
  SourceId fNextId = 1;
  std::map<SourceId, Source> fSources;
};

}  // namespace vorn
