#include "app/VirtualEntityMenu.h"

#include <QAction>
#include <QMenu>
#include <utility>

#include "ui/DisplayText.h"
#include "virtualentity/ActionSender.h"
#include "virtualentity/MenuDescription.h"

namespace vorn::app {
namespace {

/// An entry of the submenu as the core sees it. The title is kept beside the
/// text, into which toolkits and styles write marks of their own.
class SubmenuItem final : public MenuItem {
 public:
  explicit SubmenuItem(QAction& action) : fAction(action) {}
  std::string Title() const override { return fAction.data().toByteArray().toStdString(); }
  bool IsOn() const override { return fAction.isChecked(); }
  void SetOn(bool on) override { fAction.setChecked(on); }

 private:
  QAction& fAction;
};

QByteArray TitleBytes(const MenuDescription::Item& item) {
  return QByteArray::fromStdString(item.title);
}

bool HasSameTitles(const QMenu& menu, const MenuDescription& description) {
  const auto actions = menu.actions();
  if (static_cast<std::size_t>(actions.size()) != description.items.size()) return false;
  for (qsizetype i = 0; i < actions.size(); ++i) {
    if (actions[i]->data().toByteArray() != TitleBytes(description.items[static_cast<std::size_t>(i)]))
      return false;
  }
  return true;
}

// The interface's name is never cut: it tells services of the same name apart.
QString EntryText(const std::string& title) {
  const auto colon = title.rfind(':');
  const std::string service = title.substr(0, colon);
  const QString name =
      service.empty() ? QString() : ui::isolatedText(ui::shortText(ui::displayText(service)));
  return name + u':' + ui::displayText(title.substr(colon + 1));
}

std::unique_ptr<QMenu> MakeMenu(const MenuDescription& description) {
  auto menu = std::make_unique<QMenu>(QString::fromStdString(description.title));
  for (const auto& item : description.items) {
    QAction* action = menu->addAction(QString());
    ui::setLiteralText(*action, EntryText(item.title), ui::MenuForm::Drawn);
    action->setCheckable(true);
    action->setChecked(item.on);
    action->setData(TitleBytes(item));
  }
  return menu;
}

void ShowStates(const QMenu& menu, const MenuDescription& description) {
  const auto actions = menu.actions();
  for (qsizetype i = 0; i < actions.size(); ++i) {
    actions[i]->setChecked(description.items[static_cast<std::size_t>(i)].on);
  }
}

}  // namespace

VirtualEntityMenu::VirtualEntityMenu(Dispatch& dispatch, ChildProcessLauncher& launcher,
                                     NetworkServices& services, AVBCapability& capability, AVBTool tool)
    : fDescription(std::make_shared<MenuItemDescription>(kMenuItemTitle)),
      fEntity(dispatch, launcher, services, capability, std::move(tool)) {
  fEntity.SetVirtualEntityMenuItem(fDescription);
}

VirtualEntityMenu::~VirtualEntityMenu() = default;

void VirtualEntityMenu::setFVirtualEntityMenuItem(std::shared_ptr<QAction> item) {
  fItem = std::move(item);
  if (fItem) {
    fParents.push_back({fItem, nullptr});
  } else {
    fParents.clear();
  }
  forgetClosedMenus();
}

bool VirtualEntityMenu::EnumerateAVBInterfaces() {
  return fEntity.EnumerateAVBInterfaces();
}

void VirtualEntityMenu::stopEnumerations() {
  fEntity.StopListings();
}

bool VirtualEntityMenu::installSubmenus() {
  forgetClosedMenus();
  const auto description = fDescription->Submenu();
  if (!description) return false;
  for (auto& parent : fParents) {
    // The one that stands may be open, so it is kept where it fits.
    if (!parent.submenu || !HasSameTitles(*parent.submenu, *description)) {
      auto old = std::exchange(parent.submenu, MakeMenu(*description));
      parent.item.lock()->setMenu(parent.submenu.get());
      if (old) old.release()->deleteLater();
    }
    ShowStates(*parent.submenu, *description);
  }
  return true;
}

void VirtualEntityMenu::EnableDisableVirtualAudio(QAction* sender) {
  if (!sender) return;
  SubmenuItem item(*sender);
  fEntity.EnableDisableVirtualAudio(&item);
  for (const auto& parent : fParents) {
    if (!parent.submenu) continue;
    for (QAction* other : parent.submenu->actions()) {
      if (other->data() == sender->data()) other->setChecked(sender->isChecked());
    }
  }
}

void VirtualEntityMenu::forgetClosedMenus() {
  std::erase_if(fParents, [](const Parent& parent) { return parent.item.expired(); });
}

}  // namespace vorn::app
