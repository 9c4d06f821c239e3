#pragma once

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-common/simple-watch.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "AVB/Util/AddressLookup.h"
#include "foundation/FileDescriptor.h"

namespace vorn {

/// Asks the responder for the addresses of hosts, for all lookups on one
/// connection to it.
///
/// Every call of Avahi's client library is made on the session's own thread, so
/// nobody else waits for a slow responder. When the responder goes, or does not
/// answer a call, the connection is given up and every open question asked again
/// on a new one. An error is the answer where none is to be had, where the
/// responder refuses a question, and where asking failed twice.
class AddressSession {
 public:
  /// Starts the thread. Throws std::system_error when there is none to be had.
  AddressSession();
  AddressSession(const AddressSession&) = delete;
  AddressSession& operator=(const AddressSession&) = delete;
  /// Gives every lookup up and joins the thread, which waits for the responder
  /// to answer the call that is under way: 25 seconds if it hangs.
  ~AddressSession();

  /// Has the lookup answered. Throws std::bad_alloc, and then it is not. Any
  /// thread; does not block.
  void Begin(std::shared_ptr<AddressLookup> lookup);
  /// Has lookups that were given up forgotten. Any thread; does not block.
  void Wake();

 private:
  struct PollDeleter {
    void operator()(AvahiSimplePoll* poll) const { ::avahi_simple_poll_free(poll); }
  };
  struct ClientDeleter {
    void operator()(AvahiClient* client) const { ::avahi_client_free(client); }
  };

  struct Question {
    std::shared_ptr<AddressLookup> lookup;
    AvahiRecordBrowser* browser = nullptr;  // the client's; none: still to be asked
    bool hasFailed = false;                 // asking failed once, with the connection
  };

  static void OnWakeup(AvahiWatch* watch, int descriptor, AvahiWatchEvent event, void* session);
  static void OnClient(AvahiClient* client, AvahiClientState state, void* session);
  static void OnRecord(AvahiRecordBrowser* browser, AvahiIfIndex interface, AvahiProtocol protocol,
                       AvahiBrowserEvent event, const char* name, std::uint16_t recordClass,
                       std::uint16_t type, const void* data, std::size_t size, AvahiLookupResultFlags flags,
                       void* lookup);

  void ThreadProc();
  void ServeOnce();
  void MakePoll();
  void TakeNewLookups();
  void ForgetSettledLookups();
  void AskOpenQuestions();
  void Ask(Question& question);
  bool Connect();
  void Disconnect();

  const FileDescriptor fWakeup;
  std::atomic<bool> fStop{false};
  std::mutex fMutex;  // guards fNew
  std::vector<std::shared_ptr<AddressLookup>> fNew;

  // The thread's own. A client refers to its poll.
  std::unique_ptr<AvahiSimplePoll, PollDeleter> fPoll;
  std::unique_ptr<AvahiClient, ClientDeleter> fClient;
  bool fClientFailed = false;  // it is to be replaced
  std::vector<Question> fQuestions;

  std::thread fThread;
};

}  // namespace vorn
