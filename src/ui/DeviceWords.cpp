#include "ui/DeviceWords.h"

#include <QCoreApplication>
#include <QStringList>
#include <algorithm>
#include <string_view>

#include "devicelist/Entry.h"
#include "foundation/Strings.h"
#include "ui/DisplayText.h"
#include "ui/Translations.h"

namespace vorn::ui {
namespace {

QString releaseWords(const FirmwareVersion& version) {
  return QString::fromStdString(SlowConvertToString(version)).section(u'+', 0, 0);
}

bool isBehindHost(const std::string& type) {
  const DeviceList::UnitKind* kind = DeviceList::KindOf(type);
  return kind && kind->announced == DeviceList::UnitKind::Announced::kUIDList;
}

// The first label of the address's host: "machine-room" for "http://machine-room.local:8080/uid/".
QString hostOf(std::string_view url) {
  const std::size_t scheme = url.find("://");
  if (scheme == std::string_view::npos) return {};
  url.remove_prefix(scheme + 3);
  std::string_view host = url.substr(0, url.find_first_of(":/"));
  if (host.ends_with('.')) host.remove_suffix(1);
  constexpr std::string_view kLocal = ".local";
  if (host.ends_with(kLocal)) host.remove_suffix(kLocal.size());
  return visibleText(std::string(host));
}

QString lettersAndDigits(const QString& text) {
  QString kept;
  for (const QChar c : text.toCaseFolded()) {
    if (c.isLetterOrNumber()) kept += c;
  }
  return kept;
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

QString modelWords(const DeviceList::ExtendedDeviceInfo& info) {
  return info.modelID ? visibleText(*info.modelID) : QString();
}

QString firmwareWords(const DeviceList::ExtendedDeviceInfo& info) {
  if (!info.firmwareVersion) return {};
  QString installed = releaseWords(*info.firmwareVersion);
  if (!DeviceList::UpdateAvailable(info)) return installed;
  const QString latest = releaseWords(*info.latestVersion);
  const QString arrow = QStringLiteral(" \u2192 ");
  if (installed != latest) return installed + arrow + latest;
  return versionWords(*info.firmwareVersion) + arrow + versionWords(*info.latestVersion);
}

QString hostWords(const DeviceList::ExtendedDeviceInfo& info) {
  if (!isBehindHost(info.type)) return {};
  const QString host = hostOf(info.url);
  if (host.isEmpty() || lettersAndDigits(nameWords(info)).contains(lettersAndDigits(host))) return {};
  return QCoreApplication::translate("DeviceWords", "behind %1").arg(isolatedText(host));
}

QString detailLine(const QStringList& words) {
  QStringList known = words;
  known.removeAll(QString());
  return known.join(QStringLiteral(" \u00B7 "));
}

QString updateWords(const DeviceList::ExtendedDeviceInfo& info) {
  if (!DeviceList::UpdateAvailable(info)) return {};
  return QCoreApplication::translate("DeviceWords", "update %1 available")
      .arg(releaseWords(*info.latestVersion));
}

QString nothingListedWords() {
  return coreText(DeviceList::kNoUnitsText);
}

QString allDevicesWords(std::size_t count) {
  const int number = static_cast<int>(count);
  return QCoreApplication::translate("DeviceWords", "All Devices (%n)...", nullptr, number);
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
  QString devices = QCoreApplication::translate("DeviceWords", "%n device(s)", nullptr, count);
  const auto outdated = std::count_if(list.begin(), list.end(), &DeviceList::UpdateAvailable);
  if (outdated == 0) return devices;
  const int number = static_cast<int>(outdated);
  const QString updates =
      QCoreApplication::translate("DeviceWords", "%n update(s) available", nullptr, number);
  return QCoreApplication::translate("DeviceWords", "%1, %2", "devices, updates").arg(devices, updates);
}

QString firstRunHintWords() {
  return QCoreApplication::translate(
      "DeviceWords", "The program starts at login. You can change that in the settings menu.");
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
