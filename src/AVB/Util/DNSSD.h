#pragma once

#include <dns_sd.h>
#include <sys/socket.h>

#include <cstdint>
#include <string>

namespace vorn {

/// The text of a string of the library, which may be null; then it is empty.
[[nodiscard]] inline std::string Text(const char* string) {
  return string == nullptr ? std::string() : std::string(string);
}

/// Reply of an address look-up, with the signature that dns_sd.h publishes if the library has the call.
/// `address` is null if the record was not usable.
using DNSServiceGetAddrInfoReply = void (*)(DNSServiceRef ref, DNSServiceFlags flags,
                                            std::uint32_t interfaceIndex, DNSServiceErrorType error,
                                            const char* hostName, const sockaddr* address,
                                            std::uint32_t timeToLive, void* context);

inline constexpr std::uint32_t kDNSServiceProtocol_IPv4 = 1;

/// Starts the operation on the connection in `*ref`, with the value that dns_sd.h publishes.
inline constexpr DNSServiceFlags kDNSServiceFlagsShareConnection = 0x4000;

/// A narrow wrapper over dns_sd.h: the calls that the discovery engine makes. Tests and other backends can
/// replace it. Arguments and results are those of the published interface.
///
/// Callbacks run inside ProcessResult, on the thread that calls it, at most one reply of each operation for
/// each call. The operation's socket stays readable while replies wait. Strings in replies may be null. Two
/// threads must not use one operation at the same time. An operation may be deallocated inside its own
/// callback.
///
/// An operation stays open until it is deallocated, and it may call back more than once. While an address
/// look-up is open, it reports each address that the host gets (with the add flag) and each address that the
/// host loses (without it). A changed address is one of each, in either order. A reply with an error is the
/// last one of a resolve or an address look-up. ProcessResult fails when its browse has ended, for example
/// with the responder. After that it calls back no more.
///
/// Operations may share a connection. They have its socket, and ProcessResult of the connection calls back
/// for all of them. They are used by one thread at a time, and deallocated before the connection. The
/// connection does not end with the responder: its operations fail, and later ones may start on it.
///
/// Browse waits for the responder for a moment, to report a refusal. No other call blocks. A later refusal
/// comes as a reply with an error, or for a browse as a failure of ProcessResult. The start of an operation
/// may throw std::bad_alloc, and then there is no operation.
class DNSSD {
 public:
  DNSSD() = default;
  DNSSD(const DNSSD&) = delete;
  DNSSD& operator=(const DNSSD&) = delete;
  virtual ~DNSSD() = default;

  virtual DNSServiceErrorType CreateConnection(DNSServiceRef* ref) = 0;
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
