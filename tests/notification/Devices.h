#pragma once

#include <string>

#include "devicelist/Entry.h"
#include "devicelist/ExtendedDeviceInfo.h"

namespace Notification::testing {

/// An audio interface named "Studio A" on one release while another is published.
inline DeviceList::ExtendedDeviceInfo MakeDevice(const vorn::FirmwareVersion& current,
                                                 const vorn::FirmwareVersion& latest,
                                                 const std::string& uid = "0001f2fffe00aa01") {
  DeviceList::ExtendedDeviceInfo device;
  device.name = std::string("Studio A");
  device.type = DeviceList::kTypeDevice;
  device.url = "http://studio-a.local:80/";
  device.uid = uid;
  device.firmwareVersion = current;
  device.latestVersion = latest;
  device.address = "192.0.2.1";
  return device;
}

}  // namespace Notification::testing
