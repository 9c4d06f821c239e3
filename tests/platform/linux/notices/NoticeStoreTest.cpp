#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "platform/linux/notices/NoticeStore.h"
#include "platform/linux/settings/IniUserDefaults.h"
#include "tests/platform/FakeUserDefaults.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace vorn {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;
using Texts = std::vector<std::string>;

const ServerIdentity kHere{"bus-1", ":1.7"};

KeptNotice MakeNotice(const std::string& subject, std::uint32_t serverId) {
  KeptNotice kept;
  kept.notification.subject = subject;
  kept.notification.title = "Update Available for \"a, b\"\n\xff" + subject;
  kept.notification.informativeText = "1.4.2";
  kept.notification.userInfo[kUserInfoUrl] = "http://unit.local/#device";
  kept.notification.playsDefaultSound = serverId == 0;
  kept.serverId = serverId;
  return kept;
}

void ExpectEqual(const KeptNotice& read, const KeptNotice& written) {
  EXPECT_EQ(read.serverId, written.serverId);
  EXPECT_EQ(read.notification.subject, written.notification.subject);
  EXPECT_EQ(read.notification.title, written.notification.title);
  EXPECT_EQ(read.notification.informativeText, written.notification.informativeText);
  EXPECT_EQ(read.notification.userInfo, written.notification.userInfo);
  EXPECT_EQ(read.notification.playsDefaultSound, written.notification.playsDefaultSound);
}

class NoticeStoreTest : public ::testing::Test {
 protected:
  /// What is read from a state that holds these texts.
  std::vector<KeptNotice> ReadFrom(const Texts& notices) {
    fState.SetString("bus", kHere.bus);
    fState.SetString("server", kHere.server);
    fState.SetStringArray("notices", notices);
    return NoticeStore(&fState).Read(kHere);
  }

  testing::FakeUserDefaults fState;
};

TEST_F(NoticeStoreTest, GivesBackWhatWasWrittenThroughARealFileOfItsOwnerAlone) {
  const testing::TemporaryFolder folder;
  const auto path = folder.Path() / "state" / "vorn-device-finder" / "notices.conf";
  const std::vector<KeptNotice> notices{MakeNotice("b", 7), MakeNotice("a", 0)};
  {
    IniUserDefaults state(path);
    NoticeStore(&state).Write(notices, kHere);
  }
  IniUserDefaults state(path);
  const auto read = NoticeStore(&state).Read(kHere);
  ASSERT_EQ(read.size(), 2U);
  ExpectEqual(read[0], notices[0]);
  ExpectEqual(read[1], notices[1]);
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  ASSERT_EQ(::stat(path.parent_path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(NoticeStoreTest, SetsADamagedFileAside) {
  const testing::TemporaryFolder folder;
  const auto path = folder.Path() / "notices.conf";
  std::ofstream(path) << std::string("\x1f\x8b wai\0ting\n", 12);
  CaptureStderr();
  IniUserDefaults state(path);
  EXPECT_THAT(NoticeStore(&state).Read(kHere), IsEmpty());
  EXPECT_THAT(GetCapturedStderr(),
              HasSubstr(path.string() + " cannot be used (it is no settings file); renamed to"));
  EXPECT_TRUE(std::filesystem::exists(path.string() + ".damaged-1"));
}

TEST_F(NoticeStoreTest, LeavesOutWhatStoodOnAnotherServerOrBus) {
  for (const auto& other :
       {ServerIdentity{"bus-1", ":1.8"}, ServerIdentity{"bus-2", ":1.7"}, ServerIdentity{}}) {
    NoticeStore(&fState).Write({MakeNotice("a", 7), MakeNotice("b", 0)}, kHere);
    const auto read = NoticeStore(&fState).Read(other);
    ASSERT_EQ(read.size(), 1U);
    EXPECT_EQ(read[0].notification.subject, "b");
  }
}

TEST_F(NoticeStoreTest, HoldsNoIdToBeThatOfAServerWhichNobodyKnows) {
  const ServerIdentity nobody;
  NoticeStore(&fState).Write({MakeNotice("a", 7)}, nobody);
  EXPECT_THAT(NoticeStore(&fState).Read(nobody), IsEmpty());
}

TEST_F(NoticeStoreTest, ReadsTheGoodNoticesBesideTheBadOnes) {
  const Texts good{"waiting", "sound", "subject", "title", "text", "http://a/"};
  const std::vector<std::pair<std::size_t, std::string>> faults{{0, ""},
                                                                {0, "0"},
                                                                {0, "-1"},
                                                                {0, "4294967296"},
                                                                {0, "7x"},
                                                                {0, "x7"},
                                                                {1, "loud"},
                                                                {2, std::string(8193, 'x')},
                                                                {5, std::string(8193, 'x')}};
  for (const auto& [place, text] : faults) {
    Texts notices = good;
    notices[place] = text;
    notices.insert(notices.end(), good.begin(), good.end());
    CaptureStderr();
    EXPECT_EQ(ReadFrom(notices).size(), 1U) << text;
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("cannot be read")) << text;
  }
}

TEST_F(NoticeStoreTest, ReadsWhatIsWholeOfAListThatWasCutOff) {
  CaptureStderr();
  EXPECT_EQ(ReadFrom({"waiting", "sound", "a", "b", "c", "", "waiting", "sound"}).size(), 1U);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("cannot be read"));
}

TEST_F(NoticeStoreTest, KeepsABoundedNumberOfNotices) {
  Texts notices;
  for (std::size_t i = 0; i <= NoticeStore::kMaxNotices; ++i) {
    const Texts one{"waiting", "silent", std::to_string(i), "t", "", ""};
    notices.insert(notices.end(), one.begin(), one.end());
  }
  CaptureStderr();
  EXPECT_EQ(ReadFrom(notices).size(), NoticeStore::kMaxNotices);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("cannot be read"));
  const std::vector<KeptNotice> many(NoticeStore::kMaxNotices + 1, MakeNotice("a", 0));
  NoticeStore(&fState).Write(many, kHere);
  EXPECT_EQ(NoticeStore(&fState).Read(kHere).size(), NoticeStore::kMaxNotices);
}

TEST_F(NoticeStoreTest, KeepsABoundedSizeOfTexts) {
  auto large = MakeNotice("a", 0);
  large.notification.title = std::string(NoticeStore::kMaxLength, 'x');
  const std::vector<KeptNotice> many(1000, large);
  NoticeStore(&fState).Write(many, kHere);
  std::size_t size = 0;
  for (const auto& text : fState.fArrays.at("notices")) size += text.size();
  EXPECT_LE(size, NoticeStore::kMaxSize);
  EXPECT_GT(size, NoticeStore::kMaxSize - 2 * NoticeStore::kMaxLength);
}

TEST_F(NoticeStoreTest, LeavesTheStateAloneWhereNothingHasChanged) {
  int writes = 0;
  fState.fOnArrayStored = [&] { ++writes; };
  NoticeStore store(&fState);
  store.Write({}, kHere);
  EXPECT_EQ(writes, 0);
  store.Write({MakeNotice("a", 7)}, kHere);
  store.Write({MakeNotice("a", 7)}, kHere);
  EXPECT_EQ(writes, 1);
  store.Write({MakeNotice("a", 7)}, {"bus-1", ":1.8"});
  store.Write({}, kHere);
  EXPECT_EQ(writes, 3);
}

TEST_F(NoticeStoreTest, LiesInTheUsersFolderForState) {
  const testing::ScopedEnvironment home("HOME", "/home/somebody");
  {
    const testing::ScopedEnvironment state("XDG_STATE_HOME", "/elsewhere");
    EXPECT_EQ(UserNoticesPath(), "/elsewhere/vorn-device-finder/notices.conf");
  }
  const testing::ScopedEnvironment relative("XDG_STATE_HOME", "elsewhere");
  EXPECT_EQ(UserNoticesPath(), "/home/somebody/.local/state/vorn-device-finder/notices.conf");
}

}  // namespace
}  // namespace vorn
