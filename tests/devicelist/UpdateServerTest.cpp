#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "devicelist/UpdateServer.h"

namespace DeviceList {
namespace {

using namespace std::string_literals;

class UpdateServerTest : public ::testing::Test {
 protected:
  ~UpdateServerTest() override { EXPECT_TRUE(SetUpdateServerRoot(fBefore)); }

  const std::string fBefore = UpdateServerRoot();
};

TEST_F(UpdateServerTest, BeginsWithARootThatItWouldTakeItself) {
  EXPECT_TRUE(SetUpdateServerRoot(fBefore));
}

TEST_F(UpdateServerTest, TakesHTTPUrlsThatEndInAPI) {
  for (const char* root : {"http://updates.example/api/", "http://127.0.0.1:8080/api/", "http://h/v1/api/",
                           "http://[::1]:80/api/"}) {
    EXPECT_TRUE(SetUpdateServerRoot(root)) << root;
    EXPECT_EQ(UpdateServerRoot(), root);
  }
}

TEST_F(UpdateServerTest, RefusesAllElseAndChangesNothing) {
  ASSERT_TRUE(SetUpdateServerRoot("http://kept.example/api/"));
  for (const auto& root : {""s,
                           "https://h/api/"s,
                           "HTTP://h/api/"s,
                           "ftp://h/api/"s,
                           "h/api/"s,
                           "/api/"s,
                           "http:///api/"s,
                           "http://h/api"s,
                           "http://h/"s,
                           "http://h/apis/"s,
                           "http://h/myapi/"s,
                           "http://h/api/?x=/api/"s,
                           "http://h/?/api/"s,
                           "http://h/#/api/"s,
                           "http://u:p@h/api/"s,
                           "http://@h/api/"s,
                           "http://h h/api/"s,
                           "http://h/a b/api/"s,
                           "http://h:x/api/"s,
                           "http://h\n/api/"s,
                           "http://h/\0/api/"s,
                           " http://h/api/"s,
                           "http://h/api/ "s}) {
    EXPECT_FALSE(SetUpdateServerRoot(root)) << root;
    EXPECT_EQ(UpdateServerRoot(), "http://kept.example/api/");
  }
}

TEST_F(UpdateServerTest, MayBeSetAndAskedByThreadsAtOnce) {
  std::thread writer([] {
    for (int i = 0; i < 1000; ++i)
      static_cast<void>(
          SetUpdateServerRoot(i % 2 == 0 ? "http://even.example/api/" : "http://uneven.example/api/"));
  });
  for (int i = 0; i < 1000; ++i) {
    const auto root = UpdateServerRoot();
    EXPECT_TRUE(root == fBefore || root == "http://even.example/api/" ||
                root == "http://uneven.example/api/");
  }
  writer.join();
}

}  // namespace
}  // namespace DeviceList
