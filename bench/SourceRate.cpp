// How many requests a second one stranger causes who announces all units at one address and makes their
// checks start again and again.
//
// bench_source_rate UNITS SECONDS

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "bench/AnnouncedUnits.h"
#include "bench/Statistics.h"
#include "bench/UnitServer.h"
#include "devicelist/PollingDeviceList.h"

namespace {

using vorn::bench::Now;
using vorn::bench::RunFor;

constexpr double kSettle = 6;  // the burst of the first requests is over

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: bench_source_rate UNITS SECONDS\n";
    return 2;
  }
  const auto units = static_cast<std::size_t>(std::atoi(argv[1]));
  const double seconds = std::atof(argv[2]);
  const vorn::bench::UnitServer server(vorn::bench::UnitServer::Names::kMissing, 1);
  vorn::bench::AnnouncedUnits network(units, server.Port());
  network.ShareOneAddress();
  DeviceList::PollingDeviceList::Makers makers;
  makers.firmwarePoller = DeviceList::PollingDeviceList::FirmwarePollersOf(server.Updates());
  const DeviceList::PollingDeviceList list({}, network, makers);
  RunFor(kSettle);
  const auto before = server.Requests();
  const double from = Now();
  RunFor(seconds);
  const double elapsed = Now() - from;
  std::cout << nlohmann::json{{"units", units},
                              {"seconds", elapsed},
                              {"requestsASecond", static_cast<double>(server.Requests() - before) / elapsed}}
            << std::endl;
  return 0;
}
