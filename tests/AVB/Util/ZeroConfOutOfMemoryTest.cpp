#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "AVB/Util/FollowedHosts.h"
#include "AVB/Util/ZeroConf.h"
#include "foundation/Log.h"
#include "tests/AVB/Util/ScriptedDNSSD.h"
#include "tests/support/Eventually.h"
#include "tests/support/FailingAllocation.h"

namespace vorn {
namespace {

using testing::Eventually;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

std::atomic<std::chrono::milliseconds> gPassed{};  // since the start
std::atomic<int> gFailNext{0};     // which allocation fails after the next look at the clock; 0: none
std::atomic<bool> gTried{false};   // whether the clock was read again since then
std::atomic<bool> gFailed{false};  // whether an allocation failed in between

// While a look-up waits for a place, the engine reads the clock once in each cycle, before it decides which
// ones lose their place. From that moment its own thread can fail. Only in that cycle is everybody's time
// over.
Clock::time_point FailingNow() {
  thread_local std::optional<testing::FailingAllocation> failing;
  if (failing) {
    gFailed = failing->HasFailed();
    failing.reset();
    gTried = true;
  }
  const Clock::time_point now{gPassed.load()};
  const int nth = gFailNext.exchange(0);
  if (nth == 0) return now;
  failing.emplace(nth);
  return now + ZeroConfEngine::kOpenTime;
}

// An engine on a separate library that has announced this many instances, "u0" and up, and has answered for
// none, with or without time for each to start.
class Network {
 public:
  explicit Network(int instances = 0, bool withTime = false) {
    EXPECT_EQ(fEngine.BrowseForService("_http._tcp"), 0);
    for (int i = 0; i < instances; ++i) {
      fNames.push_back("u" + std::to_string(i));
      fDnssd.ReplyAdd(fNames.back());
      if (!withTime || fNames.size() % ZeroConfEngine::kMaxBeginning != 0) continue;
      EXPECT_TRUE(fDnssd.WaitUntilIdle());
      gPassed = gPassed.load() + ZeroConfEngine::kBeginningTime;
    }
    EXPECT_TRUE(fDnssd.WaitUntilIdle());
  }

  testing::ScriptedDNSSD& Dnssd() { return fDnssd; }
  [[nodiscard]] const std::vector<std::string>& Names() const { return fNames; }

  void Answer(const std::string& name) {
    fDnssd.ReplyResolve(name, (name + ".local.").c_str());
    fDnssd.ReplyAddress(name + ".local.");
  }

  // Answers for every instance. Those that may wait for the answers of others come last.
  void AnswerAll() {
    std::vector<std::string> names = fNames;
    std::rotate(names.begin(), names.begin() + std::min<std::ptrdiff_t>(2, std::ssize(names)), names.end());
    for (const std::string& name : names) Answer(name);
    EXPECT_TRUE(fDnssd.WaitUntilIdle());
  }

  // Whether the removal of that instance is a change.
  bool RemovingChanges(const std::string& name) {
    fEngine.TestAndClearModified();
    fDnssd.ReplyRemove(name);
    EXPECT_TRUE(fDnssd.WaitUntilIdle());
    return fEngine.TestAndClearModified();
  }

  std::vector<std::string> Resolved() {
    std::vector<ZeroConfEngine::ServiceInfo> services;
    fEngine.GetResolvedServices(services);
    std::vector<std::string> names;
    for (const auto& service : services) names.push_back(service.name);
    return names;
  }

 private:
  struct Loop : WorkLoop {};
  Loop fLoop;
  CppWorkItem fItem{&fLoop, [] { return true; }};
  testing::ScriptedDNSSD fDnssd;
  std::vector<std::string> fNames;
  ZeroConfEngine fEngine{fItem, fDnssd, FailingNow};
};

class ZeroConfOutOfMemory : public ::testing::Test {
 protected:
  ZeroConfOutOfMemory() : fLog(::open_memstream(&fText, &fSize)) {
    fBefore = std::exchange(Log::details::gFile, fLog);
    Log::details::s_use_color = false;
  }
  ~ZeroConfOutOfMemory() override {
    Log::details::gFile = fBefore;
    Log::details::s_use_color = true;
    std::fclose(fLog);
    std::free(fText);
  }

  // The log since the last call.
  std::string Logged() {
    std::fflush(fLog);
    std::string text(fText + fTaken, fSize - fTaken);
    fTaken = fSize;
    return text;
  }

  // Announces "late" while the nth allocation of its callback fails; returns whether there were that many.
  static bool AnnounceLate(Network& network, int nth) {
    bool failed = false;
    network.Dnssd().ReplyWith("browse", [&](DNSServiceRef ref, void* context) {
      const testing::FailingAllocation failing(nth);
      network.Dnssd().BrowseReply()(ref, kDNSServiceFlagsAdd, 1, 0, "late", "_http._tcp.", "local.", context);
      failed = failing.HasFailed();
    });
    EXPECT_TRUE(network.Dnssd().WaitUntilIdle());
    return failed;
  }

  // Fails each allocation in turn while "late" is announced beside this many others.
  void ExpectOnlyTheLateOneIsLost(int others) {
    bool failed = true;
    for (int nth = 1; failed; ++nth) {
      Network network(others);
      failed = AnnounceLate(network, nth);
      std::vector<std::string> expected = network.Names();
      network.AnswerAll();
      const std::string logged = Logged();
      if (logged.empty()) {
        network.Answer("late");
        EXPECT_TRUE(network.Dnssd().WaitUntilIdle());
        expected.push_back("late");
      } else {
        EXPECT_EQ(logged, "ERROR: exception in BrowseCallback (ZeroConf.cpp:332 )\n");
        EXPECT_FALSE(network.RemovingChanges("late"));  // nothing of it is left
      }
      EXPECT_THAT(network.Resolved(), UnorderedElementsAreArray(expected)) << nth;
      EXPECT_FALSE(network.Dnssd().Misused());
    }
  }

 private:
  char* fText = nullptr;
  std::size_t fSize = 0;
  std::size_t fTaken = 0;
  std::FILE* fLog;
  std::FILE* fBefore = nullptr;
};

TEST_F(ZeroConfOutOfMemory, AnExceptionInLookingUpTheAddressIsLoggedAndSurvived) {
  Network network;
  testing::ScriptedDNSSD& dnssd = network.Dnssd();
  dnssd.ReplyAdd("a");
  dnssd.ReplyResolve("a", "a.local.");
  dnssd.ReplyWith("address a.local.", [&](DNSServiceRef ref, void* context) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    const testing::FailingAllocation failing(1);  // queuing the client's item needs memory
    dnssd.AddressReply()(ref, kDNSServiceFlagsAdd, 1, 0, "a.local.", reinterpret_cast<sockaddr*>(&address),
                         120, context);
    EXPECT_TRUE(failing.HasFailed());
  });
  ASSERT_TRUE(dnssd.WaitUntilIdle());
  EXPECT_EQ(Logged(), "ERROR: exception in GetAddrInfoCallback (ZeroConf.cpp:516 )\n");

  dnssd.ReplyAdd("b");
  network.Answer("b");
  ASSERT_TRUE(dnssd.WaitUntilIdle());
  EXPECT_THAT(network.Resolved(), ::testing::Contains("b"));
}

TEST_F(ZeroConfOutOfMemory, AnInstanceThatCannotBeKeptIsLostAlone) {
  ExpectOnlyTheLateOneIsLost(0);
}

TEST_F(ZeroConfOutOfMemory, AnInstanceThatCannotWaitForAPlaceIsLostAlone) {
  // 48 start. With 64 the engine's vector is full, with 48 and 63 more the first block of its queue.
  ExpectOnlyTheLateOneIsLost(64);
  ExpectOnlyTheLateOneIsLost(48 + 63);
}

TEST_F(ZeroConfOutOfMemory, ALookupThatCannotGiveWayIsNotLost) {
  for (int nth = 1;; ++nth) {
    Network network(ZeroConfEngine::kMaxOpen + 2, true);
    gTried = false;
    gFailNext = nth;  // the first two must lose their place
    ASSERT_TRUE(Eventually([] { return gTried.load(); }));
    network.AnswerAll();
    EXPECT_THAT(network.Resolved(), UnorderedElementsAreArray(network.Names())) << nth;
    EXPECT_THAT(Logged(), IsEmpty());
    if (!gFailed) break;
  }
}

// A library whose address look-ups answer on request.
class AddressLibrary final : public DNSSD {
 public:
  DNSServiceErrorType CreateConnection(DNSServiceRef* ref) override {
    *ref = Connection();
    return kDNSServiceErr_NoError;
  }
  DNSServiceErrorType Browse(DNSServiceRef*, DNSServiceFlags, std::uint32_t, const char*, const char*,
                             DNSServiceBrowseReply, void*) override {
    return kDNSServiceErr_Unsupported;
  }
  DNSServiceErrorType Resolve(DNSServiceRef*, DNSServiceFlags, std::uint32_t, const char*, const char*,
                              const char*, DNSServiceResolveReply, void*) override {
    return kDNSServiceErr_Unsupported;
  }
  DNSServiceErrorType GetAddrInfo(DNSServiceRef* ref, DNSServiceFlags, std::uint32_t, std::uint32_t,
                                  const char*, DNSServiceGetAddrInfoReply callback, void* context) override {
    ++fBegun;
    fCallback = callback;
    fContext = context;
    *ref = Ref();
    return kDNSServiceErr_NoError;
  }
  bool HasBegun(DNSServiceRef) override { return true; }
  int RefSockFD(DNSServiceRef) override { return 0; }
  DNSServiceErrorType ProcessResult(DNSServiceRef) override { return kDNSServiceErr_NoError; }
  void RefDeallocate(DNSServiceRef ref) override {
    if (ref != Connection()) ++fReleased;
  }

  void Tell(const char* text) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    ASSERT_EQ(inet_pton(AF_INET, text, &address.sin_addr), 1);
    fCallback(Ref(), kDNSServiceFlagsAdd, 2, kDNSServiceErr_NoError, "desk.local.",
              reinterpret_cast<const sockaddr*>(&address), 0, fContext);
  }

  int fBegun = 0;
  int fReleased = 0;

 private:
  DNSServiceRef Ref() { return reinterpret_cast<DNSServiceRef>(this); }
  DNSServiceRef Connection() { return reinterpret_cast<DNSServiceRef>(&fBegun); }

  DNSServiceGetAddrInfoReply fCallback = nullptr;
  void* fContext = nullptr;
};

Clock::time_point PassedNow() {
  return Clock::time_point(gPassed.load());
}

TEST(FollowedHostsOutOfMemoryTest, AddressWithoutMemoryIsReportedByANewLookUp) {
  bool failed = true;
  int nth = 0;
  while (failed) {
    ++nth;
    AddressLibrary library;
    int told = 0;
    FollowedHosts followed(library, PassedNow, [&] {
      const std::vector<int> queued(1);  // the report needs memory too
      ++told;
    });
    followed.Follow({"desk.local"});
    followed.Serve(1);
    {
      const testing::FailingAllocation failing(nth);
      library.Tell("192.168.1.1");
      failed = failing.HasFailed();
    }
    EXPECT_EQ(library.fReleased, failed ? 1 : 0);
    if (failed) {
      gPassed = gPassed.load() + FollowedHosts::kRetryTime;
      followed.Serve(1);
      ASSERT_EQ(library.fBegun, 2);
      library.Tell("192.168.1.1");
    }
    EXPECT_EQ(told, 1);
    EXPECT_THAT(followed.Addresses()["desk.local"].addresses, ::testing::ElementsAre("192.168.1.1"));
    followed.Release();
  }
  EXPECT_GT(nth, 2);
}

TEST(FollowedHostsOutOfMemoryTest, ThatAllAddressesAreKnownIsPublishedInALaterCycleIfMemoryWasMissing) {
  bool failed = true;
  int nth = 0;
  while (failed) {
    ++nth;
    AddressLibrary library;
    int told = 0;
    FollowedHosts followed(library, PassedNow, [&] {
      const std::vector<int> queued(1);
      ++told;
    });
    followed.Follow({"desk.local"});
    followed.Serve(1);
    library.Tell("192.168.1.1");
    gPassed = gPassed.load() + FollowedHosts::kCompleteTime;
    try {
      const testing::FailingAllocation failing(nth);
      followed.Serve(1);
      failed = false;
    } catch (const std::bad_alloc&) {
      followed.Serve(1);
    }
    EXPECT_EQ(told, 2);
    EXPECT_TRUE(followed.Addresses()["desk.local"].isComplete);
    followed.Release();
  }
  EXPECT_GT(nth, 2);
}

}  // namespace
}  // namespace vorn
