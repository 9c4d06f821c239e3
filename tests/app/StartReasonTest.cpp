#include <gtest/gtest.h>

#include <cstdlib>

#include "app/Identity.h"
#include "app/StartReason.h"

namespace vorn::app {
namespace {

class StartReasonTest : public ::testing::Test {
 protected:
  StartReasonTest() {
    for (const char* variable : kVariables) ::unsetenv(variable);
  }
  static constexpr const char* kVariables[] = {"DBUS_STARTER_BUS_TYPE", "DBUS_STARTER_ADDRESS",
                                               "XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID",
                                               Identity::kAtLoginVariable};
};

TEST_F(StartReasonTest, IsAPersonWhereNothingElseIsSaid) {
  const auto reason = TakeStartReason();
  EXPECT_FALSE(reason.atLogin);
  EXPECT_FALSE(reason.byBus);
  EXPECT_EQ(reason.activationToken, "");
}

TEST_F(StartReasonTest, TakesItsMarksOutOfTheEnvironment) {
  ::setenv("DBUS_STARTER_BUS_TYPE", "session", 1);
  ::setenv("DBUS_STARTER_ADDRESS", "unix:path=/x", 1);
  ::setenv("XDG_ACTIVATION_TOKEN", "token", 1);
  ::setenv("DESKTOP_STARTUP_ID", "id", 1);
  ::setenv(Identity::kAtLoginVariable, "1", 1);
  const auto reason = TakeStartReason();
  EXPECT_TRUE(reason.atLogin);
  EXPECT_TRUE(reason.byBus);
  EXPECT_EQ(reason.activationToken, "token");
  for (const char* variable : kVariables) EXPECT_EQ(std::getenv(variable), nullptr) << variable;
}

TEST_F(StartReasonTest, TakesTheOlderTokenWhereThereIsNoNewerOne) {
  ::setenv("DESKTOP_STARTUP_ID", "id", 1);
  EXPECT_EQ(TakeStartReason().activationToken, "id");
}

TEST_F(StartReasonTest, IsNotTheSystemBus) {
  ::setenv("DBUS_STARTER_BUS_TYPE", "system", 1);
  EXPECT_FALSE(TakeStartReason().byBus);
}

}  // namespace
}  // namespace vorn::app
