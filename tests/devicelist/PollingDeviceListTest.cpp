#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "devicelist/DevicePoller.h"
#include "devicelist/PollingDeviceList.h"
#include "devicelist/SwitchPoller.h"
#include "devicelist/http/CurlTransfer.h"
#include "foundation/Process.h"
#include "tests/devicelist/Announcements.h"
#include "tests/devicelist/FakePoller.h"
#include "tests/devicelist/SilentFirmwarePoller.h"
#include "tests/devicelist/Units.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/LoopbackServer.h"
#include "tests/support/TurnLoop.h"

namespace DeviceList {
namespace {

using testing::Announce;
using ::testing::Contains;
using ::testing::ElementsAre;
using testing::FakePoller;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::LoopbackUrlOfNobody;
using testing::NamesOf;
using testing::PollerBoard;
using testing::Service;
using testing::SilentFirmwarePoller;
using testing::Withdraw;
using vorn::testing::TurnLoop;
using vorn::testing::TurnLoopUntil;
using List = std::vector<ExtendedDeviceInfo>;
using Text = vorn::optional<std::string>;

Service DeviceService(const std::string& name, const std::string& uid = "1") {
  return {name, {"vorn.mdns.type=plexadevice", "uid=" + uid}, name + ".local."};
}

Service HostService(const std::string& name, const std::string& uids) {
  return {name, {"vorn.mdns.type=plexahost", "uid_list=" + uids}, name + ".local."};
}

// A list whose pollers are fakes, on a scripted network.
class PollingDeviceListTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    InitHTTP();
    vorn::RaiseDescriptorLimit();
  }

  ~PollingDeviceListTest() override {
    fList.reset();
    EXPECT_THAT(fBoard.alive, IsEmpty());
  }

  PollingDeviceList::Makers FakeMakers() {
    PollingDeviceList::Makers makers;
    makers.retryTime = fRetryTime;
    makers.now = [this] { return fNow(); };
    makers.poller = [this](Entry entry, std::shared_ptr<const LocalHosts> hosts) -> std::unique_ptr<Poller> {
      if (onMakePoller) onMakePoller(entry);
      fHosts = std::move(hosts);
      return std::make_unique<FakePoller>(std::move(entry), fBoard);
    };
    makers.firmwarePoller = [this](const std::string& model, const std::string& channel,
                                   std::function<void()> onChanged) {
      fModels.push_back(model + "/" + channel);
      if (onMakeFirmwarePoller) onMakeFirmwarePoller();
      fModelChanged = std::move(onChanged);
      return SilentFirmwarePoller();
    };
    return makers;
  }

  void Start() {
    fList = std::make_unique<PollingDeviceList>(
        [this](List list) {
          ++fPublished;
          fLast = std::move(list);
        },
        fNetwork, FakeMakers());
  }

  void StartAndAnnounce(const std::vector<Service>& services) {
    Start();
    for (const Service& service : services) Announce(fNetwork, service);
  }

  // Announces all, then lets the list see them at once.
  void StartWith(const std::vector<Service>& services) {
    StartAndAnnounce(services);
    TurnLoop();
  }

  // From now on, something is always due. So no TurnLoop may follow, because it would never end where a retry
  // takes longer than that.
  void RetryAllTheTime() { fRetryTime = std::chrono::milliseconds(1); }

  FakePoller& Of(const std::string& url) {
    FakePoller* poller = fBoard.Of(url);
    if (poller == nullptr) throw std::logic_error("no poller of " + url);
    return *poller;
  }

  // Names the unit at http://HOST.local/ and publishes.
  void Name(const std::string& host, const std::string& name) {
    Of("http://" + host + ".local/").SayName(name);
    TurnLoop();
  }

  std::chrono::milliseconds fRetryTime = PollingDeviceList::kRetryTime;
  vorn::Now fNow = vorn::Clock::now;
  std::function<void(const Entry&)> onMakePoller;
  std::function<void()> onMakeFirmwarePoller;
  PollerBoard fBoard;
  std::shared_ptr<const LocalHosts> fHosts;
  std::vector<std::string> fModels;
  std::function<void()> fModelChanged;
  vorn::testing::ScriptedDNSSD fNetwork;
  int fPublished = 0;
  List fLast;
  std::unique_ptr<PollingDeviceList> fList;
};

TEST_F(PollingDeviceListTest, WithoutPollersPublishesAnEmptyList) {
  Start();
  EXPECT_EQ(fPublished, 0);
  EXPECT_TRUE(TurnLoopUntil([&] { return fPublished > 0; }));
  EXPECT_THAT(fLast, IsEmpty());
}

TEST_F(PollingDeviceListTest, UnitWithoutANameIsNotPublished) {
  StartWith({DeviceService("desk")});
  EXPECT_EQ(fBoard.alive.size(), 1U);
  EXPECT_THAT(fLast, IsEmpty());
  Name("desk", "Desk");
  EXPECT_THAT(NamesOf(fLast), ElementsAre("Desk"));
  Of("http://desk.local/").SayName({});
  TurnLoop();
  EXPECT_THAT(fLast, IsEmpty());
}

TEST_F(PollingDeviceListTest, RecordIsFilledFromEntryAndPoller) {
  StartWith({DeviceService("desk", "42")});
  auto& poller = Of("http://desk.local/");
  poller.SayName(std::string("Desk"));
  poller.SayFirmware(std::string("1.2.3+4 beta"));
  poller.SayModel(std::string("24ai"));
  TurnLoop();
  ASSERT_EQ(fLast.size(), 1U);
  EXPECT_EQ(*fLast[0].name, "Desk");
  EXPECT_EQ(fLast[0].type, "plexadevice");
  EXPECT_EQ(fLast[0].url, "http://desk.local/");
  EXPECT_EQ(fLast[0].uid, "42");
  ASSERT_TRUE(fLast[0].firmwareVersion);
  EXPECT_TRUE(*fLast[0].firmwareVersion == (vorn::FirmwareVersion{1, 2, 3, 4}));
  EXPECT_EQ(*fLast[0].modelID, "24ai");
  EXPECT_FALSE(fLast[0].latestVersion);
}

TEST_F(PollingDeviceListTest, DeviceShadowsTheHostRecordOfItsUid) {
  StartWith({HostService("host", "1:2"), DeviceService("desk", "1")});
  Of("http://host.local/1/").SayName(std::string("Desk by host"));
  Of("http://host.local/2/").SayName(std::string("Rack by host"));
  Name("desk", "Desk");
  EXPECT_THAT(NamesOf(fLast), ElementsAre("Desk", "Rack by host"));
}

TEST_F(PollingDeviceListTest, DeviceWithoutANameShadowsNothing) {
  StartWith({HostService("host", "1"), DeviceService("desk", "1")});
  Of("http://host.local/1/").SayName(std::string("Desk by host"));
  TurnLoop();
  EXPECT_THAT(NamesOf(fLast), ElementsAre("Desk by host"));
}

TEST_F(PollingDeviceListTest, PublishesInTheOrderOfNames) {
  StartWith({DeviceService("a"), DeviceService("b"), DeviceService("c"), DeviceService("d")});
  Name("a", "beta");
  Name("b", "Alpha");
  Name("c", "alpha2");
  Name("d", "\xc3\x84rger");
  EXPECT_THAT(NamesOf(fLast), ElementsAre("\xc3\x84rger", "Alpha", "alpha2", "beta"));
}

TEST_F(PollingDeviceListTest, UnreadableFirmwareLeavesTheVersionEmpty) {
  StartWith({DeviceService("desk")});
  Of("http://desk.local/").SayFirmware(std::string("1.2.3"));
  Name("desk", "Desk");
  ASSERT_EQ(fLast.size(), 1U);
  EXPECT_FALSE(fLast[0].firmwareVersion);
}

TEST_F(PollingDeviceListTest, UnitsOfAModelShareAFirmwarePollerThatStaysAfterThem) {
  StartWith({DeviceService("a"), DeviceService("b")});
  Of("http://a.local/").SayModel(std::string("24ai"));
  Of("http://b.local/").SayModel(std::string("24ai"));
  TurnLoop();
  EXPECT_THAT(fModels, ElementsAre("24ai/release"));
  Withdraw(fNetwork, "a");
  Withdraw(fNetwork, "b");
  TurnLoop();
  EXPECT_THAT(fBoard.alive, IsEmpty());
  Announce(fNetwork, DeviceService("a"));
  TurnLoop();
  Of("http://a.local/").SayModel(std::string("24ai"));
  TurnLoop();
  EXPECT_THAT(fModels, ElementsAre("24ai/release"));
}

TEST_F(PollingDeviceListTest, ModelOfANamelessUnitIsAskedAboutToo) {
  StartWith({DeviceService("a")});
  Of("http://a.local/").SayModel(std::string("24ai"));
  TurnLoop();
  EXPECT_THAT(fLast, IsEmpty());
  EXPECT_THAT(fModels, ElementsAre("24ai/release"));
}

TEST_F(PollingDeviceListTest, ModelsThatDifferInOneByteAreTwo) {
  StartWith({DeviceService("a"), DeviceService("b")});
  Of("http://a.local/").SayModel(std::string("m\xfe"));
  Of("http://b.local/").SayModel(std::string("m\xff"));
  TurnLoop();
  EXPECT_EQ(fModels.size(), 2U);
}

TEST_F(PollingDeviceListTest, ChangedUrlCostsThatUnitItsPollerAndNoOther) {
  StartWith({DeviceService("a"), DeviceService("b"), DeviceService("c")});
  Name("a", "A");
  Name("c", "C");
  fBoard.events.clear();

  Withdraw(fNetwork, "b");
  Service moved = DeviceService("b");
  moved.port = 8080;
  Announce(fNetwork, moved);
  TurnLoop();

  EXPECT_THAT(fBoard.events, ElementsAre("made http://b.local:8080/", "gone http://b.local/"));
  EXPECT_THAT(NamesOf(fLast), ElementsAre("A", "C"));
}

TEST_F(PollingDeviceListTest, AnyChangedFieldMakesANewUnit) {
  StartWith({DeviceService("a", "1")});
  Name("a", "A");
  Withdraw(fNetwork, "a");
  Announce(fNetwork, DeviceService("a", "2"));
  TurnLoop();
  EXPECT_THAT(fLast, IsEmpty());
  Name("a", "A");
  ASSERT_EQ(fLast.size(), 1U);
  EXPECT_EQ(fLast[0].uid, "2");
}

TEST_F(PollingDeviceListTest, UnitAnnouncedAnewAlikeKeepsItsPoller) {
  StartWith({DeviceService("a")});
  Name("a", "A");
  Withdraw(fNetwork, "a");
  Announce(fNetwork, DeviceService("a"));
  TurnLoop();
  EXPECT_THAT(fBoard.events, ElementsAre("made http://a.local/"));
  EXPECT_THAT(NamesOf(fLast), ElementsAre("A"));
}

TEST_F(PollingDeviceListTest, BrowsingAnewKeepsThePollersAndAsksAboutNoModelAgain) {
  const std::vector<Service> services{DeviceService("desk"), HostService("rack", "a1:a2")};
  StartWith(services);
  Of("http://desk.local/").SayModel(std::string("16A"));
  Name("desk", "Desk");
  fBoard.events.clear();
  for (int restart = 0; restart < 10; ++restart) {
    fList->BrowseAnew();
    TurnLoop();
    EXPECT_THAT(NamesOf(fLast), ElementsAre("Desk"));
  }
  Announce(fNetwork, services[1]);
  TurnLoop();
  Announce(fNetwork, services[0]);
  TurnLoop();
  EXPECT_THAT(fBoard.events, IsEmpty());
  EXPECT_THAT(fModels, ElementsAre("16A/release"));
}

TEST_F(PollingDeviceListTest, KeptPollersStandBeforeNewOnes) {
  StartWith({DeviceService("b")});
  Announce(fNetwork, DeviceService("a"));
  Withdraw(fNetwork, "b");
  Announce(fNetwork, DeviceService("b"));  // resolved after "a" now
  TurnLoop();
  EXPECT_THAT(fBoard.events, ElementsAre("made http://b.local/", "made http://a.local/"));
}

TEST_F(PollingDeviceListTest, WithdrawnUnitLosesItsPollerAndLeavesTheList) {
  StartWith({DeviceService("a"), DeviceService("b")});
  Name("a", "A");
  Name("b", "B");
  Withdraw(fNetwork, "a");
  TurnLoop();
  EXPECT_EQ(fBoard.Of("http://a.local/"), nullptr);
  EXPECT_THAT(NamesOf(fLast), ElementsAre("B"));
}

TEST_F(PollingDeviceListTest, PublishesOnEveryRunEvenWhenNothingChanged) {
  StartWith({DeviceService("a")});
  Name("a", "A");
  const int before = fPublished;
  EXPECT_TRUE(fList->UpdateList());
  EXPECT_TRUE(fList->UpdateList());
  EXPECT_EQ(fPublished, before + 2);
  Name("a", "A");
  EXPECT_EQ(fPublished, before + 3);
}

TEST_F(PollingDeviceListTest, ChangesBeforeTheLoopTurnsGiveOneList) {
  StartWith({DeviceService("a"), DeviceService("b")});
  const int before = fPublished;
  for (FakePoller* poller : fBoard.alive) {
    poller->SayName(std::string("Name"));
    poller->SayFirmware(std::string("1.2.3+4"));
  }
  TurnLoop();
  EXPECT_EQ(fPublished, before + 1);
  EXPECT_EQ(fLast.size(), 2U);
}

TEST_F(PollingDeviceListTest, ChangesOnOtherThreadsArePublishedOnTheListsThread) {
  StartWith({DeviceService("a")});
  std::thread([&] { Of("http://a.local/").SayName(std::string("A")); }).join();
  EXPECT_TRUE(TurnLoopUntil([&] { return !fLast.empty(); }));
}

TEST_F(PollingDeviceListTest, ChangeOfAModelsNewestVersionIsPublished) {
  StartWith({DeviceService("a")});
  Of("http://a.local/").SayModel(std::string("24ai"));
  TurnLoop();
  const int before = fPublished;
  std::thread([&] { fModelChanged(); }).join();
  EXPECT_TRUE(TurnLoopUntil([&] { return fPublished == before + 1; }));
}

TEST_F(PollingDeviceListTest, AsksAboutNoModelWhileItMustNotAndForgetsWhatItKnows) {
  vorn::testing::LoopbackServer server;
  server.Reply("/api/device/24ai/firmware", 200, R"([{"version":"9.9.9+9"}])");
  auto makers = FakeMakers();
  makers.firmwarePoller = PollingDeviceList::FirmwarePollersOf(*UpdateServer::At(server.Url("/api/")));
  fList =
      std::make_unique<PollingDeviceList>([this](List list) { fLast = std::move(list); }, fNetwork, makers);
  Announce(fNetwork, DeviceService("a"));
  TurnLoop();
  Of("http://a.local/").SayName(std::string("A"));
  Of("http://a.local/").SayModel(std::string("24ai"));
  const auto knows = [this] { return !fLast.empty() && fLast[0].latestVersion.has_value(); };
  ASSERT_TRUE(TurnLoopUntil(knows));

  fList->CheckForUpdates(false);
  EXPECT_TRUE(TurnLoopUntil([&] { return !knows(); }));
  fLast.clear();
  Of("http://a.local/").SayName(std::string("B"));
  ASSERT_TRUE(TurnLoopUntil([&] { return !fLast.empty(); }));
  EXPECT_FALSE(knows());
  EXPECT_EQ(server.RequestCount(), 1);

  fList->CheckForUpdates(true);
  EXPECT_TRUE(TurnLoopUntil(knows));
  EXPECT_EQ(server.RequestCount(), 2);
}

TEST_F(PollingDeviceListTest, EmptyPublishIsNotCalled) {
  PollingDeviceList list({}, fNetwork, FakeMakers());
  Announce(fNetwork, DeviceService("a"));
  TurnLoop();
  EXPECT_EQ(fBoard.alive.size(), 1U);
  EXPECT_TRUE(list.UpdateList());
}

TEST_F(PollingDeviceListTest, EntryWithoutAPollerIsNeverShown) {
  auto makers = FakeMakers();
  makers.poller = [](Entry, const std::shared_ptr<const LocalHosts>&) { return std::unique_ptr<Poller>(); };
  PollingDeviceList list([this](List published) { fLast = std::move(published); }, fNetwork, makers);
  Announce(fNetwork, DeviceService("a"));
  TurnLoop();
  EXPECT_THAT(fLast, IsEmpty());
}

TEST_F(PollingDeviceListTest, PollersGetTheAddressesOfLocalHosts) {
  StartWith({DeviceService("desk")});
  ASSERT_NE(fHosts, nullptr);
  EXPECT_THAT(fHosts->AddressesOf("desk.local"), ElementsAre("192.168.1.20"));
}

TEST_F(PollingDeviceListTest, ThreadThatCannotBeStartedCostsItsEntryItsPollerAndNothingElse) {
  onMakePoller = [](const Entry& entry) {
    if (*entry.name == "b") throw std::system_error(EAGAIN, std::generic_category(), "thread");
    if (*entry.name == "c") throw std::bad_alloc();
  };
  ::testing::internal::CaptureStderr();
  StartWith({DeviceService("a"), DeviceService("b"), DeviceService("c"), DeviceService("d")});
  const std::string console = ::testing::internal::GetCapturedStderr();
  EXPECT_THAT(fBoard.events, ElementsAre("made http://a.local/", "made http://d.local/"));
  EXPECT_THAT(console, HasSubstr("a unit cannot be polled"));
  EXPECT_EQ(std::count(console.begin(), console.end(), '\n'), 1) << console;
}

TEST_F(PollingDeviceListTest, EntryThatGotNoPollerIsTriedAgainWithTheNextList) {
  onMakePoller = [](const Entry&) { throw std::system_error(EAGAIN, std::generic_category(), "thread"); };
  ::testing::internal::CaptureStderr();
  StartWith({DeviceService("a")});
  onMakePoller = {};
  Announce(fNetwork, DeviceService("b"));
  TurnLoop();
  ::testing::internal::GetCapturedStderr();
  EXPECT_THAT(fBoard.events, ElementsAre("made http://a.local/", "made http://b.local/"));
}

TEST_F(PollingDeviceListTest, ModelWhosePollerCannotBeStartedHasNoNewestVersionAndIsTriedAgain) {
  onMakeFirmwarePoller = [] { throw std::system_error(EAGAIN, std::generic_category(), "thread"); };
  ::testing::internal::CaptureStderr();
  StartWith({DeviceService("a")});
  Of("http://a.local/").SayModel(std::string("24ai"));
  Name("a", "A");
  EXPECT_THAT(NamesOf(fLast), ElementsAre("A"));
  fModels.clear();
  onMakeFirmwarePoller = {};
  fList->UpdateList();
  fList->UpdateList();
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("a model cannot be asked about"));
  EXPECT_THAT(fModels, ElementsAre("24ai/release"));
}

TEST_F(PollingDeviceListTest, BytesThatAreNoTextNeitherThrowNorMergeUnits) {
  StartWith({DeviceService("a", "\xff"), DeviceService("b", "\xfe"), HostService("c", "\xfe:\xfd")});
  Name("a", "\xff\xff");
  Name("b", std::string("\0x", 2));
  for (const char* uid : {"\xfe", "\xfd"}) {
    Of(std::string("http://c.local/") + uid + "/").SayName(std::string("\x80") + uid);
  }
  TurnLoop();
  EXPECT_THAT(NamesOf(fLast), ElementsAre("\x80\xfd", "\xff\xff", std::string("\0x", 2)));
}

std::string ManyUids(std::size_t first, std::size_t end) {
  std::string uids;
  for (std::size_t i = first; i < end; ++i) uids += (uids.empty() ? "" : ":") + std::to_string(i);
  return uids;
}

// Hosts whose uid lists name this many units together, each host at an address of its own.
std::vector<Service> ManyUnits(std::size_t count) {
  constexpr std::size_t kUnitsOfAHost = 32;
  std::vector<Service> services;
  for (std::size_t first = 0; first < count; first += kUnitsOfAHost) {
    services.push_back(
        HostService("host" + std::to_string(first), ManyUids(first, std::min(count, first + kUnitsOfAHost))));
    services.back().address = "10.0.0." + std::to_string(first / kUnitsOfAHost + 1);
  }
  return services;
}

// What one stranger with one address announces to take all places.
std::vector<Service> UnitsOfAStranger() {
  constexpr std::size_t kServices = 26;
  constexpr std::size_t kUids = 82;
  std::vector<Service> services;
  for (std::size_t i = 0; i < kServices; ++i) {
    services.push_back(HostService("bad" + std::to_string(i), ManyUids(0, kUids)));
    services.back().address = "10.0.0.66";
  }
  static_assert(kServices * kUids > PollingDeviceList::kMaxUnits);
  return services;
}

// A moved clock, and the number of units that the test wants.
class PausingListTest : public PollingDeviceListTest {
 protected:
  void StartWithUnits(std::size_t count) {
    fNow = [this] { return fTime; };
    StartWith(ManyUnits(count));
    ASSERT_EQ(fBoard.alive.size(), count);
    fTime += PollingDeviceList::kPause;
  }
  // Names the unit of that place and lets the list see it.
  void NameUnit(std::size_t place, const std::string& name) {
    fBoard.alive[place]->SayName(name);
    TurnLoop();
  }

  vorn::Clock::time_point fTime = vorn::Clock::now();
};

TEST_F(PausingListTest, ChangesAfterAListOfManyUnitsShareTheNextOne) {
  StartWithUnits(PollingDeviceList::kUnitsWithoutPause + 32);
  const int before = fPublished;
  NameUnit(0, "first");
  EXPECT_EQ(fPublished, before + 1) << "the first change is shown at once";
  EXPECT_THAT(NamesOf(fLast), ElementsAre("first"));
  for (std::size_t i = 1; i < 100; ++i) NameUnit(i, "x");
  fTime += PollingDeviceList::kPause / 2;
  NameUnit(1, "second");
  EXPECT_EQ(fPublished, before + 1);
  fTime += PollingDeviceList::kPause / 2;
  EXPECT_TRUE(TurnLoopUntil([&] { return fPublished == before + 2; })) << "without a further change";
  EXPECT_EQ(fLast.size(), 100U);
  EXPECT_EQ(NamesOf(fLast)[1], "second");
}

TEST_F(PausingListTest, TheFirstChangeAfterAPauseIsListedAtOnce) {
  StartWithUnits(PollingDeviceList::kUnitsWithoutPause + 32);
  const int before = fPublished;
  for (int change = 1; change <= 3; ++change) {
    NameUnit(0, std::to_string(change));
    EXPECT_EQ(fPublished, before + change);
    fTime += PollingDeviceList::kPause;
    TurnLoop();
    EXPECT_EQ(fPublished, before + change) << "nothing has changed";
  }
}

TEST_F(PausingListTest, FewUnitsAreListedAtEachChange) {
  StartWithUnits(PollingDeviceList::kUnitsWithoutPause);
  const int before = fPublished;
  for (std::size_t i = 0; i < 10; ++i) NameUnit(i, "x");
  EXPECT_EQ(fPublished, before + 10);
}

TEST_F(PollingDeviceListTest, UnitsBeyondTheLimitGetNoPollerAndOneMessage) {
  ::testing::internal::CaptureStderr();
  StartWith(ManyUnits(PollingDeviceList::kMaxUnits));
  for (FakePoller* poller : fBoard.alive) poller->Answer();
  Announce(fNetwork, HostService("more", ManyUids(0, 40)));
  Announce(fNetwork, DeviceService("another"));
  TurnLoop();
  EXPECT_EQ(fBoard.alive.size(), PollingDeviceList::kMaxUnits);
  const std::string console = ::testing::internal::GetCapturedStderr();
  EXPECT_THAT(console, HasSubstr("more units are announced than can be polled"));
  EXPECT_EQ(std::count(console.begin(), console.end(), '\n'), 1) << console;
}

TEST_F(PollingDeviceListTest, PlaceOfAUnitThatLeavesGoesToOneBeyondTheLimit) {
  ::testing::internal::CaptureStderr();
  StartWith(ManyUnits(PollingDeviceList::kMaxUnits));
  for (FakePoller* poller : fBoard.alive) poller->Answer();
  Announce(fNetwork, DeviceService("late"));
  TurnLoop();
  EXPECT_EQ(fBoard.Of("http://late.local/"), nullptr);
  Withdraw(fNetwork, "host0");
  TurnLoop();
  ::testing::internal::GetCapturedStderr();
  EXPECT_NE(fBoard.Of("http://late.local/"), nullptr);
}

TEST_F(PollingDeviceListTest, AsManyUnitsAsTheLimitAreNothingToReport) {
  ::testing::internal::CaptureStderr();
  StartWith(ManyUnits(PollingDeviceList::kMaxUnits));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(fBoard.alive.size(), PollingDeviceList::kMaxUnits);
}

TEST_F(PollingDeviceListTest, UnitsOfOneAddressLeaveThePlacesToOthers) {
  ::testing::internal::CaptureStderr();
  StartWith(UnitsOfAStranger());
  for (FakePoller* poller : fBoard.alive) poller->Answer();
  Announce(fNetwork, DeviceService("good"));
  TurnLoop();
  const std::string console = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(fBoard.Of("http://good.local/"), nullptr);
  EXPECT_EQ(fBoard.alive.size(), UnitPlaces::kMaxUnitsAtAddress + 1);
  EXPECT_THAT(console, HasSubstr("more than 128 units are announced at 10.0.0.66"));
  EXPECT_EQ(std::count(console.begin(), console.end(), '\n'), 1) << console;
}

// Otherwise they would share one unknown address as long as they are held.
TEST_F(PollingDeviceListTest, UnitsThatTheSystemResolvesKeepTheirPlacesWhenBrowsingStartsAgain) {
  auto services = ManyUnits(2 * UnitPlaces::kMaxUnitsAtAddress);
  for (Service& service : services) service.host = service.name + ".vorn.example.";
  StartWith(services);
  ASSERT_EQ(fBoard.alive.size(), 2 * UnitPlaces::kMaxUnitsAtAddress);
  fBoard.events.clear();
  for (int time = 0; time < 2; ++time) {
    fList->BrowseAnew();
    TurnLoop();
    EXPECT_THAT(fBoard.events, IsEmpty());
  }
}

TEST_F(PollingDeviceListTest, UnitThatNeverAnsweredGivesItsPlaceToANewcomer) {
  ::testing::internal::CaptureStderr();
  StartWith(ManyUnits(PollingDeviceList::kMaxUnits));
  Of("http://host0.local/0/").Answer();
  fBoard.events.clear();
  Announce(fNetwork, DeviceService("good"));
  TurnLoop();
  ::testing::internal::GetCapturedStderr();
  EXPECT_THAT(fBoard.events, ElementsAre("made http://good.local/", "gone http://host0.local/1/"));
}

TEST_F(PollingDeviceListTest, UnitThatLostItsPlaceGetsAnotherInItsTurn) {
  RetryAllTheTime();
  ::testing::internal::CaptureStderr();
  StartAndAnnounce(ManyUnits(PollingDeviceList::kMaxUnits));
  ASSERT_TRUE(TurnLoopUntil([&] { return fBoard.alive.size() == PollingDeviceList::kMaxUnits; }));
  fBoard.events.clear();
  Announce(fNetwork, DeviceService("good"));
  ASSERT_TRUE(TurnLoopUntil([&] { return fBoard.Of("http://good.local/") != nullptr; }));
  Of("http://good.local/").Answer();
  EXPECT_THAT(fBoard.events, Contains("gone http://host0.local/0/"));
  EXPECT_TRUE(
      TurnLoopUntil([&] { return ::testing::Value(fBoard.events, Contains("made http://host0.local/0/")); }));
  EXPECT_NE(fBoard.Of("http://good.local/"), nullptr);
  ::testing::internal::GetCapturedStderr();
}

TEST_F(PollingDeviceListTest, UnitsThatCouldNotBePolledAreTriedAgainByThemselves) {
  RetryAllTheTime();
  constexpr std::size_t kUnits = 300;
  ::testing::internal::CaptureStderr();
  onMakePoller = [this](const Entry&) {
    if (fBoard.alive.size() >= 100)
      throw std::system_error(EAGAIN, std::generic_category(), "thread constructor failed");
  };
  StartAndAnnounce(ManyUnits(kUnits));
  ASSERT_TRUE(TurnLoopUntil([&] { return fBoard.alive.size() == 100; }));
  onMakePoller = {};
  EXPECT_TRUE(TurnLoopUntil([&] { return fBoard.alive.size() == kUnits; }));
  const std::string console = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::count(console.begin(), console.end(), '\n'), 1) << console;
}

TEST_F(PollingDeviceListTest, ModelThatCouldNotBeAskedAboutIsTriedAgainByItself) {
  RetryAllTheTime();
  onMakeFirmwarePoller = [] { throw std::system_error(EAGAIN, std::generic_category(), "thread"); };
  ::testing::internal::CaptureStderr();
  StartWith({DeviceService("a")});
  Of("http://a.local/").SayModel(std::string("24ai"));
  ASSERT_TRUE(TurnLoopUntil([&] { return !fModels.empty(); }));
  onMakeFirmwarePoller = {};
  fModelChanged = {};
  EXPECT_TRUE(TurnLoopUntil([&] { return fModelChanged != nullptr; }));
  ::testing::internal::GetCapturedStderr();
}

TEST_F(PollingDeviceListTest, UnitThatNamesModelAfterModelLeavesThePlacesToOthers) {
  ::testing::internal::CaptureStderr();
  StartWith({DeviceService("bad"), DeviceService("good")});
  for (std::size_t i = 0; i < PollingDeviceList::kMaxModels + 10; ++i) {
    Of("http://bad.local/").SayModel("model " + std::to_string(i));
    fList->UpdateList();
  }
  Of("http://good.local/").SayModel(std::string("24ai"));
  fList->UpdateList();
  const std::string console = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(fModels.back(), "24ai/release");
  EXPECT_THAT(console, HasSubstr("a unit at 192.168.1.20 names one model after another"));
  EXPECT_EQ(std::count(console.begin(), console.end(), '\n'), 1) << console;
}

TEST_F(PollingDeviceListTest, ModelsBeyondTheLimitAreNotAskedAboutAndReportedOnce) {
  ::testing::internal::CaptureStderr();
  StartWith(ManyUnits(PollingDeviceList::kMaxModels + 10));
  for (std::size_t i = 0; i < fBoard.alive.size(); ++i)
    fBoard.alive[i]->SayModel("model " + std::to_string(i));
  fBoard.alive.back()->SayName(std::string("A"));
  TurnLoop();
  fList->UpdateList();
  const std::string console = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(fModels.size(), PollingDeviceList::kMaxModels);
  EXPECT_THAT(console, HasSubstr("more models are announced"));
  EXPECT_EQ(std::count(console.begin(), console.end(), '\n'), 1) << console;
  EXPECT_THAT(NamesOf(fLast), ElementsAre("A"));
}

TEST_F(PollingDeviceListTest, WorkOfAnUpdateGrowsNoFasterThanTheUnits) {
  constexpr std::size_t kFew = 64;
  constexpr std::size_t kManyTimes = 16;
  const auto workFor = [this](std::size_t units) {
    for (const Service& service : ManyUnits(units)) Announce(fNetwork, service);
    TurnLoop();
    for (FakePoller* poller : fBoard.alive) {
      poller->SayName(poller->GetEntry().url);
      poller->SayModel(std::string("24ai"));
      poller->SayFirmware(std::string("1.2.3+4"));
    }
    EXPECT_TRUE(TurnLoopUntil([&] { return fLast.size() == units; }));
    const long before = vorn::testing::AllocationsMade();
    fList->UpdateList();
    return vorn::testing::AllocationsMade() - before;
  };
  Start();
  const long few = workFor(kFew);
  EXPECT_GT(few, static_cast<long>(kFew));
  EXPECT_LT(workFor(kManyTimes * kFew), 2 * few * static_cast<long>(kManyTimes));
}

TEST(PollingDeviceListMakersTest, EachKindHasItsPollerAndAnUnknownOneHasNone) {
  InitHTTP();
  const std::string url = LoopbackUrlOfNobody();
  const auto make = [&](const std::string& type) {
    return PollingDeviceList::MakePoller({std::string("n"), type, url, "1"}, nullptr);
  };
  EXPECT_NE(dynamic_cast<DevicePoller*>(make("plexadevice").get()), nullptr);
  EXPECT_NE(dynamic_cast<DevicePoller*>(make("plexahost").get()), nullptr);
  EXPECT_NE(dynamic_cast<SwitchPoller*>(make("plexaswitch").get()), nullptr);
  EXPECT_EQ(make("plexatoaster"), nullptr);
  EXPECT_EQ(make(""), nullptr);
}

TEST(PollingDeviceListWithPollersTest, SwitchIsPublishedWithFirmwareModelAndNewestVersion) {
  InitHTTP();
  vorn::testing::LoopbackServer server;
  server.Reply("/firmware_version", 200, "1.2.3+4");
  server.Reply("/api/device/avbswitch/firmware", 200, R"([{"version":"1.2.4+0"}])");
  PollingDeviceList::Makers makers;
  makers.firmwarePoller = PollingDeviceList::FirmwarePollersOf(*UpdateServer::At(server.Url("/api/")));
  vorn::testing::ScriptedDNSSD network;
  List last;
  std::thread::id publishedOn;
  {
    const PollingDeviceList list(
        [&](List published) {
          last = std::move(published);
          publishedOn = std::this_thread::get_id();
        },
        network, makers);
    Announce(network,
             {"Rack", {"vorn.mdns.type=plexaswitch", "uid=7"}, "127.0.0.1", server.Port(), "127.0.0.1"});
    EXPECT_TRUE(
        TurnLoopUntil([&] { return last.size() == 1 && last[0].latestVersion && last[0].firmwareVersion; }));
  }

  EXPECT_EQ(publishedOn, std::this_thread::get_id());
  ASSERT_EQ(last.size(), 1U);
  EXPECT_EQ(*last[0].name, "Rack");
  EXPECT_EQ(last[0].address, "127.0.0.1");
  EXPECT_EQ(*last[0].modelID, "avbswitch");
  ASSERT_TRUE(last[0].firmwareVersion);
  EXPECT_TRUE(*last[0].firmwareVersion == (vorn::FirmwareVersion{1, 2, 3, 4}));
  EXPECT_TRUE(*last[0].latestVersion == (vorn::FirmwareVersion{1, 2, 4, 0}));
  EXPECT_TRUE(UpdateAvailable(last[0]));
}

// The unit never answers; the destructor must cancel it.
TEST(PollingDeviceListWithPollersTest, EndsWhileItsUnitsHang) {
  InitHTTP();
  vorn::testing::LoopbackServer server;
  server.HandleOthers([](vorn::testing::Exchange& exchange) { exchange.Hang(); });
  vorn::testing::ScriptedDNSSD network;
  auto list = std::make_unique<PollingDeviceList>([](List) {}, network, PollingDeviceList::Makers{});
  Announce(network,
           {"Desk", {"vorn.mdns.type=plexadevice", "uid=7"}, "127.0.0.1", server.Port(), "127.0.0.1"});
  TurnLoop();
  EXPECT_TRUE(server.WaitForRequests(1));
  const auto begin = std::chrono::steady_clock::now();
  list.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));  // a request may last 30 s
}

}  // namespace
}  // namespace DeviceList
