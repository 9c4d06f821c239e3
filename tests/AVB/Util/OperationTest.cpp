#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "AVB/Util/Operation.h"

namespace vorn {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr DNSServiceErrorType kFailure = -1;

class TestOperation final : public Operation {
 public:
  explicit TestOperation(std::shared_ptr<ReplySignal> signal = std::make_shared<ReplySignal>())
      : Operation(std::move(signal)) {}

  bool Begin(AvahiClient&) override { return false; }
  int End() override { return 0; }
  void Forget() override {}

  void Tell(int number) {
    Guarded([&] { Operation::Tell([this, number](DNSServiceRef) { told.push_back(number); }); });
  }
  void Throw() {
    Guarded([] { throw std::runtime_error("no memory"); });
  }

  std::vector<int> told;

 private:
  DNSServiceErrorType DeliverFailure(DNSServiceRef) override { return kFailure; }
};

class OperationTest : public ::testing::Test {
 protected:
  bool HasReply() {
    pollfd readable{fSignal->Descriptor(), POLLIN, 0};
    return ::poll(&readable, 1, 0) == 1;
  }
  DNSServiceErrorType Deliver() { return fOperation.Deliver(nullptr); }

  const std::shared_ptr<ReplySignal> fSignal = std::make_shared<ReplySignal>();
  TestOperation fOperation{fSignal};
};

TEST_F(OperationTest, DeliversOneReplyAtATimeInOrderAndIsReadableUntilTheLast) {
  EXPECT_FALSE(HasReply());
  EXPECT_EQ(Deliver(), kDNSServiceErr_NoError);
  EXPECT_THAT(fOperation.told, IsEmpty());
  fOperation.Tell(1);
  fOperation.Tell(2);
  EXPECT_TRUE(HasReply());
  EXPECT_EQ(Deliver(), kDNSServiceErr_NoError);
  EXPECT_THAT(fOperation.told, ElementsAre(1));
  EXPECT_TRUE(HasReply());
  EXPECT_EQ(Deliver(), kDNSServiceErr_NoError);
  EXPECT_THAT(fOperation.told, ElementsAre(1, 2));
  EXPECT_FALSE(HasReply());
}

TEST_F(OperationTest, ReportsItsFailureOnceAfterAllReplies) {
  fOperation.Tell(1);
  fOperation.Fail();
  fOperation.Fail();
  fOperation.Tell(2);
  EXPECT_EQ(Deliver(), kDNSServiceErr_NoError);
  EXPECT_TRUE(HasReply());
  EXPECT_EQ(Deliver(), kFailure);
  EXPECT_FALSE(HasReply());
  EXPECT_EQ(Deliver(), kDNSServiceErr_NoError);
  EXPECT_THAT(fOperation.told, ElementsAre(1));
}

TEST_F(OperationTest, FailsWhereAReplyCannotBeKept) {
  fOperation.Throw();
  EXPECT_TRUE(HasReply());
  EXPECT_EQ(Deliver(), kFailure);
}

TEST_F(OperationTest, FailsWhenItsOwnerDoesNotKeepUp) {
  for (std::size_t i = 0; i < Operation::kMaxReplies; ++i) fOperation.Tell(1);
  fOperation.Tell(2);
  for (std::size_t i = 0; i < Operation::kMaxReplies; ++i) ASSERT_EQ(Deliver(), kDNSServiceErr_NoError);
  EXPECT_EQ(Deliver(), kFailure);
  EXPECT_EQ(fOperation.told.size(), Operation::kMaxReplies);
}

TEST_F(OperationTest, OperationsThatShareASignalAreReadableUntilTheLastReplyOfAny) {
  TestOperation other(fSignal);
  fOperation.Tell(1);
  other.Tell(2);
  other.Fail();
  EXPECT_EQ(Deliver(), kDNSServiceErr_NoError);
  EXPECT_TRUE(HasReply());
  EXPECT_EQ(Deliver(), kDNSServiceErr_NoError);  // it has no other
  EXPECT_EQ(other.Deliver(nullptr), kDNSServiceErr_NoError);
  EXPECT_TRUE(HasReply());
  EXPECT_EQ(other.Deliver(nullptr), kFailure);
  EXPECT_FALSE(HasReply());
  EXPECT_THAT(other.told, ElementsAre(2));
}

TEST_F(OperationTest, ReleaseDropsItsRepliesAndNoOthers) {
  TestOperation other(fSignal);
  fOperation.Tell(1);
  fOperation.Tell(2);
  fOperation.Fail();
  other.Tell(3);
  fOperation.Release();
  EXPECT_TRUE(HasReply());
  EXPECT_EQ(Deliver(), kDNSServiceErr_NoError);
  EXPECT_THAT(fOperation.told, IsEmpty());
  other.Release();
  EXPECT_FALSE(HasReply());
  other.Tell(4);
  other.Fail();
  EXPECT_FALSE(HasReply());
}

TEST_F(OperationTest, WaitsUntilItHasBegunOrFailedOrTheTimeIsOver) {
  EXPECT_EQ(fOperation.WaitUntilBegun(std::chrono::milliseconds(1)), kDNSServiceErr_NoError);
  EXPECT_FALSE(fOperation.HasBegun());
  std::thread begins([this] { fOperation.NoteBegun(); });
  EXPECT_EQ(fOperation.WaitUntilBegun(std::chrono::seconds(30)), kDNSServiceErr_NoError);
  begins.join();
  EXPECT_TRUE(fOperation.HasBegun());
  TestOperation refused;
  std::thread fails([&] { refused.Fail(); });
  EXPECT_EQ(refused.WaitUntilBegun(std::chrono::seconds(30)), kDNSServiceErr_Unknown);
  fails.join();
}

}  // namespace
}  // namespace vorn
