#pragma once

#include <cstdint>
#include <string>

#include "AVB/Util/DNSSD.h"

namespace vorn::bench {

/// A network that announces this many units and answers every question at once. It measures what is built on
/// discovery, without a responder. The units' hosts are "u0.local" and so on. Each has an address of its own,
/// from 127.0.0.1 on; the unit's number is its uid.
///
/// Like the real library, it calls back from ProcessResult, one reply for each call. One thread may make an
/// operation and another one process it, but never two at once.
class AnnouncedUnits final : public DNSSD {
 public:
  /// The first `switches` units are switches, and the others devices.
  AnnouncedUnits(std::size_t count, std::uint16_t port, std::size_t switches = 0);

  /// Announces all units at 127.0.0.1, as one stranger does. Call it before anybody browses.
  void ShareOneAddress() { fIsAddressShared = true; }

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
  bool HasBegun(DNSServiceRef /*ref*/) override { return true; }
  int RefSockFD(DNSServiceRef ref) override;
  DNSServiceErrorType ProcessResult(DNSServiceRef ref) override;
  void RefDeallocate(DNSServiceRef ref) override;

 private:
  const std::size_t fCount;
  const std::uint16_t fPort;
  bool fIsAddressShared = false;
  const std::size_t fSwitches;
};

}  // namespace vorn::bench
