#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <QMenu>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "app/VirtualEntityMenu.h"
#include "tests/virtualentity/Scripted.h"

namespace vorn::app {
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
  ~VirtualEntityMenuTest() override { fEntity.setFVirtualEntityMenuItem(nullptr); }

  void Enable(const std::string& output) {
    ChildOutput answer;
    answer.output = output;
    fLauncher.SetAnswer(answer);
  }
  /// As the controller does for a listener.
  std::shared_ptr<QAction> Offer() {
    auto item = std::make_shared<QAction>("Launch Mac Virtual Entity");
    fEntity.setFVirtualEntityMenuItem(item);
    fEntity.EnumerateAVBInterfaces();
    fOffered = fEntity.installSubmenus();
    return item;
  }
  static std::vector<std::string> EntriesOf(const QAction& item) {
    std::vector<std::string> entries;
    if (!item.menu()) return entries;
    for (const QAction* entry : item.menu()->actions()) {
      entries.push_back((entry->isChecked() ? "+" : "-") + entry->text().toStdString());
    }
    return entries;
  }

  bool fOffered = false;  ///< the latest answer has a submenu
  ScriptedLauncher fLauncher;
  ScriptedServices fServices;
  ScriptedCapability fCapability;
  ScriptedDispatch fDispatch;  // joins its jobs before what they use goes
  VirtualEntityMenu fEntity{fDispatch, fLauncher, fServices, fCapability,
                            AVBTool{"/bin/sh", "/usr/bin/avbutil", {}, std::chrono::milliseconds(1)}};
};

TEST_F(VirtualEntityMenuTest, MakesACheckableEntryForEachInterface) {
  const auto item = Offer();
  ASSERT_NE(item->menu(), nullptr);
  EXPECT_THAT(EntriesOf(*item), ElementsAre("-Desk && Stage:eth0", "+Rack:eth1"));
  for (const QAction* entry : item->menu()->actions()) EXPECT_TRUE(entry->isCheckable());
}

TEST_F(VirtualEntityMenuTest, CutsAndCleansAStrangersTextAndKeepsTheInterface) {
  fServices.fServices =
      std::vector<NetworkService>{{std::string(500, 'x'), "eth0"}, {"Rack\n\xE2\x80\xAE\x01", "eth1"}};
  const auto item = Offer();
  ASSERT_EQ(item->menu()->actions().size(), 2);
  const QString cut = item->menu()->actions().at(0)->text();
  EXPECT_EQ(cut.size(), 65);
  EXPECT_TRUE(cut.endsWith(QStringLiteral("\u2026:eth0")));
  EXPECT_EQ(item->menu()->actions().at(1)->text(), "Rack:eth1");
}

TEST_F(VirtualEntityMenuTest, HasNoSubmenuWithoutCapableInterfaces) {
  fCapability.fAnswers.clear();
  EXPECT_EQ(Offer()->menu(), nullptr);
}

TEST_F(VirtualEntityMenuTest, SwitchesAnEntryAndRunsTheToolForItsInterface) {
  const auto item = Offer();
  QAction* const entry = item->menu()->actions().at(0);
  entry->setText("marks of a style");
  fEntity.EnableDisableVirtualAudio(entry);
  EXPECT_TRUE(entry->isChecked());
  fDispatch.Join();
  EXPECT_THAT(fLauncher.Requests().back().arguments, ElementsAre("--virtual-audio", "enable", "eth0"));
  fEntity.EnableDisableVirtualAudio(entry);
  EXPECT_FALSE(entry->isChecked());
  fDispatch.Join();
  EXPECT_THAT(fLauncher.Requests().back().arguments, ElementsAre("--virtual-audio", "disable", "eth0"));
}

TEST_F(VirtualEntityMenuTest, IgnoresASenderThatIsNone) {
  const auto launched = fLauncher.Requests().size();
  fEntity.EnableDisableVirtualAudio(nullptr);
  fDispatch.Join();
  EXPECT_EQ(fLauncher.Requests().size(), launched);
}

TEST_F(VirtualEntityMenuTest, ShowsOneStateInAllMenus) {
  const auto first = Offer();
  const auto second = Offer();
  fEntity.EnableDisableVirtualAudio(second->menu()->actions().at(0));
  EXPECT_THAT(EntriesOf(*first), ElementsAre("+Desk && Stage:eth0", "+Rack:eth1"));
  fDispatch.Join();
  Enable("eth0\n");
  const auto third = Offer();
  EXPECT_THAT(EntriesOf(*first), ElementsAre("+Desk && Stage:eth0", "-Rack:eth1"));
  EXPECT_THAT(EntriesOf(*third), ElementsAre("+Desk && Stage:eth0", "-Rack:eth1"));
}

TEST_F(VirtualEntityMenuTest, KeepsAMenuThatMayBeOpenWhereItFits) {
  const auto item = Offer();
  const QMenu* const submenu = item->menu();
  Offer();
  EXPECT_EQ(item->menu(), submenu);
  fServices.fServices->pop_back();
  Offer();
  EXPECT_THAT(EntriesOf(*item), ElementsAre("-Desk && Stage:eth0"));
}

TEST_F(VirtualEntityMenuTest, OffersTheItemsAsLongAsTheLatestAnswerHasInterfaces) {
  const auto item = Offer();
  EXPECT_TRUE(fOffered);
  fServices.fServices = {};
  Offer();
  EXPECT_FALSE(fOffered);
  fServices.fServices = std::vector<NetworkService>{{"Rack", "eth1"}};
  Offer();
  EXPECT_TRUE(fOffered);
  EXPECT_THAT(EntriesOf(*item), ElementsAre("+Rack:eth1"));
}

// The tool answers, and the user chooses before the main thread hears of it.
TEST_F(VirtualEntityMenuTest, KeepsAChoiceThatAnOlderAnswerKnowsNothingOf) {
  const auto item = Offer();
  fEntity.EnumerateAVBInterfaces();
  QAction* const rack = item->menu()->actions().at(1);
  fEntity.EnableDisableVirtualAudio(rack);
  fEntity.installSubmenus();
  EXPECT_THAT(EntriesOf(*item), ElementsAre("-Desk && Stage:eth0", "-Rack:eth1"));
  fDispatch.Join();
  fEntity.EnableDisableVirtualAudio(rack);
  fDispatch.Join();
  EXPECT_THAT(fLauncher.Requests().back().arguments, ElementsAre("--virtual-audio", "enable", "eth1"));
}

TEST_F(VirtualEntityMenuTest, ForgetsMenusThatClosed) {
  auto closed = Offer();
  const auto open = Offer();
  closed.reset();
  fEntity.installSubmenus();
  fEntity.EnableDisableVirtualAudio(open->menu()->actions().at(0));
  EXPECT_THAT(EntriesOf(*open), ElementsAre("+Desk && Stage:eth0", "+Rack:eth1"));
}

}  // namespace
}  // namespace vorn::app
