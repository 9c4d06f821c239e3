#include <gtest/gtest.h>
#include <sys/resource.h>

#include "foundation/DescriptorLimit.h"

namespace vorn {
namespace {

TEST(DescriptorLimitTest, RaisesTheSoftDescriptorLimitToTheHardOne) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  ASSERT_GT(before.rlim_max, 64U);
  rlimit lowered = before;
  lowered.rlim_cur = 64;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &lowered), 0);

  RaiseDescriptorLimit();

  rlimit after{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &after), 0);
  EXPECT_EQ(after.rlim_cur, before.rlim_max);
  EXPECT_EQ(after.rlim_max, before.rlim_max);
  ::setrlimit(RLIMIT_NOFILE, &before);
}

}  // namespace
}  // namespace vorn
