#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace DeviceList {

/// The IPv4 addresses of ".local" hosts as discovery learnt them: written as a
/// whole by the discovery side, read by the units' HTTP clients before each
/// request, so that units are reached even where the system itself cannot
/// resolve ".local".
///
/// Announcements are strangers' text. The table therefore holds nothing but
/// hosts that end in ".local" and well-formed dotted addresses, at most
/// kMaxAddresses a host; all else is left out. No announcement can give the
/// address of another kind of host.
///
/// @threadsafety Every function may be called from any thread, at any time;
/// none blocks for longer than a copy of its data.
class LocalHosts {
  using Changed = std::function<void()>;
  using Listeners = std::multimap<std::string, Changed, std::less<>>;

 public:
  /// Host name to its addresses in dotted decimal form.
  using Table = std::map<std::string, std::vector<std::string>>;
  static constexpr std::size_t kMaxAddresses = 4;

  /// True when the host's last label is "local", in any case, with or without
  /// the final dot, and something stands before it.
  [[nodiscard]] static bool IsLocal(std::string_view host);

  /// The name by which a host is known, however it is written: in lower case,
  /// without the final dot.
  [[nodiscard]] static std::string KeyOf(std::string_view host);

  /// True for two names that differ in nothing but case and the final dot.
  [[nodiscard]] static bool IsSameName(std::string_view one, std::string_view other);

  /// For as long as it lives, a function is called after each change of one
  /// host's addresses, and of no other host's. It runs on the thread that
  /// changes the table and under the table's lock: it must neither block nor
  /// throw nor use the table. Once the destructor has returned it runs no more.
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

  /// Puts the given table in the place of the old one. Names that differ only
  /// in case or in the final dot are one host; its addresses are put together
  /// in their order, each once.
  void Replace(const Table& table);

  /// The host's addresses; none when the host is not in the table.
  [[nodiscard]] std::vector<std::string> AddressesOf(std::string_view host) const;

 private:
  void CallListenersOf(const std::string& key) const;

  // Both keyed by the lower-case name without final dot.
  mutable std::mutex fMutex;
  Table fTable;                  ///< guarded by fMutex
  mutable Listeners fListeners;  ///< guarded by fMutex; listening changes no table
};

}  // namespace DeviceList
