#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "AVB/Util/ServiceData.h"
#include "foundation/Log.h"
#include "tests/AVB/Util/ZeroConfEngineFixture.h"
#include "tests/support/Eventually.h"
#include "tests/support/Threads.h"

namespace vorn {
namespace {

using ::testing::ElementsAre;
using testing::Eventually;
using testing::Gate;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using testing::TxtBytes;
using testing::ZeroConfEngineTest;

TEST_F(ZeroConfEngineTest, ListsAServiceOnceItsAddressIsKnown) {
  Browse();
  fDnssd.ReplyAdd("Studio A");
  fDnssd.ReplyResolve("Studio A", "studio-a.local.", 8080, TxtBytes({"uid=1", "flag"}));
  ASSERT_TRUE(fDnssd.WaitForBegun("address studio-a.local."));
  EXPECT_THAT(Names(), IsEmpty());
  fDnssd.ReplyAddress("studio-a.local.", "192.168.1.20");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());

  const auto service = OnlyService();
  EXPECT_EQ(service.name, "Studio A");
  EXPECT_EQ(service.type, "_http._tcp.");
  EXPECT_EQ(service.domain, "local.");
  EXPECT_EQ(service.fullName, "Studio A._http._tcp.local.");
  EXPECT_EQ(service.host, "studio-a.local");
  EXPECT_EQ(service.address, "192.168.1.20");
  EXPECT_EQ(service.port, 8080);
  ASSERT_THAT(service.txt, SizeIs(2));
  EXPECT_EQ(service.txt[0].key, "uid");
  EXPECT_EQ(service.txt[0].value, "1");
  EXPECT_EQ(service.txt[1].key, "flag");
  EXPECT_EQ(service.txt[1].value, "");
  EXPECT_TRUE(fEngine->TestAndClearModified());
  EXPECT_TRUE(ClientWoken());
}

TEST_F(ZeroConfEngineTest, AsksOnTheInterfaceThatTheReplyBeforeCameFrom) {
  Browse();
  fDnssd.ReplyBrowse(kDNSServiceFlagsAdd, "Studio A", 5, kDNSServiceErr_NoError, "_http._tcp.", "example.");
  fDnssd.ReplyResolve("Studio A", "studio-a.local.");  // replies come on interface 7
  ASSERT_TRUE(fDnssd.WaitForBegun("address studio-a.local."));
  EXPECT_THAT(fDnssd.Calls(), ElementsAre("browse 0 | 0 | _http._tcp | null",
                                          "resolve 0 | 5 | Studio A | _http._tcp. | example.",
                                          "address 0 | 7 | 1 | studio-a.local."));
}

TEST_F(ZeroConfEngineTest, WritesAddressesWithoutLeadingZeros) {
  Browse();
  fDnssd.ReplyAdd("a");
  fDnssd.ReplyResolve("a", "a.local.");
  fDnssd.ReplyAddress("a.local.", "10.0.255.1");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_EQ(OnlyService().address, "10.0.255.1");
}

TEST_F(ZeroConfEngineTest, AddingAnInstanceWakesNobody) {
  Browse();
  fDnssd.ReplyAdd("a");
  fDnssd.ReplyResolve("a", "a.local.");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_FALSE(fEngine->TestAndClearModified());
  EXPECT_FALSE(ClientWoken());
}

TEST_F(ZeroConfEngineTest, AResolveErrorIsNeverListedAndNeverAChange) {
  Browse();
  fDnssd.ReplyAdd("a");
  fDnssd.ReplyResolve("a", nullptr, 0, {}, kDNSServiceErr_Unknown);
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(Names(), IsEmpty());
  EXPECT_FALSE(fEngine->TestAndClearModified());
  EXPECT_FALSE(ClientWoken());
  EXPECT_THAT(fDnssd.Released(), ElementsAre("resolve a"));
  EXPECT_THAT(fDnssd.Begun(), ElementsAre("browse", "resolve a"));
  // The record exists until its removal.
  fDnssd.ReplyRemove("a");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_TRUE(fEngine->TestAndClearModified());
}

TEST_F(ZeroConfEngineTest, AnAddressWithoutTheAddFlagKeepsTheServiceInvisibleButIsAChange) {
  Browse();
  fDnssd.ReplyAdd("a");
  fDnssd.ReplyResolve("a", "a.local.");
  fDnssd.ReplyAddress("a.local.", "10.0.0.1", 0);
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(Names(), IsEmpty());
  EXPECT_TRUE(fEngine->TestAndClearModified());
  EXPECT_TRUE(ClientWoken());
  EXPECT_TRUE(fDnssd.WaitForReleased("address a.local."));
  // The record exists until its removal.
  fDnssd.ReplyRemove("a");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_TRUE(fEngine->TestAndClearModified());
}

TEST_F(ZeroConfEngineTest, AnAddressErrorIsNeverListedAndNeverAChange) {
  Browse();
  fDnssd.ReplyAdd("a");
  fDnssd.ReplyResolve("a", "a.local.");
  fDnssd.ReplyAddress("a.local.", "10.0.0.1", kDNSServiceFlagsAdd, kDNSServiceErr_Unknown);
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(Names(), IsEmpty());
  EXPECT_FALSE(fEngine->TestAndClearModified());
  EXPECT_FALSE(ClientWoken());
  EXPECT_THAT(fDnssd.Released(), ElementsAre("resolve a", "address a.local."));
  // The record exists until its removal.
  fDnssd.ReplyRemove("a");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_TRUE(fEngine->TestAndClearModified());
  EXPECT_FALSE(fDnssd.Misused());
}

TEST_F(ZeroConfEngineTest, AReplyWithoutAnAddressLeavesTheServiceInvisible) {
  Browse();
  fDnssd.ReplyAdd("a");
  fDnssd.ReplyResolve("a", "a.local.");
  fDnssd.ReplyNoAddress("a.local.");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(ZeroConfEngineTest, BrowseErrorsAreIgnored) {
  Browse();
  fDnssd.ReplyBrowse(kDNSServiceFlagsAdd, "a", 1, kDNSServiceErr_Unknown);
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(fDnssd.Begun(), ElementsAre("browse"));
}

TEST_F(ZeroConfEngineTest, NullStringsAreEmptyOnes) {
  Browse();
  fDnssd.ReplyBrowse(kDNSServiceFlagsAdd, nullptr, 1, kDNSServiceErr_NoError, nullptr, nullptr);
  fDnssd.ReplyResolve("", nullptr);
  fDnssd.ReplyAddress("");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  const auto service = OnlyService();
  EXPECT_EQ(service.name + service.type + service.domain + service.fullName + service.host, "");
  fDnssd.ReplyBrowse(0, nullptr);
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(ZeroConfEngineTest, TrimsTheDotOfLocalHostsOnlyAndTheLastOfSixCharacters) {
  EXPECT_EQ(TrimLocalHost("box.local."), "box.local");
  EXPECT_EQ(TrimLocalHost("box.local"), "box.local");
  EXPECT_EQ(TrimLocalHost("box.example."), "box.example.");
  EXPECT_EQ(TrimLocalHost("a.local.b."), "a.local.b.");
  EXPECT_EQ(TrimLocalHost("a.local.b.local."), "a.local.b.local");
  EXPECT_EQ(TrimLocalHost("abcdef"), "abcde");
  EXPECT_EQ(TrimLocalHost("abcdefg"), "abcdefg");
  EXPECT_EQ(TrimLocalHost("abcde"), "abcde");
  EXPECT_EQ(TrimLocalHost(".local."), ".local");
  EXPECT_EQ(TrimLocalHost(""), "");
}

TEST_F(ZeroConfEngineTest, LooksUpTheHostExactlyAsReceived) {
  Browse();
  fDnssd.ReplyAdd("a");
  fDnssd.ReplyResolve("a", "abcdef");
  ASSERT_TRUE(fDnssd.WaitForBegun("address abcdef"));
  fDnssd.ReplyAddress("abcdef");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_EQ(OnlyService().host, "abcde");
}

TEST_F(ZeroConfEngineTest, ARemovalOfAnUnknownNameChangesNothing) {
  Browse();
  fDnssd.ReplyRemove("nobody");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_FALSE(fEngine->TestAndClearModified());
  EXPECT_FALSE(ClientWoken());
}

TEST_F(ZeroConfEngineTest, ARemovalDropsTheFirstRecordOfTheNameOnly) {
  Browse();
  for (std::uint32_t interface : {1U, 2U}) {
    fDnssd.ReplyAdd("a", interface);
    fDnssd.ReplyResolve("a", interface == 1 ? "one.local." : "two.local.");
    fDnssd.ReplyAddress(interface == 1 ? "one.local." : "two.local.");
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
  }
  EXPECT_THAT(Names(), ElementsAre("a", "a"));
  fDnssd.ReplyRemove("a");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_EQ(OnlyService().host, "two.local");
  EXPECT_TRUE(fEngine->TestAndClearModified());
  EXPECT_TRUE(ClientWoken());
}

TEST_F(ZeroConfEngineTest, ARemovalReleasesPendingOperations) {
  Browse();
  fDnssd.ReplyAdd("a");
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve a"));
  fDnssd.ReplyRemove("a");
  EXPECT_TRUE(fDnssd.WaitForReleased("resolve a"));
}

TEST_F(ZeroConfEngineTest, ModifiedIsTrueOnceAfterAChange) {
  Browse();
  EXPECT_FALSE(fEngine->TestAndClearModified());
  ResolveFully("a", "a.local.");
  EXPECT_TRUE(fEngine->TestAndClearModified());
  EXPECT_FALSE(fEngine->TestAndClearModified());
}

TEST_F(ZeroConfEngineTest, ListsInTheOrderInWhichResolvesWereStarted) {
  Browse();
  for (const char* name : {"a", "b", "c"}) fDnssd.ReplyAdd(name);
  for (const char* name : {"c", "a", "b"}) {
    const std::string host = std::string(name) + ".local.";
    fDnssd.ReplyResolve(name, host.c_str());
    fDnssd.ReplyAddress(host);
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
  }
  EXPECT_THAT(Names(), ElementsAre("a", "b", "c"));
}

TEST_F(ZeroConfEngineTest, AResolveThatCannotBeStartedDropsTheInstance) {
  fDnssd.onResolve = [](const std::string&) { return kDNSServiceErr_Unknown; };
  Browse();
  fDnssd.ReplyAdd("a");
  fDnssd.ReplyRemove("a");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_FALSE(fEngine->TestAndClearModified());
}

TEST_F(ZeroConfEngineTest, AnAddressLookupThatCannotBeStartedLeavesTheRecordUnresolved) {
  fDnssd.onGetAddrInfo = [](const std::string&) { return kDNSServiceErr_Unknown; };
  Browse();
  fDnssd.ReplyAdd("a");
  fDnssd.ReplyResolve("a", "a.local.");
  ASSERT_TRUE(fDnssd.WaitForReleased("resolve a"));
  EXPECT_THAT(Names(), IsEmpty());
  fDnssd.ReplyRemove("a");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_TRUE(fEngine->TestAndClearModified());
}

TEST_F(ZeroConfEngineTest, OperationsAreOneShot) {
  Browse();
  fDnssd.ReplyAdd("a");
  fDnssd.Hold();
  fDnssd.ReplyResolve("a", "a.local.", 80);
  fDnssd.ReplyResolve("a", "b.local.", 81);
  fDnssd.Release();
  fDnssd.ReplyAddress("a.local.", "10.0.0.1");
  ASSERT_TRUE(fDnssd.WaitForReleased("address a.local."));
  EXPECT_EQ(OnlyService().port, 80);
  EXPECT_THAT(fDnssd.Begun(), ElementsAre("browse", "resolve a", "address a.local."));
  EXPECT_THAT(fDnssd.Released(), ElementsAre("resolve a", "address a.local."));
}

TEST_F(ZeroConfEngineTest, ServesOneResultACycleInTheOrderOfItsList) {
  Gate gate("gate");
  fDnssd.onResolve = std::ref(gate);
  Browse();
  for (const char* name : {"a", "b", "c", "gate"}) fDnssd.ReplyAdd(name);
  // While the service thread is held in the gate's resolve, everything below becomes ready, in another order
  // than the records'.
  gate.AwaitEntry();
  fDnssd.ReplyAdd("d");
  fDnssd.ReplyAdd("e");
  for (const std::string name : {"c", "b", "a"}) {
    fDnssd.ReplyWith("resolve " + name, [](DNSServiceRef, void*) {});  // leaves the lookup open
    fDnssd.ReplyResolve(name, nullptr, 0, {}, kDNSServiceErr_Unknown);
  }
  gate.Open();
  ASSERT_TRUE(fDnssd.WaitForHandled(12));
  auto handled = fDnssd.Handled();
  handled.erase(handled.begin(), handled.begin() + 4);
  EXPECT_THAT(handled, ElementsAre("resolve a", "resolve a", "resolve b", "resolve b", "resolve c",
                                   "resolve c", "browse", "browse"));
  fEngine.reset();  // before the gate, because its thread may still be inside it
}

TEST_F(ZeroConfEngineTest, TheLibraryIsUsedByTheServiceThreadAlone) {
  Browse();
  for (int i = 0; i < 20; ++i) ResolveFully("u" + std::to_string(i), "h" + std::to_string(i) + ".local.");
  for (int i = 0; i < 10; ++i) fDnssd.ReplyRemove("u" + std::to_string(i));
  for (int i = 20; i < 30; ++i) fDnssd.ReplyAdd("u" + std::to_string(i));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  fEngine.reset();
  EXPECT_THAT(fDnssd.Threads(), SizeIs(1));
  EXPECT_FALSE(fDnssd.Threads().contains(std::this_thread::get_id()));
  EXPECT_FALSE(fDnssd.Misused());
}

TEST_F(ZeroConfEngineTest, TheServiceThreadTakesNoSignals) {
  Browse();
  sigset_t mask;
  sigemptyset(&mask);
  fDnssd.ReplyWith("browse", [&](DNSServiceRef, void*) { pthread_sigmask(SIG_SETMASK, nullptr, &mask); });
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGUSR1}) {
    EXPECT_EQ(sigismember(&mask, signal), 1) << signal;
  }
}

TEST_F(ZeroConfEngineTest, DestructionReleasesTheBrowseThenTheRecordsFromTheBack) {
  Browse();
  for (const char* name : {"a", "b", "c"}) fDnssd.ReplyAdd(name);
  fDnssd.ReplyResolve("b", "b.local.");
  ASSERT_TRUE(fDnssd.WaitForBegun("address b.local."));
  ASSERT_TRUE(fDnssd.WaitForReleased("resolve b"));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  fEngine.reset();
  EXPECT_THAT(fDnssd.Released(),
              ElementsAre("resolve b", "browse", "resolve c", "address b.local.", "resolve a"));
  EXPECT_FALSE(fDnssd.Misused());
}

TEST_F(ZeroConfEngineTest, TheClientIsNotWokenAfterDestruction) {
  Browse();
  ResolveFully("a", "a.local.");
  fEngine.reset();
  ClientWoken();
  EXPECT_FALSE(ClientWoken());
}

TEST_F(ZeroConfEngineTest, NoClientWaitsForACallThatBlocks) {
  Gate gate("slow");
  fDnssd.onResolve = std::ref(gate);
  Browse();
  ResolveFully("a", "a.local.");
  fDnssd.ReplyAdd("slow");
  gate.AwaitEntry();
  EXPECT_THAT(Names(), ElementsAre("a"));  // returns although the library blocks
  EXPECT_TRUE(fEngine->TestAndClearModified());
  gate.Open();
  fEngine.reset();  // before the gate, because its thread may still be inside it
}

TEST_F(ZeroConfEngineTest, NoClientWaitsForAnAddressLookupThatBlocks) {
  Gate gate("slow.local.");
  fDnssd.onGetAddrInfo = std::ref(gate);
  Browse();
  ResolveFully("a", "a.local.");
  fDnssd.ReplyAdd("slow");
  fDnssd.ReplyResolve("slow", "slow.local.");
  gate.AwaitEntry();
  EXPECT_THAT(Names(), ElementsAre("a"));
  gate.Open();
  fEngine.reset();  // before the gate, because its thread may still be inside it
}

TEST_F(ZeroConfEngineTest, AnErrorOfTheLibraryStopsTheEngineAndKeepsItsRecords) {
  Browse();
  ResolveFully("a", "a.local.");
  fDnssd.ReplyAdd("b");
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve b"));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_TRUE(fEngine->IsBrowsing());
  EXPECT_TRUE(ClientWoken());
  fDnssd.processError = kDNSServiceErr_Unknown;
  fDnssd.ReplyAdd("c");
  ASSERT_TRUE(Eventually([&] { return fEngine->HasBrowsingEnded(); }));
  EXPECT_FALSE(fEngine->IsBrowsing());
  EXPECT_TRUE(Eventually([&] { return ClientWoken(); }));
  fDnssd.ReplyAdd("d");  // nobody serves this any more
  EXPECT_THAT(Names(), ElementsAre("a"));
  EXPECT_THAT(fDnssd.Released(), ElementsAre("resolve a", "address a.local."));
  fEngine.reset();
  EXPECT_THAT(fDnssd.Begun(), ::testing::Not(::testing::Contains("resolve d")));
  EXPECT_TRUE(fDnssd.WaitForReleased("browse"));
}

TEST_F(ZeroConfEngineTest, AWaitThatFailsStopsTheEngineAndKeepsItsRecords) {
  fDnssd.deafOperation = "resolve b";
  Browse();
  ResolveFully("a", "a.local.");
  EXPECT_TRUE(fEngine->IsBrowsing());
  EXPECT_TRUE(ClientWoken());
  fDnssd.ReplyAdd("b");
  ASSERT_TRUE(Eventually([&] { return fEngine->HasBrowsingEnded(); }));
  EXPECT_FALSE(fEngine->IsBrowsing());
  EXPECT_TRUE(Eventually([&] { return ClientWoken(); }));
  fDnssd.ReplyAdd("c");  // nobody serves this any more
  EXPECT_THAT(Names(), ElementsAre("a"));
  EXPECT_THAT(fDnssd.Released(), ElementsAre("resolve a", "address a.local."));
  fEngine.reset();
  EXPECT_THAT(fDnssd.Begun(), ::testing::Not(::testing::Contains("resolve c")));
  EXPECT_THAT(fDnssd.Released(), ::testing::IsSupersetOf({"browse", "resolve b"}));
}

std::atomic<int> gSignalsTaken{0};

TEST_F(ZeroConfEngineTest, AnInterruptedWaitGoesOn) {
  Browse();
  std::atomic<pthread_t> thread{};
  fDnssd.ReplyWith("browse", [&](DNSServiceRef, void*) {
    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, SIGUSR1);
    pthread_sigmask(SIG_UNBLOCK, &mask, nullptr);
    thread = pthread_self();
  });
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  struct sigaction count {};
  count.sa_handler = [](int) { ++gSignalsTaken; };
  struct sigaction before {};
  ASSERT_EQ(::sigaction(SIGUSR1, &count, &before), 0);
  gSignalsTaken = 0;
  for (int i = 1; i <= 50; ++i) {  // at least one of them inside the wait, where the thread spends its time
    ASSERT_EQ(pthread_kill(thread, SIGUSR1), 0);
    ASSERT_TRUE(Eventually([&] { return gSignalsTaken == i; }));
  }
  ResolveFully("a", "a.local.");
  EXPECT_THAT(Names(), ElementsAre("a"));
  EXPECT_TRUE(fEngine->IsBrowsing());
  fEngine.reset();
  ::sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(ZeroConfEngineTest, TellsItsClientWhenASlowResponderHasAcceptedTheBrowse) {
  fDnssd.browseHasBegun = false;
  Browse();
  EXPECT_FALSE(fEngine->IsBrowsing());
  EXPECT_FALSE(fEngine->HasBrowsingEnded());
  EXPECT_FALSE(ClientWoken());
  fDnssd.browseHasBegun = true;
  EXPECT_TRUE(Eventually([&] { return ClientWoken(); }));
  EXPECT_TRUE(fEngine->IsBrowsing());
  EXPECT_FALSE(fEngine->HasBrowsingEnded());
  EXPECT_FALSE(fEngine->TestAndClearModified());
}

TEST_F(ZeroConfEngineTest, TellsItsClientWhenASlowResponderHasRefusedTheBrowse) {
  fDnssd.browseHasBegun = false;
  Browse();
  EXPECT_FALSE(fEngine->HasBrowsingEnded());
  fDnssd.processError = kDNSServiceErr_Unknown;
  fDnssd.ReplyAdd("a");
  EXPECT_TRUE(Eventually([&] { return ClientWoken(); }));
  EXPECT_TRUE(fEngine->HasBrowsingEnded());
}

TEST_F(ZeroConfEngineTest, ABrowseThatFailsStartsNoThread) {
  const testing::NoThreadsLeft none;  // starting one would throw
  fDnssd.browseError = kDNSServiceErr_Unknown;
  EXPECT_EQ(fEngine->BrowseForService("_http._tcp"), 3);
  EXPECT_FALSE(fEngine->IsBrowsing());
  EXPECT_TRUE(fEngine->HasBrowsingEnded());
  MakeEngine(testing::FakeNow);
  fDnssd.browseError = kDNSServiceErr_NoError;
  fDnssd.browseGivesReference = false;
  EXPECT_EQ(fEngine->BrowseForService("_http._tcp"), 0);
  EXPECT_FALSE(fEngine->IsBrowsing());
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(ZeroConfEngineTest, ASecondBrowseThatFailsLeavesTheFirstAlone) {
  Browse();
  fDnssd.browseError = kDNSServiceErr_Unknown;
  EXPECT_EQ(fEngine->BrowseForService("_http._tcp"), 3);
  fDnssd.browseError = kDNSServiceErr_NoError;
  fDnssd.browseGivesReference = false;
  EXPECT_EQ(fEngine->BrowseForService("_http._tcp"), 0);
  EXPECT_FALSE(fEngine->HasBrowsingEnded());
  ResolveFully("a", "a.local.");
  EXPECT_THAT(Names(), ElementsAre("a"));
}

TEST_F(ZeroConfEngineTest, AThreadThatCannotBeStartedIsAnErrorAndTheBrowseIsReleased) {
  {
    const testing::NoThreadsLeft none;
    try {
      fEngine->BrowseForService("_http._tcp");
      FAIL() << "a thread was started";
    } catch (const std::system_error& error) {
      EXPECT_THAT(error.what(), ::testing::StartsWith("thread constructor failed"));
    }
  }
  fEngine.reset();
  EXPECT_THAT(fDnssd.Released(), ElementsAre("browse"));
}

TEST_F(ZeroConfEngineTest, BrowsingTwiceEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        fEngine->BrowseForService("_http._tcp");
        fEngine->BrowseForService("_http._tcp");
      },
      "");
}

TEST_F(ZeroConfEngineTest, CallbacksWithoutContextDoNothing) {
  Browse();
  ResolveFully("a", "a.local.");
  fDnssd.BrowseReply()(nullptr, kDNSServiceFlagsAdd, 1, 0, "x", "t", "d", nullptr);
  fDnssd.ResolveReply()(nullptr, 0, 1, 0, "x", "h", 0, 0, nullptr, nullptr);
  fDnssd.AddressReply()(nullptr, kDNSServiceFlagsAdd, 1, 0, "h", nullptr, 0, nullptr);
  EXPECT_THAT(Names(), ElementsAre("a"));
}

TEST_F(ZeroConfEngineTest, ServesSocketsBeyondTheReachOfSelect) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  ASSERT_GT(before.rlim_max, 1100U) << "more descriptors are needed than may be opened here (ulimit -Hn)";
  const rlimit raised{std::max<rlim_t>(before.rlim_cur, 1101), before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &raised), 0);
  fDnssd.lowestSocket = 1030;
  Browse();
  ResolveFully("a", "a.local.");
  EXPECT_THAT(Names(), ElementsAre("a"));
  fEngine.reset();
  EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
}

class ZeroConfEngineLogTest : public ZeroConfEngineTest {
 protected:
  void SetUp() override {
    ZeroConfEngineTest::SetUp();
    Log::details::gFile = ::open_memstream(&fText, &fSize);
    Log::details::s_use_color = false;
  }
  void TearDown() override {
    fEngine.reset();
    std::fclose(std::exchange(Log::details::gFile, stdout));
    std::free(fText);
    Log::details::s_use_color = true;
    Log::details::g_runtime_level = 0;
  }
  char* fText = nullptr;
  std::size_t fSize = 0;
};

TEST_F(ZeroConfEngineLogTest, AnExceptionInBrowsingIsLoggedAndSurvived) {
  fDnssd.onResolve = [](const std::string& name) -> DNSServiceErrorType {
    if (name == "bad") throw std::runtime_error("no memory for this one");
    return kDNSServiceErr_NoError;
  };
  Browse();
  fDnssd.ReplyAdd("bad");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_STREQ(fText, "ERROR: exception in BrowseCallback (ZeroConf.cpp:332 )\n");
  ResolveFully("good", "good.local.");
  EXPECT_THAT(Names(), ElementsAre("good"));
}

TEST_F(ZeroConfEngineLogTest, AnExceptionInResolvingIsLoggedAndSurvived) {
  fDnssd.onGetAddrInfo = [](const std::string& host) -> DNSServiceErrorType {
    if (host == "bad.local.") throw std::runtime_error("no memory for this one");
    return kDNSServiceErr_NoError;
  };
  Browse();
  fDnssd.ReplyAdd("bad");
  fDnssd.ReplyResolve("bad", "bad.local.");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_STREQ(fText, "ERROR: exception in ResolveCallback (ZeroConf.cpp:413 )\n");
  ResolveFully("good", "good.local.");
  EXPECT_THAT(Names(), ElementsAre("good"));
}

TEST_F(ZeroConfEngineLogTest, NothingIsLoggedAboveTheThreshold) {
  Log::details::g_runtime_level = Log::kFatal;
  fDnssd.onResolve = [](const std::string&) -> DNSServiceErrorType { throw std::runtime_error("failure"); };
  Browse();
  fDnssd.ReplyAdd("bad");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  std::fflush(Log::details::gFile);
  EXPECT_EQ(fSize, 0U);
}

}  // namespace
}  // namespace vorn
