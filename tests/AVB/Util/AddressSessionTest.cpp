#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ranges>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "AVB/Util/AddressSession.h"
#include "tests/AVB/Util/FakeResponder.h"
#include "tests/AVB/Util/SystemBus.h"
#include "tests/support/Eventually.h"

namespace vorn {
namespace {

using test::FakeResponder;
using test::SystemBus;
using ::testing::IsEmpty;
using ::testing::SizeIs;

bool HasAnswer(const AddressLookup& lookup, std::chrono::milliseconds limit = testing::kGenerousDeadline) {
  pollfd readable{lookup.Socket(), POLLIN, 0};
  return ::poll(&readable, 1, static_cast<int>(limit.count())) == 1;
}

// The lookup's answer, which a test says will come.
AddressLookup::Answer AnswerTo(AddressLookup& lookup) {
  EXPECT_TRUE(HasAnswer(lookup)) << lookup.HostName();
  const auto answer = lookup.Take();
  EXPECT_TRUE(answer) << lookup.HostName();
  return answer.value_or(AddressLookup::Answer{.error = -1, .address = {}});
}

std::string Text(const AddressLookup::Answer& answer) {
  if (!answer.address) return "none";
  char text[INET_ADDRSTRLEN];
  return ::inet_ntop(AF_INET, &*answer.address, text, sizeof text);
}

std::set<std::string> Threads() {
  std::set<std::string> threads;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
    threads.insert(entry.path().string());
  }
  return threads;
}

// Those that were not there before; one that was joined may be among either for a while.
std::set<std::string> ThreadsBeside(const std::set<std::string>& before) {
  std::set<std::string> added = Threads();
  for (const auto& thread : before) added.erase(thread);
  return added;
}

std::ptrdiff_t Descriptors() {
  return std::ranges::distance(std::filesystem::directory_iterator("/proc/self/fd"));
}

// Whether a thread is to take that signal.
bool Takes(const std::string& thread, int signal) {
  std::ifstream status(thread + "/status");
  for (std::string line; std::getline(status, line);) {
    if (!line.starts_with("SigBlk:")) continue;
    return (std::stoull(line.substr(7), nullptr, 16) >> (signal - 1) & 1) == 0;
  }
  return true;
}

bool Sleeps(pid_t thread) {
  std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("State:")) return line.find("sleeping") != std::string::npos;
  }
  return false;
}

TEST(AddressLookup, IsAnsweredOnceAndItsAnswerTakenOnce) {
  AddressLookup lookup(0, "box.local.");
  EXPECT_FALSE(lookup.Take());
  EXPECT_FALSE(HasAnswer(lookup, std::chrono::milliseconds(0)));
  EXPECT_FALSE(lookup.Settled());

  lookup.Reply({.interfaceIndex = 1, .address = {}});
  lookup.Reply({.interfaceIndex = 2, .address = {}});
  EXPECT_TRUE(lookup.Settled());
  EXPECT_TRUE(HasAnswer(lookup));
  const auto answer = lookup.Take();
  ASSERT_TRUE(answer);
  EXPECT_EQ(1U, answer->interfaceIndex);
  EXPECT_FALSE(HasAnswer(lookup, std::chrono::milliseconds(0)));
  EXPECT_FALSE(lookup.Take());
  lookup.Reply({.interfaceIndex = 3, .address = {}});
  EXPECT_FALSE(lookup.Take());
}

TEST(AddressLookup, IsNotAnsweredOnceItWasGivenUp) {
  AddressLookup lookup(0, "box.local.");
  lookup.GiveUp();
  EXPECT_TRUE(lookup.Settled());
  lookup.Reply({.interfaceIndex = 1, .address = {}});
  EXPECT_FALSE(HasAnswer(lookup, std::chrono::milliseconds(0)));
  EXPECT_FALSE(lookup.Take());
}

class AddressSessionTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { gBus = std::make_unique<SystemBus>(); }
  static void TearDownTestSuite() { gBus.reset(); }
  void SetUp() override {
    gBus->Start();
    fResponder = std::make_unique<FakeResponder>();
    fSession = std::make_unique<AddressSession>();
  }
  void TearDown() override {
    fSession.reset();
    fResponder.reset();
    gBus->Stop();
  }

  std::shared_ptr<AddressLookup> LookUp(const std::string& host, std::uint32_t interface = 7) {
    auto lookup = std::make_shared<AddressLookup>(interface, host);
    fSession->Begin(lookup);
    return lookup;
  }

  // The question by which the responder was asked for that host, the last one.
  FakeResponder::Question QuestionFor(const std::string& host) {
    FakeResponder::Question question{};
    EXPECT_TRUE(testing::Eventually([&] {
      for (const auto& asked : fResponder->Questions()) {
        if (asked.name == host) question = asked;
      }
      return !question.name.empty();
    })) << host;
    return question;
  }

  void GiveUp(AddressLookup& lookup) {
    lookup.GiveUp();
    fSession->Wake();
  }

  static std::unique_ptr<SystemBus> gBus;
  std::unique_ptr<FakeResponder> fResponder;
  std::unique_ptr<AddressSession> fSession;
};

std::unique_ptr<SystemBus> AddressSessionTest::gBus;

TEST_F(AddressSessionTest, AsksForAddressRecordsAndTellsTheFirst) {
  const auto lookup = LookUp("box.local.", 3);
  const auto question = QuestionFor("box.local.");
  EXPECT_EQ(3, question.interface);
  EXPECT_EQ(-1, question.protocol);  // over either
  EXPECT_EQ(1, question.recordClass);
  EXPECT_EQ(1, question.type);
  EXPECT_EQ(0U, question.flags);

  fResponder->TellRecord(question, "ItemNew", {192, 168, 1, 20});
  fResponder->TellRecord(question, "ItemNew", {192, 168, 1, 21});
  const auto answer = AnswerTo(*lookup);
  EXPECT_EQ(kDNSServiceErr_NoError, answer.error);
  EXPECT_EQ(DNSServiceFlags{kDNSServiceFlagsAdd}, answer.flags);
  EXPECT_EQ(7U, answer.interfaceIndex);
  EXPECT_EQ("192.168.1.20", Text(answer));
  EXPECT_TRUE(fResponder->WaitUntilFreed(question));
  EXPECT_FALSE(lookup->Take());
}

TEST_F(AddressSessionTest, NoInterfaceIsAnyInterface) {
  const auto lookup = LookUp("box.local.", 0);
  EXPECT_EQ(-1, QuestionFor("box.local.").interface);
}

TEST_F(AddressSessionTest, AllLookupsShareOneConnectionAndOneThread) {
  const auto before = Threads();
  const auto a = LookUp("a.local.");
  const auto b = LookUp("b.local.");
  const auto c = LookUp("c.local.");
  const auto questionA = QuestionFor("a.local.");
  const auto questionB = QuestionFor("b.local.");
  const auto questionC = QuestionFor("c.local.");
  EXPECT_THAT(ThreadsBeside(before), IsEmpty());
  EXPECT_EQ(questionA.client, questionB.client);
  EXPECT_EQ(questionA.client, questionC.client);

  fResponder->TellRecord(questionC, "ItemNew", {10, 0, 0, 3});
  EXPECT_EQ("10.0.0.3", Text(AnswerTo(*c)));
  fResponder->TellRecord(questionA, "ItemNew", {10, 0, 0, 1});
  EXPECT_EQ("10.0.0.1", Text(AnswerTo(*a)));
  EXPECT_FALSE(b->Settled());
}

TEST_F(AddressSessionTest, TwoLookupsOfOneHostAreBothAnswered) {
  const auto first = LookUp("box.local.");
  const auto second = LookUp("box.local.");
  ASSERT_TRUE(fResponder->WaitForQuestions(2));
  for (const auto& question : fResponder->Questions()) {
    fResponder->TellRecord(question, "ItemNew", {10, 0, 0, 1});
  }
  EXPECT_EQ("10.0.0.1", Text(AnswerTo(*first)));
  EXPECT_EQ("10.0.0.1", Text(AnswerTo(*second)));
}

TEST_F(AddressSessionTest, ARecordThatIsNoAddressBringsNone) {
  const auto tooLong = LookUp("long.local.");
  const auto tooShort = LookUp("short.local.");
  const auto other = LookUp("other.local.");
  fResponder->TellRecord(QuestionFor("long.local."), "ItemNew", std::vector<std::uint8_t>(16, 1));
  fResponder->TellRecord(QuestionFor("short.local."), "ItemNew", {1, 2, 3});
  fResponder->TellRecord(QuestionFor("other.local."), "ItemNew", {1, 2, 3, 4}, 28);
  for (const auto& lookup : {tooLong, tooShort, other}) {
    const auto answer = AnswerTo(*lookup);
    EXPECT_EQ("none", Text(answer));
    EXPECT_EQ(kDNSServiceErr_NoError, answer.error);
  }
}

TEST_F(AddressSessionTest, ARecordThatHasGoneComesWithoutTheAddFlag) {
  const auto lookup = LookUp("box.local.");
  fResponder->TellRecord(QuestionFor("box.local."), "ItemRemove", {10, 0, 0, 1});
  EXPECT_EQ(0U, AnswerTo(*lookup).flags);
}

TEST_F(AddressSessionTest, AFailureIsAnError) {
  const auto lookup = LookUp("box.local.");
  fResponder->TellFailure(QuestionFor("box.local."));
  const auto answer = AnswerTo(*lookup);
  EXPECT_EQ(kDNSServiceErr_Unknown, answer.error);
  EXPECT_EQ("none", Text(answer));
}

TEST_F(AddressSessionTest, ANameThatTheResponderRefusesIsAnErrorOfItsOwn) {
  fResponder->Refuse("bad.local.");
  const auto good = LookUp("good.local.");
  const auto bad = LookUp("bad.local.");
  EXPECT_EQ(kDNSServiceErr_Unknown, AnswerTo(*bad).error);
  fResponder->TellRecord(QuestionFor("good.local."), "ItemNew", {10, 0, 0, 1});
  EXPECT_EQ("10.0.0.1", Text(AnswerTo(*good)));
  EXPECT_EQ(2, fResponder->Calls("RecordBrowserNew"));
}

TEST_F(AddressSessionTest, ALookupThatIsGivenUpIsNoLongerAsked) {
  const auto lookup = LookUp("box.local.");
  const auto question = QuestionFor("box.local.");
  GiveUp(*lookup);
  EXPECT_TRUE(fResponder->WaitUntilFreed(question));
  EXPECT_FALSE(lookup->Take());
}

TEST_F(AddressSessionTest, WithoutAResponderTheAnswerIsAnErrorUntilOneIsThere) {
  fResponder.reset();
  EXPECT_EQ(kDNSServiceErr_Unknown, AnswerTo(*LookUp("box.local.")).error);
  fResponder = std::make_unique<FakeResponder>();
  const auto lookup = LookUp("box.local.");
  fResponder->TellRecord(QuestionFor("box.local."), "ItemNew", {10, 0, 0, 1});
  EXPECT_EQ("10.0.0.1", Text(AnswerTo(*lookup)));
}

TEST_F(AddressSessionTest, OpenLookupsOfAResponderThatHasGoneAreErrors) {
  const auto lookup = LookUp("box.local.");
  QuestionFor("box.local.");
  fResponder.reset();
  EXPECT_EQ(kDNSServiceErr_Unknown, AnswerTo(*lookup).error);
}

TEST_F(AddressSessionTest, OpenLookupsAreErrorsWhenTheBusHasGoneAndNewOnesFindTheNextBus) {
  const auto lookup = LookUp("box.local.");
  QuestionFor("box.local.");
  gBus->Stop();
  EXPECT_EQ(kDNSServiceErr_Unknown, AnswerTo(*lookup).error);
  fResponder.reset();
  gBus->Start();
  fResponder = std::make_unique<FakeResponder>();
  const auto next = LookUp("next.local.");
  fResponder->TellRecord(QuestionFor("next.local."), "ItemNew", {10, 0, 0, 1});
  EXPECT_EQ("10.0.0.1", Text(AnswerTo(*next)));
}

TEST_F(AddressSessionTest, AnotherResponderThatTakesOverIsAskedAgain) {
  const auto open = LookUp("open.local.");
  const auto settled = LookUp("settled.local.");
  const auto before = QuestionFor("open.local.");
  fResponder->TellRecord(QuestionFor("settled.local."), "ItemNew", {10, 0, 0, 2});
  AnswerTo(*settled);
  FakeResponder second;  // takes the name while the first has it
  ASSERT_TRUE(second.WaitForQuestions(1));
  const auto again = second.Questions().front();
  EXPECT_EQ("open.local.", again.name);
  EXPECT_NE(before.client, again.client);
  second.TellRecord(again, "ItemNew", {10, 0, 0, 1});
  EXPECT_EQ("10.0.0.1", Text(AnswerTo(*open)));
  EXPECT_THAT(second.Questions(), SizeIs(1));
}

TEST_F(AddressSessionTest, NobodyWaitsForAResponderThatHangs) {
  fResponder->SetAnswering(false);
  const auto held = LookUp("held.local.");
  const auto givenUp = LookUp("given-up.local.");
  const auto last = LookUp("last.local.");
  GiveUp(*givenUp);
  fResponder->SetAnswering(true);
  fResponder->TellRecord(QuestionFor("held.local."), "ItemNew", {10, 0, 0, 1});
  EXPECT_EQ("10.0.0.1", Text(AnswerTo(*held)));
  fResponder->TellRecord(QuestionFor("last.local."), "ItemNew", {10, 0, 0, 2});
  EXPECT_EQ("10.0.0.2", Text(AnswerTo(*last)));
  EXPECT_THAT(fResponder->Questions(), SizeIs(2));
}

TEST_F(AddressSessionTest, NothingGrowsWhileTheResponderHangs) {
  fResponder->SetAnswering(false);
  const auto held = LookUp("held.local.");
  ASSERT_TRUE(testing::Eventually(
      [&] { return fResponder->Calls("Ping") + fResponder->Calls("GetAPIVersion") > 0; }));
  const std::ptrdiff_t before = Descriptors();
  for (int i = 0; i < 1000; ++i) GiveUp(*LookUp("u" + std::to_string(i) + ".local."));
  EXPECT_LT(Descriptors(), before + 10);
  fResponder->SetAnswering(true);
  fResponder->TellRecord(QuestionFor("held.local."), "ItemNew", {10, 0, 0, 1});
  EXPECT_EQ("10.0.0.1", Text(AnswerTo(*held)));
}

TEST_F(AddressSessionTest, AQuestionThatTheResponderDiedOverIsAskedAgain) {
  const auto first = LookUp("first.local.");
  QuestionFor("first.local.");
  fResponder->SetAnswering(false);
  const auto lookup = LookUp("box.local.");
  ASSERT_TRUE(testing::Eventually([&] { return fResponder->Calls("RecordBrowserNew") == 2; }));
  FakeResponder second;  // takes over, so that there is one to be asked
  fResponder.reset();
  ASSERT_TRUE(second.WaitForQuestions(2));
  for (const auto& question : second.Questions()) second.TellRecord(question, "ItemNew", {10, 0, 0, 1});
  EXPECT_EQ("10.0.0.1", Text(AnswerTo(*first)));
  EXPECT_EQ("10.0.0.1", Text(AnswerTo(*lookup)));
}

TEST_F(AddressSessionTest, AskingThatFailsTwiceIsAnError) {
  fResponder->Refuse("bad.local.", "org.freedesktop.DBus.Error.NoReply");
  const auto good = LookUp("good.local.");
  QuestionFor("good.local.");
  EXPECT_EQ(kDNSServiceErr_Unknown, AnswerTo(*LookUp("bad.local.")).error);
  fResponder->TellRecord(QuestionFor("good.local."), "ItemNew", {10, 0, 0, 1});
  EXPECT_EQ("10.0.0.1", Text(AnswerTo(*good)));
  EXPECT_EQ(4, fResponder->Calls("RecordBrowserNew"));  // each on two connections
}

TEST_F(AddressSessionTest, AConnectionOnWhichAQuestionCannotBeEndedIsReplaced) {
  const auto open = LookUp("open.local.");
  const auto before = QuestionFor("open.local.");
  fResponder->Refuse("Free", "org.freedesktop.DBus.Error.NoReply");
  const auto givenUp = LookUp("given-up.local.");
  QuestionFor("given-up.local.");
  GiveUp(*givenUp);
  ASSERT_TRUE(fResponder->WaitForQuestions(3));
  const auto again = QuestionFor("open.local.");
  EXPECT_NE(before.client, again.client);
  fResponder->TellRecord(again, "ItemNew", {10, 0, 0, 1});
  EXPECT_EQ("10.0.0.1", Text(AnswerTo(*open)));
}

TEST_F(AddressSessionTest, EndsWithOpenQuestionsWithoutWaitingForAResponderThatHangs) {
  for (const std::string host : {"a.local.", "b.local.", "c.local."}) {
    const auto lookup = LookUp(host);
    QuestionFor(host);
  }
  fResponder->SetAnswering(false);
  const auto begin = std::chrono::steady_clock::now();
  fSession.reset();
  // Each call that is not answered takes 25 seconds.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST_F(AddressSessionTest, EndsAfterTheCallThatIsUnderWay) {
  std::vector<std::shared_ptr<AddressLookup>> lookups;
  for (const std::string host : {"a.local.", "b.local.", "c.local."}) {
    lookups.push_back(LookUp(host));
    QuestionFor(host);
  }
  fResponder->SetAnswering(false);
  for (const auto& lookup : lookups) lookup->GiveUp();
  fSession->Wake();
  ASSERT_TRUE(testing::Eventually([&] { return fResponder->Calls("Free") == 1; }));
  std::atomic<pid_t> ending{0};
  std::thread end([&] {
    ending = ::gettid();
    fSession.reset();
  });
  // It goes on sleeping once it waits for the session's thread.
  int asleep = 0;
  EXPECT_TRUE(
      testing::Eventually([&] { return (asleep = ending != 0 && Sleeps(ending) ? asleep + 1 : 0) == 20; }));
  fResponder->SetAnswering(true);
  end.join();
  EXPECT_EQ(1, fResponder->Calls("Free"));
}

TEST_F(AddressSessionTest, ItsThreadTakesNoSignalsAndEndsWithIt) {
  fSession.reset();
  const auto before = Threads();
  fSession = std::make_unique<AddressSession>();
  const auto added = ThreadsBeside(before);
  ASSERT_THAT(added, SizeIs(1));
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGUSR1}) {
    EXPECT_FALSE(Takes(*added.begin(), signal)) << signal;
  }
  fSession.reset();
  EXPECT_TRUE(testing::Eventually([&] { return ThreadsBeside(before).empty(); }));
  EXPECT_THAT(fResponder->Questions(), IsEmpty());
}

}  // namespace
}  // namespace vorn
