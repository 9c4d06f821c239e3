#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/Eventually.h"
#include "tests/virtualentity/Scripted.h"
#include "virtualentity/MacVirtualEntity.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using vorn::ChildOutput;
using vorn::testing::Eventually;
using Answer = vorn::AVBCapability::Answer;
using Items = vorn::MacVirtualEntity::Items;
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
  }
  ~MacVirtualEntityTest() override {
    fEntity.reset();
    fDispatch.Join();
  }

  void Remake(const vorn::AVBTool& tool) {
    fEntity = std::make_unique<vorn::MacVirtualEntity>(fDispatch, fLauncher, fServices, fCapability, tool);
  }
  void ExpectItems(const Items& expected) {
    const auto items = fEntity->EnumerateAVBInterfaces();
    ASSERT_TRUE(items);
    EXPECT_EQ(*items, expected);
  }

  // Toggles, and waits until the tool has been run.
  void Toggle(const std::string& title, bool enable) {
    fEntity->EnableDisableVirtualAudio(title, enable, [this] { ++fEnded; });
    fDispatch.Join();
  }

  ScriptedLauncher fLauncher;
  ScriptedServices fServices;
  ScriptedCapability fCapability;
  std::atomic<int> fEnded{0};  // tools
  ScriptedDispatch fDispatch;
  std::unique_ptr<vorn::MacVirtualEntity> fEntity =
      std::make_unique<vorn::MacVirtualEntity>(fDispatch, fLauncher, fServices, fCapability, Impatient());
};

TEST_F(MacVirtualEntityTest, HasAnItemForEachCapableInterfaceInTheServicesOrder) {
  ExpectItems({{"Ethernet:en0", false}, {"Stage:en5", true}});
}

TEST_F(MacVirtualEntityTest, TurnsItemsOnByTheWholeInterfaceName) {
  fLauncher.SetAnswer({"en\nen55\n\nEN5\n", "", false, false});
  ExpectItems({{"Ethernet:en0", false}, {"Stage:en5", false}});
}

TEST_F(MacVirtualEntityTest, GivesAServiceWithAColonInItsNameNoItem) {
  fServices.fServices = std::vector<vorn::NetworkService>{{"Rack: left", "en0"}, {"", "en5"}, {":", "en0"}};
  ExpectItems({{":en5", true}});
}

TEST_F(MacVirtualEntityTest, FindsAMenuWithoutItemsWhenOnlySuchServicesAreCapable) {
  fServices.fServices = std::vector<vorn::NetworkService>{{"Rack: left", "en0"}};
  ExpectItems({});
}

TEST_F(MacVirtualEntityTest, FindsNothingWithoutACapableInterface) {
  fCapability.fAnswers.clear();
  EXPECT_FALSE(fEntity->EnumerateAVBInterfaces());
}

TEST_F(MacVirtualEntityTest, FindsNothingWhenTheServicesCannotBeListed) {
  fServices.fServices = {};
  EXPECT_FALSE(fEntity->EnumerateAVBInterfaces());
}

TEST_F(MacVirtualEntityTest, FindsNothingWhenTheToolsAnswerIsNotUsable) {
  const ChildOutput answers[] = {{"en0\n", "complaint", false, false}, {"en0\n", "", false, true}};
  for (const auto& answer : answers) {
    EXPECT_TRUE(fEntity->DetermineActiveVirtualEntities());
    fLauncher.SetAnswer(answer);
    EXPECT_FALSE(fEntity->DetermineActiveVirtualEntities());
    EXPECT_FALSE(fEntity->EnumerateAVBInterfaces());
    fLauncher.SetAnswer({"en5\n", "", false, false});
  }
}

TEST_F(MacVirtualEntityTest, FindsNothingWhenTheToolIsLate) {
  fLauncher.fHang = true;
  EXPECT_FALSE(fEntity->DetermineActiveVirtualEntities());
}

TEST_F(MacVirtualEntityTest, FindsNothingAtOnceAndRunsNothingWithoutAShell) {
  vorn::AVBTool tool;
  tool.patience = 1h;
  Remake(tool);
  fLauncher.fMissing.insert("/bin/sh");
  EXPECT_FALSE(fEntity->EnumerateAVBInterfaces());
  EXPECT_THAT(fLauncher.Requests(), IsEmpty());
}

TEST_F(MacVirtualEntityTest, FindsNothingWhenTheShellCannotBeStarted) {
  fLauncher.fRefuse = true;
  EXPECT_FALSE(fEntity->DetermineActiveVirtualEntities());
}

TEST_F(MacVirtualEntityTest, EnumeratesWithoutAnyFurtherJob) {
  EXPECT_TRUE(fEntity->EnumerateAVBInterfaces());
  EXPECT_THAT(fDispatch.Priorities(), IsEmpty());
}

TEST_F(MacVirtualEntityTest, TakesAtLeastASecondForTheQueryHoweverQuickTheToolIs) {
  Remake(vorn::AVBTool{});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(fEntity->DetermineActiveVirtualEntities());
  EXPECT_GE(std::chrono::steady_clock::now() - start, 1s);
}

TEST_F(MacVirtualEntityTest, HasEveryItemOffAfterAnEmptyAnswer) {
  fLauncher.SetAnswer({});
  ExpectItems({{"Ethernet:en0", false}, {"Stage:en5", false}});
}

TEST_F(MacVirtualEntityTest, NeverMixesTheListsOfEnumerationsAtOnce) {
  const Items even{{"Ethernet:en0", true}, {"Stage:en5", false}};
  const Items odd{{"Ethernet:en0", false}, {"Stage:en5", true}};
  std::vector<std::future<void>> rounds;
  for (int i = 0; i < 4; ++i) {
    rounds.push_back(std::async(std::launch::async, [&, i] {
      for (int round = 0; round < 25; ++round) {
        fLauncher.SetAnswer({(i + round) % 2 == 0 ? "en0\n" : "en5\n", "", false, false});
        const auto items = fEntity->EnumerateAVBInterfaces();
        ASSERT_TRUE(items);
        EXPECT_TRUE(*items == even || *items == odd);
      }
    }));
  }
  for (auto& round : rounds) round.get();
}

TEST_F(MacVirtualEntityTest, RunsTheToolInAJobOfDefaultPriority) {
  fDispatch.fHold = true;
  fEntity->EnableDisableVirtualAudio("Stage:en5", false, [this] { ++fEnded; });
  EXPECT_THAT(fLauncher.Requests(), IsEmpty());
  EXPECT_EQ(fEnded, 0);
  fDispatch.RunHeld();
  ASSERT_EQ(fLauncher.Requests().size(), 1U);
  EXPECT_EQ(fLauncher.Requests()[0].program, "/usr/bin/avbutil");
  EXPECT_THAT(fLauncher.Requests()[0].arguments, ElementsAre("--virtual-audio", "disable", "en5"));
  EXPECT_THAT(fDispatch.Priorities(), ElementsAre(Priority::kDefault));
  EXPECT_EQ(fEnded, 1);
}

TEST_F(MacVirtualEntityTest, HandsTheInterfaceOverAsItStands) {
  Toggle("A & B:$(reboot); en 5", true);
  ASSERT_EQ(fLauncher.Requests().size(), 1U);
  EXPECT_THAT(fLauncher.Requests()[0].arguments, ElementsAre("--virtual-audio", "enable", "$(reboot); en 5"));
}

TEST_F(MacVirtualEntityTest, SaysThatAToolHasEndedThatCouldNotBeRun) {
  fLauncher.fRefuse = true;
  Toggle("Stage:en5", true);
  EXPECT_EQ(fEnded, 1);
  fLauncher.fMissing.insert("/usr/bin/avbutil");
  Toggle("Stage:en5", true);
  EXPECT_EQ(fEnded, 2);
  EXPECT_EQ(fLauncher.Requests().size(), 1U);
  Toggle("Stage", true);
  EXPECT_EQ(fEnded, 3) << "which names no interface";
  fDispatch.fDrop = true;
  Toggle("Stage:en5", true);
  EXPECT_EQ(fEnded, 4) << "the queues run no jobs any more";
}

TEST_F(MacVirtualEntityTest, RunsTogglesBesideEachOtherAndLeavesThemRunningAtItsEnd) {
  fLauncher.fHang = true;
  fEntity->EnableDisableVirtualAudio("Ethernet:en0", true);
  fEntity->EnableDisableVirtualAudio("Stage:en5", false);
  EXPECT_TRUE(Eventually([this] { return fLauncher.Requests().size() == 2; }));
  EXPECT_EQ(fLauncher.fReleased, 0);
  fEntity.reset();
  EXPECT_EQ(fLauncher.fReleased, 2);
  EXPECT_EQ(fLauncher.fTerminated, 0);
}

TEST_F(MacVirtualEntityTest, EndsAnEnumerationAtOnceWhenListingsAreStopped) {
  vorn::AVBTool tool;
  tool.patience = 1h;
  for (const bool hang : {true, false}) {  // still running, or ended and only waiting for its time
    Remake(tool);
    fLauncher.fHang = hang;
    const auto requests = fLauncher.Requests().size();
    auto listing = std::async(std::launch::async, [&] { return fEntity->EnumerateAVBInterfaces(); });
    EXPECT_TRUE(Eventually([&] { return fLauncher.Requests().size() > requests; }));
    fEntity->StopListings();
    EXPECT_FALSE(listing.get());
    EXPECT_FALSE(fEntity->EnumerateAVBInterfaces());  // nor does a later one take its time
  }
}

TEST_F(MacVirtualEntityTest, RunsNoToolAfterItsEnd) {
  fDispatch.fHold = true;
  fEntity->EnableDisableVirtualAudio("Stage:en5", false);
  fEntity.reset();
  fDispatch.RunHeld();
  EXPECT_THAT(fLauncher.Requests(), IsEmpty());
}

}  // namespace
