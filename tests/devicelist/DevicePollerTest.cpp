#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "devicelist/Datastore.h"
#include "devicelist/DevicePoller.h"
#include "tests/devicelist/PollerState.h"
#include "tests/support/Eventually.h"
#include "tests/support/LoopbackServer.h"

namespace DeviceList {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::Becomes;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::StateOf;
using vorn::testing::Eventually;
using vorn::testing::Exchange;
using vorn::testing::LoopbackServer;
using vorn::testing::StopsServer;
using vorn::testing::Yield;

using Text = vorn::optional<std::string>;

static_assert(!std::is_copy_constructible_v<DevicePoller>);
static_assert(kPollPeriod == 3s);

constexpr auto kQuick = 5ms;
constexpr auto kOnce = 1h;  // one pass, then a pause longer than the test
const std::string kUid = "0001f2fffe012345";

std::string Json(const std::string& value) {
  return "{\"value\":\"" + value + "\"}";
}
std::string PathOf(const std::string& what) {
  return "/datastore/avb/" + kUid + "/" + what;
}

/// A healthy unit; each test changes what it is about.
class DevicePollerTest : public ::testing::Test {
 protected:
  DevicePollerTest() { Serve(fUnit, "ETag: \"t1\""); }

  /// Makes the server answer like the unit, with this header line.
  static void Serve(LoopbackServer& unit, const std::string& headerLine) {
    unit.Reply("/apiversion", 200, "0.1", {headerLine});
    unit.Reply("/datastore/ext/caps/avb", 200, Json("0.2"), {headerLine});
    unit.Reply(PathOf("model_name"), 200, Json("ab12"), {headerLine});
    unit.Reply(PathOf("firmware_version"), 200, Json("1.2.3+4"), {headerLine});
    unit.Reply(PathOf("entity_name"), 200, Json("Stage Left"), {headerLine});
  }

  [[nodiscard]] Entry MakeEntry() const {
    return Entry{Text("announced"), kTypeDevice, fUnit.Url("/"), kUid};
  }

  LoopbackServer fUnit;
};

TEST_F(DevicePollerTest, AsksInOrderAndShowsWhatTheUnitSays) {
  const DevicePoller poller(MakeEntry(), nullptr, kOnce);
  ASSERT_TRUE(Becomes(poller, "Stage Left ab12 1.2.3+4"));
  EXPECT_THAT(fUnit.Targets(), ElementsAre("/apiversion", "/datastore/ext/caps/avb",
                                           "/datastore/avb/0001f2fffe012345/model_name",
                                           "/datastore/avb/0001f2fffe012345/firmware_version",
                                           "/datastore/avb/0001f2fffe012345/entity_name"));
  for (const auto& request : fUnit.Requests()) EXPECT_THAT(request.ValuesOf("If-None-Match"), IsEmpty());
  EXPECT_EQ(fUnit.ConnectionCount(), 1);
}

TEST_F(DevicePollerTest, KeepsItsEntry) {
  const DevicePoller poller(MakeEntry(), nullptr, kOnce);
  EXPECT_EQ(poller.GetEntry(), MakeEntry());
}

TEST_F(DevicePollerTest, KnowsTheAddressThatAnsweredAndNotOneThatWasOnlyAnnounced) {
  LoopbackServer unit("127.0.0.2", 0);
  Serve(unit, "ETag: \"t1\"");
  const auto hosts = std::make_shared<LocalHosts>();
  hosts->Replace({{"studio-a.local", {"127.0.0.1", "127.0.0.2"}}});
  auto entry = MakeEntry();
  entry.url = "http://studio-a.local:" + unit.PortText() + "/";
  const DevicePoller poller(entry, hosts, kOnce);
  ASSERT_TRUE(Becomes(poller, "Stage Left ab12 1.2.3+4"));
  EXPECT_EQ(poller.GetAddress(), "127.0.0.2");
}

TEST_F(DevicePollerTest, KnowsTheAddressOfAHostThatTheSystemResolves) {
  auto entry = MakeEntry();
  entry.url = "http://localhost:" + fUnit.PortText() + "/";
  const DevicePoller poller(entry, std::make_shared<LocalHosts>(), kOnce);
  ASSERT_TRUE(Becomes(poller, "Stage Left ab12 1.2.3+4"));
  EXPECT_EQ(poller.GetAddress(), "127.0.0.1");
}

TEST_F(DevicePollerTest, IsHiddenUntilTheUnitHasSaidItsName) {
  std::atomic<bool> go{false};
  const StopsServer stops(fUnit);
  fUnit.Handle(PathOf("entity_name"), [&](Exchange& exchange) {
    while (!go && exchange.Pause(1ms)) {
    }
    exchange.Reply(200, Json("late"));
  });
  const DevicePoller poller(MakeEntry(), nullptr, kOnce);
  ASSERT_TRUE(fUnit.WaitForRequests(5));
  EXPECT_EQ(StateOf(poller), "(none) ab12 1.2.3+4");
  go = true;
  EXPECT_TRUE(Becomes(poller, "late ab12 1.2.3+4"));
}

TEST_F(DevicePollerTest, PollsTheNameAloneWithTheTagOfTheLast200) {
  std::atomic<int> polls{0};
  const StopsServer stops(fUnit);
  fUnit.Handle(PathOf("entity_name"), [&](Exchange& exchange) {
    switch (++polls) {
      case 1:
        return exchange.Reply(200, Json("one"), {"etag: \"t1\""});  // in any case
      case 2:
        return exchange.Reply(304);
      case 3:
        return exchange.Reply(200, Json("two"));  // without a tag: the old one stays
      case 4:
        return exchange.Reply(500, Json("wrong"), {"ETag: \"t5\""});
      case 5:
        return exchange.Reply(200, Json("three"), {"ETAG: \"t2\""});
      case 6:
        return exchange.Reply(200, "{}", {"ETag: \"t3\""});  // no value: the tag counts anyway
      default:
        return exchange.Reply(304);
    }
  });
  const DevicePoller poller(MakeEntry(), nullptr, kQuick);
  ASSERT_TRUE(fUnit.WaitForRequests(4 + 8));
  const auto requests = fUnit.Requests();
  const std::vector<std::string> expected = {"",       "\"t1\"", "\"t1\"", "\"t1\"",
                                             "\"t1\"", "\"t2\"", "\"t3\"", "\"t3\""};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const auto& request = requests.at(4 + i);
    EXPECT_EQ(request.target, PathOf("entity_name"));
    if (expected[i].empty()) {
      EXPECT_THAT(request.ValuesOf("If-None-Match"), IsEmpty());
    } else {
      EXPECT_THAT(request.ValuesOf("If-None-Match"), ElementsAre(expected[i])) << i;
    }
  }
  EXPECT_EQ(StateOf(poller), "three ab12 1.2.3+4");
  EXPECT_EQ(fUnit.ConnectionCount(), 1);
}

/// What the poller shows at each call while the unit gives the scripted answers to its name polls.
class DevicePollerCallbackTest : public DevicePollerTest {
 protected:
  using Answer = std::function<void(Exchange&)>;

  ~DevicePollerCallbackTest() override { fUnit.Stop(); }  // its handler uses the members below

  static Answer Named(const std::string& name) {
    return [name](Exchange& exchange) { exchange.Reply(200, Json(name)); };
  }
  static Answer Status(int status) {
    return [status](Exchange& exchange) { exchange.Reply(status); };
  }
  static void Break(Exchange& exchange) { exchange.Reset(); }

  /// The name polls' answers: held back until the callback is set. After the last one the unit is silent on
  /// this path.
  void Script(std::vector<Answer> answers) {
    fUnit.Handle(PathOf("entity_name"), [this, answers = std::move(answers)](Exchange& exchange) {
      while (!fGo && exchange.Pause(1ms)) {
      }
      const auto turn = static_cast<std::size_t>(fPolls++);
      if (turn < answers.size()) return answers[turn](exchange);
      exchange.Hang();
    });
  }
  /// The states at the calls for the answers, after all answers.
  [[nodiscard]] std::vector<std::string> StatesAtCalls(std::size_t requests) {
    DevicePoller poller(MakeEntry(), nullptr, kQuick);
    if (!fUnit.WaitForRequests(5)) return {"no name poll"};
    std::mutex mutex;
    std::vector<std::string> states;
    poller.OnNameOrFirmwareChanged([&] {
      const std::lock_guard lock(mutex);
      states.push_back(StateOf(poller));
    });
    fGo = true;
    if (!fUnit.WaitForRequests(requests)) return {"too few requests"};
    poller.OnNameOrFirmwareChanged({});
    const std::lock_guard lock(mutex);
    return states;
  }

  std::atomic<bool> fGo{false};
  std::atomic<int> fPolls{0};
};

TEST_F(DevicePollerCallbackTest, CallsBackOnceForEach200AndNeverForA304) {
  Script({Named("a"), Status(304), Named("b"), Named("b"), Status(304)});
  EXPECT_THAT(StatesAtCalls(5 + 5), ElementsAre("a ab12 1.2.3+4", "b ab12 1.2.3+4", "b ab12 1.2.3+4"));
}

TEST_F(DevicePollerCallbackTest, CallsBackNotAtAllForA200WithoutAValue) {
  const auto answer = [](const char* body) {
    return [body](Exchange& exchange) { exchange.Reply(200, body); };
  };
  Script({answer("{}"), answer("garbage"), answer("{\"value\":1}")});
  EXPECT_THAT(StatesAtCalls(5 + 3), IsEmpty());
}

TEST_F(DevicePollerCallbackTest, RevertsTheNameThenTheFirmwareThenTheModel) {
  Script({Named("a"), Status(404)});
  EXPECT_THAT(StatesAtCalls(5 + 1 + 5), ElementsAre("a ab12 1.2.3+4", "announced ab12 1.2.3+4",
                                                    "announced ab12 (none)", "announced (none) (none)",
                                                    // the new round
                                                    "announced ab12 (none)", "announced ab12 1.2.3+4"));
}

TEST_F(DevicePollerCallbackTest, HidesTheNameThenTheFirmwareThenTheModel) {
  Script({Named("a"), Break, Break});
  // After the break of the kept connection, the request is tried once more on a new one.
  EXPECT_THAT(StatesAtCalls(5 + 1 + 1 + 5), ElementsAre("a ab12 1.2.3+4", "(none) ab12 1.2.3+4",
                                                        "(none) ab12 (none)", "(none) (none) (none)",
                                                        // the new round
                                                        "(none) ab12 (none)", "(none) ab12 1.2.3+4"));
}

TEST_F(DevicePollerTest, RevertsAndRestartsWhenTheNameIsNotFound) {
  std::atomic<int> polls{0};
  const StopsServer stops(fUnit);
  fUnit.Handle(PathOf("entity_name"), [&](Exchange& exchange) {
    const int poll = ++polls;
    if (poll == 3) return exchange.Reply(404);
    if (poll > 3) return exchange.Hang();
    exchange.Reply(200, Json("Stage Left"), {"ETag: t"});
  });
  const DevicePoller poller(MakeEntry(), nullptr, kQuick);
  ASSERT_TRUE(fUnit.WaitForRequests(4 + 3 + 5));
  const auto requests = fUnit.Requests();
  EXPECT_EQ(requests.at(7).target, "/apiversion");
  EXPECT_THAT(requests.at(6).ValuesOf("If-None-Match"), ElementsAre("t"));
  EXPECT_THAT(requests.at(11).ValuesOf("If-None-Match"), IsEmpty());
  EXPECT_EQ(StateOf(poller), "announced ab12 1.2.3+4");
}

/// Which request fails, how, and whether the unit is hidden then.
struct Fault {
  const char* what;
  std::string target;
  std::function<void(Exchange&)> answer;
  bool hides;
};

constexpr char kCaps[] = "/datastore/ext/caps/avb";

std::vector<Fault> Faults() {
  const auto reply = [](int status, const std::string& body) {
    return [=](Exchange& exchange) { exchange.Reply(status, body); };
  };
  // Not tried again on any connection, because something has come.
  const auto broken = [](Exchange& exchange) {
    exchange.Send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n0.1");
    exchange.Close();
  };
  const auto endless = [](Exchange& exchange) {
    exchange.Send("HTTP/1.1 200 OK\r\n\r\n");
    while (exchange.Send(std::string(65536, 'x'))) {
    }
  };
  const auto elsewhere = [](Exchange& exchange) { exchange.Reply(302, {}, {"Location: http://127.0.0.9/"}); };
  return {
      {"wrong API", "/apiversion", reply(200, "1.0"), false},
      {"short API", "/apiversion", reply(200, "0"), false},
      {"no API", "/apiversion", reply(200, ""), false},
      {"API status", "/apiversion", reply(201, "0.1"), false},
      {"API 404", "/apiversion", reply(404, "0.1"), false},
      {"API no answer", "/apiversion", broken, true},
      {"API endless", "/apiversion", endless, true},
      {"API elsewhere", "/apiversion", elsewhere, true},
      {"wrong datastore", kCaps, reply(200, Json("1.0")), false},
      {"datastore no JSON", kCaps, reply(200, "0.1"), false},
      {"datastore no value", kCaps, reply(200, "{}"), false},
      {"datastore number", kCaps, reply(200, "{\"value\":0.1}"), false},
      {"datastore status", kCaps, reply(500, Json("0.1")), false},
      {"datastore no answer", kCaps, broken, true},
      {"model no value", PathOf("model_name"), reply(200, "{}"), false},
      {"model status", PathOf("model_name"), reply(404, Json("x")), false},
      {"model no answer", PathOf("model_name"), broken, true},
      {"firmware no value", PathOf("firmware_version"), reply(200, "[]"), false},
      {"firmware status", PathOf("firmware_version"), reply(304, ""), false},
      {"firmware no answer", PathOf("firmware_version"), broken, true},
      {"name 404", PathOf("entity_name"), reply(404, ""), false},
      {"name no answer", PathOf("entity_name"), broken, true},
  };
}

/// The requests to a healthy unit, in order, and its answers.
const std::vector<std::pair<std::string, std::string>> kGoodAnswers = {
    {"/apiversion", "0.1"},
    {kCaps, Json("0.2")},
    {PathOf("model_name"), Json("ab12")},
    {PathOf("firmware_version"), Json("1.2.3+4")},
    {PathOf("entity_name"), Json("Stage Left")},
};

/// The requests of two rounds that the fault ends, and the first of a third.
std::vector<std::string> TargetsOfTwoRounds(const Fault& fault) {
  std::vector<std::string> targets;
  for (int round = 0; round < 2; ++round) {
    for (const auto& [target, body] : kGoodAnswers) {
      targets.push_back(target);
      if (target == fault.target) break;
    }
  }
  targets.push_back(kGoodAnswers.front().first);
  return targets;
}

TEST_F(DevicePollerTest, HidesAUnitWithoutAnAnswerAndRevertsForOneThatDoesNotFit) {
  for (const auto& fault : Faults()) {
    SCOPED_TRACE(fault.what);
    LoopbackServer unit;
    std::atomic<int> rounds{0};
    std::atomic<bool> go{false};
    const StopsServer stops(unit);
    for (const auto& [target, body] : kGoodAnswers) {
      unit.Handle(target, [&, target = target, body = body](Exchange& exchange) {
        const int round = target == kGoodAnswers.front().first ? ++rounds : rounds.load();
        if (round <= 2 && target == fault.target) return fault.answer(exchange);
        // The third round waits, so that the state after the second can be seen.
        while (round == 3 && !go && exchange.Pause(1ms)) {
        }
        exchange.Reply(200, body);
      });
    }
    const DevicePoller poller(Entry{Text("announced"), kTypeDevice, unit.Url("/"), kUid}, nullptr, kQuick);
    const auto expected = TargetsOfTwoRounds(fault);
    ASSERT_TRUE(unit.WaitForRequests(expected.size()));
    EXPECT_EQ(unit.Targets(), expected);
    EXPECT_EQ(StateOf(poller), fault.hides ? "(none) (none) (none)" : "announced (none) (none)");
    go = true;
    EXPECT_TRUE(Becomes(poller, "Stage Left ab12 1.2.3+4"));
  }
}

TEST_F(DevicePollerTest, HidesAShownUnitWithoutAnAnswer) {
  for (const auto& fault : Faults()) {
    if (!fault.hides) continue;
    SCOPED_TRACE(fault.what);
    LoopbackServer unit;
    std::atomic<bool> spoil{false};
    const StopsServer stops(unit);
    for (const auto& [target, body] : kGoodAnswers) {
      unit.Handle(target, [&, target = target, body = body](Exchange& exchange) {
        if (!spoil) return exchange.Reply(200, body);
        if (target == fault.target) return fault.answer(exchange);
        if (target == PathOf("entity_name")) return exchange.Reply(404);  // leads back to the gates
        exchange.Reply(200, body);
      });
    }
    const DevicePoller poller(Entry{Text("announced"), kTypeDevice, unit.Url("/"), kUid}, nullptr, 20ms);
    ASSERT_TRUE(Becomes(poller, "Stage Left ab12 1.2.3+4"));
    spoil = true;
    EXPECT_TRUE(Becomes(poller, "(none) (none) (none)"));
  }
}

TEST_F(DevicePollerTest, AcceptsTheBareVersionPrefixes) {
  fUnit.Reply("/apiversion", 200, "0.");
  fUnit.Reply("/datastore/ext/caps/avb", 200, Json("0."));
  const DevicePoller poller(MakeEntry(), nullptr, kOnce);
  EXPECT_TRUE(Becomes(poller, "Stage Left ab12 1.2.3+4"));
}

TEST_F(DevicePollerTest, RestartsFromTheFirstCheckOnceAPeriod) {
  fUnit.Reply("/apiversion", 200, "1.0");
  const auto begin = std::chrono::steady_clock::now();
  const DevicePoller poller(MakeEntry(), nullptr, 50ms);
  ASSERT_TRUE(fUnit.WaitForRequests(5));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 4 * 50ms);
  for (const auto& target : fUnit.Targets()) EXPECT_EQ(target, "/apiversion");
  EXPECT_EQ(StateOf(poller), "announced (none) (none)");
}

TEST_F(DevicePollerTest, RevertsToNoNameWhereNoneWasAnnounced) {
  fUnit.Reply("/apiversion", 404);
  auto entry = MakeEntry();
  entry.name.reset();
  std::atomic<int> calls{0};
  DevicePoller poller(entry, nullptr, kQuick);
  poller.OnNameOrFirmwareChanged([&] { ++calls; });
  ASSERT_TRUE(Eventually([&] { return calls >= 3; }));
  EXPECT_EQ(StateOf(poller), "(none) (none) (none)");
}

TEST_F(DevicePollerTest, IsHiddenWhereNobodyListens) {
  const Entry entry{Text("announced"), kTypeDevice,
                    "http://127.0.0.1:" + std::to_string(vorn::testing::UnusedPort()) + "/", kUid};
  std::atomic<int> calls{0};
  DevicePoller poller(entry, nullptr, kQuick);
  poller.OnNameOrFirmwareChanged([&] { ++calls; });
  ASSERT_TRUE(Eventually([&] { return calls >= 6; }));
  EXPECT_EQ(StateOf(poller), "(none) (none) (none)");
}

TEST_F(DevicePollerTest, GivesCopies) {
  std::atomic<int> polls{0};
  const StopsServer stops(fUnit);
  fUnit.Handle(PathOf("entity_name"),
               [&](Exchange& exchange) { exchange.Reply(200, Json(++polls == 1 ? "one" : "two")); });
  const DevicePoller poller(MakeEntry(), nullptr, 100ms);
  ASSERT_TRUE(Eventually([&] { return poller.GetName().has_value(); }));
  const auto name = poller.GetName();
  const auto kept = *name;
  ASSERT_TRUE(Eventually([&] { return *poller.GetName() == "two"; }));
  EXPECT_EQ(*name, kept);
}

TEST_F(DevicePollerTest, CallsBackWithNoLockHeld) {
  std::atomic<int> calls{0};
  DevicePoller poller(MakeEntry(), nullptr, kQuick);
  poller.OnNameOrFirmwareChanged([&] {
    static_cast<void>(StateOf(poller));
    if (calls < 3) poller.OnNameOrFirmwareChanged([&] { ++calls; });
    ++calls;
  });
  EXPECT_TRUE(Eventually([&] { return calls >= 10; }));
}

TEST_F(DevicePollerTest, AThrowingCallbackStopsNothing) {
  std::atomic<int> calls{0};
  DevicePoller poller(MakeEntry(), nullptr, kQuick);
  poller.OnNameOrFirmwareChanged([&] {
    if (++calls <= 5) throw std::bad_alloc();
  });
  EXPECT_TRUE(Eventually([&] { return calls >= 20; }));
}

TEST_F(DevicePollerTest, TheCallbackMayBeSetBesideTheRunningThread) {
  std::atomic<int> calls{0};
  for (int round = 0; round < 50; ++round) {
    DevicePoller poller(MakeEntry(), nullptr, 0ms);
    for (int i = 0; i < 20; ++i) {
      poller.OnNameOrFirmwareChanged(
          [&calls, text = std::string(100, 'x')] { calls += static_cast<int>(text.size()); });
      static_cast<void>(StateOf(poller));
    }
  }
}

TEST_F(DevicePollerTest, GoesAtOnceWhileTheUnitHangs) {
  const std::vector<std::string> targets = {"/apiversion", "/datastore/ext/caps/avb", PathOf("model_name"),
                                            PathOf("firmware_version"), PathOf("entity_name")};
  for (std::size_t i = 0; i < targets.size(); ++i) {
    LoopbackServer unit;
    unit.HandleOthers([&](Exchange& exchange) {
      if (exchange.Request().target == targets[i]) return exchange.Hang();
      exchange.Reply(200, exchange.Request().target == "/apiversion" ? "0.1" : Json("0.1"));
    });
    std::atomic<int> calls{0};
    auto poller = std::make_unique<DevicePoller>(Entry{{}, kTypeDevice, unit.Url("/"), kUid}, nullptr, kOnce);
    poller->OnNameOrFirmwareChanged([&] { ++calls; });
    ASSERT_TRUE(unit.WaitForRequests(i + 1));
    calls = 0;
    const auto begin = std::chrono::steady_clock::now();
    poller.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
    EXPECT_EQ(calls, 3);  // a request that the teardown ends hides the unit like any other
    EXPECT_EQ(unit.RequestCount(), i + 1);
  }
}

TEST_F(DevicePollerTest, BeginsNoRequestOnceItGoes) {
  auto poller = std::make_unique<DevicePoller>(MakeEntry(), nullptr, kOnce);
  ASSERT_TRUE(Becomes(*poller, "Stage Left ab12 1.2.3+4"));
  poller.reset();
  EXPECT_EQ(fUnit.RequestCount(), 5U);
  EXPECT_TRUE(Eventually([&] { return fUnit.OpenConnections() == 0; }));
}

TEST_F(DevicePollerTest, MayGoAtAnyMoment) {
  for (int round = 0; round < 150; ++round) {
    const auto before = fUnit.RequestCount();
    DevicePoller poller(MakeEntry(), nullptr, 0ms);
    poller.OnNameOrFirmwareChanged([&poller] { static_cast<void>(poller.GetName()); });
    ASSERT_TRUE(fUnit.WaitForRequests(before + static_cast<std::size_t>(round % 12)));
    Yield(round);
  }
}

TEST_F(DevicePollerTest, KeepsBytesThatAreNoTextAsTheyCame) {
  // JSON must be UTF-8, so such bytes only come from announcements.
  fUnit.Reply("/apiversion", 404);
  auto entry = MakeEntry();
  entry.name = "\xff\xc3 name"s;
  const DevicePoller poller(entry, nullptr, kOnce);
  EXPECT_TRUE(Becomes(poller, "\xff\xc3 name (none) (none)"));
}

TEST_F(DevicePollerTest, CutsEachValueBeyondTheBound) {
  const std::string longest(kMaxValueBytes, 'x');
  for (const auto* what : {"model_name", "firmware_version", "entity_name"})
    fUnit.Reply(PathOf(what), 200, Json(longest + std::string(1'000'000, 'y')));
  const DevicePoller poller(MakeEntry(), nullptr, kOnce);
  EXPECT_TRUE(Becomes(poller, longest + " " + longest + " " + longest));
}

TEST_F(DevicePollerTest, SendsNoStrangersUidIntoTheHeader) {
  for (const auto& uid : {"a\r\nX-Injected: 1"s, "a b"s, "a\0b"s, "\n"s}) {
    LoopbackServer unit;
    unit.HandleOthers([](Exchange& exchange) {
      exchange.Reply(200, exchange.Request().target == "/apiversion" ? "0.1" : Json("0.1"));
    });
    std::atomic<int> calls{0};
    DevicePoller poller(Entry{Text("announced"), kTypeDevice, unit.Url("/"), uid}, nullptr, kQuick);
    poller.OnNameOrFirmwareChanged([&] { ++calls; });
    ASSERT_TRUE(Eventually([&] { return calls >= 3; }));
    EXPECT_FALSE(poller.GetName());
    for (const auto& request : unit.Requests()) EXPECT_THAT(request.ValuesOf("X-Injected"), IsEmpty());
  }
}

TEST_F(DevicePollerTest, AsksForAUidOfDotsAsItStands) {
  for (const auto& path : {"/datastore/avb/./model_name", "/datastore/avb/../model_name"})
    fUnit.Handle(path, [](Exchange& exchange) { exchange.Hang(); });
  auto entry = MakeEntry();
  for (const auto* uid : {".", ".."}) {
    entry.uid = uid;
    const auto before = fUnit.RequestCount();
    const DevicePoller poller(entry, nullptr, kOnce);
    ASSERT_TRUE(fUnit.WaitForRequests(before + 3));
    EXPECT_EQ(fUnit.Targets().back(), "/datastore/avb/"s + uid + "/model_name");
  }
}

TEST_F(DevicePollerTest, ReachesALocalHostByItsPinnedAddress) {
  const auto hosts = std::make_shared<LocalHosts>();
  hosts->Replace({{"studio-a.local", {"127.0.0.1"}}});
  auto entry = MakeEntry();
  entry.url = "http://studio-a.local:" + fUnit.PortText() + "/";
  const DevicePoller poller(entry, hosts, kOnce);
  EXPECT_TRUE(Becomes(poller, "Stage Left ab12 1.2.3+4"));
}

/// A silent address costs most if the unit closes each connection.
TEST_F(DevicePollerTest, ShowsAUnitInTimeWhoseFirstAddressIsSilent) {
  const vorn::testing::FullListener silent;
  LoopbackServer unit("127.0.0.2", silent.Port());
  Serve(unit, "Connection: close");
  const auto hosts = std::make_shared<LocalHosts>();
  hosts->Replace({{"studio-a.local", {"127.0.0.1", "127.0.0.2"}}});
  auto entry = MakeEntry();
  entry.url = "http://studio-a.local:" + unit.PortText() + "/";
  const auto begin = std::chrono::steady_clock::now();
  const DevicePoller poller(entry, hosts, kOnce);
  ASSERT_TRUE(Becomes(poller, "Stage Left ab12 1.2.3+4"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
}

TEST_F(DevicePollerTest, HoldsAtMostThreeDescriptors) {
  const auto countDescriptors = [] {
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
    return count;
  };
  const int before = countDescriptors();
  constexpr int kPollers = 20;
  std::vector<std::unique_ptr<DevicePoller>> pollers;
  for (int i = 0; i < kPollers; ++i)
    pollers.push_back(std::make_unique<DevicePoller>(MakeEntry(), nullptr, kOnce));
  for (const auto& poller : pollers) ASSERT_TRUE(Becomes(*poller, "Stage Left ab12 1.2.3+4"));
  // The unit's own end of each connection is in this process too.
  EXPECT_LE(countDescriptors() - before, kPollers * (3 + 1));
}

}  // namespace
}  // namespace DeviceList
