#pragma once

#include <avahi-client/client.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

#include "AVB/Util/DNSSD.h"
#include "foundation/FileDescriptor.h"

namespace vorn {

/// Wakes the owner of one operation, or of several that share a connection.
class ReplySignal {
 public:
  /// Throws std::system_error if no descriptor is left.
  ReplySignal() = default;

  /// Readable while a reply waits.
  [[nodiscard]] int Descriptor() const { return fReadable.Descriptor(); }

 private:
  friend class Operation;

  void Add(std::size_t replies);
  void Remove(std::size_t replies);

  std::mutex fMutex;  // guards the member below, and the replies of the operations
  std::size_t fWaiting = 0;
  const Wakeup fReadable;
};

/// One operation of the wrapper. Its owner, who takes the replies, shares it with the session, which asks the
/// responder. Each kind turns the messages of Avahi's client library into replies of the published interface.
class Operation {
 public:
  /// The number of replies that may wait for the owner. With more, the operation fails: the owner is slower
  /// than the network.
  static constexpr std::size_t kMaxReplies = 100'000;

  explicit Operation(std::shared_ptr<ReplySignal> signal) : fSignal(std::move(signal)) {}
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;
  virtual ~Operation() = default;

  // The owner's side.

  /// Calls back with the next reply, if there is one. The failure of an operation comes once, after all
  /// replies: as a reply, or as the result of a browse.
  DNSServiceErrorType Deliver(DNSServiceRef ref);
  /// Waits until the responder has accepted or refused the operation, but no longer than the limit. An error
  /// if it has refused.
  DNSServiceErrorType WaitUntilBegun(std::chrono::milliseconds limit);
  /// Whether the responder has accepted the operation. Any thread.
  [[nodiscard]] bool HasBegun() const { return fHasBegun; }
  /// Declares that nobody takes replies any more. Any thread.
  void Release() noexcept;

  // The session's side, on its thread. The session does not destroy an operation that has an object of the
  // client.

  [[nodiscard]] bool IsReleased() const { return fReleased; }
  /// Makes the client's object. False if that failed, with the client's error.
  virtual bool Begin(AvahiClient& client) = 0;
  /// Frees the client's object, if there is one. Negative if the responder did not answer.
  virtual int End() = 0;
  /// Forgets the object, which its client has freed.
  virtual void Forget() = 0;
  /// Whether the object may end now and start again later without a loss.
  [[nodiscard]] virtual bool MayPause() const { return false; }
  void NoteBegun();
  void Fail() noexcept;

 protected:
  using Reply = std::function<void(DNSServiceRef)>;

  void Tell(Reply reply);
  virtual DNSServiceErrorType DeliverFailure(DNSServiceRef ref) = 0;

  /// Runs the body of a library callback. An exception, for example for missing memory, fails the operation.
  template <typename Action>
  void Guarded(Action action) noexcept {
    try {
      action();
    } catch (...) {
      Fail();
    }
  }

 private:
  enum class Failure { kNone, kUntold, kTold };

  [[nodiscard]] std::size_t Waiting() const;

  const std::shared_ptr<ReplySignal> fSignal;  // its mutex guards what is below
  std::atomic<bool> fReleased{false};          // set under the mutex
  std::atomic<bool> fHasBegun{false};          // set under the mutex
  std::condition_variable fChanged;
  std::deque<Reply> fReplies;
  Failure fFailure = Failure::kNone;
};

}  // namespace vorn
