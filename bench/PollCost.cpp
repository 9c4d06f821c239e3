// Processor time of one keep-alive poll with a 304 answer: by the pollers' HTTP client, and by a bare libcurl
// easy handle, in turns.
//
// bench_poll_cost ROUNDS POLLS-A-ROUND

#include <curl/curl.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "bench/Statistics.h"
#include "bench/UnitServer.h"
#include "devicelist/http/HTTPPoller.h"

namespace {

using vorn::bench::Now;
using vorn::bench::ThreadCpu;

struct Cost {
  double cpu = 0;   // seconds for each poll
  double wall = 0;  // seconds for each poll
};

template <typename Poll>
Cost Measure(int polls, Poll poll) {
  const double cpu = ThreadCpu();
  const double wall = Now();
  for (int i = 0; i < polls; ++i) {
    if (poll() != 304) {
      std::cerr << "bench_poll_cost: a poll was not answered with 304\n";
      std::exit(1);
    }
  }
  return {(ThreadCpu() - cpu) / polls, (Now() - wall) / polls};
}

std::size_t Discard(char*, std::size_t size, std::size_t count, void*) {
  return size * count;
}

/// What a program would do that only needs the answer's status.
class BareLoop {
 public:
  BareLoop(const std::string& url, std::uint16_t port) : fEasy(curl_easy_init(), curl_easy_cleanup) {
    fHeader = curl_slist_append(nullptr, "If-None-Match: \"1\"");
    fPins = curl_slist_append(nullptr, ("u1.local:" + std::to_string(port) + ":127.0.0.1").c_str());
    curl_easy_setopt(fEasy.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(fEasy.get(), CURLOPT_HTTPHEADER, fHeader);
    curl_easy_setopt(fEasy.get(), CURLOPT_RESOLVE, fPins);
    curl_easy_setopt(fEasy.get(), CURLOPT_WRITEFUNCTION, Discard);
    curl_easy_setopt(fEasy.get(), CURLOPT_NOSIGNAL, 1L);
  }
  ~BareLoop() {
    fEasy.reset();
    curl_slist_free_all(fHeader);
    curl_slist_free_all(fPins);
  }
  BareLoop(const BareLoop&) = delete;
  BareLoop& operator=(const BareLoop&) = delete;

  long Poll() {
    long status = 0;
    if (curl_easy_perform(fEasy.get()) == CURLE_OK)
      curl_easy_getinfo(fEasy.get(), CURLINFO_RESPONSE_CODE, &status);
    return status;
  }

 private:
  std::unique_ptr<CURL, void (*)(CURL*)> fEasy;
  curl_slist* fHeader = nullptr;
  curl_slist* fPins = nullptr;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: bench_poll_cost ROUNDS POLLS-A-ROUND\n";
    return 2;
  }
  const int rounds = std::atoi(argv[1]);
  const int polls = std::atoi(argv[2]);
  const vorn::bench::UnitServer server(vorn::bench::UnitServer::Names::kSteady, 1);
  const std::string url = "http://u1.local:" + std::to_string(server.Port()) + "/datastore/avb/1/entity_name";
  // A clock by which no request follows another one too soon.
  const auto hosts = std::make_shared<DeviceList::LocalHosts>(
      [time = vorn::Clock::now()]() mutable { return time += std::chrono::seconds(1); });
  hosts->Replace({{"u1.local", {"127.0.0.1"}}});
  DeviceList::HTTPPoller poller(hosts);
  BareLoop bare(url, server.Port());
  const vorn::optional<std::string> tag(std::string("\"1\""));
  const auto pollOnce = [&]() -> long {
    const auto answer = poller.DoRequest(url, tag);
    return answer ? answer->second.statusCode : 0;
  };
  const auto pollBare = [&] { return bare.Poll(); };

  Measure(polls / 10 + 1, pollOnce);
  Measure(polls / 10 + 1, pollBare);
  std::vector<double> ours, theirs, ratios, wallOurs, wallTheirs;
  for (int round = 0; round < rounds; ++round) {
    const bool oursFirst = round % 2 == 0;
    Cost first = oursFirst ? Measure(polls, pollOnce) : Measure(polls, pollBare);
    Cost second = oursFirst ? Measure(polls, pollBare) : Measure(polls, pollOnce);
    if (!oursFirst) std::swap(first, second);
    ours.push_back(first.cpu);
    theirs.push_back(second.cpu);
    ratios.push_back(first.cpu / second.cpu);
    wallOurs.push_back(first.wall);
    wallTheirs.push_back(second.wall);
  }
  constexpr double kMicro = 1e6;
  std::cout << nlohmann::json{{"cpuMicroseconds", vorn::bench::Summary(ours, kMicro)},
                              {"bareCpuMicroseconds", vorn::bench::Summary(theirs, kMicro)},
                              {"wallMicroseconds", vorn::bench::Summary(wallOurs, kMicro)},
                              {"bareWallMicroseconds", vorn::bench::Summary(wallTheirs, kMicro)},
                              {"ratio", vorn::bench::Summary(ratios)}}
            << std::endl;
  return 0;
}
