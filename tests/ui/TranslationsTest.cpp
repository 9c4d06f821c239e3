#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>

#include "tests/ui/Menus.h"
#include "tests/ui/PanelFixture.h"
#include "ui/DeviceWords.h"
#include "ui/StatusMenu.h"
#include "ui/Translations.h"

// Runs with a German user's environment.
namespace vorn::ui {
namespace {

using testing::ElementsAre;

const List kUnits{Device("Studio A", {1, 3, 0, 0}, {1, 4, 2, 0}), Device("Core", "plexaswitch")};

TEST(TranslationsTest, MenusSpeakGerman) {
  ScriptedOwner owner;
  StatusMenu menu(owner);
  menu.updateDeviceList(Shared({}));
  emit menu.contextMenu()->aboutToShow();
  EXPECT_THAT(Titles(*menu.contextMenu()),
              ElementsAre("Geräte anzeigen", "-", "Keine lokalen Geräte gefunden.", "-", "Einstellungen",
                          "Vorn Device Finder beenden"));
  EXPECT_THAT(
      Titles(*menu.menu()),
      ElementsAre("Bei der Anmeldung starten", "Switches anzeigen", "Über Aktualisierungen benachrichtigen",
                  "Nach neuer Firmware suchen", "-", "Tastenkürzel", "Über Vorn Device Finder"));
  menu.updateDeviceList(Shared(kUnits));
  emit menu.contextMenu()->aboutToShow();
  EXPECT_EQ(Titles(*menu.contextMenu())[2], "Studio A (Aktualisierung 1.4.2 verfügbar)");
}

TEST(TranslationsTest, NumbersChooseTheirPlural) {
  EXPECT_EQ(listWords({Device("anna")}, DeviceList::DiscoveryHint::kNone), "1 Gerät");
  EXPECT_EQ(listWords(kThree, DeviceList::DiscoveryHint::kNone), "3 Geräte");
  EXPECT_EQ(allDevicesWords(300), "Alle Geräte (300) …");
}

TEST(TranslationsTest, RowsAreReadAloudInGerman) {
  EXPECT_EQ(rowSentence(kUnits[0], "Studio A"),
            "Studio A, Audio-Interface, Firmware 1.3.0, Aktualisierung 1.4.2 verfügbar");
  EXPECT_EQ(rowSentence(kUnits[1], "Core"), "Core, AVB-Switch");
}

TEST(TranslationsTest, TextsOfTheCoreAreTranslatedByTheFrontEnd) {
  EXPECT_EQ(coreText("Update Available for %1"), "Aktualisierung verfügbar für %1");
  EXPECT_EQ(coreText("a text that nobody has marked"), "a text that nobody has marked");
}

using TranslatedPanelTest = PanelFixture;

TEST_F(TranslatedPanelTest, SpeaksGermanFromLeftToRight) {
  open({});
  EXPECT_EQ(fPanel->layoutDirection(), Qt::LeftToRight);
  EXPECT_EQ(table()->accessibleName(), "Geräte");
  EXPECT_EQ(fPanel->findChild<QToolButton*>("settings")->toolTip(), "Einstellungen");
  EXPECT_EQ(table()->model()->index(0, 0).data().toString(), "Keine lokalen Geräte gefunden.");
}

}  // namespace
}  // namespace vorn::ui
