#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QTest>
#include <algorithm>

#include "tests/ui/Menus.h"
#include "tests/ui/ScriptedOwner.h"
#include "ui/StatusMenu.h"

namespace vorn::ui {
namespace {

using testing::ElementsAre;

constexpr int kDeadline = 10000;

class StatusMenuTest : public testing::Test {
 protected:
  // As if the host opened the menu.
  std::vector<std::string> opened(const List& list) {
    fMenu.updateDeviceList(Shared(list));
    emit fMenu.contextMenu()->aboutToShow();
    return Titles(*fMenu.contextMenu());
  }
  QAction* entry(const std::string& title) {
    for (QAction* action : fMenu.contextMenu()->actions()) {
      if (action->text().toStdString() == title) return action;
    }
    return nullptr;
  }

  ScriptedOwner fOwner;
  StatusMenu fMenu{fOwner};
};

TEST_F(StatusMenuTest, OffersPanelDevicesSettingsAndQuit) {
  EXPECT_THAT(opened({}), ElementsAre("Show Devices", "-", "No Local Devices Found.", "-", "Settings",
                                      "Quit Vorn Device Finder"));
  EXPECT_FALSE(entry("No Local Devices Found.")->isEnabled());
  EXPECT_THAT(opened({Device("anna"), Device("berta", {1, 3, 0, 0}, {1, 4, 2, 0})}),
              ElementsAre("Show Devices", "-", "anna", "berta (update 1.4.2 available)", "-", "Settings",
                          "Quit Vorn Device Finder"));
  EXPECT_THAT(Titles(*fMenu.menu()),
              ElementsAre("Launch at Login", "Show Switches", "Notify About Updates",
                          "Check for New Firmware", "-", "Keyboard Shortcuts", "About Vorn Device Finder"));
}

TEST_F(StatusMenuTest, EntriesOpenTheBareUrl) {
  opened({Device("anna"), Device("berta")});
  entry("berta")->trigger();
  EXPECT_THAT(fOwner.fOpened, ElementsAre(Device("berta").url));
}

TEST_F(StatusMenuTest, ShowDevicesShowsThePanelAndQuitQuits) {
  opened({});
  entry("Show Devices")->trigger();
  EXPECT_THAT(fOwner.fVisibleRequests, ElementsAre(true));
  entry("Quit Vorn Device Finder")->trigger();
  EXPECT_EQ(fOwner.fQuits, 1);
}

TEST_F(StatusMenuTest, AnEntryStaysWithItsDevice) {
  opened({Device("anna"), Device("berta"), Device("clara")});
  QAction* const berta = entry("berta");
  QAction* const clara = entry("clara");
  EXPECT_THAT(opened({Device("clara"), Device("aaron"), Device("berta")}),
              ElementsAre("Show Devices", "-", "clara", "aaron", "berta", "-", "Settings",
                          "Quit Vorn Device Finder"));
  EXPECT_EQ(entry("berta"), berta);
  EXPECT_EQ(entry("clara"), clara);
}

TEST_F(StatusMenuTest, AnUnchangedListChangesNoEntry) {
  opened(Devices(20));
  int changes = 0;
  for (QAction* action : fMenu.contextMenu()->actions()) {
    QObject::connect(action, &QAction::changed, action, [&] { ++changes; });
  }
  opened(Devices(20));
  EXPECT_EQ(changes, 0);
}

TEST_F(StatusMenuTest, AChangeTouchesTheEntryThatShowsItAndNoOther) {
  List list = Devices(200);
  opened(list);
  const auto before = fMenu.contextMenu()->actions();
  std::vector<std::string> changed;
  for (QAction* action : before) {
    QObject::connect(action, &QAction::changed, action,
                     [&changed, action] { changed.push_back(action->text().toStdString()); });
  }
  *list[7].name += " again";
  list[9].uid = "other";
  opened(list);
  EXPECT_THAT(changed, ElementsAre("unit0007 again"));
  EXPECT_EQ(fMenu.contextMenu()->actions(), before);
}

TEST_F(StatusMenuTest, CountsTheDevicesBeyondItsLimitAndShowsThemInThePanel) {
  const int limit = static_cast<int>(StatusMenu::kMaxEntries);
  const auto titles = opened(Devices(limit + 1700));
  ASSERT_EQ(titles.size(), StatusMenu::kMaxEntries + 6);
  EXPECT_EQ(titles[1 + StatusMenu::kMaxEntries], "unit0299");
  EXPECT_EQ(titles[2 + StatusMenu::kMaxEntries], "and 1700 more\u2026");
  entry("and 1700 more\u2026")->trigger();
  EXPECT_THAT(fOwner.fVisibleRequests, ElementsAre(true));
  EXPECT_EQ(opened(Devices(limit)).size(), StatusMenu::kMaxEntries + 5);
  EXPECT_EQ(opened(Devices(limit)).at(1 + StatusMenu::kMaxEntries), "unit0299");
}

TEST_F(StatusMenuTest, ADeviceThatComesIntoTheLimitGetsAnEntry) {
  List list = Devices(static_cast<int>(StatusMenu::kMaxEntries) + 1);
  opened(list);
  QAction* const second = entry("unit0001");
  ASSERT_EQ(entry("unit0300"), nullptr);
  list.erase(list.begin());
  opened(list);
  EXPECT_NE(entry("unit0300"), nullptr);
  EXPECT_EQ(entry("unit0000"), nullptr);
  EXPECT_EQ(entry("unit0001"), second);
}

TEST_F(StatusMenuTest, ListsAreTakenOverALittleLaterAndTogether) {
  for (int i = 0; i < 20; ++i) fMenu.updateDeviceList(Shared(Devices(i)));
  EXPECT_EQ(entry("unit0000"), nullptr);
  EXPECT_TRUE(QTest::qWaitFor([&] { return entry("unit0018") != nullptr; }, 10000));
}

TEST_F(StatusMenuTest, ReadsTheSettingsWhenItOpensAndNotAtEachList) {
  const int before = fOwner.fSettingsRead;
  fMenu.updateDeviceList(Shared(Devices(3)));
  ASSERT_TRUE(QTest::qWaitFor([&] { return entry("unit0002") != nullptr; }, 10000));
  EXPECT_EQ(fOwner.fSettingsRead, before);
  emit fMenu.contextMenu()->aboutToShow();
  EXPECT_EQ(fOwner.fSettingsRead, before + 1);
}

TEST_F(StatusMenuTest, ReadsTheSettingsNowAndThenForHostsThatNeverTellOfOpening) {
  EXPECT_GE(StatusMenu::kSettingsPeriod, std::chrono::seconds(5));
  StatusMenu menu(fOwner, nullptr, std::chrono::milliseconds(10));
  const QAction* const launch = menu.menu()->actions().first();
  ASSERT_FALSE(launch->isChecked());
  fOwner.fLaunch = true;
  EXPECT_TRUE(QTest::qWaitFor([&] { return launch->isChecked(); }, 10000));
}

TEST_F(StatusMenuTest, NamesOfStrangersAreHarmlessTitles) {
  const auto titles = opened({Device("Drums & Bass\n\xE2\x80\xAE"), Device(std::string(500, 'x'))});
  EXPECT_EQ(titles[2], "&Drums & Bass");
  EXPECT_EQ(QString::fromStdString(titles[3]).size(), 60);
}

TEST_F(StatusMenuTest, TitlesFollowTheFormOfTheTray) {
  QAction interfaces("Launch Mac Virtual Entity");
  QMenu submenu;
  interfaces.setMenu(&submenu);
  setLiteralText(*submenu.addAction(QString()), "R&D_1:eth0", MenuForm::Drawn);
  fMenu.menu()->addAction(&interfaces);
  EXPECT_THAT(Titles(submenu), ElementsAre("&R&D\u02CD1:eth0"));
  EXPECT_EQ(opened({Device("Live_Room")})[2], "Live__Room");
  fMenu.setForm(MenuForm::Drawn);
  EXPECT_EQ(opened({Device("Live_Room"), Device("R&D")})[2], "Live_Room");
  EXPECT_EQ(opened({Device("Live_Room"), Device("R&D")})[3], "R&&D");
  EXPECT_THAT(Titles(submenu), ElementsAre("R&&D_1:eth0"));
}

TEST_F(StatusMenuTest, RandomListsEndInTheirOwnOrder) {
  std::uint32_t state = 7;
  const auto random = [&] { return (state = state * 1664525U + 1013904223U) >> 16; };
  for (int round = 0; round < 200; ++round) {
    List list = Devices(8);
    std::erase_if(list, [&](const auto&) { return random() % 3 == 0; });
    for (std::size_t i = list.size(); i > 1; --i) std::swap(list[i - 1], list[random() % i]);
    const auto titles = opened(list);
    std::vector<std::string> shown(titles.begin() + 2, titles.end() - 3);
    std::vector<std::string> expected;
    for (const auto& info : list) expected.push_back(*info.name);
    if (expected.empty()) expected.push_back("No Local Devices Found.");
    ASSERT_EQ(shown, expected);
  }
}

TEST_F(StatusMenuTest, SaysWhyNothingIsFoundAsThePanelDoes) {
  auto hint = DeviceList::DiscoveryHint::kResponderAbsent;
  StatusMenu menu(fOwner, nullptr, std::chrono::milliseconds(10));
  menu.setHintSource([&hint] { return hint; });
  const auto says = [&menu](const char* words) {
    const auto shown = [&menu, words] { return std::ranges::count(Titles(*menu.contextMenu()), words) == 1; };
    return QTest::qWaitFor(shown, kDeadline);
  };
  EXPECT_TRUE(says("The discovery service (Avahi) is not running."));
  hint = DeviceList::DiscoveryHint::kResponderSilent;
  EXPECT_TRUE(says("The discovery service (Avahi) does not answer."));
  hint = DeviceList::DiscoveryHint::kNoNetwork;
  EXPECT_TRUE(says("There is no network connection."));
  hint = DeviceList::DiscoveryHint::kNone;
  EXPECT_TRUE(QTest::qWaitFor(
      [&] {
        return Titles(*menu.contextMenu()) ==
               std::vector<std::string>{
                   "Show Devices",           "-", "No Local Devices Found.", "-", "Settings",
                   "Quit Vorn Device Finder"};
      },
      kDeadline));
}

TEST_F(StatusMenuTest, DuplicateUrlsMakeOneEntry) {
  EXPECT_EQ(opened({Device("anna"), Device("anna"), Device("berta")}).size(), 7U);
}

}  // namespace
}  // namespace vorn::ui
