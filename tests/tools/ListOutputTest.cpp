#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <string>

#include "foundation/FileDescriptor.h"
#include "tests/devicelist/Units.h"
#include "tests/support/ScopedEnvironment.h"
#include "vorn-device-list/ListOutput.h"

namespace vorn::devicelisttool {
namespace {

using DeviceList::testing::Unit;
using DeviceList::testing::WithFirmware;
using DeviceList::testing::WithLatest;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::ScopedEnvironment;
using ::testing::StartsWith;

// Puts something else in the place of standard output for its own lifetime.
class RedirectedOutput {
 public:
  enum class Kind { kPipe, kTerminal, kFull };

  explicit RedirectedOutput(Kind kind) {
    std::fflush(stdout);
    int ends[2] = {-1, -1};
    if (kind == Kind::kTerminal) {
      termios raw{};
      ::cfmakeraw(&raw);
      const winsize size{24, 80, 0, 0};
      EXPECT_EQ(::openpty(&ends[0], &ends[1], nullptr, &raw, &size), 0);
    } else if (kind == Kind::kPipe) {
      EXPECT_EQ(::pipe(ends), 0);
    } else {
      ends[1] = ::open("/dev/full", O_WRONLY);
    }
    fReader = FileDescriptor(ends[0]);
    if (fReader) ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    ::dup2(ends[1], STDOUT_FILENO);
    ::close(ends[1]);
  }
  ~RedirectedOutput() { ::dup2(fSaved.Get(), STDOUT_FILENO); }
  RedirectedOutput(const RedirectedOutput&) = delete;
  RedirectedOutput& operator=(const RedirectedOutput&) = delete;

  /// What was written since the last call.
  std::string Written() {
    std::string text;
    char piece[4096];
    ssize_t length = 0;
    while ((length = ::read(fReader.Get(), piece, sizeof piece)) > 0) {
      text.append(piece, static_cast<std::size_t>(length));
    }
    return text;
  }

  void Resize(unsigned short rows, unsigned short columns) {
    const winsize size{rows, columns, 0, 0};
    ::ioctl(fReader.Get(), TIOCSWINSZ, &size);
  }

  void CloseReader() { fReader.Reset(); }

 private:
  FileDescriptor fSaved{::dup(STDOUT_FILENO)};
  FileDescriptor fReader;
};

using Kind = RedirectedOutput::Kind;

Options Watching(bool json = false) {
  Options options;
  options.watch = true;
  options.json = json;
  return options;
}

class ListOutputTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    ::signal(SIGPIPE, SIG_IGN);
  }

  const ScopedEnvironment fTerm{"TERM", "xterm"};
  const ScopedEnvironment fNoColor{"NO_COLOR", ""};
};

constexpr auto kWritten = OutputResult::kWritten;

const auto kOutdated = WithLatest(WithFirmware(Unit("Desk", "1"), {1, 0, 0, 0}), {1, 1, 0, 0});

TEST_F(ListOutputTest, WithoutWatchingWritesOnlyTheLastListAndOnlyWhenTold) {
  RedirectedOutput terminal(Kind::kPipe);
  ListOutput output{Options()};
  EXPECT_TRUE(output.Empty());
  EXPECT_EQ(output.Publish({Unit("a", "1")}), kWritten);
  EXPECT_EQ(output.Publish({Unit("b", "2")}), kWritten);
  EXPECT_EQ(terminal.Written(), "");
  EXPECT_FALSE(output.Empty());
  EXPECT_EQ(output.WriteLast(), kWritten);
  const std::string written = terminal.Written();
  EXPECT_THAT(written, HasSubstr("\nb  "));
  EXPECT_THAT(written, Not(HasSubstr("\na  ")));
}

TEST_F(ListOutputTest, WithoutAnyListSaysThatThereAreNoUnits) {
  RedirectedOutput terminal(Kind::kPipe);
  ListOutput output{Options()};
  EXPECT_EQ(output.WriteLast(), kWritten);
  EXPECT_EQ(terminal.Written(), "No Local Devices Found.\n");
}

TEST_F(ListOutputTest, LeavesSwitchesOutWhenTold) {
  RedirectedOutput terminal(Kind::kPipe);
  Options options;
  options.showSwitches = false;
  ListOutput output(options);
  EXPECT_EQ(output.Publish({Unit("Rack", "7", DeviceList::kTypeSwitch)}), kWritten);
  EXPECT_TRUE(output.Empty());
  EXPECT_EQ(output.Publish({Unit("Rack", "7", DeviceList::kTypeSwitch), Unit("Desk", "1")}), kWritten);
  EXPECT_EQ(output.WriteLast(), kWritten);
  const std::string written = terminal.Written();
  EXPECT_THAT(written, HasSubstr("Desk"));
  EXPECT_THAT(written, Not(HasSubstr("Rack")));
}

TEST_F(ListOutputTest, WatchedTableIsPrintedAnewAtEachChangeOfContent) {
  RedirectedOutput terminal(Kind::kPipe);
  ListOutput output(Watching());
  EXPECT_EQ(output.Publish({}), kWritten);
  EXPECT_EQ(terminal.Written(), "No Local Devices Found.\n");
  EXPECT_EQ(output.Publish({}), kWritten);
  EXPECT_EQ(terminal.Written(), "");
  EXPECT_EQ(output.Publish({Unit("a", "1")}), kWritten);
  EXPECT_THAT(terminal.Written(), StartsWith("\nNAME "));
  EXPECT_EQ(output.Publish({Unit("a", "1")}), kWritten);
  EXPECT_EQ(terminal.Written(), "");
  EXPECT_EQ(output.Publish({WithFirmware(Unit("a", "1"), {1, 0, 0, 0})}), kWritten);
  EXPECT_THAT(terminal.Written(), StartsWith("\nNAME "));
}

TEST_F(ListOutputTest, ChangeOfASwitchLeftOutIsNoChange) {
  RedirectedOutput terminal(Kind::kPipe);
  Options options = Watching();
  options.showSwitches = false;
  ListOutput output(options);
  EXPECT_EQ(output.Publish({}), kWritten);
  terminal.Written();
  EXPECT_EQ(output.Publish({Unit("Rack", "7", DeviceList::kTypeSwitch)}), kWritten);
  EXPECT_EQ(terminal.Written(), "");
}

TEST_F(ListOutputTest, WatchedJsonIsALineForEachListThatDiffersTheFirstIncluded) {
  for (const Kind kind : {Kind::kPipe, Kind::kTerminal}) {
    RedirectedOutput terminal(kind);
    ListOutput output(Watching(true));
    EXPECT_EQ(output.Publish({}), kWritten);
    EXPECT_EQ(terminal.Written(), "{\"units\":[]}\n");
    EXPECT_EQ(output.Publish({}), kWritten);
    EXPECT_EQ(terminal.Written(), "");
    EXPECT_EQ(output.Publish({kOutdated}), kWritten);
    const std::string line = terminal.Written();
    EXPECT_THAT(line, StartsWith(R"({"units":[{"name":"Desk")"));
    EXPECT_THAT(line, EndsWith("}]}\n"));
    EXPECT_THAT(line, Not(HasSubstr("\033")));
    EXPECT_EQ(output.Publish({}), kWritten);
    EXPECT_EQ(terminal.Written(), "{\"units\":[]}\n");
  }
}

TEST_F(ListOutputTest, WatchedTableIsRedrawnInPlaceOnATerminal) {
  RedirectedOutput terminal(Kind::kTerminal);
  ListOutput output(Watching());
  EXPECT_EQ(output.Publish({Unit("a", "1"), Unit("b", "2")}), kWritten);
  EXPECT_THAT(terminal.Written(), StartsWith("\033[1mNAME"));
  EXPECT_EQ(output.Publish({Unit("a", "1")}), kWritten);
  EXPECT_THAT(terminal.Written(), StartsWith("\033[3A\r\033[J\033[1mNAME"));
  EXPECT_EQ(output.Publish({}), kWritten);
  EXPECT_EQ(terminal.Written(), "\033[2A\r\033[JNo Local Devices Found.\n");
}

TEST_F(ListOutputTest, WatchedTableKeepsWithinTheTerminal) {
  RedirectedOutput terminal(Kind::kTerminal);
  terminal.Resize(6, 30);
  ListOutput output(Watching());
  Units units;
  for (int i = 0; i < 10; ++i) units.push_back(Unit("Unit " + std::to_string(i), std::to_string(i)));
  EXPECT_EQ(output.Publish(units), kWritten);
  const std::string small = terminal.Written();
  EXPECT_EQ(std::count(small.begin(), small.end(), '\n'), 5);
  EXPECT_THAT(small, EndsWith("... and 7 more\n"));
  terminal.Resize(40, 120);
  EXPECT_EQ(output.WriteLast(), kWritten);
  EXPECT_THAT(terminal.Written(), Not(HasSubstr("more")));
}

TEST_F(ListOutputTest, TableForScriptsIsNeverCut) {
  RedirectedOutput terminal(Kind::kTerminal);
  terminal.Resize(3, 20);
  ListOutput output{Options()};
  EXPECT_EQ(output.Publish({Unit("a", "1"), Unit("b", "2"), Unit("c", "3")}), kWritten);
  EXPECT_EQ(output.WriteLast(), kWritten);
  const std::string written = terminal.Written();
  EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 4);
  EXPECT_THAT(written, HasSubstr("http://3.local/"));
}

TEST_F(ListOutputTest, ColoursOnlyOnATerminal) {
  RedirectedOutput pipe(Kind::kPipe);
  ListOutput output(Watching());
  EXPECT_EQ(output.Publish({kOutdated}), kWritten);
  EXPECT_EQ(output.Publish({}), kWritten);
  EXPECT_THAT(pipe.Written(), Not(HasSubstr("\033")));
}

TEST_F(ListOutputTest, NoColoursWhereNoColorIsSet) {
  const ScopedEnvironment noColor("NO_COLOR", "1");
  RedirectedOutput terminal(Kind::kTerminal);
  ListOutput output(Watching());
  EXPECT_EQ(output.Publish({kOutdated}), kWritten);
  EXPECT_THAT(terminal.Written(), Not(HasSubstr("\033")));
}

TEST_F(ListOutputTest, DumbTerminalIsNotDrawnOn) {
  const ScopedEnvironment dumb("TERM", "dumb");
  RedirectedOutput terminal(Kind::kTerminal);
  ListOutput output(Watching());
  EXPECT_EQ(output.Publish({kOutdated}), kWritten);
  EXPECT_EQ(output.Publish({}), kWritten);
  EXPECT_THAT(terminal.Written(), Not(HasSubstr("\033")));
}

TEST_F(ListOutputTest, TellsWhenNobodyReadsAnyMore) {
  RedirectedOutput pipe(Kind::kPipe);
  ListOutput output(Watching());
  EXPECT_EQ(output.Publish({}), kWritten);
  pipe.CloseReader();
  EXPECT_EQ(output.Publish({Unit("a", "1")}), OutputResult::kNobodyReads);
}

TEST_F(ListOutputTest, TellsWhenTheOutputCannotBeWritten) {
  for (const bool json : {false, true}) {
    const RedirectedOutput full(Kind::kFull);
    ListOutput output(Watching(json));
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(output.Publish({}), OutputResult::kFailed);
    EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("No space left on device"));
  }
}

}  // namespace
}  // namespace vorn::devicelisttool
