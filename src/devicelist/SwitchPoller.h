#pragma once

#include <chrono>
#include <memory>

#include "devicelist/Entry.h"
#include "devicelist/Poller.h"
#include "devicelist/http/LocalHosts.h"

namespace DeviceList {

/// The model of every switch.
inline constexpr char kSwitchModelID[] = "avbswitch";

/// Watches one AVB switch: reads its firmware version as plain text every
/// period and shows it under its announced name, without a version when the
/// answer's status is not 200; hides it when there is no answer. Each poll
/// calls back twice (name, firmware version), be they changed or not.
class SwitchPoller final : public Poller {
 public:
  /// Starts polling. `hosts` holds the addresses of ".local" hosts. Throws when
  /// no thread or HTTP client can be made.
  explicit SwitchPoller(Entry entry, std::shared_ptr<const LocalHosts> hosts = nullptr,
                        std::chrono::milliseconds period = kPollPeriod);

 private:
  class Impl;
};

}  // namespace DeviceList
