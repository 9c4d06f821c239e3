#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "foundation/Log.h"
#include "tests/foundation/LogCapture.h"
#include "tests/foundation/SystemLogStandIn.h"

namespace Log {
namespace {

using ::testing::EndsWith;
using ::testing::StartsWith;
using vorn::testing::SystemLogEntries;

// The settings before anything can have changed them.
const bool kVerboseAtLoad = details::s_verbose;
const bool kColorAtLoad = details::s_use_color;
const bool kSyslogAtLoad = details::gUseSyslog;
const std::int32_t kLevelAtLoad = details::g_runtime_level;

std::string LineOf(int level, bool color = false, const char* file = "src/a.cpp") {
  const testing::LogCapture capture;
  details::s_use_color = color;
  details::Log(static_cast<Level>(level), file, 7, "", "text");
  return capture.Text();
}

TEST(LogTest, DefaultsAreEverythingWithColourOnStandardOutput) {
  EXPECT_EQ(kLevelAtLoad, 0);
  EXPECT_FALSE(kVerboseAtLoad);
  EXPECT_TRUE(kColorAtLoad);
  EXPECT_FALSE(kSyslogAtLoad);
  EXPECT_EQ(details::gFile, stdout);
  EXPECT_EQ(details::gAppName, "");
}

TEST(LogTest, EachLevelHasItsTagOfSixColumns) {
  EXPECT_EQ(LineOf(1), "DEBUG: text (a.cpp:7 )\n");
  EXPECT_EQ(LineOf(2), "INFO:  text (a.cpp:7 )\n");
  EXPECT_EQ(LineOf(3), "NOTE:  text (a.cpp:7 )\n");
  EXPECT_EQ(LineOf(4), "WARN:  text (a.cpp:7 )\n");
  EXPECT_EQ(LineOf(5), "ERROR: text (a.cpp:7 )\n");
  EXPECT_EQ(LineOf(6), "FATAL: text (a.cpp:7 )\n");
}

TEST(LogTest, LevelsOutsideTheTableAreOther) {
  for (const int level : {0, 7, -1, 1000}) EXPECT_EQ(LineOf(level), "OTHER: text (a.cpp:7 )\n") << level;
}

TEST(LogTest, ExceptionLineLooksAsSupportKnowsIt) {
  const testing::LogCapture capture;
  details::Log(kError, "AVB/Util/ZeroConf.cpp", 332, "", "exception in BrowseCallback");
  EXPECT_EQ(capture.Text(), "ERROR: exception in BrowseCallback (ZeroConf.cpp:332 )\n");
}

TEST(LogTest, InfoHasNoColourButBoldMessageAndResets) {
  EXPECT_EQ(LineOf(2, true), "INFO: \033[0m \033[1mtext\033[0m (a.cpp:7 )\n");
}

TEST(LogTest, WarnErrorAndFatalHaveTheirColours) {
  EXPECT_THAT(LineOf(4, true), StartsWith("\033[22;33mWARN: \033[0m "));
  EXPECT_THAT(LineOf(5, true), StartsWith("\033[22;31mERROR:\033[0m "));
  EXPECT_THAT(LineOf(6, true), StartsWith("\033[1;31mFATAL:\033[0m "));
  for (const int level : {0, 1, 2, 3, 7}) EXPECT_NE(LineOf(level, true).front(), '\033') << level;
}

TEST(LogTest, FileIsShortenedToItsLastComponent) {
  EXPECT_THAT(LineOf(2, false, "a/b/c.cpp"), EndsWith("(c.cpp:7 )\n"));
  EXPECT_THAT(LineOf(2, false, "/c.cpp"), EndsWith("(c.cpp:7 )\n"));
}

TEST(LogTest, FinalSlashStaysWithTheLastComponent) {
  EXPECT_THAT(LineOf(2, false, "a/b/"), EndsWith("(b/:7 )\n"));
  EXPECT_THAT(LineOf(2, false, "/"), EndsWith("(/:7 )\n"));
  EXPECT_THAT(LineOf(2, false, "a//"), EndsWith("(/:7 )\n"));
}

TEST(LogTest, FileWithoutSlashIsUsedWhole) {
  EXPECT_THAT(LineOf(2, false, "plain.cpp"), EndsWith("(plain.cpp:7 )\n"));
  EXPECT_THAT(LineOf(2, false, ""), EndsWith("(:7 )\n"));
}

TEST(LogTest, ConversionsOfTheMessageAreExpandedInTheSecondPass) {
  const testing::LogCapture capture;
  details::Log(kInfo, "a.cpp", 7, "f", "%d units on %s, 100 %%", 3, "eth0");
  EXPECT_EQ(capture.Text(), "INFO:  3 units on eth0, 100 % (a.cpp:7 f)\n");
}

TEST(LogTest, ConversionInTheFileNameTakesPartInTheSecondPass) {
  const testing::LogCapture capture;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-extra-args"
  details::Log(kInfo, "a%d.cpp", 7, "", "%d of", 3, 4);
#pragma GCC diagnostic pop
  EXPECT_EQ(capture.Text(), "INFO:  3 of (a4.cpp:7 )\n");
}

TEST(LogTest, LineIsFlushedAtOnce) {
  const testing::LogCapture capture;
  details::Log(kInfo, "a.cpp", 7, "", "text");
  EXPECT_EQ(capture.Text(), "INFO:  text (a.cpp:7 )\n");  // the capture itself never flushes
}

TEST(LogTest, LineFormatIsCutAt1023BytesAndLosesItsNewline) {
  const testing::LogCapture capture;
  const std::string format(5000, 'x');
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
  details::Log(kInfo, "a.cpp", 7, "", format.c_str());
#pragma GCC diagnostic pop
  EXPECT_EQ(capture.Text(), "INFO:  " + std::string(1023 - 7, 'x'));
}

TEST(LogTest, ArgumentsMayExpandBeyondTheCut) {
  const testing::LogCapture capture;
  const std::string argument(5000, 'y');
  details::Log(kInfo, "a.cpp", 7, "", "%s", argument.c_str());
  EXPECT_EQ(capture.Text(), "INFO:  " + argument + " (a.cpp:7 )\n");
}

class SystemLogTest : public ::testing::Test {
 protected:
  SystemLogTest() {
    SystemLogEntries().clear();
    details::gUseSyslog = true;
  }
  const testing::LogCapture fCapture;
};

TEST_F(SystemLogTest, TextHasNeitherTagNorColour) {
  details::s_use_color = true;
  details::Log(kError, "src/a.cpp", 7, "f", "%d lost", 3);
  ASSERT_EQ(SystemLogEntries().size(), 1U);
  EXPECT_EQ(SystemLogEntries()[0].text, " 3 lost (a.cpp:7 f)\n");
}

TEST_F(SystemLogTest, NothingGoesToTheStream) {
  details::Log(kError, "a.cpp", 7, "", "text");
  EXPECT_EQ(fCapture.Text(), "");
}

TEST_F(SystemLogTest, EachLevelHasItsPriority) {
  for (int level = 0; level <= 7; ++level) {
    details::Log(static_cast<Level>(level), "a.cpp", 7, "", "text");
  }
  std::vector<int> priorities;
  for (const auto& entry : SystemLogEntries()) priorities.push_back(entry.priority);
  EXPECT_EQ(priorities, (std::vector<int>{2, 7, 6, 5, 4, 3, 2, 2}));
}

TEST(LogThreadsTest, LinesOfSeveralThreadsStayWhole) {
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  const testing::LogCapture capture;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([i] {
      for (int line = 0; line < kLines; ++line) details::Log(kNote, "a.cpp", i, "", "thread %d", i);
    });
  }
  for (auto& thread : threads) thread.join();

  std::vector<int> counts(kThreads, 0);
  std::istringstream lines(capture.Text());
  for (std::string line; std::getline(lines, line);) {
    for (int i = 0; i < kThreads; ++i) {
      const std::string number = std::to_string(i);
      if (line == "NOTE:  thread " + number + " (a.cpp:" + number + " )")
        ++counts[static_cast<std::size_t>(i)];
    }
  }
  EXPECT_EQ(counts, std::vector<int>(kThreads, kLines));
}

}  // namespace
}  // namespace Log
