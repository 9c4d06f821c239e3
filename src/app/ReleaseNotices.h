#pragma once

#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"

namespace vorn::app {

/// Announces new releases, each once.
class ReleaseNotices {
 public:
  virtual ~ReleaseNotices() = default;
  virtual void MaybeNotify(const std::vector<DeviceList::ExtendedDeviceInfo>& devices) = 0;
};

}  // namespace vorn::app
