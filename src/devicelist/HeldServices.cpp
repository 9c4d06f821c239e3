#include "devicelist/HeldServices.h"

#include <algorithm>
#include <utility>

#include "devicelist/Entry.h"

namespace DeviceList {
namespace {

using Service = HeldServices::Service;

// Whether both make the same entries. The host's address may differ.
bool AreEqual(const Service& a, const Service& b) {
  const auto equalItems = [](const auto& x, const auto& y) { return x.key == y.key && x.value == y.value; };
  return a.name == b.name && a.type == b.type && a.domain == b.domain && a.host == b.host &&
         a.port == b.port && std::equal(a.txt.begin(), a.txt.end(), b.txt.begin(), b.txt.end(), equalItems);
}

std::string NameKey(const Service& service) {
  return service.name + '\0' + service.type + '\0' + service.domain;
}

// The key by the unit's uid, or by the uids of a host's units; empty for a service without uid.
std::string UIDKey(const Service& service) {
  const std::string type = vorn::GetValue(service.txt, kKeyKind);
  const UnitKind* kind = KindOf(type);
  const bool isList = kind != nullptr && kind->announced == UnitKind::Announced::kUIDList;
  const std::string uid = vorn::GetValue(service.txt, isList ? kKeyUIDList : kKeyUID);
  return uid.empty() ? uid : type + '\0' + uid;
}

}  // namespace

void HeldServices::Hold(Services services, Time now) {
  HeldServices fresh;
  fresh.fCounted = CountedAt(now);
  for (Service& service : services) {
    if (fresh.Knows(service)) continue;  // a service has one record for each interface and each protocol
    Duration until = fresh.fCounted + kHoldTime;
    for (const std::size_t index : SameUnit(service)) {
      const Held& before = fHeld[index];
      if (before.isHeld && AreEqual(before.service, service)) until = before.until;
    }
    fresh.fByName.emplace(NameKey(service), fresh.fHeld.size());
    if (auto key = UIDKey(service); !key.empty()) fresh.fByUID.emplace(std::move(key), fresh.fHeld.size());
    fresh.fHeld.push_back({std::move(service), until});
  }
  fresh.fCount = fresh.fHeld.size();
  *this = std::move(fresh);
}

HeldServices::Duration HeldServices::CountedAt(Time now) const {
  return fRunsFrom ? fCounted + (now - *fRunsFrom) : fCounted;
}

void HeldServices::Run(Time now) {
  if (!fRunsFrom) fRunsFrom = now;
}

void HeldServices::Pause(Time now) {
  fCounted = CountedAt(now);
  fRunsFrom = {};
}

bool HeldServices::ReleaseDue(Time now) {
  const std::size_t before = fCount;
  const Duration counted = CountedAt(now);
  for (Held& held : fHeld) {
    if (held.until <= counted) LetGo(held);
  }
  return fCount != before;
}

std::optional<HeldServices::Time> HeldServices::NextDue() const {
  if (!fRunsFrom || fCount == 0) return {};
  Duration first = fCounted + kHoldTime;  // no time ends later
  for (const Held& held : fHeld) {
    if (held.isHeld) first = std::min(first, held.until);
  }
  return *fRunsFrom + (first - fCounted);
}

HeldServices::Services HeldServices::Merge(Services fresh) {
  if (fCount == 0) return fresh;
  for (const Service& service : fresh) LetGoOf(service);
  for (const Held& held : fHeld) {
    if (held.isHeld) fresh.push_back(held.service);
  }
  return fresh;
}

// The earlier services that may be this one.
std::vector<std::size_t> HeldServices::SameUnit(const Service& service) const {
  std::vector<std::size_t> found;
  const auto [begin, end] = fByName.equal_range(NameKey(service));
  for (auto it = begin; it != end; ++it) found.push_back(it->second);
  const auto byUID = fByUID.find(UIDKey(service));
  if (byUID != fByUID.end()) found.push_back(byUID->second);
  return found;
}

// Whether the service itself is an earlier one.
bool HeldServices::Knows(const Service& service) const {
  const std::vector<std::size_t> same = SameUnit(service);
  return std::any_of(same.begin(), same.end(),
                     [&](std::size_t index) { return AreEqual(fHeld[index].service, service); });
}

void HeldServices::LetGoOf(const Service& named) {
  const bool isOfBefore = Knows(named);
  for (const std::size_t index : SameUnit(named)) {
    if (!isOfBefore || AreEqual(fHeld[index].service, named)) LetGo(fHeld[index]);
  }
}

void HeldServices::LetGo(Held& held) {
  if (std::exchange(held.isHeld, false)) --fCount;
}

}  // namespace DeviceList
