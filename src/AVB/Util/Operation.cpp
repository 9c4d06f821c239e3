#include "AVB/Util/Operation.h"

#include <stdexcept>
#include <utility>

namespace vorn {

void ReplySignal::Add(std::size_t replies) {
  fWaiting += replies;
  if (fWaiting > 0) fReadable.Set();
}

void ReplySignal::Remove(std::size_t replies) {
  fWaiting -= replies;
  if (fWaiting == 0) fReadable.Clear();
}

DNSServiceErrorType Operation::Deliver(DNSServiceRef ref) {
  Reply reply;
  bool hasFailed = false;
  {
    const std::lock_guard lock(fSignal->fMutex);
    if (Waiting() == 0) return kDNSServiceErr_NoError;
    fSignal->Remove(1);
    if (!fReplies.empty()) {
      reply = std::move(fReplies.front());
      fReplies.pop_front();
    } else {
      fFailure = Failure::kTold;
      hasFailed = true;
    }
  }
  if (reply) reply(ref);
  return hasFailed ? DeliverFailure(ref) : kDNSServiceErr_NoError;
}

DNSServiceErrorType Operation::WaitUntilBegun(std::chrono::milliseconds limit) {
  std::unique_lock lock(fSignal->fMutex);
  fChanged.wait_for(lock, limit, [this] { return fHasBegun || fFailure != Failure::kNone; });
  return fHasBegun || fFailure == Failure::kNone ? kDNSServiceErr_NoError : kDNSServiceErr_Unknown;
}

void Operation::Release() noexcept {
  const std::lock_guard lock(fSignal->fMutex);
  if (fReleased.exchange(true)) return;
  fSignal->Remove(Waiting());
  fReplies.clear();
  fFailure = Failure::kTold;
}

void Operation::NoteBegun() {
  const std::lock_guard lock(fSignal->fMutex);
  fHasBegun = true;
  fChanged.notify_all();
}

void Operation::Fail() noexcept {
  const std::lock_guard lock(fSignal->fMutex);
  if (fReleased || fFailure != Failure::kNone) return;
  fFailure = Failure::kUntold;
  fSignal->Add(1);
  fChanged.notify_all();
}

void Operation::Tell(Reply reply) {
  const std::lock_guard lock(fSignal->fMutex);
  if (fReleased || fFailure != Failure::kNone) return;
  if (fReplies.size() >= kMaxReplies) throw std::length_error("replies");
  fReplies.push_back(std::move(reply));
  fSignal->Add(1);
}

std::size_t Operation::Waiting() const {
  return fReplies.size() + (fFailure == Failure::kUntold ? 1 : 0);
}

}  // namespace vorn
