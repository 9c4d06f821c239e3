#include "AVB/Util/AvahiSession.h"

#include <utility>

#include "foundation/Thread.h"

namespace vorn {

AvahiSession::AvahiSession(std::atomic<std::size_t>& abandonedThreads)
    : fShared(std::make_shared<Shared>(abandonedThreads)),
      fThread(StartThread("responder", [shared = fShared]() mutable { ThreadProc(std::move(shared)); })) {}

AvahiSession::~AvahiSession() {
  fShared->loop.Stop();
  {
    std::unique_lock lock(fShared->mutex);
    if (!fShared->changed.wait_for(lock, kEndTime, [this] { return fShared->hasEnded; })) {
      fShared->isAbandoned = true;
      ++fShared->abandonedThreads;
    }
  }
  if (fShared->isAbandoned) {
    fThread.detach();
  } else {
    fThread.join();
  }
}

void AvahiSession::ThreadProc(std::shared_ptr<Shared> shared) {
  shared->loop.Run();
  bool wasAbandoned = false;
  {
    const std::lock_guard lock(shared->mutex);
    shared->hasEnded = true;
    wasAbandoned = shared->isAbandoned;
    shared->changed.notify_all();
  }
  std::atomic<std::size_t>& abandonedThreads = shared->abandonedThreads;
  shared.reset();
  if (wasAbandoned) --abandonedThreads;
}

void AvahiSession::Begin(std::shared_ptr<Operation> operation) {
  fShared->loop.Begin(std::move(operation));
}

void AvahiSession::End(Operation& operation) noexcept {
  fShared->loop.End(operation);
}

}  // namespace vorn
