#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "devicelist/AskedModels.h"
#include "tests/devicelist/SilentFirmwarePoller.h"

namespace DeviceList {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

// Units that name models, by rounds.
class AskedModelsTest : public ::testing::Test {
 protected:
  using Named = std::vector<std::pair<std::string, std::string>>;  // unit and model

  void Round(const Named& named) {
    for (const auto& [unit, model] : named) fModels.Name(model);
    for (const auto& [unit, model] : named) (void)fModels.LatestVersionOf(unit, model);
    fModels.EndRound();
  }

  // Whether the model has a poller, so that nobody makes one now.
  bool IsAsked(const std::string& model) {
    const std::size_t before = fMade.size();
    Round({{"probe " + model, model}});
    return fMade.size() == before;
  }

  Named Units(std::size_t count) {
    Named named;
    for (std::size_t i = 0; i < count; ++i)
      named.emplace_back("unit " + std::to_string(i), "model " + std::to_string(i));
    return named;
  }

  std::vector<std::string> fMade;
  std::vector<std::string> fReplacedBy;
  int fRefused = 0;
  vorn::Clock::time_point fTime = vorn::Clock::now();
  AskedModels fModels{[this](const std::string& model) {
                        fMade.push_back(model);
                        return testing::SilentFirmwarePoller();
                      },
                      {.onReplaced = [this](const std::string& unit) { fReplacedBy.push_back(unit); },
                       .onRefused = [this] { ++fRefused; }},
                      [this] { return fTime; }};
};

TEST_F(AskedModelsTest, KeepAModelAfterItsLastUnit) {
  Round({{"a", "16A"}, {"b", "16A"}});
  Round({});
  Round({{"c", "16A"}});
  EXPECT_THAT(fMade, ElementsAre("16A"));
}

TEST_F(AskedModelsTest, FurtherModelOfAUnitReplacesItsOldest) {
  for (std::size_t i = 0; i <= AskedModels::kMaxModelsOfUnit; ++i) {
    EXPECT_THAT(fReplacedBy, IsEmpty());
    Round({{"a", std::to_string(i)}});
  }
  EXPECT_THAT(fReplacedBy, ElementsAre("a"));
  EXPECT_FALSE(IsAsked("0"));
  EXPECT_TRUE(IsAsked("1"));
}

TEST_F(AskedModelsTest, UnitThatReturnsToItsModelsReplacesNone) {
  for (int time = 0; time < 3; ++time) {
    for (std::size_t i = 0; i < AskedModels::kMaxModelsOfUnit; ++i) Round({{"a", std::to_string(i)}});
  }
  EXPECT_EQ(fMade.size(), AskedModels::kMaxModelsOfUnit);
  EXPECT_THAT(fReplacedBy, IsEmpty());
}

TEST_F(AskedModelsTest, ModelOfAnotherUnitIsNotReplaced) {
  Round({{"good", "16A"}, {"bad", "16A"}});
  for (int i = 0; i < 20; ++i) Round({{"good", "16A"}, {"bad", std::to_string(i)}});
  EXPECT_TRUE(IsAsked("16A"));
}

TEST_F(AskedModelsTest, UnitReplacesOneModelInThePeriodOfTheQueries) {
  for (int i = 0; i < 100; ++i) Round({{"bad", std::to_string(i)}});
  EXPECT_EQ(fMade.size(), AskedModels::kMaxModelsOfUnit + 1);
  fTime += kFirmwarePollPeriod - std::chrono::seconds(1);
  Round({{"bad", "100"}});
  EXPECT_EQ(fMade.size(), AskedModels::kMaxModelsOfUnit + 1);
  fTime += std::chrono::seconds(1);
  Round({{"bad", "100"}});
  EXPECT_EQ(fMade.back(), "100");
  Round({{"bad", "101"}});
  EXPECT_EQ(fMade.back(), "100");
}

TEST_F(AskedModelsTest, UnitsThatReplaceEachOthersModelsKeepToThePeriodToo) {
  constexpr std::size_t kUnits = AskedModels::kMaxModels / AskedModels::kMaxModelsOfUnit;
  for (int round = 0; round < 40; ++round) {
    Named named;
    for (std::size_t i = 0; i < kUnits; ++i) {
      named.emplace_back("bad " + std::to_string(i), std::to_string(round) + "/" + std::to_string(i));
    }
    Round(named);
    fTime += std::chrono::seconds(3);
  }
  EXPECT_EQ(fMade.size(), kUnits * (AskedModels::kMaxModelsOfUnit + 1));
}

TEST_F(AskedModelsTest, UnitThatNamesNoModelForAMomentIsRemembered) {
  for (int i = 0; i < 40; ++i) {
    Round({{"bad", std::to_string(i)}});
    fModels.Keep("bad");
    fModels.EndRound();
  }
  EXPECT_EQ(fMade.size(), AskedModels::kMaxModelsOfUnit + 1);
}

TEST_F(AskedModelsTest, UnitThatReplacesModelsDelaysNoOtherUnit) {
  for (int i = 0; i < 100; ++i) Round({{"bad", std::to_string(i)}});
  Round({{"bad", "100"}, {"good", "16A"}});
  EXPECT_EQ(fMade.back(), "16A");
}

// A unit that is away for a moment names nothing, but its model is still its own.
TEST_F(AskedModelsTest, ModelThatASecondUnitNamesAtPresentIsNotReplaced) {
  for (std::size_t i = 0; i < AskedModels::kMaxModelsOfUnit; ++i) Round({{"bad", std::to_string(i)}});
  Round({{"good", "0"}, {"bad", "more"}});
  EXPECT_TRUE(IsAsked("0"));
}

TEST_F(AskedModelsTest, ModelThatWasNamedLongestAgoGivesWayToANewOne) {
  Round(Units(AskedModels::kMaxModels));
  auto fewer = Units(AskedModels::kMaxModels);
  fewer.erase(fewer.begin() + 7);
  Round(fewer);
  Round({});
  Round({{"new", "16A"}});
  EXPECT_THAT(fMade, Contains("16A"));
  EXPECT_EQ(fRefused, 0);
  EXPECT_TRUE(IsAsked("model 8"));
  EXPECT_FALSE(IsAsked("model 7"));
}

TEST_F(AskedModelsTest, ModelIsRefusedOnlyWhileAllOthersAreNamed) {
  auto named = Units(AskedModels::kMaxModels);
  named.emplace_back("new", "16A");
  Round(named);
  EXPECT_EQ(fRefused, 1);
  EXPECT_THAT(fMade, Not(Contains("16A")));
  named.erase(named.begin());
  Round(named);
  EXPECT_EQ(fRefused, 1);
  EXPECT_THAT(fMade, Contains("16A"));
}

TEST_F(AskedModelsTest, UnitThatNamesAnotherModelAtEachPollTakesNoPlaceOfOthers) {
  Round({{"good", "16A"}});
  for (std::size_t i = 0; i < 2 * AskedModels::kMaxModels; ++i)
    Round({{"good", "16A"}, {"bad", "model " + std::to_string(i)}});
  Round({{"good", "16A"}, {"other", "8D"}});
  EXPECT_THAT(fMade, Contains("8D"));
  EXPECT_EQ(std::count(fMade.begin(), fMade.end(), "16A"), 1);
  EXPECT_EQ(fRefused, 0);
}

}  // namespace
}  // namespace DeviceList
