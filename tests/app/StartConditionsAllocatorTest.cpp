#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "app/StartConditions.h"

namespace vorn::app {
namespace {

TEST(ActivationTokenRoomTest, LaterTokensLeaveTheEnvironmentWhereItIs) {
  ::setenv(kActivationTokenVariable, "first", 1);
  static_cast<void>(TakeStartReason());
  char** const table = environ;
  ::setenv(kActivationTokenVariable, "a later and longer one", 1);
  EXPECT_EQ(environ, table);
  ::unsetenv(kActivationTokenVariable);
  ::setenv(kActivationTokenVariable, "another", 1);
  EXPECT_EQ(environ, table);
}

}  // namespace
}  // namespace vorn::app
