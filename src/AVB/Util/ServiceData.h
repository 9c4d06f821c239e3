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

/// Owns one pending DNS-SD operation, or none. Replacing or destroying it deallocates the operation, which
/// may block while the responder is slow.
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
  /// The operation that a record needs next, while it waits for a place, or the operation that it has
  /// pending.
  enum class Lookup { kResolve, kAddress };

  ServiceData(std::uint32_t interface, std::string instanceName, std::string serviceType,
              std::string replyDomain);

  const std::uint32_t uniqueId;  ///< counts all records from 1; nothing reads it
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
  bool resolved = false;               ///< the record has an address; clients see only such records

  // The data to start a look-up, or to start it again.
  Lookup lookup = Lookup::kResolve;
  bool everStarted = false;            ///< a look-up of this record was started once
  std::string hostTarget;              ///< the host as the resolve gave it
  std::uint32_t addressInterface = 0;  ///< the interface of the resolve's answer
  Clock::time_point startedAt{};       ///< when the pending operation was started

  /// Whether a look-up of this record is pending.
  [[nodiscard]] bool IsOpen() const { return resolveRef || addressRef; }
};

/// The host name without its final dot, if it ends in ".local."; otherwise unchanged. One exception: a name
/// of exactly six characters without ".local." also loses its last character. That follows from comparing
/// "not found" with the length less seven in unsigned numbers, and is kept.
[[nodiscard]] std::string TrimLocalHost(std::string host);

/// Four bytes as dotted decimal without leading zeros.
[[nodiscard]] std::string DottedDecimal(const std::array<std::uint8_t, 4>& address);

}  // namespace vorn
