#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "devicelist/PolledUnits.h"
#include "tests/devicelist/FakePoller.h"

namespace DeviceList {
namespace {

using ::testing::ElementsAre;
using testing::FakePoller;

constexpr char kHere[] = "10.0.0.1";
constexpr std::size_t kMax = UnitPlaces::kMaxUnitsAtAddress;

// Units with fake pollers. A unit's URL begins with its address.
class PolledUnitsTest : public ::testing::Test {
 protected:
  static std::vector<Entry> Entries(std::size_t first, std::size_t end, const std::string& address = kHere) {
    std::vector<Entry> entries;
    for (std::size_t i = first; i < end; ++i)
      entries.push_back({{}, "plexadevice", address + "/" + std::to_string(i), std::to_string(i)});
    return entries;
  }

  void AnswerAll() {
    for (FakePoller* poller : fBoard.alive) poller->Answer();
  }

  // The units that a retry looks at.
  std::size_t LookedAtByRetry() {
    fAskedAbout.clear();
    fUnits.Retry();
    return fAskedAbout.size();
  }

  testing::PollerBoard fBoard;
  std::set<std::string> fAskedAbout;
  std::vector<std::string> fFull;
  std::function<void(const Entry&)> onMake;
  std::function<void()> onAddressesOf;
  PolledUnits fUnits{
      {.make =
           [this](const Entry& entry) {
             if (onMake) onMake(entry);
             return std::make_unique<FakePoller>(entry, fBoard);
           },
       .addressesOf =
           [this](const std::string& url) {
             if (onAddressesOf) onAddressesOf();
             fAskedAbout.insert(url);
             return std::vector{url.substr(0, url.find('/'))};
           },
       .onFailed = [](const std::exception&) {},
       .onFull =
           [this](const std::optional<std::string>& address) { fFull.push_back(address.value_or("")); }}};
};

TEST_F(PolledUnitsTest, LetNoMoreUnitsOfAnAddressWaitThanMayBePolledThere) {
  fUnits.Take(Entries(0, 10 * kMax));
  AnswerAll();
  EXPECT_EQ(fBoard.alive.size(), kMax);
  EXPECT_EQ(LookedAtByRetry(), 2 * kMax);
  fUnits.Take(Entries(0, 10 * kMax));
  EXPECT_EQ(LookedAtByRetry(), 2 * kMax);
}

TEST_F(PolledUnitsTest, UnitThatLosesItsPlaceWaitsWithinTheBoundToo) {
  fUnits.Take(Entries(0, 10 * kMax));
  for (int round = 0; round < 10; ++round) EXPECT_EQ(LookedAtByRetry(), 2 * kMax) << round;
}

TEST_F(PolledUnitsTest, UnitThatMayNotWaitComesAgainWithTheNextList) {
  fUnits.Take(Entries(0, 10 * kMax));
  AnswerAll();
  EXPECT_EQ(fBoard.Of(Entries(9 * kMax, 9 * kMax + 1).front().url), nullptr);
  fUnits.Take(Entries(9 * kMax, 10 * kMax));
  EXPECT_NE(fBoard.Of(Entries(9 * kMax, 9 * kMax + 1).front().url), nullptr);
  EXPECT_EQ(fBoard.alive.size(), kMax);
}

TEST_F(PolledUnitsTest, UnitWaitsBesideManyOfAnotherAddress) {
  auto entries = Entries(0, 10 * kMax);
  entries.push_back(Entries(0, 1, "10.0.0.2").front());
  onMake = [&](const Entry& entry) {
    if (entry == entries.back()) throw std::bad_alloc();
  };
  fUnits.Take(entries);
  EXPECT_EQ(fBoard.Of(entries.back().url), nullptr);
  onMake = {};
  fUnits.Retry();
  EXPECT_NE(fBoard.Of(entries.back().url), nullptr);
}

TEST_F(PolledUnitsTest, FullAddressIsToldOnceInARound) {
  fUnits.Take(Entries(0, 3 * kMax));
  EXPECT_THAT(fFull, ElementsAre(kHere));
  AnswerAll();
  fUnits.Retry();
  EXPECT_THAT(fFull, ElementsAre(kHere, kHere));
}

// Each unit is looked at twice: for a place, and then because it waits on.
TEST_F(PolledUnitsTest, RetryThatFailsLosesNoUnit) {
  onMake = [](const Entry&) { throw std::bad_alloc(); };
  fUnits.Take(Entries(0, kMax));
  for (std::size_t failing = 0; failing < 2 * kMax; ++failing) {
    onAddressesOf = [left = failing]() mutable {
      if (left-- == 0) throw std::bad_alloc();
    };
    EXPECT_THROW(fUnits.Retry(), std::bad_alloc);
  }
  onAddressesOf = {};
  onMake = {};
  fUnits.Retry();
  EXPECT_EQ(fBoard.alive.size(), kMax);
}

}  // namespace
}  // namespace DeviceList
