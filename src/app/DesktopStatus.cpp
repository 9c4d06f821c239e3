#include "app/DesktopStatus.h"

#include <utility>

#include "app/Identity.h"
#include "ui/PanelOwner.h"

namespace vorn::app {
namespace {

ui::TrayStatusItem::Look ItemLook() {
  const auto identifier = QString::fromLatin1(Identity::kIdentifier);
  return {identifier + QStringLiteral("-symbolic"), identifier + QStringLiteral("-inactive-symbolic"),
          QString::fromUtf8(Identity::kName)};
}

}  // namespace

DesktopStatusItem::DesktopStatusItem() : fTray(ItemLook()) {
  QObject::connect(&fHosts, &ui::TrayHostWatcher::hostFound, &fTray, &ui::TrayStatusItem::attach);
  fHosts.start();
}

DesktopStatusView::DesktopStatusView(DesktopStatusItem& item) : fView(&item.tray()) {
  fView.setTarget(&fTarget);
}

void DesktopStatusView::setAction(std::function<void()> action) {
  fView.setAction(std::move(action));
}

DesktopStatusMenu::DesktopStatusMenu(ui::PanelOwner& owner, DesktopStatusItem& item)
    : fOwner(owner), fItem(item), fMenu(owner) {
  fOwner.addListener(&fMenu);
  fItem.tray().setContextMenu(fMenu.contextMenu());
}

DesktopStatusMenu::~DesktopStatusMenu() {
  fItem.tray().setContextMenu(nullptr);
  fOwner.removeListener(&fMenu);
}

}  // namespace vorn::app
