#pragma once

#include <QString>

#include "devicelist/DiscoveryStatus.h"
#include "devicelist/ExtendedDeviceInfo.h"

namespace vorn::ui {

/// "1.4.2", or "1.4.2+7" where the build number tells versions apart.
[[nodiscard]] QString versionWords(const FirmwareVersion& version);

/// The kind of device in words; empty for an unknown type.
[[nodiscard]] QString kindWords(const std::string& type);

/// The name as it is shown; never empty.
[[nodiscard]] QString nameWords(const DeviceList::ExtendedDeviceInfo& info);

/// "update 1.4.2 available", as the notifications name the release: without its build
/// number. Empty when no update is known.
[[nodiscard]] QString updateWords(const DeviceList::ExtendedDeviceInfo& info);

/// What stands in the place of the list while it is empty.
[[nodiscard]] QString nothingListedWords();

/// Why nothing, or nothing new, may be listed; empty where there is nothing to say.
[[nodiscard]] QString hintWords(DeviceList::DiscoveryHint hint, bool nothingListed);

/// What the quiet line below the panel's list is about.
struct PanelHint {
  DeviceList::DiscoveryHint discovery = DeviceList::DiscoveryHint::kNone;
  bool pageNotOpened = false;  ///< the page that was asked for last could not be opened; comes first
};
[[nodiscard]] QString hintWords(const PanelHint& hint, bool nothingListed);

/// The whole row as one sentence: name, kind, firmware, update, as far as known.
[[nodiscard]] QString rowSentence(const DeviceList::ExtendedDeviceInfo& info);

}  // namespace vorn::ui
