// The status item with its menu, for units and interfaces on the command line: --unit NAME, --service NAME.
#include <QAction>
#include <QApplication>
#include <QMenu>
#include <chrono>
#include <memory>
#include <string>

#include "app/Identity.h"
#include "tests/platform/ManualDispatch.h"
#include "tests/ui/ScriptedOwner.h"
#include "tests/virtualentity/Scripted.h"
#include "ui/TrayStatusBar.h"
#include "ui/VirtualEntityMenu.h"

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

  ScriptedLauncher launcher;
  ScriptedServices services;
  ScriptedCapability capability;
  services.fServices = names.services;
  for (const auto& service : names.services) {
    capability.fAnswers[service.interfaceName] = vorn::AVBCapability::Answer::kCapable;
  }
  vorn::testing::ManualDispatch queues;
  const vorn::AVBTool tool{"/bin/sh", "/usr/bin/avbutil", {}, std::chrono::milliseconds(1)};
  vorn::ui::VirtualEntityMenu entity(
      std::make_shared<vorn::MacVirtualEntity>(queues, launcher, services, capability, tool), queues);

  vorn::ui::ScriptedOwner owner;
  owner.publish(names.units);
  const auto identifier = QString::fromLatin1(Identity::kIdentifier);
  vorn::ui::TrayStatusBar bar({{identifier + "-symbolic", identifier + "-inactive-symbolic"}, identifier}, 19,
                              {[] { return DeviceList::DiscoveryHint::kNone; }, [] { return false; }});
  bar.offerMenu(owner);
  entity.addTo(*owner.fListeners.front()->menu());
  queues.RunBackground();
  queues.RunMain();
  return QApplication::exec();
}
