#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "AVB/Util/DNSSD.h"
#include "AVB/Util/TxtRecord.h"
#include "foundation/Clock.h"

namespace vorn {

/// Owns one pending DNS-SD operation, or none; replacing or destroying it
/// deallocates the operation, which may block while the responder is slow.
class OperationHandle {
 public:
  OperationHandle() = default;
  OperationHandle(DNSSD& dnssd, DNSServiceRef ref) : fDnssd(&dnssd), fRef(ref) {}
  OperationHandle(OperationHandle&& other) noexcept
      : fDnssd(other.fDnssd), fRef(std::exchange(other.fRef, nullptr)) {}
  OperationHandle& operator=(OperationHandle&& other) noexcept {
    if (this != &other) {
      Reset();
      fDnssd = other.fDnssd;
      fRef = std::exchange(other.fRef, nullptr);
    }
    return *this;
  }
  OperationHandle(const OperationHandle&) = delete;
  OperationHandle& operator=(const OperationHandle&) = delete;
  ~OperationHandle() { Reset(); }

  explicit operator bool() const { return fRef != nullptr; }
  [[nodiscard]] DNSServiceRef Get() const { return fRef; }
  void Reset() {
    if (fRef != nullptr) fDnssd->RefDeallocate(std::exchange(fRef, nullptr));
  }

 private:
  DNSSD* fDnssd = nullptr;  // not owned
  DNSServiceRef fRef = nullptr;
};

/// The engine's record of one browsed service instance. Destroying it
/// deallocates its operations.
struct ServiceData {
  /// Which operation a record asks for next, while it waits for a place or has
  /// the operation pending.
  enum class Lookup { kResolve, kAddress };

  ServiceData(std::uint32_t interface, std::string instanceName, std::string serviceType,
              std::string replyDomain);

  const std::uint32_t uniqueId;  ///< counts all records from 1; the rules fix it, nothing reads it
  int resolveSocket = -1;        ///< keeps its number after the operation has gone
  int addressSocket = -1;        ///< keeps its number after the operation has gone
  OperationHandle resolveRef;
  OperationHandle addressRef;
  std::uint32_t interfaceIndex;
  std::string name;
  std::string type;
  std::string domain;
  std::string fullName;
  std::string host;
  std::vector<TxtRecordKeyValue> txt;
  std::uint16_t port = 0;              ///< host byte order
  std::array<std::uint8_t, 4> ipv4{};  ///< first byte is the first dotted component
  bool resolved = false;               ///< an address has been obtained; clients see only such records

  // What it takes to start, or start again, a lookup.
  Lookup lookup = Lookup::kResolve;
  bool everStarted = false;            ///< a lookup of this record was begun once
  std::string hostTarget;              ///< the host as the resolve gave it
  std::uint32_t addressInterface = 0;  ///< the interface that the resolve answered on
  Clock::time_point startedAt{};       ///< when the pending operation was begun

  /// Whether a lookup of this record is pending.
  [[nodiscard]] bool IsOpen() const { return resolveRef || addressRef; }
};

/// The host name without the dot that ends it, if it ends in ".local.";
/// unchanged otherwise, except that a name of exactly six characters without
/// ".local." in it loses its last character too. That follows from comparing
/// "not found" with the length less seven in unsigned numbers, and is kept.
[[nodiscard]] std::string TrimLocalHost(std::string host);

/// Four bytes as dotted decimal without leading zeros.
[[nodiscard]] std::string DottedDecimal(const std::array<std::uint8_t, 4>& address);

}  // namespace vorn
