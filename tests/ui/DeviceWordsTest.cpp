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

}  // namespace
}  // namespace vorn::ui
