#pragma once

#include <chrono>
#include <cstddef>
#include <list>
#include <map>
#include <mutex>
#include <string>

#include "foundation/Clock.h"

namespace DeviceList {

/// Spreads the requests to each address, because announcements say which addresses are asked. Strangers could
/// otherwise make the program flood a host of their choice. An address gets at most kMaxRequestsASecond
/// requests in any second: kBurst at once, then one after another at equal distances. Requests to other
/// addresses do not count.
///
/// @threadsafety Any thread may call every function at any time. None blocks.
class RequestPace {
 public:
  /// More than units at one address need that are polled every three seconds, up to their bound.
  static constexpr int kMaxRequestsASecond = 60;
  static constexpr int kBurst = 12;  ///< a unit's first requests follow each other at once

  /// `now` is called under the lock.
  explicit RequestPace(vorn::Now now = vorn::Clock::now);

 private:
  using Time = vorn::Clock::time_point;
  struct Address {
    Time next{};                       ///< when the next request is sent if all come at equal distances
    std::list<const void*> waiting{};  ///< the turns that were not taken yet; the oldest is the first
  };
  using Addresses = std::map<std::string, Address>;

 public:
  /// One request's place in the queue of its address. First come, first served. A turn that is destroyed
  /// before it was taken costs the later ones nothing. One thread may use it.
  class Turn {
   public:
    Turn(RequestPace& pace, const std::string& address);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    /// Zero: the request may be sent now, and counts. Do not call this again then. Otherwise call again after
    /// this time. The turn comes then at the latest, if the earlier ones call in time too.
    [[nodiscard]] vorn::Clock::duration Take();

   private:
    RequestPace& fPace;
    Addresses::iterator fAddress;
    std::list<const void*>::iterator fPlace;
    bool fIsTaken = false;
  };

  /// The addresses that the object remembers.
  [[nodiscard]] std::size_t AddressCount() const;

 private:
  Addresses::iterator Find(const std::string& address);

  const vorn::Now fNow;
  mutable std::mutex fMutex;
  Addresses fAddresses;  ///< guarded by fMutex; those that somebody asks, or has just asked
};

}  // namespace DeviceList
