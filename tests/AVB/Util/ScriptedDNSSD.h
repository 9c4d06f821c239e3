#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "AVB/Util/DNSSD.h"
#include "foundation/FileDescriptor.h"

namespace vorn::testing {

/// A DNS-SD library without a network. The test chooses the replies to each operation. It sees which
/// operations were started, used and released, on which thread and in which order. Like the real library, it
/// delivers replies inside ProcessResult. Connections are in none of its lists.
class ScriptedDNSSD final : public DNSSD {
 public:
  enum class Kind { kBrowse, kResolve, kAddress, kFollow, kConnection };

  ScriptedDNSSD();
  ~ScriptedDNSSD() override;

  // The results of the next calls.
  std::function<DNSServiceErrorType(const std::string& name)> onResolve;      ///< called before each resolve
  std::function<DNSServiceErrorType(const std::string& host)> onGetAddrInfo;  ///< called before each look-up
  DNSServiceErrorType browseError = kDNSServiceErr_NoError;
  bool browseGivesReference = true;
  std::atomic<bool> browseHasBegun{true};  ///< false: the responder has not accepted the browse yet
  DNSServiceErrorType processError = kDNSServiceErr_NoError;
  int lowestSocket = 0;       ///< sockets of new operations get numbers from here on
  std::string deafOperation;  ///< such an operation has a socket number that is not open

  // Replies. A reply to a look-up goes to the pending operation for that name or host (the first one, if
  // there are several).
  void ReplyBrowse(DNSServiceFlags flags, const char* name, std::uint32_t interfaceIndex = 1,
                   DNSServiceErrorType error = kDNSServiceErr_NoError, const char* type = "_http._tcp.",
                   const char* domain = "local.");
  void ReplyAdd(const std::string& name, std::uint32_t interfaceIndex = 1) {
    ReplyBrowse(kDNSServiceFlagsAdd, name.c_str(), interfaceIndex);
  }
  void ReplyRemove(const std::string& name) { ReplyBrowse(0, name.c_str()); }
  void ReplyResolve(const std::string& name, const char* host, std::uint16_t port = 80,
                    const std::string& txt = {}, DNSServiceErrorType error = kDNSServiceErr_NoError);
  void ReplyAddress(const std::string& host, const std::string& address = "192.168.1.20",
                    DNSServiceFlags flags = kDNSServiceFlagsAdd,
                    DNSServiceErrorType error = kDNSServiceErr_NoError);
  /// To an address look-up on any interface; followed hosts use these.
  void ReplyFollowed(const std::string& host, const std::string& address,
                     DNSServiceFlags flags = kDNSServiceFlagsAdd, std::uint32_t interfaceIndex = 7,
                     DNSServiceErrorType error = kDNSServiceErr_NoError);
  /// Runs `reply` as the pending operation's reply, with its reference and context.
  void ReplyWith(const std::string& operation, std::function<void(DNSServiceRef, void*)> reply);
  /// Calls back with a null address.
  void ReplyNoAddress(const std::string& host);

  /// Holds all replies back until Release; then several become ready at once.
  void Hold();
  void Release();

  // What happened. Each waits up to ten seconds until it is true.
  bool WaitForBegun(const std::string& operation, std::size_t times = 1);
  bool WaitForReleased(const std::string& operation, std::size_t times = 1);
  bool WaitForHandled(std::size_t replies);
  /// Waits until every reply until now was handled, and for one more cycle.
  bool WaitUntilIdle();

  // "browse", "resolve NAME", "address HOST", "follow HOST", in order.
  [[nodiscard]] std::vector<std::string> Begun();
  [[nodiscard]] std::vector<std::string> Released();
  [[nodiscard]] std::vector<std::string> Handled();
  /// Every call that starts an operation, with all of its arguments in order.
  [[nodiscard]] std::vector<std::string> Calls();
  [[nodiscard]] std::size_t MostPendingLookups();
  /// Threads that created, processed or released operations, without the creation of the browse.
  [[nodiscard]] std::set<std::thread::id> Threads();
  /// Whether two threads ever used an operation at once, or a thread used it after its release.
  [[nodiscard]] bool Misused();
  /// The browse callback, to call it as no library would.
  [[nodiscard]] DNSServiceBrowseReply BrowseReply() { return fBrowseReply; }
  [[nodiscard]] DNSServiceResolveReply ResolveReply() { return fResolveReply; }
  [[nodiscard]] DNSServiceGetAddrInfoReply AddressReply() { return fAddressReply; }
  [[nodiscard]] DNSServiceGetAddrInfoReply FollowReply() { return fFollowReply; }

  DNSServiceErrorType CreateConnection(DNSServiceRef* ref) override;
  DNSServiceErrorType Browse(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                             const char* type, const char* domain, DNSServiceBrowseReply callback,
                             void* context) override;
  DNSServiceErrorType Resolve(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                              const char* name, const char* type, const char* domain,
                              DNSServiceResolveReply callback, void* context) override;
  DNSServiceErrorType GetAddrInfo(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                                  std::uint32_t protocol, const char* hostName,
                                  DNSServiceGetAddrInfoReply callback, void* context) override;
  bool HasBegun(DNSServiceRef) override { return browseHasBegun; }
  int RefSockFD(DNSServiceRef ref) override;
  DNSServiceErrorType ProcessResult(DNSServiceRef ref) override;
  void RefDeallocate(DNSServiceRef ref) override;

 private:
  struct Operation;
  using Reply = std::function<void(DNSServiceRef)>;

  void Record(const std::string& call);
  DNSServiceRef Begin(Kind kind, const std::string& key, DNSServiceRef connection = nullptr);
  DNSServiceRef NextWithReply(DNSServiceRef ref);
  void PostAddress(const std::string& operation, const std::string& host, const std::string& address,
                   DNSServiceFlags flags, std::uint32_t interfaceIndex, DNSServiceErrorType error);
  void Post(const std::string& description, Reply reply);
  bool WaitFor(const std::function<bool()>& condition);
  Operation* Pending(const std::string& description);
  void Signal(const Operation& operation);

  std::mutex fMutex;
  std::condition_variable fChanged;
  std::map<DNSServiceRef, std::unique_ptr<Operation>> fOperations;
  std::uintptr_t fNextRef = 0x1000;
  std::vector<std::string> fBegun;
  std::vector<std::string> fReleased;
  std::vector<std::string> fHandled;
  std::vector<std::string> fCalls;
  std::set<std::thread::id> fThreads;
  std::size_t fPosted = 0;
  std::size_t fMostPending = 0;
  bool fMisused = false;
  bool fHeld = false;
  DNSServiceBrowseReply fBrowseReply = nullptr;
  DNSServiceResolveReply fResolveReply = nullptr;
  DNSServiceGetAddrInfoReply fAddressReply = nullptr;
  DNSServiceGetAddrInfoReply fFollowReply = nullptr;
};

/// The wire form of a TXT record with these items ("key=value" or "key").
std::string TxtBytes(const std::vector<std::string>& items);

}  // namespace vorn::testing
