// The processor time to rebuild and publish the list, by number of units: the whole UpdateList up to the most
// polled units, and only its filtering and sorting beyond that.
//
// bench_update_list REPETITIONS

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/AnnouncedUnits.h"
#include "bench/Statistics.h"
#include "bench/UnitServer.h"
#include "devicelist/ExtendedDeviceInfo.h"
#include "devicelist/PollerImpl.h"
#include "devicelist/PollingDeviceList.h"
#include "foundation/RunLoop.h"

namespace {

using namespace std::chrono_literals;
using DeviceList::Entry;
using DeviceList::ExtendedDeviceInfo;
using vorn::bench::Now;
using vorn::bench::ThreadCpu;

constexpr std::size_t kModels = 12;

std::string NameOf(std::size_t number) {
  // A fixed mix of the numbers, so that the list comes unsorted.
  const std::size_t mixed = number * 2654435761U % 1000003U;
  return "Studio " + std::to_string(mixed % 7) + " Rack " + std::to_string(mixed);
}

/// A unit that is known from the first moment and never polled.
class KnownUnit final : public DeviceList::Poller {
 public:
  explicit KnownUnit(Entry entry) : Poller(std::make_unique<KnownImpl>(std::move(entry))) {}

 private:
  class KnownImpl final : public Impl {
   public:
    explicit KnownImpl(Entry entry) : Impl(std::move(entry), nullptr, 1s) {
      const auto number = static_cast<std::size_t>(std::atoi(GetEntry().uid.c_str()));
      SetName(NameOf(number));
      SetModelID("Model " + std::to_string(number % kModels));
      SetFirmwareVersion(std::string("1.4.0+290"));
    }
  };
};

nlohmann::json Row(std::size_t units, const std::vector<double>& times) {
  const auto n = static_cast<double>(units);
  nlohmann::json row = vorn::bench::Summary(times, 1e6);
  row["units"] = units;
  row["nanosecondsByNLogN"] = vorn::bench::Median(times) * 1e9 / (n * std::log2(n));
  return row;
}

nlohmann::json MeasureUpdateList(std::size_t units, const vorn::bench::UnitServer& server, int repetitions) {
  vorn::bench::AnnouncedUnits network(units, server.Port());
  std::size_t published = 0;
  DeviceList::PollingDeviceList::Makers makers;
  makers.firmwarePoller = DeviceList::PollingDeviceList::FirmwarePollersOf(server.Updates());
  makers.poller = [](Entry entry, const auto&) { return std::make_unique<KnownUnit>(std::move(entry)); };
  DeviceList::PollingDeviceList list(
      [&](const std::vector<ExtendedDeviceInfo>& publishedUnits) { published = publishedUnits.size(); },
      network, makers);
  const auto loop = vorn::PollRunLoop::Current();
  for (const double end = Now() + 60; published < units && Now() < end;) loop->RunOnce(50ms);
  vorn::bench::RunFor(0.5);  // the models' answers come in
  std::vector<double> times;
  for (int i = 0; i < repetitions; ++i) {
    const double start = ThreadCpu();
    list.UpdateList();
    times.push_back(ThreadCpu() - start);
  }
  if (published != units)
    std::cerr << "bench_update_list: " << published << " of " << units << " units published\n";
  return Row(units, times);
}

std::vector<ExtendedDeviceInfo> Collected(std::size_t units) {
  std::vector<ExtendedDeviceInfo> collected(units);
  for (std::size_t i = 0; i < units; ++i) {
    ExtendedDeviceInfo& unit = collected[i];
    unit.name = NameOf(i);
    // A host names every third unit too.
    unit.type = i % 3 == 0 ? DeviceList::kTypeHost : DeviceList::kTypeDevice;
    unit.uid = "0001f2fffe" + std::to_string(i % 3 == 0 ? i + 1 : i);
    unit.url = "http://" + unit.uid + ".local/";
    unit.modelID = "Model " + std::to_string(i % kModels);
    unit.firmwareVersion = vorn::FirmwareVersion{1, 4, 0, 290};
    unit.latestVersion = vorn::FirmwareVersion{1, 4, 2, 311};
  }
  return collected;
}

nlohmann::json MeasureFilterAndSort(std::size_t units, int repetitions) {
  const auto collected = Collected(units);
  std::vector<double> times;
  for (int i = 0; i < repetitions; ++i) {
    auto copy = collected;
    const double start = ThreadCpu();
    const auto published = DeviceList::FilterAndSort(std::move(copy));
    times.push_back(ThreadCpu() - start);
    if (published.empty()) std::abort();
  }
  return Row(units, times);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: bench_update_list REPETITIONS\n";
    return 2;
  }
  const int repetitions = std::atoi(argv[1]);
  const vorn::bench::UnitServer server(vorn::bench::UnitServer::Names::kSteady, kModels);
  nlohmann::json result{{"updateList", nlohmann::json::array()}, {"filterAndSort", nlohmann::json::array()}};
  for (const std::size_t units :
       {std::size_t{10}, std::size_t{100}, std::size_t{1000}, DeviceList::PollingDeviceList::kMaxUnits}) {
    result["updateList"].push_back(MeasureUpdateList(units, server, repetitions));
  }
  for (const std::size_t units : {10U, 100U, 1000U, 10000U}) {
    result["filterAndSort"].push_back(MeasureFilterAndSort(units, repetitions));
  }
  std::cout << result << std::endl;
  return 0;
}
