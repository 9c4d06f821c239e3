#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <future>
#include <iterator>
#include <sstream>
#include <vector>

#include "platform/linux/files/AtomicFile.h"
#include "tests/support/TemporaryFolder.h"

namespace vorn {
namespace {

class AtomicFileTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::string Content() const {
    std::ostringstream content;
    content << std::ifstream(fPath, std::ios::binary).rdbuf();
    return content.str();
  }
  [[nodiscard]] std::ptrdiff_t FilesInTheFolder() const {
    return std::distance(std::filesystem::directory_iterator(fFolder.Path()),
                         std::filesystem::directory_iterator());
  }

  testing::TemporaryFolder fFolder;
  std::filesystem::path fPath = fFolder.Path() / "entry";
};

TEST_F(AtomicFileTest, ReplacesTheFileAndLeavesNothingElse) {
  EXPECT_TRUE(WriteFileAtomically(fPath, "a long first content\n"));
  EXPECT_TRUE(WriteFileAtomically(fPath, "second\n"));
  EXPECT_EQ(Content(), "second\n");
  EXPECT_EQ(FilesInTheFolder(), 1);
}

TEST_F(AtomicFileTest, GivesTheFileThePermissionsThatTheMaskLeaves) {
  for (const mode_t mask : {022U, 077U, 0U}) {
    const mode_t before = ::umask(mask);
    EXPECT_TRUE(WriteFileAtomically(fPath, "x"));
    EXPECT_EQ(::umask(before), mask);  // as it was
    struct stat status = {};
    ASSERT_EQ(::stat(fPath.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0644U & ~mask);
  }
}

TEST_F(AtomicFileTest, ReplacesALinkWithoutFollowingIt) {
  const auto other = fFolder.Path() / "other";
  std::ofstream(other) << "untouched";
  std::filesystem::create_symlink(other, fPath);
  EXPECT_TRUE(WriteFileAtomically(fPath, "x"));
  EXPECT_FALSE(std::filesystem::is_symlink(fPath));
  EXPECT_EQ(std::filesystem::file_size(other), 9U);
}

TEST_F(AtomicFileTest, WritesFromManyThreadsAtOnce) {
  std::vector<std::future<bool>> writers;
  for (int i = 0; i < 8; ++i) {
    writers.push_back(std::async(std::launch::async, [this, i] {
      return WriteFileAtomically(fPath, std::string(10000, static_cast<char>('a' + i)));
    }));
  }
  for (auto& writer : writers) EXPECT_TRUE(writer.get());
  const std::string content = Content();
  ASSERT_EQ(content.size(), 10000U);
  EXPECT_EQ(content.find_first_not_of(content[0]), std::string::npos);
  EXPECT_EQ(FilesInTheFolder(), 1);
}

TEST_F(AtomicFileTest, LeavesEverythingAsItWasWhereItFails) {
  std::filesystem::create_directory(fPath);
  EXPECT_FALSE(WriteFileAtomically(fPath, "x"));
  EXPECT_TRUE(std::filesystem::is_directory(fPath));
  EXPECT_EQ(FilesInTheFolder(), 1);
  EXPECT_FALSE(WriteFileAtomically(fFolder.Path() / "none" / "entry", "x"));
}

}  // namespace
}  // namespace vorn
