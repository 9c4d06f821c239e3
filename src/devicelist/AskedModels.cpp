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

vorn::optional<std::string> AskedModels::LatestVersionOf(const std::string& unit, const std::string& model) {
  Unit& known = fUnits[unit];
  known.lastSeen = fRound;
  const bool mayRemember = MayRemember(known);
  auto found = fModels.find(model);
  if (found == fModels.end()) {
    if (!mayRemember) return {};
    if (!MakeRoom()) {
      fEvents.onRefused();
      return {};
    }
    found = fModels.emplace(model, Model{fMaker(model), fRound}).first;
  }
  if (mayRemember) Remember(unit, found);
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

bool AskedModels::MayRemember(const Unit& unit) const {
  return unit.models.size() < kMaxModelsOfUnit || fNow() >= unit.nextReplacement;
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

void AskedModels::Remember(const std::string& unit, Models::iterator model) {
  Unit& known = fUnits[unit];
  if (std::find(known.models.begin(), known.models.end(), model) != known.models.end()) return;
  known.models.push_back(model);
  if (known.models.size() <= kMaxModelsOfUnit) return;
  const auto oldest = known.models.front();
  known.models.pop_front();
  known.nextReplacement = fNow() + kFirmwarePollPeriod;
  if (oldest->second.lastNamed != fRound && !HasUnit(oldest)) Drop(oldest);
  fEvents.onReplaced(unit);
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
