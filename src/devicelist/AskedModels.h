#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <string>
#include <unordered_map>

#include "devicelist/FirmwarePoller.h"
#include "foundation/Clock.h"
#include "foundation/Optional.h"

namespace DeviceList {

/// One firmware poller for each model that units name. A model keeps it, also after its last unit, unless
/// strangers name more models than an honest network has:
///
/// 1. One unit has at most kMaxModelsOfUnit. A further one replaces its oldest, unless another unit has that.
///    Each unit replaces at most one in kFirmwarePollPeriod, because a new poller asks at once. Until then, a
///    further one gets no poller.
/// 2. At most kMaxModels are asked about. Of those that no unit names at present, the one that was named
///    longest ago gives way to a new one.
///
/// Each update of the list is a round: Keep and Name for all units, then LatestVersionOf for all units, then
/// EndRound. Belongs to one thread.
class AskedModels {
 public:
  static constexpr std::size_t kMaxModels = 512;
  static constexpr std::size_t kMaxModelsOfUnit = 8;

  using Maker = std::function<FirmwarePoller(const std::string& model)>;

  /// The events that somebody may want to know. Neither may call back.
  struct Events {
    std::function<void(const std::string& unit)> onReplaced;  ///< it has named more models than a unit may
    std::function<void()> onRefused;                          ///< all are named at present
  };

  /// `now` is the clock of the replacements.
  AskedModels(Maker maker, Events events, vorn::Now now = vorn::Clock::now);

  /// The unit is still polled, although it may name no model at present. Otherwise it is forgotten.
  void Keep(const std::string& unit);

  /// A unit names the model at present.
  void Name(const std::string& model);

  /// The newest version of the model that the unit names. Makes its poller if need be. Empty if it is not
  /// known, or if the model gets no poller. Throws what the maker throws.
  vorn::optional<std::string> LatestVersionOf(const std::string& unit, const std::string& model);

  void EndRound();

  /// Stops every poller.
  void Forget();

 private:
  using Round = std::uint64_t;
  struct Model {
    FirmwarePoller poller;
    Round lastNamed;
  };
  using Models = std::map<std::string, Model>;
  struct Unit {
    Round lastSeen = 0;
    std::list<Models::iterator> models{};  // at most kMaxModelsOfUnit, the oldest first
    std::size_t taken = 0;                 // how many models it has ever had, up to kMaxModelsOfUnit
    vorn::Clock::time_point nextReplacement{};
  };

  [[nodiscard]] bool MayTake(const Unit& unit) const;
  [[nodiscard]] bool MakeRoom();
  void Take(const std::string& name, Unit& unit, Models::iterator model);
  [[nodiscard]] bool HasUnit(Models::iterator model) const;
  void Drop(Models::iterator model);

  const Maker fMaker;
  const Events fEvents;
  const vorn::Now fNow;
  Round fRound = 1;
  Models fModels;
  std::unordered_map<std::string, Unit> fUnits;  // those of the last round
};

}  // namespace DeviceList
