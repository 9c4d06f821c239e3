#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <future>
#include <sstream>
#include <vector>

#include "platform/linux/files/UserFolders.h"
#include "platform/linux/files/WholeFile.h"
#include "tests/support/Eventually.h"
#include "tests/support/FailingLocks.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using testing::Eventually;

mode_t ModeOf(const std::filesystem::path& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777U : 0;
}

class WholeFileTest : public ::testing::Test {
 protected:
  static std::string ContentOf(const std::filesystem::path& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
  }
  [[nodiscard]] std::string Content() const { return ContentOf(fPath); }
  [[nodiscard]] std::vector<std::string> FilesInTheFolder() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(fFolder.Path())) {
      names.push_back(entry.path().filename());
    }
    return names;
  }

  testing::TemporaryFolder fFolder;
  std::filesystem::path fPath = fFolder.Path() / "entry";
  std::filesystem::path fUnfinished = fFolder.Path() / "entry.new";
};

TEST_F(WholeFileTest, ReplacesTheFileAndLeavesNothingElse) {
  EXPECT_TRUE(ReplaceFile(fPath, "a long first content\n", Readers::kAll));
  EXPECT_TRUE(ReplaceFile(fPath, "second\n", Readers::kAll));
  EXPECT_EQ(Content(), "second\n");
  EXPECT_THAT(FilesInTheFolder(), ElementsAre("entry"));
}

TEST_F(WholeFileTest, GivesTheFileThePermissionsThatTheMaskLeaves) {
  for (const mode_t mask : {022U, 077U, 0U}) {
    const mode_t before = ::umask(mask);
    EXPECT_TRUE(ReplaceFile(fPath, "x", Readers::kAll));
    EXPECT_EQ(::umask(before), mask);  // as it was
    EXPECT_EQ(ModeOf(fPath), 0644U & ~mask);
  }
}

TEST_F(WholeFileTest, LetsEverybodyReadAPublicFileWhateverTheMask) {
  for (const mode_t mask : {022U, 077U, 0777U}) {
    const mode_t before = ::umask(mask);
    EXPECT_TRUE(ReplaceFile(fPath, "x", Readers::kEverybody));
    ::umask(before);
    EXPECT_EQ(ModeOf(fPath), 0644U);
  }
}

TEST_F(WholeFileTest, LetsItsOwnerAloneReadAPrivateFileWhateverTheMask) {
  for (const mode_t mask : {0U, 0277U}) {
    std::ofstream(fPath) << "x";
    ::chmod(fPath.c_str(), 0666);
    const mode_t before = ::umask(mask);
    EXPECT_TRUE(ReplaceFile(fPath, "y", Readers::kOwner));
    ::umask(before);
    EXPECT_EQ(ModeOf(fPath), 0600U);
  }
}

TEST_F(WholeFileTest, ReplacesALinkWithoutFollowingIt) {
  const auto other = fFolder.Path() / "other";
  std::ofstream(other) << "untouched";
  for (const auto& target : {other, std::filesystem::path("/dev/null")}) {
    std::filesystem::remove(fPath);
    std::filesystem::create_symlink(target, fPath);
    EXPECT_TRUE(ReplaceFile(fPath, "x", Readers::kAll));
    EXPECT_FALSE(std::filesystem::is_symlink(fPath));
  }
  EXPECT_EQ(ContentOf(other), "untouched");
}

TEST_F(WholeFileTest, NamesTheFileBehindLinksForWhoWantsThemToStay) {
  EXPECT_EQ(FileBehindLinks(fPath), fPath);
  std::filesystem::create_symlink("other", fFolder.Path() / "link");
  std::filesystem::create_symlink(fFolder.Path() / "link", fPath);
  EXPECT_EQ(FileBehindLinks(fPath), fFolder.Path() / "other");
  std::filesystem::create_symlink("entry", fFolder.Path() / "other");
  EXPECT_FALSE(ReplaceFile(FileBehindLinks(fPath) / "below", "x", Readers::kAll));  // a circle has no end
}

TEST_F(WholeFileTest, OverwritesWhatAKilledWriterLeft) {
  std::ofstream(fUnfinished) << "half of a cont";
  ::chmod(fUnfinished.c_str(), 0666);
  EXPECT_TRUE(ReplaceFile(fPath, "x", Readers::kOwner));
  EXPECT_EQ(Content(), "x");
  EXPECT_EQ(ModeOf(fPath), 0600U);
  EXPECT_THAT(FilesInTheFolder(), ElementsAre("entry"));
}

TEST_F(WholeFileTest, DoesNotWriteThroughALinkThatStandsInTheWay) {
  const auto other = fFolder.Path() / "other";
  std::ofstream(other) << "untouched";
  std::filesystem::create_symlink(other, fUnfinished);
  EXPECT_TRUE(ReplaceFile(fPath, "x", Readers::kAll));
  EXPECT_EQ(Content(), "x");
  EXPECT_EQ(ContentOf(other), "untouched");
}

TEST_F(WholeFileTest, WaitsForAnotherWriterOfTheSameFile) {
  FileDescriptor writing(::open(fUnfinished.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
  ASSERT_TRUE(LockFile(writing, 0ms));
  auto waiting = std::async(std::launch::async, [this] {
    return ReplaceFile(fPath, "second", Readers::kAll, testing::kGenerousDeadline);
  });
  EXPECT_TRUE(Eventually([&] { return testing::CountDescriptorsOf(fUnfinished) == 2; }));
  ASSERT_EQ(::write(writing.Get(), "first", 5), 5);
  std::filesystem::rename(fUnfinished, fPath);  // nobody has removed it
  writing.Reset();
  EXPECT_TRUE(waiting.get());
  EXPECT_EQ(Content(), "second");
  EXPECT_THAT(FilesInTheFolder(), ElementsAre("entry"));
}

TEST_F(WholeFileTest, GivesUpSoonWhereAnotherWriterStandsStill) {
  FileDescriptor writing(::open(fUnfinished.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
  ASSERT_TRUE(LockFile(writing, 0ms));
  EXPECT_FALSE(ReplaceFile(fPath, "second", Readers::kAll, 0ms));
  EXPECT_EQ(errno, EWOULDBLOCK);
  EXPECT_THAT(FilesInTheFolder(), ElementsAre("entry.new"));
  writing.Reset();  // by the kernel, where that process has died
  EXPECT_TRUE(ReplaceFile(fPath, "second", Readers::kAll, 0ms));
  EXPECT_THAT(FilesInTheFolder(), ElementsAre("entry"));
}

TEST_F(WholeFileTest, WritesOnAFileSystemWithoutLocks) {
  for (const int failure : {ENOLCK, EOPNOTSUPP}) {
    std::ofstream(fUnfinished) << "half of a cont";
    const testing::FailingLocks locks(failure);
    EXPECT_TRUE(ReplaceFile(fPath, std::to_string(failure), Readers::kAll));
    EXPECT_EQ(Content(), std::to_string(failure));
    EXPECT_THAT(FilesInTheFolder(), ElementsAre("entry"));
  }
}

TEST_F(WholeFileTest, WritesFromManyThreadsAtOnce) {
  std::vector<std::future<bool>> writers;
  for (int i = 0; i < 8; ++i) {
    writers.push_back(std::async(std::launch::async, [this, i] {
      return ReplaceFile(fPath, std::string(10000, static_cast<char>('a' + i)), Readers::kAll,
                         testing::kGenerousDeadline);
    }));
  }
  for (auto& writer : writers) EXPECT_TRUE(writer.get());
  const std::string content = Content();
  ASSERT_EQ(content.size(), 10000U);
  EXPECT_EQ(content.find_first_not_of(content[0]), std::string::npos);
  EXPECT_THAT(FilesInTheFolder(), ElementsAre("entry"));
}

TEST_F(WholeFileTest, LeavesEverythingAsItWasWhereItFails) {
  std::filesystem::create_directory(fPath);
  EXPECT_FALSE(ReplaceFile(fPath, "x", Readers::kAll));
  EXPECT_EQ(errno, EISDIR);
  EXPECT_TRUE(std::filesystem::is_directory(fPath));
  EXPECT_THAT(FilesInTheFolder(), ElementsAre("entry"));
  EXPECT_FALSE(ReplaceFile(fFolder.Path() / "none" / "entry", "x", Readers::kAll));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(WholeFileTest, ReadsAFileUpToTheMaximumAndSaysWhyItDoesNot) {
  const std::string content("a\0b\n", 4);
  ASSERT_TRUE(ReplaceFile(fPath, content, Readers::kAll));
  EXPECT_EQ(ReadFile(fPath, 4), content);
  EXPECT_FALSE(ReadFile(fPath, 3));
  EXPECT_EQ(errno, EFBIG);
  EXPECT_FALSE(ReadFile(fFolder.Path(), 4));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(ReadFile(fFolder.Path() / "none", 4));
  EXPECT_EQ(errno, ENOENT);
  const auto pipe = fFolder.Path() / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_FALSE(ReadFile(pipe, 4));  // and does not wait for its writer
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(ReadFile("/sys/class/net/lo/speed", 1U << 20U));  // opens, but every read fails with EINVAL
  EXPECT_EQ(errno, EIO);
}

TEST_F(WholeFileTest, MakesFoldersForTheirOwnerAlone) {
  const mode_t before = ::umask(0);
  EXPECT_TRUE(MakePrivateFolder(fFolder.Path() / "a" / "b"));
  ::umask(before);
  EXPECT_EQ(ModeOf(fFolder.Path() / "a"), 0700U);
  EXPECT_EQ(ModeOf(fFolder.Path() / "a" / "b"), 0700U);
  EXPECT_TRUE(MakePrivateFolder(fFolder.Path() / "a" / "b"));
  std::ofstream(fPath) << "x";
  EXPECT_FALSE(MakePrivateFolder(fPath / "below"));
}

TEST_F(WholeFileTest, KnowsTheUsersFoldersByTheEnvironmentWhereThatNamesAbsolutePaths) {
  const testing::ScopedEnvironment home("HOME", "/home/somebody");
  const testing::ScopedEnvironment config("XDG_CONFIG_HOME", "relative");
  const testing::ScopedEnvironment state("XDG_STATE_HOME", "/elsewhere");
  EXPECT_EQ(UserHomeFolder(), "/home/somebody");
  EXPECT_EQ(UserConfigFolder(), "/home/somebody/.config");
  EXPECT_EQ(UserStateFolder(), "/elsewhere");
  const testing::ScopedEnvironment none("HOME", "relative");
  EXPECT_NE(UserHomeFolder(), "relative");
  EXPECT_EQ(ProgramFolder(), std::filesystem::canonical("/proc/self/exe").parent_path());
}

TEST_F(WholeFileTest, KeepsEverythingOfATrialRunInTheFolderThatTheEnvironmentNames) {
  const testing::ScopedEnvironment config("XDG_CONFIG_HOME", "/config");
  const testing::ScopedEnvironment state("XDG_STATE_HOME", "/state");
  {
    const testing::ScopedEnvironment trial("VORN_DEVICE_FINDER_TRIAL", "/tree/trial");
    EXPECT_EQ(TrialFolder(), "/tree/trial");
    EXPECT_EQ(OwnSettingsFolder(), "/tree/trial");
    EXPECT_EQ(OwnStateFolder(), "/tree/trial");
    EXPECT_EQ(UserConfigFolder(), "/config");  // where the theme is
  }
  const testing::ScopedEnvironment installed("VORN_DEVICE_FINDER_TRIAL", "");
  EXPECT_EQ(TrialFolder(), "");
  EXPECT_EQ(OwnSettingsFolder(), "/config/vorn-device-finder");
  EXPECT_EQ(OwnStateFolder(), "/state/vorn-device-finder");
}

}  // namespace
}  // namespace vorn
