#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <random>
#include <sstream>

#include "foundation/FileDescriptor.h"
#include "platform/linux/settings/IniUserDefaults.h"
#include "platform/linux/settings/SettingsFile.h"
#include "tests/platform/linux/settings/Writer.h"
#include "tests/support/FailingLocks.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAre;
using testing::Writer;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;
using Texts = std::vector<std::string>;
using Condition = UserDefaults::Condition;

mode_t ModeOf(const std::filesystem::path& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777U : 0;
}

/// Leaves this process room for this many more descriptors while it lives.
class ScopedDescriptorRoom {
 public:
  explicit ScopedDescriptorRoom(rlim_t more) {
    const FileDescriptor next(::dup(STDERR_FILENO));
    ::getrlimit(RLIMIT_NOFILE, &fBefore);
    rlimit limit = fBefore;
    limit.rlim_cur = static_cast<rlim_t>(next.Get()) + more;
    ::setrlimit(RLIMIT_NOFILE, &limit);
  }
  ~ScopedDescriptorRoom() { ::setrlimit(RLIMIT_NOFILE, &fBefore); }
  ScopedDescriptorRoom(const ScopedDescriptorRoom&) = delete;
  ScopedDescriptorRoom& operator=(const ScopedDescriptorRoom&) = delete;

 private:
  rlimit fBefore = {};
};

class IniUserDefaultsTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::string Content() const {
    std::ostringstream content;
    content << std::ifstream(fPath).rdbuf();
    return content.str();
  }
  void Write(const std::string& content) const {
    std::filesystem::create_directories(fPath.parent_path());
    std::ofstream(fPath, std::ios::binary) << content;
  }
  [[nodiscard]] std::vector<std::string> FilesBesideIt() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(fPath.parent_path())) {
      if (entry.path() != fPath) names.push_back(entry.path().filename());
    }
    return names;
  }

  testing::TemporaryFolder fFolder;
  std::filesystem::path fPath = fFolder.Path() / "config" / "vorn-device-finder" / "settings.conf";
};

TEST_F(IniUserDefaultsTest, LivesInTheUsersFolderForSettings) {
  const testing::ScopedEnvironment home("HOME", "/home/somebody");
  {
    const testing::ScopedEnvironment config("XDG_CONFIG_HOME", "/elsewhere");
    EXPECT_EQ(UserSettingsPath(), "/elsewhere/vorn-device-finder/settings.conf");
  }
  const testing::ScopedEnvironment config("XDG_CONFIG_HOME", "");
  EXPECT_EQ(UserSettingsPath(), "/home/somebody/.config/vorn-device-finder/settings.conf");
}

TEST_F(IniUserDefaultsTest, MakesNoFileBeforeTheFirstChange) {
  {
    IniUserDefaults defaults(fPath);
    defaults.RegisterBool("notify", true);
    EXPECT_TRUE(defaults.Synchronize());
  }
  EXPECT_FALSE(std::filesystem::exists(fPath.parent_path()));
}

TEST_F(IniUserDefaultsTest, AnswersRegisteredDefaultsUntilSomethingIsStored) {
  IniUserDefaults defaults(fPath);
  EXPECT_FALSE(defaults.GetBool("notify"));
  EXPECT_FALSE(defaults.GetString("updateServerRoot"));
  defaults.RegisterBool("showSwitches", false);
  defaults.RegisterBool("notify", true);
  EXPECT_TRUE(defaults.GetBool("notify"));
  defaults.SetBool("notify", false);
  defaults.SetString("updateServerRoot", "http://other.example/");
  EXPECT_FALSE(defaults.GetBool("notify"));
  EXPECT_EQ(*defaults.GetString("updateServerRoot"), "http://other.example/");
  EXPECT_THAT(Content(), Not(HasSubstr("showSwitches")));
}

TEST_F(IniUserDefaultsTest, KeepsValuesAcrossARestart) {
  {
    IniUserDefaults defaults(fPath);
    defaults.SetBool("AlreadyRun", true);
    defaults.SetString("text", "a, \"b\"; c=d \\ \xc3\xa9\n@x");
    defaults.SetString("empty", "");
    defaults.SetStringArray("record", {"1.0.0+5", "1.1.0+2"});
    defaults.SetStringArray("odd", {"", "a,b", "c;d", "@Invalid()"});
    defaults.SetStringArray("one", {"x"});
    defaults.SetStringArray("none", {});
  }
  IniUserDefaults defaults(fPath);
  EXPECT_TRUE(defaults.GetBool("AlreadyRun"));
  EXPECT_EQ(*defaults.GetString("text"), "a, \"b\"; c=d \\ \xc3\xa9\n@x");
  EXPECT_EQ(*defaults.GetString("empty"), "");
  EXPECT_EQ(*defaults.GetStringArray("record"), (Texts{"1.0.0+5", "1.1.0+2"}));
  EXPECT_EQ(*defaults.GetStringArray("odd"), (Texts{"", "a,b", "c;d", "@Invalid()"}));
  EXPECT_EQ(*defaults.GetStringArray("one"), Texts{"x"});
  EXPECT_FALSE(defaults.GetStringArray("none"));
}

TEST_F(IniUserDefaultsTest, IsReadableAndEditableByHand) {
  IniUserDefaults(fPath).SetString("updateServerRoot", "http://updates.example/api/");
  EXPECT_EQ(Content(), "[General]\nupdateServerRoot=http://updates.example/api/\n");
  Write(
      "; a remark\n[General]\nupdateServerRoot = http://a.example/x,y;z?q=1%20\nnotify=No\nshowSwitches=1\n"
      "AlreadyRun=perhaps\n");
  IniUserDefaults defaults(fPath);
  EXPECT_EQ(*defaults.GetString("updateServerRoot"), "http://a.example/x,y;z?q=1%20");
  EXPECT_FALSE(defaults.GetBool("notify"));
  EXPECT_TRUE(defaults.GetBool("showSwitches"));
  EXPECT_FALSE(defaults.GetBool("AlreadyRun"));
  defaults.RegisterBool("AlreadyRun", true);
  EXPECT_TRUE(defaults.GetBool("AlreadyRun"));  // no bool is stored
}

TEST_F(IniUserDefaultsTest, BringsStrangersKeysBackAsTheyWentIn) {
  Texts keys{"",
             "/",
             "a/b",
             "a\\b",
             "a=b",
             "[General]",
             "General",
             "General/x",
             "general",
             "%General",
             "%2F",
             "a\nb",
             "a;",
             "#a",
             " a ",
             "A",
             "a",
             "\xc3\xa9",
             "\xff\xfe",
             std::string("a\0b", 3),
             ".",
             std::string(255, '/'),
             std::string(255, '\xff'),
             std::string(255, 'x'),
             "Version",
             "@Variant"};
  std::mt19937 random(3);  // NOLINT(cert-msc51-cpp): the same keys in every run
  for (int i = 0; i < 100; ++i) {
    std::string key(255, '\0');
    for (char& c : key) c = static_cast<char>(random());
    keys.push_back(key);
  }
  {
    IniUserDefaults defaults(fPath);
    for (std::size_t i = 0; i < keys.size(); ++i) defaults.SetString(keys[i], std::to_string(i));
  }
  const IniUserDefaults defaults(fPath);
  for (std::size_t i = 0; i < keys.size(); ++i)
    EXPECT_EQ(*defaults.GetString(keys[i]), std::to_string(i)) << i;
}

TEST_F(IniUserDefaultsTest, KeepsUnknownKeysAndGroups) {
  Write("[General]\nlater\\setting=1\nodd.key=x\nname=y\n\n[Another]\nkey=v, w\n");
  IniUserDefaults(fPath).SetBool("notify", false);
  const std::string content = Content();
  for (const char* line :
       {"later\\setting=1", "odd.key=x", "name=y", "[Another]\nkey=v, w", "notify=false"}) {
    EXPECT_THAT(content, HasSubstr(line));
  }
}

TEST_F(IniUserDefaultsTest, IsReadableByItsOwnerAlone) {
  const mode_t before = ::umask(0);
  IniUserDefaults(fPath).SetBool("notify", false);
  ::umask(before);
  EXPECT_EQ(ModeOf(fPath), 0600U);
  EXPECT_EQ(ModeOf(fPath.parent_path()), 0700U);
  ::chmod(fPath.c_str(), 0666);
  IniUserDefaults(fPath).SetBool("notify", true);
  EXPECT_EQ(ModeOf(fPath), 0600U);
  EXPECT_EQ(ModeOf(fPath.string() + ".lock"), 0600U);
  EXPECT_THAT(FilesBesideIt(), ElementsAre("settings.conf.lock"));
}

TEST_F(IniUserDefaultsTest, SeesWhatAnotherProcessSavedFromTheNextSynchronizeOn) {
  IniUserDefaults defaults(fPath);
  IniUserDefaults other(fPath);
  other.SetString("name", "theirs");
  defaults.SetString("mine", "kept");
  EXPECT_TRUE(defaults.Synchronize());
  EXPECT_EQ(*defaults.GetString("name"), "theirs");
  EXPECT_TRUE(other.Synchronize());
  EXPECT_EQ(*other.GetString("mine"), "kept");
}

TEST_F(IniUserDefaultsTest, SetsADamagedFileAsideAndSaysSo) {
  const std::string zeros(4096, '\0');
  int n = 0;
  for (const std::string& damage : {std::string("\x7f"
                                                "ELF no settings at all\n"),
                                    zeros, std::string("one line\n[x]\nnotify=false\n")}) {
    Write(damage);
    CaptureStderr();
    IniUserDefaults defaults(fPath);
    defaults.RegisterBool("notify", true);
    EXPECT_TRUE(defaults.GetBool("notify"));
    const std::string aside = fPath.string() + ".damaged-" + std::to_string(++n);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr(aside));
    std::ostringstream kept;
    kept << std::ifstream(aside, std::ios::binary).rdbuf();
    EXPECT_TRUE(kept.str() == damage);
    EXPECT_EQ(defaults.StoreCondition(), Condition::kDamaged);
    defaults.SetBool("showSwitches", true);
    EXPECT_TRUE(defaults.Synchronize());
    EXPECT_EQ(Content(), "[General]\nshowSwitches=true\n");
  }
}

TEST_F(IniUserDefaultsTest, KeepsLinesThatItCannotReadAndSaysSoOnce) {
  Write("stray\n[General]\nname=x\n[open\nnotify=false\n");
  CaptureStderr();
  {
    IniUserDefaults defaults(fPath);
    defaults.RegisterBool("notify", true);
    EXPECT_EQ(*defaults.GetString("name"), "x");
    EXPECT_FALSE(defaults.GetBool("notify"));
    EXPECT_EQ(defaults.StoreCondition(), Condition::kDamaged);
    defaults.SetString("name", "y");
    Write("stray\n[General]\nname=theirs\n");
    EXPECT_TRUE(defaults.Synchronize());
    EXPECT_EQ(*defaults.GetString("name"), "theirs");
    defaults.SetString("name", "z");
  }
  EXPECT_EQ(Content(), "stray\n[General]\nname=z\n");
  const std::string console = GetCapturedStderr();
  EXPECT_THAT(console,
              HasSubstr(fPath.string() + ": line 1 and 1 more cannot be read; the file stays as it is"));
  EXPECT_EQ(console.find("cannot be read"), console.rfind("cannot be read"));
  EXPECT_THAT(FilesBesideIt(), ElementsAre("settings.conf.lock"));
}

TEST_F(IniUserDefaultsTest, SaysHowMuchIsKnownOfWhatWasStored) {
  EXPECT_EQ(IniUserDefaults(fPath).StoreCondition(), Condition::kWhole);
  Write("[General]\nname=x\n");
  EXPECT_EQ(IniUserDefaults(fPath).StoreCondition(), Condition::kWhole);
  for (const char* emptied : {"", "[General]\n"}) {
    Write(emptied);
    EXPECT_EQ(IniUserDefaults(fPath).StoreCondition(), Condition::kDamaged) << emptied;
  }
  std::filesystem::rename(fPath, fPath.string() + ".damaged-1");
  EXPECT_EQ(IniUserDefaults(fPath).StoreCondition(), Condition::kDamaged);
  CaptureStderr();
  const ScopedDescriptorRoom scarce(0);
  EXPECT_EQ(IniUserDefaults(fPath).StoreCondition(), Condition::kUnread);
  GetCapturedStderr();
}

TEST_F(IniUserDefaultsTest, ReadOnlyLeavesADamagedFileAndItsFolderAsTheyAre) {
  const std::string damage = "notify: false\n" + std::string(100, '\0');
  Write(damage);
  CaptureStderr();
  {
    IniUserDefaults defaults = IniUserDefaults::ReadOnly(fPath);
    EXPECT_FALSE(defaults.GetString("notify"));
    EXPECT_TRUE(defaults.Synchronize());
  }
  const std::string console = GetCapturedStderr();
  EXPECT_THAT(console, HasSubstr("cannot be used (it is no settings file); the file stays as it is"));
  EXPECT_EQ(console.find("cannot be used"), console.rfind("cannot be used"));
  EXPECT_TRUE(Content() == damage);
  EXPECT_THAT(FilesBesideIt(), IsEmpty());
}

TEST_F(IniUserDefaultsTest, ReadOnlyReadsAndKeepsChangesInMemoryAlone) {
  Write("[General]\nname=theirs\n");
  CaptureStderr();
  {
    IniUserDefaults defaults = IniUserDefaults::ReadOnly(fPath);
    EXPECT_EQ(*defaults.GetString("name"), "theirs");
    defaults.SetString("name", "mine");
    EXPECT_EQ(*defaults.GetString("name"), "mine");
    EXPECT_FALSE(defaults.Synchronize());
  }
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("Cannot save " + fPath.string()));
  EXPECT_EQ(Content(), "[General]\nname=theirs\n");
  EXPECT_THAT(FilesBesideIt(), IsEmpty());
}

TEST_F(IniUserDefaultsTest, ReadOnlyMakesNoFolder) {
  EXPECT_FALSE(IniUserDefaults::ReadOnly(fPath).GetString("name"));
  EXPECT_FALSE(std::filesystem::exists(fPath.parent_path().parent_path()));
}

TEST_F(IniUserDefaultsTest, SetsAsideWhatIsNoFile) {
  std::filesystem::create_directories(fPath);
  CaptureStderr();
  IniUserDefaults defaults(fPath);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("damaged-1"));
  defaults.SetBool("notify", true);
  EXPECT_TRUE(IniUserDefaults(fPath).GetBool("notify"));
}

TEST_F(IniUserDefaultsTest, LeavesAGoodFileInItsPlaceWhileNoDescriptorIsLeft) {
  Write("[General]\nnotify=false\n");
  IniUserDefaults defaults(fPath);
  Write("[General]\nnotify=false\nname=theirs\n");
  CaptureStderr();
  for (const rlim_t room : {0U, 1U}) {  // with one, there is a lock but no file
    const ScopedDescriptorRoom scarce(room);
    defaults.SetString("mine " + std::to_string(room), "kept");
    EXPECT_FALSE(defaults.Synchronize());
  }
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("Cannot save " + fPath.string()));
  EXPECT_EQ(Content(), "[General]\nnotify=false\nname=theirs\n");
  EXPECT_FALSE(defaults.GetBool("notify"));
  EXPECT_TRUE(defaults.GetString("mine 1"));
  EXPECT_TRUE(defaults.Synchronize());
  EXPECT_TRUE(defaults.GetString("name"));
  EXPECT_THAT(Content(), HasSubstr("name=theirs"));
  EXPECT_THAT(FilesBesideIt(), ElementsAre("settings.conf.lock"));
}

TEST_F(IniUserDefaultsTest, ReadsLaterWhatCouldNotBeReadAtTheStart) {
  Write("[General]\nname=theirs\n");
  CaptureStderr();
  auto room = std::make_unique<ScopedDescriptorRoom>(0);
  IniUserDefaults defaults(fPath);
  IniUserDefaults reading = IniUserDefaults::ReadOnly(fPath);
  EXPECT_FALSE(defaults.GetString("name"));
  EXPECT_FALSE(reading.GetString("name"));
  EXPECT_FALSE(reading.Synchronize());
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("Cannot read " + fPath.string()));
  room.reset();
  CaptureStderr();
  EXPECT_TRUE(defaults.Synchronize());
  EXPECT_TRUE(reading.Synchronize());
  EXPECT_TRUE(defaults.GetString("name"));
  EXPECT_TRUE(reading.GetString("name"));
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("read again"));
  EXPECT_THAT(FilesBesideIt(), IsEmpty());
}

TEST_F(IniUserDefaultsTest, LeavesAFileInItsPlaceThatOpensButFailsToBeRead) {
  std::filesystem::create_directories(fPath.parent_path());
  std::filesystem::create_symlink("/sys/class/net/lo/speed", fPath);  // every read fails with EINVAL
  CaptureStderr();
  IniUserDefaults defaults(fPath);
  EXPECT_EQ(defaults.StoreCondition(), Condition::kUnread);
  defaults.SetBool("notify", true);
  EXPECT_FALSE(defaults.Synchronize());
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("Cannot read " + fPath.string() + " (Input/output error)"));
  EXPECT_THAT(FilesBesideIt(), ElementsAre("settings.conf.lock"));
  ASSERT_TRUE(std::filesystem::remove(fPath));
  Write("[General]\nname=theirs\n");
  CaptureStderr();
  EXPECT_TRUE(defaults.Synchronize());
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("saved again"));
  EXPECT_EQ(Content(), "[General]\nname=theirs\nnotify=true\n");
}

TEST_F(IniUserDefaultsTest, SetsAsideWhatIsTooLarge) {
  Write("[General]\nnotify=false\n");
  std::filesystem::resize_file(fPath, (std::uintmax_t{64} << 20U) + 1);
  CaptureStderr();
  IniUserDefaults defaults(fPath);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("(it is too large); renamed to"));
  EXPECT_FALSE(std::filesystem::exists(fPath));
}

TEST_F(IniUserDefaultsTest, WritesNothingThatItWouldNotRead) {
  Write("[General]\nnotify=false\n");
  SettingsFile file(fPath);
  const SettingsFile::Changes tooLarge{{"name", {std::string(std::size_t{64} << 20U, 'x')}}};
  EXPECT_EQ(file.Synchronize(tooLarge, 0ms), SettingsFile::Outcome::kFailed);
  EXPECT_THAT(file.Failure(), HasSubstr("it is full; to make room, quit the program and delete lines"));
  EXPECT_EQ(Content(), "[General]\nnotify=false\n");
  EXPECT_EQ(file.Synchronize({{"name", {"x"}}}, 0ms), SettingsFile::Outcome::kSaved);
  EXPECT_EQ(Content(), "[General]\nnotify=false\nname=x\n");
  EXPECT_THAT(FilesBesideIt(), ElementsAre("settings.conf.lock"));
}

TEST_F(IniUserDefaultsTest, SaysOnceThatTheFileIsNearlyFull) {
  Write("[General]\nnotify=false\nlong=" + std::string(SettingsFile::kNearlyFull - 100, 'x') + "\n");
  CaptureStderr();
  {
    IniUserDefaults defaults(fPath);
    EXPECT_EQ(GetCapturedStderr(), "");
    CaptureStderr();
    defaults.SetString("more", std::string(100, 'x'));
    defaults.SetString("evenMore", std::string(100, 'x'));
  }
  const auto console = GetCapturedStderr();
  EXPECT_THAT(console, HasSubstr(fPath.string() + " is nearly full (48 of 64 MiB)"));
  EXPECT_THAT(console, HasSubstr("quit the program and delete lines of units that are gone"));
  EXPECT_EQ(console.find("nearly full"), console.rfind("nearly full"));
  CaptureStderr();
  { const IniUserDefaults again(fPath); }
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("nearly full"));
  CaptureStderr();
  { const auto reading = IniUserDefaults::ReadOnly(fPath); }
  EXPECT_EQ(GetCapturedStderr(), "") << "this one lets nothing grow";
}

TEST_F(IniUserDefaultsTest, SetsAsideWhatItsOwnerMayNotRead) {
  Write("[General]\nnotify=false\n");
  for (auto folder = fPath.parent_path(); folder != fFolder.Path().parent_path();
       folder = folder.parent_path()) {
    ::chmod(folder.c_str(), 0777);
  }
  ::chmod(fPath.c_str(), 0);
  const bool isRoot = ::geteuid() == 0;
  // Permissions do not stop root.
  ASSERT_TRUE(!isRoot || ::seteuid(65534) == 0);
  CaptureStderr();
  IniUserDefaults defaults(fPath);
  defaults.SetBool("showSwitches", true);
  EXPECT_TRUE(defaults.Synchronize());
  ASSERT_TRUE(!isRoot || ::seteuid(0) == 0);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("damaged-1"));
  EXPECT_THAT(FilesBesideIt(),
              ::testing::UnorderedElementsAre("settings.conf.lock", "settings.conf.damaged-1"));
}

TEST_F(IniUserDefaultsTest, SavesAValueThatAnotherProcessHasReplacedMeanwhile) {
  IniUserDefaults defaults(fPath);
  defaults.SetString("name", "mine");
  IniUserDefaults(fPath).SetString("name", "theirs");
  defaults.SetString("name", "mine");
  EXPECT_EQ(Content(), "[General]\nname=mine\n");
}

TEST_F(IniUserDefaultsTest, LeavesTheFileAloneWhereItHoldsEverythingAlready) {
  IniUserDefaults defaults(fPath);
  defaults.SetString("name", "x");
  const auto before = std::filesystem::last_write_time(fPath);
  std::filesystem::last_write_time(fPath, before - std::chrono::hours(1));
  defaults.SetString("name", "x");
  EXPECT_EQ(std::filesystem::last_write_time(fPath), before - std::chrono::hours(1));
}

TEST_F(IniUserDefaultsTest, NoticesDamageThatComesWhileItRuns) {
  IniUserDefaults defaults(fPath);
  defaults.SetBool("AlreadyRun", true);
  Write("broken\n");
  CaptureStderr();
  defaults.SetBool("showSwitches", true);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("damaged-1"));
  EXPECT_TRUE(IniUserDefaults(fPath).GetBool("showSwitches"));
}

TEST_F(IniUserDefaultsTest, KeepsASymbolicLink) {
  const auto real = fFolder.Path() / "dotfiles.conf";
  Write("");
  std::filesystem::remove(fPath);
  std::ofstream(real) << "notify=false\n";
  std::filesystem::create_symlink(real, fPath);
  IniUserDefaults(fPath).SetBool("showSwitches", true);
  EXPECT_TRUE(std::filesystem::is_symlink(fPath));
  EXPECT_FALSE(IniUserDefaults(real).GetBool("notify"));
  EXPECT_TRUE(IniUserDefaults(real).GetBool("showSwitches"));
}

TEST_F(IniUserDefaultsTest, KeepsASymbolicLinkThatLeadsToNoFileYet) {
  std::filesystem::create_directories(fPath.parent_path());
  std::filesystem::create_symlink("other.conf", fPath.parent_path() / "link.conf");
  std::filesystem::create_symlink(fPath.parent_path() / "link.conf", fPath);
  IniUserDefaults(fPath).SetBool("showSwitches", true);
  EXPECT_TRUE(std::filesystem::is_symlink(fPath));
  EXPECT_TRUE(std::filesystem::is_symlink(fPath.parent_path() / "link.conf"));
  EXPECT_TRUE(IniUserDefaults(fPath.parent_path() / "other.conf").GetBool("showSwitches"));
}

TEST_F(IniUserDefaultsTest, KeepsValuesInMemoryWhileTheyCannotBeSavedAndSaysItOnce) {
  Write("");
  std::filesystem::remove(fPath);
  std::filesystem::remove(fPath.parent_path());
  std::ofstream(fPath.parent_path()) << "a file where the folder should be";
  CaptureStderr();
  IniUserDefaults defaults(fPath);
  defaults.SetBool("notify", true);
  defaults.SetString("name", "x");
  EXPECT_FALSE(defaults.Synchronize());
  EXPECT_TRUE(defaults.GetBool("notify"));
  const std::string console = GetCapturedStderr();
  EXPECT_THAT(console, HasSubstr("Cannot save " + fPath.string()));
  EXPECT_EQ(console.find("Cannot save"), console.rfind("Cannot save"));

  std::filesystem::remove(fPath.parent_path());
  CaptureStderr();
  EXPECT_TRUE(defaults.Synchronize());
  EXPECT_THAT(GetCapturedStderr(), HasSubstr(fPath.string() + " is saved again"));
  const IniUserDefaults later(fPath);
  EXPECT_TRUE(later.GetBool("notify"));
  EXPECT_EQ(*later.GetString("name"), "x");
}

TEST_F(IniUserDefaultsTest, HoldsBackOnlyTheKeysThatAnotherStoreMustPrecede) {
  bool isReady = false;
  {
    IniUserDefaults defaults(fPath);
    const auto isSaved = [&] { return isReady; };
    defaults.SetEarlier({isSaved, isSaved}, "record-");
    defaults.SetString("record-a", "x");
    defaults.SetString("name", "y");
    EXPECT_FALSE(defaults.Synchronize());
    EXPECT_EQ(*defaults.GetString("record-a"), "x");
    EXPECT_EQ(Content().find("record-a"), std::string::npos);
    EXPECT_THAT(Content(), HasSubstr("name=y"));
    isReady = true;
    EXPECT_TRUE(defaults.Synchronize());
    EXPECT_THAT(Content(), HasSubstr("record-a=x"));
    isReady = false;
    defaults.SetString("record-b", "z");
  }
  EXPECT_FALSE(IniUserDefaults(fPath).GetString("record-b"));  // nor at the end
}

TEST_F(IniUserDefaultsTest, LosesNothingButTheWritingInAReadOnlyFolder) {
  Write("[General]\nnotify=false\n");
  ::chmod(fFolder.Path().c_str(), 0755);
  ::chmod((fFolder.Path() / "config").c_str(), 0755);
  ::chmod(fPath.parent_path().c_str(), 0555);
  ::chmod(fPath.c_str(), 0644);
  const bool isRoot = ::geteuid() == 0;
  // Permissions do not stop root.
  ASSERT_TRUE(!isRoot || ::seteuid(65534) == 0);
  CaptureStderr();
  IniUserDefaults defaults(fPath);
  defaults.SetBool("showSwitches", true);
  EXPECT_FALSE(defaults.Synchronize());
  ASSERT_TRUE(!isRoot || ::seteuid(0) == 0);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("Cannot save " + fPath.string()));
  EXPECT_TRUE(defaults.GetBool("showSwitches"));
  EXPECT_EQ(Content(), "[General]\nnotify=false\n");
  ::chmod(fPath.parent_path().c_str(), 0755);
  EXPECT_TRUE(defaults.Synchronize());
  EXPECT_THAT(Content(), HasSubstr("showSwitches=true"));
}

TEST_F(IniUserDefaultsTest, LeavesTheFileWholeWhenTheDiskIsFull) {
  {
    IniUserDefaults defaults(fPath);
    defaults.SetString("name", "before");
  }
  const std::string before = Content();
  rlimit old = {};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
  ::signal(SIGXFSZ, SIG_IGN);
  IniUserDefaults defaults(fPath);
  rlimit full = old;
  full.rlim_cur = 2048;  // writing beyond it fails, as on a full disk
  CaptureStderr();
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);
  defaults.SetString("long", std::string(100000, 'x'));
  EXPECT_FALSE(defaults.Synchronize());
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &old), 0);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("Cannot save " + fPath.string()));
  EXPECT_TRUE(Content() == before);
  EXPECT_TRUE(defaults.Synchronize());
  EXPECT_EQ(IniUserDefaults(fPath).GetString("long")->size(), 100000U);
}

TEST_F(IniUserDefaultsTest, KeepsWhatCannotBeSavedWhileAStoppedProcessHoldsTheLock) {
  IniUserDefaults defaults(fPath);
  defaults.SetBool("notify", true);
  auto holder = Writer::StoppedWithTheLock(fPath);
  defaults.SetBool("notify", false);
  EXPECT_FALSE(defaults.Synchronize());
  EXPECT_FALSE(defaults.GetBool("notify"));
  EXPECT_TRUE(IniUserDefaults::ReadOnly(fPath).GetBool("notify"));  // reading needs no lock
  EXPECT_EQ(holder.End(SIGCONT), 0);
  EXPECT_TRUE(defaults.Synchronize());
  EXPECT_THAT(Content(), HasSubstr("notify=false"));
}

TEST_F(IniUserDefaultsTest, SavesOnAFileSystemWithoutLocks) {
  CaptureStderr();
  for (const int failure : {ENOLCK, EOPNOTSUPP}) {
    const testing::FailingLocks locks(failure);
    const auto number = std::to_string(failure);
    Write("damaged " + number);
    IniUserDefaults defaults(fPath);
    defaults.SetString("number", number);
    EXPECT_TRUE(defaults.IsSaved());
    EXPECT_EQ(Content(), "[General]\nnumber=" + number + "\n");
  }
  EXPECT_THAT(GetCapturedStderr(), Not(HasSubstr("Cannot save")));
  EXPECT_THAT(FilesBesideIt(), UnorderedElementsAre("settings.conf.damaged-1", "settings.conf.damaged-2",
                                                    "settings.conf.lock"));
}

TEST_F(IniUserDefaultsTest, NamesTheKeysThatAreLostAtTheEnd) {
  Write("[General]\nnotify=true\n");
  const auto holder = Writer::StoppedWithTheLock(fPath);
  CaptureStderr();
  {
    IniUserDefaults defaults(fPath);
    defaults.SetBool("notify", false);
    defaults.SetString("record-\x1b[2J", "x");
  }
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("Not saved in " + fPath.string() +
                                             " (another program holds its lock): notify, record-"));
  EXPECT_EQ(Content(), "[General]\nnotify=true\n");
}

TEST_F(IniUserDefaultsTest, NamesTheFirstOfManyLostKeys) {
  Write("[General]\nnotify=true\n");
  const auto holder = Writer::StoppedWithTheLock(fPath);
  CaptureStderr();
  {
    IniUserDefaults defaults(fPath);
    for (int i = 100; i < 115; ++i) defaults.SetString("key" + std::to_string(i), "x");
  }
  const auto console = GetCapturedStderr();
  EXPECT_THAT(console, HasSubstr("key100, key101, "));
  EXPECT_THAT(console, HasSubstr(", key109 and 5 more\n"));
}

TEST_F(IniUserDefaultsTest, LosesNoEntryOfTwoProcesses) {
  constexpr int kCount = 1000;
  Writer first(fPath, "first/", kCount);
  Writer second(fPath, "second/", kCount);
  EXPECT_EQ(first.Read().size(), static_cast<std::size_t>(kCount));
  EXPECT_EQ(second.Read().size(), static_cast<std::size_t>(kCount));
  EXPECT_EQ(first.End(0), 0);
  EXPECT_EQ(second.End(0), 0);
  const IniUserDefaults defaults(fPath);
  for (int i = 0; i < kCount; ++i) {
    EXPECT_TRUE(defaults.GetStringArray("first/" + std::to_string(i))) << i;
    EXPECT_TRUE(defaults.GetStringArray("second/" + std::to_string(i))) << i;
  }
}

TEST_F(IniUserDefaultsTest, LosesNoSavedEntryToAKillInTheMiddleOfWriting) {
  constexpr int kRounds = 200;
  std::mt19937 random(11);  // NOLINT(cert-msc51-cpp): the moments differ by scheduling anyway
  std::vector<std::string> saved;
  CaptureStderr();
  for (int round = 0; round < kRounds; ++round) {
    const std::string prefix = "r" + std::to_string(round) + "/";
    Writer writer(fPath, prefix, 100000);
    auto numbers = writer.Read(1 + random() % 20);
    writer.End(SIGKILL);
    const auto more = writer.Read();
    numbers.insert(numbers.end(), more.begin(), more.end());
    ASSERT_FALSE(numbers.empty());
    for (const int number : numbers) saved.push_back(prefix + std::to_string(number));
  }
  IniUserDefaults defaults(fPath);
  for (const auto& key : saved) EXPECT_TRUE(defaults.GetStringArray(key)) << key;
  defaults.SetBool("notify", true);  // also past the lock that the last one left
  EXPECT_TRUE(defaults.Synchronize());
  EXPECT_THAT(GetCapturedStderr(), IsEmpty());
  EXPECT_THAT(FilesBesideIt(), ElementsAre("settings.conf.lock"));
}

}  // namespace
}  // namespace vorn
