#pragma once

#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"

namespace vorn::app {

/// Announces new releases, each once. Main thread.
class ReleaseNotices {
 public:
  virtual ~ReleaseNotices() = default;
  virtual void MaybeNotify(const std::vector<DeviceList::ExtendedDeviceInfo>& devices) = 0;
  /// Withdraws what nobody has seen yet.
  virtual void WithdrawAll() = 0;
};

}  // namespace vorn::app
