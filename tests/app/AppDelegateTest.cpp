#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <memory>
#include <string>
#include <vector>

#include "app/AppDelegate.h"
#include "app/Identity.h"
#include "foundation/Strings.h"
#include "tests/app/ScriptedEnvironment.h"

namespace vorn::app {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::NamesOf;
using testing::RecordingListener;
using testing::ScriptedDispatch;
using testing::ScriptedEnvironment;
using testing::Unit;

class AppDelegateTest : public ::testing::Test {
 protected:
  void Launch() {
    fDelegate = std::make_unique<AppDelegate>(fEnvironment);
    fDelegate->applicationDidFinishLaunching();
    RunMain();
  }
  void RunMain() { ScriptedDispatch::Run(fEnvironment.queues.main); }
  void RunBackground() { ScriptedDispatch::Run(fEnvironment.queues.background); }

  ScriptedEnvironment fEnvironment;
  std::unique_ptr<AppDelegate> fDelegate;
};

TEST_F(AppDelegateTest, StartsEverythingInOrder) {
  Launch();
  EXPECT_THAT(fEnvironment.journal,
              ElementsAre("read version", "make poller driver release", "make virtual entity",
                          "take defaults", "register showSwitches false", "register notify true",
                          "make device list", "make status item 19", "make status view",
                          std::string("enable ") + Identity::kLauncherIdentifier, "set AlreadyRun true",
                          "make status menu"));
  EXPECT_FALSE(fDelegate->panelVisible());
}

TEST_F(AppDelegateTest, OnlyOpensThePageWhenANoticeLaunchedIt) {
  AppDelegate delegate(fEnvironment);
  const ActivationRequest notice{ActivationRequest::Kind::OpenPage, "http://unit.local/#device", "token"};
  delegate.applicationDidFinishLaunching(&notice);
  EXPECT_THAT(fEnvironment.journal,
              ElementsAre("activate notice http://unit.local/#device token", "terminate"));
}

TEST_F(AppDelegateTest, OnlyRepairsTheLoginItemOnLaterRuns) {
  fEnvironment.defaults.bools["AlreadyRun"] = true;
  Launch();
  EXPECT_EQ(fEnvironment.Count(std::string("enable ") + Identity::kLauncherIdentifier), 0U);
  EXPECT_EQ(fEnvironment.Count(std::string("repair ") + Identity::kLauncherIdentifier), 1U);
  EXPECT_EQ(fEnvironment.Count("set AlreadyRun true"), 0U);
}

TEST_F(AppDelegateTest, RemembersTheFirstRunEvenWhenTheLoginItemFails) {
  fEnvironment.items.succeeds = false;
  ::testing::internal::CaptureStderr();
  Launch();
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("Launch On Login failed"));
  EXPECT_TRUE(fEnvironment.defaults.bools["AlreadyRun"]);
  fEnvironment.defaults.bools["AlreadyRun"] = true;
  ::testing::internal::CaptureStderr();
  Launch();
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("Launch On Login failed"));
}

TEST_F(AppDelegateTest, LostSettingsAreNoFirstRunAndLeaveOffWhatMayHaveBeenOff) {
  fEnvironment.defaults.condition = UserDefaults::Condition::kDamaged;
  Launch();
  EXPECT_EQ(fEnvironment.Count(std::string("enable ") + Identity::kLauncherIdentifier), 0U);
  EXPECT_TRUE(fEnvironment.defaults.bools.at("AlreadyRun"));
  EXPECT_FALSE(fEnvironment.defaults.bools.at("notify"));
}

TEST_F(AppDelegateTest, LostSettingsKeepAChoiceThatIsStillKnown) {
  fEnvironment.defaults.condition = UserDefaults::Condition::kDamaged;
  fEnvironment.defaults.bools["notify"] = true;
  Launch();
  EXPECT_TRUE(fDelegate->notify());
  EXPECT_TRUE(fEnvironment.defaults.bools.at("AlreadyRun"));
}

TEST_F(AppDelegateTest, SettingsThatCannotBeReadYetLeaveNothingStored) {
  fEnvironment.defaults.condition = UserDefaults::Condition::kUnread;
  Launch();
  EXPECT_EQ(fEnvironment.Count(std::string("enable ") + Identity::kLauncherIdentifier), 0U);
  EXPECT_FALSE(fDelegate->notify());
  EXPECT_TRUE(fEnvironment.defaults.bools.empty());
}

TEST_F(AppDelegateTest, KeepsTheStoredSettingsAgainstTheRegisteredDefaults) {
  fEnvironment.defaults.bools = {{"showSwitches", true}, {"notify", false}};
  Launch();
  EXPECT_TRUE(fDelegate->showSwitches());
  EXPECT_FALSE(fDelegate->notify());
}

TEST_F(AppDelegateTest, HasItsDefaultsWhereNothingIsStored) {
  Launch();
  EXPECT_FALSE(fDelegate->showSwitches());
  EXPECT_TRUE(fDelegate->notify());
}

// --- the list -------------------------------------------------------------

TEST_F(AppDelegateTest, TakesAListOverOnTheMainQueueOnly) {
  Launch();
  fEnvironment.publish({Unit("a", "plexadevice")});
  EXPECT_THAT(fDelegate->currList(), IsEmpty());
  RunMain();
  EXPECT_THAT(NamesOf(fDelegate->currList()), ElementsAre("a"));
}

TEST_F(AppDelegateTest, LeavesSwitchesOutKeepingTheOrderOfTheRest) {
  Launch();
  fEnvironment.Publish({Unit("d", "plexadevice"), Unit("s", "plexaswitch"), Unit("b", "plexahost"),
                        Unit("t", "plexaswitch"), Unit("x", "other")});
  EXPECT_THAT(NamesOf(fDelegate->currList()), ElementsAre("d", "b", "x"));
}

TEST_F(AppDelegateTest, IsActiveOnlyWhileSomethingIsVisible) {
  Launch();
  fEnvironment.Publish({Unit("s", "plexaswitch")});
  EXPECT_FALSE(fEnvironment.active);
  fDelegate->setShowSwitches(true);
  RunMain();
  EXPECT_TRUE(fEnvironment.active);
  fEnvironment.Publish({});
  EXPECT_FALSE(fEnvironment.active);
}

TEST_F(AppDelegateTest, NotifiesOfTheWholeListWhateverIsShown) {
  Launch();
  fEnvironment.Publish({Unit("s", "plexaswitch"), Unit("d", "plexadevice")});
  ASSERT_EQ(fEnvironment.notified.size(), 1U);
  EXPECT_THAT(NamesOf(fEnvironment.notified[0]), ElementsAre("s", "d"));
}

TEST_F(AppDelegateTest, NotifiesBeforeItTellsTheListeners) {
  Launch();
  RecordingListener listener;
  fDelegate->addListener(&listener);
  listener.onUpdate = [this] { fEnvironment.journal.push_back("told"); };
  fEnvironment.journal.clear();
  fEnvironment.Publish({Unit("d", "plexadevice")});
  EXPECT_THAT(fEnvironment.journal, ElementsAre("maybe notify", "told"));
}

TEST_F(AppDelegateTest, DoesNotNotifyWhileThatIsOff) {
  fEnvironment.defaults.bools["notify"] = false;
  Launch();
  fEnvironment.Publish({Unit("d", "plexadevice")});
  EXPECT_THAT(fEnvironment.notified, IsEmpty());
}

TEST_F(AppDelegateTest, DropsWhatIsStillQueuedWhenItIsGone) {
  Launch();
  fEnvironment.publish({Unit("d", "plexadevice")});
  fEnvironment.driverChanged();
  fDelegate->setNotify(true);
  fDelegate->setShowSwitches(true);
  fDelegate.reset();
  RunMain();
  EXPECT_THAT(fEnvironment.notified, IsEmpty());
}

// --- listeners ------------------------------------------------------------

TEST_F(AppDelegateTest, SendsANewListenerTheListAtOnce) {
  Launch();
  fEnvironment.Publish({Unit("s", "plexaswitch"), Unit("d", "plexadevice")});
  RecordingListener listener;
  fDelegate->addListener(&listener);
  ASSERT_EQ(listener.lists.size(), 1U);
  EXPECT_THAT(NamesOf(listener.lists[0]), ElementsAre("d"));
}

TEST_F(AppDelegateTest, RegistersAListenerOnceThoughItIsSentTheListTwice) {
  fEnvironment.hasAVBInterfaces = true;
  Launch();
  RecordingListener listener;
  fDelegate->addListener(&listener);
  fDelegate->addListener(&listener);
  EXPECT_EQ(listener.lists.size(), 2U);
  RunBackground();
  RunMain();
  EXPECT_EQ(listener.settings.actions().size(), 1);
  EXPECT_EQ(fEnvironment.Count("enumerate"), 1U);
  fEnvironment.Publish({Unit("d", "plexadevice")});
  EXPECT_EQ(listener.lists.size(), 3U);
}

TEST_F(AppDelegateTest, GivesEachListenerACopyOfItsOwn) {
  Launch();
  RecordingListener first;
  RecordingListener second;
  fDelegate->addListener(&first);
  fDelegate->addListener(&second);
  first.onUpdate = [&first] { first.lists.back().clear(); };
  fEnvironment.Publish({Unit("d", "plexadevice")});
  EXPECT_THAT(NamesOf(second.lists.back()), ElementsAre("d"));
}

TEST_F(AppDelegateTest, TellsARemovedListenerNothingMore) {
  Launch();
  RecordingListener listener;
  fDelegate->addListener(&listener);
  fDelegate->removeListener(&listener);
  fDelegate->removeListener(&listener);
  fEnvironment.Publish({Unit("d", "plexadevice")});
  EXPECT_EQ(listener.lists.size(), 1U);
}

TEST_F(AppDelegateTest, LetsListenersComeAndGoWhileTheListIsGivenOut) {
  Launch();
  RecordingListener leaving;
  RecordingListener coming;
  fDelegate->addListener(&leaving);
  leaving.onUpdate = [&] {
    if (leaving.lists.size() != 2) return;
    fDelegate->removeListener(&leaving);
    fDelegate->addListener(&coming);
  };
  fEnvironment.Publish({Unit("d", "plexadevice")});
  EXPECT_EQ(leaving.lists.size(), 2U);
  fEnvironment.Publish({});
  EXPECT_EQ(leaving.lists.size(), 2U);
  EXPECT_THAT(coming.lists.back(), IsEmpty());
}

// --- the virtual entity's entry -------------------------------------------

TEST_F(AppDelegateTest, InsertsTheVirtualEntityAtIndexThree) {
  fEnvironment.hasAVBInterfaces = true;
  Launch();
  RecordingListener listener;
  for (const char* title : {"0", "1", "2", "3"}) listener.settings.addAction(title);
  fDelegate->addListener(&listener);
  EXPECT_EQ(listener.settings.actions().size(), 4);
  EXPECT_THAT(fEnvironment.queues.priorities, ElementsAre(Dispatch::Priority::kDefault));
  RunBackground();
  EXPECT_EQ(listener.settings.actions().size(), 4) << "the menu belongs to the main thread";
  RunMain();
  ASSERT_EQ(listener.settings.actions().size(), 5);
  QAction* const entry = listener.settings.actions().at(3);
  EXPECT_EQ(entry->text(), "Launch Mac Virtual Entity");
  EXPECT_TRUE(entry->shortcut().isEmpty());
  EXPECT_EQ(entry, fEnvironment.entityItem.get());
  EXPECT_EQ(fEnvironment.Count("install submenus"), 1U);
}

TEST_F(AppDelegateTest, InsertsNothingWithoutCapableInterfaces) {
  Launch();
  RecordingListener listener;
  fDelegate->addListener(&listener);
  RunBackground();
  RunMain();
  EXPECT_THAT(listener.settings.actions(), IsEmpty());
}

TEST_F(AppDelegateTest, DoesNotTouchAMenuThatClosedDuringTheEnumeration) {
  fEnvironment.hasAVBInterfaces = true;
  Launch();
  auto closing = std::make_unique<RecordingListener>();
  RecordingListener staying;
  fDelegate->addListener(closing.get());
  fDelegate->addListener(&staying);
  RunBackground();
  fDelegate->removeListener(closing.get());
  closing.reset();
  RunMain();
  EXPECT_EQ(staying.settings.actions().size(), 1) << "once, though two enumerations found interfaces";
}

TEST_F(AppDelegateTest, InsertsInMenusForWhichNothingWasFoundBefore) {
  Launch();
  RecordingListener early;
  fDelegate->addListener(&early);
  RunBackground();
  RunMain();
  ASSERT_THAT(early.settings.actions(), IsEmpty());

  fEnvironment.hasAVBInterfaces = true;
  RecordingListener late;
  fDelegate->addListener(&late);
  RunBackground();
  RunMain();
  ASSERT_EQ(early.settings.actions().size(), 1);
  ASSERT_EQ(late.settings.actions().size(), 1);
  EXPECT_NE(early.settings.actions().at(0), late.settings.actions().at(0));
}

TEST_F(AppDelegateTest, TakesTheEntryOutOfEveryMenuWhenALaterAnswerHasNone) {
  fEnvironment.hasAVBInterfaces = true;
  Launch();
  RecordingListener early;
  fDelegate->addListener(&early);
  RunBackground();
  RunMain();
  ASSERT_EQ(early.settings.actions().size(), 1);

  fEnvironment.hasAVBInterfaces = false;
  RecordingListener late;
  fDelegate->addListener(&late);
  RunBackground();
  RunMain();
  EXPECT_THAT(early.settings.actions(), IsEmpty());
  EXPECT_THAT(late.settings.actions(), IsEmpty());

  fEnvironment.hasAVBInterfaces = true;
  RecordingListener last;
  fDelegate->addListener(&last);
  RunBackground();
  RunMain();
  EXPECT_EQ(early.settings.actions().size(), 1);
  EXPECT_EQ(late.settings.actions().size(), 1);
}

TEST_F(AppDelegateTest, ShowsInTheOtherMenusWhatWasFoundForOneThatClosed) {
  fEnvironment.hasAVBInterfaces = true;
  Launch();
  RecordingListener closing;
  fDelegate->addListener(&closing);
  RunBackground();
  fDelegate->removeListener(&closing);
  RunMain();
  EXPECT_EQ(fEnvironment.Count("install submenus"), 1U);
  EXPECT_THAT(closing.settings.actions(), IsEmpty());
}

TEST_F(AppDelegateTest, DoesNotMistakeANewListenerForAnOldOneAtTheSameAddress) {
  fEnvironment.hasAVBInterfaces = true;
  Launch();
  RecordingListener listener;
  fDelegate->addListener(&listener);
  RunBackground();
  fDelegate->removeListener(&listener);
  fDelegate->addListener(&listener);
  RunMain();  // the first one's result
  EXPECT_THAT(listener.settings.actions(), ElementsAre(fEnvironment.entityItem.get()))
      << "the new one's entry";
  RunBackground();
  RunMain();
  EXPECT_THAT(listener.settings.actions(), ElementsAre(fEnvironment.entityItem.get()));
}

TEST_F(AppDelegateTest, SurvivesItsEndDuringTheEnumeration) {
  fEnvironment.hasAVBInterfaces = true;
  Launch();
  RecordingListener listener;
  fDelegate->addListener(&listener);
  fDelegate.reset();
  EXPECT_EQ(fEnvironment.entityItem, nullptr) << "menu items stay on the main thread";
  EXPECT_EQ(fEnvironment.Count("stop enumerations"), 1U) << "nobody waits for its result";
  RunBackground();
  RunMain();
  EXPECT_THAT(listener.settings.actions(), IsEmpty());
}

TEST_F(AppDelegateTest, HandsAToggledEntryToTheVirtualEntity) {
  Launch();
  QAction entry;
  fDelegate->toggleMacVirtualEntity(&entry);
  EXPECT_EQ(fEnvironment.toggled, &entry);
}

// --- settings -------------------------------------------------------------

TEST_F(AppDelegateTest, RefiltersOpenPanelsAfterTheCurrentEvent) {
  Launch();
  fEnvironment.Publish({Unit("s", "plexaswitch")});
  RecordingListener listener;
  fDelegate->addListener(&listener);
  ASSERT_EQ(listener.lists.size(), 1U);
  EXPECT_THAT(listener.lists[0], IsEmpty()) << "nothing but switches is listed";
  fDelegate->setShowSwitches(true);
  EXPECT_TRUE(fEnvironment.defaults.bools["showSwitches"]);
  EXPECT_EQ(listener.lists.size(), 1U);
  RunMain();
  ASSERT_EQ(listener.lists.size(), 2U);
  EXPECT_THAT(NamesOf(listener.lists[1]), ElementsAre("s"));
  fDelegate->setShowSwitches(false);
  RunMain();
  ASSERT_EQ(listener.lists.size(), 3U);
  EXPECT_THAT(listener.lists[2], IsEmpty());
}

TEST_F(AppDelegateTest, AnnouncesKnownUpdatesWhenNotifyingIsSwitchedOn) {
  fEnvironment.defaults.bools["notify"] = false;
  Launch();
  fEnvironment.Publish({Unit("s", "plexaswitch")});
  fDelegate->setNotify(true);
  EXPECT_THAT(fEnvironment.notified, IsEmpty()) << "only after the current event";
  RunMain();
  ASSERT_EQ(fEnvironment.notified.size(), 2U);
  EXPECT_THAT(NamesOf(fEnvironment.notified[0]), ElementsAre("s"));
  EXPECT_THAT(NamesOf(fEnvironment.notified[1]), ElementsAre("Vorn AVB Driver"));
}

TEST_F(AppDelegateTest, WithdrawsWhatNobodyHasSeenWhenNotifyingIsSwitchedOff) {
  Launch();
  fDelegate->setNotify(false);
  EXPECT_EQ(fEnvironment.Count("withdraw all"), 0U) << "only after the current event";
  RunMain();
  EXPECT_EQ(fEnvironment.Count("withdraw all"), 1U);
  EXPECT_THAT(fEnvironment.notified, IsEmpty());
}

TEST_F(AppDelegateTest, WithdrawsWhatAnEarlierRunLeftWhereNotifyingIsOff) {
  fEnvironment.defaults.bools["notify"] = false;
  Launch();
  EXPECT_EQ(fEnvironment.Count("withdraw all"), 1U);
}

TEST_F(AppDelegateTest, GoesByTheSettingOfTheMomentWhenTheEffectRuns) {
  Launch();
  fDelegate->setNotify(true);
  fDelegate->setNotify(false);
  RunMain();
  EXPECT_THAT(fEnvironment.notified, IsEmpty());
}

// --- the panel ------------------------------------------------------------

TEST_F(AppDelegateTest, ShowsThePanelHighlightedAndInOrder) {
  Launch();
  fEnvironment.journal.clear();
  fDelegate->setPanelVisible(true);
  EXPECT_THAT(fEnvironment.journal, ElementsAre("highlight", "make panel", "panel shown"));
  EXPECT_TRUE(fDelegate->panelVisible());
}

TEST_F(AppDelegateTest, HidesThePanelAndItsHighlight) {
  Launch();
  fDelegate->setPanelVisible(true);
  fEnvironment.journal.clear();
  fDelegate->setPanelVisible(false);
  EXPECT_THAT(fEnvironment.journal, ElementsAre("no highlight", "panel closed", "panel gone"));
  EXPECT_FALSE(fDelegate->panelVisible());
}

TEST_F(AppDelegateTest, DoesNothingWhenAskedForTheStateItHas) {
  Launch();
  fEnvironment.journal.clear();
  fDelegate->setPanelVisible(false);
  EXPECT_THAT(fEnvironment.journal, IsEmpty());
  fDelegate->setPanelVisible(true);
  fDelegate->setPanelVisible(true);
  EXPECT_EQ(fEnvironment.Count("make panel"), 1U);
}

TEST_F(AppDelegateTest, TogglesThePanelAtEachPressOfTheItem) {
  Launch();
  fEnvironment.pressItem();
  EXPECT_TRUE(fDelegate->panelVisible());
  fEnvironment.pressItem();
  EXPECT_FALSE(fDelegate->panelVisible());
}

TEST_F(AppDelegateTest, CountsAsHiddenForWhoeverAsksWhileThePanelCloses) {
  Launch();
  fDelegate->setPanelVisible(true);
  bool visibleInside = true;
  fEnvironment.onPanelClose = [&] {
    visibleInside = fDelegate->panelVisible();
    fDelegate->setPanelVisible(false);
  };
  fDelegate->setPanelVisible(false);
  EXPECT_FALSE(visibleInside);
  EXPECT_EQ(fEnvironment.Count("panel closed"), 1U);
}

TEST_F(AppDelegateTest, MakesAFreshPanelAtEachShowing) {
  Launch();
  for (int i = 0; i < 3; ++i) {
    fDelegate->togglePanel();
    fDelegate->togglePanel();
  }
  EXPECT_EQ(fEnvironment.Count("make panel"), 3U);
  EXPECT_EQ(fEnvironment.Count("panel gone"), 3U);
}

TEST_F(AppDelegateTest, OpensAUnitsBareAddressAndQuits) {
  Launch();
  fDelegate->openUrl("http://unit.local/");
  fDelegate->quit();
  EXPECT_THAT(fEnvironment.journal, Contains("open http://unit.local/"));
  EXPECT_THAT(fEnvironment.journal, Contains("terminate"));
}

// --- login item -----------------------------------------------------------

TEST_F(AppDelegateTest, NamesTheLauncherByItsIdentifier) {
  EXPECT_EQ(AppDelegate::getLauncherName(), Identity::kLauncherIdentifier);
}

TEST_F(AppDelegateTest, ReadsTheLoginItemFromTheSystemEachTime) {
  Launch();
  EXPECT_FALSE(fDelegate->launchOnLogin());
  EXPECT_FALSE(fDelegate->appInLoginItems());
  fEnvironment.items.jobs[Identity::kLauncherIdentifier] = true;
  EXPECT_TRUE(fDelegate->launchOnLogin());
  EXPECT_TRUE(fDelegate->appInLoginItems());
}

TEST_F(AppDelegateTest, ReadsAJobThatIsSwitchedOffAsOffThoughItExists) {
  Launch();
  fEnvironment.items.jobs[Identity::kLauncherIdentifier] = false;
  EXPECT_FALSE(fDelegate->launchOnLogin());
  EXPECT_TRUE(fDelegate->appInLoginItems());
}

TEST_F(AppDelegateTest, IgnoresJobsOfOthers) {
  Launch();
  fEnvironment.items.jobs["example.other.Launcher"] = true;
  EXPECT_FALSE(fDelegate->launchOnLogin());
  EXPECT_FALSE(fDelegate->appInLoginItems());
}

TEST_F(AppDelegateTest, SwitchesTheLoginItemAndTellsAFailureToTheConsoleOnly) {
  fEnvironment.defaults.bools["AlreadyRun"] = true;
  Launch();
  fDelegate->setLaunchOnLogin(false);
  EXPECT_THAT(fEnvironment.journal, Contains(std::string("disable ") + Identity::kLauncherIdentifier));
  fEnvironment.items.succeeds = false;
  ::testing::internal::CaptureStderr();
  fDelegate->setLaunchOnLogin(true);
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("Launch On Login failed"));
  EXPECT_FALSE(fDelegate->launchOnLogin());
}

// --- driver notice --------------------------------------------------------

class DriverNoticeTest : public AppDelegateTest {
 protected:
  const DeviceList::ExtendedDeviceInfo& Entry() const { return fEnvironment.notified.back().at(0); }
};

TEST_F(DriverNoticeTest, BuildsTheDriversEntry) {
  fEnvironment.latestDriver = std::string("1.3.0+7");
  Launch();
  fDelegate->maybeNotifyDriver();
  ASSERT_EQ(fEnvironment.notified.size(), 1U);
  ASSERT_EQ(fEnvironment.notified[0].size(), 1U);
  EXPECT_EQ(*Entry().name, "Vorn AVB Driver");
  EXPECT_EQ(Entry().type, "driver");
  EXPECT_EQ(Entry().uid, "driver");
  EXPECT_EQ(Entry().url, Identity::kAVBPage);
  EXPECT_FALSE(Entry().modelID);
  EXPECT_EQ(*Entry().firmwareVersion, (FirmwareVersion{1, 2, 3, 4}));
  EXPECT_EQ(*Entry().latestVersion, (FirmwareVersion{1, 3, 0, 7}));
}

TEST_F(DriverNoticeTest, ChecksOnTheMainQueueWhenThePollersAnswerChanges) {
  Launch();
  fEnvironment.driverChanged();
  EXPECT_THAT(fEnvironment.notified, IsEmpty());
  RunMain();
  EXPECT_EQ(fEnvironment.notified.size(), 1U);
}

TEST_F(DriverNoticeTest, StaysSilentWithNoticesOffUntilTheyAreSwitchedOn) {
  fEnvironment.defaults.bools["notify"] = false;
  fEnvironment.latestDriver = std::string("9.0.0+0");
  Launch();
  fEnvironment.driverChanged();
  RunMain();
  EXPECT_THAT(fEnvironment.notified, IsEmpty());
  fDelegate->setNotify(true);
  RunMain();
  EXPECT_EQ(*Entry().latestVersion, (FirmwareVersion{9, 0, 0, 0}));
}

TEST_F(DriverNoticeTest, LeavesOutVersionsThatCannotBeRead) {
  fEnvironment.version = "1.2.3";
  fEnvironment.latestDriver = std::string("newest");
  Launch();
  fDelegate->maybeNotifyDriver();
  EXPECT_FALSE(Entry().firmwareVersion);
  EXPECT_FALSE(Entry().latestVersion);
}

TEST_F(DriverNoticeTest, LeavesOutTheNewestVersionWhileItIsUnknown) {
  Launch();
  fDelegate->maybeNotifyDriver();
  EXPECT_FALSE(Entry().latestVersion);
}

TEST_F(DriverNoticeTest, ReadsTheVersionThatTheBuildGives) {
  EXPECT_TRUE(SlowConvertFromStringAllowRemainder<FirmwareVersion>(Identity::kBundleVersion));
}

// --- requests from the session bus ----------------------------------------

TEST_F(AppDelegateTest, ShowsThePanelWhenItIsStartedAgain) {
  Launch();
  fDelegate->handleActivation({ActivationRequest::Kind::Activate, {}, {}});
  fDelegate->handleActivation({ActivationRequest::Kind::ShowDevices, {}, {}});
  EXPECT_TRUE(fDelegate->panelVisible());
  EXPECT_EQ(fEnvironment.Count("make panel"), 1U);
}

TEST_F(AppDelegateTest, OnlyOpensThePageWhenItRunsAlready) {
  Launch();
  fEnvironment.journal.clear();
  fDelegate->handleActivation({ActivationRequest::Kind::OpenPage, "http://unit.local/#device", "t"});
  EXPECT_THAT(fEnvironment.journal, ElementsAre("activate notice http://unit.local/#device t"));
  EXPECT_FALSE(fDelegate->panelVisible());
}

}  // namespace
}  // namespace vorn::app
