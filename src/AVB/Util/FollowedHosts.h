#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "AVB/Util/DNSSD.h"
#include "AVB/Util/ServiceData.h"
#include "foundation/Clock.h"

namespace vorn {

/// The addresses of one host, as they are known.
struct HostAddresses {
  std::vector<std::string> addresses;  ///< dotted decimal, the one last told first
  bool isComplete = false;             ///< the responder has had its time to tell all of them

  friend bool operator==(const HostAddresses&, const HostAddresses&) = default;
};

/// Keeps an address look-up open for each of some hosts, for as long as they are
/// asked for, so that their addresses are known as they change.
///
/// A part of the engine: its service thread alone begins, processes and releases
/// the look-ups. Bounded: kMaxHosts hosts and kMaxAddresses addresses each.
/// A host that has lost its last address keeps it until it has another, since
/// nothing better is known; so does one whose look-up has ended with an error.
class FollowedHosts {
 public:
  using ByHost = std::map<std::string, HostAddresses>;

  /// With the 480 look-ups of an engine, its browse and what others of this
  /// session ask for, below the 1,024 objects that the daemon allows a client.
  static constexpr std::size_t kMaxHosts = 480;
  static constexpr std::size_t kMaxAddresses = 8;  ///< one on two interfaces counts twice
  /// From a host's first address until all that the responder knew are told.
  static constexpr std::chrono::seconds kCompleteTime{1};
  /// After a look-up that was refused, until it is begun again.
  static constexpr std::chrono::seconds kRetryTime{5};

  /// `onChanged` is called after each change of Addresses, on the service thread
  /// without any lock of this object.
  FollowedHosts(DNSSD& dnssd, Now now, std::function<void()> onChanged);

  /// Follows these hosts, names without a final dot, in the place of those of
  /// before. Of too many, those that are followed already come first. Any thread.
  void Follow(std::vector<std::string> hosts);

  /// The hosts of which an address is known. Any thread.
  [[nodiscard]] ByHost Addresses() const;

  // The service thread's.

  /// Releases what is not asked for any more and notes what time has brought;
  /// begins at most `mayBegin` of the look-ups that are due.
  void Serve(std::size_t mayBegin);
  /// Calls with the socket and reference of each open look-up.
  void ForEachOpen(const std::function<void(int socket, DNSServiceRef ref)>& call) const;
  void Release();

 private:
  using Moment = Clock::time_point;
  using IPv4 = std::array<std::uint8_t, 4>;

  struct Known {
    IPv4 address;
    std::uint32_t interfaceIndex;
    friend bool operator==(const Known&, const Known&) = default;
  };

  struct Host {
    OperationHandle lookup;
    int socket = -1;
    Moment nextTry{};          // when a look-up that is not open is begun
    Moment completeAt{};       // once an address is known
    std::vector<Known> known;  // the one last told first
    bool isGone = false;       // what is known was told to be gone, or may be: the next address replaces it
    bool isComplete = false;
    bool isUntold = false;  // the client could not be told of the last change
  };

  static void ReplyS(DNSServiceRef ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                     DNSServiceErrorType error, const char* host, const sockaddr* address,
                     std::uint32_t timeToLive, void* context);
  void Reply(DNSServiceRef ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
             DNSServiceErrorType error, const sockaddr* address) noexcept;
  void TakeAddress(const std::string& name, Host& host, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                   const sockaddr* address);

  void TakeWanted();
  void ForgetUnwanted(const std::vector<std::string>& wanted);
  void Begin(const std::string& name, Host& host);
  void Add(Host& host, const Known& known) const;
  static void Remove(Host& host, const Known& known);
  void Publish(const std::string& name, Host& host, bool isComplete);

  DNSSD& fDnssd;
  const Now fNow;
  const std::function<void()> fOnChanged;
  std::map<std::string, Host> fHosts;  // the service thread's

  mutable std::mutex fMutex;  // guards what follows
  std::vector<std::string> fWanted;
  bool fWantedChanged = false;
  ByHost fAddresses;
};

}  // namespace vorn
