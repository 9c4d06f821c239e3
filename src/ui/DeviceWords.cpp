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
  if (type == DeviceList::kTypeDevice) return QStringLiteral("audio interface");
  if (type == DeviceList::kTypeHost) return QStringLiteral("host");
  if (type == DeviceList::kTypeSwitch) return QStringLiteral("AVB switch");
  return {};
}

QString nameWords(const DeviceList::ExtendedDeviceInfo& info) {
  return displayText(info.name ? *info.name : std::string());
}

QString updateWords(const DeviceList::ExtendedDeviceInfo& info) {
  if (!DeviceList::UpdateAvailable(info)) return {};
  return QStringLiteral("update %1 available").arg(releaseWords(*info.latestVersion));
}

QString nothingListedWords() {
  return QStringLiteral("No Local Devices Found.");
}

QString rowSentence(const DeviceList::ExtendedDeviceInfo& info) {
  QStringList pieces{isolatedText(nameWords(info))};
  if (const QString kind = kindWords(info.type); !kind.isEmpty()) pieces += kind;
  if (info.firmwareVersion) pieces += QStringLiteral("firmware %1").arg(versionWords(*info.firmwareVersion));
  if (const QString update = updateWords(info); !update.isEmpty()) pieces += update;
  return pieces.join(QStringLiteral(", "));
}

}  // namespace vorn::ui
