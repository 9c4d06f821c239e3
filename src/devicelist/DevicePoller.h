#pragma once

#include <chrono>
#include <memory>

#include "devicelist/Entry.h"
#include "devicelist/Poller.h"
#include "devicelist/http/LocalHosts.h"

namespace DeviceList {

/// Watches one audio interface, or one interface behind a host, through the JSON datastore at the entry's
/// URL:
///
///     hidden -> API and datastore version fit -> model -> firmware version
///            -> name, polled every period with the tag of the last answer
///
/// A unit without an answer is hidden (all three values empty). A unit with an unexpected answer is shown,
/// but only under its announced name. In both cases everything starts again after a period.
class DevicePoller final : public Poller {
 public:
  /// Starts polling. `hosts` has the addresses of ".local" hosts. Throws if no thread or no HTTP client can
  /// be made.
  explicit DevicePoller(Entry entry, std::shared_ptr<const LocalHosts> hosts = nullptr,
                        std::chrono::milliseconds period = kPollPeriod);

 private:
  class Impl;
};

}  // namespace DeviceList
