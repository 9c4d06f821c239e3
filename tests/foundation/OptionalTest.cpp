#include <gtest/gtest.h>

#include <new>
#include <string>
#include <type_traits>
#include <utility>

#include "foundation/Optional.h"

namespace vorn {
namespace {

static_assert(std::is_nothrow_move_constructible_v<optional<std::string>>);
static_assert(std::is_nothrow_move_assignable_v<optional<std::string>>);
static_assert(!std::is_convertible_v<optional<std::string>, bool>);

// Counts its living objects, and its copy fails on request.
struct Tracked {
  explicit Tracked(int v) : value(v) { ++living; }
  Tracked(const Tracked& other) : value(other.value) {
    if (refuseCopies) throw std::bad_alloc();
    ++living;
  }
  Tracked& operator=(const Tracked&) = delete;
  ~Tracked() {
    ++destroyed;
    --living;
  }
  bool operator==(const Tracked& other) const { return value == other.value; }

  int value;
  static inline int living = 0;
  static inline int destroyed = 0;
  static inline bool refuseCopies = false;
};

TEST(OptionalTest, StartsEmpty) {
  const optional<std::string> value;
  EXPECT_FALSE(value);
  EXPECT_FALSE(value.has_value());
}

TEST(OptionalTest, HoldsAnEmptyString) {
  const optional<std::string> value{std::string()};
  EXPECT_TRUE(value.has_value());
}

TEST(OptionalTest, CopiesDeeply) {
  optional<std::string> original(std::string("a"));
  const optional<std::string> copy(original);
  *original = "b";
  EXPECT_EQ(*copy, "a");
}

TEST(OptionalTest, CopyOfAnEmptyOneIsEmpty) {
  const optional<std::string> original;
  const optional<std::string> copy(original);
  EXPECT_FALSE(copy);
}

TEST(OptionalTest, AssignmentReplacesTheValue) {
  optional<std::string> target(std::string("old"));
  const optional<std::string> source(std::string("new"));
  target = source;
  EXPECT_EQ(*target, "new");
  EXPECT_EQ(*source, "new");
}

TEST(OptionalTest, AssignmentOfAnEmptyOneEmpties) {
  optional<std::string> target(std::string("old"));
  const optional<std::string> source;
  target = source;
  EXPECT_FALSE(target);
}

TEST(OptionalTest, AssignmentToItselfKeepsTheValue) {
  optional<std::string> value(std::string("a"));
  const auto& alias = value;
  value = alias;
  EXPECT_EQ(*value, "a");
}

TEST(OptionalTest, MakesTheCopyBeforeItDestroysTheOldValue) {
  {
    optional<Tracked> target(Tracked(1));
    const optional<Tracked> source(Tracked(2));
    Tracked::destroyed = 0;
    Tracked::refuseCopies = true;
    EXPECT_THROW(target = source, std::bad_alloc);
    Tracked::refuseCopies = false;
    EXPECT_EQ(Tracked::destroyed, 0);
    ASSERT_TRUE(target);
    EXPECT_EQ(target->value, 1);
    target = source;
    EXPECT_EQ(Tracked::destroyed, 1);
    EXPECT_EQ(target->value, 2);
  }
  EXPECT_EQ(Tracked::living, 0);
}

TEST(OptionalTest, ResetDestroysTheValue) {
  optional<Tracked> value(Tracked(1));
  value.reset();
  EXPECT_FALSE(value);
  EXPECT_EQ(Tracked::living, 0);
}

TEST(OptionalTest, MovedFromOneIsEmpty) {
  optional<std::string> source(std::string("a"));
  const optional<std::string> target(std::move(source));
  EXPECT_EQ(*target, "a");
  EXPECT_FALSE(source);  // NOLINT(bugprone-use-after-move): what is promised
}

TEST(OptionalTest, TwoEmptyOnesAreEqual) {
  EXPECT_TRUE(optional<std::string>() == optional<std::string>());
}

TEST(OptionalTest, AnEmptyAndAPresentOneAreUnequal) {
  const optional<std::string> present{std::string()};
  EXPECT_FALSE(optional<std::string>() == present);
  EXPECT_FALSE(present == optional<std::string>());
}

TEST(OptionalTest, PresentOnesCompareByTheirValues) {
  const optional<std::string> a(std::string("a"));
  EXPECT_TRUE(a == optional<std::string>(std::string("a")));
  EXPECT_FALSE(a == optional<std::string>(std::string("b")));
}

TEST(OptionalTest, ComparesWithAnOptionalOfAnotherType) {
  EXPECT_TRUE(optional<int>(3) == optional<long>(3L));
  EXPECT_FALSE(optional<int>(3) == optional<long>(4L));
  EXPECT_TRUE(optional<int>() == optional<long>());
}

}  // namespace
}  // namespace vorn
