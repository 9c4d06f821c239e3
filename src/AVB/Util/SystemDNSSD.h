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

/// DNSSD over Avahi's client library: all operations share one session, which
/// lasts from the first operation to the last. The compatibility library lends
/// its types and its reading of TXT records alone.
///
/// When the responder goes, every operation has failed; the next one finds the
/// next responder.
class SystemDNSSD final : public DNSSD {
 public:
  /// How long Browse waits for the responder. The callers' thread may be the one
  /// that serves the user, so a responder that hangs must not hold it for longer.
  static constexpr std::chrono::milliseconds kBrowseTime{250};

  /// The one instance, never destroyed, since a thread that waits for a hung
  /// responder may outlive main. The first call sets an environment variable, so
  /// it must come before threads start.
  static SystemDNSSD& Instance();

  /// How many threads were left behind in a call to a hung responder and have
  /// not ended yet. A program with such threads ends with _exit. Any thread.
  [[nodiscard]] std::size_t AbandonedThreads() const { return fAbandonedThreads; }

  ~SystemDNSSD() override;

  /// Returns once the responder has accepted or refused the browse, or after the
  /// browse time. A browse that is refused later fails in ProcessResult.
  DNSServiceErrorType Browse(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                             const char* type, const char* domain, DNSServiceBrowseReply callback,
                             void* context) override;
  DNSServiceErrorType Resolve(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                              const char* name, const char* type, const char* domain,
                              DNSServiceResolveReply callback, void* context) override;
  /// Looks up one kind of address only, IPv4, with a time to live of 0: the
  /// responder does not tell it. A host without such an address never calls back.
  DNSServiceErrorType GetAddrInfo(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                                  std::uint32_t protocol, const char* hostName,
                                  DNSServiceGetAddrInfoReply callback, void* context) override;
  bool HasBegun(DNSServiceRef ref) override;
  int RefSockFD(DNSServiceRef ref) override;
  DNSServiceErrorType ProcessResult(DNSServiceRef ref) override;
  /// Waits 100 ms at most, for the session's end, when it was the last operation.
  void RefDeallocate(DNSServiceRef ref) override;

 private:
  // What a reference points to. The last one takes the session with it.
  struct Held {
    std::shared_ptr<Operation> operation;
    std::shared_ptr<AvahiSession> session;
  };

  SystemDNSSD();

  static Held& Of(DNSServiceRef ref) { return *reinterpret_cast<Held*>(ref); }
  template <typename Kind, typename... Arguments>
  DNSServiceErrorType Start(DNSServiceRef* ref, Arguments... arguments);
  std::shared_ptr<AvahiSession> Session();

  std::atomic<std::size_t> fAbandonedThreads{0};
  std::mutex fMutex;  // guards the following
  std::weak_ptr<AvahiSession> fSession;
};

}  // namespace vorn
