// The time from a unit's changed answer to the list that publishes it: the unit's name in every answer
// contains the time of its sending. The reference is the time until a bare libcurl easy handle has such an
// answer.
//
// bench_change UNITS SECONDS

#include <curl/curl.h>

#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/AnnouncedUnits.h"
#include "bench/Statistics.h"
#include "bench/UnitServer.h"
#include "devicelist/Datastore.h"
#include "devicelist/PollingDeviceList.h"

namespace {

using DeviceList::ExtendedDeviceInfo;
using vorn::bench::Now;
using vorn::bench::UnitServer;

/// Looks for new names in every published list.
class Watch {
 public:
  void Take(const std::vector<ExtendedDeviceInfo>& published) {
    const double now = Now();
    for (const auto& unit : published) {
      const double sent = UnitServer::SentAt(*unit.name);
      double& last = fLastSent[unit.url];
      if (sent < 0 || sent == last) continue;
      // A unit's first name comes during the busy start and is no change.
      if (last != 0) fLatencies.push_back(now - sent);
      last = sent;
    }
  }

  [[nodiscard]] const std::vector<double>& Latencies() const { return fLatencies; }

 private:
  std::map<std::string, double> fLastSent;
  std::vector<double> fLatencies;
};

std::size_t Append(char* bytes, std::size_t size, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(bytes, size * count);
  return size * count;
}

std::vector<double> MeasureBare(std::uint16_t port, int polls) {
  const std::unique_ptr<CURL, void (*)(CURL*)> easy(curl_easy_init(), curl_easy_cleanup);
  const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/datastore/avb/1/entity_name";
  std::string body;
  curl_easy_setopt(easy.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, Append);
  curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, static_cast<void*>(&body));
  std::vector<double> latencies;
  for (int i = 0; i < polls; ++i) {
    body.clear();
    if (curl_easy_perform(easy.get()) != CURLE_OK) continue;
    const double now = Now();
    const auto name = DeviceList::GetDatastoreValue(body);
    if (name) latencies.push_back(now - UnitServer::SentAt(*name));
  }
  return latencies;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: bench_change UNITS SECONDS\n";
    return 2;
  }
  constexpr int kBarePolls = 1000;
  const auto units = static_cast<std::size_t>(std::atoi(argv[1]));
  const double seconds = std::atof(argv[2]);
  const UnitServer server(UnitServer::Names::kChanging, 4);
  const auto bare = MeasureBare(server.Port(), kBarePolls);
  vorn::bench::AnnouncedUnits network(units, server.Port());
  Watch watch;
  DeviceList::PollingDeviceList::Makers makers;
  makers.firmwarePoller = DeviceList::PollingDeviceList::FirmwarePollersOf(server.Updates());
  DeviceList::PollingDeviceList list(
      [&](const std::vector<ExtendedDeviceInfo>& published) { watch.Take(published); }, network, makers);
  vorn::bench::RunFor(seconds);
  constexpr double kMilli = 1e3;
  std::cout << nlohmann::json{{"units", units},
                              {"milliseconds", vorn::bench::Summary(watch.Latencies(), kMilli)},
                              {"bareMilliseconds", vorn::bench::Summary(bare, kMilli)}}
            << std::endl;
  return watch.Latencies().empty() ? 1 : 0;
}
