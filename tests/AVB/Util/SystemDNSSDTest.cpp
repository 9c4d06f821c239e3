#include <arpa/inet.h>
#include <avahi-common/malloc.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "AVB/Util/SystemDNSSD.h"
#include "tests/AVB/Util/FakeResponder.h"
#include "tests/AVB/Util/SystemBus.h"
#include "tests/support/Eventually.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/NoThreadsToBeHad.h"

// A stand-in for the compatibility library, linked in its place: it keeps what
// it was given, so that a test can call back as the library does, or as it does
// when it has mixed up its own memory.
namespace {

struct Given {
  DNSServiceBrowseReply browse = nullptr;
  DNSServiceResolveReply resolve = nullptr;
  void* context = nullptr;
  DNSServiceFlags flags = 99;
  std::uint32_t interfaceIndex = 99;
  const char* name = nullptr;  // the texts are the test's own literals
  const char* type = nullptr;
  const char* domain = nullptr;
};
Given gGiven;
DNSServiceRef gAskedForSocket = nullptr;
DNSServiceRef gProcessed = nullptr;
DNSServiceErrorType gProcessError = kDNSServiceErr_NoError;
std::vector<DNSServiceRef> gReleased;
DNSServiceErrorType gError = kDNSServiceErr_NoError;
std::uintptr_t gNextRef = 0x10;
int gBegun = 0;

DNSServiceErrorType Begin(DNSServiceRef* ref) {
  ++gBegun;
  if (gError == kDNSServiceErr_NoError) *ref = reinterpret_cast<DNSServiceRef>(gNextRef++);
  return gError;
}

}  // namespace

extern "C" {
DNSServiceErrorType DNSServiceBrowse(DNSServiceRef* ref, DNSServiceFlags flags, uint32_t interfaceIndex,
                                     const char* type, const char* domain, DNSServiceBrowseReply callback,
                                     void* context) {
  gGiven = {};
  gGiven.browse = callback;
  gGiven.context = context;
  gGiven.flags = flags;
  gGiven.interfaceIndex = interfaceIndex;
  gGiven.type = type;
  gGiven.domain = domain;
  return Begin(ref);
}
DNSServiceErrorType DNSServiceResolve(DNSServiceRef* ref, DNSServiceFlags flags, uint32_t interfaceIndex,
                                      const char* name, const char* type, const char* domain,
                                      DNSServiceResolveReply callback, void* context) {
  gGiven = {};
  gGiven.resolve = callback;
  gGiven.context = context;
  gGiven.flags = flags;
  gGiven.interfaceIndex = interfaceIndex;
  gGiven.name = name;
  gGiven.type = type;
  gGiven.domain = domain;
  return Begin(ref);
}
int DNSServiceRefSockFD(DNSServiceRef ref) {
  gAskedForSocket = ref;
  return 5;
}
DNSServiceErrorType DNSServiceProcessResult(DNSServiceRef ref) {
  gProcessed = ref;
  return gProcessError;
}
void DNSServiceRefDeallocate(DNSServiceRef ref) {
  gReleased.push_back(ref);
}
}

namespace vorn {
namespace {

// What our own callbacks were called with.
struct Seen {
  int calls = 0;
  DNSServiceRef ref = nullptr;
  DNSServiceFlags flags = 99;
  std::uint32_t interfaceIndex = 0;
  DNSServiceErrorType error = kDNSServiceErr_NoError;
  std::string name;
  std::string address;
  std::uint32_t timeToLive = 99;
  void* context = nullptr;
};
Seen gSeen;

std::string Text(const sockaddr* address) {
  if (address == nullptr) return "none";
  char text[INET_ADDRSTRLEN];
  return ::inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
}

void OnBrowse(DNSServiceRef, DNSServiceFlags, std::uint32_t, DNSServiceErrorType, const char* name,
              const char*, const char*, void* context) {
  ++gSeen.calls;
  gSeen.context = context;
  gSeen.name = name;
}
void OnResolve(DNSServiceRef, DNSServiceFlags, std::uint32_t, DNSServiceErrorType, const char* fullName,
               const char*, std::uint16_t, std::uint16_t, const unsigned char*, void* context) {
  ++gSeen.calls;
  gSeen.context = context;
  gSeen.name = fullName;
}
void OnAddress(DNSServiceRef ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
               DNSServiceErrorType error, const char* host, const sockaddr* address, std::uint32_t timeToLive,
               void* context) {
  gSeen = {gSeen.calls + 1, ref, flags, interfaceIndex, error, host, Text(address), timeToLive, context};
}

class SystemDNSSDTest : public ::testing::Test {
 protected:
  void SetUp() override {
    gSeen = {};
    gReleased.clear();
    gError = kDNSServiceErr_NoError;
    gProcessError = kDNSServiceErr_NoError;
  }
  SystemDNSSD& fDnssd = SystemDNSSD::Instance();
  int fMine = 0;
};

TEST_F(SystemDNSSDTest, HandsOutZeroedMemoryEvenWhenItWasUsedBefore) {
  for (int i = 0; i < 100; ++i) {
    auto* memory = static_cast<unsigned char*>(::avahi_malloc(200));
    for (std::size_t j = 0; j < 200; ++j) ASSERT_EQ(0, memory[j]);
    std::memset(memory, 0xAB, 200);
    ::avahi_free(memory);
  }
}

TEST_F(SystemDNSSDTest, SilencesTheLibrarysAdvice) {
  EXPECT_STREQ("1", std::getenv("AVAHI_COMPAT_NOWARN"));
}

TEST_F(SystemDNSSDTest, PassesABrowsesArgumentsOn) {
  DNSServiceRef ref = nullptr;
  fDnssd.Browse(&ref, 0x10, 4, "_http._tcp", "example.", OnBrowse, &fMine);
  EXPECT_EQ(0x10U, gGiven.flags);
  EXPECT_EQ(4U, gGiven.interfaceIndex);
  EXPECT_STREQ("_http._tcp", gGiven.type);
  EXPECT_STREQ("example.", gGiven.domain);
  fDnssd.RefDeallocate(ref);
  fDnssd.Browse(&ref, 0, 0, "_http._tcp", nullptr, OnBrowse, &fMine);
  EXPECT_EQ(nullptr, gGiven.domain);
  fDnssd.RefDeallocate(ref);
}

TEST_F(SystemDNSSDTest, PassesAResolvesArgumentsOn) {
  DNSServiceRef ref = nullptr;
  fDnssd.Resolve(&ref, 0x10, 4, "Studio A", "_http._tcp.", "example.", OnResolve, &fMine);
  EXPECT_EQ(0x10U, gGiven.flags);
  EXPECT_EQ(4U, gGiven.interfaceIndex);
  EXPECT_STREQ("Studio A", gGiven.name);
  EXPECT_STREQ("_http._tcp.", gGiven.type);
  EXPECT_STREQ("example.", gGiven.domain);
  fDnssd.RefDeallocate(ref);
}

TEST_F(SystemDNSSDTest, AsksTheLibraryForAnOperationsSocketAndReplies) {
  DNSServiceRef ref = nullptr;
  fDnssd.Resolve(&ref, 0, 1, "a", "_http._tcp.", "local.", OnResolve, &fMine);
  EXPECT_EQ(5, fDnssd.RefSockFD(ref));
  EXPECT_EQ(ref, gAskedForSocket);
  EXPECT_EQ(kDNSServiceErr_NoError, fDnssd.ProcessResult(ref));
  EXPECT_EQ(ref, gProcessed);
  gProcessError = kDNSServiceErr_Unknown;
  EXPECT_EQ(kDNSServiceErr_Unknown, fDnssd.ProcessResult(ref));
  fDnssd.RefDeallocate(ref);
  EXPECT_EQ(std::vector<DNSServiceRef>{ref}, gReleased);
}

TEST_F(SystemDNSSDTest, DropsAReplyThatReachesTheCallbackOfAnotherKind) {
  DNSServiceRef browse = nullptr;
  fDnssd.Browse(&browse, 0, 0, "_http._tcp", nullptr, OnBrowse, &fMine);
  const Given stale = gGiven;
  DNSServiceRef resolve = nullptr;
  fDnssd.Resolve(&resolve, 0, 1, "a", "_http._tcp.", "local.", OnResolve, &fMine);
  // The browse's callback with the resolve's context, as the library calls from
  // re-used memory; and the other way round.
  stale.browse(browse, kDNSServiceFlagsAdd, 1, 0, "a", "t", "d", gGiven.context);
  gGiven.resolve(resolve, 0, 1, 0, "a", "h", 0, 0, nullptr, stale.context);
  EXPECT_EQ(0, gSeen.calls);
  stale.browse(browse, kDNSServiceFlagsAdd, 1, 0, "a", "t", "d", nullptr);
  EXPECT_EQ(0, gSeen.calls);
  stale.browse(browse, kDNSServiceFlagsAdd, 1, 0, "a", "t", "d", stale.context);
  EXPECT_EQ(1, gSeen.calls);
  fDnssd.RefDeallocate(browse);
  fDnssd.RefDeallocate(resolve);
}

TEST_F(SystemDNSSDTest, PassesErrorsOnAndKeepsNothing) {
  gError = kDNSServiceErr_Unknown;
  DNSServiceRef ref = reinterpret_cast<DNSServiceRef>(std::uintptr_t{1});
  EXPECT_EQ(kDNSServiceErr_Unknown,
            fDnssd.Resolve(&ref, 0, 1, "a", "_http._tcp.", "local.", OnResolve, &fMine));
  EXPECT_EQ(nullptr, ref);
}

SystemDNSSD* gDnssdForCallback = nullptr;
void ReleaseInside(DNSServiceRef ref, DNSServiceFlags, std::uint32_t, DNSServiceErrorType, const char*,
                   const char*, const char*, void* context) {
  gDnssdForCallback->RefDeallocate(ref);
  ++gSeen.calls;
  gSeen.context = context;
}

TEST_F(SystemDNSSDTest, AnOperationMayBeReleasedInsideItsOwnCallback) {
  gDnssdForCallback = &fDnssd;
  DNSServiceRef ref = nullptr;
  fDnssd.Browse(&ref, 0, 0, "_http._tcp", nullptr, ReleaseInside, &fMine);
  gGiven.browse(ref, kDNSServiceFlagsAdd, 1, 0, "a", "t", "d", gGiven.context);
  EXPECT_EQ(1, gSeen.calls);
  EXPECT_EQ(&fMine, gSeen.context);
  EXPECT_EQ(std::vector<DNSServiceRef>{ref}, gReleased);
}

// Address lookups are no business of the compatibility library's.
class SystemDNSSDAddressTest : public SystemDNSSDTest {
 protected:
  static void SetUpTestSuite() { gBus = std::make_unique<test::SystemBus>(); }
  static void TearDownTestSuite() { gBus.reset(); }
  void SetUp() override {
    SystemDNSSDTest::SetUp();
    gBus->Start();
    fResponder = std::make_unique<test::FakeResponder>();
    fThreads = Threads();
  }
  void TearDown() override {
    fResponder.reset();
    gBus->Stop();
  }

  DNSServiceRef LookUp(const char* host, DNSServiceGetAddrInfoReply callback = OnAddress,
                       std::uint32_t protocol = kDNSServiceProtocol_IPv4) {
    DNSServiceRef ref = nullptr;
    fError = fDnssd.GetAddrInfo(&ref, 0, 3, protocol, host, callback, &fMine);
    return ref;
  }

  // Has the responder tell the host's address and serves the operation, as the
  // engine does once it has something to serve.
  void Tell(DNSServiceRef ref, const std::string& host, const std::vector<std::uint8_t>& address,
            const char* signal = "ItemNew") {
    ASSERT_TRUE(testing::Eventually([&] {
      for (const auto& question : fResponder->Questions()) {
        if (question.name != host) continue;
        fResponder->TellRecord(question, signal, address);
        return true;
      }
      return false;
    })) << host;
    Serve(ref);
  }

  void Serve(DNSServiceRef ref) {
    pollfd readable{fDnssd.RefSockFD(ref), POLLIN, 0};
    ASSERT_EQ(1, ::poll(&readable, 1, 30'000));
    EXPECT_EQ(kDNSServiceErr_NoError, fDnssd.ProcessResult(ref));
  }

  static std::set<std::string> Threads() {
    std::set<std::string> threads;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
      threads.insert(entry.path().string());
    }
    return threads;
  }

  // Waits until so many sessions have a thread; one that was joined may be seen
  // for a while.
  bool WaitForSessions(std::size_t sessions) {
    return testing::Eventually([&] {
      std::set<std::string> added = Threads();
      for (const auto& thread : fThreads) added.erase(thread);
      return added.size() == sessions;
    });
  }

  static std::unique_ptr<test::SystemBus> gBus;
  std::unique_ptr<test::FakeResponder> fResponder;
  std::set<std::string> fThreads;  // that were there before
  DNSServiceErrorType fError = 0;
};

std::unique_ptr<test::SystemBus> SystemDNSSDAddressTest::gBus;

TEST_F(SystemDNSSDAddressTest, TellsTheAddress) {
  gAskedForSocket = nullptr;
  const DNSServiceRef ref = LookUp("box.local.");
  ASSERT_NE(nullptr, ref);
  EXPECT_EQ(kDNSServiceErr_NoError, fError);
  EXPECT_EQ(kDNSServiceErr_NoError, fDnssd.ProcessResult(ref));
  EXPECT_EQ(0, gSeen.calls);  // nothing to tell yet
  Tell(ref, "box.local.", {192, 168, 1, 20});
  EXPECT_EQ(1, gSeen.calls);
  EXPECT_EQ(ref, gSeen.ref);
  EXPECT_EQ(&fMine, gSeen.context);
  EXPECT_EQ("box.local.", gSeen.name);
  EXPECT_EQ("192.168.1.20", gSeen.address);
  EXPECT_EQ(0U, gSeen.timeToLive);
  EXPECT_EQ(7U, gSeen.interfaceIndex);
  EXPECT_EQ(DNSServiceFlags{kDNSServiceFlagsAdd}, gSeen.flags);
  EXPECT_EQ(kDNSServiceErr_NoError, gSeen.error);
  EXPECT_EQ(kDNSServiceErr_NoError, fDnssd.ProcessResult(ref));
  EXPECT_EQ(1, gSeen.calls);  // once
  fDnssd.RefDeallocate(ref);
  EXPECT_EQ(nullptr, gAskedForSocket);
  EXPECT_TRUE(gReleased.empty());
}

TEST_F(SystemDNSSDAddressTest, TellsThatARecordHasGoneOrIsNoAddress) {
  const DNSServiceRef gone = LookUp("gone.local.");
  Tell(gone, "gone.local.", {10, 0, 0, 1}, "ItemRemove");
  EXPECT_EQ(0U, gSeen.flags);
  EXPECT_EQ("10.0.0.1", gSeen.address);
  const DNSServiceRef other = LookUp("other.local.");
  Tell(other, "other.local.", {10, 0, 0});
  EXPECT_EQ("none", gSeen.address);
  EXPECT_EQ(2, gSeen.calls);
  fDnssd.RefDeallocate(gone);
  fDnssd.RefDeallocate(other);
}

TEST_F(SystemDNSSDAddressTest, TellsARefusalByAReply) {
  fResponder->Refuse("bad.local.");
  const DNSServiceRef ref = LookUp("bad.local.");
  Serve(ref);
  EXPECT_EQ(kDNSServiceErr_Unknown, gSeen.error);
  EXPECT_EQ("none", gSeen.address);
  fDnssd.RefDeallocate(ref);
}

TEST_F(SystemDNSSDAddressTest, RefusesOtherProtocols) {
  EXPECT_EQ(nullptr, LookUp("box.local.", OnAddress, 2));
  EXPECT_EQ(kDNSServiceErr_Unsupported, fError);
}

TEST_F(SystemDNSSDAddressTest, ALookupMayBeReleasedInsideItsOwnCallback) {
  gDnssdForCallback = &fDnssd;
  const DNSServiceRef ref =
      LookUp("box.local.", [](DNSServiceRef given, DNSServiceFlags, std::uint32_t, DNSServiceErrorType,
                              const char* host, const sockaddr* address, std::uint32_t, void*) {
        gDnssdForCallback->RefDeallocate(given);
        ++gSeen.calls;
        gSeen.name = host;
        gSeen.address = Text(address);
      });
  Tell(ref, "box.local.", {10, 0, 0, 1});
  EXPECT_EQ(1, gSeen.calls);
  EXPECT_EQ("box.local.", gSeen.name);
  EXPECT_EQ("10.0.0.1", gSeen.address);
}

TEST_F(SystemDNSSDAddressTest, ALookupThatIsReleasedUnansweredIsNoLongerAsked) {
  const DNSServiceRef kept = LookUp("kept.local.");
  ASSERT_TRUE(fResponder->WaitForQuestions(1));
  const DNSServiceRef released = LookUp("released.local.");
  ASSERT_TRUE(fResponder->WaitForQuestions(2));
  fDnssd.RefDeallocate(released);
  EXPECT_TRUE(fResponder->WaitUntilFreed(fResponder->Questions().back()));
  fDnssd.RefDeallocate(kept);
}

TEST_F(SystemDNSSDAddressTest, LookupsShareAConnectionThatLastsAsLongAsThereIsAnythingToLookUp) {
  DNSServiceRef browse = nullptr;
  fDnssd.Browse(&browse, 0, 0, "_http._tcp", nullptr, OnBrowse, &fMine);
  DNSServiceRef resolve = nullptr;
  fDnssd.Resolve(&resolve, 0, 1, "a", "_http._tcp.", "local.", OnResolve, &fMine);
  EXPECT_TRUE(WaitForSessions(0));  // the stand-in library has no thread
  fDnssd.RefDeallocate(LookUp("a.local."));
  const DNSServiceRef b = LookUp("b.local.");
  const DNSServiceRef c = LookUp("c.local.");
  EXPECT_TRUE(WaitForSessions(1));
  Tell(b, "b.local.", {10, 0, 0, 1});
  Tell(c, "c.local.", {10, 0, 0, 2});
  const auto questions = fResponder->Questions();
  EXPECT_EQ(questions.front().client, questions.back().client);
  fDnssd.RefDeallocate(resolve);
  fDnssd.RefDeallocate(b);
  EXPECT_TRUE(WaitForSessions(1));
  fDnssd.RefDeallocate(c);
  EXPECT_TRUE(WaitForSessions(0));

  const DNSServiceRef d = LookUp("d.local.");
  EXPECT_TRUE(WaitForSessions(1));
  Tell(d, "d.local.", {10, 0, 0, 3});
  EXPECT_EQ("10.0.0.3", gSeen.address);
  EXPECT_NE(questions.back().client, fResponder->Questions().back().client);
  fDnssd.RefDeallocate(d);
  EXPECT_TRUE(WaitForSessions(0));
  fDnssd.RefDeallocate(browse);
}

TEST_F(SystemDNSSDAddressTest, NobodyWaitsForAResponderThatHangs) {
  const DNSServiceRef asked = LookUp("asked.local.");
  ASSERT_TRUE(fResponder->WaitForQuestions(1));
  fResponder->SetAnswering(false);
  const DNSServiceRef released = LookUp("released.local.");
  ASSERT_TRUE(testing::Eventually([&] { return fResponder->Calls("RecordBrowserNew") == 2; }));
  const DNSServiceRef late = LookUp("late.local.");
  fDnssd.RefDeallocate(released);
  EXPECT_EQ(kDNSServiceErr_NoError, fDnssd.ProcessResult(late));
  fResponder->SetAnswering(true);  // a wait would have been for this
  Tell(asked, "asked.local.", {10, 0, 0, 1});
  EXPECT_EQ("10.0.0.1", gSeen.address);
  Tell(late, "late.local.", {10, 0, 0, 2});
  EXPECT_EQ("10.0.0.2", gSeen.address);
  fDnssd.RefDeallocate(asked);
  fDnssd.RefDeallocate(late);
}

TEST_F(SystemDNSSDAddressTest, WithoutDescriptorsNothingIsBegun) {
  rlimit before{};
  ::getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{0, before.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_EQ(nullptr, LookUp("box.local."));
  EXPECT_EQ(kDNSServiceErr_NoMemory, fError);
  ::setrlimit(RLIMIT_NOFILE, &before);
  const DNSServiceRef ref = LookUp("box.local.");
  Tell(ref, "box.local.", {10, 0, 0, 1});
  EXPECT_EQ("10.0.0.1", gSeen.address);
  fDnssd.RefDeallocate(ref);
}

TEST_F(SystemDNSSDAddressTest, WithoutThreadsNothingIsBegun) {
  {
    const testing::NoThreadsToBeHad none;
    EXPECT_EQ(nullptr, LookUp("box.local."));
    EXPECT_EQ(kDNSServiceErr_NoMemory, fError);
  }
  const DNSServiceRef ref = LookUp("box.local.");
  Tell(ref, "box.local.", {10, 0, 0, 1});
  EXPECT_EQ("10.0.0.1", gSeen.address);
  fDnssd.RefDeallocate(ref);
}

TEST_F(SystemDNSSDAddressTest, WithoutMemoryNothingIsBegun) {
  for (int nth = 1;; ++nth) {
    DNSServiceRef ref = nullptr;
    bool hasThrown = false;
    bool hasFailed = false;
    {
      const testing::FailingAllocation failing(nth);
      try {
        fDnssd.GetAddrInfo(&ref, 0, 3, kDNSServiceProtocol_IPv4, "box.local.", OnAddress, &fMine);
      } catch (const std::bad_alloc&) {
        hasThrown = true;
      }
      hasFailed = failing.HasFailed();
    }
    EXPECT_EQ(hasFailed, hasThrown) << nth;
    EXPECT_EQ(hasThrown, ref == nullptr) << nth;
    if (ref == nullptr) continue;
    Tell(ref, "box.local.", {10, 0, 0, 1});
    EXPECT_EQ("10.0.0.1", gSeen.address);
    fDnssd.RefDeallocate(ref);
    EXPECT_GT(nth, 4);  // the operation, its lookup, its place, the session
    break;
  }
}

// Calls `begin`, which begins one operation, with the first allocation failing,
// then the second, and so on until none does.
template <typename Begin>
void FailEachAllocation(SystemDNSSD& dnssd, int allocations, Begin begin) {
  for (int nth = 1; nth <= allocations + 1; ++nth) {
    DNSServiceRef ref = nullptr;
    gBegun = 0;
    bool hasThrown = false;
    {
      const testing::FailingAllocation failing(nth);
      try {
        begin(&ref);
      } catch (const std::bad_alloc&) {
        hasThrown = true;
      }
      ASSERT_EQ(failing.HasFailed(), nth <= allocations) << nth;
    }
    EXPECT_EQ(hasThrown, nth <= allocations) << nth;
    EXPECT_EQ(gBegun, hasThrown ? 0 : 1) << nth;
    if (ref != nullptr) dnssd.RefDeallocate(ref);
  }
}

TEST_F(SystemDNSSDTest, WithoutMemoryNothingIsBegun) {
  constexpr int kContextAndPlace = 2;
  FailEachAllocation(fDnssd, kContextAndPlace, [&](DNSServiceRef* ref) {
    fDnssd.Browse(ref, 0, 0, "_http._tcp", nullptr, OnBrowse, &fMine);
  });
  FailEachAllocation(fDnssd, kContextAndPlace, [&](DNSServiceRef* ref) {
    fDnssd.Resolve(ref, 0, 1, "a", "_http._tcp.", "local.", OnResolve, &fMine);
  });
}

}  // namespace
}  // namespace vorn
