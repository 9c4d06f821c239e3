#include "app/DesktopStatusItem.h"

#include "app/Identity.h"

namespace vorn::app {
namespace {

ui::TrayStatusItem::Look ItemLook() {
  const auto identifier = QString::fromLatin1(Identity::kIdentifier);
  return {identifier + QStringLiteral("-symbolic"), identifier + QStringLiteral("-inactive-symbolic"),
          QString::fromUtf8(Identity::kName)};
}

}  // namespace

DesktopStatusItem::DesktopStatusItem(int length) : fTray(ItemLook(), length) {
  QObject::connect(&fHosts, &ui::TrayHostWatcher::hostFound, &fTray, &ui::TrayStatusItem::attach);
  fHosts.start();
}

}  // namespace vorn::app
