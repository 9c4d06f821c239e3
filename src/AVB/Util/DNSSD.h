#pragma once

#include <dns_sd.h>
#include <sys/socket.h>

#include <cstdint>

namespace vorn {

/// Reply of an address lookup, with the signature that dns_sd.h publishes where
/// the library has the call. `address` is null when the record was not usable.
using DNSServiceGetAddrInfoReply = void (*)(DNSServiceRef ref, DNSServiceFlags flags,
                                            std::uint32_t interfaceIndex, DNSServiceErrorType error,
                                            const char* hostName, const sockaddr* address,
                                            std::uint32_t timeToLive, void* context);

inline constexpr std::uint32_t kDNSServiceProtocol_IPv4 = 1;

/// The narrow wrapper over dns_sd.h: the calls that the discovery engine makes,
/// replaceable for tests. Arguments and results are those of the published
/// interface.
///
/// Callbacks run inside ProcessResult, on the thread that calls it. Strings
/// handed to them may be null. Creating and deallocating operations may block
/// for as long as the responder does not answer; creating one may throw
/// std::bad_alloc, and then there is none. One operation must not be
/// touched by two threads at once; deallocating it inside its own callback is
/// safe.
class DNSSD {
 public:
  DNSSD() = default;
  DNSSD(const DNSSD&) = delete;
  DNSSD& operator=(const DNSSD&) = delete;
  virtual ~DNSSD() = default;

  virtual DNSServiceErrorType Browse(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                                     const char* type, const char* domain, DNSServiceBrowseReply callback,
                                     void* context) = 0;
  virtual DNSServiceErrorType Resolve(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                                      const char* name, const char* type, const char* domain,
                                      DNSServiceResolveReply callback, void* context) = 0;
  virtual DNSServiceErrorType GetAddrInfo(DNSServiceRef* ref, DNSServiceFlags flags,
                                          std::uint32_t interfaceIndex, std::uint32_t protocol,
                                          const char* hostName, DNSServiceGetAddrInfoReply callback,
                                          void* context) = 0;
  virtual int RefSockFD(DNSServiceRef ref) = 0;
  virtual DNSServiceErrorType ProcessResult(DNSServiceRef ref) = 0;
  virtual void RefDeallocate(DNSServiceRef ref) = 0;
};

}  // namespace vorn
