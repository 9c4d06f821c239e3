#include "devicelist/DiscoveryStatus.h"

#include <ifaddrs.h>
#include <net/if.h>

#include <utility>

namespace DeviceList {
namespace {

using State = vorn::ResponderMonitor::State;

// Whether an interface other than the loopback is up and has an address.
bool SystemHasNetwork() {
  ifaddrs* addresses = nullptr;
  if (::getifaddrs(&addresses) != 0) return true;  // nothing is known, so nothing is claimed
  bool found = false;
  for (const ifaddrs* entry = addresses; entry && !found; entry = entry->ifa_next) {
    const bool hasAddress =
        entry->ifa_addr && (entry->ifa_addr->sa_family == AF_INET || entry->ifa_addr->sa_family == AF_INET6);
    const unsigned flags = entry->ifa_flags;
    found = hasAddress && (flags & IFF_LOOPBACK) == 0 && (flags & IFF_UP) != 0 && (flags & IFF_RUNNING) != 0;
  }
  ::freeifaddrs(addresses);
  return found;
}

DiscoveryStatus::Sources Completed(DiscoveryStatus::Sources sources) {
  if (!sources.hasNetwork) sources.hasNetwork = &SystemHasNetwork;
  return sources;
}

}  // namespace

bool CannotLook(DiscoveryHint hint) {
  return hint == DiscoveryHint::kResponderAbsent || hint == DiscoveryHint::kResponderSilent ||
         hint == DiscoveryHint::kNoNetwork;
}

DiscoveryStatus::DiscoveryStatus() : DiscoveryStatus(Sources()) {}

DiscoveryStatus::DiscoveryStatus(Sources sources)
    : fSources(Completed(std::move(sources))), fSince(fSources.now()) {}

void DiscoveryStatus::SetResponderState(State state) {
  fState = state;
  fSince = fSources.now();
}

DiscoveryHint DiscoveryStatus::Hint() const {
  if (fState == State::kAbsent) return DiscoveryHint::kResponderAbsent;
  if (fState == State::kSilent) return DiscoveryHint::kResponderSilent;
  if (!fSources.hasNetwork()) return DiscoveryHint::kNoNetwork;
  const bool isLooking = fSources.now() - fSince < kLooking;
  return isLooking ? DiscoveryHint::kStillLooking : DiscoveryHint::kNone;
}

DiscoveryHint DiscoveryStatus::FinalHint() const {
  return fState == State::kUnknown ? DiscoveryHint::kResponderSilent : Hint();
}

}  // namespace DeviceList
