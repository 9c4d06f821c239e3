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

/// Browses for one DNS-SD service type, resolves every instance to host, port,
/// TXT items and one IPv4 address, and keeps the result for a client to copy.
///
///   browse add -> [waiting for a place] -> resolve -> address lookup -> resolved
///                         ^_____________ unanswered for 5 s, 480 open, others waiting
///
/// Each lookup is one-shot: later TXT, port or address changes of a living
/// instance are not seen, except in the addresses of hosts that are followed. A
/// lookup that fails is released and not begun again; its record stays, unresolved,
/// and goes with the removal of its name.
///
/// Newcomers come first: 48 lookups begin at a time, each until it is answered
/// or 250 ms old. Older ones stay open beside them, 480 in all; beyond that, those
/// unanswered for 5 s give way to others. Waiting records begin in the order of
/// their adds, those that gave way after all others. An address lookup follows
/// its resolve at once, whatever the numbers.
///
/// Threads: one service thread waits on all pending operations and runs every
/// callback. It alone creates, processes and deallocates operations (the browse
/// is created before it exists), so none is ever touched by two threads. It
/// wakes at least every 100 ms, handles one reply a cycle and takes no signals.
///
/// The engine never recovers by itself from the responder's end: after an error
/// of the wait or of the library it stops in silence and its records stay as
/// they are. Its owner replaces it.
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

  /// Lookups that begin at a time.
  static constexpr std::size_t kMaxBeginning = 48;
  /// How long an unanswered lookup counts as beginning.
  static constexpr std::chrono::milliseconds kBeginningTime{250};
  /// Lookups open at once, of any age.
  static constexpr std::size_t kMaxOpen = 480;
  /// How long a lookup stays open unanswered while others have no place.
  static constexpr std::chrono::seconds kOpenTime{5};

  /// Starts nothing. `item` is queued at every change that the functions below
  /// name, from the service thread with the engine's mutex held; it and `dnssd`
  /// outlive the engine.
  explicit ZeroConfEngine(WorkItem& item, DNSSD& dnssd = SystemDNSSD::Instance(), Now now = Clock::now);
  ZeroConfEngine(const ZeroConfEngine&) = delete;
  ZeroConfEngine& operator=(const ZeroConfEngine&) = delete;

  /// Stops the service thread, which releases every operation, and joins it. The
  /// work item is not touched any more once this returns.
  virtual ~ZeroConfEngine();

  /// Starts browsing; to be called once, a second successful call ends the
  /// process. Returns 0, or 3 when the responder refused. Waits a moment for a
  /// responder that does not answer, then goes on without it: IsBrowsing tells
  /// when it has answered. Throws std::system_error when the thread cannot be
  /// started.
  int BrowseForService(const std::string& type);

  /// Replaces `services` with the resolved services, in the order in which
  /// their resolves were started. Returns 0. Any thread.
  int GetResolvedServices(std::vector<ServiceInfo>& services) const;

  /// Whether the resolved services may have changed since the last call. The
  /// client's item is queued at every change. Any thread.
  bool TestAndClearModified();

  /// Follows the IPv4 addresses of these hosts (as in ServiceInfo, in ".local")
  /// in the place of those of before, whatever becomes of the services. Resolved
  /// services and TestAndClearModified know nothing of it; the client's item is
  /// queued when FollowedAddresses has changed. Any thread.
  void Follow(std::vector<std::string> hosts);

  /// What is known of the followed hosts. Any thread.
  [[nodiscard]] FollowedHosts::ByHost FollowedAddresses() const;

  /// Whether changes of the network are noticed. False before the responder has
  /// accepted the browse, and for good once it was refused or has ended by
  /// itself: then a fresh engine is needed. The client's item is queued when this
  /// changes after BrowseForService has returned. Any thread.
  [[nodiscard]] bool IsBrowsing() const;

 private:
  class Impl;

  const std::unique_ptr<Impl> fImpl;
};

}  // namespace vorn
