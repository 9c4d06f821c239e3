#pragma once

#include <QString>
#include <QStringList>
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

/// The model as the unit spells it; empty if it is not known.
[[nodiscard]] QString modelWords(const DeviceList::ExtendedDeviceInfo& info);

/// "1.4.0", or "1.4.0 → 1.4.2" if an update is known; without build numbers, unless only they differ. Empty
/// if the firmware is not known.
[[nodiscard]] QString firmwareWords(const DeviceList::ExtendedDeviceInfo& info);

/// "behind machine-room" for a unit that a host announces, if its name does not say so; otherwise empty.
[[nodiscard]] QString hostWords(const DeviceList::ExtendedDeviceInfo& info);

/// Joins the words that are not empty to a line of details.
[[nodiscard]] QString detailLine(const QStringList& words);

/// "update 1.4.2 available": the release without its build number, as in notifications. Empty if no update is
/// known.
[[nodiscard]] QString updateWords(const DeviceList::ExtendedDeviceInfo& info);

/// The text in place of the list while it is empty.
[[nodiscard]] QString nothingListedWords();

/// The whole list in a few words: "3 devices, 1 update available", or why it is empty.
[[nodiscard]] QString listWords(const std::vector<DeviceList::ExtendedDeviceInfo>& list,
                                DeviceList::DiscoveryHint hint);

/// The entry for all devices, in a menu that does not name each of them.
[[nodiscard]] QString allDevicesWords(std::size_t count);

/// Why nothing, or nothing new, may be listed; empty if there is nothing to say.
[[nodiscard]] QString hintWords(DeviceList::DiscoveryHint hint, bool nothingListed);

/// The subject of the quiet line below the panel's list.
struct PanelHint {
  DeviceList::DiscoveryHint discovery = DeviceList::DiscoveryHint::kNone;
  bool pageNotOpened = false;  ///< the page that was requested last could not be opened; comes first
};
[[nodiscard]] QString hintWords(const PanelHint& hint, bool nothingListed);

/// That the program starts at login, and where to change that.
[[nodiscard]] QString firstRunHintWords();

/// The whole row as one sentence: name, kind, firmware, update, as far as known. `name`: as it is shown.
[[nodiscard]] QString rowSentence(const DeviceList::ExtendedDeviceInfo& info, const QString& name);

}  // namespace vorn::ui
