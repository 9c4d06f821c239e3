#pragma once

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"

namespace vorn::testing {

/// A private system bus for a test that can end and start again. The process takes it for the system's bus.
class SystemBus {
 public:
  SystemBus() {
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + fFolder + "/socket").c_str(), 1);
    std::ofstream(fFolder + "/bus.conf") << R"(<busconfig><type>system</type><listen>unix:path=)" << fFolder
                                         << R"(/socket</listen><policy context="default">
      <allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/><allow user="*"/></policy></busconfig>)";
  }
  SystemBus(const SystemBus&) = delete;
  SystemBus& operator=(const SystemBus&) = delete;
  ~SystemBus() { Stop(); }

  void Start() {
    int ready[2];
    if (::pipe(ready) != 0) throw std::runtime_error("pipe");
    const std::string config = "--config-file=" + fFolder + "/bus.conf";
    const std::string print = "--print-address=" + std::to_string(ready[1]);
    std::vector<std::string> words{"dbus-daemon", "--nofork", "--nopidfile", "--nosyslog", config, print};
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    if (::posix_spawnp(&fPid, "dbus-daemon", nullptr, nullptr, arguments.data(), environ) != 0) {
      throw std::runtime_error("dbus-daemon cannot be started");
    }
    ::close(ready[1]);
    char byte = 0;
    if (::read(ready[0], &byte, 1) != 1) throw std::runtime_error("dbus-daemon did not come up");
    ::close(ready[0]);
  }

  // At once, so that it reports nothing to its clients.
  void Stop() {
    if (fPid <= 0) return;
    ::kill(fPid, SIGKILL);
    ::waitpid(fPid, nullptr, 0);
    fPid = -1;
    std::filesystem::remove(fFolder + "/socket");
  }

 private:
  const testing::TemporaryFolder fTemporary;
  const std::string fFolder = fTemporary.Path().string();
  pid_t fPid = -1;
};

}  // namespace vorn::testing
