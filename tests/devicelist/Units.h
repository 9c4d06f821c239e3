#pragma once

#include <string>
#include <utility>
#include <vector>

#include "devicelist/Entry.h"
#include "devicelist/ExtendedDeviceInfo.h"

namespace DeviceList::testing {

/// A published unit; its address follows from its uid.
inline ExtendedDeviceInfo Unit(const std::string& name, const std::string& uid = "1",
                               const std::string& type = kTypeDevice) {
  ExtendedDeviceInfo unit;
  unit.name = name;
  unit.type = type;
  unit.url = "http://" + uid + ".local/";
  unit.uid = uid;
  return unit;
}

inline ExtendedDeviceInfo WithFirmware(ExtendedDeviceInfo unit, const vorn::FirmwareVersion& version) {
  unit.firmwareVersion = version;
  return unit;
}

inline ExtendedDeviceInfo WithModel(ExtendedDeviceInfo unit, const std::string& model) {
  unit.modelID = model;
  return unit;
}

inline ExtendedDeviceInfo WithLatest(ExtendedDeviceInfo unit, const vorn::FirmwareVersion& version) {
  unit.latestVersion = version;
  return unit;
}

inline std::vector<std::string> NamesOf(const std::vector<ExtendedDeviceInfo>& units) {
  std::vector<std::string> names;
  for (const auto& unit : units) names.push_back(unit.name ? *unit.name : "(none)");
  return names;
}

}  // namespace DeviceList::testing
