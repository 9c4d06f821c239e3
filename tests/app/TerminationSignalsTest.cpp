#include <gtest/gtest.h>

#include <QCoreApplication>
#include <csignal>
#include <cstdlib>

#include "app/TerminationSignals.h"

namespace vorn::app {
namespace {

TEST(TerminationSignalsTest, CallsOnTheMainThreadOnce) {
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

TEST(TerminationSignalsTest, AHangUpThatIsIgnoredFromTheStartStaysSo) {
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

TEST(TerminationSignalsDeathTest, ASecondOneOfAnyKindEndsTheProcess) {
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

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  const QCoreApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
