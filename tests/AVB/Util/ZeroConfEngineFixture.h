#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "AVB/Util/ZeroConf.h"
#include "foundation/Clock.h"
#include "foundation/RunLoop.h"
#include "tests/AVB/Util/ScriptedDNSSD.h"

namespace vorn::testing {

inline std::atomic<Clock::rep> gNow{0};

inline Clock::time_point FakeNow() {
  return Clock::time_point(Clock::duration(gNow));
}

inline void Advance(Clock::duration time) {
  gNow += time.count();
}

/// Holds the service thread inside the library's call for one name, like a responder that does not answer.
/// Use it once for each name.
class Gate {
 public:
  explicit Gate(std::string name) : fName(std::move(name)) {}

  DNSServiceErrorType operator()(const std::string& name) {
    if (name == fName) {
      fEntered.count_down();
      fOpen.wait();
    }
    return kDNSServiceErr_NoError;
  }

  void AwaitEntry() { fEntered.wait(); }
  void Open() { fOpen.count_down(); }

 private:
  const std::string fName;
  std::latch fEntered{1};
  std::latch fOpen{1};
};

/// An engine on a scripted library, and a client that counts its wake-ups by looking whether its item was
/// queued.
class ZeroConfEngineTest : public ::testing::Test {
 protected:
  struct Loop : WorkLoop {};

  void SetUp() override { MakeEngine(FakeNow); }

  void MakeEngine(Now now) { fEngine = std::make_unique<ZeroConfEngine>(fItem, fDnssd, std::move(now)); }

  void Browse() { ASSERT_EQ(fEngine->BrowseForService("_http._tcp"), 0); }

  // The names of the resolved services.
  std::vector<std::string> Names() {
    std::vector<ZeroConfEngine::ServiceInfo> services;
    EXPECT_EQ(fEngine->GetResolvedServices(services), 0);
    std::vector<std::string> names;
    for (const auto& service : services) names.push_back(service.name);
    return names;
  }

  ZeroConfEngine::ServiceInfo OnlyService() {
    std::vector<ZeroConfEngine::ServiceInfo> services;
    fEngine->GetResolvedServices(services);
    EXPECT_THAT(services, ::testing::SizeIs(1));
    return services.empty() ? ZeroConfEngine::ServiceInfo() : services.front();
  }

  // Runs what is queued on the client's loop; returns whether the item was among it.
  bool ClientWoken() {
    const int before = fRuns;
    while (PollRunLoop::Current()->RunOnce(std::chrono::milliseconds(0))) {
    }
    return fRuns != before;
  }

  void ResolveFully(const std::string& name, const std::string& host, const std::string& txt = {}) {
    fDnssd.ReplyAdd(name);
    fDnssd.ReplyResolve(name, host.c_str(), 80, txt);
    fDnssd.ReplyAddress(host);
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
  }

  int fRuns = 0;
  Loop fLoop;
  CppWorkItem fItem{&fLoop, [this] {
                      ++fRuns;
                      return true;
                    }};
  ScriptedDNSSD fDnssd;
  std::unique_ptr<ZeroConfEngine> fEngine;
};

}  // namespace vorn::testing
