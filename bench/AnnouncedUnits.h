#pragma once

#include <cstdint>
#include <string>

#include "AVB/Util/DNSSD.h"

namespace vorn::bench {

/// A network on which so many units are announced and every question is
/// answered at once: what is built on discovery can be measured without a
/// responder. The units' hosts, "u0.local" and on, all have the address
/// 127.0.0.1; the unit's number is its uid.
///
/// Like the real library it calls back from ProcessResult, one reply a call.
/// Operations may be made on one thread and processed on another, never on two
/// at once.
class AnnouncedUnits final : public DNSSD {
 public:
  AnnouncedUnits(std::size_t count, std::uint16_t port);

  DNSServiceErrorType Browse(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                             const char* type, const char* domain, DNSServiceBrowseReply callback,
                             void* context) override;
  DNSServiceErrorType Resolve(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                              const char* name, const char* type, const char* domain,
                              DNSServiceResolveReply callback, void* context) override;
  DNSServiceErrorType GetAddrInfo(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                                  std::uint32_t protocol, const char* hostName,
                                  DNSServiceGetAddrInfoReply callback, void* context) override;
  bool HasBegun(DNSServiceRef /*ref*/) override { return true; }
  int RefSockFD(DNSServiceRef ref) override;
  DNSServiceErrorType ProcessResult(DNSServiceRef ref) override;
  void RefDeallocate(DNSServiceRef ref) override;

 private:
  const std::size_t fCount;
  const std::uint16_t fPort;
};

}  // namespace vorn::bench
