#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "notification/HandleNotificationActivation.h"
#include "tests/platform/FakeNotificationCenter.h"
#include "tests/platform/FakeUrlOpener.h"

namespace Notification {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

class HandleNotificationActivationTest : public ::testing::Test {
 protected:
  vorn::testing::FakeNotificationCenter fCenter;
  vorn::testing::FakeUrlOpener fOpener;
  vorn::UserNotification fNotice;
};

TEST_F(HandleNotificationActivationTest, RemovesANoticeThatCarriesNoAddress) {
  fNotice.identifier = 7;
  HandleNotificationActivation(fNotice, fCenter, fOpener);
  ASSERT_EQ(fCenter.fRemoved.size(), 1U);
  EXPECT_EQ(fCenter.fRemoved[0].identifier, 7U);
  EXPECT_THAT(fOpener.fUrls, IsEmpty());
}

TEST_F(HandleNotificationActivationTest, RemovesANoticeWhoseAddressIsNone) {
  for (const char* address : {"", "no address", "file:///etc/passwd"}) {
    fNotice.userInfo["URL"] = address;
    CaptureStderr();
    HandleNotificationActivation(fNotice, fCenter, fOpener);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("Not a web address"));
  }
  EXPECT_EQ(fCenter.fRemoved.size(), 3U);
  EXPECT_THAT(fOpener.fUrls, IsEmpty());
}

TEST_F(HandleNotificationActivationTest, OpensTheAddressAndHandsTheTokenOn) {
  fNotice.userInfo["URL"] = "http://10.0.0.1:8080/#device";
  fNotice.activationToken = "abc";
  HandleNotificationActivation(fNotice, fCenter, fOpener);
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
