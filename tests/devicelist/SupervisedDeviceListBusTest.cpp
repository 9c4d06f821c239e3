#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "AVB/Util/SystemDNSSD.h"
#include "devicelist/SupervisedDeviceList.h"
#include "tests/AVB/Util/FakeResponder.h"
#include "tests/AVB/Util/SystemBus.h"
#include "tests/devicelist/Announcements.h"
#include "tests/support/TurnLoop.h"

namespace DeviceList {
namespace {

using ::testing::IsEmpty;
using vorn::testing::FakeResponder;
using vorn::testing::TurnLoopUntil;
using Question = FakeResponder::Question;

// A supervised list with the monitor and the session of the programs, on a private system bus.
class SupervisedDeviceListBusTest : public ::testing::Test {
 protected:
  SupervisedDeviceListBusTest() { fBus.Start(); }

  std::vector<Question> Asked(const std::string& method) {
    std::vector<Question> questions = fResponder->Questions();
    std::erase_if(questions, [&](const Question& question) { return question.method != method; });
    return questions;
  }

  vorn::testing::SystemBus fBus;
  std::unique_ptr<FakeResponder> fResponder;
};

TEST_F(SupervisedDeviceListBusTest, LoopTurnsWhileAResponderHangsThatHasJustAnsweredItsProbe) {
  fResponder = std::make_unique<FakeResponder>();
  fResponder->HangAt("ServiceBrowserNew");
  ::testing::internal::CaptureStderr();
  SupervisedDeviceList::Makers makers;
  int timerSets = 0;
  makers.retryTime = std::chrono::milliseconds(5);
  makers.now = [&] {
    ++timerSets;
    return vorn::Clock::now();
  };
  {
    const SupervisedDeviceList list({}, {}, makers);
    EXPECT_TRUE(TurnLoopUntil([&] { return fResponder->Calls("ServiceBrowserNew") == 1; }));
    EXPECT_TRUE(TurnLoopUntil([&] { return timerSets > 2; }));  // it has checked the browse twice
    fResponder->SetAnswering(true);                             // only after the loop has turned
    EXPECT_TRUE(TurnLoopUntil([&] { return !Asked("ServiceBrowserNew").empty(); }));
    fResponder->TellInstance(Asked("ServiceBrowserNew").front(), "ItemNew", "Desk");
    EXPECT_TRUE(TurnLoopUntil([&] { return !Asked("ServiceResolverNew").empty(); }));
    EXPECT_EQ(fResponder->Calls("ServiceBrowserNew"), 1);
  }
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), IsEmpty());
}

}  // namespace
}  // namespace DeviceList
