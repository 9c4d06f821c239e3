#pragma once

#include <chrono>
#include <memory>

#include "devicelist/Entry.h"
#include "devicelist/Poller.h"
#include "devicelist/http/LocalHosts.h"

namespace DeviceList {

/// The model of every switch.
inline constexpr char kSwitchModelID[] = "avbswitch";

/// Watches one AVB switch: reads its firmware version as plain text every period and shows it under its
/// announced name. If the status is not 200, it is shown without a version. If there is no answer, it is
/// hidden. Each poll calls back twice (name, firmware version), whether they have changed or not.
class SwitchPoller final : public Poller {
 public:
  /// Starts polling. `hosts` has the addresses of ".local" hosts. Throws if no thread or no HTTP client can
  /// be made.
  explicit SwitchPoller(Entry entry, std::shared_ptr<const LocalHosts> hosts = nullptr,
                        std::chrono::milliseconds period = kPollPeriod);

 private:
  class Impl;
};

}  // namespace DeviceList
