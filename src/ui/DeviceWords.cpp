#include "ui/DeviceWords.h"

#include <QCoreApplication>
#include <QStringList>
#include <algorithm>

#include "devicelist/Entry.h"
#include "foundation/Strings.h"
#include "ui/DisplayText.h"
#include "ui/Translations.h"

namespace vorn::ui {
namespace {

QString releaseWords(const FirmwareVersion& version) {
  return QString::fromStdString(SlowConvertToString(version)).section(u'+', 0, 0);
}

}  // namespace

QString versionWords(const FirmwareVersion& version) {
  return version.build == 0 ? releaseWords(version) : QString::fromStdString(SlowConvertToString(version));
}

QString kindWords(const std::string& type) {
  const DeviceList::UnitKind* kind = DeviceList::KindOf(type);
  return kind ? coreText(kind->words) : QString();
}

QString nameWords(const DeviceList::ExtendedDeviceInfo& info) {
  return displayText(info.name ? *info.name : std::string());
}

QString updateWords(const DeviceList::ExtendedDeviceInfo& info) {
  if (!DeviceList::UpdateAvailable(info)) return {};
  return QCoreApplication::translate("DeviceWords", "update %1 available")
      .arg(releaseWords(*info.latestVersion));
}

QString nothingListedWords() {
  return coreText(DeviceList::kNoUnitsText);
}

QString moreDevicesWords(std::size_t count) {
  const int number = static_cast<int>(count);
  return QCoreApplication::translate("DeviceWords", "and %n more\u2026", nullptr, number);
}

QString hintWords(DeviceList::DiscoveryHint hint, bool nothingListed) {
  using Hint = DeviceList::DiscoveryHint;
  switch (hint) {
    case Hint::kStillLooking:
      return nothingListed ? QCoreApplication::translate("DeviceWords", "Still looking for devices\u2026")
                           : QString();
    case Hint::kResponderAbsent:
      return QCoreApplication::translate("DeviceWords", "The discovery service (Avahi) is not running.");
    case Hint::kResponderSilent:
      return QCoreApplication::translate("DeviceWords", "The discovery service (Avahi) does not answer.");
    case Hint::kNoNetwork:
      return QCoreApplication::translate("DeviceWords", "There is no network connection.");
    case Hint::kNone:
      break;
  }
  return {};
}

QString hintWords(const PanelHint& hint, bool nothingListed) {
  if (hint.pageNotOpened)
    return QCoreApplication::translate("DeviceWords", "The page could not be opened in a browser.");
  return hintWords(hint.discovery, nothingListed);
}

QString listWords(const std::vector<DeviceList::ExtendedDeviceInfo>& list, DeviceList::DiscoveryHint hint) {
  if (list.empty()) {
    const QString reason = hintWords(hint, true);
    return reason.isEmpty() ? nothingListedWords() : reason;
  }
  const int count = static_cast<int>(list.size());
  const QString devices = QCoreApplication::translate("DeviceWords", "%n device(s)", nullptr, count);
  const auto outdated = std::count_if(list.begin(), list.end(), &DeviceList::UpdateAvailable);
  if (outdated == 0) return devices;
  const int number = static_cast<int>(outdated);
  const QString updates =
      QCoreApplication::translate("DeviceWords", "%n update(s) available", nullptr, number);
  return QCoreApplication::translate("DeviceWords", "%1, %2", "devices, updates").arg(devices, updates);
}

QString rowSentence(const DeviceList::ExtendedDeviceInfo& info, const QString& name) {
  QStringList pieces{isolatedText(name)};
  if (const QString kind = kindWords(info.type); !kind.isEmpty()) pieces += kind;
  if (info.firmwareVersion)
    pieces +=
        QCoreApplication::translate("DeviceWords", "firmware %1").arg(versionWords(*info.firmwareVersion));
  if (const QString update = updateWords(info); !update.isEmpty()) pieces += update;
  return pieces.join(
      QCoreApplication::translate("DeviceWords", ", ", "between the parts of a row that is read aloud"));
}

}  // namespace vorn::ui
