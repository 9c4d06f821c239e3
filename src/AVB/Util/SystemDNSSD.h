#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>

#include "AVB/Util/DNSSD.h"

namespace vorn {

class AvahiSession;
class Operation;

/// DNSSD over Avahi's client library. All operations share one session, which lasts from the first operation
/// to the last. Of the compatibility library, it uses only the types and the reading of TXT records.
///
/// When the responder goes, every operation fails. The next operation uses the next responder.
class SystemDNSSD final : public DNSSD {
 public:
  /// How long Browse waits for the responder. The caller's thread may be the one that serves the user, so a
  /// hung responder must not hold it longer.
  static constexpr std::chrono::milliseconds kBrowseTime{250};

  /// The one instance. It is never destroyed, because a thread that waits for a hung responder may live
  /// longer than main. The first call sets an environment variable, so make it before threads start.
  static SystemDNSSD& Instance();

  /// How many threads were left behind in a call to a hung responder and still run. A program with such
  /// threads ends with _exit. Any thread.
  [[nodiscard]] std::size_t AbandonedThreads() const { return fAbandonedThreads; }

  ~SystemDNSSD() override;

  DNSServiceErrorType CreateConnection(DNSServiceRef* ref) override;
  /// Returns when the responder has accepted or refused the browse, or after the browse time. A browse that
  /// is refused later fails in ProcessResult.
  DNSServiceErrorType Browse(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                             const char* type, const char* domain, DNSServiceBrowseReply callback,
                             void* context) override;
  DNSServiceErrorType Resolve(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                              const char* name, const char* type, const char* domain,
                              DNSServiceResolveReply callback, void* context) override;
  /// Looks up one kind of address only, IPv4. The time to live is 0, because the responder does not report
  /// it. A host without such an address never calls back.
  DNSServiceErrorType GetAddrInfo(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                                  std::uint32_t protocol, const char* hostName,
                                  DNSServiceGetAddrInfoReply callback, void* context) override;
  bool HasBegun(DNSServiceRef ref) override;
  int RefSockFD(DNSServiceRef ref) override;
  DNSServiceErrorType ProcessResult(DNSServiceRef ref) override;
  /// For the last operation, waits at most 100 ms for the session's end.
  void RefDeallocate(DNSServiceRef ref) override;

 private:
  struct Connection;

  // What a reference points to. The last operation ends the session too.
  struct Held {
    std::shared_ptr<Connection> connection;
    std::shared_ptr<Operation> operation;  // none: the reference of a connection
    std::shared_ptr<AvahiSession> session;
  };

  SystemDNSSD();

  static Held& Of(DNSServiceRef ref) { return *reinterpret_cast<Held*>(ref); }
  template <typename Kind, typename... Arguments>
  DNSServiceErrorType Start(DNSServiceRef* ref, DNSServiceFlags flags, Arguments... arguments);
  std::shared_ptr<AvahiSession> Session();

  std::atomic<std::size_t> fAbandonedThreads{0};
  std::mutex fMutex;  // guards the members below
  std::weak_ptr<AvahiSession> fSession;
};

}  // namespace vorn
