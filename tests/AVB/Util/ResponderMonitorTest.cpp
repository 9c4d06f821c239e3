#include <dbus/dbus.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <new>
#include <stdexcept>
#include <vector>

#include "AVB/Util/ResponderMonitor.h"
#include "foundation/FileDescriptor.h"
#include "tests/support/TemporaryFolder.h"

extern char** environ;

namespace vorn {
namespace {

using State = ResponderMonitor::State;
using std::chrono::milliseconds;
using ::testing::ElementsAre;

// A system bus of the test's own, which can be ended and started again.
class PrivateBus {
 public:
  PrivateBus() {
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + fFolder + "/socket").c_str(), 1);
    std::ofstream(fFolder + "/bus.conf") << R"(<busconfig><type>system</type><listen>unix:path=)" << fFolder
                                         << R"(/socket</listen><policy context="default">
      <allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/><allow user="*"/></policy></busconfig>)";
  }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;
  ~PrivateBus() { Stop(); }

  void Start() {
    int ready[2];
    if (::pipe(ready) != 0) throw std::runtime_error("pipe");
    const std::string config = "--config-file=" + fFolder + "/bus.conf";
    const std::string print = "--print-address=" + std::to_string(ready[1]);
    std::vector<std::string> words{"dbus-daemon", "--nofork", "--nopidfile", "--nosyslog", config, print};
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    if (::posix_spawnp(&fPid, "dbus-daemon", nullptr, nullptr, arguments.data(), environ) != 0) {
      throw std::runtime_error("dbus-daemon cannot be started");
    }
    ::close(ready[1]);
    char byte = 0;
    if (::read(ready[0], &byte, 1) != 1) throw std::runtime_error("dbus-daemon did not come up");
    ::close(ready[0]);
  }

  // At once, so that it tells its clients nothing.
  void Stop() {
    if (fPid <= 0) return;
    ::kill(fPid, SIGKILL);
    ::waitpid(fPid, nullptr, 0);
    fPid = -1;
    std::filesystem::remove(fFolder + "/socket");
  }

 private:
  const testing::TemporaryFolder fTemporary;
  const std::string fFolder = fTemporary.Path().string();
  pid_t fPid = -1;
};

// Owns the responder's name on the bus, until another one takes it, and answers
// its calls, or does not.
class FakeResponder {
 public:
  explicit FakeResponder(bool answering = true) : fAnswering(answering) {
    fBus = ::dbus_bus_get_private(DBUS_BUS_SYSTEM, nullptr);
    if (fBus == nullptr) throw std::runtime_error("no bus");
    ::dbus_connection_set_exit_on_disconnect(fBus, FALSE);
    ::dbus_bus_request_name(fBus, "org.freedesktop.Avahi",
                            DBUS_NAME_FLAG_REPLACE_EXISTING | DBUS_NAME_FLAG_ALLOW_REPLACEMENT, nullptr);
    fThread = std::thread([this] { Serve(); });
  }
  FakeResponder(const FakeResponder&) = delete;
  FakeResponder& operator=(const FakeResponder&) = delete;
  ~FakeResponder() {
    fStop = true;
    fThread.join();
    ::dbus_connection_close(fBus);
    ::dbus_connection_unref(fBus);
  }

  void SetAnswering(bool answering) { fAnswering = answering; }
  [[nodiscard]] int Calls() const { return fCalls; }

 private:
  void Serve() {
    std::vector<DBusMessage*> unanswered;
    while (!fStop && ::dbus_connection_read_write(fBus, 10) != FALSE) {
      while (DBusMessage* message = ::dbus_connection_pop_message(fBus)) {
        if (::dbus_message_is_method_call(message, "org.freedesktop.Avahi.Server", "GetState") != FALSE) {
          ++fCalls;
          unanswered.push_back(message);
        } else {
          ::dbus_message_unref(message);
        }
      }
      if (!fAnswering) continue;
      for (DBusMessage* call : unanswered) Answer(call);
      unanswered.clear();
    }
    for (DBusMessage* call : unanswered) ::dbus_message_unref(call);
  }

  void Answer(DBusMessage* call) {
    DBusMessage* reply = ::dbus_message_new_method_return(call);
    dbus_int32_t running = 2;
    ::dbus_message_append_args(reply, DBUS_TYPE_INT32, &running, DBUS_TYPE_INVALID);
    ::dbus_connection_send(fBus, reply, nullptr);
    ::dbus_message_unref(reply);
    ::dbus_message_unref(call);
  }

  DBusConnection* fBus;
  std::atomic<bool> fAnswering;
  std::atomic<bool> fStop{false};
  std::atomic<int> fCalls{0};
  std::thread fThread;
};

class ResponderMonitorTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { gBus = std::make_unique<PrivateBus>(); }
  static void TearDownTestSuite() { gBus.reset(); }
  void TearDown() override {
    fMonitor.reset();
    gBus->Stop();
  }

  // A responder that has not answered for so long counts as silent, if it is
  // meant to answer: longer than any machine stalls.
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

  // Waits until so many states were reported and the last is `state`.
  bool WaitFor(State state, std::size_t reports) {
    std::unique_lock lock(fMutex);
    return fChanged.wait_for(lock, std::chrono::seconds(10),
                             [&] { return fStates.size() >= reports && fStates.back() == state; });
  }

  std::vector<State> States() {
    const std::lock_guard lock(fMutex);
    return fStates;
  }

  static std::unique_ptr<PrivateBus> gBus;
  std::mutex fMutex;
  std::condition_variable fChanged;
  std::vector<State> fStates;
  int fFailingReports = 0;  // how many of the next ones throw
  sigset_t fSignalMask{};   // of the thread that reported
  std::unique_ptr<ResponderMonitor> fMonitor;
};

std::unique_ptr<PrivateBus> ResponderMonitorTest::gBus;

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

TEST_F(ResponderMonitorTest, FindsAResponderThatWasThereBefore) {
  gBus->Start();
  FakeResponder responder;
  Watch();
  EXPECT_TRUE(WaitFor(State::kAnswering, 1));
  EXPECT_THAT(States(), ElementsAre(State::kAnswering));
  fMonitor.reset();
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGUSR1}) {
    EXPECT_EQ(1, sigismember(&fSignalMask, signal)) << signal;  // they are others' business
  }
}

TEST_F(ResponderMonitorTest, TellsThatTheResponderWentAndCameBack) {
  gBus->Start();
  auto responder = std::make_unique<FakeResponder>();
  Watch();
  ASSERT_TRUE(WaitFor(State::kAnswering, 1));
  responder.reset();
  ASSERT_TRUE(WaitFor(State::kAbsent, 2));
  responder = std::make_unique<FakeResponder>();
  EXPECT_TRUE(WaitFor(State::kAnswering, 3));
}

TEST_F(ResponderMonitorTest, TellsThatTheBusWentAndCameBack) {
  gBus->Start();
  auto responder = std::make_unique<FakeResponder>();
  Watch();
  ASSERT_TRUE(WaitFor(State::kAnswering, 1));
  gBus->Stop();  // under a responder that answers
  ASSERT_TRUE(WaitFor(State::kAbsent, 2));
  responder.reset();
  gBus->Start();
  responder = std::make_unique<FakeResponder>();
  EXPECT_TRUE(WaitFor(State::kAnswering, 3));
}

TEST_F(ResponderMonitorTest, TellsThatAnotherResponderHasTakenOver) {
  gBus->Start();
  const FakeResponder first;
  Watch();
  ASSERT_TRUE(WaitFor(State::kAnswering, 1));
  const FakeResponder second;  // takes the name while the first has it
  ASSERT_TRUE(WaitFor(State::kAnswering, 3));
  EXPECT_THAT(States(), ElementsAre(State::kAnswering, State::kAbsent, State::kAnswering));
  EXPECT_GT(second.Calls(), 0);
}

TEST_F(ResponderMonitorTest, TellsASilentResponderFromAnAnsweringOne) {
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
  EXPECT_EQ(0, fFailingReports);
}

TEST_F(ResponderMonitorTest, KeepsProbingWhileTheResponderAnswers) {
  gBus->Start();
  FakeResponder responder;
  Watch(milliseconds(5));
  ASSERT_TRUE(WaitFor(State::kAnswering, 1));
  for (int i = 0; i < 1000 && responder.Calls() < 3; ++i) std::this_thread::sleep_for(milliseconds(10));
  EXPECT_GE(responder.Calls(), 3);
  EXPECT_THAT(States(), ElementsAre(State::kAnswering));  // the same state again is not reported
}

TEST_F(ResponderMonitorTest, EndsPromptlyInEveryState) {
  const auto begin = std::chrono::steady_clock::now();
  Watch(milliseconds(60'000), kPatient);
  fMonitor.reset();  // without a bus
  gBus->Start();
  Watch(milliseconds(60'000), kPatient);
  ASSERT_TRUE(WaitFor(State::kAbsent, 1));
  fMonitor.reset();  // waiting for a name
  FakeResponder responder(false);
  Watch(milliseconds(60'000), kPatient);
  for (int i = 0; i < 1000 && responder.Calls() < 1; ++i) std::this_thread::sleep_for(milliseconds(10));
  fMonitor.reset();  // waiting for an answer
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

}  // namespace
}  // namespace vorn
