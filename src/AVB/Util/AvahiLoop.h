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

/// Runs operations on one client of Avahi's library. Every call of that library is
/// made inside Run, one call at a time between the responder's messages, so only
/// Run waits for a slow responder.
///
/// When the responder goes, or does not answer a call, all operations that it has
/// accepted have failed, and the next one is begun on a new client. One that the
/// responder has no room for is begun once there is room.
class AvahiLoop {
 public:
  /// Throws std::system_error when there is no descriptor left.
  AvahiLoop() = default;
  AvahiLoop(const AvahiLoop&) = delete;
  AvahiLoop& operator=(const AvahiLoop&) = delete;

  /// Has the operation begun. Throws std::bad_alloc, and then it is not. Any
  /// thread; does not block.
  void Begin(std::shared_ptr<Operation> operation);
  /// Has the operation, which gets no reply any more, ended. Any thread; does not block.
  void End(Operation& operation) noexcept;

  /// Serves operations until Stop; releases the client before it returns.
  void Run();
  /// Has Run return after the call that it is in. Any thread; does not block.
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

  // Run's own. A client refers to its poll, an operation's object to the client.
  std::unique_ptr<AvahiSimplePoll, PollDeleter> fPoll;
  std::unique_ptr<AvahiClient, ClientDeleter> fClient;
  std::vector<std::shared_ptr<Operation>> fOpen;
  bool fClientFailed = false;  // it is to be replaced
  bool fIsFull = false;        // the responder takes no more until something is ended
};

}  // namespace vorn
