#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devicelist/http/RequestPace.h"
#include "foundation/Clock.h"

namespace DeviceList {

/// The IPv4 addresses of ".local" hosts from discovery. The discovery side writes the whole table, and the
/// units' HTTP clients read it before each request. So units can be reached even if the system itself cannot
/// resolve ".local".
///
/// Announcements are strangers' text. So the table only accepts hosts that end in ".local" and well-formed
/// dotted addresses, at most kMaxAddresses for each host. No announcement can give the address of another
/// kind of host.
///
/// @threadsafety Any thread may call every function at any time. None blocks for longer than a copy of its
/// data.
class LocalHosts {
  using Changed = std::function<void()>;
  using Listeners = std::multimap<std::string, Changed, std::less<>>;

 public:
  /// Host name to its addresses in dotted decimal form.
  using Table = std::map<std::string, std::vector<std::string>>;
  static constexpr std::size_t kMaxAddresses = 4;

  /// True if the host's last label is "local", in any case, with or without the final dot, and there is
  /// something before it.
  [[nodiscard]] static bool IsLocal(std::string_view host);

  /// The name of a host in one spelling: in lower case, without the final dot.
  [[nodiscard]] static std::string KeyOf(std::string_view host);

  /// True for two names that only differ in case and the final dot.
  [[nodiscard]] static bool IsSameName(std::string_view one, std::string_view other);

  /// While it lives, a function is called after each change of one host's addresses, but not for other hosts.
  /// It runs on the thread that changes the table and under the table's lock. It must neither block nor throw
  /// nor use the table. It does not run after the destructor has returned.
  class Subscription {
   public:
    Subscription(std::shared_ptr<const LocalHosts> hosts, std::string_view host, Changed changed);
    ~Subscription();
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

   private:
    const std::shared_ptr<const LocalHosts> fHosts;
    Listeners::iterator fListener;
  };

  /// `now` is the clock of the pace.
  explicit LocalHosts(vorn::Now now = vorn::Clock::now) : fPace(std::move(now)) {}

  /// Replaces the table. Names that only differ in case or in the final dot are one host. Its addresses are
  /// joined in their order, each once.
  void Replace(const Table& table);

  /// The host's addresses; none if the host is not in the table.
  [[nodiscard]] std::vector<std::string> AddressesOf(std::string_view host) const;

  /// When the units' clients may ask at an address, whatever host led them there.
  [[nodiscard]] RequestPace& Pace() const noexcept { return fPace; }

 private:
  void CallListenersOf(const std::string& key) const;

  // Both have the lower-case name without final dot as key.
  mutable std::mutex fMutex;
  Table fTable;                  ///< guarded by fMutex
  mutable Listeners fListeners;  ///< guarded by fMutex; listening does not change the table
  mutable RequestPace fPace;     ///< has a lock of its own; asking does not change the table
};

}  // namespace DeviceList
