// The status item with its menu, for units and interfaces named on the command line: --unit NAME, --service
// NAME.
#include <QAction>
#include <QApplication>
#include <QMenu>
#include <chrono>
#include <memory>
#include <string>

#include "app/DesktopStatusItem.h"
#include "app/DesktopStatusMenu.h"
#include "app/DesktopStatusView.h"
#include "app/Identity.h"
#include "app/VirtualEntityMenu.h"
#include "tests/ui/ScriptedOwner.h"
#include "tests/virtualentity/Scripted.h"
#include "ui/AccessibleApplication.h"

namespace {

struct Names {
  vorn::ui::List units;
  std::vector<vorn::NetworkService> services;
};

Names ReadNames(int argc, char** argv) {
  Names names;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string number = std::to_string(i);
    if (argv[i] == std::string("--unit")) {
      names.units.push_back(vorn::ui::Device(argv[i + 1]));
      names.units.back().url = "http://unit" + number + ".local/";
    } else {
      names.services.push_back({argv[i + 1], "eth" + number});
    }
  }
  return names;
}

}  // namespace

int main(int argc, char** argv) {
  const Names names = ReadNames(argc, argv);
  QApplication application(argc, argv);
  QApplication::setApplicationName(Identity::kProgram);
  QApplication::setApplicationDisplayName(Identity::kName);
  QApplication::setQuitOnLastWindowClosed(false);
  vorn::ui::AccessibleApplication::install();

  ScriptedLauncher launcher;
  ScriptedServices services;
  ScriptedCapability capability;
  services.fServices = names.services;
  for (const auto& service : names.services) {
    capability.fAnswers[service.interfaceName] = vorn::AVBCapability::Answer::kCapable;
  }
  ScriptedDispatch dispatch;
  vorn::app::VirtualEntityMenu entity(dispatch, launcher, services, capability,
                                      {"/bin/sh", "/usr/bin/avbutil", {}, std::chrono::milliseconds(1)});

  vorn::ui::ScriptedOwner owner;
  owner.publish(names.units);
  vorn::app::DesktopStatusItem item(19);
  const vorn::app::DesktopStatusView view(item);
  const vorn::app::DesktopStatusMenu menu(owner, item, [] { return DeviceList::DiscoveryHint::kNone; });
  const auto entry = std::make_shared<QAction>(QLatin1String(vorn::app::VirtualEntity::kMenuItemTitle));
  entity.setFVirtualEntityMenuItem(entry);
  entity.EnumerateAVBInterfaces();
  entity.installSubmenus();
  owner.fListeners.front()->menu()->addAction(entry.get());
  const int status = QApplication::exec();
  entity.setFVirtualEntityMenuItem(nullptr);
  return status;
}
