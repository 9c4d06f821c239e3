#pragma once

#include <QtCore/QProcess>
#include <QtCore/QString>

#include <fstream>

#include "tests/support/TemporaryFolder.h"

namespace vorn::testing {

/// A private message bus for a test. It knows no service files, so nothing starts without the test's
/// knowledge, unless the test adds some to Services().
class PrivateBus {
 public:
  PrivateBus() {
    std::filesystem::create_directory(Services());
    const auto config = fFolder.Path() / "bus.conf";
    std::ofstream(config)
        << "<busconfig><type>session</type><listen>unix:path=" << (fFolder.Path() / "socket").string()
        << "</listen><servicedir>" << Services().string()
        << "</servicedir><policy context=\"default\"><allow send_destination=\"*\" "
           "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>";
    fDaemon.start("dbus-daemon", {"--nofork", "--print-address",
                                  "--config-file=" + QString::fromStdString(config.string())});
    if (fDaemon.waitForReadyRead(30000)) fAddress = fDaemon.readLine().trimmed().toStdString();
  }
  ~PrivateBus() { Kill(); }

  /// Empty when the bus did not start.
  [[nodiscard]] const std::string& Address() const { return fAddress; }
  [[nodiscard]] std::filesystem::path Services() const { return fFolder.Path() / "services"; }
  [[nodiscard]] const std::filesystem::path& Folder() const { return fFolder.Path(); }

  void Kill() {
    fDaemon.kill();
    fDaemon.waitForFinished();
  }

 private:
  TemporaryFolder fFolder;
  QProcess fDaemon;
  std::string fAddress;
};

}  // namespace vorn::testing
