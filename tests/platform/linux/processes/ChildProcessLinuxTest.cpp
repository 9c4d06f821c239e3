#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "platform/linux/processes/ChildProcessLauncherLinux.h"
#include "tests/support/Eventually.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace std::chrono_literals;
using vorn::testing::Eventually;
using Clock = std::chrono::steady_clock;
using vorn::ChildOutput;
using vorn::ChildProcess;
using vorn::ChildProcessRequest;
using vorn::testing::Eventually;

constexpr auto kDeadline = 20s;

// For a child that is ended at this deadline: long enough for a busy machine to start a shell.
constexpr auto kTimeToBegin = 3s;

// The signals 1 to 31 in a set of /proc/PID/status; the two after them are the C library's own.
unsigned long SignalSet(const std::string& status, const std::string& name) {
  const auto at = status.find(name + ":\t");
  EXPECT_NE(at, std::string::npos) << status;
  return std::stoul(status.substr(at + name.size() + 2, 16), nullptr, 16) & 0x7fffffffUL;
}

class ChildProcessLinuxTest : public testing::Test {
 protected:
  ~ChildProcessLinuxTest() override {
    EXPECT_FALSE(HasAnyChild());
    EXPECT_EQ(CountOpenDescriptors(), fDescriptors);
  }

  std::unique_ptr<ChildProcess> Shell(const std::string& script) {
    return fLauncher.Launch({"/bin/sh", {"-c", script}, {}, ChildProcessRequest::Streams::kCollect});
  }

  std::unique_ptr<ChildProcess> Discarding(const std::string& script) {
    return fLauncher.Launch({"/bin/sh", {"-c", script}, {}, ChildProcessRequest::Streams::kDiscard});
  }

  ChildOutput Run(const std::string& script) { return Shell(script)->CollectUntil(Clock::now() + kDeadline); }

  const std::ptrdiff_t fDescriptors = CountOpenDescriptors();
  vorn::ChildProcessLauncherLinux fLauncher;
};

TEST_F(ChildProcessLinuxTest, CollectsBothStreamsApart) {
  const ChildOutput result = Run("echo out; echo err >&2; printf more");
  EXPECT_EQ(result.output, "out\nmore");
  EXPECT_EQ(result.error, "err\n");
  EXPECT_FALSE(result.timedOut);
  EXPECT_FALSE(result.cut);
}

TEST_F(ChildProcessLinuxTest, ReturnsAsSoonAsTheChildHasEnded) {
  const auto start = Clock::now();
  Run("true");
  EXPECT_LT(Clock::now() - start, kDeadline / 2);
}

TEST_F(ChildProcessLinuxTest, HandsArgumentsOverUnchanged) {
  auto child = fLauncher.Launch({"/usr/bin/printf", {"[%s]", "a b", "$(id)", "", "*;"}, {}, {}});
  EXPECT_EQ(child->CollectUntil(Clock::now() + kDeadline).output, "[a b][$(id)][][*;]");
}

TEST_F(ChildProcessLinuxTest, SetsVariablesOnTopOfOurOwn) {
  ::setenv("VORN_TEST_KEPT", "kept", 1);
  ::setenv("VORN_TEST_CHANGED", "before", 1);
  auto child = fLauncher.Launch({"/bin/sh",
                                 {"-c", "echo $VORN_TEST_KEPT $VORN_TEST_CHANGED $VORN_TEST_NEW"},
                                 {{"VORN_TEST_CHANGED", "after"}, {"VORN_TEST_NEW", "new"}},
                                 {}});
  EXPECT_EQ(child->CollectUntil(Clock::now() + kDeadline).output, "kept after new\n");
}

TEST_F(ChildProcessLinuxTest, GivesTheChildNothingToReadAndNoDescriptorOfOurs) {
  const int open = ::dup(STDERR_FILENO);  // without close-on-exec
  const ChildOutput result = Run("cat; ls /proc/self/fd");
  ::close(open);
  EXPECT_EQ(result.output, "0\n1\n2\n3\n");  // 3 is the directory that ls reads
}

TEST_F(ChildProcessLinuxTest, GivesTheChildASessionOfItsOwnAndNoSignalsBlockedOrIgnored) {
  sigset_t blocked;
  sigset_t before;
  sigfillset(&blocked);
  ::pthread_sigmask(SIG_SETMASK, &blocked, &before);
  const auto handler = ::signal(SIGPIPE, SIG_IGN);
  auto child = fLauncher.Launch({"/bin/cat", {"/proc/self/status"}, {}, {}});
  ::signal(SIGPIPE, handler);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  const std::string status = child->CollectUntil(Clock::now() + kDeadline).output;
  EXPECT_EQ(SignalSet(status, "SigBlk"), 0U);
  EXPECT_EQ(SignalSet(status, "SigIgn"), 0U);
  // Its group and its session.
  EXPECT_EQ(Run("[ \"$(cut -d' ' -f5,6 /proc/$$/stat)\" = \"$$ $$\" ] && echo leads").output, "leads\n");
}

TEST_F(ChildProcessLinuxTest, WorksWhenOurOwnStandardStreamsAreClosed) {
  const int savedInput = ::dup(STDIN_FILENO);
  const int savedOutput = ::dup(STDOUT_FILENO);
  ::close(STDIN_FILENO);
  ::close(STDOUT_FILENO);
  const ChildOutput result = Run("echo out; echo err >&2");
  ::dup2(savedInput, STDIN_FILENO);
  ::dup2(savedOutput, STDOUT_FILENO);
  ::close(savedInput);
  ::close(savedOutput);
  EXPECT_EQ(result.output, "out\n");
  EXPECT_EQ(result.error, "err\n");
}

TEST_F(ChildProcessLinuxTest, EndsAHangingChildWithItsWholeGroupAtTheDeadline) {
  auto child = Shell("sleep 1000 & echo $! $$; wait");
  const ChildOutput result = child->CollectUntil(Clock::now() + kTimeToBegin);
  EXPECT_TRUE(result.timedOut);
  ASSERT_FALSE(result.output.empty());
  EXPECT_TRUE(Eventually([&] { return !IsAlive(std::stoi(result.output)); }));
}

TEST_F(ChildProcessLinuxTest, EndsAChildThatIgnoresTheRequestToEnd) {
  auto child = Shell("trap '' TERM; echo ready; while :; do sleep 0.01; done");
  const ChildOutput result = child->CollectUntil(Clock::now() + kTimeToBegin);
  EXPECT_TRUE(result.timedOut);
  EXPECT_EQ(result.output, "ready\n");
}

TEST_F(ChildProcessLinuxTest, EndsAStoppedChild) {
  auto child = Shell("echo $$; kill -STOP $$; echo resumed; exec sleep 1000");
  ChildOutput result;
  std::thread collector([&] { result = child->CollectUntil(Clock::now() + kTimeToBegin); });
  EXPECT_TRUE(Eventually([] { return HasAStoppedChild(); }));
  collector.join();
  EXPECT_TRUE(result.timedOut);
  ASSERT_FALSE(result.output.empty());
  EXPECT_FALSE(IsAlive(std::stoi(result.output)));
}

TEST_F(ChildProcessLinuxTest, NoticesAChildThatClosedItsStreamsButLivesOn) {
  auto child = Shell("echo $$; exec >&- 2>&-; exec sleep 1000");
  const ChildOutput result = child->CollectUntil(Clock::now() + kTimeToBegin);
  EXPECT_TRUE(result.timedOut);
  ASSERT_FALSE(result.output.empty());
  EXPECT_FALSE(IsAlive(std::stoi(result.output)));
}

TEST_F(ChildProcessLinuxTest, TakesTheAnswerOfAChildWhoseOffspringKeepsTheStreamOpen) {
  auto child = Shell("sleep 1000 & echo $!");
  const ChildOutput result = child->CollectUntil(Clock::now() + kTimeToBegin);
  EXPECT_FALSE(result.timedOut);
  ASSERT_FALSE(result.output.empty());
  EXPECT_TRUE(Eventually([&] { return !IsAlive(std::stoi(result.output)); }));
}

TEST_F(ChildProcessLinuxTest, DoesNotWaitForOffspringThatLeftTheGroup) {
  auto child = Shell("setsid sleep 1000 & echo $!");
  const auto start = Clock::now();
  const ChildOutput result = child->CollectUntil(start + kTimeToBegin);
  EXPECT_LT(Clock::now() - start, kDeadline);
  ASSERT_FALSE(result.output.empty());
  ::kill(std::stoi(result.output), SIGKILL);
}

TEST_F(ChildProcessLinuxTest, LeavesOffspringAloneThatHoldsNoStreamOfOurs) {
  const ChildOutput result = Run("sleep 1000 >/dev/null 2>&1 & echo $!");
  ASSERT_FALSE(result.output.empty());
  EXPECT_TRUE(IsAlive(std::stoi(result.output)));
  ::kill(std::stoi(result.output), SIGKILL);
}

TEST_F(ChildProcessLinuxTest, CutsAFloodAndEndsItsSource) {
  const auto start = Clock::now();
  const ChildOutput result = Shell("exec yes")->CollectUntil(start + kDeadline);
  EXPECT_TRUE(result.cut);
  EXPECT_FALSE(result.timedOut);
  EXPECT_EQ(result.output.size(), ChildProcess::kMaximumOutput);
  EXPECT_LT(Clock::now() - start, kDeadline);
}

TEST_F(ChildProcessLinuxTest, KeepsWhatJustFitsTheBound) {
  const ChildOutput result = Run("head -c 1048576 /dev/zero");
  EXPECT_FALSE(result.cut);
  EXPECT_EQ(result.output.size(), ChildProcess::kMaximumOutput);
}

TEST_F(ChildProcessLinuxTest, DropsTheOutputAndLeavesStandardErrorAloneWhenAsked) {
  testing::internal::CaptureStderr();
  auto child = Discarding("head -c 300000 /dev/zero && echo err >&2");  // more than a pipe holds
  child->AwaitEnd();
  child.reset();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "err\n");
}

TEST_F(ChildProcessLinuxTest, TerminateEndsACollection) {
  const vorn::testing::TemporaryFolder folder;
  const auto mark = folder.Path() / "begun";
  auto child = Shell("sleep 1000 & echo $!; echo >" + mark.string() + "; wait");
  ChildOutput result;
  std::thread collector([&] { result = child->CollectUntil(Clock::now() + kDeadline); });
  EXPECT_TRUE(Eventually([&] { return std::filesystem::exists(mark); }));
  child->Terminate();
  collector.join();
  ASSERT_FALSE(result.output.empty());
  EXPECT_TRUE(Eventually([&] { return !IsAlive(std::stoi(result.output)); }));
}

TEST_F(ChildProcessLinuxTest, AwaitsTheEndOfAChildAndSparesWhatItLeftRunning) {
  const vorn::testing::TemporaryFolder folder;
  const auto mark = folder.Path() / "left";
  auto child = Discarding("sleep 1000 & echo $! >" + mark.string());
  child->AwaitEnd();
  child.reset();
  std::ifstream file(mark);
  pid_t left = 0;
  ASSERT_TRUE(file >> left);
  EXPECT_TRUE(IsAlive(left));
  ::kill(left, SIGKILL);
}

TEST_F(ChildProcessLinuxTest, LeavesAReleasedChildToFinishByItself) {
  const vorn::testing::TemporaryFolder folder;
  const auto go = folder.Path() / "go";
  const auto mark = folder.Path() / "done";
  auto child = Discarding("while ! [ -e " + go.string() + " ]; do sleep 0.01; done; echo >" + mark.string());
  std::thread waiter([&] { child->AwaitEnd(); });
  child->Release();
  waiter.join();
  child.reset();
  EXPECT_TRUE(HasAnyChild());
  std::ofstream(go) << "go";
  EXPECT_TRUE(Eventually([&] { return std::filesystem::exists(mark); }));
  // Any launch reaps it.
  EXPECT_TRUE(Eventually([&] {
    Run("true");
    return !HasAnyChild();
  }));
}

TEST_F(ChildProcessLinuxTest, EndsAChildThatNobodyCollected) {
  Shell("exec sleep 1000").reset();
}

TEST_F(ChildProcessLinuxTest, SurvivesAProgramThatIgnoresItsChildrensEnd) {
  const auto before = ::signal(SIGCHLD, SIG_IGN);
  const ChildOutput result = Run("echo out");
  ::signal(SIGCHLD, before);
  EXPECT_EQ(result.output, "out\n");
  EXPECT_FALSE(result.timedOut);
}

TEST_F(ChildProcessLinuxTest, LeavesOtherChildrenToOthers) {
  const pid_t other = ::fork();
  if (other == 0) ::_exit(7);
  Run("true");
  int status = 0;
  EXPECT_EQ(::waitpid(other, &status, 0), other);
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST_F(ChildProcessLinuxTest, AnswersNullWhenTheProgramCannotBeStarted) {
  EXPECT_EQ(fLauncher.Launch({"/nonexistent/program", {}, {}, {}}), nullptr);
  EXPECT_EQ(fLauncher.Launch({"/etc/passwd", {}, {}, {}}), nullptr);
}

TEST_F(ChildProcessLinuxTest, DistinguishesExecutableFilesFromOthers) {
  EXPECT_TRUE(fLauncher.IsExecutableFile("/bin/sh"));
  EXPECT_FALSE(fLauncher.IsExecutableFile("/etc/passwd"));
  EXPECT_FALSE(fLauncher.IsExecutableFile("/bin"));
  EXPECT_FALSE(fLauncher.IsExecutableFile("/nonexistent"));
}

TEST_F(ChildProcessLinuxTest, ReapsAnAdoptedChildOnceItHasEnded) {
  vorn::ChildReaper reaper;
  const pid_t child = ::fork();
  if (child == 0) {
    ::pause();
    ::_exit(0);
  }
  reaper.Adopt(child);
  EXPECT_EQ(reaper.Sweep(), 1U);
  ::kill(child, SIGKILL);
  EXPECT_TRUE(Eventually([&] { return reaper.Sweep() == 0; }));
}

}  // namespace
