#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>
#include <thread>

#include "foundation/Console.h"
#include "foundation/FileDescriptor.h"
#include "foundation/Strings.h"

namespace vorn {
namespace {

using ::testing::EndsWith;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

std::string Written(const std::string& message) {
  ::testing::internal::CaptureStderr();
  WriteToConsole(message);
  return ::testing::internal::GetCapturedStderr();
}

const std::string kProgram = program_invocation_short_name;

TEST(ConsoleTest, WritesOneLineLedByTheProgramsName) {
  EXPECT_EQ(Written("a setting was refused"), kProgram + ": a setting was refused\n");
}

TEST(ConsoleTest, ReplacesControlCharacters) {
  EXPECT_EQ(Written("a\033[2Jb\nc\rd\te\x7f"), kProgram + ": a?[2Jb?c?d?e?\n");
  EXPECT_EQ(Written(std::string("a\0b", 3)), kProgram + ": a?b\n");
}

TEST(ConsoleTest, ReplacesControlsOfTheUpperRangeAndWhatIsNotUTF8) {
  EXPECT_EQ(Written("a\x9b"
                    "2Jb\xc2\x85\xff"),
            kProgram + ": a?2Jb??\n");
}

TEST(ConsoleTest, KeepsLettersOfEveryLanguageButNothingThatReordersThem) {
  EXPECT_EQ(Written("läuft не работает 検索"), kProgram + ": läuft не работает 検索\n");
  EXPECT_EQ(Written("a\xE2\x80\xAEZ"), kProgram + ": a?Z\n");
}

TEST(ConsoleTest, CutsALineBetweenCharacters) {
  std::string many;
  for (int i = 0; i < 5000; ++i) many += "ä";
  const std::string line = Written(many);
  EXPECT_TRUE(IsUTF8(line));
  EXPECT_THAT(line, EndsWith("ä\n"));
  EXPECT_GE(line.size(), 4095U);
}

TEST(ConsoleTest, CutsALineThatIsTooLong) {
  const std::string line = Written(std::string(10'000, 'x'));
  EXPECT_EQ(line, kProgram + ": " + std::string(4096 - 3 - kProgram.size(), 'x') + "\n");
}

TEST(ConsoleTest, QuotesTheFirst200BytesOfAText) {
  EXPECT_EQ(Excerpt("short"), "short");
  EXPECT_EQ(Excerpt(std::string(201, 'x')), std::string(200, 'x'));
}

// Replaces standard output with another descriptor for its own lifetime.
class OutputTo {
 public:
  explicit OutputTo(int descriptor) {
    std::fflush(stdout);
    ::dup2(descriptor, STDOUT_FILENO);
  }
  ~OutputTo() { ::dup2(fSaved.Get(), STDOUT_FILENO); }
  OutputTo(const OutputTo&) = delete;
  OutputTo& operator=(const OutputTo&) = delete;

 private:
  FileDescriptor fSaved{::dup(STDOUT_FILENO)};
};

struct Pipe {
  explicit Pipe(int flags = 0) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    reader = FileDescriptor(ends[0]);
    writer = FileDescriptor(ends[1]);
    ::fcntl(ends[1], F_SETFL, flags);
  }
  FileDescriptor reader;
  FileDescriptor writer;
};

std::string ReadUntilTheEnd(int descriptor) {
  std::string text;
  char piece[4096];
  for (ssize_t length = 0; (length = ::read(descriptor, piece, sizeof piece)) > 0;) {
    text.append(piece, static_cast<std::size_t>(length));
  }
  return text;
}

TEST(StandardOutputTest, WritesTheWholeTextWhetherOrNotTheOutputBlocks) {
  std::string text;
  for (int i = 0; i < 100'000; ++i) text += std::to_string(i) + "\n";  // more than a pipe holds
  for (const int flags : {0, O_NONBLOCK}) {
    Pipe pipe(flags);
    std::string read;
    std::thread reader([&] { read = ReadUntilTheEnd(pipe.reader.Get()); });
    OutputResult result{};
    {
      const OutputTo output(pipe.writer.Get());
      result = WriteToStandardOutput(text);
    }
    pipe.writer.Reset();
    reader.join();
    EXPECT_EQ(result, OutputResult::kWritten);
    EXPECT_TRUE(read == text) << read.size();
  }
}

TEST(StandardOutputTest, TellsQuietlyThatNobodyReads) {
  ::signal(SIGPIPE, SIG_IGN);
  Pipe pipe;
  pipe.reader.Reset();
  const OutputTo output(pipe.writer.Get());
  CaptureStderr();
  EXPECT_EQ(WriteToStandardOutput("text"), OutputResult::kNobodyReads);
  EXPECT_EQ(GetCapturedStderr(), "");
}

TEST(StandardOutputTest, TellsTheConsoleOfAFailure) {
  const FileDescriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
  const OutputTo output(full.Get());
  CaptureStderr();
  EXPECT_EQ(WriteToStandardOutput("text"), OutputResult::kFailed);
  EXPECT_THAT(GetCapturedStderr(), EndsWith(": cannot write to standard output: No space left on device\n"));
}

TEST(StandardOutputTest, NothingToWriteIsWritten) {
  const FileDescriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
  const OutputTo output(full.Get());
  EXPECT_EQ(WriteToStandardOutput(""), OutputResult::kWritten);
}

}  // namespace
}  // namespace vorn
