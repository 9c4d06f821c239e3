#pragma once

#include <map>
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
 public:
  /// Host name to its addresses in dotted decimal form.
  using Table = std::map<std::string, std::vector<std::string>>;
  static constexpr std::size_t kMaxAddresses = 4;

  /// True when the host's last label is "local", in any case, with or without
  /// the final dot, and something stands before it.
  [[nodiscard]] static bool IsLocal(std::string_view host);

  /// Puts the given table in the place of the old one. Names that differ only
  /// in case or in the final dot are one host; its addresses are put together
  /// in their order, each once.
  void Replace(const Table& table);

  /// The host's addresses; none when the host is not in the table.
  [[nodiscard]] std::vector<std::string> AddressesOf(std::string_view host) const;

 private:
  mutable std::mutex fMutex;
  Table fTable;  ///< guarded by fMutex; keyed by the lower-case name without final dot
};

}  // namespace DeviceList
