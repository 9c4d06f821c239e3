#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "notification/Notifier.h"
#include "tests/notification/Devices.h"
#include "tests/platform/FakeNotificationCenter.h"
#include "tests/platform/FakeUrlOpener.h"

namespace Notification {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::MakeDevice;
using ::testing::Pair;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

class NotifierTest : public ::testing::Test {
 protected:
  vorn::UserNotification Post(DeviceList::ExtendedDeviceInfo device) {
    EXPECT_TRUE(fNotifier->Notify({device.uid, {1, 0, 0, 5}, {1, 4, 2, 311}}, device));
    return fCenter.fDelivered.empty() ? vorn::UserNotification() : fCenter.fDelivered.back();
  }

  vorn::testing::FakeNotificationCenter fCenter;
  vorn::testing::FakeUrlOpener fOpener;
  std::unique_ptr<Notifier> fNotifier = std::make_unique<Notifier>(fCenter, fOpener);
  DeviceList::ExtendedDeviceInfo fDevice = MakeDevice({1, 0, 0, 5}, {1, 4, 2, 311});
};

TEST_F(NotifierTest, PostsNameReleaseAndPageOfADevice) {
  const auto notification = Post(fDevice);
  EXPECT_EQ(notification.title, "Update Available for Studio A");
  EXPECT_EQ(notification.informativeText, "1.4.2");
  EXPECT_THAT(notification.userInfo, ElementsAre(Pair("URL", "http://studio-a.local:80/#device")));
  EXPECT_EQ(notification.subject, fDevice.uid);
  EXPECT_EQ(notification.source, fDevice.address);
  EXPECT_TRUE(notification.playsDefaultSound);
}

TEST_F(NotifierTest, ATranslationSaysWhereTheNameStands) {
  const std::vector<std::pair<const char*, const char*>> titles{
      {"Aktualisierung verfügbar für %1", "Aktualisierung verfügbar für 100 %1"},
      {"%1: neu", "100 %1: neu"},
      {"Neu", "Neu 100 %1"},
  };
  fDevice.name = std::string("100 %1");
  for (const auto& [translation, title] : titles) {
    std::string asked;
    fNotifier = std::make_unique<Notifier>(fCenter, fOpener, [&, answer = translation](const char* text) {
      asked = text;
      return std::string(answer);
    });
    EXPECT_EQ(Post(fDevice).title, title);
    EXPECT_EQ(asked, "Update Available for %1");
  }
}

TEST_F(NotifierTest, AddsTheFragmentForHosts) {
  fDevice.type = DeviceList::kTypeHost;
  EXPECT_EQ(Post(fDevice).userInfo.at("URL"), "http://studio-a.local:80/#device");
}

TEST_F(NotifierTest, LeadsToTheBareAddressForAnythingElse) {
  for (const char* type : {DeviceList::kTypeSwitch, "driver", ""}) {
    fDevice.type = type;
    EXPECT_EQ(Post(fDevice).userInfo.at("URL"), "http://studio-a.local:80/");
  }
}

TEST_F(NotifierTest, TakesTheReleaseFromTheRecord) {
  EXPECT_TRUE(fNotifier->Notify({fDevice.uid, {1, 0, 0, 5}, {18446744073709551615U, 0, 10, 3}}, fDevice));
  EXPECT_EQ(fCenter.fDelivered.back().informativeText, "18446744073709551615.0.10");
}

TEST_F(NotifierTest, SaysThatTheCentreHasNotTakenIt) {
  fCenter.fIsFull = true;
  EXPECT_FALSE(fNotifier->Notify({fDevice.uid, {1, 0, 0, 5}, {1, 4, 2, 311}}, fDevice));
}

TEST_F(NotifierTest, PostsNothingForADeviceWithoutAName) {
  fDevice.name.reset();
  Post(fDevice);
  EXPECT_THAT(fCenter.fDelivered, IsEmpty());
}

TEST_F(NotifierTest, OpensThePageOnAClickAndRemovesTheNotification) {
  auto clicked = Post(fDevice);
  clicked.activationToken = "token-1";
  ASSERT_TRUE(fCenter.Activate(clicked));
  EXPECT_THAT(fOpener.fUrls, ElementsAre("http://studio-a.local:80/#device"));
  EXPECT_THAT(fOpener.fTokens, ElementsAre("token-1"));
  ASSERT_EQ(fCenter.fRemoved.size(), 1U);
  EXPECT_EQ(fCenter.fRemoved[0].identifier, clicked.identifier);
}

TEST_F(NotifierTest, HearsNoClicksAfterItsEnd) {
  const auto notification = Post(fDevice);
  fNotifier.reset();
  EXPECT_FALSE(fCenter.Activate(notification));
  EXPECT_THAT(fOpener.fUrls, IsEmpty());
}

class HandleNotificationActivationTest : public ::testing::Test {
 protected:
  vorn::testing::FakeNotificationCenter fCenter;
  vorn::testing::FakeUrlOpener fOpener;
  vorn::UserNotification fNotification;
};

TEST_F(HandleNotificationActivationTest, RemovesANotificationThatCarriesNoAddress) {
  fNotification.identifier = 7;
  HandleNotificationActivation(fNotification, fCenter, fOpener);
  ASSERT_EQ(fCenter.fRemoved.size(), 1U);
  EXPECT_EQ(fCenter.fRemoved[0].identifier, 7U);
  EXPECT_THAT(fOpener.fUrls, IsEmpty());
}

TEST_F(HandleNotificationActivationTest, RemovesANotificationWhoseAddressIsNone) {
  for (const char* address : {"", "no address", "file:///etc/passwd"}) {
    fNotification.userInfo["URL"] = address;
    CaptureStderr();
    HandleNotificationActivation(fNotification, fCenter, fOpener);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("Not a web address"));
  }
  EXPECT_EQ(fCenter.fRemoved.size(), 3U);
  EXPECT_THAT(fOpener.fUrls, IsEmpty());
}

TEST_F(HandleNotificationActivationTest, OpensTheAddressAndHandsTheTokenOn) {
  fNotification.userInfo["URL"] = "http://10.0.0.1:8080/#device";
  fNotification.activationToken = "abc";
  HandleNotificationActivation(fNotification, fCenter, fOpener);
  EXPECT_THAT(fOpener.fUrls, ElementsAre("http://10.0.0.1:8080/#device"));
  EXPECT_THAT(fOpener.fTokens, ElementsAre("abc"));
}

TEST_F(HandleNotificationActivationTest, OpensAPageFromItsAddressAlone) {
  HandleNotificationActivation("https://unit.example/#device", "", fOpener);
  EXPECT_THAT(fOpener.fUrls, ElementsAre("https://unit.example/#device"));
}

TEST_F(HandleNotificationActivationTest, RefusesOtherAddressesOnTheConsole) {
  CaptureStderr();
  HandleNotificationActivation("javascript:alert(1)\n" + std::string(5000, 'x'), "", fOpener);
  const std::string console = GetCapturedStderr();
  EXPECT_THAT(console, HasSubstr("javascript:alert(1)?xxx"));
  EXPECT_LT(console.size(), 400U);
  EXPECT_THAT(fOpener.fUrls, IsEmpty());
}

}  // namespace
}  // namespace Notification
