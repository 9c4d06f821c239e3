#include "devicelist/http/RequestPace.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace DeviceList {
namespace {

using Duration = vorn::Clock::duration;

constexpr Duration kDistance =
    Duration(std::chrono::seconds(1)) / (RequestPace::kMaxRequestsASecond - RequestPace::kBurst);
/// How far a burst may be ahead of requests at equal distances.
constexpr Duration kAhead = kDistance * (RequestPace::kBurst - 1);

}  // namespace

RequestPace::RequestPace(vorn::Now now) : fNow(std::move(now)) {}

std::size_t RequestPace::AddressCount() const {
  const std::lock_guard lock(fMutex);
  return fAddresses.size();
}

/// Forgets the addresses that nobody asks any more before it remembers a new one.
RequestPace::Addresses::iterator RequestPace::Find(const std::string& address) {
  const auto found = fAddresses.find(address);
  if (found != fAddresses.end()) return found;
  const Time now = fNow();
  std::erase_if(fAddresses,
                [&](const auto& one) { return one.second.waiting.empty() && one.second.next <= now; });
  return fAddresses.try_emplace(address).first;
}

RequestPace::Turn::Turn(RequestPace& pace, const std::string& address) : fPace(pace) {
  const std::lock_guard lock(fPace.fMutex);
  fAddress = fPace.Find(address);
  fPlace = fAddress->second.waiting.insert(fAddress->second.waiting.end(), this);
}

RequestPace::Turn::~Turn() {
  if (fIsTaken) return;
  const std::lock_guard lock(fPace.fMutex);
  fAddress->second.waiting.erase(fPlace);
}

vorn::Clock::duration RequestPace::Turn::Take() {
  const std::lock_guard lock(fPace.fMutex);
  Address& address = fAddress->second;
  const Time now = fPace.fNow();
  const Time next = std::max(address.next, now);
  // If the burst has room for all that wait before, it need not wait for them.
  const Time mine = next + kDistance * std::distance(address.waiting.begin(), fPlace) - kAhead;
  if (mine > now) return mine - now;
  address.next = next + kDistance;
  address.waiting.erase(fPlace);
  fIsTaken = true;
  return Duration::zero();
}

}  // namespace DeviceList
