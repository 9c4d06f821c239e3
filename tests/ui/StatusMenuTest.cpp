#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QTest>
#include <algorithm>
#include <functional>

#include "tests/ui/Menus.h"
#include "tests/ui/ScriptedOwner.h"
#include "ui/StatusMenu.h"

namespace vorn::ui {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
              ElementsAre("Show Devices", "-", "berta (update 1.4.2 available)", "anna", "-", "Settings",
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
  opened(Devices(10));
  int changes = 0;
  for (QAction* action : fMenu.contextMenu()->actions()) {
    QObject::connect(action, &QAction::changed, action, [&] { ++changes; });
  }
  opened(Devices(10));
  EXPECT_EQ(changes, 0);
}

TEST_F(StatusMenuTest, AChangeTouchesTheEntryThatShowsItAndNoOther) {
  List list = Devices(11);
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

TEST_F(StatusMenuTest, NamesTwelveDevicesAndOffersAllInThePanel) {
  EXPECT_THAT(opened(Devices(300)),
              ElementsAre("Show Devices", "-", "unit0000", "unit0001", "unit0002", "unit0003", "unit0004",
                          "unit0005", "unit0006", "unit0007", "unit0008", "unit0009", "unit0010", "unit0011",
                          "All Devices (300)...", "-", "Settings", "Quit Vorn Device Finder"));
  entry("All Devices (300)...")->trigger();
  EXPECT_THAT(fOwner.fVisibleRequests, ElementsAre(true));
  EXPECT_EQ(opened(Devices(13)).at(14), "All Devices (13)...");
  EXPECT_EQ(opened(Devices(12)).at(13), "unit0011");
  EXPECT_EQ(opened(Devices(12)).at(14), "-");
}

TEST_F(StatusMenuTest, NamesDevicesWithAnUpdateFirst) {
  List list = Devices(14);
  list[13].firmwareVersion = FirmwareVersion{1, 3, 0, 0};
  list[13].latestVersion = FirmwareVersion{1, 4, 2, 0};
  list[5].firmwareVersion = list[5].latestVersion = FirmwareVersion{1, 4, 2, 0};
  EXPECT_THAT(opened(list), ElementsAre("Show Devices", "-", "unit0013 (update 1.4.2 available)", "unit0000",
                                        "unit0001", "unit0002", "unit0003", "unit0004", "unit0005",
                                        "unit0006", "unit0007", "unit0008", "unit0009", "unit0010",
                                        "All Devices (14)...", "-", "Settings", "Quit Vorn Device Finder"));
}

TEST_F(StatusMenuTest, ADeviceThatComesIntoTheLimitGetsAnEntry) {
  List list = Devices(static_cast<int>(StatusMenu::kMaxEntries) + 1);
  opened(list);
  QAction* const second = entry("unit0001");
  ASSERT_EQ(entry("unit0012"), nullptr);
  list.erase(list.begin());
  opened(list);
  EXPECT_NE(entry("unit0012"), nullptr);
  EXPECT_EQ(entry("unit0000"), nullptr);
  EXPECT_EQ(entry("unit0001"), second);
}

TEST_F(StatusMenuTest, ListsAreTakenOverALittleLaterAndTogether) {
  for (int i = 0; i < 12; ++i) fMenu.updateDeviceList(Shared(Devices(i)));
  EXPECT_EQ(entry("unit0000"), nullptr);
  EXPECT_TRUE(QTest::qWaitFor([&] { return entry("unit0010") != nullptr; }, kDeadline));
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

TEST_F(StatusMenuTest, RandomListsEndInTheirOwnOrderBehindTheUpdates) {
  std::uint32_t state = 7;
  const auto random = [&] { return (state = state * 1664525U + 1013904223U) >> 16; };
  for (int round = 0; round < 200; ++round) {
    List list = Devices(20);
    std::erase_if(list, [&](const auto&) { return random() % 3 == 0; });
    for (std::size_t i = list.size(); i > 1; --i) std::swap(list[i - 1], list[random() % i]);
    std::vector<std::string> expected;
    for (auto& info : list) {
      if (random() % 4 != 0) continue;
      info.firmwareVersion = FirmwareVersion{1, 3, 0, 0};
      info.latestVersion = FirmwareVersion{1, 4, 2, 0};
      expected.push_back(*info.name + " (update 1.4.2 available)");
    }
    for (const auto& info : list) {
      if (!info.latestVersion) expected.push_back(*info.name);
    }
    const std::size_t count = expected.size();
    if (count == 0) expected.emplace_back("No Local Devices Found.");
    if (count > 12) expected.resize(12);
    if (count > 12) expected.push_back("All Devices (" + std::to_string(count) + ")...");
    const auto titles = opened(list);
    ASSERT_EQ(std::vector<std::string>(titles.begin() + 2, titles.end() - 3), expected);
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

// --- an open menu ---------------------------------------------------------

/// The menu as the toolkit draws it, on the screen.
class OpenStatusMenuTest : public StatusMenuTest {
 protected:
  void open(const List& list) {
    fMenu.setForm(MenuForm::Drawn);
    fMenu.updateDeviceList(Shared(list));
    menu().popup({50, 50});
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&menu(), kDeadline));
  }
  ~OpenStatusMenuTest() override { menu().close(); }

  QMenu& menu() { return *fMenu.contextMenu(); }
  void publish(const List& list, const std::function<bool()>& isShown) {
    fMenu.updateDeviceList(Shared(list));
    ASSERT_TRUE(QTest::qWaitFor(isShown, kDeadline));
  }
  void click(QPoint place) {
    QTest::mouseMove(&menu(), place);
    QTest::mouseClick(&menu(), Qt::LeftButton, {}, place);
  }
};

TEST_F(OpenStatusMenuTest, ADeviceThatGoesLeavesItsPlaceAndNoNeighbourTakesIt) {
  open(kThree);
  QAction* const anna = entry("anna");
  QAction* const berta = entry("berta");
  const QPoint placeOfAnna = menu().actionGeometry(anna).center();
  const QRect placeOfBerta = menu().actionGeometry(berta);
  publish({kThree[1], kThree[2], Device("aaron")}, [&] { return !anna->isEnabled(); });
  EXPECT_THAT(Titles(menu()), ElementsAre("Show Devices", "-", "anna", "berta", "clara", "-", "Settings",
                                          "Quit Vorn Device Finder"));
  EXPECT_EQ(menu().actionGeometry(berta), placeOfBerta);
  click(placeOfAnna);
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  click(placeOfBerta.center());
  EXPECT_THAT(fOwner.fOpened, ElementsAre(Device("berta").url));
}

TEST_F(OpenStatusMenuTest, ADeviceThatComesBackCanBeChosenAgain) {
  open(kThree);
  QAction* const anna = entry("anna");
  publish({kThree[1]}, [&] { return !anna->isEnabled(); });
  publish(kThree, [&] { return anna->isEnabled(); });
  click(menu().actionGeometry(anna).center());
  EXPECT_THAT(fOwner.fOpened, ElementsAre(Device("anna").url));
}

TEST_F(OpenStatusMenuTest, AnUpdateShowsInPlaceAndMovesToTheTopAfterwards) {
  open(kThree);
  publish({kThree[0], kThree[1], Device("clara", {1, 3, 0, 0}, {1, 4, 2, 0})},
          [&] { return entry("clara (update 1.4.2 available)") != nullptr; });
  EXPECT_EQ(Titles(menu())[4], "clara (update 1.4.2 available)");
  menu().close();
  EXPECT_TRUE(
      QTest::qWaitFor([&] { return Titles(menu())[2] == "clara (update 1.4.2 available)"; }, kDeadline));
}

TEST_F(StatusMenuTest, TheReasonForAnEmptyListChangesInAnOpenMenuButMovesNothing) {
  auto hint = DeviceList::DiscoveryHint::kStillLooking;
  int asked = 0;
  StatusMenu status(fOwner, nullptr, std::chrono::milliseconds(10));
  status.setHintSource([&] {
    ++asked;
    return hint;
  });
  QMenu& menu = *status.contextMenu();
  menu.popup({50, 50});
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&menu, kDeadline));
  QAction* const quit = menu.actions().last();
  const int place = menu.actionGeometry(quit).top();
  hint = DeviceList::DiscoveryHint::kResponderAbsent;
  EXPECT_TRUE(QTest::qWaitFor(
      [&] { return Titles(menu)[3] == "The discovery service (Avahi) is not running."; }, kDeadline));
  hint = DeviceList::DiscoveryHint::kNone;
  const int before = asked;
  ASSERT_TRUE(QTest::qWaitFor([&] { return asked > before; }, kDeadline));
  EXPECT_EQ(menu.actionGeometry(quit).top(), place);
  menu.close();
  EXPECT_TRUE(QTest::qWaitFor([&] { return Titles(menu)[3] == "-"; }, kDeadline));
}

class ExportedStatusMenuTest : public StatusMenuTest {
 protected:
  std::vector<std::string> titlesWhen(const std::function<bool()>& isShown) {
    EXPECT_TRUE(QTest::qWaitFor(isShown, kDeadline));
    return Titles(*fMenu.contextMenu());
  }
};

TEST_F(ExportedStatusMenuTest, WhileAHostShowsItNoEntryMoves) {
  opened(kThree);
  QAction* const anna = entry("anna");
  fMenu.updateDeviceList(Shared({kThree[2]}));
  EXPECT_EQ(titlesWhen([&] { return !anna->isEnabled(); })[3], "berta");
  anna->trigger();
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  emit fMenu.contextMenu()->aboutToHide();
  EXPECT_EQ(titlesWhen([&] { return !entry("berta"); })[2], "clara");
}

TEST_F(ExportedStatusMenuTest, AChoiceThatArrivesAfterTheClosingStillCounts) {
  opened(kThree);
  QAction* const anna = entry("anna");
  fMenu.updateDeviceList(Shared({Device("aaron")}));
  emit fMenu.contextMenu()->aboutToHide();
  anna->trigger();
  EXPECT_THAT(fOwner.fOpened, ElementsAre(Device("anna").url));
}

TEST_F(ExportedStatusMenuTest, AHostThatNeverReportsTheClosingGetsNewEntriesLater) {
  EXPECT_GE(StatusMenu::kLongestOpening, std::chrono::seconds(20));
  StatusMenu menu(fOwner, nullptr, StatusMenu::kSettingsPeriod, std::chrono::milliseconds(400));
  emit menu.contextMenu()->aboutToShow();
  menu.updateDeviceList(Shared(kThree));
  EXPECT_TRUE(QTest::qWaitFor([&] { return Titles(*menu.contextMenu())[2] == "anna"; }, kDeadline));
}

TEST_F(StatusMenuTest, DuplicateUrlsMakeOneEntry) {
  EXPECT_EQ(opened({Device("anna"), Device("anna"), Device("berta")}).size(), 7U);
}

}  // namespace
}  // namespace vorn::ui
