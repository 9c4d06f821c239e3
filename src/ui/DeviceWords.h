#pragma once

#include <QString>
#include <cstddef>
#include <vector>

#include "devicelist/DiscoveryStatus.h"
#include "devicelist/ExtendedDeviceInfo.h"

namespace vorn::ui {

/// "1.4.2", or "1.4.2+7" if the build number distinguishes versions.
[[nodiscard]] QString versionWords(const FirmwareVersion& version);

/// The kind of device in words; empty for an unknown type.
[[nodiscard]] QString kindWords(const std::string& type);

/// The name as it is shown; never empty.
[[nodiscard]] QString nameWords(const DeviceList::ExtendedDeviceInfo& info);

/// "update 1.4.2 available": the release without its build number, as in notifications. Empty if no update is
/// known.
[[nodiscard]] QString updateWords(const DeviceList::ExtendedDeviceInfo& info);

/// The text in place of the list while it is empty.
[[nodiscard]] QString nothingListedWords();

/// The whole list in a few words: "3 devices, 1 update available", or why it is empty.
[[nodiscard]] QString listWords(const std::vector<DeviceList::ExtendedDeviceInfo>& list,
                                DeviceList::DiscoveryHint hint);

/// The entry for the devices that a menu does not name.
[[nodiscard]] QString moreDevicesWords(std::size_t count);

/// Why nothing, or nothing new, may be listed; empty if there is nothing to say.
[[nodiscard]] QString hintWords(DeviceList::DiscoveryHint hint, bool nothingListed);

/// The subject of the quiet line below the panel's list.
struct PanelHint {
  DeviceList::DiscoveryHint discovery = DeviceList::DiscoveryHint::kNone;
  bool pageNotOpened = false;  ///< the page that was requested last could not be opened; comes first
};
[[nodiscard]] QString hintWords(const PanelHint& hint, bool nothingListed);

/// The whole row as one sentence: name, kind, firmware, update, as far as known. `name`: as it is shown.
[[nodiscard]] QString rowSentence(const DeviceList::ExtendedDeviceInfo& info, const QString& name);

}  // namespace vorn::ui
