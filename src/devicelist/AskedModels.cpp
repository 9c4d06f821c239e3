#include "devicelist/AskedModels.h"

#include <algorithm>
#include <utility>

namespace DeviceList {

AskedModels::AskedModels(Maker maker, Events events, vorn::Now now)
    : fMaker(std::move(maker)), fEvents(std::move(events)), fNow(std::move(now)) {}

void AskedModels::Name(const std::string& model) {
  const auto found = fModels.find(model);
  if (found != fModels.end()) found->second.lastNamed = fRound;
}

void AskedModels::Keep(const std::string& unit) {
  const auto found = fUnits.find(unit);
  if (found != fUnits.end()) found->second.lastSeen = fRound;
}

vorn::optional<std::string> AskedModels::LatestVersionOf(const std::string& unit, const std::string& model) {
  Unit& known = fUnits[unit];
  known.lastSeen = fRound;
  auto found = fModels.find(model);
  const bool isItsOwn = std::find(known.models.begin(), known.models.end(), found) != known.models.end();
  const bool takes = !isItsOwn && MayTake(known);
  if (found == fModels.end()) {
    if (!takes) return {};
    if (!MakeRoom()) {
      fEvents.onRefused();
      return {};
    }
    found = fModels.emplace(model, Model{fMaker(model), fRound}).first;
  }
  if (takes) Take(unit, known, found);
  return found->second.poller.GetLatestVersion();
}

void AskedModels::EndRound() {
  std::erase_if(fUnits, [this](const auto& one) { return one.second.lastSeen != fRound; });
  ++fRound;
}

void AskedModels::Forget() {
  fUnits.clear();
  fModels.clear();
}

bool AskedModels::MayTake(const Unit& unit) const {
  return unit.taken < kMaxModelsOfUnit || fNow() >= unit.nextReplacement;
}

/// False if all are named at present.
bool AskedModels::MakeRoom() {
  if (fModels.size() < kMaxModels) return true;
  const auto oldest = std::min_element(fModels.begin(), fModels.end(), [](const auto& a, const auto& b) {
    return a.second.lastNamed < b.second.lastNamed;
  });
  if (oldest->second.lastNamed == fRound) return false;
  Drop(oldest);
  return true;
}

// The pace does not depend on the number of models that it still has: others may have taken some from it.
void AskedModels::Take(const std::string& name, Unit& unit, Models::iterator model) {
  unit.models.push_back(model);
  if (unit.taken < kMaxModelsOfUnit) {
    ++unit.taken;
    return;
  }
  unit.nextReplacement = fNow() + kFirmwarePollPeriod;
  if (unit.models.size() > kMaxModelsOfUnit) {
    const auto oldest = unit.models.front();
    unit.models.pop_front();
    if (oldest->second.lastNamed != fRound && !HasUnit(oldest)) Drop(oldest);
  }
  fEvents.onReplaced(name);
}

bool AskedModels::HasUnit(Models::iterator model) const {
  return std::any_of(fUnits.begin(), fUnits.end(), [&](const auto& one) {
    const auto& models = one.second.models;
    return std::find(models.begin(), models.end(), model) != models.end();
  });
}

void AskedModels::Drop(Models::iterator model) {
  for (auto& [url, unit] : fUnits) unit.models.remove(model);
  fModels.erase(model);
}

}  // namespace DeviceList
