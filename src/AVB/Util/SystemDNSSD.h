#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "AVB/Util/DNSSD.h"

namespace vorn {

class AddressSession;

/// DNSSD over the DNS-SD compatibility library of Avahi.
///
/// It supplies what that library lacks or gets wrong: the address lookup, by
/// Avahi's own client library; memory that is zeroed when handed out, since the
/// compatibility library leaves callback fields of re-used memory unset; and
/// contexts that carry their operation's kind, so that a reply that reaches the
/// wrong callback is dropped.
class SystemDNSSD final : public DNSSD {
 public:
  /// The one instance, never destroyed, since a thread stuck in the library may
  /// outlive main. The first call must come before any other use of an Avahi
  /// library in the process and, because it sets an environment variable,
  /// before threads start.
  static SystemDNSSD& Instance();

  ~SystemDNSSD() override;

  DNSServiceErrorType Browse(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                             const char* type, const char* domain, DNSServiceBrowseReply callback,
                             void* context) override;
  DNSServiceErrorType Resolve(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                              const char* name, const char* type, const char* domain,
                              DNSServiceResolveReply callback, void* context) override;
  /// Looks up one kind of address only, IPv4, and calls back once at most, with
  /// a time to live of 0: the responder does not tell it. A host without such an
  /// address never calls back. Does not wait for the responder: what it refuses
  /// comes as a reply with an error, the only one.
  DNSServiceErrorType GetAddrInfo(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                                  std::uint32_t protocol, const char* hostName,
                                  DNSServiceGetAddrInfoReply callback, void* context) override;
  int RefSockFD(DNSServiceRef ref) override;
  DNSServiceErrorType ProcessResult(DNSServiceRef ref) override;
  void RefDeallocate(DNSServiceRef ref) override;

 private:
  struct Operation;
  using Operations = std::map<DNSServiceRef, std::unique_ptr<Operation>>;

  SystemDNSSD();

  template <typename Start>
  DNSServiceErrorType StartOperation(DNSServiceRef* ref, std::unique_ptr<Operation> operation, Start start);

  // The caller holds the mutex.
  void Insert(Operations::node_type operation);

  std::optional<Operation> FindAddressOperation(DNSServiceRef ref);

  std::mutex fMutex;         // guards everything below
  Operations fOperations;    // among them the library's contexts, while it may use them
  std::size_t fLookups = 0;  // how many of them are resolves or address lookups
  // From the first address lookup until there are no lookups of either kind: a
  // resolve is followed by an address lookup, and a connection takes its time.
  std::unique_ptr<AddressSession> fSession;
};

}  // namespace vorn
