#pragma once

#include <avahi-client/client.h>
#include <avahi-common/simple-watch.h>

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "AVB/Util/Operation.h"
#include "foundation/FileDescriptor.h"

namespace vorn {

/// Runs operations on one client of Avahi's library. Every call of that library is made inside Run, one call
/// at a time between the responder's messages. So only Run waits for a slow responder.
///
/// When the responder goes, or does not answer a call, all operations that it has accepted fail, and the next
/// one starts on a new client. If the responder has no room for an operation, it starts as soon as there is
/// room.
class AvahiLoop {
 public:
  /// Throws std::system_error if no descriptor is left.
  AvahiLoop() = default;
  AvahiLoop(const AvahiLoop&) = delete;
  AvahiLoop& operator=(const AvahiLoop&) = delete;

  /// Starts the operation. If it throws std::bad_alloc, the operation does not start. Any thread; does not
  /// block.
  void Begin(std::shared_ptr<Operation> operation);
  /// Ends the operation, which gets no more replies. Any thread; does not block.
  void End(Operation& operation) noexcept;

  /// Serves operations until Stop. Releases the client before it returns.
  void Run();
  /// Makes Run return after its current call. Any thread; does not block.
  void Stop() noexcept;

 private:
  struct PollDeleter {
    void operator()(AvahiSimplePoll* poll) const { ::avahi_simple_poll_free(poll); }
  };
  struct ClientDeleter {
    void operator()(AvahiClient* client) const { ::avahi_client_free(client); }
  };

  static void OnWakeup(AvahiWatch* watch, int descriptor, AvahiWatchEvent event, void* loop);
  static void OnClient(AvahiClient* client, AvahiClientState state, void* loop);

  void MakePoll();
  void ServeOnce();
  bool EndOne();
  bool BeginOne();
  void BeginNow(const std::shared_ptr<Operation>& operation);
  bool MakeRoom();
  void FailAllNew();
  bool Connect();
  void Disconnect();
  std::shared_ptr<Operation> FirstNew();
  void RemoveNew(const std::shared_ptr<Operation>& operation);

  const Wakeup fWakeup;
  std::atomic<bool> fStop{false};
  std::mutex fMutex;  // guards fNew
  std::deque<std::shared_ptr<Operation>> fNew;

  // Only for Run. A client refers to its poll, and an operation's object refers to the client.
  std::unique_ptr<AvahiSimplePoll, PollDeleter> fPoll;
  std::unique_ptr<AvahiClient, ClientDeleter> fClient;
  std::vector<std::shared_ptr<Operation>> fOpen;
  bool fClientFailed = false;  // it must be replaced
  bool fIsFull = false;        // the responder accepts no more until something ends
};

}  // namespace vorn
