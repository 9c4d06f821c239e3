#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>
#include <type_traits>
#include <utility>

#include "tests/support/Eventually.h"
#include "tests/virtualentity/Scripted.h"
#include "virtualentity/MacVirtualEntity.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using vorn::ChildOutput;
using vorn::MenuDescription;
using vorn::MenuItemDescription;
using vorn::testing::Eventually;
using Answer = vorn::AVBCapability::Answer;
using Items = std::vector<MenuDescription::Item>;
using Priority = vorn::Dispatch::Priority;

static_assert(!std::is_copy_constructible_v<vorn::MacVirtualEntity>);

vorn::AVBTool Impatient() {
  vorn::AVBTool tool;
  tool.patience = 1ms;
  return tool;
}

class MacVirtualEntityTest : public testing::Test {
 protected:
  MacVirtualEntityTest() {
    fServices.fServices = std::vector<vorn::NetworkService>{
        {"Ethernet", "en0"}, {"Wi-Fi", "wl0"}, {"Modem", ""}, {"Stage", "en5"}, {"Spare", "en7"}};
    fCapability.fAnswers = {{"en0", Answer::kCapable},
                            {"wl0", Answer::kWireless},
                            {"", Answer::kCapable},
                            {"en5", Answer::kCapable},
                            {"en7", Answer::kTooFewTransmitQueues}};
    fLauncher.SetAnswer({"en5\n", "", false, false});
    fEntity->SetVirtualEntityMenuItem(fItem);
  }
  ~MacVirtualEntityTest() override {
    fEntity.reset();
    fDispatch.Join();
  }

  void Remake(const vorn::AVBTool& tool) {
    fEntity = std::make_unique<vorn::MacVirtualEntity>(fDispatch, fLauncher, fServices, fCapability, tool);
    fEntity->SetVirtualEntityMenuItem(fItem);
  }

  Items MenuItems() {
    const auto submenu = fItem->Submenu();
    return submenu ? submenu->items : Items{};
  }

  // Toggles, and waits until the tool has been run.
  void Toggle(vorn::ActionSender* sender) {
    fEntity->EnableDisableVirtualAudio(sender);
    fDispatch.Join();
  }

  // Begins an enumeration whose two jobs are held back.
  std::future<bool> Ask() {
    const auto before = fDispatch.Priorities().size();
    auto answer = std::async(std::launch::async, [this] { return fEntity->EnumerateAVBInterfaces(); });
    EXPECT_TRUE(Eventually([&] { return fDispatch.Priorities().size() == before + 2; }));
    return answer;
  }

  ScriptedLauncher fLauncher;
  ScriptedServices fServices;
  ScriptedCapability fCapability;
  ScriptedDispatch fDispatch;
  std::shared_ptr<MenuItemDescription> fItem = std::make_shared<MenuItemDescription>("Launch");
  std::unique_ptr<vorn::MacVirtualEntity> fEntity =
      std::make_unique<vorn::MacVirtualEntity>(fDispatch, fLauncher, fServices, fCapability, Impatient());
};

TEST_F(MacVirtualEntityTest, BuildsAnItemForEachCapableInterfaceInTheServicesOrder) {
  EXPECT_TRUE(fEntity->EnumerateAVBInterfaces());
  EXPECT_THAT(fEntity->AVBInterfaces(), ElementsAre("Ethernet:en0", "Stage:en5"));
  EXPECT_THAT(fEntity->EnabledAVBInterfaces(), ElementsAre("en5"));
  ASSERT_TRUE(fItem->Submenu());
  EXPECT_EQ(fItem->Submenu()->title, "");
  EXPECT_EQ(MenuItems(), (Items{{"Ethernet:en0", false}, {"Stage:en5", true}}));
}

TEST_F(MacVirtualEntityTest, TurnsItemsOnByTheWholeInterfaceName) {
  fLauncher.SetAnswer({"en\nen55\n\nEN5\n", "", false, false});
  EXPECT_TRUE(fEntity->EnumerateAVBInterfaces());
  EXPECT_EQ(MenuItems(), (Items{{"Ethernet:en0", false}, {"Stage:en5", false}}));
}

TEST_F(MacVirtualEntityTest, GivesAServiceWithAColonInItsNameNoItem) {
  fServices.fServices = std::vector<vorn::NetworkService>{{"Rack: left", "en0"}, {"", "en5"}, {":", "en0"}};
  EXPECT_TRUE(fEntity->EnumerateAVBInterfaces());
  EXPECT_THAT(fEntity->AVBInterfaces(), ElementsAre("Rack: left:en0", ":en5", "::en0"));
  EXPECT_EQ(MenuItems(), (Items{{":en5", true}}));
}

TEST_F(MacVirtualEntityTest, InstallsAnEmptyMenuWhenOnlySuchServicesAreCapable) {
  fServices.fServices = std::vector<vorn::NetworkService>{{"Rack: left", "en0"}};
  EXPECT_TRUE(fEntity->EnumerateAVBInterfaces());
  ASSERT_TRUE(fItem->Submenu());
  EXPECT_THAT(MenuItems(), IsEmpty());
}

TEST_F(MacVirtualEntityTest, InstallsNothingWithoutACapableInterface) {
  fCapability.fAnswers.clear();
  EXPECT_FALSE(fEntity->EnumerateAVBInterfaces());
  EXPECT_THAT(fEntity->AVBInterfaces(), IsEmpty());
  EXPECT_FALSE(fItem->Submenu());
}

TEST_F(MacVirtualEntityTest, WithdrawsTheSubmenuWhenALaterAnswerHasNone) {
  const auto fails = [&](const char* how) {
    EXPECT_FALSE(fEntity->EnumerateAVBInterfaces()) << how;
    EXPECT_FALSE(fItem->Submenu()) << how;
  };
  EXPECT_TRUE(fEntity->EnumerateAVBInterfaces());
  fLauncher.SetAnswer({"en5\n", "complaint", false, false});
  fails("the tool complains");
  fLauncher.SetAnswer({"en5\n", "", false, false});
  EXPECT_TRUE(fEntity->EnumerateAVBInterfaces());
  EXPECT_TRUE(fItem->Submenu());
  const auto services = std::exchange(fServices.fServices, {});
  fails("the services cannot be listed");
  fServices.fServices = services;
  EXPECT_TRUE(fEntity->EnumerateAVBInterfaces());
  fCapability.fAnswers.clear();
  fails("no interface is capable");
}

TEST_F(MacVirtualEntityTest, AnAnswerThatWasAskedForBeforeTheLatestChoiceChangesNothing) {
  EXPECT_TRUE(fEntity->EnumerateAVBInterfaces());
  fDispatch.fHold = true;
  auto older = Ask();
  ScriptedMenuItem item("Stage:en5", true);
  fEntity->EnableDisableVirtualAudio(&item);
  EXPECT_EQ(MenuItems(), (Items{{"Ethernet:en0", false}, {"Stage:en5", false}}));
  fLauncher.SetAnswer({"en0\nen5\n", "", false, false});
  fDispatch.RunHeld();
  EXPECT_TRUE(older.get());
  EXPECT_EQ(MenuItems(), (Items{{"Ethernet:en0", false}, {"Stage:en5", false}}));
  fDispatch.fHold = false;
  EXPECT_TRUE(fEntity->EnumerateAVBInterfaces());
  EXPECT_EQ(MenuItems(), (Items{{"Ethernet:en0", true}, {"Stage:en5", true}})) << "asked for afterwards";
}

TEST_F(MacVirtualEntityTest, AnOlderAnswerThatFailsLeavesANewerOne) {
  fDispatch.fHold = true;
  auto older = Ask();
  auto newer = Ask();
  fDispatch.RunLastHeld(2);
  EXPECT_TRUE(newer.get());
  fLauncher.SetAnswer({"", "complaint", false, false});
  fDispatch.RunHeld();
  EXPECT_TRUE(older.get()) << "there is a submenu";
  EXPECT_EQ(MenuItems(), (Items{{"Ethernet:en0", false}, {"Stage:en5", true}}));
}

TEST_F(MacVirtualEntityTest, InstallsNothingWhenTheServicesCannotBeListed) {
  fServices.fServices = {};
  EXPECT_FALSE(fEntity->EnumerateAVBInterfaces());
  EXPECT_FALSE(fItem->Submenu());
}

TEST_F(MacVirtualEntityTest, InstallsNothingWithoutAMenuItem) {
  fEntity->SetVirtualEntityMenuItem(nullptr);
  EXPECT_FALSE(fEntity->EnumerateAVBInterfaces());
}

TEST_F(MacVirtualEntityTest, InstallsOnTheItemThatIsSetAtTheEnd) {
  const auto newer = std::make_shared<MenuItemDescription>("Launch");
  fEntity->SetVirtualEntityMenuItem(newer);
  EXPECT_EQ(fEntity->VirtualEntityMenuItem(), newer);
  EXPECT_TRUE(fEntity->EnumerateAVBInterfaces());
  EXPECT_TRUE(newer->Submenu());
  EXPECT_FALSE(fItem->Submenu());
}

TEST_F(MacVirtualEntityTest, FailsWhenTheToolsAnswerIsNotUsable) {
  const ChildOutput answers[] = {{"en0\n", "complaint", false, false}, {"en0\n", "", false, true}};
  for (const auto& answer : answers) {
    EXPECT_TRUE(fEntity->DetermineActiveVirtualEntities());
    fLauncher.SetAnswer(answer);
    EXPECT_FALSE(fEntity->EnumerateAVBInterfaces());
    EXPECT_THAT(fEntity->EnabledAVBInterfaces(), IsEmpty());
    EXPECT_FALSE(fItem->Submenu());
    fLauncher.SetAnswer({"en5\n", "", false, false});
  }
}

TEST_F(MacVirtualEntityTest, FailsWhenTheToolIsLate) {
  fLauncher.fHang = true;
  EXPECT_FALSE(fEntity->DetermineActiveVirtualEntities());
}

TEST_F(MacVirtualEntityTest, FailsAtOnceAndRunsNothingWithoutAShell) {
  vorn::AVBTool tool;
  tool.patience = 1h;
  Remake(tool);
  fLauncher.fMissing.insert("/bin/sh");
  EXPECT_FALSE(fEntity->EnumerateAVBInterfaces());
  EXPECT_THAT(fLauncher.Requests(), IsEmpty());
  EXPECT_THAT(fDispatch.Priorities(), IsEmpty());
}

TEST_F(MacVirtualEntityTest, FailsWhenTheShellCannotBeStarted) {
  fLauncher.fRefuse = true;
  EXPECT_FALSE(fEntity->DetermineActiveVirtualEntities());
}

TEST_F(MacVirtualEntityTest, FailsWhenTheQueuesNoLongerRunItsJobs) {
  fDispatch.fDrop = true;
  EXPECT_FALSE(fEntity->DetermineActiveVirtualEntities());
}

TEST_F(MacVirtualEntityTest, RunsTheQueryAsTwoJobsOfHighPriority) {
  EXPECT_TRUE(fEntity->DetermineActiveVirtualEntities());
  EXPECT_THAT(fDispatch.Priorities(), ElementsAre(Priority::kHigh, Priority::kHigh));
}

TEST_F(MacVirtualEntityTest, TakesAtLeastASecondForTheQueryHoweverQuickTheToolIs) {
  Remake(vorn::AVBTool{});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(fEntity->DetermineActiveVirtualEntities());
  EXPECT_GE(std::chrono::steady_clock::now() - start, 1s);
}

TEST_F(MacVirtualEntityTest, AnswersAnEmptyListForAnEmptyAnswer) {
  fLauncher.SetAnswer({});
  EXPECT_TRUE(fEntity->EnumerateAVBInterfaces());
  EXPECT_EQ(MenuItems(), (Items{{"Ethernet:en0", false}, {"Stage:en5", false}}));
}

TEST_F(MacVirtualEntityTest, NeverMixesTheListsOfEnumerationsAtOnce) {
  const Items even{{"Ethernet:en0", true}, {"Stage:en5", false}};
  const Items odd{{"Ethernet:en0", false}, {"Stage:en5", true}};
  std::vector<std::future<void>> rounds;
  for (int i = 0; i < 4; ++i) {
    rounds.push_back(std::async(std::launch::async, [&, i] {
      for (int round = 0; round < 25; ++round) {
        fLauncher.SetAnswer({(i + round) % 2 == 0 ? "en0\n" : "en5\n", "", false, false});
        EXPECT_TRUE(fEntity->EnumerateAVBInterfaces());
        const Items items = MenuItems();
        EXPECT_TRUE(items == even || items == odd);
        EXPECT_EQ(fEntity->AVBInterfaces().size(), 2U);
        EXPECT_LE(fEntity->EnabledAVBInterfaces().size(), 1U);
        fEntity->SetVirtualEntityMenuItem(fItem);
      }
    }));
  }
  for (auto& round : rounds) round.get();
}

TEST_F(MacVirtualEntityTest, TurnsAnItemOffAtOnceAndThenRunsTheToolWithDisable) {
  ScriptedMenuItem item("Stage:en5", true);
  fDispatch.fHold = true;
  fEntity->EnableDisableVirtualAudio(&item);
  EXPECT_FALSE(item.fOn);
  EXPECT_THAT(fLauncher.Requests(), IsEmpty());
  fDispatch.RunHeld();
  ASSERT_EQ(fLauncher.Requests().size(), 1U);
  const auto request = fLauncher.Requests()[0];
  EXPECT_EQ(request.program, "/usr/bin/avbutil");
  EXPECT_THAT(request.arguments, ElementsAre("--virtual-audio", "disable", "en5"));
  EXPECT_EQ(request.streams, vorn::ChildProcessRequest::Streams::kDiscard);
  EXPECT_THAT(fDispatch.Priorities(), ElementsAre(Priority::kDefault));
}

TEST_F(MacVirtualEntityTest, TurnsAnItemOnAndRunsTheToolWithEnable) {
  ScriptedMenuItem item("Stage:en5", false);
  Toggle(&item);
  EXPECT_TRUE(item.fOn);
  ASSERT_EQ(fLauncher.Requests().size(), 1U);
  EXPECT_THAT(fLauncher.Requests()[0].arguments, ElementsAre("--virtual-audio", "enable", "en5"));
}

TEST_F(MacVirtualEntityTest, HandsTheInterfaceOverAsItStands) {
  ScriptedMenuItem item("A & B:$(reboot); en 5", false);
  Toggle(&item);
  ASSERT_EQ(fLauncher.Requests().size(), 1U);
  EXPECT_THAT(fLauncher.Requests()[0].arguments, ElementsAre("--virtual-audio", "enable", "$(reboot); en 5"));
}

TEST_F(MacVirtualEntityTest, FlipsTheItemEvenWhenTheToolIsMissing) {
  fLauncher.fMissing.insert("/usr/bin/avbutil");
  ScriptedMenuItem item("Stage:en5", false);
  Toggle(&item);
  EXPECT_TRUE(item.fOn);
  EXPECT_THAT(fLauncher.Requests(), IsEmpty());
}

TEST_F(MacVirtualEntityTest, KeepsTheItemAsChosenWhenTheToolCannotBeStarted) {
  fLauncher.fRefuse = true;
  ScriptedMenuItem item("Stage:en5", false);
  Toggle(&item);
  EXPECT_TRUE(item.fOn);
}

TEST_F(MacVirtualEntityTest, RunsNothingForAnItemThatNamesNoInterface) {
  ScriptedMenuItem item("Stage", false);
  Toggle(&item);
  EXPECT_TRUE(item.fOn);
  EXPECT_THAT(fLauncher.Requests(), IsEmpty());
}

TEST_F(MacVirtualEntityTest, IgnoresASenderThatIsNoMenuItem) {
  class Button final : public vorn::ActionSender {
  } button;
  Toggle(&button);
  Toggle(nullptr);
  EXPECT_THAT(fDispatch.Priorities(), IsEmpty());
}

TEST_F(MacVirtualEntityTest, RunsTogglesBesideEachOtherAndLeavesThemRunningAtItsEnd) {
  fLauncher.fHang = true;
  ScriptedMenuItem first("Ethernet:en0", false);
  ScriptedMenuItem second("Stage:en5", true);
  fEntity->EnableDisableVirtualAudio(&first);
  fEntity->EnableDisableVirtualAudio(&second);
  EXPECT_TRUE(Eventually([&] { return fLauncher.Requests().size() == 2; }));
  EXPECT_EQ(fLauncher.fReleased, 0);
  fEntity.reset();
  EXPECT_EQ(fLauncher.fReleased, 2);
  EXPECT_EQ(fLauncher.fTerminated, 0);
}

TEST_F(MacVirtualEntityTest, EndsAnEnumerationAtOnceWhenListingsAreStopped) {
  vorn::AVBTool tool;
  tool.patience = 1h;
  for (const bool hang : {true, false}) {  // still running, or ended and only waited out
    Remake(tool);
    fLauncher.fHang = hang;
    const auto requests = fLauncher.Requests().size();
    auto listing = std::async(std::launch::async, [&] { return fEntity->EnumerateAVBInterfaces(); });
    EXPECT_TRUE(Eventually([&] { return fLauncher.Requests().size() == requests + 1; }));
    fEntity->StopListings();
    EXPECT_FALSE(listing.get());
    EXPECT_FALSE(fEntity->EnumerateAVBInterfaces());  // nor does a later one take its time
    EXPECT_FALSE(fItem->Submenu());
  }
}

TEST_F(MacVirtualEntityTest, RunsNoToolAfterItsEnd) {
  ScriptedMenuItem item("Stage:en5", true);
  fDispatch.fHold = true;
  fEntity->EnableDisableVirtualAudio(&item);
  fEntity.reset();
  fDispatch.RunHeld();
  EXPECT_THAT(fLauncher.Requests(), IsEmpty());
}

}  // namespace
