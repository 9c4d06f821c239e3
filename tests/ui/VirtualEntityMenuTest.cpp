#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <QCoreApplication>
#include <QMenu>
#include <chrono>
#include <deque>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "tests/platform/ManualDispatch.h"
#include "tests/support/Eventually.h"
#include "tests/virtualentity/Scripted.h"
#include "ui/VirtualEntityMenu.h"

namespace vorn::ui {
namespace {

using ::testing::ElementsAre;

class VirtualEntityMenuTest : public ::testing::Test {
 protected:
  VirtualEntityMenuTest() {
    fServices.fServices = std::vector<NetworkService>{{"Desk & Stage", "eth0"}, {"Rack", "eth1"}};
    fCapability.fAnswers = {{"eth0", AVBCapability::Answer::kCapable},
                            {"eth1", AVBCapability::Answer::kCapable}};
    Enable("eth1\n");
  }
  ~VirtualEntityMenuTest() override {
    fEntity.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }

  std::shared_ptr<MacVirtualEntity> MakeEntity(std::chrono::milliseconds patience) {
    return std::make_shared<MacVirtualEntity>(fQueues, fLauncher, fServices, fCapability,
                                              AVBTool{"/bin/sh", "/usr/bin/avbutil", {}, patience});
  }
  void Enable(const std::string& output) {
    ChildOutput answer;
    answer.output = output;
    fLauncher.SetAnswer(answer);
  }
  void RunAll() {
    fQueues.RunBackground();
    fQueues.RunMain();
  }
  /// A menu that was added, with the answer to its question.
  QMenu& Offer() {
    QMenu& menu = fMenus.emplace_back();
    fEntity->addTo(menu);
    RunAll();
    return menu;
  }
  /// What the menu's submenu shows, "+" for a mark; "(none)" if the menu has no entry.
  static std::vector<std::string> EntriesOf(const QMenu& menu) {
    if (menu.actions().isEmpty()) return {"(none)"};
    std::vector<std::string> entries;
    for (const QAction* entry : menu.actions().at(0)->menu()->actions()) {
      entries.push_back((entry->isChecked() ? "+" : "-") + entry->text().toStdString());
    }
    return entries;
  }
  static QAction* EntryOf(const QMenu& menu, int row) {
    return menu.actions().at(0)->menu()->actions().at(row);
  }
  /// The user chooses an entry; the tool has not run yet.
  static void Choose(const QMenu& menu, int row) { EntryOf(menu, row)->trigger(); }

  ScriptedLauncher fLauncher;
  ScriptedServices fServices;
  ScriptedCapability fCapability;
  vorn::testing::ManualDispatch fQueues;
  std::deque<QMenu> fMenus;
  std::unique_ptr<VirtualEntityMenu> fEntity =
      std::make_unique<VirtualEntityMenu>(MakeEntity(std::chrono::milliseconds(1)), fQueues);
};

const auto kNone = ElementsAre("(none)");

TEST_F(VirtualEntityMenuTest, AsksInOneJobOfHighPriority) {
  Offer();
  EXPECT_THAT(fQueues.Priorities(), ElementsAre(Dispatch::Priority::kHigh));
}

TEST_F(VirtualEntityMenuTest, MakesACheckableEntryForEachInterface) {
  const QMenu& menu = Offer();
  EXPECT_THAT(EntriesOf(menu), ElementsAre("-Desk && Stage:eth0", "+Rack:eth1"));
  for (int row = 0; row < 2; ++row) EXPECT_TRUE(EntryOf(menu, row)->isCheckable());
}

TEST_F(VirtualEntityMenuTest, GoesToIndexThreeOnTheMainThread) {
  QMenu menu;
  for (const char* title : {"0", "1", "2", "3"}) menu.addAction(title);
  fEntity->addTo(menu);
  fQueues.RunBackground();
  EXPECT_EQ(menu.actions().size(), 4) << "the menu belongs to the main thread";
  fQueues.RunMain();
  ASSERT_EQ(menu.actions().size(), 5);
  EXPECT_EQ(menu.actions().at(3)->text(), "Launch Mac Virtual Entity");
  EXPECT_TRUE(menu.actions().at(3)->shortcut().isEmpty());
  fEntity->removeFrom(menu);
  EXPECT_EQ(menu.actions().size(), 4);
}

TEST_F(VirtualEntityMenuTest, CutsAndCleansAStrangersTextAndKeepsTheInterface) {
  fServices.fServices =
      std::vector<NetworkService>{{std::string(500, 'x'), "eth0"}, {"Rack\n\xE2\x80\xAE\x01", "eth1"}};
  const QMenu& menu = Offer();
  const QString cut = EntryOf(menu, 0)->text();
  EXPECT_EQ(cut.size(), 65);
  EXPECT_TRUE(cut.endsWith(QStringLiteral("\u2026:eth0")));
  EXPECT_EQ(EntryOf(menu, 1)->text(), "Rack:eth1");
}

TEST_F(VirtualEntityMenuTest, HasNoEntryWithoutCapableInterfaces) {
  fCapability.fAnswers.clear();
  EXPECT_THAT(EntriesOf(Offer()), kNone);
}

TEST_F(VirtualEntityMenuTest, SwitchesAnEntryAtOnceAndThenRunsTheToolForItsInterface) {
  const QMenu& menu = Offer();
  const auto asked = fLauncher.Requests().size();
  EntryOf(menu, 0)->setText("marks of a style");
  Choose(menu, 0);
  EXPECT_TRUE(EntryOf(menu, 0)->isChecked());
  EXPECT_EQ(fLauncher.Requests().size(), asked);
  RunAll();
  EXPECT_THAT(fLauncher.Requests().back().arguments, ElementsAre("--virtual-audio", "enable", "eth0"));
  Choose(menu, 0);
  EXPECT_FALSE(EntryOf(menu, 0)->isChecked());
  RunAll();
  EXPECT_THAT(fLauncher.Requests().back().arguments, ElementsAre("--virtual-audio", "disable", "eth0"));
}

TEST_F(VirtualEntityMenuTest, KeepsTheMarkAsChosenWhereTheToolIsMissing) {
  const QMenu& menu = Offer();
  fLauncher.fMissing.insert("/usr/bin/avbutil");
  Choose(menu, 0);
  RunAll();
  EXPECT_THAT(EntriesOf(menu), ElementsAre("+Desk && Stage:eth0", "+Rack:eth1"));
}

TEST_F(VirtualEntityMenuTest, ShowsOneStateInAllMenus) {
  const QMenu& first = Offer();
  const QMenu& second = Offer();
  Choose(second, 0);
  EXPECT_THAT(EntriesOf(first), ElementsAre("+Desk && Stage:eth0", "+Rack:eth1"));
  RunAll();
  Enable("eth0\n");
  const QMenu& third = Offer();
  EXPECT_THAT(EntriesOf(first), ElementsAre("+Desk && Stage:eth0", "-Rack:eth1"));
  EXPECT_THAT(EntriesOf(third), ElementsAre("+Desk && Stage:eth0", "-Rack:eth1"));
}

TEST_F(VirtualEntityMenuTest, KeepsASubmenuThatMayBeOpenWhereItFits) {
  const QMenu& menu = Offer();
  const QMenu* const submenu = menu.actions().at(0)->menu();
  Offer();
  EXPECT_EQ(menu.actions().at(0)->menu(), submenu);
  fServices.fServices->pop_back();
  Offer();
  EXPECT_THAT(EntriesOf(menu), ElementsAre("-Desk && Stage:eth0"));
}

TEST_F(VirtualEntityMenuTest, LeavesEveryMenuWhileTheLatestAnswerHasNoInterfaces) {
  const QMenu& early = Offer();
  fServices.fServices = {};
  const QMenu& late = Offer();
  EXPECT_THAT(EntriesOf(early), kNone);
  EXPECT_THAT(EntriesOf(late), kNone);
  fServices.fServices = std::vector<NetworkService>{{"Rack", "eth1"}};
  const QMenu& last = Offer();
  for (const QMenu* menu : {&early, &late, &last}) EXPECT_THAT(EntriesOf(*menu), ElementsAre("+Rack:eth1"));
}

TEST_F(VirtualEntityMenuTest, AnswersOfOneMenuCountForTheOthers) {
  QMenu closing;
  const QMenu& staying = fMenus.emplace_back();
  fEntity->addTo(closing);
  fEntity->addTo(fMenus.back());
  fQueues.RunBackground();
  fEntity->removeFrom(closing);
  fQueues.RunMain();
  EXPECT_THAT(EntriesOf(closing), kNone);
  EXPECT_EQ(staying.actions().size(), 1) << "once, though two answers came";
}

TEST_F(VirtualEntityMenuTest, AMenuThatComesBackHasOneEntry) {
  QMenu& menu = fMenus.emplace_back();
  fEntity->addTo(menu);
  fQueues.RunBackground();
  fEntity->removeFrom(menu);
  fEntity->addTo(menu);
  RunAll();
  EXPECT_EQ(menu.actions().size(), 1);
}

TEST_F(VirtualEntityMenuTest, IgnoresAMenuThatWasNotAdded) {
  const QMenu& menu = Offer();
  fEntity->removeFrom(QMenu());
  EXPECT_EQ(menu.actions().size(), 1);
}

// The tool answers, and the user chooses before the main thread gets the answer.
TEST_F(VirtualEntityMenuTest, KeepsAChoiceThatAnOlderAnswerDoesNotKnow) {
  const QMenu& menu = Offer();
  fEntity->addTo(fMenus.emplace_back());
  fQueues.RunBackground();
  Choose(menu, 1);
  fQueues.RunMain();
  EXPECT_THAT(EntriesOf(menu), ElementsAre("-Desk && Stage:eth0", "-Rack:eth1"));
  RunAll();
  EXPECT_THAT(fLauncher.Requests().back().arguments, ElementsAre("--virtual-audio", "disable", "eth1"));
  Choose(menu, 1);
  RunAll();
  EXPECT_THAT(fLauncher.Requests().back().arguments, ElementsAre("--virtual-audio", "enable", "eth1"));
}

// As above, while the tool runs: its job is running, and an answer from before comes.
TEST_F(VirtualEntityMenuTest, KeepsAChoiceWhileTheToolIsStillRunning) {
  const QMenu& menu = Offer();
  Choose(menu, 1);
  fEntity->addTo(fMenus.emplace_back());
  fQueues.RunHigh();
  fQueues.RunMain();
  EXPECT_THAT(EntriesOf(menu), ElementsAre("-Desk && Stage:eth0", "-Rack:eth1"));
  RunAll();  // the tool ends, and has done nothing
  Offer();
  EXPECT_THAT(EntriesOf(menu), ElementsAre("-Desk && Stage:eth0", "+Rack:eth1")) << "asked for afterwards";
}

TEST_F(VirtualEntityMenuTest, KeepsAChoiceAgainstAnAnswerFromBeforeTheToolsEnd) {
  const QMenu& menu = Offer();
  Choose(menu, 1);
  fEntity->addTo(fMenus.emplace_back());
  fQueues.RunDefault();
  fQueues.RunMain();  // the tool has ended
  fQueues.RunBackground();
  fQueues.RunMain();  // what was requested while it ran
  EXPECT_THAT(EntriesOf(menu), ElementsAre("-Desk && Stage:eth0", "-Rack:eth1"));
}

TEST_F(VirtualEntityMenuTest, AnAnswerFromBeforeTheToolsEndBringsNewInterfaces) {
  const QMenu& menu = Offer();
  Choose(menu, 1);
  fServices.fServices->push_back({"Stage left", "eth2"});
  fCapability.fAnswers["eth2"] = AVBCapability::Answer::kCapable;
  fEntity->addTo(fMenus.emplace_back());
  fQueues.RunDefault();
  fQueues.RunMain();
  fQueues.RunBackground();
  fQueues.RunMain();
  EXPECT_THAT(EntriesOf(menu), ElementsAre("-Desk && Stage:eth0", "-Rack:eth1", "-Stage left:eth2"));
}

TEST_F(VirtualEntityMenuTest, AnOlderAnswerDoesNotReplaceANewerOne) {
  const QMenu& menu = Offer();
  fEntity->addTo(fMenus.emplace_back());
  fEntity->addTo(fMenus.emplace_back());
  Enable("eth0\n");
  fQueues.RunLastHigh();
  fLauncher.SetAnswer({"", "complaint", false, false});
  RunAll();
  EXPECT_THAT(EntriesOf(menu), ElementsAre("+Desk && Stage:eth0", "-Rack:eth1"));
}

TEST_F(VirtualEntityMenuTest, EndsDuringAnEnumerationWithoutItsAnswer) {
  const QMenu& menu = Offer();
  QMenu& asking = fMenus.emplace_back();
  fEntity->addTo(asking);
  fEntity.reset();
  RunAll();
  EXPECT_THAT(EntriesOf(menu), kNone);
  EXPECT_THAT(EntriesOf(asking), kNone);
}

TEST_F(VirtualEntityMenuTest, EndsAnEnumerationWhoseToolHangs) {
  fLauncher.fHang = true;
  const auto entity = MakeEntity(std::chrono::hours(1));
  fEntity = std::make_unique<VirtualEntityMenu>(entity, fQueues);
  fEntity->addTo(fMenus.emplace_back());
  auto enumeration = std::async(std::launch::async, [this] { fQueues.RunBackground(); });
  EXPECT_TRUE(testing::Eventually([this] { return !fLauncher.Requests().empty(); }));
  fEntity.reset();
  EXPECT_EQ(enumeration.wait_for(testing::kGenerousDeadline), std::future_status::ready);
  entity->StopListings();  // otherwise a failure of this test takes an hour
}

TEST_F(VirtualEntityMenuTest, EndsWhileTheToolRuns) {
  Choose(Offer(), 0);
  fEntity.reset();
  RunAll();  // nobody waits for the tool's end
}

}  // namespace
}  // namespace vorn::ui
