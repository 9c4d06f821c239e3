// How long the application's main loop does nothing else while a full network changes: real pollers ask units
// whose names are as long as a name can be and differ in each answer. The panel is open. Needs a display, or
// QT_QPA_PLATFORM.
//
// loop-stall UNITS SECONDS

#include <QApplication>
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "app/AppDelegate.h"
#include "app/Desktop.h"
#include "app/QtRunLoop.h"
#include "bench/AnnouncedUnits.h"
#include "bench/Statistics.h"
#include "bench/UnitServer.h"
#include "devicelist/PollingDeviceList.h"
#include "foundation/RunLoop.h"

namespace {

using namespace std::chrono_literals;
using vorn::bench::Now;
using vorn::bench::ThreadCpu;
using List = vorn::app::AppDelegate::List;

constexpr unsigned kModels = 12;
constexpr std::size_t kSwitches = 1;  // the panel does not show it, so the list to show is another one

/// Asks the main loop for a moment again and again, and measures how long it takes to get one.
class Pulse {
 public:
  explicit Pulse(vorn::Dispatch& queues) : fQueues(queues), fThread([this] { Beat(); }) {}
  ~Pulse() {
    {
      const std::lock_guard lock(fMutex);
      fStop = true;
    }
    fChanged.notify_all();
    fThread.join();
  }
  Pulse(const Pulse&) = delete;
  Pulse& operator=(const Pulse&) = delete;

  /// The longest times since the last call, in milliseconds: elapsed, and the main thread's processor time.
  nlohmann::json TakeLongest() {
    const nlohmann::json longest{{"elapsed", fElapsed * 1e3}, {"processor", fProcessor * 1e3}};
    fElapsed = fProcessor = 0;
    return longest;
  }

 private:
  void Beat() {
    std::unique_lock lock(fMutex);
    while (!fStop) {
      fAnswered = false;
      fQueues.AsyncMain([this, asked = Now()] { Answer(asked); });
      fChanged.wait(lock, [this] { return fAnswered || fStop; });
      fChanged.wait_for(lock, 1ms, [this] { return fStop; });
    }
  }

  void Answer(double asked) {
    const double processor = ThreadCpu();
    if (fLastProcessor > 0) fProcessor = std::max(fProcessor, processor - fLastProcessor);
    fLastProcessor = processor;
    fElapsed = std::max(fElapsed, Now() - asked);
    {
      const std::lock_guard lock(fMutex);
      fAnswered = true;
    }
    fChanged.notify_all();
  }

  vorn::Dispatch& fQueues;
  double fElapsed = 0;  // these three belong to the main thread
  double fProcessor = 0;
  double fLastProcessor = 0;
  std::mutex fMutex;
  std::condition_variable fChanged;
  bool fAnswered = false;
  bool fStop = false;
  std::thread fThread;  // last: uses all members above
};

/// The application on a scripted network.
class Program {
 public:
  Program(std::size_t units, const vorn::bench::UnitServer& server)
      : fNetwork(units, server.Port(), kSwitches), fDelegate(Makers(server)) {
    fDelegate.applicationDidFinishLaunching();
  }
  ~Program() { fList.reset(); }  // before the queue to which it publishes
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  vorn::app::AppDelegate& Delegate() { return fDelegate; }
  vorn::Dispatch& Queues() { return *fQueues; }
  [[nodiscard]] std::size_t Listed() const { return fListed; }
  [[nodiscard]] std::size_t Lists() const { return fLists; }

 private:
  vorn::app::AppDelegate::Makers Makers(const vorn::bench::UnitServer& server) {
    const vorn::app::AppDelegate::Makers real = fDesktop.Makers();
    fQueues = &real.dispatch();
    return {
        .urlOpener = real.urlOpener,
        .loginItems = real.loginItems,
        .terminate = real.terminate,
        .bundleVersion = real.bundleVersion,
        .dispatch = real.dispatch,
        .userDefaults = real.userDefaults,
        .notificationCenter = real.notificationCenter,
        .firmwarePoller =
            [updates = server.Updates()](std::string model, std::string channel,
                                         std::function<void()> onChanged) {
              return std::make_unique<DeviceList::FirmwarePoller>(std::move(model), std::move(channel),
                                                                  std::move(onChanged), updates);
            },
        .virtualEntity = real.virtualEntity,
        .deviceList =
            [this, updates = server.Updates()](std::function<void(List)> publish) {
              DeviceList::PollingDeviceList::Makers makers;
              makers.firmwarePoller = DeviceList::PollingDeviceList::FirmwarePollersOf(updates);
              fList = std::make_unique<DeviceList::PollingDeviceList>(
                  [this, publish = std::move(publish)](List list) {
                    ++fLists;
                    fListed = list.size();
                    publish(std::move(list));
                  },
                  fNetwork, makers);
              return nullptr;
            },
        .statusBar = real.statusBar,
    };
  }

  std::size_t fListed = 0;
  std::size_t fLists = 0;
  vorn::Dispatch* fQueues = nullptr;
  vorn::bench::AnnouncedUnits fNetwork;
  vorn::app::Desktop fDesktop;
  vorn::app::AppDelegate fDelegate;
  std::unique_ptr<DeviceList::PollingDeviceList> fList;
};

void RunFor(double seconds) {
  for (const double end = Now() + seconds; Now() < end;) {
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
}

int Measure(std::size_t units, double seconds, const vorn::bench::UnitServer& server) {
  Program program(units, server);
  Pulse pulse(program.Queues());
  for (const double end = Now() + 60; program.Listed() < units && Now() < end;) RunFor(0.1);
  RunFor(3);
  const auto found = pulse.TakeLongest();
  program.Delegate().setPanelVisible(true);
  RunFor(2);
  const auto opening = pulse.TakeLongest();
  const std::size_t before = program.Lists();
  RunFor(seconds);
  std::cout << nlohmann::json{{"units", program.Listed()},
                              {"lists", program.Lists() - before},
                              {"found", found},
                              {"opening", opening},
                              {"change", pulse.TakeLongest()}}
            << std::endl;
  return program.Listed() == units ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: loop-stall UNITS SECONDS\n";
    return 2;
  }
  const auto units = static_cast<std::size_t>(std::atoi(argv[1]));
  const double seconds = std::atof(argv[2]);
  const vorn::bench::UnitServer server(vorn::bench::UnitServer::Names::kLong, kModels);
  const QApplication application(argc, argv);
  QApplication::setApplicationDisplayName(QStringLiteral("Vorn Device Finder"));
  QApplication::setQuitOnLastWindowClosed(false);
  vorn::RunLoop::SetCurrent(std::make_shared<vorn::app::QtRunLoop>());
  const int status = Measure(units, seconds, server);
  vorn::RunLoop::SetCurrent(nullptr);
  return status;
}
