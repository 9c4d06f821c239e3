#pragma once

namespace vorn::app {

/// Keeps finding devices and publishing the list for as long as it lives.
class DeviceListSource {
 public:
  virtual ~DeviceListSource() = default;
};

}  // namespace vorn::app
