#include "AVB/Util/Operation.h"

#include <stdexcept>
#include <utility>

namespace vorn {

DNSServiceErrorType Operation::Deliver(DNSServiceRef ref) {
  Reply reply;
  bool hasFailed = false;
  {
    const std::lock_guard lock(fMutex);
    if (!fReplies.empty()) {
      reply = std::move(fReplies.front());
      fReplies.pop_front();
    } else if (fFailure == Failure::kUntold) {
      fFailure = Failure::kTold;
      hasFailed = true;
    }
    if (fReplies.empty() && fFailure != Failure::kUntold) fReadable.Clear();
  }
  if (reply) reply(ref);
  return hasFailed ? DeliverFailure(ref) : kDNSServiceErr_NoError;
}

DNSServiceErrorType Operation::WaitUntilBegun(std::chrono::milliseconds limit) {
  std::unique_lock lock(fMutex);
  fChanged.wait_for(lock, limit, [this] { return fHasBegun || fFailure != Failure::kNone; });
  return fHasBegun || fFailure == Failure::kNone ? kDNSServiceErr_NoError : kDNSServiceErr_Unknown;
}

void Operation::NoteBegun() {
  const std::lock_guard lock(fMutex);
  fHasBegun = true;
  fChanged.notify_all();
}

void Operation::Fail() noexcept {
  const std::lock_guard lock(fMutex);
  if (fFailure != Failure::kNone) return;
  fFailure = Failure::kUntold;
  fReadable.Set();
  fChanged.notify_all();
}

void Operation::Tell(Reply reply) {
  const std::lock_guard lock(fMutex);
  if (fFailure != Failure::kNone) return;
  if (fReplies.size() >= kMaxReplies) throw std::length_error("replies");
  fReplies.push_back(std::move(reply));
  fReadable.Set();
}

}  // namespace vorn
