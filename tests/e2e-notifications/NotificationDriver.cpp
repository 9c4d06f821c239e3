// The notifications without the application: runs Notification::Logic with the real
// store, notification server and browser, on lists read from standard input.
//
//   unit<TAB>name<TAB>type<TAB>url<TAB>uid<TAB>firmware<TAB>latest[<TAB>address]   adds to the next list
//   publish                                                                        hands the list over
//   off                                                                            switches notifications off
//
// Prints "published" after each publish; ends with its input.

#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "app/QtRunLoop.h"
#include "foundation/Strings.h"
#include "notification/Center.h"
#include "notification/Logic.h"
#include "platform/linux/notifications/FreedesktopNotificationServer.h"
#include "platform/linux/notifications/NotificationState.h"
#include "platform/linux/processes/XdgUrlOpener.h"
#include "platform/linux/settings/IniUserDefaults.h"

namespace {

class Driver {
 public:
  Driver() {
    const auto isSaved = [this] { return fCenter.Synchronize(); };
    fDefaults.SetEarlier({.isSaved = isSaved, .save = isSaved}, Notification::Persistence::kKeyPrefix);
  }

  void Take(const std::string& line) {
    std::vector<std::string> fields;
    std::istringstream stream(line);
    for (std::string field; std::getline(stream, field, '\t');) fields.push_back(field);
    if (fields.size() >= 7 && fields[0] == "unit") fList.push_back(MakeUnit(fields));
    if (line == "off") fLogic.WithdrawAll();
    if (line != "publish") return;
    fLogic.MaybeNotify(fList);
    fList.clear();
    std::puts("published");
    std::fflush(stdout);
  }

 private:
  static DeviceList::ExtendedDeviceInfo MakeUnit(const std::vector<std::string>& fields) {
    using vorn::FirmwareVersion;
    DeviceList::ExtendedDeviceInfo unit;
    unit.name = fields[1];
    unit.type = fields[2];
    unit.url = fields[3];
    unit.uid = fields[4];
    unit.firmwareVersion = vorn::SlowConvertFromStringAllowRemainder<FirmwareVersion>(fields[5]);
    unit.latestVersion = vorn::SlowConvertFromStringAllowRemainder<FirmwareVersion>(fields[6]);
    if (fields.size() > 7) unit.address = fields[7];
    return unit;
  }

  vorn::NotificationState fState{vorn::UserNotificationsPath()};
  Notification::Center fCenter{
      std::make_unique<vorn::FreedesktopNotificationServer>(vorn::FreedesktopNotificationServer::Presentation{
          "Vorn Device Finder", "example.vorn.DeviceFinder", "example.vorn.DeviceFinder"}),
      {.state = fState.Store()}};
  vorn::IniUserDefaults fDefaults{
      vorn::UserSettingsPath()};  ///< goes before the centre, as in the application
  vorn::XdgUrlOpener fOpener;
  Notification::Logic fLogic{fDefaults, fCenter, fOpener};
  std::vector<DeviceList::ExtendedDeviceInfo> fList;
};

int Serve() {
  Driver driver;
  std::string input;
  QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
  QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [&] {
    char buffer[4096];
    const auto count = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (count <= 0) {
      QCoreApplication::quit();
      return;
    }
    input.append(buffer, static_cast<std::size_t>(count));
    for (auto end = input.find('\n'); end != std::string::npos; end = input.find('\n')) {
      driver.Take(input.substr(0, end));
      input.erase(0, end + 1);
    }
  });
  return QCoreApplication::exec();
}

}  // namespace

int main(int argc, char** argv) {
  const QCoreApplication application(argc, argv);
  vorn::RunLoop::SetCurrent(std::make_shared<vorn::app::QtRunLoop>());
  const int status = Serve();
  vorn::RunLoop::SetCurrent(nullptr);  // which goes before the application object
  return status;
}
