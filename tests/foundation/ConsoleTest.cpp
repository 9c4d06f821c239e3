#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "foundation/Console.h"

namespace vorn {
namespace {

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

TEST(ConsoleTest, ReplacesBytesThatMayBeControlsOfTheUpperRange) {
  EXPECT_EQ(Written("a\x9b"
                    "2Jb\xc2\x85\xff"),
            kProgram + ": a?2Jb???\n");
}

TEST(ConsoleTest, CutsALineThatIsTooLong) {
  const std::string line = Written(std::string(10'000, 'x'));
  EXPECT_EQ(line, kProgram + ": " + std::string(4096 - 3 - kProgram.size(), 'x') + "\n");
}

TEST(ConsoleTest, QuotesTheFirst200BytesOfAText) {
  EXPECT_EQ(Excerpt("short"), "short");
  EXPECT_EQ(Excerpt(std::string(201, 'x')), std::string(200, 'x'));
}

}  // namespace
}  // namespace vorn
