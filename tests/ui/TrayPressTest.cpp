#include <gtest/gtest.h>

#include "ui/TrayPress.h"

namespace vorn::ui {
namespace {

using namespace std::chrono_literals;

class TriggerFilterTest : public testing::Test {
 protected:
  void pass(std::chrono::milliseconds time) { fNow += time; }
  // Whether an activation is accepted; if so, its action runs at once.
  bool press() {
    const bool accepted = fFilter.accept();
    if (accepted) fFilter.noteHandled();
    return accepted;
  }

  Clock::time_point fNow{1h};
  TriggerFilter fFilter{400ms, [this] { return fNow; }};
};

TEST_F(TriggerFilterTest, DropsTheSecondActivationOfADoubleClick) {
  EXPECT_TRUE(press());
  pass(399ms);
  EXPECT_FALSE(press());
}

TEST_F(TriggerFilterTest, AcceptsAPressAfterTheDoubleClickInterval) {
  EXPECT_TRUE(press());
  pass(400ms);
  EXPECT_TRUE(press());
}

TEST_F(TriggerFilterTest, DroppedActivationsDoNotProlongTheInterval) {
  EXPECT_TRUE(press());
  pass(250ms);
  EXPECT_FALSE(press());
  pass(250ms);
  EXPECT_TRUE(press());
}

TEST_F(TriggerFilterTest, DropsWhatCameWhileAPressWasActedUpon) {
  EXPECT_TRUE(fFilter.accept());
  pass(2s);
  EXPECT_FALSE(fFilter.accept());
  EXPECT_FALSE(fFilter.accept());
  fFilter.noteHandled();
  EXPECT_TRUE(press()) << "what comes later is a click of its own";
}

TEST_F(TriggerFilterTest, DropsTheClickThatHasClosedThePanelAlready) {
  fFilter.noteHiddenByDeactivation();
  pass(299ms);
  EXPECT_FALSE(press());
}

TEST_F(TriggerFilterTest, AcceptsAPressWellAfterAHideByDeactivation) {
  fFilter.noteHiddenByDeactivation();
  pass(300ms);
  EXPECT_TRUE(press());
}

TEST_F(TriggerFilterTest, DropsBothHalvesOfADoubleClickThatClosesThePanel) {
  fFilter.noteHiddenByDeactivation();
  pass(100ms);
  EXPECT_FALSE(press());
  pass(250ms);  // after the hide's time, within the double click
  EXPECT_FALSE(press());
  pass(150ms);
  EXPECT_TRUE(press());
}

TEST_F(TriggerFilterTest, AHideCountsForOneClickOnly) {
  TriggerFilter filter(10ms, [this] { return fNow; });
  filter.noteHiddenByDeactivation();
  pass(50ms);
  EXPECT_FALSE(filter.accept());
  pass(50ms);
  EXPECT_TRUE(filter.accept());
}

}  // namespace
}  // namespace vorn::ui
