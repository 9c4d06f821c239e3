#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "foundation/FileDescriptor.h"
#include "platform/linux/files/WholeFile.h"
#include "platform/linux/login/AutostartLoginItems.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using vorn::AutostartLoginItems;

constexpr char kIdentifier[] = "example.vorn.Test.Launcher";

std::string Read(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

// How often this thread has gone to sleep by itself.
long OwnWaits() {
  rusage usage{};
  ::getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_nvcsw;
}

class AutostartLoginItemsTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "login-items-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    fRoot = pattern;
    ::setenv("XDG_CONFIG_HOME", (fRoot / "config").c_str(), 1);
    MakeProgram(fRoot / "bin" / "launcher");
  }
  void TearDown() override {
    ::unsetenv("XDG_CONFIG_HOME");
    fs::permissions(fRoot, fs::perms::owner_all);
    fs::remove_all(fRoot);
  }

  static void MakeProgram(const fs::path& path) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << "#!/bin/sh\n";
    fs::permissions(path, fs::perms::owner_all);
  }
  AutostartLoginItems Items(const fs::path& program) const {
    return AutostartLoginItems({"Test Finder", "Finds tests", "example.vorn.Test", program});
  }
  AutostartLoginItems Items() const { return Items(fRoot / "bin" / "launcher"); }
  fs::path Folder() const { return fRoot / "config" / "autostart"; }
  fs::path EntryPath() const { return Folder() / (std::string(kIdentifier) + ".desktop"); }
  void WriteEntry(const std::string& text) const {
    fs::create_directories(Folder());
    std::ofstream(EntryPath()) << text;
  }
  bool ReadsAsOn() const { return Items().JobLabelled(kIdentifier)->onDemand; }

  fs::path fRoot;
};

TEST_F(AutostartLoginItemsTest, HasNoJobBeforeAnythingWasWritten) {
  EXPECT_FALSE(Items().JobLabelled(kIdentifier));
}

TEST_F(AutostartLoginItemsTest, WritesAnEntryThatReadsAsOn) {
  ASSERT_TRUE(Items().SetEnabled(kIdentifier, true));
  const auto job = Items().JobLabelled(kIdentifier);
  ASSERT_TRUE(job);
  EXPECT_EQ(job->label, kIdentifier);
  EXPECT_TRUE(job->onDemand);
  const auto text = Read(EntryPath());
  EXPECT_THAT(text, HasSubstr("Exec=\"" + (fRoot / "bin" / "launcher").string() + "\"\n"));
  EXPECT_THAT(text, HasSubstr("Name=Test Finder\n"));
}

TEST_F(AutostartLoginItemsTest, LeavesNothingElseInTheFolder) {
  ASSERT_TRUE(Items().SetEnabled(kIdentifier, true));
  ASSERT_TRUE(Items().SetEnabled(kIdentifier, true));
  EXPECT_EQ(std::distance(fs::directory_iterator(Folder()), fs::directory_iterator()), 1);
}

TEST_F(AutostartLoginItemsTest, RemovesTheEntryWhenSwitchedOff) {
  ASSERT_TRUE(Items().SetEnabled(kIdentifier, true));
  ASSERT_TRUE(Items().SetEnabled(kIdentifier, false));
  EXPECT_FALSE(fs::exists(EntryPath()));
  EXPECT_FALSE(Items().JobLabelled(kIdentifier));
}

TEST_F(AutostartLoginItemsTest, CanBeSwitchedOffWhenItIsOffAlready) {
  EXPECT_TRUE(Items().SetEnabled(kIdentifier, false));
}

TEST_F(AutostartLoginItemsTest, ReadsAHiddenEntryAsAJobThatIsOff) {
  WriteEntry("[Desktop Entry]\nExec=x\nHidden=true\n");
  ASSERT_TRUE(Items().JobLabelled(kIdentifier));
  EXPECT_FALSE(ReadsAsOn());
}

TEST_F(AutostartLoginItemsTest, ReadsTheDesktopsOwnKeyAsOff) {
  WriteEntry("[Desktop Entry]\nExec=x\nX-GNOME-Autostart-enabled = false \n");
  EXPECT_FALSE(ReadsAsOn());
  WriteEntry("[Desktop Entry]\nExec=x\nX-MATE-Autostart-enabled=0\n");
  EXPECT_FALSE(ReadsAsOn());
}

TEST_F(AutostartLoginItemsTest, TakesTheLastOfSeveralValues) {
  WriteEntry("[Desktop Entry]\nExec=x\nHidden=true\nHidden=false\n");
  EXPECT_TRUE(ReadsAsOn());
}

TEST_F(AutostartLoginItemsTest, IgnoresKeysOfOtherGroupsAndComments) {
  WriteEntry("[Desktop Entry]\nExec=x\n#Hidden=true\n[Desktop Action y]\nHidden=true\n");
  EXPECT_TRUE(ReadsAsOn());
}

TEST_F(AutostartLoginItemsTest, SwitchesAnEntryOnAgainThatWasHiddenElsewhere) {
  WriteEntry("[Desktop Entry]\nExec=x\nHidden=true\n");
  ASSERT_TRUE(Items().SetEnabled(kIdentifier, true));
  EXPECT_TRUE(ReadsAsOn());
}

TEST_F(AutostartLoginItemsTest, ReadsWhatTheDesktopCannotStartAsOff) {
  WriteEntry("");
  EXPECT_FALSE(ReadsAsOn());
  WriteEntry("[Desktop Entry]\nHidden=false\n");
  EXPECT_FALSE(ReadsAsOn());
  WriteEntry("[Desktop Entry]\nExec=x\nTryExec=" + (fRoot / "gone").string() + "\n");
  EXPECT_FALSE(ReadsAsOn());
  WriteEntry("[Desktop Entry]\nExec=x\n" + std::string(100'000, '#') + "\n");
  EXPECT_FALSE(ReadsAsOn());
}

TEST_F(AutostartLoginItemsTest, ReadsAnEntryWhoseProgramIsGoneAsOff) {
  for (const std::string& command :
       {(fRoot / "gone").string(), "\"" + (fRoot / "gone").string() + "\" --x"}) {
    WriteEntry("[Desktop Entry]\nExec=" + command + "\n");
    EXPECT_FALSE(ReadsAsOn()) << command;
  }
}

TEST_F(AutostartLoginItemsTest, RepairsAnEntryWhoseProgramIsGoneAndKeepsTheRest) {
  const std::string gone = (fRoot / "gone").string();
  for (const std::string& exec : {gone + " --x", "\"" + gone + "\"", std::string("/bin/sh")}) {
    WriteEntry("# mine\n[Desktop Entry]\nExec=" + exec + "\nName=Other\nTryExec=" + gone +
               "\nX-Delay=3\n[Other]\nExec=x");
    ASSERT_TRUE(Items().Repair(kIdentifier));
    const auto launcher = (fRoot / "bin" / "launcher").string();
    EXPECT_EQ(Read(EntryPath()), "# mine\n[Desktop Entry]\nExec=\"" + launcher + "\"\nName=Other\nTryExec=" +
                                     launcher + "\nX-Delay=3\n[Other]\nExec=x\n");
    EXPECT_TRUE(ReadsAsOn());
  }
}

TEST_F(AutostartLoginItemsTest, RepairsNothingThatIsOffOrStartsAProgramThatIsThere) {
  const std::string gone = (fRoot / "gone").string();
  MakeProgram(fRoot / "a b\"c$d`e\\f%g" / "other");
  for (const std::string& lines :
       {"Exec=" + gone + "\nHidden=true\n", "Exec=" + gone + "\nX-GNOME-Autostart-enabled=false\n",
        "Exec=" + gone + "\nX-MATE-Autostart-enabled=0\n", std::string("Exec=/bin/sh -c x\n"),
        std::string("Exec=launcher\nTryExec=launcher\n"), std::string("TryExec=/gone\n"), std::string(),
        "Exec=\"" + fRoot.string() + "/a b\\\\\"c\\\\$d\\\\`e\\\\\\\\f%%g/other\"\n"}) {
    WriteEntry("[Desktop Entry]\n" + lines);
    EXPECT_TRUE(Items().Repair(kIdentifier));
    EXPECT_EQ(Read(EntryPath()), "[Desktop Entry]\n" + lines);
  }
}

TEST_F(AutostartLoginItemsTest, RepairMakesNoEntryAndSaysWhenItFails) {
  EXPECT_TRUE(Items().Repair(kIdentifier));
  EXPECT_FALSE(fs::exists(EntryPath()));
  const std::string entry = "[Desktop Entry]\nExec=" + (fRoot / "gone").string() + "\n";
  WriteEntry(entry);
  EXPECT_FALSE(Items(fRoot / "bin" / "missing").Repair(kIdentifier));
  EXPECT_EQ(Read(EntryPath()), entry);
}

TEST_F(AutostartLoginItemsTest, DoesNotBlockOnAPipeInTheEntrysPlace) {
  fs::create_directories(Folder());
  ASSERT_EQ(::mkfifo(EntryPath().c_str(), 0600), 0);
  EXPECT_FALSE(ReadsAsOn());
}

TEST_F(AutostartLoginItemsTest, ReplacesALinkAndLeavesItsTargetAlone) {
  fs::create_directories(Folder());
  std::ofstream(fRoot / "precious") << "keep";
  fs::create_symlink(fRoot / "precious", EntryPath());
  ASSERT_TRUE(Items().SetEnabled(kIdentifier, true));
  EXPECT_FALSE(fs::is_symlink(EntryPath()));
  EXPECT_EQ(Read(fRoot / "precious"), "keep");
  fs::remove(EntryPath());
  fs::create_symlink(fRoot / "precious", EntryPath());
  ASSERT_TRUE(Items().SetEnabled(kIdentifier, false));
  EXPECT_EQ(Read(fRoot / "precious"), "keep");
}

TEST_F(AutostartLoginItemsTest, FailsWhereTheFolderCannotBeMade) {
  std::ofstream(fRoot / "config") << "a file stands here";
  EXPECT_FALSE(Items().SetEnabled(kIdentifier, true));
}

TEST_F(AutostartLoginItemsTest, KeepsTheOldEntryWhenTheNewOneCannotTakeItsPlace) {
  fs::create_directories(EntryPath() / "in the way");
  EXPECT_FALSE(Items().SetEnabled(kIdentifier, true));
  EXPECT_EQ(std::distance(fs::directory_iterator(Folder()), fs::directory_iterator()), 1);
}

TEST_F(AutostartLoginItemsTest, FailsSoonWhereAnotherWriterStandsStill) {
  fs::create_directories(Folder());
  const std::string unfinished = EntryPath().string() + ".new";
  vorn::FileDescriptor other(::open(unfinished.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
  ASSERT_TRUE(vorn::LockFile(other, std::chrono::milliseconds(0)));
  const long before = OwnWaits();
  EXPECT_FALSE(Items().SetEnabled(kIdentifier, true));
  EXPECT_LT(OwnWaits() - before, 150);  // a wait of 200 ms is at most a hundred naps
  EXPECT_FALSE(fs::exists(EntryPath()));
  EXPECT_TRUE(fs::exists(unfinished));
  other.Reset();
  EXPECT_TRUE(Items().SetEnabled(kIdentifier, true));
  EXPECT_TRUE(ReadsAsOn());
}

TEST_F(AutostartLoginItemsTest, RefusesAProgramThatIsNotThere) {
  EXPECT_FALSE(Items(fRoot / "bin" / "missing").SetEnabled(kIdentifier, true));
  EXPECT_FALSE(Items("relative").SetEnabled(kIdentifier, true));
  EXPECT_FALSE(fs::exists(EntryPath()));
}

TEST_F(AutostartLoginItemsTest, RefusesIdentifiersThatAreNoFileNames) {
  for (const std::string identifier : {"", "../evil", "a/b", ".hidden"}) {
    EXPECT_FALSE(Items().SetEnabled(identifier, true)) << identifier;
    EXPECT_FALSE(Items().JobLabelled(identifier)) << identifier;
  }
}

TEST_F(AutostartLoginItemsTest, QuotesWhateverStandsInTheProgramsPath) {
  const auto program = fRoot / "a b\"c$d`e\\f%g" / "launcher";
  MakeProgram(program);
  ASSERT_TRUE(Items(program).SetEnabled(kIdentifier, true));
  const std::string expected =
      "Exec=\"" + fRoot.string() + "/a b\\\\\"c\\\\$d\\\\`e\\\\\\\\f%%g/launcher\"\n";
  EXPECT_THAT(Read(EntryPath()), HasSubstr(expected));
  EXPECT_TRUE(Items(program).JobLabelled(kIdentifier)->onDemand);
}

TEST_F(AutostartLoginItemsTest, RefusesAPathThatNoCommandLineCanCarry) {
  const auto program = fRoot / "new\nline";
  MakeProgram(program);
  EXPECT_FALSE(Items(program).SetEnabled(kIdentifier, true));
}

TEST_F(AutostartLoginItemsTest, IgnoresARelativeConfigFolder) {
  ::setenv("XDG_CONFIG_HOME", "relative", 1);
  const std::string home = std::getenv("HOME") ? std::getenv("HOME") : "";
  ::setenv("HOME", fRoot.c_str(), 1);
  EXPECT_TRUE(Items().SetEnabled(kIdentifier, true));
  EXPECT_TRUE(fs::exists(fRoot / ".config" / "autostart" / (std::string(kIdentifier) + ".desktop")));
  ::setenv("HOME", home.c_str(), 1);
}

}  // namespace
