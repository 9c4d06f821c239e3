#include <arpa/inet.h>
#include <avahi-client/lookup.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "AVB/Util/AvahiSession.h"
#include "AVB/Util/SystemDNSSD.h"
#include "tests/AVB/Util/FakeResponder.h"
#include "tests/AVB/Util/SystemBus.h"
#include "tests/support/Eventually.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/Threads.h"

namespace vorn {
namespace {

using testing::Eventually;
using testing::FakeResponder;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using testing::SystemBus;

static_assert(SystemDNSSD::kBrowseTime <= std::chrono::milliseconds(250));
static_assert(AvahiSession::kEndTime <= std::chrono::milliseconds(100));

std::vector<std::string> gTold;  // the calls of our callbacks, one line each

std::string Word(const char* text) {
  return text == nullptr ? "null" : text;
}

void OnBrowse(DNSServiceRef, DNSServiceFlags flags, std::uint32_t interface, DNSServiceErrorType error,
              const char* name, const char* type, const char* domain, void*) {
  gTold.push_back("browse " + std::to_string(flags) + " " + std::to_string(interface) + " " +
                  std::to_string(error) + " " + Word(name) + " " + Word(type) + " " + Word(domain));
}

void OnResolve(DNSServiceRef, DNSServiceFlags flags, std::uint32_t interface, DNSServiceErrorType error,
               const char* fullName, const char* host, std::uint16_t port, std::uint16_t txtLength,
               const unsigned char* txt, void*) {
  std::string line = "resolve " + std::to_string(flags) + " " + std::to_string(interface) + " " +
                     std::to_string(error) + " " + Word(fullName) + " " + Word(host) + " " +
                     std::to_string(ntohs(port)) + " ";
  for (std::uint16_t i = 0; i < txtLength; ++i) {
    line += txt[i] < ' ' ? "<" + std::to_string(txt[i]) + ">" : std::string(1, static_cast<char>(txt[i]));
  }
  gTold.push_back(line);
}

void OnAddress(DNSServiceRef, DNSServiceFlags flags, std::uint32_t interface, DNSServiceErrorType error,
               const char* host, const sockaddr* address, std::uint32_t timeToLive, void*) {
  char text[INET_ADDRSTRLEN] = "none";
  if (address != nullptr) {
    ::inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
  }
  gTold.push_back("address " + std::to_string(flags) + " " + std::to_string(interface) + " " +
                  std::to_string(error) + " " + Word(host) + " " + text + " " + std::to_string(timeToLive));
}

constexpr char kResolveError[] = "resolve 0 0 -65537 null null 0 ";
constexpr char kResult[] = "result -65537";
const FakeResponder::Bytes kAddress{10, 0, 0, 1};

FakeResponder::Bytes Bytes(const std::string& text) {
  return {text.begin(), text.end()};
}

std::set<std::string> Threads() {
  std::set<std::string> threads;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
    threads.insert(entry.path().string());
  }
  return threads;
}

std::ptrdiff_t Descriptors() {
  return std::ranges::distance(std::filesystem::directory_iterator("/proc/self/fd"));
}

// Whether a thread accepts that signal.
bool Takes(const std::string& thread, int signal) {
  std::ifstream status(thread + "/status");
  for (std::string line; std::getline(status, line);) {
    if (!line.starts_with("SigBlk:")) continue;
    return (std::stoull(line.substr(7), nullptr, 16) >> (signal - 1) & 1) == 0;
  }
  return true;
}

class SystemDNSSDTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { gBus = std::make_unique<SystemBus>(); }
  static void TearDownTestSuite() { gBus.reset(); }
  void SetUp() override {
    gTold.clear();
    gBus->Start();
    fResponder = std::make_unique<FakeResponder>();
    fThreads = Threads();
  }
  void TearDown() override {
    for (const DNSServiceRef ref : fRefs) fDnssd.RefDeallocate(ref);
    if (fConnection != nullptr) fDnssd.RefDeallocate(fConnection);
    EXPECT_TRUE(Eventually([this] { return fDnssd.AbandonedThreads() == 0; }));
    fResponder.reset();
    EXPECT_TRUE(WaitForThreads(0));
    gBus->Stop();
  }

  DNSServiceRef Keep(DNSServiceErrorType error, DNSServiceRef ref) {
    fError = error;
    if (ref != nullptr) fRefs.push_back(ref);
    return ref;
  }
  DNSServiceRef Browse() {
    DNSServiceRef ref = nullptr;
    const auto error = fDnssd.Browse(&ref, 0, 0, "_http._tcp", nullptr, OnBrowse, nullptr);
    return Keep(error, ref);
  }
  DNSServiceRef Resolve(const char* name, std::uint32_t interface = 3) {
    DNSServiceRef ref = nullptr;
    const auto error = fDnssd.Resolve(&ref, 0, interface, name, "_http._tcp.", "local.", OnResolve, nullptr);
    return Keep(error, ref);
  }
  DNSServiceRef LookUp(const char* host, std::uint32_t interface = 3, std::uint32_t protocol = 1) {
    DNSServiceRef ref = nullptr;
    const auto error = fDnssd.GetAddrInfo(&ref, 0, interface, protocol, host, OnAddress, nullptr);
    return Keep(error, ref);
  }
  DNSServiceRef Connect() {
    EXPECT_EQ(fDnssd.CreateConnection(&fConnection), kDNSServiceErr_NoError);
    return fConnection;
  }
  DNSServiceRef LookUpOn(DNSServiceRef connection, const char* host) {
    DNSServiceRef ref = connection;
    const auto error =
        fDnssd.GetAddrInfo(&ref, kDNSServiceFlagsShareConnection, 3, 1, host, OnAddress, nullptr);
    return Keep(error, ref);
  }
  void Release(DNSServiceRef ref) {
    std::erase(fRefs, ref);
    fDnssd.RefDeallocate(ref);
  }

  // The last question for that name; waits for the one after this many.
  FakeResponder::Question QuestionFor(const std::string& name, std::ptrdiff_t after = 0) {
    FakeResponder::Question question;
    EXPECT_TRUE(Eventually([&] {
      std::ptrdiff_t count = 0;
      for (const auto& asked : fResponder->Questions()) {
        if (asked.name != name) continue;
        question = asked;
        ++count;
      }
      return count > after;
    })) << name;
    return question;
  }

  // What serving the operation reports, as soon as it reports anything.
  std::string Next(DNSServiceRef ref) {
    pollfd readable{fDnssd.RefSockFD(ref), POLLIN, 0};
    EXPECT_EQ(::poll(&readable, 1, 30'000), 1);
    gTold.clear();
    const DNSServiceErrorType result = fDnssd.ProcessResult(ref);
    if (result != kDNSServiceErr_NoError) return "result " + std::to_string(result);
    return gTold.empty() ? "nothing" : gTold.front();
  }
  bool HasReply(DNSServiceRef ref) {
    pollfd readable{fDnssd.RefSockFD(ref), POLLIN, 0};
    return ::poll(&readable, 1, 0) == 1;
  }

  // Threads that were not there before. A joined thread may be visible for a while.
  std::set<std::string> OwnThreads() {
    std::set<std::string> added = Threads();
    for (const auto& thread : fThreads) added.erase(thread);
    return added;
  }
  bool WaitForThreads(std::size_t count) {
    return Eventually([&] { return OwnThreads().size() == count; });
  }

  static std::unique_ptr<SystemBus> gBus;
  std::unique_ptr<FakeResponder> fResponder;
  SystemDNSSD& fDnssd = SystemDNSSD::Instance();
  std::set<std::string> fThreads;
  std::vector<DNSServiceRef> fRefs;
  DNSServiceRef fConnection = nullptr;  // released after its operations
  DNSServiceErrorType fError = 0;
};

std::unique_ptr<SystemBus> SystemDNSSDTest::gBus;

TEST_F(SystemDNSSDTest, SilencesTheCompatibilityLibrarysAdvice) {
  EXPECT_STREQ(std::getenv("AVAHI_COMPAT_NOWARN"), "1");
}

TEST_F(SystemDNSSDTest, BrowsesEverywhereAndReportsInstances) {
  const DNSServiceRef ref = Browse();
  ASSERT_NE(ref, nullptr);
  EXPECT_EQ(fError, kDNSServiceErr_NoError);
  EXPECT_TRUE(Eventually([&] { return fDnssd.HasBegun(ref); }));  // at once, unless the machine is very slow
  ASSERT_THAT(fResponder->Questions(), SizeIs(1));
  const auto question = fResponder->Questions().front();
  EXPECT_EQ(question.method, "ServiceBrowserNew");
  EXPECT_EQ(question.name, "_http._tcp");
  EXPECT_EQ(question.domain, "");
  EXPECT_EQ(question.interface, -1);
  EXPECT_EQ(question.protocol, -1);
  EXPECT_EQ(question.flags, 0U);

  fResponder->TellInstance(question, "ItemNew", "Studio \xC3\xBC.1");
  fResponder->TellInstance(question, "ItemRemove", "Studio \xC3\xBC.1");
  EXPECT_EQ(Next(ref), "browse 2 7 0 Studio \xC3\xBC.1 _http._tcp. local.");
  EXPECT_EQ(Next(ref), "browse 0 7 0 Studio \xC3\xBC.1 _http._tcp. local.");
  EXPECT_FALSE(HasReply(ref));
}

TEST_F(SystemDNSSDTest, ABrowseThatIsRefusedIsAnError) {
  fResponder->Refuse("_http._tcp");
  EXPECT_EQ(Browse(), nullptr);
  EXPECT_EQ(fError, kDNSServiceErr_Unknown);
  EXPECT_TRUE(WaitForThreads(0));
}

TEST_F(SystemDNSSDTest, ABrowseWithoutAResponderIsAnErrorUntilOneIsThere) {
  fResponder.reset();
  EXPECT_EQ(Browse(), nullptr);
  EXPECT_EQ(fError, kDNSServiceErr_Unknown);
  fResponder = std::make_unique<FakeResponder>();
  EXPECT_NE(Browse(), nullptr);
}

TEST_F(SystemDNSSDTest, ABrowseThatHasFailedFailsAfterItsLastReports) {
  const DNSServiceRef ref = Browse();
  const auto question = QuestionFor("_http._tcp");
  fResponder->TellInstance(question, "ItemNew", "Desk");
  fResponder->TellFailure(question);
  EXPECT_EQ(Next(ref), "browse 2 7 0 Desk _http._tcp. local.");
  EXPECT_EQ(Next(ref), kResult);
}

TEST_F(SystemDNSSDTest, ABrowseDoesNotWaitForAResponderThatHangsAndBeginsOnceItAnswers) {
  fResponder->SetAnswering(false);
  const DNSServiceRef ref = Browse();
  ASSERT_NE(ref, nullptr);
  EXPECT_EQ(fError, kDNSServiceErr_NoError);
  EXPECT_FALSE(fDnssd.HasBegun(ref));
  EXPECT_FALSE(HasReply(ref));
  fResponder->SetAnswering(true);
  EXPECT_TRUE(Eventually([&] { return fDnssd.HasBegun(ref); }));
  fResponder->TellInstance(QuestionFor("_http._tcp"), "ItemNew", "Desk");
  EXPECT_EQ(Next(ref), "browse 2 7 0 Desk _http._tcp. local.");
}

TEST_F(SystemDNSSDTest, ABrowseThatIsRefusedLateFails) {
  fResponder->SetAnswering(false);
  fResponder->Refuse("_http._tcp");
  const DNSServiceRef ref = Browse();
  ASSERT_NE(ref, nullptr);
  fResponder->SetAnswering(true);
  EXPECT_EQ(Next(ref), kResult);
  EXPECT_FALSE(fDnssd.HasBegun(ref));
}

TEST_F(SystemDNSSDTest, AThreadThatIsLeftBehindInABrowseIsCountedUntilItEnds) {
  fResponder->SetAnswering(false);
  Release(Browse());
  EXPECT_EQ(fDnssd.AbandonedThreads(), 1U);
  fResponder->SetAnswering(true);
  EXPECT_TRUE(Eventually([this] { return fDnssd.AbandonedThreads() == 0; }));
  EXPECT_NE(Browse(), nullptr);
}

TEST_F(SystemDNSSDTest, ResolvesWithoutTheAddressAndReportsTheServiceInTheFormsOfTheInterface) {
  const DNSServiceRef ref = Resolve("Studio A.1\\");
  const auto question = QuestionFor("Studio A.1\\");
  EXPECT_EQ(question.method, "ServiceResolverNew");
  EXPECT_EQ(question.serviceType, "_http._tcp.");
  EXPECT_EQ(question.domain, "local.");
  EXPECT_EQ(question.interface, 3);
  EXPECT_EQ(question.protocol, -1);
  EXPECT_EQ(question.addressProtocol, -1);
  EXPECT_EQ(question.flags, std::uint32_t{AVAHI_LOOKUP_NO_ADDRESS});
  EXPECT_FALSE(HasReply(ref));
  EXPECT_EQ(fDnssd.ProcessResult(ref), kDNSServiceErr_NoError);

  fResponder->TellService(question, "studio a.local", 8080, {Bytes("b=1"), Bytes("a"), Bytes("b=2")});
  EXPECT_EQ(Next(ref),
            "resolve 0 7 0 Studio\\032A\\.1\\\\._http._tcp.local. studio a.local. 8080 <3>b=1<1>a<3>b=2");
}

TEST_F(SystemDNSSDTest, ATxtRecordEndsWhereItIsTooLong) {
  const DNSServiceRef ref = Resolve("Desk");
  const std::vector<FakeResponder::Bytes> items(300, FakeResponder::Bytes(255, 'x'));
  fResponder->TellService(QuestionFor("Desk"), "desk.local", 80, items);
  const std::string told = Next(ref);
  EXPECT_EQ(std::ranges::count(told, 'x') / 255, 255);
  const DNSServiceRef other = Resolve("Other");
  fResponder->TellService(QuestionFor("Other"), "other.local", 80,
                          {Bytes("a"), FakeResponder::Bytes(256, 'x')});
  EXPECT_EQ(Next(other), "resolve 0 7 0 Other._http._tcp.local. other.local. 80 <1>a");
}

TEST_F(SystemDNSSDTest, AServiceThatAnswersLateIsStillResolved) {
  const DNSServiceRef ref = Resolve("Desk");
  const auto question = QuestionFor("Desk");
  fResponder->TellFailure(question, "org.freedesktop.Avahi.TimeoutError");
  fResponder->TellService(question, "desk.local", 80, {});
  EXPECT_EQ(Next(ref), "resolve 0 7 0 Desk._http._tcp.local. desk.local. 80 <0>");
  EXPECT_FALSE(HasReply(ref));
}

TEST_F(SystemDNSSDTest, AResolveThatFailsOrIsRefusedIsOneReplyWithAnError) {
  fResponder->Refuse("Bad");
  const DNSServiceRef bad = Resolve("Bad");
  EXPECT_EQ(fError, kDNSServiceErr_NoError);
  EXPECT_EQ(Next(bad), kResolveError);
  const DNSServiceRef failing = Resolve("Failing");
  fResponder->TellFailure(QuestionFor("Failing"));
  EXPECT_EQ(Next(failing), kResolveError);
  EXPECT_FALSE(HasReply(failing));
}

TEST_F(SystemDNSSDTest, ReportsEachChangeOfAHostsAddresses) {
  const DNSServiceRef ref = LookUp("box.local.");
  const auto question = QuestionFor("box.local.");
  EXPECT_EQ(question.method, "RecordBrowserNew");
  EXPECT_EQ(question.interface, 3);
  EXPECT_EQ(question.protocol, -1);  // over either
  EXPECT_EQ(question.recordClass, 1);
  EXPECT_EQ(question.type, 1);
  EXPECT_EQ(question.flags, 0U);

  fResponder->TellRecord(question, "ItemNew", {192, 168, 1, 20});
  EXPECT_EQ(Next(ref), "address 2 7 0 box.local. 192.168.1.20 0");
  fResponder->TellRecord(question, "ItemNew", {192, 168, 1, 21});
  fResponder->TellRecord(question, "ItemRemove", {192, 168, 1, 20});
  EXPECT_EQ(Next(ref), "address 2 7 0 box.local. 192.168.1.21 0");
  EXPECT_EQ(Next(ref), "address 0 7 0 box.local. 192.168.1.20 0");
  EXPECT_FALSE(HasReply(ref));
  EXPECT_THAT(fResponder->Questions(), SizeIs(1));
}

TEST_F(SystemDNSSDTest, ARecordThatIsNoAddressBringsNone) {
  const DNSServiceRef ref = LookUp("box.local.", 0);
  const auto question = QuestionFor("box.local.");
  EXPECT_EQ(question.interface, -1);  // none is any
  fResponder->TellRecord(question, "ItemNew", FakeResponder::Bytes(16, 1));
  fResponder->TellRecord(question, "ItemNew", {1, 2, 3});
  fResponder->TellRecord(question, "ItemNew", {1, 2, 3, 4}, 28);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Next(ref), "address 2 7 0 box.local. none 0");
}

TEST_F(SystemDNSSDTest, AnAddressLookupThatFailsOrIsRefusedIsOneReplyWithAnError) {
  fResponder->Refuse("bad.local.");
  const DNSServiceRef bad = LookUp("bad.local.");
  EXPECT_EQ(Next(bad), "address 0 0 -65537 bad.local. none 0");
  const DNSServiceRef failing = LookUp("failing.local.");
  fResponder->TellFailure(QuestionFor("failing.local."));
  EXPECT_EQ(Next(failing), "address 0 0 -65537 failing.local. none 0");
  EXPECT_FALSE(HasReply(failing));
  EXPECT_EQ(fResponder->Calls("GetState"), 1);  // all on one connection
}

TEST_F(SystemDNSSDTest, LookUpsOnOneConnectionShareItsSocketAndCallBackForTheirOwnReference) {
  const DNSServiceRef connection = Connect();
  const auto before = Descriptors();
  const DNSServiceRef one = LookUpOn(connection, "one.local.");
  const DNSServiceRef two = LookUpOn(connection, "two.local.");
  EXPECT_EQ(fDnssd.RefSockFD(one), fDnssd.RefSockFD(connection));
  EXPECT_EQ(fDnssd.RefSockFD(two), fDnssd.RefSockFD(connection));
  fResponder->TellRecord(QuestionFor("two.local."), "ItemNew", {192, 168, 1, 2});
  EXPECT_EQ(Next(connection), "address 2 7 0 two.local. 192.168.1.2 0");
  EXPECT_FALSE(HasReply(connection));
  const auto open = Descriptors();
  LookUpOn(connection, "three.local.");
  QuestionFor("three.local.");
  EXPECT_EQ(Descriptors(), open);
  EXPECT_GT(open, before);  // the session with the responder

  Release(two);
  fResponder->TellFailure(QuestionFor("one.local."));
  EXPECT_EQ(Next(connection), "address 0 0 -65537 one.local. none 0");
  fResponder->TellRecord(QuestionFor("three.local."), "ItemNew", {192, 168, 1, 3});
  EXPECT_EQ(Next(connection), "address 2 7 0 three.local. 192.168.1.3 0");
}

TEST_F(SystemDNSSDTest, AConnectionServesTheNextResponderToo) {
  const DNSServiceRef connection = Connect();
  LookUpOn(connection, "one.local.");
  QuestionFor("one.local.");
  fResponder.reset();
  EXPECT_EQ(Next(connection), "address 0 0 -65537 one.local. none 0");
  fResponder = std::make_unique<FakeResponder>();
  LookUpOn(connection, "two.local.");
  fResponder->TellRecord(QuestionFor("two.local."), "ItemNew", {192, 168, 1, 2});
  EXPECT_EQ(Next(connection), "address 2 7 0 two.local. 192.168.1.2 0");
}

TEST_F(SystemDNSSDTest, ACallbackMayReleaseAnotherLookUpOfItsConnection) {
  const DNSServiceRef connection = Connect();
  static DNSServiceRef other;
  static DNSSD* library;
  library = &fDnssd;
  DNSServiceRef ref = connection;
  ASSERT_EQ(fDnssd.GetAddrInfo(
                &ref, kDNSServiceFlagsShareConnection, 3, 1, "one.local.",
                [](DNSServiceRef, DNSServiceFlags, std::uint32_t, DNSServiceErrorType, const char*,
                   const sockaddr*, std::uint32_t, void*) {
                  gTold.emplace_back("released");
                  library->RefDeallocate(std::exchange(other, nullptr));
                },
                nullptr),
            kDNSServiceErr_NoError);
  fRefs.push_back(ref);
  other = connection;
  ASSERT_EQ(
      fDnssd.GetAddrInfo(&other, kDNSServiceFlagsShareConnection, 3, 1, "two.local.", OnAddress, nullptr),
      kDNSServiceErr_NoError);
  fResponder->TellRecord(QuestionFor("two.local."), "ItemNew", {192, 168, 1, 2});
  fResponder->TellRecord(QuestionFor("one.local."), "ItemNew", {192, 168, 1, 1});
  const DNSServiceRef last = LookUp("last.local.");
  fResponder->TellRecord(QuestionFor("last.local."), "ItemNew", {192, 168, 1, 3});
  EXPECT_EQ(Next(last), "address 2 7 0 last.local. 192.168.1.3 0");  // so both replies before it wait
  EXPECT_EQ(Next(connection), "released");
  EXPECT_THAT(gTold, SizeIs(1));
  EXPECT_FALSE(HasReply(connection));
}

TEST_F(SystemDNSSDTest, ConnectionWithoutDescriptorsIsAnError) {
  DNSServiceRef connection = nullptr;
  const testing::NoDescriptorsLeft none;
  EXPECT_EQ(fDnssd.CreateConnection(&connection), kDNSServiceErr_NoMemory);
  EXPECT_EQ(connection, nullptr);
}

TEST_F(SystemDNSSDTest, RefusesOtherProtocolsThanIPv4) {
  EXPECT_EQ(LookUp("box.local.", 3, 2), nullptr);
  EXPECT_EQ(fError, kDNSServiceErr_Unsupported);
}

TEST_F(SystemDNSSDTest, AllOperationsShareAConnectionAndAThreadThatLastAsLongAsThey) {
  const DNSServiceRef browse = Browse();
  const DNSServiceRef resolve = Resolve("Desk");
  const DNSServiceRef address = LookUp("box.local.");
  const auto client = QuestionFor("_http._tcp").client;
  EXPECT_EQ(QuestionFor("Desk").client, client);
  EXPECT_EQ(QuestionFor("box.local.").client, client);
  EXPECT_THAT(OwnThreads(), SizeIs(1));
  Release(browse);
  Release(address);
  Release(resolve);
  EXPECT_TRUE(WaitForThreads(0));
  EXPECT_EQ(fDnssd.AbandonedThreads(), 0U);
  Resolve("Other");
  EXPECT_NE(QuestionFor("Other").client, client);
  EXPECT_TRUE(WaitForThreads(1));
}

TEST_F(SystemDNSSDTest, ItsThreadTakesNoSignals) {
  Browse();
  ASSERT_TRUE(WaitForThreads(1));
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGUSR1}) {
    EXPECT_FALSE(Takes(*OwnThreads().begin(), signal)) << signal;
  }
}

TEST_F(SystemDNSSDTest, AnOperationThatIsReleasedIsNoLongerAsked) {
  Browse();
  const DNSServiceRef resolve = Resolve("Desk");
  const DNSServiceRef address = LookUp("box.local.");
  const auto first = QuestionFor("Desk");
  const auto second = QuestionFor("box.local.");
  Release(resolve);
  EXPECT_TRUE(fResponder->WaitUntilFreed(first));
  Release(address);
  EXPECT_TRUE(fResponder->WaitUntilFreed(second));
}

SystemDNSSD* gDnssdForCallback = nullptr;

TEST_F(SystemDNSSDTest, AnOperationMayBeReleasedInsideItsOwnCallback) {
  gDnssdForCallback = &fDnssd;
  DNSServiceRef ref = nullptr;
  fDnssd.GetAddrInfo(
      &ref, 0, 3, kDNSServiceProtocol_IPv4, "box.local.",
      [](DNSServiceRef given, DNSServiceFlags, std::uint32_t, DNSServiceErrorType, const char* host,
         const sockaddr*, std::uint32_t, void* context) {
        gDnssdForCallback->RefDeallocate(given);
        gTold.push_back(std::string(host) + *static_cast<const char*>(context));
      },
      const_cast<char*>("!"));
  fResponder->TellRecord(QuestionFor("box.local."), "ItemNew", kAddress);
  EXPECT_EQ(Next(ref), "box.local.!");
}

TEST_F(SystemDNSSDTest, WhenTheResponderGoesEveryOperationHasFailedAndTheNextOneFindsTheNext) {
  const DNSServiceRef browse = Browse();
  const DNSServiceRef resolve = Resolve("Desk");
  const DNSServiceRef address = LookUp("box.local.");
  QuestionFor("box.local.");
  fResponder.reset();
  EXPECT_EQ(Next(browse), kResult);
  EXPECT_EQ(Next(resolve), kResolveError);
  EXPECT_EQ(Next(address), "address 0 0 -65537 box.local. none 0");
  EXPECT_EQ(Next(LookUp("now.local.")), "address 0 0 -65537 now.local. none 0");
  fResponder = std::make_unique<FakeResponder>();
  EXPECT_NE(Browse(), nullptr);
  const DNSServiceRef next = LookUp("next.local.");
  fResponder->TellRecord(QuestionFor("next.local."), "ItemNew", kAddress);
  EXPECT_EQ(Next(next), "address 2 7 0 next.local. 10.0.0.1 0");
}

TEST_F(SystemDNSSDTest, WhenTheBusGoesEveryOperationHasFailedAndTheNextOneFindsTheNext) {
  const DNSServiceRef browse = Browse();
  const DNSServiceRef resolve = Resolve("Desk");
  QuestionFor("Desk");
  gBus->Stop();
  EXPECT_EQ(Next(browse), kResult);
  EXPECT_EQ(Next(resolve), kResolveError);
  fResponder.reset();
  gBus->Start();
  fResponder = std::make_unique<FakeResponder>();
  EXPECT_NE(Browse(), nullptr);
}

TEST_F(SystemDNSSDTest, AnotherResponderThatTakesOverEndsOperationsToo) {
  const DNSServiceRef browse = Browse();
  FakeResponder second;  // takes the name while the first one has it
  EXPECT_EQ(Next(browse), kResult);
  EXPECT_NE(Browse(), nullptr);
  EXPECT_THAT(second.Questions(), SizeIs(1));
}

TEST_F(SystemDNSSDTest, AQuestionThatTheResponderDiedOverIsAskedAgain) {
  const DNSServiceRef browse = Browse();
  fResponder->SetAnswering(false);
  const DNSServiceRef resolve = Resolve("Desk");
  ASSERT_TRUE(Eventually([&] { return fResponder->Calls("ServiceResolverNew") == 1; }));
  auto second = std::make_unique<FakeResponder>();  // takes over, so that there is one to ask
  fResponder = std::move(second);
  EXPECT_EQ(Next(browse), kResult);
  fResponder->TellService(QuestionFor("Desk"), "desk.local", 80, {});
  EXPECT_EQ(Next(resolve), "resolve 0 7 0 Desk._http._tcp.local. desk.local. 80 <0>");
}

TEST_F(SystemDNSSDTest, AskingThatFailsTwiceIsAnError) {
  const DNSServiceRef browse = Browse();
  fResponder->Refuse("Bad", "org.freedesktop.DBus.Error.NoReply");
  EXPECT_EQ(Next(Resolve("Bad")), kResolveError);
  EXPECT_EQ(Next(browse), kResult);  // its connection was given up
  EXPECT_EQ(fResponder->Calls("ServiceResolverNew"), 2);
}

TEST_F(SystemDNSSDTest, AConnectionOnWhichAnOperationCannotBeEndedIsGivenUp) {
  const DNSServiceRef browse = Browse();
  fResponder->Refuse("Free", "org.freedesktop.DBus.Error.NoReply");
  const DNSServiceRef resolve = Resolve("Desk");
  QuestionFor("Desk");
  Release(resolve);
  EXPECT_EQ(Next(browse), kResult);
}

TEST_F(SystemDNSSDTest, WhatTheResponderHasNoRoomForIsAskedOnceThereIsRoom) {
  fResponder->AllowObjects(3);
  Browse();
  const DNSServiceRef a = Resolve("a");
  Resolve("b");
  const auto questionA = QuestionFor("a");
  QuestionFor("b");
  const DNSServiceRef c = Resolve("c");
  const DNSServiceRef d = LookUp("d.local.");
  ASSERT_TRUE(Eventually([&] { return fResponder->Calls("ServiceResolverNew") == 3; }));
  EXPECT_THAT(fResponder->Questions(), SizeIs(3));
  EXPECT_FALSE(HasReply(c));
  Release(a);
  EXPECT_TRUE(fResponder->WaitUntilFreed(questionA));
  fResponder->TellService(QuestionFor("c"), "c.local", 80, {});
  EXPECT_EQ(Next(c), "resolve 0 7 0 c._http._tcp.local. c.local. 80 <0>");
  Release(c);
  fResponder->TellRecord(QuestionFor("d.local."), "ItemNew", kAddress);
  EXPECT_EQ(Next(d), "address 2 7 0 d.local. 10.0.0.1 0");
}

TEST_F(SystemDNSSDTest, WhereThereIsNoRoomAServiceThatDoesNotAnswerMakesRoomForOthers) {
  fResponder->AllowObjects(2);
  Browse();
  const DNSServiceRef off = Resolve("Off");
  const auto question = QuestionFor("Off");
  const DNSServiceRef good = Resolve("Good");
  ASSERT_TRUE(Eventually([&] { return fResponder->Calls("ServiceResolverNew") == 2; }));
  fResponder->TellFailure(question, "org.freedesktop.Avahi.TimeoutError");
  fResponder->TellService(QuestionFor("Good"), "good.local", 80, {});
  EXPECT_EQ(Next(good), "resolve 0 7 0 Good._http._tcp.local. good.local. 80 <0>");
  Release(good);
  fResponder->TellService(QuestionFor("Off", 1), "off.local", 80, {});
  EXPECT_EQ(Next(off), "resolve 0 7 0 Off._http._tcp.local. off.local. 80 <0>");
}

TEST_F(SystemDNSSDTest, WithoutAnyRoomTheBrowseIsRefused) {
  fResponder->AllowObjects(0);
  EXPECT_EQ(Browse(), nullptr);
  EXPECT_EQ(fError, kDNSServiceErr_Unknown);
}

TEST_F(SystemDNSSDTest, NobodyWaitsForAResponderThatHangs) {
  const DNSServiceRef asked = LookUp("asked.local.");
  const auto question = QuestionFor("asked.local.");
  fResponder->SetAnswering(false);
  const DNSServiceRef released = Resolve("Released");
  ASSERT_TRUE(Eventually([&] { return fResponder->Calls("ServiceResolverNew") == 1; }));
  const DNSServiceRef unasked = Resolve("Unasked");
  const DNSServiceRef late = LookUp("late.local.");
  Release(released);
  Release(unasked);
  EXPECT_EQ(fDnssd.ProcessResult(late), kDNSServiceErr_NoError);
  fResponder->SetAnswering(true);  // a wait would have been for this
  fResponder->TellRecord(question, "ItemNew", kAddress);
  EXPECT_EQ(Next(asked), "address 2 7 0 asked.local. 10.0.0.1 0");
  fResponder->TellRecord(QuestionFor("late.local."), "ItemNew", kAddress);
  EXPECT_EQ(Next(late), "address 2 7 0 late.local. 10.0.0.1 0");
  EXPECT_EQ(fResponder->Calls("ServiceResolverNew"), 1);
}

TEST_F(SystemDNSSDTest, NothingGrowsWhileTheResponderHangs) {
  Browse();
  fResponder->SetAnswering(false);
  const DNSServiceRef held = LookUp("held.local.");
  ASSERT_TRUE(Eventually([&] { return fResponder->Calls("RecordBrowserNew") > 0; }));
  const std::ptrdiff_t before = Descriptors();
  for (int i = 0; i < 1000; ++i) Release(Resolve("u"));
  EXPECT_LT(Descriptors(), before + 10);
  fResponder->SetAnswering(true);
  fResponder->TellRecord(QuestionFor("held.local."), "ItemNew", kAddress);
  EXPECT_EQ(Next(held), "address 2 7 0 held.local. 10.0.0.1 0");
}

TEST_F(SystemDNSSDTest, TheLastReleaseDoesNotWaitForAResponderThatHangs) {
  Browse();
  for (const char* name : {"a", "b", "c"}) {
    Resolve(name);
    QuestionFor(name);
  }
  fResponder->SetAnswering(false);
  Release(fRefs.back());
  ASSERT_TRUE(Eventually([&] { return fResponder->Calls("Free") == 1; }));
  while (!fRefs.empty()) Release(fRefs.back());  // a wait would take 25 seconds, longer than the test's limit
  EXPECT_EQ(fDnssd.AbandonedThreads(), 1U);
  // The next ones do not wait for it either, but for the responder.
  const DNSServiceRef next = Resolve("next");
  fResponder->SetAnswering(true);
  EXPECT_TRUE(Eventually([this] { return fDnssd.AbandonedThreads() == 0; }));
  fResponder->TellService(QuestionFor("next"), "next.local", 80, {});
  EXPECT_EQ(Next(next), "resolve 0 7 0 next._http._tcp.local. next.local. 80 <0>");
  EXPECT_EQ(fResponder->Calls("Free"), 1);  // the rest ended with the connection
}

TEST_F(SystemDNSSDTest, WithoutDescriptorsNothingIsBegun) {
  {
    const testing::NoDescriptorsLeft none;
    EXPECT_EQ(Resolve("Desk"), nullptr);
    EXPECT_EQ(fError, kDNSServiceErr_NoMemory);
  }
  Resolve("Desk");
  QuestionFor("Desk");
}

TEST_F(SystemDNSSDTest, WithoutThreadsNothingIsBegun) {
  {
    const testing::NoThreadsLeft none;
    EXPECT_EQ(Browse(), nullptr);
    EXPECT_EQ(fError, kDNSServiceErr_NoMemory);
  }
  EXPECT_NE(Browse(), nullptr);
}

TEST_F(SystemDNSSDTest, WithoutMemoryNothingIsBegun) {
  for (int nth = 1;; ++nth) {
    DNSServiceRef ref = nullptr;
    bool hasThrown = false;
    bool hasFailed = false;
    {
      const testing::FailingAllocation failing(nth);
      try {
        fDnssd.Resolve(&ref, 0, 3, "a service of no short name", "_http._tcp.", "local.", OnResolve, nullptr);
      } catch (const std::bad_alloc&) {
        hasThrown = true;
      }
      hasFailed = failing.HasFailed();
    }
    EXPECT_EQ(hasThrown, hasFailed) << nth;
    EXPECT_EQ(ref == nullptr, hasThrown) << nth;
    if (ref == nullptr) continue;
    fRefs.push_back(ref);
    QuestionFor("a service of no short name");
    EXPECT_GT(nth, 4);  // the operation, its name, the session, what the reference points to
    break;
  }
  EXPECT_THAT(fResponder->Questions(), SizeIs(1));
}

}  // namespace
}  // namespace vorn
