#include <gtest/gtest.h>

#include "notification/Persistence.h"
#include "tests/platform/FakeUserDefaults.h"

namespace Notification {
namespace {

class PersistenceTest : public ::testing::Test {
 protected:
  vorn::testing::FakeUserDefaults fDefaults;
  Persistence fPersistence{fDefaults};
};

TEST_F(PersistenceTest, StoresTwoTextsUnderTheUidVerbatim) {
  const std::string uid = "a/b\\c=d[e]\n\xff";
  fPersistence.StoreRecord({uid, {1, 2, 3, 45}, {18446744073709551615U, 0, 7, 1}});
  ASSERT_EQ(fDefaults.fArrays.size(), 1U);
  EXPECT_EQ(fDefaults.fArrays.begin()->first, "notificationrecord-" + uid);
  EXPECT_EQ(fDefaults.fArrays.begin()->second,
            (std::vector<std::string>{"1.2.3+45", "18446744073709551615.0.7+1"}));
}

TEST_F(PersistenceTest, ReadsBackWhatItStored) {
  fPersistence.StoreRecord({"unit", {1, 2, 3, 4}, {5, 6, 7, 8}});
  const auto record = fPersistence.GetRecordForUID("unit");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->uid, "unit");
  EXPECT_TRUE(record->currentVersion == (vorn::FirmwareVersion{1, 2, 3, 4}));
  EXPECT_TRUE(record->latestVersion == (vorn::FirmwareVersion{5, 6, 7, 8}));
}

TEST_F(PersistenceTest, ReplacesAnEarlierRecord) {
  fPersistence.StoreRecord({"unit", {1, 0, 0, 0}, {2, 0, 0, 0}});
  fPersistence.StoreRecord({"unit", {1, 0, 0, 0}, {3, 0, 0, 0}});
  EXPECT_EQ(fPersistence.GetRecordForUID("unit")->latestVersion.major, 3U);
}

TEST_F(PersistenceTest, HasNoRecordForAnUnknownUid) {
  fPersistence.StoreRecord({"unit", {1, 0, 0, 0}, {2, 0, 0, 0}});
  EXPECT_FALSE(fPersistence.GetRecordForUID("Unit"));
  EXPECT_FALSE(fPersistence.GetRecordForUID(""));
}

TEST_F(PersistenceTest, IgnoresWhatFollowsAVersion) {
  fDefaults.fArrays["notificationrecord-unit"] = {"1.0.0+1 beta", "1.2.0+1.5", "more"};
  EXPECT_TRUE(fPersistence.GetRecordForUID("unit"));
}

}  // namespace
}  // namespace Notification
