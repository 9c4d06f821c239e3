#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <memory>
#include <string>
#include <vector>

#include "app/AppDelegate.h"
#include "app/Identity.h"
#include "foundation/Strings.h"
#include "tests/app/Collaborators.h"
#include "tests/support/Eventually.h"

namespace vorn::app {
namespace {

using testing::Collaborators;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::Outdated;
using testing::RecordingListener;
using testing::Unit;
using vorn::testing::Eventually;

std::vector<std::string> NamesOf(const AppDelegate::List& list) {
  std::vector<std::string> names;
  for (const auto& unit : list) names.push_back(unit.name ? *unit.name : "");
  return names;
}

class AppDelegateTest : public ::testing::Test {
 protected:
  void Launch() {
    Start();
    RunMain();
  }
  /// The same, but what it has queued waits.
  void Start() {
    fDelegate = std::make_unique<AppDelegate>(fAround.Makers());
    fDelegate->applicationDidFinishLaunching();
  }
  void RunMain() { fAround.fQueues.RunMain(); }
  /// An enumeration, with its answer.
  void RunAll() {
    fAround.fQueues.RunBackground();
    RunMain();
  }
  [[nodiscard]] std::vector<std::string> Announced() const {
    std::vector<std::string> titles;
    for (const auto& notification : fAround.fCenter.fDelivered) titles.push_back(notification.title);
    return titles;
  }
  [[nodiscard]] static std::string Announcement(const std::string& name) {
    return "Update Available for " + name;
  }

  Collaborators fAround;
  std::unique_ptr<AppDelegate> fDelegate;
};

TEST_F(AppDelegateTest, StartsWithItsItemInTheStatusBarAndThePanelHidden) {
  Launch();
  EXPECT_EQ(fAround.fStatusBar.length, 19);
  EXPECT_TRUE(fAround.fStatusBar.press);
  EXPECT_FALSE(fAround.fStatusBar.active);
  EXPECT_FALSE(fAround.fStatusBar.highlighted);
  EXPECT_EQ(fAround.fStatusBar.panel, nullptr);
  ASSERT_NE(fAround.fStatusBar.menu, nullptr);
  EXPECT_EQ(fAround.fStatusBar.menu->fLists.size(), 1U);
  EXPECT_TRUE(fAround.fPublish);
  EXPECT_TRUE(fAround.fUpdateServer.WaitForRequests(1));
  EXPECT_THAT(fAround.fUpdateServer.Targets(), ElementsAre("/api/device/driver/firmware"));
}

TEST_F(AppDelegateTest, EnablesTheLoginItemOnTheVeryFirstRun) {
  Launch();
  EXPECT_TRUE(fAround.fLoginItems.fJobs.at(Identity::kLauncherIdentifier));
  EXPECT_TRUE(fAround.fDefaults.fBools.at("AlreadyRun"));
}

TEST_F(AppDelegateTest, HasWordsAboutTheFirstRunUntilTheyAreRead) {
  Launch();
  EXPECT_TRUE(fDelegate->firstRunWords());
  fDelegate.reset();
  Launch();
  EXPECT_TRUE(fDelegate->firstRunWords()) << "nobody has read them yet";
  fDelegate->endFirstRunWords();
  EXPECT_FALSE(fDelegate->firstRunWords());
  fDelegate.reset();
  Launch();
  EXPECT_FALSE(fDelegate->firstRunWords());
}

TEST_F(AppDelegateTest, HasNoWordsAboutAStartAtLoginThatIsOff) {
  Launch();
  fDelegate->setLaunchOnLogin(false);
  EXPECT_FALSE(fDelegate->firstRunWords());
}

TEST_F(AppDelegateTest, HasNoWordsAboutTheFirstRunForAnEarlierUser) {
  fAround.fDefaults.fBools["AlreadyRun"] = true;
  Launch();
  fDelegate->setLaunchOnLogin(true);
  EXPECT_FALSE(fDelegate->firstRunWords());
}

TEST_F(AppDelegateTest, OnlyRepairsTheLoginItemOnLaterRuns) {
  fAround.fDefaults.fBools["AlreadyRun"] = true;
  Launch();
  EXPECT_THAT(fAround.fLoginItems.fJobs, IsEmpty());
  EXPECT_THAT(fAround.fLoginItems.fRepaired, ElementsAre(Identity::kLauncherIdentifier));
}

TEST_F(AppDelegateTest, RemembersTheFirstRunEvenWhenTheLoginItemFails) {
  fAround.fLoginItems.fSucceeds = false;
  ::testing::internal::CaptureStderr();
  Launch();
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("Launch On Login failed"));
  EXPECT_TRUE(fAround.fDefaults.fBools.at("AlreadyRun"));
  fDelegate.reset();
  ::testing::internal::CaptureStderr();
  Launch();
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("Launch On Login failed"));
}

TEST_F(AppDelegateTest, LostSettingsAreNoFirstRunAndLeaveOffWhatMayHaveBeenOff) {
  fAround.fDefaults.fCondition = UserDefaults::Condition::kDamaged;
  Launch();
  EXPECT_THAT(fAround.fLoginItems.fJobs, IsEmpty());
  EXPECT_TRUE(fAround.fDefaults.fBools.at("AlreadyRun"));
  EXPECT_FALSE(fAround.fDefaults.fBools.at("notify"));
  EXPECT_FALSE(fAround.fDefaults.fBools.at("checkForUpdates"));
  EXPECT_THAT(fAround.fUpdateServer.Targets(), IsEmpty());
}

TEST_F(AppDelegateTest, LostSettingsKeepAChoiceThatIsStillKnown) {
  fAround.fDefaults.fCondition = UserDefaults::Condition::kDamaged;
  fAround.fDefaults.fBools["notify"] = true;
  Launch();
  EXPECT_TRUE(fDelegate->notify());
  EXPECT_TRUE(fAround.fDefaults.fBools.at("AlreadyRun"));
}

TEST_F(AppDelegateTest, SettingsThatCannotBeReadYetLeaveNothingStored) {
  fAround.fDefaults.fCondition = UserDefaults::Condition::kUnread;
  Launch();
  EXPECT_THAT(fAround.fLoginItems.fJobs, IsEmpty());
  EXPECT_FALSE(fDelegate->notify());
  EXPECT_THAT(fAround.fDefaults.fBools, IsEmpty());
}

TEST_F(AppDelegateTest, KeepsTheStoredSettingsAgainstTheRegisteredDefaults) {
  fAround.fDefaults.fBools = {{"showSwitches", true}, {"notify", false}};
  Launch();
  EXPECT_TRUE(fDelegate->showSwitches());
  EXPECT_FALSE(fDelegate->notify());
}

TEST_F(AppDelegateTest, HasItsDefaultsWhereNothingIsStored) {
  Launch();
  EXPECT_FALSE(fDelegate->showSwitches());
  EXPECT_TRUE(fDelegate->notify());
  EXPECT_TRUE(fDelegate->checkForUpdates());
}

// --- the list -------------------------------------------------------------

TEST_F(AppDelegateTest, TakesAListOverOnTheMainQueueOnly) {
  Launch();
  fAround.fPublish({Unit("a", "plexadevice")});
  EXPECT_THAT(*fDelegate->currList(), IsEmpty());
  RunMain();
  EXPECT_THAT(NamesOf(*fDelegate->currList()), ElementsAre("a"));
}

TEST_F(AppDelegateTest, LeavesSwitchesOutKeepingTheOrderOfTheRest) {
  Launch();
  fAround.Publish({Unit("d", "plexadevice"), Unit("s", "plexaswitch"), Unit("b", "plexahost"),
                   Unit("t", "plexaswitch"), Unit("x", "other")});
  EXPECT_THAT(NamesOf(*fDelegate->currList()), ElementsAre("d", "b", "x"));
}

TEST_F(AppDelegateTest, IsActiveOnlyWhileSomethingIsVisible) {
  Launch();
  fAround.Publish({Unit("s", "plexaswitch")});
  EXPECT_FALSE(fAround.fStatusBar.active);
  fDelegate->setShowSwitches(true);
  RunMain();
  EXPECT_TRUE(fAround.fStatusBar.active);
  fAround.Publish({});
  EXPECT_FALSE(fAround.fStatusBar.active);
}

TEST_F(AppDelegateTest, AnnouncesUpdatesOfTheWholeListWhateverIsShown) {
  Launch();
  fAround.Publish({Outdated("s", "plexaswitch"), Outdated("d", "plexadevice")});
  EXPECT_THAT(Announced(), ElementsAre(Announcement("s"), Announcement("d")));
}

TEST_F(AppDelegateTest, AnnouncesBeforeItTellsTheListeners) {
  Launch();
  RecordingListener listener;
  fDelegate->addListener(&listener);
  std::size_t announcedBefore = 0;
  listener.fOnUpdate = [&] { announcedBefore = fAround.fCenter.fDelivered.size(); };
  fAround.Publish({Outdated("d", "plexadevice")});
  EXPECT_EQ(announcedBefore, 1U);
}

TEST_F(AppDelegateTest, AnnouncesNothingWhileThatIsOff) {
  fAround.fDefaults.fBools["notify"] = false;
  Launch();
  fAround.Publish({Outdated("d", "plexadevice")});
  EXPECT_THAT(Announced(), IsEmpty());
}

TEST_F(AppDelegateTest, DropsWhatIsStillQueuedWhenItIsGone) {
  Launch();
  fAround.fPublish({Outdated("d", "plexadevice")});
  fDelegate->setNotify(true);
  fDelegate->setShowSwitches(true);
  fDelegate.reset();
  RunMain();
  EXPECT_THAT(Announced(), IsEmpty());
}

// --- listeners ------------------------------------------------------------

TEST_F(AppDelegateTest, SendsANewListenerTheListAtOnce) {
  Launch();
  fAround.Publish({Unit("s", "plexaswitch"), Unit("d", "plexadevice")});
  RecordingListener listener;
  fDelegate->addListener(&listener);
  ASSERT_EQ(listener.fLists.size(), 1U);
  EXPECT_THAT(NamesOf(*listener.fLists[0]), ElementsAre("d"));
}

TEST_F(AppDelegateTest, RegistersAListenerOnceThoughItIsSentTheListTwice) {
  fAround.HaveAVBInterface();
  Launch();
  RecordingListener listener;
  fDelegate->addListener(&listener);
  fDelegate->addListener(&listener);
  EXPECT_EQ(listener.fLists.size(), 2U);
  RunAll();
  EXPECT_EQ(listener.fMenu.actions().size(), 1);
  fAround.Publish({Unit("d", "plexadevice")});
  EXPECT_EQ(listener.fLists.size(), 3U);
}

// From the device list to its readers, no record is copied.
TEST_F(AppDelegateTest, SharesThePublishedListAmongItsListeners) {
  Launch();
  RecordingListener first;
  RecordingListener second;
  fDelegate->addListener(&first);
  fDelegate->addListener(&second);
  AppDelegate::List list{Unit("d", "plexadevice"), Unit("h", "plexahost")};
  const auto* const published = list.data();
  fAround.Publish(std::move(list));
  EXPECT_EQ(first.fLists.back()->data(), published);
  EXPECT_EQ(second.fLists.back()->data(), published);
  EXPECT_EQ(fDelegate->currList()->data(), published);
}

TEST_F(AppDelegateTest, MakesTheListWithoutSwitchesOnceForAllListeners) {
  Launch();
  RecordingListener first;
  RecordingListener second;
  fDelegate->addListener(&first);
  fDelegate->addListener(&second);
  fAround.Publish({Unit("d", "plexadevice"), Unit("s", "plexaswitch")});
  EXPECT_THAT(NamesOf(*first.fLists.back()), ElementsAre("d"));
  EXPECT_EQ(first.fLists.back(), second.fLists.back());
}

TEST_F(AppDelegateTest, LeavesAListenerItsListWhenTheNextComes) {
  Launch();
  RecordingListener listener;
  fDelegate->addListener(&listener);
  fAround.Publish({Unit("d", "plexadevice")});
  fAround.Publish({Unit("e", "plexadevice")});
  ASSERT_EQ(listener.fLists.size(), 3U);
  EXPECT_THAT(NamesOf(*listener.fLists[1]), ElementsAre("d"));
  EXPECT_THAT(NamesOf(*listener.fLists[2]), ElementsAre("e"));
}

TEST_F(AppDelegateTest, DoesNotUpdateARemovedListener) {
  Launch();
  RecordingListener listener;
  fDelegate->addListener(&listener);
  fDelegate->removeListener(&listener);
  fDelegate->removeListener(&listener);
  fAround.Publish({Unit("d", "plexadevice")});
  EXPECT_EQ(listener.fLists.size(), 1U);
}

TEST_F(AppDelegateTest, LetsListenersComeAndGoWhileTheListIsGivenOut) {
  Launch();
  RecordingListener leaving;
  RecordingListener coming;
  fDelegate->addListener(&leaving);
  leaving.fOnUpdate = [&] {
    if (leaving.fLists.size() != 2) return;
    fDelegate->removeListener(&leaving);
    fDelegate->addListener(&coming);
  };
  fAround.Publish({Unit("d", "plexadevice")});
  EXPECT_EQ(leaving.fLists.size(), 2U);
  fAround.Publish({});
  EXPECT_EQ(leaving.fLists.size(), 2U);
  EXPECT_THAT(*coming.fLists.back(), IsEmpty());
}

// --- the virtual entity's entry -------------------------------------------

TEST_F(AppDelegateTest, OffersTheVirtualEntityAtIndexThreeOfEveryMenu) {
  fAround.HaveAVBInterface();
  Launch();
  RecordingListener listener;
  for (const char* title : {"0", "1", "2", "3"}) listener.fMenu.addAction(title);
  fDelegate->addListener(&listener);
  EXPECT_EQ(listener.fMenu.actions().size(), 4);
  RunAll();
  ASSERT_EQ(listener.fMenu.actions().size(), 5);
  const QAction* const entry = listener.fMenu.actions().at(3);
  EXPECT_EQ(entry->text(), "Launch Mac Virtual Entity");
  EXPECT_TRUE(entry->shortcut().isEmpty());
  EXPECT_EQ(fAround.fStatusBar.menu->fMenu.actions().size(), 1);
  fDelegate->removeListener(&listener);
  EXPECT_EQ(listener.fMenu.actions().size(), 4);
}

TEST_F(AppDelegateTest, OffersNoVirtualEntityWithoutCapableInterfaces) {
  Launch();
  RecordingListener listener;
  fDelegate->addListener(&listener);
  RunAll();
  EXPECT_THAT(listener.fMenu.actions(), IsEmpty());
}

TEST_F(AppDelegateTest, SwitchesTheVirtualEntityOfTheChosenInterface) {
  fAround.HaveAVBInterface();
  Launch();
  RunAll();
  QMenu& menu = fAround.fStatusBar.menu->fMenu;
  ASSERT_EQ(menu.actions().size(), 1);
  menu.actions().at(0)->menu()->actions().at(0)->trigger();
  fAround.fQueues.RunBackground();
  EXPECT_THAT(fAround.fLauncher.Requests().back().arguments,
              ElementsAre("--virtual-audio", "enable", "eth1"));
}

TEST_F(AppDelegateTest, SurvivesItsEndDuringTheEnumeration) {
  fAround.HaveAVBInterface();
  Launch();
  RecordingListener listener;
  fDelegate->addListener(&listener);
  fDelegate.reset();
  RunAll();
  EXPECT_THAT(listener.fMenu.actions(), IsEmpty());
}

// --- settings -------------------------------------------------------------

TEST_F(AppDelegateTest, RefiltersOpenPanelsAfterTheCurrentEvent) {
  Launch();
  fAround.Publish({Unit("s", "plexaswitch")});
  RecordingListener listener;
  fDelegate->addListener(&listener);
  ASSERT_EQ(listener.fLists.size(), 1U);
  EXPECT_THAT(*listener.fLists[0], IsEmpty()) << "nothing but switches is listed";
  fDelegate->setShowSwitches(true);
  EXPECT_TRUE(fAround.fDefaults.fBools.at("showSwitches"));
  EXPECT_EQ(listener.fLists.size(), 1U);
  RunMain();
  ASSERT_EQ(listener.fLists.size(), 2U);
  EXPECT_THAT(NamesOf(*listener.fLists[1]), ElementsAre("s"));
  fDelegate->setShowSwitches(false);
  RunMain();
  ASSERT_EQ(listener.fLists.size(), 3U);
  EXPECT_THAT(*listener.fLists[2], IsEmpty());
}

TEST_F(AppDelegateTest, AnnouncesKnownUpdatesWhenNotifyingIsSwitchedOn) {
  fAround.fDefaults.fBools["notify"] = false;
  Launch();
  fAround.Publish({Outdated("s", "plexaswitch")});
  fDelegate->setNotify(true);
  EXPECT_THAT(Announced(), IsEmpty()) << "only after the current event";
  RunMain();
  EXPECT_THAT(Announced(), ElementsAre(Announcement("s")));
}

TEST_F(AppDelegateTest, AnnouncesWhatTheCentreRefusedAsSoonAsItHasRoom) {
  Launch();
  fAround.fCenter.fIsFull = true;
  fAround.Publish({Outdated("d", "plexadevice")});
  EXPECT_THAT(Announced(), IsEmpty());
  fAround.fCenter.fIsFull = false;
  fAround.fCenter.fOnRoom();
  RunMain();
  EXPECT_THAT(Announced(), ElementsAre(Announcement("d")));
  fAround.fCenter.fOnRoom();
  RunMain();
  EXPECT_EQ(Announced().size(), 1U);
}

TEST_F(AppDelegateTest, AnnouncesNothingMoreWhenThereIsRoomAfterNotifyingWasSwitchedOff) {
  Launch();
  fAround.fCenter.fIsFull = true;
  fAround.Publish({Outdated("d", "plexadevice")});
  fAround.fCenter.fIsFull = false;
  fAround.fDefaults.fBools["notify"] = false;
  fAround.fCenter.fOnRoom();
  RunMain();
  EXPECT_THAT(Announced(), IsEmpty());
}

TEST_F(AppDelegateTest, MayGoBeforeTheCentreHasRoom) {
  Launch();
  fAround.fCenter.fIsFull = true;
  fAround.Publish({Outdated("d", "plexadevice")});
  fDelegate.reset();
  fAround.fCenter.fIsFull = false;
  fAround.fCenter.fOnRoom();
  RunMain();
  EXPECT_THAT(Announced(), IsEmpty());
}

TEST_F(AppDelegateTest, WithdrawsWhatNobodyHasSeenWhenNotifyingIsSwitchedOff) {
  Launch();
  fDelegate->setNotify(false);
  EXPECT_THAT(fAround.fCenter.fForgotten, IsEmpty()) << "only after the current event";
  RunMain();
  EXPECT_THAT(fAround.fCenter.fForgotten, ElementsAre("(all)"));
}

TEST_F(AppDelegateTest, WithdrawsWhatAnEarlierRunLeftWhereNotifyingIsOff) {
  fAround.fDefaults.fBools["notify"] = false;
  Launch();
  EXPECT_THAT(fAround.fCenter.fForgotten, ElementsAre("(all)"));
}

TEST_F(AppDelegateTest, GoesByTheSettingOfTheMomentWhenTheEffectRuns) {
  fAround.fDefaults.fBools["notify"] = false;
  Launch();
  fAround.Publish({Outdated("d", "plexadevice")});
  fDelegate->setNotify(true);
  fDelegate->setNotify(false);
  RunMain();
  EXPECT_THAT(Announced(), IsEmpty());
}

// --- the panel ------------------------------------------------------------

TEST_F(AppDelegateTest, ShowsThePanelWithTheListAndTheItemHighlighted) {
  Launch();
  fAround.Publish({Unit("d", "plexadevice")});
  fDelegate->setPanelVisible(true);
  EXPECT_TRUE(fAround.fStatusBar.highlighted);
  ASSERT_NE(fAround.fStatusBar.panel, nullptr);
  EXPECT_THAT(NamesOf(*fAround.fStatusBar.panel->fLists.back()), ElementsAre("d"));
}

TEST_F(AppDelegateTest, HidesThePanelAndItsHighlight) {
  Launch();
  fDelegate->setPanelVisible(true);
  fDelegate->setPanelVisible(false);
  EXPECT_FALSE(fAround.fStatusBar.highlighted);
  EXPECT_EQ(fAround.fStatusBar.panel, nullptr);
}

TEST_F(AppDelegateTest, DoesNothingWhenAskedForTheStateItHas) {
  Launch();
  fDelegate->setPanelVisible(false);
  EXPECT_EQ(fAround.fStatusBar.panelsShown, 0);
  fDelegate->setPanelVisible(true);
  fDelegate->setPanelVisible(true);
  EXPECT_EQ(fAround.fStatusBar.panelsShown, 1);
}

TEST_F(AppDelegateTest, TogglesThePanelAtEachPressOfTheItem) {
  Launch();
  for (int showing = 1; showing <= 3; ++showing) {
    fAround.fStatusBar.press();
    EXPECT_NE(fAround.fStatusBar.panel, nullptr);
    EXPECT_EQ(fAround.fStatusBar.panelsShown, showing) << "each showing has a fresh panel";
    fAround.fStatusBar.press();
    EXPECT_EQ(fAround.fStatusBar.panel, nullptr);
  }
}

TEST_F(AppDelegateTest, CountsAsHiddenWhileThePanelCloses) {
  Launch();
  fDelegate->setPanelVisible(true);
  int closings = 0;
  fAround.fStatusBar.onPanelClose = [&] {
    ++closings;
    EXPECT_FALSE(fAround.fStatusBar.highlighted);
    fDelegate->setPanelVisible(false);
  };
  fDelegate->setPanelVisible(false);
  EXPECT_EQ(closings, 1);
  fAround.fStatusBar.onPanelClose = {};
  fDelegate->setPanelVisible(true);
  EXPECT_NE(fAround.fStatusBar.panel, nullptr);
}

TEST_F(AppDelegateTest, ClosesAnOpenPanelAtItsEnd) {
  Launch();
  fDelegate->setPanelVisible(true);
  fDelegate.reset();
  EXPECT_EQ(fAround.fStatusBar.panel, nullptr);
  EXPECT_EQ(fAround.fStatusBar.menu, nullptr);
}

TEST_F(AppDelegateTest, OpensAUnitsBareAddressAndQuits) {
  Launch();
  static_cast<ui::PanelOwner&>(*fDelegate).openUrl("http://unit.local/");
  EXPECT_THAT(fAround.fOpener.fUrls, ElementsAre("http://unit.local/"));
  EXPECT_THAT(fAround.fOpener.fTokens, ElementsAre(""));
  EXPECT_EQ(fAround.fTerminated, 0);
  static_cast<ui::PanelOwner&>(*fDelegate).quit();
  EXPECT_EQ(fAround.fTerminated, 1);
}

TEST_F(AppDelegateTest, OpensThePageOfANotificationThatIsClicked) {
  Launch();
  fAround.Publish({Outdated("d", "plexadevice")});
  ASSERT_EQ(fAround.fCenter.fDelivered.size(), 1U);
  EXPECT_TRUE(fAround.fCenter.Activate(fAround.fCenter.fDelivered[0]));
  EXPECT_THAT(fAround.fOpener.fUrls, ElementsAre("http://d.local/#device"));
}

// --- login item -----------------------------------------------------------

class LoginItemTest : public AppDelegateTest {
 protected:
  LoginItemTest() {
    fAround.fDefaults.fBools["AlreadyRun"] = true;
    Launch();
  }
  std::map<std::string, bool>& Jobs() { return fAround.fLoginItems.fJobs; }
};

TEST_F(LoginItemTest, IsNamedByTheLaunchersIdentifier) {
  EXPECT_EQ(AppDelegate::getLauncherName(), Identity::kLauncherIdentifier);
}

TEST_F(LoginItemTest, IsReadFromTheSystemEachTime) {
  EXPECT_FALSE(fDelegate->launchOnLogin());
  EXPECT_FALSE(fDelegate->appInLoginItems());
  Jobs()[Identity::kLauncherIdentifier] = true;
  EXPECT_TRUE(fDelegate->launchOnLogin());
  EXPECT_TRUE(fDelegate->appInLoginItems());
}

TEST_F(LoginItemTest, ReadsAsOffWhereItExistsSwitchedOff) {
  Jobs()[Identity::kLauncherIdentifier] = false;
  EXPECT_FALSE(fDelegate->launchOnLogin());
  EXPECT_TRUE(fDelegate->appInLoginItems());
}

TEST_F(LoginItemTest, IsNoneOfTheJobsOfOthers) {
  Jobs()["example.other.Launcher"] = true;
  EXPECT_FALSE(fDelegate->launchOnLogin());
  EXPECT_FALSE(fDelegate->appInLoginItems());
}

TEST_F(LoginItemTest, IsSwitchedAndAFailureGoesToTheConsoleOnly) {
  fDelegate->setLaunchOnLogin(true);
  EXPECT_TRUE(Jobs().at(Identity::kLauncherIdentifier));
  fDelegate->setLaunchOnLogin(false);
  EXPECT_FALSE(Jobs().at(Identity::kLauncherIdentifier));
  fAround.fLoginItems.fSucceeds = false;
  ::testing::internal::CaptureStderr();
  fDelegate->setLaunchOnLogin(true);
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("Launch On Login failed"));
  EXPECT_FALSE(fDelegate->launchOnLogin());
}

TEST_F(LoginItemTest, IsNeitherReadNorChangedByAProgramThatIsNotInstalled) {
  Jobs()[Identity::kLauncherIdentifier] = true;  // of an installed one
  fAround.fLoginItems.fRepaired.clear();
  fAround.fIsInstalled = false;
  fAround.fDefaults.fBools.erase("AlreadyRun");
  fDelegate.reset();
  ::testing::internal::CaptureStderr();
  Launch();  // for the first time
  EXPECT_TRUE(fAround.fDefaults.fBools.at("AlreadyRun"));
  fDelegate.reset();
  Launch();
  EXPECT_FALSE(fDelegate->canLaunchOnLogin());
  EXPECT_FALSE(fDelegate->launchOnLogin());
  EXPECT_FALSE(fDelegate->appInLoginItems());
  fDelegate->setLaunchOnLogin(false);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(Jobs().at(Identity::kLauncherIdentifier));
  EXPECT_THAT(fAround.fLoginItems.fRepaired, IsEmpty());
}

// --- driver notification --------------------------------------------------

class DriverNotificationTest : public AppDelegateTest {
 protected:
  void Release(const std::string& version) {
    fAround.fUpdateServer.Reply("/api/device/driver/firmware", 200, R"([{"version":")" + version + R"("}])");
  }
  /// Passes the poller's answer to the main queue.
  [[nodiscard]] bool AwaitAnswer() const {
    return Eventually([this] { return fAround.fDriverChanges > 0; });
  }
};

TEST_F(DriverNotificationTest, AnnouncesANewerDriverOnTheMainQueue) {
  Release("1.3.0+7");
  Launch();
  ASSERT_TRUE(AwaitAnswer());
  RunMain();
  ASSERT_THAT(Announced(), ElementsAre("Update Available for Vorn AVB Driver"));
  const auto& notification = fAround.fCenter.fDelivered[0];
  EXPECT_EQ(notification.informativeText, "1.3.0");
  EXPECT_EQ(notification.subject, "driver");
  EXPECT_EQ(notification.userInfo.at("URL"), Identity::kAVBPage);
}

TEST_F(DriverNotificationTest, AsksOnlyWhileTheUserWantsIt) {
  fAround.fDefaults.fBools["checkForUpdates"] = false;
  Release("9.0.0+0");
  Launch();
  fDelegate->maybeNotifyDriver();
  EXPECT_THAT(fAround.fUpdateServer.Targets(), IsEmpty());
  fDelegate->setCheckForUpdates(true);
  EXPECT_TRUE(fAround.fDefaults.fBools.at("checkForUpdates"));
  RunMain();
  ASSERT_TRUE(AwaitAnswer());
  fDelegate->setCheckForUpdates(false);
  RunMain();  // the answer too, which comes too late
  fDelegate->maybeNotifyDriver();
  EXPECT_THAT(Announced(), IsEmpty());
  fDelegate->setCheckForUpdates(true);
  RunMain();
  EXPECT_TRUE(fAround.fUpdateServer.WaitForRequests(2));
}

TEST_F(AppDelegateTest, AnnouncesNothingOfAnEarlierAnswerOnceTheCheckIsOff) {
  fAround.fDefaults.fBools["checkForUpdates"] = false;
  Launch();
  fAround.Publish({Outdated("d", "plexadevice")});  // made before the list knew
  fDelegate->setNotify(true);
  RunMain();
  EXPECT_THAT(Announced(), IsEmpty());
}

TEST_F(DriverNotificationTest, FollowsAChangeOfTheSettingsFile) {
  Launch();
  ASSERT_TRUE(fAround.fUpdateServer.WaitForRequests(1));
  fAround.fDefaults.fBools["checkForUpdates"] = false;
  fAround.Publish({});
  fAround.fDefaults.fBools["checkForUpdates"] = true;
  fAround.Publish({});
  EXPECT_TRUE(fAround.fUpdateServer.WaitForRequests(2));
}

TEST_F(DriverNotificationTest, IsSilentAboutTheVersionThatIsInstalled) {
  Release("1.2.3+4");
  Launch();
  ASSERT_TRUE(AwaitAnswer());
  RunMain();
  fDelegate->maybeNotifyDriver();
  EXPECT_THAT(Announced(), IsEmpty());
}

TEST_F(DriverNotificationTest, IsSilentWithNotificationsOffUntilTheyAreSwitchedOn) {
  fAround.fDefaults.fBools["notify"] = false;
  Release("9.0.0+0");
  Launch();
  ASSERT_TRUE(AwaitAnswer());
  RunMain();
  EXPECT_THAT(Announced(), IsEmpty());
  fDelegate->setNotify(true);
  RunMain();
  ASSERT_EQ(fAround.fCenter.fDelivered.size(), 1U);
  EXPECT_EQ(fAround.fCenter.fDelivered[0].informativeText, "9.0.0");
}

TEST_F(DriverNotificationTest, IsSilentAboutVersionsThatCannotBeRead) {
  Release("9.0.0");  // the build number is missing
  Launch();
  ASSERT_TRUE(AwaitAnswer());
  RunMain();
  fDelegate->maybeNotifyDriver();
  EXPECT_THAT(Announced(), IsEmpty());
}

TEST_F(DriverNotificationTest, IsSilentWhereItsOwnVersionCannotBeRead) {
  fAround.fBundleVersion = "1.2.3";
  Release("9.0.0+0");
  Launch();
  ASSERT_TRUE(AwaitAnswer());
  RunMain();
  fDelegate->maybeNotifyDriver();
  EXPECT_THAT(Announced(), IsEmpty());
}

TEST_F(DriverNotificationTest, IsSilentWhileTheNewestVersionIsUnknown) {
  Launch();
  fDelegate->maybeNotifyDriver();
  EXPECT_THAT(Announced(), IsEmpty());
}

TEST_F(DriverNotificationTest, DropsAnAnswerThatIsStillQueuedAtItsEnd) {
  Release("9.0.0+0");
  Start();
  ASSERT_TRUE(AwaitAnswer());
  fDelegate.reset();
  RunMain();
  EXPECT_THAT(Announced(), IsEmpty());
}

TEST_F(DriverNotificationTest, ReadsTheVersionThatTheBuildGives) {
  EXPECT_TRUE(SlowConvertFromStringAllowRemainder<FirmwareVersion>(Identity::kBundleVersion));
}

}  // namespace
}  // namespace vorn::app
