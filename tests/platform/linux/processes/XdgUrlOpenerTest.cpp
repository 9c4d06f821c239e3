#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "foundation/FileDescriptor.h"
#include "platform/linux/processes/XdgUrlOpener.h"
#include "tests/support/Eventually.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TurnLoop.h"

namespace vorn {
namespace {

using testing::Eventually;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using testing::ScopedEnvironment;
using testing::TurnLoopUntil;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

class XdgUrlOpenerTest : public ::testing::Test {
 protected:
  XdgUrlOpenerTest() {
    const auto program = fFolder.Path() / "xdg-open";
    std::ofstream(program) << "#!/bin/sh\n{ echo \"$#:$1\"; echo \"token=${XDG_ACTIVATION_TOKEN-none}\"; "
                              "echo \"startup=${DESKTOP_STARTUP_ID-none}\"; "
                              "echo \"starter=${DBUS_STARTER_BUS_TYPE-none}\"; } > \"$0.part\"\n"
                              "mv \"$0.part\" \"$0.called\"\n";
    ::chmod(program.c_str(), 0755);
  }

  // An opener that is destroyed leaves its children to the end of the program.
  void TearDown() override {
    while (::waitpid(-1, nullptr, 0) > 0) continue;
  }

  /// What the replacement for the browser got.
  std::string Called() {
    const auto mark = fFolder.Path() / "xdg-open.called";
    EXPECT_TRUE(Eventually([&] { return std::filesystem::exists(mark); }));
    std::ostringstream content;
    content << std::ifstream(mark).rdbuf();
    std::filesystem::remove(mark);
    return content.str();
  }
  [[nodiscard]] bool WasCalled() const { return std::filesystem::exists(fFolder.Path() / "xdg-open.called"); }

  testing::TemporaryFolder fFolder;
  ScopedEnvironment fPath{"PATH", fFolder.Path().string() + ":/usr/bin:/bin"};
  ScopedEnvironment fOldToken{"XDG_ACTIVATION_TOKEN", "ours"};
  ScopedEnvironment fStarter{"DBUS_STARTER_BUS_TYPE", "session"};
  XdgUrlOpener fOpener;
};

TEST_F(XdgUrlOpenerTest, HandsOverTheAddressAsOneLiteralArgument) {
  const std::string url = "http://unit.example/?a=b&c=$(id);'`x`\"#device";
  fOpener.Open(url, "");
  EXPECT_EQ(Called(), "1:" + url + "\ntoken=none\nstartup=none\nstarter=none\n");
}

TEST_F(XdgUrlOpenerTest, HandsTheActivationTokenOn) {
  fOpener.Open("http://a/", "token-7");
  EXPECT_EQ(Called(), "1:http://a/\ntoken=token-7\nstartup=token-7\nstarter=none\n");
  EXPECT_STREQ(std::getenv("XDG_ACTIVATION_TOKEN"), "ours");
}

TEST_F(XdgUrlOpenerTest, GivesTheProgramTheHomeFolderAndNothingOfOurSignalsAndDescriptors) {
  const ScopedEnvironment home("HOME", fFolder.Path().string());
  std::ofstream(fFolder.Path() / "xdg-open")
      << "#!/bin/sh\n{ pwd; grep -E 'Sig(Blk|Ign)' /proc/self/status; readlink /proc/self/fd/0 "
         "/proc/self/fd/2; "
         "test -e /proc/self/fd/77 && echo leaked; } > \"$0.part\"\nmv \"$0.part\" \"$0.called\"\n";
  const FileDescriptor ours(::dup2(STDERR_FILENO, 77));  // one that a child inherits unless it is closed
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const auto handler = ::signal(SIGPIPE, SIG_IGN);
  fOpener.Open("http://a/", "");
  ::signal(SIGPIPE, handler);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  // The C library keeps two signals for itself, 32 and 33, which it may leave ignored.
  EXPECT_THAT(Called(),
              MatchesRegex(fFolder.Path().string() + "\nSigBlk:\t0000000000000000\nSigIgn:\t0000000[01]"
                                                     "[08]0000000\n/dev/null\n/dev/null\n"));
}

TEST_F(XdgUrlOpenerTest, LeavesNoChildBehind) {
  for (int i = 0; i < 5; ++i) {
    fOpener.Open("http://a/", "");
    static_cast<void>(Called());
  }
  EXPECT_TRUE(TurnLoopUntil([] {  // none that runs, none that waits for its parent
    return ::waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT) == -1 && errno == ECHILD;
  }));
}

TEST_F(XdgUrlOpenerTest, SaysWhyAPageCouldNotBeOpened) {
  for (const auto& [end, reason] : {std::pair{"exit 3", "exited with 3"},
                                    {"exit 4", "no program could open"},
                                    {"kill -9 $$", "signal 9"}}) {
    std::ofstream(fFolder.Path() / "xdg-open") << "#!/bin/sh\n" << end << "\n";
    CaptureStderr();
    fOpener.Open("http://a/", "");
    EXPECT_TRUE(TurnLoopUntil([&] { return fOpener.TakeFailure(); }));
    EXPECT_FALSE(fOpener.TakeFailure());
    EXPECT_THAT(GetCapturedStderr(), HasSubstr(reason));
  }
}

TEST_F(XdgUrlOpenerTest, SaysNothingWhereThePageWasOpened) {
  fOpener.Open("http://a/", "");
  static_cast<void>(Called());
  EXPECT_TRUE(TurnLoopUntil([] { return ::waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT) == -1; }));
  EXPECT_FALSE(fOpener.TakeFailure());
}

TEST_F(XdgUrlOpenerTest, IsOpeningUntilTheProgramHasEnded) {
  EXPECT_FALSE(fOpener.IsOpening());
  std::ofstream(fFolder.Path() / "xdg-open")
      << "#!/bin/sh\ntouch $0.called\nwhile ! test -e $0.go; do sleep 0.01; done\nexit 4\n";
  CaptureStderr();
  fOpener.Open("http://a/", "");
  static_cast<void>(Called());
  EXPECT_TRUE(fOpener.IsOpening());
  std::ofstream(fFolder.Path() / "xdg-open.go") << "now";
  EXPECT_TRUE(Eventually([this] { return !fOpener.IsOpening(); })) << "without an event loop too";
  EXPECT_TRUE(fOpener.TakeFailure());
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("no program could open"));
}

TEST_F(XdgUrlOpenerTest, LeavesTheBrowserRunningAtItsEnd) {
  const auto mark = fFolder.Path() / "went-on";
  std::ofstream(fFolder.Path() / "xdg-open")
      << "#!/bin/sh\ntouch $0.called\nwhile ! test -e $0.go; do sleep 0.01; done\ntouch " << mark.string()
      << "\n";
  {
    XdgUrlOpener opener;
    opener.Open("http://a/", "");
    static_cast<void>(Called());
  }
  std::ofstream(fFolder.Path() / "xdg-open.go") << "now";
  EXPECT_TRUE(Eventually([&] { return std::filesystem::exists(mark); }));
}

TEST_F(XdgUrlOpenerTest, RefusesWhatIsNoAddress) {
  for (const std::string& url :
       {std::string(), std::string("--help"), std::string("http://a/\nb"), std::string("http://a/\0b", 11)}) {
    CaptureStderr();
    fOpener.Open(url, "");
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("Not an address"));
  }
  fOpener.Open("http://last/", "");
  EXPECT_THAT(Called(), HasSubstr("http://last/"));
  EXPECT_FALSE(WasCalled());
}

TEST_F(XdgUrlOpenerTest, SaysWhenThereIsNothingToOpenPagesWith) {
  const ScopedEnvironment path("PATH", "/nonexistent");
  CaptureStderr();
  fOpener.Open("http://a/", "");
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("xdg-open could not be started"));
  EXPECT_TRUE(fOpener.TakeFailure());
}

}  // namespace
}  // namespace vorn
