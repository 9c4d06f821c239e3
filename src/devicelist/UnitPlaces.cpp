#include "devicelist/UnitPlaces.h"

#include <algorithm>
#include <utility>

namespace DeviceList {

void UnitPlaces::Hold(Addresses addresses, bool givesWay) {
  const bool isTooMany = std::any_of(addresses.begin(), addresses.end(), [this](const std::string& address) {
    return fAt[address].units >= kMaxUnitsAtAddress;
  });
  if (!isTooMany) {
    Count(addresses);
    if (givesWay) {
      fAll.givingWay.push_back(fHeld.size());
      for (const std::string& address : addresses) fAt[address].givingWay.push_back(fHeld.size());
    }
  }
  fHeld.push_back({std::move(addresses), isTooMany});
}

bool UnitPlaces::Admit(const Addresses& addresses, bool displaces) {
  fWasFull = fAll.units >= kMaxUnits;
  fFullAddress.reset();
  for (const std::string& address : addresses) {
    Group& there = fAt[address];
    if (there.units < kMaxUnitsAtAddress) continue;
    fWasFull = true;
    fFullAddress = address;
    if (!displaces || !HasOneGivingWay(there)) return false;
  }
  // One that gives way at an address also leaves a place in all.
  if (fWasFull && !fFullAddress && (!displaces || !HasOneGivingWay(fAll))) return false;
  for (const std::string& address : addresses) {
    Group& there = fAt[address];
    if (there.units >= kMaxUnitsAtAddress) DisplaceOneOf(there);
  }
  if (fAll.units >= kMaxUnits) DisplaceOneOf(fAll);
  Count(addresses);
  return true;
}

bool UnitPlaces::HasOneGivingWay(Group& group) const {
  while (!group.givingWay.empty() && fHeld[group.givingWay.front()].hasLost) group.givingWay.pop_front();
  return !group.givingWay.empty();
}

/// Only after HasOneGivingWay.
void UnitPlaces::DisplaceOneOf(Group& group) {
  Held& held = fHeld[group.givingWay.front()];
  held.hasLost = true;
  --fAll.units;
  for (const std::string& address : held.addresses) --fAt[address].units;
}

void UnitPlaces::Count(const Addresses& addresses) {
  ++fAll.units;
  for (const std::string& address : addresses) ++fAt[address].units;
}

}  // namespace DeviceList
