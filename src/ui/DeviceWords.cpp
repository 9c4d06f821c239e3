#include "ui/DeviceWords.h"

#include <QStringList>

#include "devicelist/Entry.h"
#include "foundation/Strings.h"
#include "ui/DisplayText.h"

namespace vorn::ui {

QString versionWords(const FirmwareVersion& version) {
  QString words = QString::fromStdString(SlowConvertToString(version));
  if (version.build == 0) words.truncate(words.indexOf(u'+'));
  return words;
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
  return QStringLiteral("update %1 available").arg(versionWords(*info.latestVersion));
}

QString rowSentence(const DeviceList::ExtendedDeviceInfo& info) {
  QStringList pieces{isolatedText(nameWords(info))};
  if (const QString kind = kindWords(info.type); !kind.isEmpty()) pieces += kind;
  if (info.firmwareVersion) pieces += QStringLiteral("firmware %1").arg(versionWords(*info.firmwareVersion));
  if (const QString update = updateWords(info); !update.isEmpty()) pieces += update;
  return pieces.join(QStringLiteral(", "));
}

}  // namespace vorn::ui
