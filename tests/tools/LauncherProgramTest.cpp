// The launcher's own answers; what it starts is tested with the application.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "foundation/FileDescriptor.h"
#include "tests/tools/Program.h"

namespace vorn {
namespace {

using testing::Program;
using ::testing::StartsWith;

TEST(LauncherProgramTest, VersionAndHelpGoToStandardOutput) {
  Program version(VORN_LAUNCHER, {"--version"}, {});
  EXPECT_EQ(version.Wait(), 0);
  EXPECT_EQ(version.Output(), "vorn-device-finder-launcher " VORN_BUNDLE_VERSION "\n");
  Program help(VORN_LAUNCHER, {"--help"}, {});
  EXPECT_EQ(help.Wait(), 0);
  EXPECT_THAT(help.Output(), StartsWith("Usage: vorn-device-finder-launcher"));
}

TEST(LauncherProgramTest, BadUsageExitsWithTwoAndWritesToStandardErrorOnly) {
  Program program(VORN_LAUNCHER, {"--version", "--help"}, {});
  EXPECT_EQ(program.Wait(), 2);
  EXPECT_EQ(program.Output(), "");
  EXPECT_THAT(program.ErrorOutput(), StartsWith("Usage: "));
}

TEST(LauncherProgramTest, UnwritableOutputIsReportedAndExitsWithOne) {
  const FileDescriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
  Program::Setup toFull;
  toFull.output = full.Get();
  Program::Setup closed;
  closed.beforeExec = [] { ::close(STDOUT_FILENO); };
  for (const char* option : {"--version", "--help"}) {
    Program program(VORN_LAUNCHER, {option}, toFull);
    EXPECT_EQ(program.Wait(), 1) << option;
    EXPECT_EQ(program.ErrorOutput(),
              "vorn-device-finder-launcher: cannot write to standard output: No space left on device\n");
    Program other(VORN_LAUNCHER, {option}, closed);
    EXPECT_EQ(other.Wait(), 1) << option;
    EXPECT_EQ(other.ErrorOutput(),
              "vorn-device-finder-launcher: cannot write to standard output: Bad file descriptor\n");
  }
}

}  // namespace
}  // namespace vorn
