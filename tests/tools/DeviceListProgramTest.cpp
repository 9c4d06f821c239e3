// The program itself, on a system without a DNS-SD responder.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <vector>

#include "tests/support/Eventually.h"
#include "tests/tools/Program.h"

namespace vorn {
namespace {

using std::chrono::steady_clock;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using testing::Program;
using ::testing::StartsWith;

using Arguments = std::vector<std::string>;

constexpr char kNoUnits[] = "No Local Devices Found.\n";
constexpr char kNoResponder[] =
    "vorn-device-list: no DNS-SD responder is running (is avahi-daemon installed and started?)\n";

constexpr char kSilentResponder[] = "vorn-device-list: the DNS-SD responder (avahi-daemon) does not answer\n";

// The limit is a second; the other second is for a busy machine.
constexpr std::chrono::seconds kPromptly{2};

Program::Setup WithoutResponder() {
  Program::Setup setup;
  setup.environment = {"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/bus", "XDG_CONFIG_HOME=/nonexistent",
                       "HOME=/nonexistent", "VORN_DEVICE_FINDER_TRIAL=", "TSAN_OPTIONS=atexit_sleep_ms=0"};
  return setup;
}

struct Result {
  int exitCode;
  std::string output;
  std::string error;
};

Result RunToTheEnd(const Arguments& arguments) {
  Program program(VORN_DEVICE_LIST, arguments, WithoutResponder());
  const int exitCode = program.Wait();
  return {exitCode, program.Output(), program.ErrorOutput()};
}

TEST(DeviceListProgramTest, HelpGoesToStandardOutput) {
  const Result result = RunToTheEnd({"--help"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.output, StartsWith("Usage: vorn-device-list"));
  EXPECT_EQ(result.error, "");
}

TEST(DeviceListProgramTest, VersionGoesToStandardOutput) {
  const Result result = RunToTheEnd({"--version"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.output, "vorn-device-list " VORN_BUNDLE_VERSION "\n");
}

TEST(DeviceListProgramTest, BadUsageExitsWithTwoAndWritesToStandardErrorOnly) {
  for (const Arguments& arguments :
       {Arguments{"--frobnicate"}, Arguments{"--wait"}, Arguments{"--wait", "soon"}, Arguments{"unit"}}) {
    const Result result = RunToTheEnd(arguments);
    EXPECT_EQ(result.exitCode, 2) << arguments[0];
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.error, StartsWith("vorn-device-list: "));
    EXPECT_THAT(result.error, EndsWith("; see --help\n"));
  }
}

TEST(DeviceListProgramTest, QuotesArgumentsWithoutTheirControlCharacters) {
  EXPECT_THAT(RunToTheEnd({"\033[2J\n"}).error, HasSubstr("'?[2J?'"));
}

TEST(DeviceListProgramTest, WithoutAResponderExitsWithThreeAndSaysSoOnce) {
  const Result result = RunToTheEnd({"--wait", "1.5"});
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_EQ(result.output, kNoUnits);
  EXPECT_EQ(result.error, kNoResponder);
}

TEST(DeviceListProgramTest, WaitsFiveSecondsWithoutOptions) {
  const auto begin = steady_clock::now();
  EXPECT_EQ(RunToTheEnd({}).exitCode, 3);
  EXPECT_GE(steady_clock::now() - begin, std::chrono::seconds(5));
}

TEST(DeviceListProgramTest, JsonWithoutUnitsIsAnEmptyList) {
  const Result result = RunToTheEnd({"--json", "--wait", "0"});
  EXPECT_EQ(result.exitCode, 3) << "nobody has answered in no time";
  EXPECT_EQ(result.output, "{\"units\":[]}\n");
}

TEST(DeviceListProgramTest, ATrialRunSaysWhereItsSettingsAre) {
  auto setup = WithoutResponder();
  setup.environment.insert(setup.environment.begin(), "VORN_DEVICE_FINDER_TRIAL=/nonexistent/trial");
  Program program(VORN_DEVICE_LIST, {"--wait", "0"}, setup);
  EXPECT_EQ(program.Wait(), 3);
  EXPECT_THAT(program.ErrorOutput(), StartsWith("vorn-device-list: Trial run: settings are read from "
                                                "/nonexistent/trial/settings.conf\n"));
}

TEST(DeviceListProgramTest, SignalEndsAWatchPromptlyWithZero) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Program program(VORN_DEVICE_LIST, {"--watch"}, WithoutResponder());
    EXPECT_TRUE(program.WaitForErrorText(kNoResponder));
    const auto begin = steady_clock::now();
    program.Signal(signal);
    EXPECT_EQ(program.Wait(), 0);
    EXPECT_LT(steady_clock::now() - begin, kPromptly);
    EXPECT_EQ(program.ErrorOutput(), kNoResponder);
  }
}

TEST(DeviceListProgramTest, SignalBeforeTheEndOfTheTimeExitsWithItsNumber) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Program program(VORN_DEVICE_LIST, {"--wait", "600"}, WithoutResponder());
    EXPECT_TRUE(program.WaitForErrorText(kNoResponder));
    program.Signal(signal);
    EXPECT_EQ(program.Wait(), 128 + signal);
    EXPECT_EQ(program.Output(), "");
  }
}

TEST(DeviceListProgramTest, HangUpStaysIgnoredIfItWasIgnoredAtTheStart) {
  auto setup = WithoutResponder();
  setup.beforeExec = [] { ::signal(SIGHUP, SIG_IGN); };
  Program program(VORN_DEVICE_LIST, {"--wait", "1"}, setup);
  EXPECT_TRUE(program.WaitForErrorText(kNoResponder));
  program.Signal(SIGHUP);
  EXPECT_EQ(program.Wait(), 3);
  EXPECT_EQ(program.Output(), kNoUnits);
}

// Its reader neither reads nor closes.
class StuckPipe {
 public:
  explicit StuckPipe(bool blocks) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    fReader = FileDescriptor(ends[0]);
    fWriter = FileDescriptor(ends[1]);
    const std::string filling(4096, 'x');
    while (::write(ends[1], filling.data(), filling.size()) > 0) fFilled += filling.size();
    if (blocks) ::fcntl(ends[1], F_SETFL, 0);
  }

  [[nodiscard]] int Writer() const { return fWriter.Get(); }

  // What came after the filling, until the writers are gone.
  [[nodiscard]] std::string Read() {
    fWriter.Reset();
    ::fcntl(fReader.Get(), F_SETFL, 0);
    std::string text;
    char piece[4096];
    for (ssize_t length = 0; (length = ::read(fReader.Get(), piece, sizeof piece)) > 0;) {
      text.append(piece, static_cast<std::size_t>(length));
    }
    return text.substr(fFilled);
  }

 private:
  FileDescriptor fReader;
  FileDescriptor fWriter;
  std::size_t fFilled = 0;
};

void ExpectPromptEndWhileOutputIsStuck(const StuckPipe& pipe) {
  auto setup = WithoutResponder();
  setup.output = pipe.Writer();
  Program program(VORN_DEVICE_LIST, {"--wait", "0.5"}, setup);
  EXPECT_TRUE(program.WaitForErrorText(kNoResponder));
  ASSERT_TRUE(program.WaitUntilItsOutputIsStuck());
  const auto begin = steady_clock::now();
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait(), 128 + SIGTERM);
  EXPECT_LT(steady_clock::now() - begin, kPromptly);
}

TEST(DeviceListProgramTest, SignalEndsItPromptlyWhileItsOutputIsStuck) {
  ExpectPromptEndWhileOutputIsStuck(StuckPipe(true));
  ExpectPromptEndWhileOutputIsStuck(StuckPipe(false));
}

TEST(DeviceListProgramTest, WaitsForTheReaderOfAPipeThatDoesNotBlock) {
  StuckPipe pipe(false);
  auto setup = WithoutResponder();
  setup.output = pipe.Writer();
  Program program(VORN_DEVICE_LIST, {"--help"}, setup);
  ASSERT_TRUE(program.WaitUntilItsOutputIsStuck());
  EXPECT_THAT(pipe.Read(), AllOf(StartsWith("Usage: "), EndsWith("the time was over\n")));
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_EQ(program.ErrorOutput(), "");
}

const std::vector<Arguments> kEveryForm{
    {"--help"}, {"--version"}, {"--interfaces"}, {"--wait", "0.3"}, {"--json", "--wait", "0.3"}};

void ExpectFailedOutput(const Arguments& arguments, const Program::Setup& setup, const std::string& why) {
  Program program(VORN_DEVICE_LIST, arguments, setup);
  EXPECT_EQ(program.Wait(), 1) << arguments[0];
  std::string said = program.ErrorOutput();
  for (const std::string reason : {kNoResponder, kSilentResponder}) {
    if (said.starts_with(reason)) said.erase(0, reason.size());
  }
  EXPECT_EQ(said, "vorn-device-list: cannot write to standard output: " + why + "\n") << arguments[0];
}

TEST(DeviceListProgramTest, UnwritableOutputIsReportedAndExitsWithOne) {
  const FileDescriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
  auto setup = WithoutResponder();
  setup.output = full.Get();
  for (const Arguments& arguments : kEveryForm) {
    ExpectFailedOutput(arguments, setup, "No space left on device");
  }
}

TEST(DeviceListProgramTest, ClosedOutputIsReportedAndExitsWithOne) {
  auto setup = WithoutResponder();
  setup.beforeExec = [] { ::close(STDOUT_FILENO); };
  for (const Arguments& arguments : kEveryForm) ExpectFailedOutput(arguments, setup, "Bad file descriptor");
}

TEST(DeviceListProgramTest, ClosedPipeEndsAWatchQuietly) {
  Program program(VORN_DEVICE_LIST, {"--watch"}, WithoutResponder());
  EXPECT_TRUE(program.WaitForErrorText(kNoResponder));
  program.CloseOutput();
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_EQ(program.ErrorOutput(), kNoResponder);
}

TEST(DeviceListProgramTest, ClosedPipeIsNoReasonToDieOfASignal) {
  Program program(VORN_DEVICE_LIST, {"--json", "--wait", "0.3"}, WithoutResponder());
  program.CloseOutput();
  EXPECT_THAT(program.Wait(), AnyOf(0, 3));
  EXPECT_THAT(program.ErrorOutput(), AnyOf("", kNoResponder, kSilentResponder));
}

}  // namespace
}  // namespace vorn
