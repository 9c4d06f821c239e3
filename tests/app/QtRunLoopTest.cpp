#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

#include "app/QtRunLoop.h"
#include "foundation/Clock.h"
#include "foundation/FileDescriptor.h"
#include "foundation/RunLoopTimer.h"
#include "foundation/WorkLoop.h"

namespace vorn::app {
namespace {

using namespace std::chrono_literals;

/// One application object for one test.
class Application {
 private:
  int fArgc = 1;
  char fName[5] = "test";
  char* fArgv[2] = {fName, nullptr};
  QCoreApplication fApplication{fArgc, fArgv};
};

class QtRunLoopTest : public testing::Test {
 protected:
  void SetUp() override {
    vorn::RunLoop::SetCurrent(std::make_shared<QtRunLoop>());
    fReadable.Set();
  }
  void TearDown() override { vorn::RunLoop::SetCurrent(nullptr); }

  /// Turns the toolkit's loop until the condition is true; false after ten seconds.
  static bool TurnUntil(const std::function<bool()>& holds) {
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!holds()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
  }

  Application fApplication;
  const Wakeup fReadable;
};

TEST_F(QtRunLoopTest, FiresATimerOfTheCore) {
  int fired = 0;
  vorn::RunLoopTimer timer(vorn::RunLoop::Current(), 0.0, [&] { ++fired; });
  EXPECT_TRUE(TurnUntil([&] { return fired == 1; }));
}

TEST_F(QtRunLoopTest, FiresInANestedLoop) {
  QEventLoop nested;
  bool firedInside = false;
  vorn::RunLoopTimer timer(vorn::RunLoop::Current(), vorn::kNever, [&] {
    firedInside = nested.isRunning();
    nested.quit();
  });
  QTimer::singleShot(0, [&] {
    timer.SetNextFireDate(0.0);
    QTimer::singleShot(10s, &nested, &QEventLoop::quit);
    nested.exec();
  });
  EXPECT_TRUE(TurnUntil([&] { return firedInside; }));
}

TEST_F(QtRunLoopTest, IsWokenByADateSetOnAnotherThread) {
  bool fired = false;
  std::thread::id firedOn;
  vorn::RunLoopTimer timer(vorn::RunLoop::Current(), vorn::kNever, [&] {
    fired = true;
    firedOn = std::this_thread::get_id();
  });
  std::thread other([&] { timer.SetNextFireDate(0.0); });
  EXPECT_TRUE(TurnUntil([&] { return fired; }));
  other.join();
  EXPECT_EQ(firedOn, std::this_thread::get_id());
}

TEST_F(QtRunLoopTest, RunsWorkItemsQueuedOnOtherThreads) {
  vorn::WorkLoop loop;
  int runs = 0;
  vorn::CppWorkItem item(&loop, [&] {
    ++runs;
    return true;
  });
  std::thread other([&] { item.Queue(); });
  other.join();
  EXPECT_TRUE(TurnUntil([&] { return runs == 1; }));
}

TEST_F(QtRunLoopTest, ServesASourceAsLongAsItIsReadable) {
  int calls = 0;
  const auto source = vorn::RunLoop::Current()->AddSource(fReadable.Descriptor(), [&] { ++calls; });
  EXPECT_TRUE(TurnUntil([&] { return calls >= 3; }));
  vorn::RunLoop::Current()->RemoveSource(source);
}

TEST_F(QtRunLoopTest, LetsAHandlerRemoveItsOwnSource) {
  int calls = 0;
  vorn::RunLoop::SourceId source = 0;
  source = vorn::RunLoop::Current()->AddSource(fReadable.Descriptor(), [&] {
    ++calls;
    vorn::RunLoop::Current()->RemoveSource(source);
    ++calls;  // the handler's contents live until it returns
  });
  EXPECT_TRUE(TurnUntil([&] { return calls == 2; }));
  bool turned = false;
  QTimer::singleShot(0, [&] { turned = true; });
  EXPECT_TRUE(TurnUntil([&] { return turned; }));
  EXPECT_EQ(calls, 2);
}

TEST_F(QtRunLoopTest, DoesNotCallAHandlerRemovedByAnother) {
  const Wakeup second;
  second.Set();
  const auto loop = vorn::RunLoop::Current();
  int calls = 0;
  vorn::RunLoop::SourceId a = 0;
  vorn::RunLoop::SourceId b = 0;
  const auto removeBoth = [&] {
    ++calls;
    loop->RemoveSource(a);
    loop->RemoveSource(b);
  };
  a = loop->AddSource(fReadable.Descriptor(), removeBoth);
  b = loop->AddSource(second.Descriptor(), removeBoth);
  EXPECT_TRUE(TurnUntil([&] { return calls > 0; }));
  bool turned = false;
  QTimer::singleShot(0, [&] { turned = true; });
  EXPECT_TRUE(TurnUntil([&] { return turned; }));
  EXPECT_EQ(calls, 1);
}

TEST_F(QtRunLoopTest, KeepsExceptionsOutOfTheToolkit) {
  int calls = 0;
  vorn::RunLoop::SourceId source = 0;
  source = vorn::RunLoop::Current()->AddSource(fReadable.Descriptor(), [&] {
    vorn::RunLoop::Current()->RemoveSource(source);
    ++calls;
    throw std::runtime_error("from a handler");
  });
  EXPECT_TRUE(TurnUntil([&] { return calls == 1; }));
}

class TerminationSignalsTest : public testing::Test {
  Application fApplication;
};
using TerminationSignalsDeathTest = TerminationSignalsTest;

TEST_F(TerminationSignalsTest, CallsOnTheMainThreadOnce) {
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    int calls = 0;
    const TerminationSignals termination([&calls] {
      ++calls;
      QCoreApplication::exit(0);
    });
    ::raise(number);
    EXPECT_EQ(calls, 0);
    QCoreApplication::exec();
    EXPECT_EQ(calls, 1) << number;
  }
}

TEST_F(TerminationSignalsTest, AHangUpThatIsIgnoredFromTheStartStaysSo) {
  ::signal(SIGHUP, SIG_IGN);
  int calls = 0;
  {
    const TerminationSignals termination([&calls] {
      ++calls;
      QCoreApplication::exit(0);
    });
    ::raise(SIGHUP);
    ::raise(SIGTERM);
    QCoreApplication::exec();
    ::raise(SIGHUP);  // when the first has come, too
  }
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(::signal(SIGHUP, SIG_DFL), SIG_IGN);
}

TEST_F(TerminationSignalsDeathTest, ASecondOneOfAnyKindEndsTheProcess) {
  EXPECT_EXIT(
      {
        const TerminationSignals termination([] {});
        ::raise(SIGHUP);
        ::raise(SIGTERM);
        std::exit(EXIT_SUCCESS);
      },
      ::testing::KilledBySignal(SIGTERM), "");
}

}  // namespace
}  // namespace vorn::app
