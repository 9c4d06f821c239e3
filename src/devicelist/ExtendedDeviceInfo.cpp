#include "devicelist/ExtendedDeviceInfo.h"

namespace DeviceList {

bool UpdateAvailable(const ExtendedDeviceInfo& info) {
  return info.firmwareVersion && info.latestVersion && *info.firmwareVersion < *info.latestVersion;
}

}  // namespace DeviceList
