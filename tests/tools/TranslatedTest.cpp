#include <gtest/gtest.h>

#include "vorn-device-list/Translated.h"

namespace vorn::devicelisttool {
namespace {

TEST(TranslatedTest, PutsEachValueInItsPlace) {
  EXPECT_EQ(Translated("%2 before %1", {"a", "b"}), "b before a");
  EXPECT_EQ(Translated("%1, %1", {"a"}), "a, a");
}

TEST(TranslatedTest, DoesNotSearchAValueForPlaces) {
  EXPECT_EQ(Translated("'%1' and '%2'", {"%2", "%1"}), "'%2' and '%1'");
}

TEST(TranslatedTest, KeepsWhatIsNoPlaceOfAValue) {
  EXPECT_EQ(Translated("100 % of %3 and %"), "100 % of %3 and %");
  EXPECT_EQ(Translated("%0 %2", {"a"}), "%0 %2");
}

TEST(TranslatedTest, ChoosesTheFormForTheNumber) {
  EXPECT_EQ(TranslatedCount("%1 unit", "%1 units", 1), "1 unit");
  EXPECT_EQ(TranslatedCount("%1 unit", "%1 units", 2), "2 units");
}

}  // namespace
}  // namespace vorn::devicelisttool
