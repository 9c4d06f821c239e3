#include <gtest/gtest.h>

#include "tests/ui/Devices.h"
#include "ui/DeviceWords.h"

namespace vorn::ui {
namespace {

QString sentence(const DeviceList::ExtendedDeviceInfo& info) {
  return rowSentence(info, nameWords(info));
}

TEST(DeviceWordsTest, LeavesOutABuildNumberOfZeroOnly) {
  EXPECT_EQ(versionWords({1, 4, 2, 0}), "1.4.2");
  EXPECT_EQ(versionWords({1, 4, 2, 7}), "1.4.2+7");
}

TEST(DeviceWordsTest, MakeOneSentenceOfWhatIsKnown) {
  EXPECT_EQ(sentence(Device("Studio A", {1, 3, 0, 0}, {1, 4, 2, 0})),
            "Studio A, audio interface, firmware 1.3.0, update 1.4.2 available");
  EXPECT_EQ(sentence(Device("Studio A", {1, 4, 2, 0}, {1, 4, 2, 0})),
            "Studio A, audio interface, firmware 1.4.2");
  EXPECT_EQ(sentence(Device("Core", "plexaswitch")), "Core, AVB switch");
  EXPECT_EQ(sentence(Device("Front", "plexahost")), "Front, host");
  EXPECT_EQ(sentence(Device("Odd", "toaster")), "Odd");
  DeviceList::ExtendedDeviceInfo nameless = Device("x");
  nameless.name.reset();
  EXPECT_EQ(sentence(nameless), "(unnamed), audio interface");
}

TEST(DeviceWordsTest, NameAnUpdateWithoutItsBuildNumber) {
  const DeviceList::ExtendedDeviceInfo info = Device("Studio A", {1, 4, 0, 290}, {1, 4, 2, 311});
  EXPECT_EQ(updateWords(info), "update 1.4.2 available");
  EXPECT_EQ(sentence(info), "Studio A, audio interface, firmware 1.4.0+290, update 1.4.2 available");
}

TEST(DeviceWordsTest, CountTheListAndItsUpdates) {
  const auto current = Device("a");
  const auto outdated = Device("b", {1, 0, 0, 0}, {2, 0, 0, 0});
  const auto words = [](const List& list) { return listWords(list, DeviceList::DiscoveryHint::kNoNetwork); };
  EXPECT_EQ(words({current}), "1 device");
  EXPECT_EQ(words({current, current}), "2 devices");
  EXPECT_EQ(words({current, current, outdated}), "3 devices, 1 update available");
  EXPECT_EQ(words({outdated, outdated}), "2 devices, 2 updates available");
}

TEST(DeviceWordsTest, GiveTheReasonOfAnEmptyList) {
  EXPECT_EQ(listWords({}, DeviceList::DiscoveryHint::kNone), "No Local Devices Found.");
  EXPECT_EQ(listWords({}, DeviceList::DiscoveryHint::kNoNetwork), "There is no network connection.");
}

TEST(DeviceWordsTest, SayNoUpdateWhileAVersionIsMissing) {
  DeviceList::ExtendedDeviceInfo info = Device("a", {1, 0, 0, 0}, {2, 0, 0, 0});
  EXPECT_EQ(updateWords(info), "update 2.0.0 available");
  info.firmwareVersion.reset();
  EXPECT_EQ(updateWords(info), "");
  info = Device("a", {1, 0, 0, 0}, {2, 0, 0, 0});
  info.latestVersion.reset();
  EXPECT_EQ(updateWords(info), "");
}

// --- the second line --------------------------------------------------------

DeviceList::ExtendedDeviceInfo Hosted(const std::string& name, const std::string& url) {
  DeviceList::ExtendedDeviceInfo info = Device(name, "plexahost");
  info.url = url;
  return info;
}

TEST(DeviceWordsTest, SayWhereAnOutdatedFirmwareLeads) {
  EXPECT_EQ(firmwareWords(Device("a", {1, 4, 0, 290}, {1, 4, 2, 311})), "1.4.0 \u2192 1.4.2");
  EXPECT_EQ(firmwareWords(Device("a", {1, 4, 2, 311}, {1, 4, 2, 311})), "1.4.2");
  EXPECT_EQ(firmwareWords(Device("a", {1, 4, 3, 400}, {1, 4, 2, 311})), "1.4.3");
  EXPECT_EQ(firmwareWords(Device("a")), "");
  DeviceList::ExtendedDeviceInfo info = Device("a", {1, 0, 0, 0}, {2, 0, 0, 0});
  info.latestVersion.reset();
  EXPECT_EQ(firmwareWords(info), "1.0.0");
}

TEST(DeviceWordsTest, ShowBuildNumbersWhereOnlyTheyDiffer) {
  EXPECT_EQ(firmwareWords(Device("a", {1, 4, 2, 310}, {1, 4, 2, 311})), "1.4.2+310 \u2192 1.4.2+311");
}

TEST(DeviceWordsTest, TakeNoBlankModel) {
  DeviceList::ExtendedDeviceInfo info = Device("a");
  EXPECT_EQ(modelWords(info), "");
  info.modelID = std::string(" \xE2\x80\x8B\n");
  EXPECT_EQ(modelWords(info), "");
  info.modelID = std::string(" Vorn\n16A ");
  EXPECT_EQ(modelWords(info), "Vorn 16A");
}

TEST(DeviceWordsTest, NameTheHostOfAUnitBehindOne) {
  EXPECT_EQ(hostWords(Hosted("Rack Left", "http://machine-room.local/0001/")), "behind machine-room");
  EXPECT_EQ(hostWords(Hosted("Rack Left", "http://machine-room.local.:8080/0001/")), "behind machine-room");
  EXPECT_EQ(hostWords(Hosted("Rack Left", "http://10.0.0.7:8080/0001/")), "behind 10.0.0.7");
  EXPECT_EQ(hostWords(Hosted("Rack Left", "http://.local/0001/")), "");
  EXPECT_EQ(hostWords(Hosted("Rack Left", "nonsense")), "");
  EXPECT_EQ(hostWords(Hosted("Machine Room, left", "http://machine-room.local/0001/")), "")
      << "its name says so";
  EXPECT_EQ(hostWords(Device("Rack Left")), "") << "it stands for itself";
}

TEST(DeviceWordsTest, JoinTheDetailsThatAreKnown) {
  EXPECT_EQ(detailLine({"Vorn 16A", "1.4.0"}), "Vorn 16A \u00B7 1.4.0");
  EXPECT_EQ(detailLine({"", "1.4.0"}), "1.4.0");
  EXPECT_EQ(detailLine({"", ""}), "");
}

}  // namespace
}  // namespace vorn::ui
