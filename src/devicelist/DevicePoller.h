#pragma once

#include <chrono>
#include <memory>

#include "devicelist/Entry.h"
#include "devicelist/Poller.h"
#include "devicelist/http/LocalHosts.h"

namespace DeviceList {

/// Watches one audio interface, or one of those that a host fronts, through
/// the JSON datastore at the entry's URL:
///
///     hidden -> API and datastore version fit -> model -> firmware version
///            -> name, polled every period with the tag of the last answer
///
/// A unit that gives no answer is hidden (all three values empty); one whose
/// answer does not fit is shown under its announced name alone. Either way it
/// all begins anew after a period.
class DevicePoller final : public Poller {
 public:
  /// Starts polling. `hosts` holds the addresses of ".local" hosts. Throws when
  /// no thread or HTTP client can be made.
  explicit DevicePoller(Entry entry, std::shared_ptr<const LocalHosts> hosts = nullptr,
                        std::chrono::milliseconds period = kPollPeriod);

 private:
  class Impl;
};

}  // namespace DeviceList
