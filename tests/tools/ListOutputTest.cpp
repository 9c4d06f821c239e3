#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>

#include "foundation/FileDescriptor.h"
#include "tests/devicelist/Units.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"
#include "vorn-device-list/ListOutput.h"

namespace vorn::devicelisttool {
namespace {

using namespace std::chrono_literals;
using DeviceList::testing::Unit;
using DeviceList::testing::WithFirmware;
using DeviceList::testing::WithLatest;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::ScopedEnvironment;
using ::testing::StartsWith;

// Replaces standard output with something else for its own lifetime.
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
  options.form = json ? Form::kJson : Form::kTable;
  options.wait = std::chrono::seconds(5);
  return options;
}

class ListOutputTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    ::signal(SIGPIPE, SIG_IGN);
  }

  ListOutput Output(const Options& options) {
    return ListOutput(options, [this] { return fNow; });
  }

  Clock::time_point fNow{1000s};
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
  ListOutput output = Output(Watching());
  EXPECT_EQ(output.Publish({Unit("a", "1")}), kWritten);
  EXPECT_THAT(terminal.Written(), StartsWith("NAME "));
  fNow += 1s;
  EXPECT_EQ(output.Publish({Unit("a", "1")}), kWritten);
  EXPECT_EQ(terminal.Written(), "");
  EXPECT_FALSE(output.NextDue());
  EXPECT_EQ(output.Publish({WithFirmware(Unit("a", "1"), {1, 0, 0, 0})}), kWritten);
  EXPECT_THAT(terminal.Written(), StartsWith("\nNAME "));
  fNow += 1s;
  EXPECT_EQ(output.Publish({}), kWritten);
  EXPECT_EQ(terminal.Written(), "\nNo Local Devices Found.\n");
}

TEST_F(ListOutputTest, WatchedTableComesAtMostOnceASecondAndTheLastOneAlways) {
  RedirectedOutput terminal(Kind::kPipe);
  ListOutput output = Output(Watching());
  EXPECT_EQ(output.Publish({Unit("a", "1")}), kWritten);
  terminal.Written();
  fNow += 500ms;
  for (const char* name : {"b", "c", "d"}) EXPECT_EQ(output.Publish({Unit(name, "1")}), kWritten);
  EXPECT_EQ(terminal.Written(), "");
  ASSERT_TRUE(output.NextDue());
  EXPECT_EQ(*output.NextDue(), fNow + 500ms);
  fNow += 500ms;
  EXPECT_EQ(output.WriteDue(), kWritten);
  EXPECT_THAT(terminal.Written(), HasSubstr("\nd  "));
  EXPECT_EQ(output.Publish({Unit("e", "1")}), kWritten);
  EXPECT_EQ(terminal.Written(), "");
  EXPECT_EQ(output.Finish(), kWritten);
  EXPECT_THAT(terminal.Written(), HasSubstr("\ne  "));
}

TEST_F(ListOutputTest, WatchedTableSaysThatNothingIsFoundOnlyAfterTheFirstWait) {
  RedirectedOutput terminal(Kind::kPipe);
  ListOutput output = Output(Watching());
  EXPECT_EQ(output.Publish({}), kWritten);
  EXPECT_EQ(terminal.Written(), "");
  ASSERT_TRUE(output.NextDue());
  EXPECT_EQ(*output.NextDue(), fNow + 5s);
  fNow += 5s;
  EXPECT_EQ(output.WriteDue(), kWritten);
  EXPECT_EQ(terminal.Written(), "No Local Devices Found.\n");
  EXPECT_EQ(output.WriteDue(), kWritten);
  EXPECT_EQ(terminal.Written(), "");
}

TEST_F(ListOutputTest, WatchThatEndsBeforeItsFirstWaitHasNothingToSay) {
  RedirectedOutput terminal(Kind::kPipe);
  ListOutput output = Output(Watching());
  EXPECT_EQ(output.Publish({}), kWritten);
  EXPECT_EQ(output.Finish(), kWritten);
  EXPECT_EQ(terminal.Written(), "");
}

TEST_F(ListOutputTest, ChangeOfASwitchLeftOutIsNoChange) {
  RedirectedOutput terminal(Kind::kPipe);
  Options options = Watching();
  options.showSwitches = false;
  ListOutput output = Output(options);
  EXPECT_EQ(output.Publish({Unit("a", "1")}), kWritten);
  terminal.Written();
  fNow += 10s;
  EXPECT_EQ(output.Publish({Unit("a", "1"), Unit("Rack", "7", DeviceList::kTypeSwitch)}), kWritten);
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

TEST_F(ListOutputTest, WatchedTableIsDrawnOnAPageOfItsOwnOnATerminal) {
  RedirectedOutput terminal(Kind::kTerminal);
  ListOutput output = Output(Watching());
  EXPECT_EQ(output.WriteDue(), kWritten);
  EXPECT_EQ(terminal.Written(), "\033[?1049h\033[?25l\033[H\033[KLooking for devices...\r\n\033[J");
  EXPECT_EQ(output.Publish({Unit("a", "1")}), kWritten);
  EXPECT_THAT(terminal.Written(), StartsWith("\033[H\033[K\033[1mNAME"));
  EXPECT_EQ(output.Publish({Unit("a", "1")}), kWritten);
  EXPECT_EQ(terminal.Written(), "");
  EXPECT_EQ(output.Publish({}), kWritten);
  EXPECT_EQ(terminal.Written(), "\033[H\033[KNo Local Devices Found.\r\n\033[J");
  EXPECT_EQ(output.Finish(), kWritten);
  EXPECT_EQ(terminal.Written(), "\033[?25h\033[?1049lNo Local Devices Found.\n");
}

TEST_F(ListOutputTest, LooksOnATerminalUntilTheFirstWaitIsOver) {
  RedirectedOutput terminal(Kind::kTerminal);
  ListOutput output = Output(Watching());
  EXPECT_EQ(output.Publish({}), kWritten);
  EXPECT_THAT(terminal.Written(), HasSubstr("Looking for devices..."));
  ASSERT_TRUE(output.NextDue());
  fNow = *output.NextDue();
  EXPECT_EQ(output.WriteDue(), kWritten);
  EXPECT_THAT(terminal.Written(), HasSubstr("No Local Devices Found."));
  EXPECT_FALSE(output.NextDue());
}

TEST_F(ListOutputTest, NoteStandsBelowTheTableOfATerminalAndNowhereElse) {
  RedirectedOutput terminal(Kind::kTerminal);
  terminal.Resize(3, 12);
  ListOutput output = Output(Watching());
  EXPECT_EQ(output.Publish({Unit("a", "1"), Unit("b", "2"), Unit("c", "3")}), kWritten);
  EXPECT_EQ(output.SetNote("there is no network"), kWritten);
  EXPECT_THAT(terminal.Written(),
              EndsWith("\r\n\033[K... and 3 m\xe2\x80\xa6\r\n\033[Kthere is no\xe2\x80\xa6"));
  RedirectedOutput pipe(Kind::kPipe);
  ListOutput other = Output(Watching());
  EXPECT_EQ(other.SetNote("there is no network"), kWritten);
  fNow += 5s;
  EXPECT_EQ(other.WriteDue(), kWritten);
  EXPECT_EQ(pipe.Written(), "No Local Devices Found.\n");
}

TEST_F(ListOutputTest, WatchedTableKeepsWithinTheTerminalAndIsWholeInTheEnd) {
  RedirectedOutput terminal(Kind::kTerminal);
  terminal.Resize(6, 30);
  ListOutput output = Output(Watching());
  Units units;
  for (int i = 0; i < 10; ++i) units.push_back(Unit("Unit " + std::to_string(i), std::to_string(i)));
  EXPECT_EQ(output.Publish(units), kWritten);
  const std::string small = terminal.Written();
  EXPECT_EQ(std::count(small.begin(), small.end(), '\n'), 5);
  EXPECT_THAT(small, EndsWith("... and 6 more"));
  terminal.Resize(40, 120);
  EXPECT_EQ(output.WriteLast(), kWritten);
  EXPECT_THAT(terminal.Written(), Not(HasSubstr("more")));
  terminal.Resize(6, 30);
  EXPECT_EQ(output.Finish(), kWritten);
  const std::string last = terminal.Written();
  EXPECT_EQ(std::count(last.begin(), last.end(), '\n'), 11);
}

TEST_F(ListOutputTest, KeysAreNotEchoedWhileTheTerminalIsDrawnOn) {
  const RedirectedOutput terminal(Kind::kTerminal);
  const auto echoes = [] {
    termios modes{};
    return ::tcgetattr(STDOUT_FILENO, &modes) == 0 && (modes.c_lflag & ECHO) != 0;
  };
  termios modes{};
  ASSERT_EQ(::tcgetattr(STDOUT_FILENO, &modes), 0);
  modes.c_lflag |= ECHO;
  ASSERT_EQ(::tcsetattr(STDOUT_FILENO, TCSANOW, &modes), 0);
  ListOutput output = Output(Watching());
  EXPECT_TRUE(echoes());
  EXPECT_EQ(output.Publish({Unit("a", "1")}), kWritten);
  EXPECT_FALSE(echoes());
  EXPECT_EQ(output.Suspend(), kWritten);
  EXPECT_TRUE(echoes());
  EXPECT_EQ(output.WriteLast(), kWritten);
  EXPECT_FALSE(echoes());
  EXPECT_EQ(output.Finish(), kWritten);
  EXPECT_TRUE(echoes());
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

TEST_F(ListOutputTest, MarkIsReadableWithoutColours) {
  const ScopedEnvironment noColor("NO_COLOR", "1");
  RedirectedOutput terminal(Kind::kTerminal);
  terminal.Resize(24, 40);
  ListOutput output = Output(Watching());
  EXPECT_EQ(output.Publish({kOutdated}), kWritten);
  const std::string written = terminal.Written();
  EXPECT_THAT(written, Not(HasSubstr("m")));  // ends what sets colours; no word here has it
  EXPECT_THAT(written, HasSubstr("  update\r\n"));
}

TEST_F(ListOutputTest, DumbTerminalIsNotDrawnOn) {
  const ScopedEnvironment dumb("TERM", "dumb");
  RedirectedOutput terminal(Kind::kTerminal);
  ListOutput output = Output(Watching());
  EXPECT_EQ(output.Publish({kOutdated}), kWritten);
  fNow += 1s;
  EXPECT_EQ(output.Publish({}), kWritten);
  const std::string written = terminal.Written();
  EXPECT_THAT(written, Not(HasSubstr("\033")));
  EXPECT_THAT(written, HasSubstr("  update\n"));
}

TEST_F(ListOutputTest, TellsWhenNobodyReadsAnyMore) {
  RedirectedOutput pipe(Kind::kPipe);
  ListOutput output(Watching(true));
  EXPECT_EQ(output.Publish({}), kWritten);
  pipe.CloseReader();
  EXPECT_EQ(output.Publish({Unit("a", "1")}), OutputResult::kNobodyReads);
}

TEST_F(ListOutputTest, TellsWhenTheOutputCannotBeWritten) {
  for (const bool json : {false, true}) {
    const RedirectedOutput full(Kind::kFull);
    ListOutput output(Watching(json));
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(output.Publish({Unit("a", "1")}), OutputResult::kFailed);
    EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("No space left on device"));
  }
}

TEST_F(ListOutputTest, WatchedCSVIsAWholeTextForEachChange) {
  RedirectedOutput pipe(Kind::kPipe);
  Options options = Watching();
  options.form = Form::kCSV;
  ListOutput output = Output(options);
  EXPECT_EQ(output.Publish({Unit("a", "1")}), kWritten);
  EXPECT_EQ(pipe.Written(),
            "name,kind,model,firmware,newest,url,uid,update\r\na,device,,,,http://1.local/,1,false\r\n");
  fNow += 1s;
  EXPECT_EQ(output.Publish({}), kWritten);
  EXPECT_EQ(pipe.Written(), "\nname,kind,model,firmware,newest,url,uid,update\r\n");
}

constexpr std::chrono::system_clock::time_point kLook{1700000000s};

TEST_F(ListOutputTest, WatchedMetricsComeAgainWithEachLook) {
  RedirectedOutput pipe(Kind::kPipe);
  Options options = Watching();
  options.form = Form::kOpenMetrics;
  ListOutput output = Output(options);
  EXPECT_EQ(output.Publish({kOutdated}), kWritten);
  EXPECT_THAT(pipe.Written(), Not(HasSubstr("timestamp")));
  fNow += 1s;
  EXPECT_EQ(output.SetLookedAt(kLook), kWritten);
  EXPECT_THAT(pipe.Written(),
              AllOf(StartsWith("# TYPE "), HasSubstr("vorn_list_timestamp_seconds 1700000000\n")));
  fNow += 1s;
  EXPECT_EQ(output.Publish({kOutdated}), kWritten);
  EXPECT_EQ(pipe.Written(), "");
  EXPECT_EQ(output.SetLookedAt(kLook + 15s), kWritten);
  EXPECT_THAT(pipe.Written(), EndsWith("vorn_list_timestamp_seconds 1700000015\n# EOF\n"));
}

class ListFileTest : public ListOutputTest {
 protected:
  [[nodiscard]] Options ToFile(Form form) const {
    Options options = Watching();
    options.form = form;
    options.output = fPath;
    return options;
  }

  [[nodiscard]] std::string Content() const {
    std::ostringstream content;
    content << std::ifstream(fPath, std::ios::binary).rdbuf();
    return content.str();
  }

  std::string Failure(const std::string& file) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(WriteOutput(file, "x"), OutputResult::kFailed);
    return ::testing::internal::GetCapturedStderr();
  }

  const testing::TemporaryFolder fFolder;
  const std::filesystem::path fPath = fFolder.Path() / "units";
};

TEST_F(ListFileTest, HasTheWholeListInEachFormAndStandardOutputHasNothing) {
  RedirectedOutput terminal(Kind::kTerminal);
  const std::pair<Form, const char*> kBegins[] = {{Form::kTable, "NAME "},
                                                  {Form::kJson, "{\"units\":[{\"name\":\"Desk\""},
                                                  {Form::kCSV, "name,kind,"},
                                                  {Form::kOpenMetrics, "# TYPE vorn_unit_info gauge\n"}};
  for (const auto& [form, begin] : kBegins) {
    Options options = ToFile(form);
    options.watch = false;
    ListOutput output = Output(options);
    EXPECT_FALSE(ListOutput::DrawsInPlace(options));
    EXPECT_EQ(output.Publish({kOutdated}), kWritten);
    EXPECT_EQ(output.WriteLast(), kWritten);
    EXPECT_THAT(Content(), AllOf(StartsWith(begin), Not(HasSubstr("\033"))));
  }
  EXPECT_EQ(terminal.Written(), "");
}

TEST_F(ListFileTest, IsWrittenWhenTheWaitIsOverAndThenAtMostOnceASecond) {
  for (const Form form : {Form::kTable, Form::kJson, Form::kCSV}) {
    std::filesystem::remove(fPath);
    ListOutput output = Output(ToFile(form));
    EXPECT_EQ(output.Publish({Unit("first", "1")}), kWritten);
    EXPECT_EQ(Content(), "");
    ASSERT_TRUE(output.NextDue());
    EXPECT_EQ(*output.NextDue(), fNow + 5s);
    fNow += 5s;
    EXPECT_EQ(output.WriteDue(), kWritten);
    EXPECT_THAT(Content(), HasSubstr("first"));
    EXPECT_EQ(output.Publish({Unit("second", "1")}), kWritten);
    EXPECT_THAT(Content(), HasSubstr("first"));
    ASSERT_TRUE(output.NextDue());
    EXPECT_EQ(*output.NextDue(), fNow + 1s);
    fNow += 1s;
    EXPECT_EQ(output.WriteDue(), kWritten);
    EXPECT_THAT(Content(), AllOf(HasSubstr("second"), Not(HasSubstr("first"))));
    fNow += 1s;
    EXPECT_FALSE(output.NextDue());
  }
}

TEST_F(ListFileTest, StaysUntilTheProgramCouldLook) {
  std::ofstream(fPath) << "before";
  ListOutput output = Output(ToFile(Form::kJson));
  EXPECT_EQ(output.Publish({}), kWritten);
  fNow += 5s;
  EXPECT_EQ(output.WriteDue(), kWritten);
  EXPECT_FALSE(output.NextDue());
  EXPECT_EQ(output.WriteLast(), kWritten);
  EXPECT_EQ(output.Finish(), kWritten);
  EXPECT_EQ(Content(), "before");
  EXPECT_EQ(output.SetLookedAt(kLook), kWritten);
  EXPECT_EQ(Content(), "{\"units\":[]}\n");
}

TEST_F(ListFileTest, HasTheLastListWhenTheWatchEnds) {
  ListOutput output = Output(ToFile(Form::kCSV));
  fNow += 5s;
  EXPECT_EQ(output.Publish({Unit("first", "1")}), kWritten);
  EXPECT_EQ(output.Publish({Unit("last", "1")}), kWritten);
  EXPECT_THAT(Content(), HasSubstr("first"));
  EXPECT_EQ(output.Finish(), kWritten);
  EXPECT_THAT(Content(), HasSubstr("last"));
}

TEST_F(ListFileTest, IsReadableForEverybodyWhateverTheMask) {
  const mode_t before = ::umask(077);
  EXPECT_EQ(WriteOutput(fPath, "x"), kWritten);
  ::umask(before);
  EXPECT_EQ(std::filesystem::status(fPath).permissions(), std::filesystem::perms{0644});
}

TEST_F(ListFileTest, MayBeNamedFromTheCurrentFolderAndBehindALink) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(fFolder.Path());
  EXPECT_EQ(WriteOutput("units", "x"), kWritten);
  std::filesystem::current_path(before);
  EXPECT_EQ(Content(), "x");
  const auto link = fFolder.Path() / "link";
  std::filesystem::create_symlink("units", link);
  EXPECT_EQ(WriteOutput(link, "y"), kWritten);
  EXPECT_EQ(Content(), "y");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
}

TEST_F(ListFileTest, ThatCannotBeWrittenIsNamedWithTheReason) {
  const auto missing = fFolder.Path() / "none" / "units";
  EXPECT_THAT(Failure(missing),
              HasSubstr(": cannot write to '" + missing.string() + "': No such file or directory\n"));
  EXPECT_THAT(Failure(fFolder.Path()), HasSubstr("it is no regular file"));
  const auto pipe = fFolder.Path() / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const auto link = fFolder.Path() / "link";
  std::filesystem::create_symlink("pipe", link);
  for (const auto& file : {pipe, link}) EXPECT_THAT(Failure(file), HasSubstr("it is no regular file"));
  EXPECT_TRUE(std::filesystem::is_fifo(pipe));
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_FALSE(std::filesystem::exists(fPath));
}

}  // namespace
}  // namespace vorn::devicelisttool
