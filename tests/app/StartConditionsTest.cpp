#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "app/Identity.h"
#include "app/StartConditions.h"
#include "foundation/FileDescriptor.h"
#include "tests/support/TemporaryFolder.h"

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

class DisplayTest : public ::testing::Test {
 protected:
  DisplayTest() {
    for (const char* variable : kVariables) ::unsetenv(variable);
    ::setenv("XDG_RUNTIME_DIR", fFolder.Path().c_str(), 1);
  }
  ~DisplayTest() override {
    for (const char* variable : kVariables) ::unsetenv(variable);
    ::unsetenv("XDG_RUNTIME_DIR");
  }

  static constexpr const char* kVariables[] = {"DISPLAY", "WAYLAND_DISPLAY", "WAYLAND_SOCKET",
                                               "QT_QPA_PLATFORM"};
  testing::TemporaryFolder fFolder;
};

FileDescriptor Listen(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  EXPECT_EQ(::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(::listen(socket.Get(), 1), 0);
  return socket;
}

TEST_F(DisplayTest, NothingAnswersIfNothingIsNamed) {
  EXPECT_FALSE(Display().Answers());
  ::setenv("DISPLAY", "", 1);
  ::setenv("WAYLAND_DISPLAY", "", 1);
  EXPECT_FALSE(Display().Answers());
}

TEST_F(DisplayTest, AServerThatIsGoneDoesNotAnswer) {
  ::setenv("DISPLAY", "unix:/nonexistent:7", 1);
  EXPECT_FALSE(Display().Answers());
  ::setenv("DISPLAY", "nonsense", 1);
  EXPECT_FALSE(Display().Answers());
}

TEST_F(DisplayTest, ACompositorAnswersByNameAndByPath) {
  const std::string path = fFolder.Path() / "wayland-7";
  const auto socket = Listen(path);
  ::setenv("WAYLAND_DISPLAY", "wayland-7", 1);
  EXPECT_TRUE(Display().Answers());
  ::setenv("WAYLAND_DISPLAY", path.c_str(), 1);
  EXPECT_TRUE(Display().Answers());
  ::setenv("WAYLAND_DISPLAY", "wayland-8", 1);
  EXPECT_FALSE(Display().Answers());
}

TEST_F(DisplayTest, ACompositorThatIsGoneDoesNotAnswer) {
  Listen(fFolder.Path() / "wayland-7");  // the socket's file stays
  ::setenv("WAYLAND_DISPLAY", "wayland-7", 1);
  EXPECT_FALSE(Display().Answers());
}

TEST_F(DisplayTest, APathTooLongForASocketDoesNotAnswer) {
  ::setenv("WAYLAND_DISPLAY", std::string(5000, 'x').c_str(), 1);
  EXPECT_FALSE(Display().Answers());
}

TEST_F(DisplayTest, APlatformWithoutAServerNeedsNone) {
  ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  EXPECT_TRUE(Display().Answers());
  for (const char* platform : {"xcb", "wayland;xcb", "wayland-egl"}) {
    ::setenv("QT_QPA_PLATFORM", platform, 1);
    EXPECT_FALSE(Display().Answers()) << platform;
  }
}

}  // namespace
}  // namespace vorn::app
