#include "AVB/Util/AvahiSession.h"

#include <atomic>
#include <utility>

#include "foundation/AllSignalsBlocked.h"

namespace vorn {
namespace {

std::atomic<std::size_t> gAbandonedThreads{0};

}  // namespace

AvahiSession::AvahiSession() : fShared(std::make_shared<Shared>()) {
  const AllSignalsBlocked blocked;
  fThread = std::thread(ThreadProc, fShared);
}

AvahiSession::~AvahiSession() {
  fShared->loop.Stop();
  {
    std::unique_lock lock(fShared->mutex);
    if (!fShared->changed.wait_for(lock, kEndTime, [this] { return fShared->hasEnded; })) {
      fShared->isAbandoned = true;
      ++gAbandonedThreads;
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
  shared.reset();
  if (wasAbandoned) --gAbandonedThreads;
}

void AvahiSession::Begin(std::shared_ptr<Operation> operation) {
  fShared->loop.Begin(std::move(operation));
}

void AvahiSession::End(Operation& operation) noexcept {
  fShared->loop.End(operation);
}

std::size_t AvahiSession::AbandonedThreads() {
  return gAbandonedThreads;
}

}  // namespace vorn
