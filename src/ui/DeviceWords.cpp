#include "ui/DeviceWords.h"

#include <QStringList>

#include "devicelist/Entry.h"
#include "foundation/Strings.h"
#include "ui/DisplayText.h"

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
  return kind ? QString::fromUtf8(kind->words) : QString();
}

QString nameWords(const DeviceList::ExtendedDeviceInfo& info) {
  return displayText(info.name ? *info.name : std::string());
}

QString updateWords(const DeviceList::ExtendedDeviceInfo& info) {
  if (!DeviceList::UpdateAvailable(info)) return {};
  return QStringLiteral("update %1 available").arg(releaseWords(*info.latestVersion));
}

QString nothingListedWords() {
  return QString::fromUtf8(DeviceList::kNoUnitsText);
}

QString moreDevicesWords(std::size_t count) {
  return QStringLiteral("and %1 more\u2026").arg(count);
}

QString hintWords(DeviceList::DiscoveryHint hint, bool nothingListed) {
  using Hint = DeviceList::DiscoveryHint;
  switch (hint) {
    case Hint::kStillLooking:
      return nothingListed ? QStringLiteral("Still looking for devices\u2026") : QString();
    case Hint::kResponderAbsent:
      return QStringLiteral("The discovery service (Avahi) is not running.");
    case Hint::kResponderSilent:
      return QStringLiteral("The discovery service (Avahi) does not answer.");
    case Hint::kNoNetwork:
      return QStringLiteral("There is no network connection.");
    case Hint::kNone:
      break;
  }
  return {};
}

QString hintWords(const PanelHint& hint, bool nothingListed) {
  if (hint.pageNotOpened) return QStringLiteral("The page could not be opened in a browser.");
  return hintWords(hint.discovery, nothingListed);
}

QString rowSentence(const DeviceList::ExtendedDeviceInfo& info, const QString& name) {
  QStringList pieces{isolatedText(name)};
  if (const QString kind = kindWords(info.type); !kind.isEmpty()) pieces += kind;
  if (info.firmwareVersion) pieces += QStringLiteral("firmware %1").arg(versionWords(*info.firmwareVersion));
  if (const QString update = updateWords(info); !update.isEmpty()) pieces += update;
  return pieces.join(QStringLiteral(", "));
}

}  // namespace vorn::ui
