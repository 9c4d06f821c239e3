#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "AVB/Util/DNSSD.h"
#include "AVB/Util/FollowedHosts.h"
#include "AVB/Util/SystemDNSSD.h"
#include "AVB/Util/TxtRecord.h"
#include "foundation/Clock.h"
#include "foundation/WorkLoop.h"

namespace vorn {

/// Browses for one DNS-SD service type and resolves every instance to host, port, TXT items and one IPv4
/// address. Keeps the result, and a client copies it.
///
///   browse add -> [waiting for a place] -> resolve -> address lookup -> resolved
///                         ^_____________ unanswered for 5 s, 480 open, others waiting
///
/// Each look-up is one-shot: later changes of the TXT items, port or address of a living instance are not
/// seen. The only exception are the addresses of followed hosts. A failed look-up is released and does not
/// start again. Its record stays, unresolved, until its name is removed.
///
/// New services come first: 48 look-ups start at a time, and each counts until it is answered or 250 ms old.
/// Older ones stay open beside them, 480 in all. Beyond that, look-ups without an answer for 5 s lose their
/// place to others. Waiting records start in the order of their adds. Those that lost their place come after
/// all others. An address look-up follows its resolve at once, without regard to these numbers.
///
/// Threads: one service thread waits for all pending operations and runs every callback. Only this thread
/// creates, processes and deallocates operations, so two threads never use the same one. The browse is an
/// exception: it is created before the thread exists. The thread wakes at least every 100 ms, handles one
/// reply in each cycle and takes no signals.
///
/// The engine never recovers from the responder's end by itself. After an error of the wait or of the library
/// it stops silently, and its records stay as they are. Its owner replaces it.
class ZeroConfEngine {
 public:
  /// One resolved service, as clients see it.
  struct ServiceInfo {
    std::string name;                    ///< service instance name
    std::string type;                    ///< service type, with a trailing dot
    std::string domain;                  ///< domain of the browse reply
    std::string fullName;                ///< full service name
    std::string host;                    ///< target host, without the last dot where it ends in ".local."
    std::string address;                 ///< the host's IPv4 address, dotted decimal
    std::uint16_t port = 0;              ///< host byte order
    std::vector<TxtRecordKeyValue> txt;  ///< in record order
  };

  /// Look-ups that start at a time.
  static constexpr std::size_t kMaxBeginning = 48;
  /// How long a look-up without an answer counts as starting.
  static constexpr std::chrono::milliseconds kBeginningTime{250};
  /// Look-ups open at once, of any age.
  static constexpr std::size_t kMaxOpen = 480;
  /// How long a look-up without an answer stays open while others have no place.
  static constexpr std::chrono::seconds kOpenTime{5};

  /// Starts nothing. The service thread queues `item` at every change that the functions below name, with the
  /// engine's mutex held. `item` and `dnssd` must live longer than the engine.
  explicit ZeroConfEngine(WorkItem& item, DNSSD& dnssd = SystemDNSSD::Instance(), Now now = Clock::now);
  ZeroConfEngine(const ZeroConfEngine&) = delete;
  ZeroConfEngine& operator=(const ZeroConfEngine&) = delete;

  /// Stops the service thread, which releases every operation, and joins it. After that, nothing uses the
  /// work item.
  virtual ~ZeroConfEngine();

  /// Starts browsing. Call it once; a second successful call ends the process. Returns 0, or 3 if the
  /// responder refused. Waits a moment for a responder that does not answer, then continues without it:
  /// IsBrowsing says when it has accepted the browse, and HasBrowsingEnded when it has refused it or given no
  /// answer for too long. Throws std::system_error if the thread cannot be started.
  int BrowseForService(const std::string& type);

  /// Replaces `services` with the resolved services, in the order in which their resolves were started.
  /// Returns 0. Any thread.
  int GetResolvedServices(std::vector<ServiceInfo>& services) const;

  /// Whether the resolved services may have changed since the last call. The
  /// client's item is queued at every change. Any thread.
  bool TestAndClearModified();

  /// Follows the IPv4 addresses of these hosts (as in ServiceInfo, in ".local") instead of the earlier hosts.
  /// This does not depend on the services, and it changes neither the resolved services nor
  /// TestAndClearModified. The client's item is queued when FollowedAddresses has changed. Any thread.
  void Follow(std::vector<std::string> hosts);

  /// What is known about the followed hosts. Any thread.
  [[nodiscard]] FollowedHosts::ByHost FollowedAddresses() const;

  /// Whether changes of the network are noticed. False before the responder has accepted the browse, and
  /// false for good when browsing has ended. The client's item is queued when this changes after
  /// BrowseForService has returned, and when browsing ends. Any thread.
  [[nodiscard]] bool IsBrowsing() const;

  /// Whether a new engine is needed: the browse was refused or has ended by itself. Also true before
  /// BrowseForService. Any thread.
  [[nodiscard]] bool HasBrowsingEnded() const;

 private:
  class Impl;

  const std::unique_ptr<Impl> fImpl;
};

}  // namespace vorn
