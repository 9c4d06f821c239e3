// What a list of polled units costs: threads, memory, descriptors, and processor time when every unit is
// known and answers 304.
//
// bench_units UNITS MODELS SECONDS

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "bench/AnnouncedUnits.h"
#include "bench/ProcessFigures.h"
#include "bench/Statistics.h"
#include "bench/UnitServer.h"
#include "devicelist/PollingDeviceList.h"
#include "foundation/RunLoop.h"

namespace {

using namespace std::chrono_literals;
using DeviceList::ExtendedDeviceInfo;
using vorn::bench::Now;
using vorn::bench::ProcessFigures;
using vorn::bench::RunFor;

constexpr double kPatience = 120;
constexpr double kSettle = 7;  // two polls of every unit, so that all answer 304

bool IsComplete(const ExtendedDeviceInfo& unit) {
  return unit.name && unit.firmwareVersion && unit.modelID && unit.latestVersion;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: bench_units UNITS MODELS SECONDS\n";
    return 2;
  }
  const auto units = static_cast<std::size_t>(std::atoi(argv[1]));
  const auto models = static_cast<unsigned>(std::atoi(argv[2]));
  const double seconds = std::atof(argv[3]);
  const vorn::bench::UnitServer server(vorn::bench::UnitServer::Names::kSteady, models);
  vorn::bench::AnnouncedUnits network(units, server.Port());
  const ProcessFigures before = ProcessFigures::Read();
  const double start = Now();
  std::size_t complete = 0;
  std::size_t lists = 0;
  DeviceList::PollingDeviceList::Makers makers;
  makers.firmwarePoller = DeviceList::PollingDeviceList::FirmwarePollersOf(server.Updates());
  auto list = std::make_unique<DeviceList::PollingDeviceList>(
      [&](const std::vector<ExtendedDeviceInfo>& published) {
        complete = static_cast<std::size_t>(std::count_if(published.begin(), published.end(), IsComplete));
        ++lists;
      },
      network, makers);
  const auto loop = vorn::PollRunLoop::Current();
  while (complete < units && Now() < start + kPatience) loop->RunOnce(50ms);
  const double completeAfter = Now() - start;
  const std::size_t listsUntilComplete = lists;

  RunFor(kSettle);
  const ProcessFigures during = ProcessFigures::Read();
  const auto requests = server.Requests();
  const double cpu = vorn::bench::ProcessCpu();
  const double from = Now();
  RunFor(seconds);
  const double elapsed = Now() - from;
  const double used = vorn::bench::ProcessCpu() - cpu;
  const auto polls = server.Requests() - requests;
  const double destruction = Now();
  list.reset();
  std::cout << nlohmann::json{{"units", units},
                              {"models", models},
                              {"complete", complete},
                              {"completeAfterSeconds", completeAfter},
                              {"listsUntilComplete", listsUntilComplete},
                              {"threads", during.threads},
                              {"threadsBefore", before.threads},
                              {"residentKiB", during.residentKiB},
                              {"residentKiBBefore", before.residentKiB},
                              {"descriptors", during.descriptors},
                              {"descriptorsBefore", before.descriptors},
                              {"seconds", elapsed},
                              {"polls", polls},
                              {"cpuSeconds", used},
                              {"cpuPercent", used / elapsed * 100},
                              {"cpuMicrosecondsAPoll",
                               polls == 0 ? 0 : used / static_cast<double>(polls) * 1e6},
                              {"destructionSeconds", Now() - destruction}}
            << std::endl;
  return complete == units ? 0 : 1;
}
