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
/// Callbacks run inside ProcessResult, on the thread that calls it, one reply a
/// call at most; the operation's socket stays readable while replies wait.
/// Strings handed to them may be null. One operation must not be touched by two
/// threads at once; deallocating it inside its own callback is safe.
///
/// An operation stays open until it is deallocated, and may call back more than
/// once. An address look-up tells each address that the host has (with the add
/// flag) and each that it no longer has (without), a changed address as one of
/// each in either order, for as long as it stays open. A reply with an error is
/// the last one of a resolve or an address look-up. ProcessResult fails when its
/// browse has ended, with the responder for example; then it calls back no more.
///
/// Browse waits for the responder for a moment, to report a refusal. No other
/// call blocks. What the responder refuses later comes as a reply with an error,
/// or for a browse as a failure of ProcessResult. Beginning an operation may
/// throw std::bad_alloc, and then there is none.
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
  /// Whether the responder has accepted the operation. Any thread.
  virtual bool HasBegun(DNSServiceRef ref) = 0;
  virtual int RefSockFD(DNSServiceRef ref) = 0;
  virtual DNSServiceErrorType ProcessResult(DNSServiceRef ref) = 0;
  virtual void RefDeallocate(DNSServiceRef ref) = 0;
};

}  // namespace vorn
