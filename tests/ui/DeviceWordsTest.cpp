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
