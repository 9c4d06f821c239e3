#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "devicelist/Entry.h"
#include "devicelist/ExtendedDeviceInfo.h"

namespace vorn::ui {

using List = std::vector<DeviceList::ExtendedDeviceInfo>;

/// A list as it is handed to its readers.
inline DeviceList::SharedUnits Shared(List list) {
  return std::make_shared<const List>(std::move(list));
}

/// A device called `name` at its own address.
inline DeviceList::ExtendedDeviceInfo Device(const std::string& name,
                                             const std::string& type = DeviceList::kTypeDevice) {
  DeviceList::ExtendedDeviceInfo info;
  info.name = name;
  info.type = type;
  info.url = "http://" + name + ".local:80/";
  info.uid = name;
  return info;
}

/// The same with an installed and a newest version.
inline DeviceList::ExtendedDeviceInfo Device(const std::string& name, FirmwareVersion installed,
                                             FirmwareVersion latest) {
  DeviceList::ExtendedDeviceInfo info = Device(name);
  info.firmwareVersion = installed;
  info.latestVersion = latest;
  return info;
}

inline const List kThree{Device("anna"), Device("berta"), Device("clara")};

/// Devices "unit0000", "unit0001", ... in order.
inline List Devices(int count) {
  List list;
  for (int i = 0; i < count; ++i) {
    const std::string digits = std::to_string(i);
    list.push_back(Device("unit" + std::string(4 - digits.size(), '0') + digits));
  }
  return list;
}

}  // namespace vorn::ui
