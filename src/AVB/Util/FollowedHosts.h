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

/// The known addresses of one host.
struct HostAddresses {
  std::vector<std::string> addresses;  ///< dotted decimal, the newest first
  bool isComplete = false;             ///< the responder had enough time to report all of them

  friend bool operator==(const HostAddresses&, const HostAddresses&) = default;
};

/// Keeps one address look-up open for each of some hosts, as long as the client asks for them. So their
/// addresses are known as they change. All look-ups share one connection, which costs one descriptor.
///
/// A part of the engine. Only the engine's service thread starts, processes and releases the look-ups. There
/// are bounds: kMaxHosts hosts and kMaxAddresses addresses each. A host keeps its last address until it has
/// another one, because nothing better is known. The same is true for a host whose look-up ended with an
/// error.
class FollowedHosts {
 public:
  using ByHost = std::map<std::string, HostAddresses>;

  /// Together with the engine's 480 look-ups, its browse and the other questions of this session, this stays
  /// below the 1,024 objects that the responder allows a client.
  static constexpr std::size_t kMaxHosts = 480;
  static constexpr std::size_t kMaxAddresses = 8;  ///< an address on two interfaces counts twice
  /// The time from a host's first address until the responder has reported all addresses that it knew.
  static constexpr std::chrono::seconds kCompleteTime{1};
  /// The time until a refused look-up starts again.
  static constexpr std::chrono::seconds kRetryTime{5};

  /// Calls `onChanged` after each change of Addresses, on the service thread, without any lock of this
  /// object.
  FollowedHosts(DNSSD& dnssd, Now now, std::function<void()> onChanged);

  /// Follows these hosts instead of the earlier ones. Names have no final dot. If there are too many, already
  /// followed hosts come first. Any thread.
  void Follow(std::vector<std::string> hosts);

  /// The hosts with a known address. Any thread.
  [[nodiscard]] ByHost Addresses() const;

  // For the service thread only.

  /// Releases look-ups that nobody asks for any more and handles elapsed times. Starts at most `mayBegin` of
  /// the due look-ups.
  void Serve(std::size_t mayBegin);
  /// The connection that all look-ups share, or null; and its socket.
  [[nodiscard]] DNSServiceRef Connection() const { return fConnection.Get(); }
  [[nodiscard]] int Socket() const { return fSocket; }
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
    Moment nextTry{};          // the time to start a look-up that is not open
    Moment completeAt{};       // true when an address is known
    std::vector<Known> known;  // the newest one first
    bool isGone = false;       // the known addresses are gone, or may be: the next address replaces them
    bool isComplete = false;
    bool isUntold = false;  // the client could not be told about the last change
  };

  static void ReplyS(DNSServiceRef ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                     DNSServiceErrorType error, const char* host, const sockaddr* address,
                     std::uint32_t timeToLive, void* context);
  void Reply(DNSServiceRef ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
             DNSServiceErrorType error, const sockaddr* address) noexcept;
  void TakeAddress(const std::string& name, Host& host, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                   const sockaddr* address);

  bool Connect();
  void TakeWanted();
  void ForgetUnwanted(const std::vector<std::string>& wanted);
  void Begin(const std::string& name, Host& host);
  void Add(Host& host, const Known& known) const;
  static void Remove(Host& host, const Known& known);
  void Publish(const std::string& name, Host& host, bool isComplete);

  DNSSD& fDnssd;
  const Now fNow;
  const std::function<void()> fOnChanged;

  // Used by the service thread only.
  OperationHandle fConnection;  // first: look-ups are released before it
  int fSocket = -1;
  std::map<std::string, Host> fHosts;

  mutable std::mutex fMutex;  // guards the members below
  std::vector<std::string> fWanted;
  bool fWantedChanged = false;
  ByHost fAddresses;
};

}  // namespace vorn
