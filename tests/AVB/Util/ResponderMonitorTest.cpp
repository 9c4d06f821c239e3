#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <new>
#include <vector>

#include "AVB/Util/ResponderMonitor.h"
#include "foundation/Clock.h"
#include "foundation/FileDescriptor.h"
#include "foundation/bus/SystemBus.h"
#include "tests/AVB/Util/FakeResponder.h"
#include "tests/AVB/Util/SystemBus.h"
#include "tests/support/Eventually.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Threads.h"

namespace vorn {
namespace {

using State = ResponderMonitor::State;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using testing::Eventually;
using testing::FakeResponder;
using testing::SystemBus;

class ResponderMonitorTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { gBus = std::make_unique<SystemBus>(); }
  static void TearDownTestSuite() { gBus.reset(); }
  void TearDown() override {
    fMonitor.reset();
    gBus->Stop();
  }

  // Without an answer for this time, a responder counts as silent, even if it should answer. It is longer
  // than any pause of a busy machine.
  static constexpr milliseconds kPatient{60'000};
  static constexpr milliseconds kImpatient{300};

  void Watch(milliseconds probePeriod = milliseconds(50), milliseconds probeTimeout = kPatient) {
    fMonitor = std::make_unique<ResponderMonitor>(
        [this](State state) {
          const std::lock_guard lock(fMutex);
          pthread_sigmask(SIG_SETMASK, nullptr, &fSignalMask);
          if (fFailingReports > 0) {
            --fFailingReports;
            throw std::bad_alloc();
          }
          fStates.push_back(state);
          fChanged.notify_all();
        },
        ResponderMonitor::Timing{probePeriod, probeTimeout, milliseconds(20)});
  }

  // Waits until this many states were reported and the last one is `state`.
  bool WaitFor(State state, std::size_t reports) {
    std::unique_lock lock(fMutex);
    return fChanged.wait_for(lock, std::chrono::seconds(10),
                             [&] { return fStates.size() >= reports && fStates.back() == state; });
  }

  std::vector<State> States() {
    const std::lock_guard lock(fMutex);
    return fStates;
  }

  static std::unique_ptr<SystemBus> gBus;
  std::mutex fMutex;
  std::condition_variable fChanged;
  std::vector<State> fStates;
  int fFailingReports = 0;  // how many of the next ones throw
  sigset_t fSignalMask{};   // of the thread that reported
  std::unique_ptr<ResponderMonitor> fMonitor;
};

std::unique_ptr<SystemBus> ResponderMonitorTest::gBus;

TEST_F(ResponderMonitorTest, SaysAbsentWithoutABusAndFindsBusAndResponderWhenTheyCome) {
  Watch();
  ASSERT_TRUE(WaitFor(State::kAbsent, 1));
  gBus->Start();
  FakeResponder responder;
  EXPECT_TRUE(WaitFor(State::kAnswering, 2));
}

TEST_F(ResponderMonitorTest, SaysAbsentWithoutAResponderAndFindsItWhenItComes) {
  gBus->Start();
  Watch();
  ASSERT_TRUE(WaitFor(State::kAbsent, 1));
  FakeResponder responder;
  EXPECT_TRUE(WaitFor(State::kAnswering, 2));
}

TEST_F(ResponderMonitorTest, TakesABusThatHangsForAMissingOne) {
  const testing::TemporaryFolder folder;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = (folder.Path() / "bus").string();
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const FileDescriptor bus(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));  // takes clients, answers none
  ASSERT_EQ(::bind(bus.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(bus.Get(), 16), 0);
  const testing::ScopedEnvironment named("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + path);
  Watch();
  EXPECT_TRUE(WaitFor(State::kAbsent, 1));
  fMonitor.reset();  // before the environment changes
}

TEST_F(ResponderMonitorTest, FindsAResponderThatWasThereBefore) {
  gBus->Start();
  FakeResponder responder;
  Watch();
  EXPECT_TRUE(WaitFor(State::kAnswering, 1));
  EXPECT_THAT(States(), ElementsAre(State::kAnswering));
  fMonitor.reset();
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGUSR1}) {
    EXPECT_EQ(sigismember(&fSignalMask, signal), 1) << signal;  // they are not about this responder
  }
}

TEST_F(ResponderMonitorTest, ReportsThatTheResponderWentAndCameBack) {
  gBus->Start();
  auto responder = std::make_unique<FakeResponder>();
  Watch();
  ASSERT_TRUE(WaitFor(State::kAnswering, 1));
  responder.reset();
  ASSERT_TRUE(WaitFor(State::kAbsent, 2));
  responder = std::make_unique<FakeResponder>();
  EXPECT_TRUE(WaitFor(State::kAnswering, 3));
}

TEST_F(ResponderMonitorTest, ReportsThatTheBusWentAndCameBack) {
  gBus->Start();
  auto responder = std::make_unique<FakeResponder>();
  Watch();
  ASSERT_TRUE(WaitFor(State::kAnswering, 1));
  gBus->Stop();  // while a responder answers
  ASSERT_TRUE(WaitFor(State::kAbsent, 2));
  responder.reset();
  gBus->Start();
  responder = std::make_unique<FakeResponder>();
  EXPECT_TRUE(WaitFor(State::kAnswering, 3));
}

TEST_F(ResponderMonitorTest, ReportsThatAnotherResponderHasTakenOver) {
  gBus->Start();
  const FakeResponder first;
  Watch();
  ASSERT_TRUE(WaitFor(State::kAnswering, 1));
  FakeResponder second;  // takes the name while the first one has it
  ASSERT_TRUE(WaitFor(State::kAnswering, 3));
  EXPECT_THAT(States(), ElementsAre(State::kAnswering, State::kAbsent, State::kAnswering));
  EXPECT_GT(second.Calls("GetState"), 0);
}

TEST_F(ResponderMonitorTest, DistinguishesASilentResponderFromAnAnsweringOne) {
  gBus->Start();
  FakeResponder responder;
  Watch(milliseconds(50), kImpatient);
  ASSERT_TRUE(WaitFor(State::kAnswering, 1));
  responder.SetAnswering(false);
  ASSERT_TRUE(WaitFor(State::kSilent, 2));
  responder.SetAnswering(true);
  EXPECT_TRUE(WaitFor(State::kAnswering, 3));
}

TEST_F(ResponderMonitorTest, AResponderThatNeverAnsweredIsSilentNotAbsent) {
  gBus->Start();
  FakeResponder responder(false);
  Watch(milliseconds(50), kImpatient);
  EXPECT_TRUE(WaitFor(State::kSilent, 1));
}

TEST_F(ResponderMonitorTest, ReportThatFailsIsMadeAgain) {
  gBus->Start();
  FakeResponder responder;
  fFailingReports = 2;
  Watch();
  EXPECT_TRUE(WaitFor(State::kAnswering, 1));
  const std::lock_guard lock(fMutex);
  EXPECT_EQ(fFailingReports, 0);
}

TEST_F(ResponderMonitorTest, KeepsProbingWhileTheResponderAnswers) {
  gBus->Start();
  FakeResponder responder;
  Watch(milliseconds(5));
  ASSERT_TRUE(WaitFor(State::kAnswering, 1));
  EXPECT_TRUE(Eventually([&] { return responder.Calls("GetState") >= 3; }));
  EXPECT_THAT(States(), ElementsAre(State::kAnswering));  // the same state again is not reported
}

TEST_F(ResponderMonitorTest, EndsPromptlyInEveryState) {
  const auto begin = Clock::now();
  Watch(milliseconds(60'000), kPatient);
  fMonitor.reset();  // without a bus
  gBus->Start();
  Watch(milliseconds(60'000), kPatient);
  ASSERT_TRUE(WaitFor(State::kAbsent, 1));
  fMonitor.reset();  // waiting for a name
  FakeResponder responder(false);
  Watch(milliseconds(60'000), kPatient);
  EXPECT_TRUE(Eventually([&] { return responder.Calls("GetState") == 1; }));
  fMonitor.reset();  // waiting for an answer
  EXPECT_LT(Clock::now() - begin, std::chrono::seconds(30));
}

// The responder's end comes behind the flood, so only a monitor that works through the flood reports it.
TEST_F(ResponderMonitorTest, EndsInTheMiddleOfAFlood) {
  gBus->Start();
  auto responder = std::make_unique<FakeResponder>();
  std::promise<void> entered;
  std::promise<void> gate;
  std::vector<State> states;
  fMonitor = std::make_unique<ResponderMonitor>([&](State state) {
    states.push_back(state);
    if (states.size() > 1) return;
    entered.set_value();
    gate.get_future().wait();
  });
  EXPECT_EQ(entered.get_future().wait_for(testing::kGenerousDeadline), std::future_status::ready);
  FakeResponder::Question toMonitor;
  toMonitor.method = "ServiceBrowserNew";
  toMonitor.client = responder->LastClient();
  toMonitor.path = "/flood";
  for (int i = 0; i < 150; ++i) responder->TellInstance(toMonitor, "ItemNew", "Desk");
  responder.reset();
  const auto bus =
      vorn::SystemBus::Connect(vorn::SystemBus::DefaultAddress(), Clock::now() + testing::kGenerousDeadline);
  EXPECT_TRUE(Eventually([&] { return !bus->HasOwner("org.freedesktop.Avahi"); }));

  std::atomic<pid_t> thread{0};
  const auto end = std::async(std::launch::async, [&] {
    thread = testing::OwnThread();
    fMonitor.reset();
  });
  EXPECT_TRUE(Eventually([&] { return thread != 0 && testing::IsWaiting(thread); }));
  gate.set_value();
  end.wait();
  EXPECT_THAT(states, ElementsAre(State::kAnswering));
}

}  // namespace
}  // namespace vorn
